#include "TarnelCore/Records/Transcript.h"
#include "TarnelCore/Base/Text.h"
#include <algorithm>
#include <cstring>

namespace tarnel {

namespace {

/// The tags of the blocks that agents insert into what the user typed. An open tag may go on with attributes.
struct InsertedBlock {
    std::string_view open;
    std::string_view close;
};
constexpr std::array insertedBlocks{
    InsertedBlock{"<system-reminder", "</system-reminder>"},
    InsertedBlock{"<local-command-stdout", "</local-command-stdout>"},
    InsertedBlock{"<local-command-caveat", "</local-command-caveat>"},
    InsertedBlock{"<command-message", "</command-message>"},
    InsertedBlock{"<user_info", "</user_info>"},
    InsertedBlock{"<rules", "</rules>"},
    InsertedBlock{"<environment_context", "</environment_context>"},
};

/// Removes every block from `open` to `close`, the first one first; what a removal brings together may be another one.
void removeBlocks(std::string& text, std::string_view open, std::string_view close)
{
    // What is kept moves to the front, up to `written`; what is left to look at starts at `read`.
    std::size_t written = 0;
    std::size_t read = 0;
    for (;;) {
        const std::size_t start = text.find(open, read);
        const std::size_t end = start == text.npos ? text.npos : text.find(close, start + open.size());
        if (end == text.npos)
            break;
        std::memmove(text.data() + written, text.data() + read, start - read);
        written += start - read;
        read = end + close.size();
        // An open tag may now stand across the seam, so the bytes before it are looked at again. The block that has
        // gone left room for them.
        const std::size_t again = std::min(written, open.size() - 1);
        std::memmove(text.data() + read - again, text.data() + written - again, again);
        written -= again;
        read -= again;
    }
    text.erase(written, read - written);
}

/// What stands between the first `open` and the first `close`; nothing when one is missing or they are out of order.
std::optional<std::string_view> between(std::string_view text, std::string_view open, std::string_view close)
{
    const std::size_t start = text.find(open);
    const std::size_t end = text.find(close);
    if (start == text.npos || end == text.npos || end < start + open.size())
        return std::nullopt;
    return text.substr(start + open.size(), end - start - open.size());
}

std::string identityOf(const PendingQuestion& pending)
{
    std::vector<std::string> questions;
    for (const Question& question : pending.questions) {
        std::vector<std::string_view> labels;
        for (const QuestionOption& option : question.options)
            labels.push_back(option.label);
        questions.push_back(question.text + "|" + Text::joined(labels, ","));
    }
    return Text::joined(questions, "||");
}
std::string identityOf(const PendingPlan& pending) { return pending.plan; }
std::string identityOf(const PendingPermission& pending) { return pending.tool + "|" + pending.detail; }

std::string summaryOf(const PendingQuestion& pending)
{
    return pending.questions.empty() ? "Question" : pending.questions.front().text;
}
std::string summaryOf(const PendingPlan& pending)
{
    std::string_view plan = Text::trimmed(pending.plan);
    std::string line(plan.substr(0, plan.find_first_of("\r\n")));
    std::erase(line, '#');
    return std::string(Text::trimmedBlanks(line));
}
std::string summaryOf(const PendingPermission& pending) { return pending.tool + ": " + pending.detail; }

} // namespace

std::string identityText(const Pending& pending)
{
    return std::visit([](const auto& each) { return identityOf(each); }, pending);
}

std::string summary(const Pending& pending)
{
    return std::visit([](const auto& each) { return summaryOf(each); }, pending);
}

std::vector<Shared<TranscriptEntry>> Transcript::stepsSinceLastPrompt() const
{
    const auto prompt = std::find_if(entries.rbegin(), entries.rend(),
        [](const Shared<TranscriptEntry>& entry) { return entry->role == EntryRole::user; });
    std::vector<Shared<TranscriptEntry>> steps;
    std::copy_if(prompt.base(), entries.end(), std::back_inserter(steps),
        [](const Shared<TranscriptEntry>& entry) { return entry->role == EntryRole::tool; });
    return steps;
}

std::string cleanUserText(std::string_view raw)
{
    if (raw.find('<') == raw.npos)
        return std::string(Text::trimmed(raw));
    std::string text(raw);
    for (const auto& [open, close] : insertedBlocks)
        removeBlocks(text, open, close);
    if (const auto query = between(text, "<user_query>", "</user_query>"))
        text = std::string(*query); // a copy first: the query lies in the text
    if (const auto name = between(text, "<command-name>", "</command-name>")) {
        const auto arguments = between(text, "<command-args>", "</command-args>");
        std::string command(*name);
        command.append(1, ' ').append(arguments.value_or(""));
        text = Text::trimmedBlanks(command);
    }
    return std::string(Text::trimmed(text));
}

std::optional<Timestamp> parseDate(const std::optional<std::string_view>& text)
{
    return text ? parseISO8601(*text) : std::nullopt;
}

} // namespace tarnel
