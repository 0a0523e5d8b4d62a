#include "muxle-tmux/Listing.h"
#include "TarnelCore/Base/Text.h"
#include "muxle-tmux/ControlProtocol.h"
#include <charconv>
#include <set>

namespace tarnel::tmux {

namespace {

/// The words of a record's first field, read one after another. Tells at the end whether all of them were there.
class Words {
public:
    explicit Words(std::string_view text)
        : words(Text::splitNonEmpty(text, ' '))
    {
    }

    std::string_view text()
    {
        if (next < words.size())
            return words[next++];
        isComplete = false;
        return {};
    }

    /// A number, behind tmux's mark when it is an id ("%3").
    std::int64_t number()
    {
        std::string_view word = text();
        if (!word.empty() && std::string_view("%@$").find(word.front()) != std::string_view::npos)
            word.remove_prefix(1);
        std::int64_t value = 0;
        const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), value);
        isComplete = isComplete && error == std::errc() && end == word.data() + word.size();
        return value;
    }

    bool flag() { return number() != 0; }

    [[nodiscard]] bool areComplete() const { return isComplete && next == words.size(); }

private:
    std::vector<std::string_view> words;
    std::size_t next = 0;
    bool isComplete = true;
};

std::vector<std::string_view> splitAt(std::string_view text, std::string_view mark)
{
    std::vector<std::string_view> parts;
    for (std::size_t at = text.find(mark); at != text.npos; at = text.find(mark)) {
        parts.push_back(text.substr(0, at));
        text.remove_prefix(at + mark.size());
    }
    parts.push_back(text);
    return parts;
}

/// Calls `read(words, texts)` for every record that has `textCount` texts behind its words.
template <class Read>
void forEachRecord(
    std::string_view text, std::string_view recordMark, std::string_view fieldMark, std::size_t textCount, Read read)
{
    auto records = splitAt(text, recordMark);
    for (std::size_t i = 1; i < records.size(); ++i) { // nothing stands before the first mark
        std::string_view record = records[i];
        if (record.ends_with('\n'))
            record.remove_suffix(1);
        const auto fields = splitAt(record, fieldMark);
        if (fields.size() != textCount + 1)
            continue;
        Words words(fields[0]);
        std::vector<std::string> texts;
        for (std::size_t field = 1; field < fields.size(); ++field)
            texts.push_back(Text::repaired(fields[field]));
        read(words, std::move(texts));
    }
}

} // namespace

Listing::Listing(std::string separator)
    : recordMark(separator + ">")
    , fieldMark(separator + "|")
{
}

std::string Listing::format(std::string_view numbers, const std::vector<std::string_view>& texts) const
{
    std::string text = recordMark + std::string(numbers);
    for (const std::string_view each : texts)
        text += fieldMark + "#{" + std::string(each) + "}";
    return quoted(text);
}

std::string Listing::sessionsCommand() const
{
    return "list-sessions -F " + format("#{session_id} #{session_activity}", {"session_name", "@muxle_place"});
}

std::string Listing::windowsCommand() const
{
    return "list-windows -a -F "
        + format("#{session_id} #{window_id} #{window_index} #{window_active} #{window_zoomed_flag} "
                 "#{window_activity} #{pane_id} #{window_layout}",
            {"window_name"});
}

std::string Listing::panesCommand() const
{
    return "list-panes -a -F "
        + format("#{pane_id} #{window_id} #{pane_pid} #{pane_width} #{pane_height} #{cursor_x} #{cursor_y} "
                 "#{history_size} #{?alternate_on,1,0} #{?pane_dead,1,0}",
            {"pane_title", "@agent", "@agent_session", "@agent_status", "@muxle_name"});
}

std::string Listing::clientsCommand() const
{
    return "list-clients -F "
        + format("#{client_pid} #{?client_control_mode,1,0} #{client_activity} #{session_id}", {"client_name"});
}

std::string Listing::probeCommand()
{
    return "display-message -p "
        + quoted(
            "#{S:#{session_id}#{session_name}:#{@muxle_place}:#{W:#{window_id}#{window_index}#{window_active}#{pane_id}"
            "#{window_activity}#{window_visible_layout}#{window_name}#{P:#{@agent}.#{@agent_session}."
            "#{@agent_status}.#{@muxle_name}.}}}");
}

std::vector<ListedSession> Listing::sessions(std::string_view text) const
{
    std::vector<ListedSession> list;
    forEachRecord(text, recordMark, fieldMark, 2, [&](Words& words, std::vector<std::string> texts) {
        ListedSession each;
        each.session = words.number();
        each.activity = words.number();
        each.name = std::move(texts[0]);
        Words place(texts[1]);
        each.place = place.number();
        if (!place.areComplete())
            each.place.reset();
        if (words.areComplete())
            list.push_back(std::move(each));
    });
    return list;
}

std::vector<ListedWindow> Listing::windows(std::string_view text) const
{
    std::vector<ListedWindow> list;
    forEachRecord(text, recordMark, fieldMark, 1, [&](Words& words, std::vector<std::string> texts) {
        ListedWindow each;
        each.session = words.number();
        each.window = words.number();
        each.index = words.number();
        each.isActive = words.flag();
        each.isZoomed = words.flag();
        each.activity = words.number();
        each.activePane = words.number();
        each.layout = words.text();
        each.name = std::move(texts[0]);
        if (words.areComplete())
            list.push_back(std::move(each));
    });
    return list;
}

std::vector<ListedPane> Listing::panes(std::string_view text) const
{
    std::vector<ListedPane> list;
    std::set<std::int64_t> seen; // a window in several sessions lists its panes several times
    forEachRecord(text, recordMark, fieldMark, 5, [&](Words& words, std::vector<std::string> texts) {
        ListedPane each;
        each.pane = words.number();
        each.window = words.number();
        each.process = words.number();
        each.width = words.number();
        each.height = words.number();
        each.cursorX = words.number();
        each.cursorY = words.number();
        each.history = words.number();
        each.isAlternate = words.flag();
        each.isDead = words.flag();
        each.title = std::move(texts[0]);
        each.agent = std::move(texts[1]);
        each.agentSession = std::move(texts[2]);
        each.agentStatus = std::move(texts[3]);
        each.name = std::move(texts[4]);
        if (words.areComplete() && seen.insert(each.pane).second)
            list.push_back(std::move(each));
    });
    return list;
}

std::vector<ListedClient> Listing::clients(std::string_view text) const
{
    std::vector<ListedClient> list;
    forEachRecord(text, recordMark, fieldMark, 1, [&](Words& words, std::vector<std::string> texts) {
        ListedClient each;
        each.process = words.number();
        each.isControl = words.flag();
        each.activity = words.number();
        each.session = words.number();
        each.name = std::move(texts[0]);
        if (words.areComplete())
            list.push_back(std::move(each));
    });
    return list;
}

} // namespace tarnel::tmux
