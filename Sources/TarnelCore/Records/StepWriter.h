// TarnelCore/Records/StepWriter.h: notes down what the lines of an agent's record say, one line after the other.
//
// A record's reader goes in two stages. The first looks at one line at a time and notes down what it says as steps,
// which depend on no other line. The second (TranscriptFold.h) goes over the steps and makes the transcript. So a
// record that has grown costs the decoding of its new lines only.
#pragma once
#include "TarnelCore/JSON/JSONDocument.h"
#include "TarnelCore/Records/StepList.h"
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tarnel {

/// Writes down the steps of one line after the other. A reader first tells what holds for the whole line (`at`,
/// `branch`, `isItem`), then adds what the line says. Thread-safety: none.
class StepWriter {
public:
    /// `home` is shown as "~". All three outlive the writer.
    StepWriter(StepList& steps, NameTable& names, std::string_view home)
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

    StepList& steps;
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
