#include "Support/Eventually.h"
#include "Support/MemoryMuxle.h"
#include "Support/TemporaryFolder.h"
#include "TarnelCore/Attention/AnswerGuard.h"
#include <atomic>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <latch>
#include <thread>

namespace tarnel {

namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using Inputs = std::vector<std::string>;

/// Whose sleeps pass at once.
class SleepClock final : public Clock {
public:
    [[nodiscard]] Timestamp now() const override { return *parseISO8601("2026-03-02T10:00:00Z"); }
    [[nodiscard]] Instant elapsed() const override { return Instant{} + slept.load(); }
    void sleep(std::chrono::nanoseconds duration) override
    {
        slept = slept.load() + duration;
        if (onSleep)
            onSleep();
    }

    std::atomic<std::chrono::nanoseconds> slept = 0ns;
    std::function<void()> onSleep;
};

constexpr const char* openCall =
    R"({"type":"assistant","timestamp":"2026-03-02T09:51:00Z","message":{"content":[{"type":"tool_use","id":"t1","name":"Bash","input":{"command":"npm test"}}]}})"
    "\n";

constexpr const char* permissionMenu = "Do you want to proceed?\n❯ 1. Yes\n  2. Yes, and don't ask again\n  3. No\n";
constexpr const char* questionMenu = "Which one?\n❯ 1. Temporal\n  2. date-fns\n  3. Type something.\n";

class AnswerGuardTest : public testing::Test {
protected:
    /// One agent, blocked by a question of which only its screen tells.
    AnswerGuardTest() { show("blocked", questionMenu); }

    void show(const std::string& status, const std::string& screen, std::int64_t stateChanges = 41)
    {
        muxle->setPanes({claudePane("p1", status, stateChanges)});
        muxle->screens = {{"visible", screen}, {"detection", screen}};
    }
    void setStatus(const std::string& status, std::int64_t stateChanges = 41)
    {
        muxle->setPanes({claudePane("p1", status, stateChanges)});
    }
    /// After `input` the agent works, and shows no question any more.
    void takes(const std::string& input)
    {
        muxle->onInput = [this, input](const std::string& each) {
            if (each == input)
                show("working", "Thinking");
        };
    }
    /// What a client has in its queue for the pane.
    AnswerRequest request(
        std::optional<std::string> choice, std::optional<std::string> text = {}, const std::string& key = "")
    {
        const MuxleAgent agent = engine.muxle().agents().at(0);
        PaneScreens screens(engine.muxle(), "p1");
        const auto item = engine.item(agent, "shop", screens);
        EXPECT_TRUE(item);
        muxle->asked.clear();
        return {.fingerprint = item.value_or(AttentionItem()).fingerprint,
            .choice = std::move(choice),
            .text = std::move(text),
            .idempotencyKey = key.empty() ? std::nullopt : std::optional(key)};
    }

    TemporaryFolder home;
    SleepClock clock;
    std::shared_ptr<MemoryMuxle> muxle = std::make_shared<MemoryMuxle>();
    AttentionEngine engine{MuxleClient(muxle), "studio", QueueOptions(), {clock, home.path()}};
    AnswerGuard guard{engine, clock};
};

TEST_F(AnswerGuardTest, typesEachAnswerAsItsQuestionTakesIt)
{
    struct Case {
        const char* what;
        std::string status;
        std::string screen;
        std::optional<std::string> choice;
        std::optional<std::string> text;
        AnswerOutcome outcome;
        Inputs sent;
        std::map<std::string, std::string> screenAfter = {}; // by input
    };
    const auto noOption = [](const std::string& rest) { return AnswerFailed{"no menu option matches " + rest}; };
    const std::string closed = "Thinking";
    const Case cases[] = {
        {"a choice that acts at once", "blocked", questionMenu, "date-fns", {}, AnswerApplied{"menu 2"}, {"keys p1 2"},
            {{"keys p1 2", closed}}},
        {"a digit that only moves the cursor", "blocked", questionMenu, "date-fns", {}, AnswerApplied{"menu 2"},
            {"keys p1 2", "keys p1 enter"},
            {{"keys p1 2", "Which one?\n 1. Temporal\n❯ 2. date-fns\n 3. Type something.\n"}}},
        {"the next question follows at once", "blocked", questionMenu, "date-fns", {}, AnswerApplied{"menu 2"},
            {"keys p1 2"}, {{"keys p1 2", "And where?\n❯ 1. Here\n  2. There\n"}}},
        {"a choice with words", "blocked", questionMenu, "Type something.", "Luxon", AnswerApplied{"menu 3"},
            {"keys p1 3", "text p1 Luxon", "keys p1 enter"}, {{"keys p1 3", closed}}},
        {"a choice with empty words", "blocked", questionMenu, "Temporal", "", AnswerApplied{"menu 1"}, {"keys p1 1"},
            {{"keys p1 1", closed}}},
        {"words go to the entry for them", "blocked", questionMenu, {}, "Luxon", AnswerApplied{"text"},
            {"keys p1 3", "text p1 Luxon", "keys p1 enter"}, {{"keys p1 3", closed}}},
        {"words without such an entry", "blocked", "Go?\n 1. Yes\n 2. No\n", {}, "wait", AnswerApplied{"text"},
            {"text p1 wait", "keys p1 enter"}},
        {"words without a menu", "blocked", "Your name:", {}, "Ann", AnswerApplied{"text"},
            {"text p1 Ann", "keys p1 enter"}},
        {"a folded question", "blocked", "1 question (alt+up to answer)", "Temporal", {}, AnswerApplied{"menu 1"},
            {"keys p1 alt+up", "keys p1 1"}, {{"keys p1 alt+up", questionMenu}, {"keys p1 1", closed}}},
        {"a folded question that stays so", "blocked", "1 question (alt+up to answer)", "Temporal", {},
            noOption(R"("Temporal" (menu: ))"), {"keys p1 alt+up"}},
        {"no such choice", "blocked", questionMenu, "Luxon", {},
            noOption(R"("Luxon" (menu: Temporal / date-fns / Type something.))"), {}},
        {"no menu in a blocked agent", "blocked", "Your name:", "x", {}, noOption(R"("x" (menu: ))"), {}},
        {"no menu, but the agent takes a prompt", "done", "Do you want to proceed?", "yes", "please",
            AnswerApplied{"prompt"}, {"prompt p1 yes\nplease"}},
        {"no such choice of a menu, though the agent takes a prompt", "done", permissionMenu, "x", {},
            noOption(R"("x" (menu: Yes / Yes, and don't ask again / No))"), {}},
        {"neither choice nor words", "blocked", questionMenu, {}, {}, AnswerFailed{"empty answer"}, {}},
        {"empty words", "blocked", questionMenu, {}, "", AnswerFailed{"empty answer"}, {}},
        {"a finished turn, a prompt of two lines", "done", "All done.", "continue", "also run lint",
            AnswerApplied{"prompt"}, {"prompt p1 continue\nalso run lint"}},
        {"a finished turn, words alone", "done", "All done.", {}, "go on", AnswerApplied{"prompt"},
            {"prompt p1 go on"}},
        {"a finished turn, nothing", "done", "All done.", {}, {}, AnswerFailed{"nothing to send"}, {}},
        {"a finished turn, empty words", "done", "All done.", {}, "", AnswerFailed{"nothing to send"}, {}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        show(c.status, c.screen);
        muxle->sent.clear();
        muxle->onInput = [&](const std::string& input) {
            if (const auto screen = c.screenAfter.find(input); screen != c.screenAfter.end())
                muxle->screens["visible"] = screen->second;
            if (muxle->sent == c.sent)
                setStatus("working");
        };
        const AnswerRequest asked = request(c.choice, c.text);
        const AnswerOutcome outcome = guard.answer(asked);
        EXPECT_EQ(outcome, c.outcome) << encoded(outcome);
        EXPECT_EQ(muxle->sent, c.sent);
    }
}

TEST_F(AnswerGuardTest, understandsAPermissionsUsualAnswers)
{
    home.write(".claude/projects/-p/s-p1.jsonl", openCall);
    for (const auto& [choice, digit] : {std::pair{"Allow", "1"}, {"Allow for session", "2"}, {"Deny", "3"}}) {
        show("blocked", permissionMenu);
        muxle->sent.clear();
        takes(std::string("keys p1 ") + digit);
        EXPECT_EQ(guard.answer(request(choice)), AnswerOutcome(AnswerApplied{std::string("menu ") + digit})) << choice;
        EXPECT_THAT(muxle->sent, ElementsAre(std::string("keys p1 ") + digit));
    }
}

TEST_F(AnswerGuardTest, sendsNothingToAQuestionThatIsNoLongerAsked)
{
    AnswerRequest good = request("Temporal");
    const Fingerprint current = good.fingerprint;
    struct Case {
        const char* what;
        std::function<void(AnswerRequest&)> change;
        AnswerOutcome outcome;
    };
    const Case cases[] = {
        {"other content", [](AnswerRequest& r) { r.fingerprint.contentHash = "0"; }, AnswerStale{current}},
        {"another kind", [](AnswerRequest& r) { r.fingerprint.kind = AttentionKind::plan; }, AnswerStale{current}},
        {"another state", [](AnswerRequest& r) { --r.fingerprint.stateChangeSeq; }, AnswerStale{current}},
        {"another machine", [](AnswerRequest& r) { r.fingerprint.machine = "mini"; }, AnswerStale{current}},
        {"another pane", [](AnswerRequest& r) { r.fingerprint.paneID = "p9"; }, AnswerNotFound{}},
        {"the agent works", [&](AnswerRequest&) { setStatus("working"); }, AnswerStale{}},
        {"a new question", [&](AnswerRequest&) { show("blocked", permissionMenu); },
            AnswerStale{Fingerprint{"studio", "p1", 41, AttentionKind::blocked,
                Fingerprint::hash(AttentionEngine::tail(permissionMenu, 8))}}},
        {"the pane has gone", [&](AnswerRequest&) { muxle->setPanes({}); }, AnswerNotFound{}},
        {"the multiplexer does not answer", [&](AnswerRequest&) { muxle->results.erase("agent.list"); },
            AnswerNotFound{}},
        {"the multiplexer hangs", [&](AnswerRequest&) { muxle->hangs = true; }, AnswerNotFound{}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        show("blocked", questionMenu);
        AnswerRequest changed = good;
        c.change(changed);
        const AnswerOutcome outcome = guard.answer(changed);
        EXPECT_EQ(outcome, c.outcome) << encoded(outcome);
        EXPECT_THAT(muxle->sent, IsEmpty());
        EXPECT_EQ(clock.slept.load(), 0ns);
    }
}

TEST_F(AnswerGuardTest, saysWhatTheMultiplexerRefused)
{
    struct Case {
        const char* method;
        const char* status;
        std::optional<std::string> choice;
        std::optional<std::string> text;
        Inputs sent;
    };
    const Case cases[] = {
        {"pane.send_keys", "blocked", "Temporal", {}, {}},
        {"pane.send_text", "blocked", {}, "Luxon", {"keys p1 3", "keys p1 enter"}},
        {"agent.prompt", "done", {}, "go on", {}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.method);
        show(c.status, c.status == std::string("done") ? "All done." : questionMenu);
        muxle->sent.clear();
        const AnswerRequest asked = request(c.choice, c.text);
        muxle->onRequest = [&](std::string_view method) {
            if (method == c.method)
                throw MuxleError("pane_gone", "no pane p1");
        };
        EXPECT_EQ(guard.answer(asked), AnswerOutcome(AnswerFailed{"muxle pane_gone: no pane p1"}));
        EXPECT_EQ(muxle->sent, c.sent);
        muxle->onRequest = nullptr;
    }
    show("blocked", questionMenu);
    const AnswerRequest asked = request("Temporal");
    muxle->sent.clear();
    muxle->onInput = [&](const std::string&) { muxle->screens.clear(); };
    EXPECT_EQ(guard.answer(asked), AnswerOutcome(AnswerFailed{"muxle no_screen: p1"}))
        << "whether enter is due is not known";
    EXPECT_THAT(muxle->sent, ElementsAre("keys p1 1"));
}

TEST_F(AnswerGuardTest, watchesUntilThePaneHasChanged)
{
    struct Case {
        const char* what;
        std::function<void()> change; // at the second look
        AnswerOutcome outcome;
        std::chrono::nanoseconds slept;
    };
    const Case cases[] = {
        {"works", [&] { setStatus("working"); }, AnswerApplied{"prompt"}, 500ms},
        {"another state", [&] { setStatus("done", 42); }, AnswerApplied{"prompt"}, 500ms},
        {"gone", [&] { muxle->setPanes({}); }, AnswerApplied{"prompt"}, 500ms},
        {"no list", [&] { muxle->results.erase("agent.list"); }, AnswerApplied{"prompt"}, 500ms},
        {"another screen alone", [&] { muxle->screens["detection"] = "x"; }, AnswerUnverified{"prompt"}, 4s},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        show("done", "All done.");
        clock.slept = 0ns;
        clock.onSleep = [&, sleeps = 0]() mutable {
            if (++sleeps == 2)
                c.change();
        };
        const AnswerOutcome outcome = guard.answer(request({}, "go on"));
        EXPECT_EQ(outcome, c.outcome) << encoded(outcome);
        EXPECT_EQ(clock.slept.load(), c.slept);
    }
    clock.onSleep = nullptr;
    show("done", "All done.");
    clock.slept = 0ns;
    AnswerGuard hasty(engine, clock, AnswerGuard::Seconds(0));
    EXPECT_EQ(hasty.answer(request({}, "go on")), AnswerOutcome(AnswerUnverified{"prompt"}));
    EXPECT_EQ(clock.slept.load(), 0ns);
}

TEST_F(AnswerGuardTest, aKeyIsAnsweredOnce)
{
    takes("keys p1 1");
    const AnswerRequest keyed = request("Temporal", {}, "k1");
    EXPECT_EQ(guard.answer(keyed), AnswerOutcome(AnswerApplied{"menu 1"}));
    muxle->asked.clear();
    EXPECT_EQ(guard.answer(keyed), duplicate(AnswerApplied{"menu 1"}));
    EXPECT_THAT(muxle->asked, IsEmpty());
    for (const auto& key : {std::optional<std::string>("k2"), std::optional<std::string>()}) {
        AnswerRequest other = keyed;
        other.idempotencyKey = key;
        EXPECT_EQ(guard.answer(other), AnswerOutcome(AnswerStale{}));
    }
    EXPECT_THAT(muxle->sent, ElementsAre("keys p1 1"));

    muxle->onInput = nullptr;
    show("blocked", questionMenu, 43);
    const AnswerRequest unverified = request("Temporal", {}, "k3");
    EXPECT_EQ(guard.answer(unverified), AnswerOutcome(AnswerUnverified{"menu 1"}));
    EXPECT_EQ(guard.answer(unverified), duplicate(AnswerUnverified{"menu 1"}));
    EXPECT_FALSE(succeeded(guard.answer(unverified)));
}

TEST_F(AnswerGuardTest, whatSentNothingMayBeTriedAgainUnderItsKey)
{
    AnswerRequest keyed = request("Temporal", {}, "k1");
    setStatus("working");
    EXPECT_EQ(guard.answer(keyed), AnswerOutcome(AnswerStale{}));
    muxle->setPanes({});
    EXPECT_EQ(guard.answer(keyed), AnswerOutcome(AnswerNotFound{}));
    setStatus("blocked");
    keyed.choice = "Luxon";
    EXPECT_TRUE(std::holds_alternative<AnswerFailed>(guard.answer(keyed)));
    keyed.choice = "Temporal";
    takes("keys p1 1");
    EXPECT_EQ(guard.answer(keyed), AnswerOutcome(AnswerApplied{"menu 1"}));
}

TEST_F(AnswerGuardTest, ofTwoAnswersAtOnceOneIsTyped)
{
    takes("keys p1 1");
    for (int round = 0; round < 40; ++round) {
        const bool isSameKey = round % 2 == 0;
        show("blocked", questionMenu, 100 + round);
        muxle->sent.clear();
        std::vector<AnswerRequest> requests(2, request("Temporal"));
        for (std::size_t i = 0; i < 2; ++i)
            requests[i].idempotencyKey = "round " + std::to_string(round) + (isSameKey || i == 0 ? "" : " again");
        std::vector<AnswerOutcome> outcomes(2);
        std::latch ready(2);
        std::vector<std::thread> clients;
        for (std::size_t i = 0; i < 2; ++i) {
            clients.emplace_back([&, i] {
                ready.arrive_and_wait();
                outcomes[i] = guard.answer(requests[i]);
            });
        }
        for (std::thread& client : clients)
            client.join();
        const AnswerOutcome applied = AnswerApplied{"menu 1"};
        const AnswerOutcome other = isSameKey ? duplicate(applied) : AnswerOutcome(AnswerStale{});
        EXPECT_THAT(outcomes, testing::UnorderedElementsAre(applied, other));
        EXPECT_THAT(muxle->sent, ElementsAre("keys p1 1"));
    }
}

TEST_F(AnswerGuardTest, answersToDifferentPanesDontWaitForEachOther)
{
    const JSON other = claudePane("p2", "done", 7);
    muxle->setPanes({claudePane("p1", "done", 41), other});
    muxle->screens = {{"detection", "All done."}};
    const AnswerRequest slow = request({}, "go on");
    AnswerRequest quick = slow;
    quick.fingerprint.paneID = "p2";
    quick.fingerprint.stateChangeSeq = 7;
    std::atomic<bool> isQuickDone = false;
    const std::thread::id quickThread = std::this_thread::get_id();
    std::latch slowSleeps(1);
    clock.onSleep = [&, isFirst = true]() mutable {
        if (std::this_thread::get_id() == quickThread || !std::exchange(isFirst, false))
            return;
        slowSleeps.count_down();
        EXPECT_TRUE(eventually([&] { return isQuickDone.load(); }));
    };
    std::thread client([&] { EXPECT_EQ(guard.answer(slow), AnswerOutcome(AnswerUnverified{"prompt"})); });
    slowSleeps.wait();
    EXPECT_EQ(guard.answer(quick), AnswerOutcome(AnswerUnverified{"prompt"}));
    isQuickDone = true;
    client.join();
}

} // namespace

} // namespace tarnel
