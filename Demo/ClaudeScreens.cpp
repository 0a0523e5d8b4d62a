#include "Demo/ClaudeScreens.h"
#include "Demo/ClaudeRecord.h"
#include "Demo/Drawing.h"
#include "Demo/JsonText.h"
#include "Demo/TextInput.h"
#include <functional>
#include <optional>
#include <utility>

namespace demo::claude {

namespace {

using namespace std::chrono_literals;
using std::chrono::milliseconds;

constexpr int accent = 12;
constexpr std::string_view suggestionAfterWork = "run the whole test suite once more";

/// What all screens of a session share.
struct Session {
    explicit Session(const std::string& id)
        : record(id)
    {
    }
    ClaudeRecord record;
    std::string topic; ///< Of the conversation; shows in the terminal's title.
    Lines conversation; ///< As it is drawn above the current dialog or input box.
    std::string footer = "  ⏵⏵ accept edits on (shift+tab to cycle)";

    void say(const std::string& text)
    {
        conversation.push_back("⏺ " + text);
        conversation.emplace_back();
    }
    void hear(const std::string& text)
    {
        conversation.push_back(faint("> " + text));
        conversation.emplace_back();
    }
};

using SessionPointer = std::shared_ptr<Session>;

class Base : public Screen {
public:
    explicit Base(SessionPointer shared)
        : session(std::move(shared))
    {
    }
    [[nodiscard]] std::string title(milliseconds) const override { return "✳ " + session->topic; }

protected:
    const SessionPointer session;
};

/// The input box, with the turn finished.
class Idle final : public Base {
public:
    Idle(SessionPointer shared, std::string suggested)
        : Base(std::move(shared))
        , suggestion(std::move(suggested))
    {
    }

    [[nodiscard]] std::vector<std::string> lines(std::size_t columns, milliseconds) const override
    {
        Lines drawn = session->conversation;
        const std::string rule = faint(repeated("─", columns));
        drawn.push_back(rule);
        append(drawn, input.lines("❯ ", suggestion));
        drawn.push_back(rule);
        drawn.push_back(colored(session->footer, 5));
        return drawn;
    }

    Next key(const Key& key) override;

private:
    const std::string suggestion;
    TextInput input;
};

/// The agent at work: a spinner in the title and below the conversation, until it is done, if it ever is. What is typed
/// meanwhile goes into the running turn.
class Working final : public Base {
public:
    using Done = std::function<Next()>;

    Working(SessionPointer shared, std::string doing, milliseconds length, Done then)
        : Base(std::move(shared))
        , verb(std::move(doing))
        , duration(length)
        , done(std::move(then))
    {
    }

    [[nodiscard]] std::string title(milliseconds age) const override
    {
        return std::string(frame(braille, age)) + " " + session->topic;
    }

    [[nodiscard]] std::vector<std::string> lines(std::size_t columns, milliseconds age) const override
    {
        constexpr std::string_view stars[] = {"✢", "✳", "✶", "✻", "✽"};
        const auto seconds = std::chrono::floor<std::chrono::seconds>(age).count();
        Lines drawn = session->conversation;
        drawn.push_back(colored(std::string(frame(stars, age)) + " " + verb + "…", 3)
            + faint(" (esc to interrupt · " + std::to_string(seconds) + "s · ↓ " + std::to_string(40 + seconds * 27)
                + " tokens)"));
        drawn.emplace_back();
        const std::string rule = faint(repeated("─", columns));
        drawn.push_back(rule);
        append(drawn, input.lines("❯ ", ""));
        append(drawn, {rule, colored(session->footer, 5)});
        return drawn;
    }

    Next key(const Key& key) override
    {
        if (key.kind == Key::Kind::enter && !input.text().empty()) {
            session->record.user(input.text());
            session->hear(input.text());
            input = TextInput();
            return nullptr;
        }
        input.key(key);
        if (key.kind != Key::Kind::escape)
            return nullptr;
        session->record.user("[Request interrupted by user]");
        session->conversation.push_back(colored("  ⎿  Interrupted · What should Claude do instead?", 1));
        session->conversation.emplace_back();
        return std::make_unique<Idle>(session, "");
    }

    Next tick(milliseconds age) override { return done && age >= duration ? done() : nullptr; }

private:
    const std::string verb;
    const milliseconds duration;
    const Done done;
    TextInput input;
};

/// Works for a moment, then says `reply` and finishes the turn.
Screen::Next finishWith(const SessionPointer& session, const std::string& verb, const std::string& reply)
{
    return std::make_unique<Working>(session, verb, 3s, [session, reply]() -> Screen::Next {
        session->record.assistant(reply);
        session->say(reply);
        return std::make_unique<Idle>(session, std::string(suggestionAfterWork));
    });
}

Screen::Next Idle::key(const Key& key)
{
    if (key.kind != Key::Kind::enter || input.text().empty()) {
        input.key(key);
        return nullptr;
    }
    session->record.user(input.text());
    session->hear(input.text());
    return finishWith(session, "Pondering", "Done: " + input.text());
}

/// A dialog with a menu that acts as soon as a digit is typed.
class Dialog final : public Base {
public:
    struct Choice {
        std::string label;
        std::function<Next()> chosen;
    };
    struct Content {
        std::string heading;
        Lines body;
        std::string question;
        std::vector<Choice> choices;
        bool isBoxed = true;
        std::optional<std::size_t> freeText = {}; ///< The choice that takes text behind it.
        std::function<Next(const std::string&)> answered = {}; ///< With that text.
    };

    Dialog(SessionPointer shared, Content shown)
        : Base(std::move(shared))
        , content(std::move(shown))
    {
    }

    [[nodiscard]] std::vector<std::string> lines(std::size_t columns, milliseconds) const override
    {
        std::vector<std::string> labels;
        for (const Choice& choice : content.choices)
            labels.push_back(choice.label);
        if (isTyping)
            labels[*content.freeText] = input.text().empty() ? labels[*content.freeText] : input.text();
        Lines dialog{bold(colored(content.heading, accent)), ""};
        append(dialog, content.body);
        append(dialog, {"", content.question});
        append(dialog, menu(labels, selected, "❯"));
        Lines drawn = session->conversation;
        append(drawn, content.isBoxed ? boxed(dialog, columns, accent) : dialog);
        drawn.push_back(faint(isTyping ? "  Enter to submit · Esc to cancel" : "  Enter to select · Esc to cancel"));
        return drawn;
    }

    Next key(const Key& key) override
    {
        if (isTyping)
            return typeKey(key);
        const std::size_t last = content.choices.size() - 1;
        if (key.kind == Key::Kind::up)
            selected = selected == 0 ? last : selected - 1;
        else if (key.kind == Key::Kind::down)
            selected = selected == last ? 0 : selected + 1;
        else if (key.kind == Key::Kind::enter)
            return choose(selected);
        else if (key.kind == Key::Kind::escape)
            return content.choices[content.freeText ? *content.freeText : last].chosen();
        else if (key.text.size() == 1 && key.text[0] >= '1' && key.text[0] <= '1' + static_cast<char>(last))
            return choose(static_cast<std::size_t>(key.text[0] - '1'));
        return nullptr;
    }

private:
    Next choose(std::size_t index)
    {
        selected = index;
        if (content.freeText != index)
            return content.choices[index].chosen();
        isTyping = true;
        return nullptr;
    }

    Next typeKey(const Key& key)
    {
        if (key.kind == Key::Kind::escape)
            isTyping = false;
        else if (key.kind != Key::Kind::enter)
            input.key(key);
        else if (!input.text().empty())
            return content.answered(input.text());
        return nullptr;
    }

    const Content content;
    std::size_t selected = 0;
    bool isTyping = false;
    TextInput input;
};

/// The user has turned a tool call down.
Screen::Next refuse(const SessionPointer& session)
{
    session->record.toolResult("The user doesn't want to proceed with this tool use. The tool use was rejected.", true);
    session->record.user("[Request interrupted by user for tool use]");
    session->conversation.push_back(colored("  ⎿  No (tell Claude what to do differently)", 1));
    session->conversation.emplace_back();
    return std::make_unique<Idle>(session, "");
}

/// The input box, with a question behind it that alt+up brings up.
class Folded final : public Base {
public:
    Folded(SessionPointer shared, std::function<Next()> then)
        : Base(std::move(shared))
        , open(std::move(then))
    {
    }

    [[nodiscard]] std::vector<std::string> lines(std::size_t columns, milliseconds) const override
    {
        Lines drawn = session->conversation;
        const std::string rule = faint(repeated("─", columns));
        append(
            drawn, {colored("? 1 question (alt+up to answer)", accent), rule, "❯ ", rule, colored(session->footer, 5)});
        return drawn;
    }

    Next key(const Key& key) override { return key.kind == Key::Kind::altUp ? open() : nullptr; }

private:
    const std::function<Next()> open;
};

/// Every session starts with a moment of work, as a real one comes to its dialog.
Screen::Next afterSomeWork(const SessionPointer& session, std::function<Screen::Next()> then)
{
    return std::make_unique<Working>(session, "Thinking", 1500ms, std::move(then));
}

SessionPointer startSession(const std::string& id, std::string topic)
{
    auto session = std::make_shared<Session>(id);
    session->topic = std::move(topic);
    return session;
}

} // namespace

Screen::Next permission(const std::string& id)
{
    const auto session = startSession(id, "Fix the retry loop in billing");
    const std::string prompt = "The billing job retries forever when the card is declined. Fix it and test it.";
    const std::string said = "The loop never counts declined cards. I have fixed that; now I run its tests.";
    const std::string command = "npm test -- src/billing/retry.test.ts";
    session->record.user(prompt, 12min);
    session->record.assistant(said, 4min);
    session->record.toolUse("Bash",
        object({{"command", jsonString(command)}, {"description", jsonString("Run the tests of the retry loop")}}),
        3min);
    session->hear(prompt);
    session->say(said);

    const auto allow = [session]() -> Screen::Next {
        session->record.toolResult("Tests: 14 passed, 14 total");
        session->conversation.push_back("  ⎿  Tests: 14 passed, 14 total");
        session->conversation.emplace_back();
        return finishWith(session, "Checking", "All 14 tests of the retry loop pass.");
    };
    return afterSomeWork(session, [=]() -> Screen::Next {
        return std::make_unique<Dialog>(session,
            Dialog::Content{.heading = "Bash command",
                .body = {"  " + command, faint("  Run the tests of the retry loop")},
                .question = "Do you want to proceed?",
                .choices = {{"Yes", allow}, {"Yes, and don't ask again for npm test commands", allow},
                    {"No, and tell Claude what to do differently (esc)", [session] { return refuse(session); }}}});
    });
}

Screen::Next plan(const std::string& id)
{
    const auto session = startSession(id, "Cache the search index");
    const std::string prompt = "Search takes two seconds. Plan a cache in front of the index.";
    const Lines steps{"1. Keep the last 500 results in memory, by normalized query.",
        "2. Drop a result when one of its documents changes.", "3. Measure hits and misses, and log them hourly."};
    std::string text = "# Cache the search index\n";
    for (const std::string& step : steps)
        text += "\n" + step;
    session->footer = "  ⏸ plan mode on (shift+tab to cycle)";
    session->record.user(prompt, 40min);
    session->record.assistant("I have read the search path and know where a cache fits.", 26min);
    session->record.toolUse("ExitPlanMode", object({{"plan", jsonString(text)}}), 25min);
    session->hear(prompt);

    const auto approve = [session]() -> Screen::Next {
        session->record.toolResult("User has approved your plan. You can now start coding.");
        session->footer = "  ⏵⏵ accept edits on (shift+tab to cycle)";
        session->say("User approved Claude's plan");
        return finishWith(session, "Implementing", "The cache is in place; a repeated search takes 4 ms.");
    };
    return afterSomeWork(session, [=]() -> Screen::Next {
        Lines body{"Here is Claude's plan:", "", bold("Cache the search index"), ""};
        append(body, steps);
        return std::make_unique<Dialog>(session,
            Dialog::Content{.heading = "Ready to code?",
                .body = body,
                .question = "Would you like to proceed?",
                .choices = {{"Yes, and auto-accept edits", approve}, {"Yes, and manually approve edits", approve},
                    {"No, keep planning", [session] { return refuse(session); }}}});
    });
}

namespace {

/// Asks in the record, and returns what brings the dialog up.
std::function<Screen::Next()> askForLibrary(const SessionPointer& session)
{
    const std::string prompt = "Our date handling is a mess. Clean it up.";
    const std::string asked = "Which library should the dates go through?";
    const std::vector<std::pair<std::string, std::string>> options{
        {"Temporal", "The standard's own, with a polyfill for now"}, {"date-fns", "Small functions, already in use"}};
    std::vector<std::string> encodedOptions;
    for (const auto& [label, detail] : options)
        encodedOptions.push_back(object({{"label", jsonString(label)}, {"description", jsonString(detail)}}));
    session->record.user(prompt, 9min);
    session->record.toolUse("AskUserQuestion",
        object({{"questions",
            array({object({{"header", jsonString("Library")}, {"question", jsonString(asked)},
                {"options", array(encodedOptions)}, {"multiSelect", "false"}})})}}),
        8min);
    session->hear(prompt);

    const auto answer = [session, asked](const std::string& text) -> Screen::Next {
        session->record.toolResult("User has answered your questions: \"" + asked + "\"=\"" + text + "\"");
        session->say("User answered: " + text);
        return finishWith(session, "Rewriting", "All dates now go through " + text + ".");
    };
    return [=]() -> Screen::Next {
        Dialog::Content content{.heading = "Library", .body = {}, .question = asked, .choices = {}, .isBoxed = false};
        for (const auto& [label, detail] : options)
            content.choices.push_back({label, [answer, chosen = label] { return answer(chosen); }});
        content.choices.push_back({"Type something.", [session] { return refuse(session); }});
        content.freeText = options.size();
        content.answered = answer;
        return std::make_unique<Dialog>(session, content);
    };
}

} // namespace

Screen::Next question(const std::string& id)
{
    const auto session = startSession(id, "Pick a date library");
    return afterSomeWork(session, askForLibrary(session));
}

Screen::Next folded(const std::string& id)
{
    const auto session = startSession(id, "Pick a date library");
    const auto open = askForLibrary(session);
    return afterSomeWork(session, [=]() -> Screen::Next { return std::make_unique<Folded>(session, open); });
}

Screen::Next finished(const std::string& id)
{
    const auto session = startSession(id, "Write the release notes");
    const std::string prompt = "Write the release notes for 2.4 from the merged pull requests.";
    const std::string reply = "The release notes for 2.4 are in docs/releases/2.4.md. Shall I open a pull request?";
    session->record.user(prompt, 15min);
    session->record.toolUse("Write",
        object({{"file_path", jsonString("docs/releases/2.4.md")}, {"content", jsonString("# 2.4\n")}}), 11min);
    session->record.toolResult("File created successfully at: docs/releases/2.4.md", false, 11min);
    session->record.assistant(reply, 10min);
    session->hear(prompt);
    return afterSomeWork(session, [session, reply]() -> Screen::Next {
        session->say(reply);
        return std::make_unique<Idle>(session, "open a pull request for the release notes");
    });
}

Screen::Next working(const std::string& id)
{
    const auto session = startSession(id, "Port the importer");
    const std::string prompt = "Port the CSV importer to the new storage.";
    session->record.user(prompt, 5min);
    session->record.assistant("I start with the reader, then its tests.", 4min);
    session->record.toolUse("Read", object({{"file_path", jsonString("src/importer/csv.ts")}}), Ago(20));
    session->hear(prompt);
    session->say("I start with the reader, then its tests.");
    return std::make_unique<Working>(session, "Porting", 0ms, nullptr);
}

} // namespace demo::claude
