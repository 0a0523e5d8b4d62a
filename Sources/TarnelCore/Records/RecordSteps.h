// TarnelCore/Records/RecordSteps.h: what the lines of an agent's record say, each line understood on its own.
//
// A record's reader goes in two stages. The first looks at one line at a time and notes down what it says as steps,
// which depend on no other line. The second (TranscriptFold.h) goes over the steps and makes the transcript. So a
// record that has grown costs the decoding of its new lines only.
#pragma once
#include "TarnelCore/JSON/JSONDocument.h"
#include "TarnelCore/Records/Transcript.h"
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tarnel {

/// Short texts by number, each kept once. Number 0 means no text.
/// Thread-safety: that of a standard container. A text stays where it is for as long as its table, even a moved one.
class NameTable {
public:
    using Number = std::uint32_t;

    Number number(std::string_view text);
    [[nodiscard]] std::string_view text(Number number) const { return texts[number - 1].text; }
    /// Larger than every number given out.
    [[nodiscard]] std::size_t bound() const { return texts.size() + 1; }

private:
    struct Name {
        std::string_view text;
        std::size_t hash = 0;
    };

    std::string_view kept(std::string_view text);
    void widen();

    std::vector<Name> texts;
    std::vector<Number> slots; // by hash, the next free one behind that; 0 is free; a power of two, half of them free
    std::vector<std::unique_ptr<char[]>> blocks; // hold the texts
    char* blockEnd = nullptr; // of the last block
    std::size_t room = 0; // left before that
};

/// One thing that a line says.
struct RecordStep {
    enum class Kind : std::uint8_t {
        activity, ///< Nothing but its time, its branch, or that it is an item.
        entry, ///< Something was said.
        call, ///< A tool call, which waits for its result; `name` is its identifier.
        result, ///< The result of the call `name`.
        title, ///< The session is called `name`.
        planMode, ///< The agent plans from here on,
        workMode, ///< or works.
        turnEnd, ///< The agent has ended its turn.
        error, ///< The turn failed with the message `name`.
    };

    Kind kind = Kind::activity;
    EntryRole role = EntryRole::user; ///< Of `entry`, beside it: going over the steps need not look at the entries.
    bool isItem = false; ///< Its line reports a completed item.
    bool isReplacedByItems = false; ///< Its entry is left out of a record that reports completed items.
    NameTable::Number name = 0;
    NameTable::Number branch = 0;
    std::uint32_t detailLength = 0; ///< Of a call: how many bytes at the end of its entry's text are its detail.
    std::uint64_t offset = 0; ///< Of its line in the file.
    std::optional<Timestamp> at;
    std::optional<Shared<TranscriptEntry>> entry;
    std::unique_ptr<const Pending> pending; ///< What an open call asks for; absent: permission for the call of `entry`.
};

/// Writes down the steps of one line after the other. A reader first tells what holds for the whole line (`at`,
/// `branch`, `isItem`), then adds what the line says. Thread-safety: none.
class StepWriter {
public:
    /// `home` is shown as "~". All three outlive the writer.
    StepWriter(std::vector<RecordStep>& steps, NameTable& names, std::string_view home)
        : steps(steps)
        , names(names)
        , home(home)
    {
    }

    void beginLine(std::uint64_t offset);
    /// Notes down a line's time, branch and being an item when nothing else told them.
    void endLine();

    // What holds for the line.
    void at(std::optional<Timestamp> time) { current.at = time; }
    void branch(std::string_view name);
    void item() { current.isItem = true; }

    // What the line says.
    RecordStep& say(EntryRole role, std::string text);
    void interrupted() { say(EntryRole::system, "Interrupted"); }
    void result(std::string_view call) { add(RecordStep::Kind::result).name = names.number(call); }
    void title(std::string_view text) { add(RecordStep::Kind::title).name = names.number(text); }
    void error(std::string_view message) { add(RecordStep::Kind::error).name = names.number(message); }
    void mode(bool isPlan) { add(isPlan ? RecordStep::Kind::planMode : RecordStep::Kind::workMode); }
    void turnEnd() { add(RecordStep::Kind::turnEnd); }

    /// A tool step with its description. An absent input is null.
    RecordStep& tool(std::string_view toolName, const std::optional<JSONView>& input);
    RecordStep& tool(std::string_view toolName, const JSON& input);
    /// A step of kind `activity` that a caller makes into something else.
    RecordStep& add(RecordStep::Kind kind);
    /// Makes `step` a call that waits for its result.
    void open(RecordStep& step, std::string_view call);

private:
    RecordStep& tool(std::string_view toolName, std::string_view detail, std::optional<std::string> fullDetail);

    std::vector<RecordStep>& steps;
    NameTable& names;
    std::string_view home;
    NameTable::Number lastBranch = 0; // most lines name the same
    struct {
        std::uint64_t offset = 0;
        std::optional<Timestamp> at;
        NameTable::Number branch = 0;
        bool isItem = false;
        bool isTold = false;
    } current;
};

} // namespace tarnel
