#include "Demo/CodexScreens.h"
#include "Demo/CodexRecord.h"
#include "Demo/Drawing.h"
#include "Demo/JsonText.h"
#include "Demo/TextInput.h"
#include <functional>
#include <utility>

namespace demo::codex {

namespace {

using namespace std::chrono_literals;
using std::chrono::milliseconds;

struct Session {
    Session(const std::string& id, Ago ago)
        : record(id, ago)
    {
    }
    CodexRecord record;
    std::string topic; ///< Shows in the terminal's title.
    Lines conversation;

    void say(const std::string& text) { append(conversation, {"• " + text, ""}); }
    void hear(const std::string& text) { append(conversation, {faint("› " + text), ""}); }
};

using SessionPointer = std::shared_ptr<Session>;

class Base : public Screen {
public:
    explicit Base(SessionPointer shared)
        : session(std::move(shared))
    {
    }
    [[nodiscard]] std::string title(milliseconds) const override { return session->topic; }

protected:
    const SessionPointer session;
};

/// The prompt, with the turn over.
class Idle final : public Base {
public:
    using Base::Base;

    [[nodiscard]] std::vector<std::string> lines(std::size_t, milliseconds) const override
    {
        Lines drawn = session->conversation;
        append(drawn, input.lines("› ", "Ask Codex to do anything"));
        append(drawn, {"", faint("  model-x high · 84% context left · ? for shortcuts")});
        return drawn;
    }

    Next key(const Key& key) override;

private:
    TextInput input;
};

class Working final : public Base {
public:
    using Done = std::function<Next()>;

    Working(SessionPointer shared, milliseconds length, Done then)
        : Base(std::move(shared))
        , duration(length)
        , done(std::move(then))
    {
    }

    [[nodiscard]] std::string title(milliseconds age) const override
    {
        return std::string(frame(braille, age)) + " " + session->topic;
    }

    [[nodiscard]] std::vector<std::string> lines(std::size_t, milliseconds age) const override
    {
        const auto seconds = std::chrono::floor<std::chrono::seconds>(age).count();
        Lines drawn = session->conversation;
        append(drawn, {"• Working " + faint("(" + std::to_string(seconds) + "s • esc to interrupt)"), ""});
        append(drawn, TextInput().lines("› ", "Ask Codex to do anything"));
        append(drawn, {"", faint("  model-x high · 84% context left · ? for shortcuts")});
        return drawn;
    }

    Next tick(milliseconds age) override { return age >= duration ? done() : nullptr; }

private:
    const milliseconds duration;
    const Done done;
};

/// Works for a moment, then says `reply` and ends the turn.
Screen::Next finishWith(const SessionPointer& session, const std::string& reply)
{
    return std::make_unique<Working>(session, 3s, [session, reply]() -> Screen::Next {
        session->record.assistant(reply);
        session->record.tokenCount(44000);
        session->record.taskComplete(reply);
        session->say(reply);
        return std::make_unique<Idle>(session);
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
    return finishWith(session, "Done: " + input.text());
}

/// A question whose menu moves on a digit and waits for enter.
class QuestionMenu final : public Base {
public:
    struct Option {
        std::string label;
        std::string detail;
    };
    using Answered = std::function<Next(const std::string&)>;

    QuestionMenu(SessionPointer shared, std::string text, std::vector<Option> offered, Answered then)
        : Base(std::move(shared))
        , question(std::move(text))
        , options(std::move(offered))
        , answered(std::move(then))
    {
    }

    [[nodiscard]] std::vector<std::string> lines(std::size_t, milliseconds) const override
    {
        std::vector<std::string> labels;
        Lines drawn = session->conversation;
        append(drawn, {faint("  Question 1/1 (1 unanswered)"), "  " + bold(question), ""});
        for (const Option& option : options)
            labels.push_back(option.label + "  " + faint(option.detail));
        for (const std::string& line : menu(labels, selected, "›"))
            drawn.push_back("  " + line);
        append(drawn, {"", faint("  enter to submit answer | esc to interrupt")});
        return drawn;
    }

    Next key(const Key& key) override
    {
        const std::size_t last = options.size() - 1;
        if (key.kind == Key::Kind::up)
            selected = selected == 0 ? last : selected - 1;
        else if (key.kind == Key::Kind::down)
            selected = selected == last ? 0 : selected + 1;
        else if (key.kind == Key::Kind::enter)
            return answered(options[selected].label);
        else if (key.text.size() == 1 && key.text[0] >= '1' && key.text[0] <= '1' + static_cast<char>(last))
            selected = static_cast<std::size_t>(key.text[0] - '1');
        return nullptr;
    }

private:
    const std::string question;
    const std::vector<Option> options;
    const Answered answered;
    std::size_t selected = 0;
};

SessionPointer startSession(const std::string& id, Ago ago, std::string topic, const std::string& prompt)
{
    auto session = std::make_shared<Session>(id, ago);
    session->topic = std::move(topic);
    session->record.user(prompt, ago);
    session->hear(prompt);
    return session;
}

} // namespace

Screen::Next question(const std::string& id)
{
    const auto session = startSession(id, 20min, "Move the sessions", "Move the login sessions out of memory.");
    const std::string asked = "Which database should hold the sessions?";
    const std::vector<QuestionMenu::Option> options{{"PostgreSQL (Recommended)", "Keeps everything in one place"},
        {"Redis", "Is fast, and lets them expire"}, {"None of these", "Say more in your answer"}};
    std::vector<std::string> encodedOptions;
    for (const auto& option : options)
        encodedOptions.push_back(
            object({{"label", jsonString(option.label)}, {"description", jsonString(option.detail)}}));
    session->record.assistant("Two databases are at hand, so I need a decision.", 7min);
    session->record.tokenCount(31000, 7min);
    session->record.functionCall("request_user_input",
        object({{"questions",
            array({object({{"id", jsonString("database")}, {"header", jsonString("Database")},
                {"question", jsonString(asked)}, {"options", array(encodedOptions)}})})}}),
        7min);
    session->say("Two databases are at hand, so I need a decision.");
    const auto answer = [session](const std::string& label) -> Screen::Next {
        session->record.functionOutput(
            object({{"answers", object({{"database", object({{"answers", array({jsonString(label)})}})}})}}));
        session->say("Answered: " + label);
        return finishWith(session, "The sessions now live in " + label + ".");
    };
    return std::make_unique<Working>(session, 1500ms,
        [=]() -> Screen::Next { return std::make_unique<QuestionMenu>(session, asked, options, answer); });
}

Screen::Next error(const std::string& id)
{
    const auto session = startSession(id, 50min, "Shrink the images", "Shrink the container images below 200 MB.");
    const std::string message = "stream disconnected before completion: the server closed the connection";
    session->record.assistant("The base image alone takes 400 MB; I look for a smaller one.", 36min);
    session->record.error(message, 35min);
    session->record.taskComplete("", 35min);
    session->say("The base image alone takes 400 MB; I look for a smaller one.");
    return std::make_unique<Working>(session, 1500ms, [=]() -> Screen::Next {
        append(session->conversation, {colored("■ " + message, 1), ""});
        return std::make_unique<Idle>(session);
    });
}

} // namespace demo::codex
