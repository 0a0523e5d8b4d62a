#include "TarnelCore/Base/TerminalText.h"
#include "TarnelCore/Base/Text.h"
#include "tarnel/TopScreen.h"
#include "tarnel/TopState.h"
#include <gmock/gmock.h>

namespace tarnel {

namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;

const Timestamp now = Timestamp(1'800'000'000s);

AttentionItem itemOf(const std::string& pane, AttentionKind kind = AttentionKind::question, std::string hash = "h")
{
    AttentionItem item{.kind = kind,
        .fingerprint = {.machine = "studio", .paneID = pane, .kind = kind, .contentHash = std::move(hash)},
        .card = {.machine = "studio", .paneID = pane, .title = "task " + pane, .lastMessage = "message of " + pane},
        .waitingSince = now - 3min};
    if (kind == AttentionKind::question) {
        item.card.pending =
            PendingQuestion{{{.text = "Which of " + pane + "?", .options = {{.label = "Red"}, {.label = "Blue"}}}}};
        item.choices = {"Red", "Blue"};
    }
    return item;
}

TopNews newsOf(std::vector<AttentionItem> queue, std::vector<CommandReply> replies = {}, bool isConnected = true)
{
    auto snapshot = std::make_shared<MachineSnapshot>(MachineSnapshot{.machine = "studio", .queue = std::move(queue)});
    return {.machines = {{"/tmp/d.sock", snapshot, isConnected}},
        .queue = {snapshot, &snapshot->queue},
        .replies = std::move(replies)};
}

/// Keys as they are named here: "<enter>" for those with a name, "<^u>" with ctrl, else a character each.
std::vector<TopKey> keysOf(std::string_view words)
{
    const std::map<std::string, TopKey::Name, std::less<>> names{{"enter", TopKey::Name::enter},
        {"esc", TopKey::Name::escape}, {"tab", TopKey::Name::tab}, {"btab", TopKey::Name::backTab},
        {"down", TopKey::Name::down}, {"left", TopKey::Name::left}, {"bs", TopKey::Name::backspace}};
    std::vector<TopKey> keys;
    while (!words.empty()) {
        if (words[0] != '<') {
            keys.push_back(TopKey::character(std::string(words.substr(0, 1))));
            words.remove_prefix(1);
            continue;
        }
        const std::size_t end = words.find('>');
        const std::string_view name = words.substr(1, end - 1);
        keys.push_back(
            name[0] == '^' ? TopKey::control(std::string(name.substr(1))) : TopKey{names.find(name)->second});
        words.remove_prefix(end + 1);
    }
    return keys;
}

/// The view with what it has sent.
class View {
public:
    explicit View(ScreenSize size = {100, 30})
    {
        state.settings = {.commandPrefix = "c", .quickReplies = {"go"}};
        state.size = size;
    }
    View& take(const TopEvent& event)
    {
        TopStep next = step(std::move(state), event);
        state = std::move(next.state);
        quits = quits || next.quits;
        for (TopOrder& order : next.orders)
            orders.push_back(std::move(order));
        return *this;
    }
    View& press(std::string_view keys)
    {
        for (const TopKey& key : keysOf(keys))
            take(key);
        return *this;
    }
    [[nodiscard]] std::string selected() const { return state.selectedPlace ? state.selectedPlace->paneID : ""; }
    [[nodiscard]] std::string text() const
    {
        std::string all;
        for (const StyledRow& row : TopScreen::of(state, now).rows)
            all += row.text() + "\n";
        return all;
    }
    [[nodiscard]] const AnswerRequest& answer(std::size_t index = 0) const
    {
        return std::get<AnswerAction>(orders.at(index).command.action).request;
    }

    TopState state;
    std::vector<TopOrder> orders;
    bool quits = false;
};

CommandReply replyOf(const AnswerOutcome& outcome, const std::string& id = "c1")
{
    return {.id = id, .status = CommandReply::Status::done, .result = jsonValue(outcome)};
}

TEST(Top, movesThroughTheQueue)
{
    struct Case {
        const char* keys;
        const char* selected;
    };
    const Case cases[] = {{"", "p1"}, {"k", "p1"}, {"j", "p2"}, {"jjjj", "p3"}, {"G", "p3"}, {"Gg", "p1"},
        {"nnn", "p1"}, {"<tab><tab>", "p3"}, {"N", "p3"}, {"<btab><down>", "p3"}, {"/p3<enter>", "p3"},
        {"/p3<esc>", "p3"}, {"/p3<enter>j", "p3"}, {"/no such<enter>", "p1"}, {"/TASK P2<^u>p3<bs>2<enter>", "p2"}};
    for (const Case& c : cases) {
        View view;
        view.take(newsOf({itemOf("p1"), itemOf("p2"), itemOf("p3")})).press(c.keys);
        EXPECT_EQ(view.selected(), c.selected) << c.keys;
    }
    View view;
    EXPECT_TRUE(view.press("?q").state.mode == TopState::Mode::browse && !view.quits) << "q closes the help";
    EXPECT_TRUE(view.press("q").quits);
}

TEST(Top, keepsTheChosenAgentWhateverTheQueueDoes)
{
    View view;
    view.take(newsOf({itemOf("p1"), itemOf("p2"), itemOf("p3")})).press("j");
    view.take(newsOf({itemOf("p9"), itemOf("p1"), itemOf("p2"), itemOf("p3")}));
    EXPECT_EQ(view.selected(), "p2");
    view.take(newsOf({itemOf("p9"), itemOf("p1"), itemOf("p3")})).press("1");
    EXPECT_EQ(view.selected(), "p2") << "a key pressed at what has gone must hit nothing else";
    EXPECT_TRUE(view.orders.empty());
    EXPECT_THAT(view.text(), HasSubstr("task p2 waits for nothing any more; n goes to the next."));
    EXPECT_EQ(View(view).press("j").selected(), "p3") << "the one in its place";
    EXPECT_EQ(View(view).press("k").selected(), "p1");
    EXPECT_EQ(View(view).press("n").selected(), "p3");
    view.take(newsOf({})).take(newsOf({itemOf("p4")}));
    EXPECT_EQ(view.selected(), "p4") << "the first to come after none is not to be looked for";
}

TEST(Top, answersWhatWasShown)
{
    struct Case {
        const char* what;
        AttentionKind kind;
        std::string keys;
        std::optional<std::string> choice;
        std::optional<std::string> text;
    };
    const Case cases[] = {
        {"a number", AttentionKind::question, "2", "Blue", {}},
        {"a quick reply", AttentionKind::finished, "1", "go", {}},
        {"words", AttentionKind::question, "tno, green<enter>", {}, "no, green"},
        {"a choice and words", AttentionKind::question, "t<tab><tab>dark<enter>", "Blue", "dark"},
        {"a choice without words", AttentionKind::question, "t<tab><enter>", "Red", {}},
        {"the choices all passed", AttentionKind::question, "t<tab><tab><tab>x<enter>", {}, "x"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        View view;
        view.take(newsOf({itemOf("p1", c.kind)})).press(c.keys);
        ASSERT_EQ(view.orders.size(), 1U);
        EXPECT_EQ(view.orders[0].machine, "studio");
        EXPECT_EQ(view.answer(),
            (AnswerRequest{.fingerprint = itemOf("p1", c.kind).fingerprint,
                .choice = c.choice,
                .text = c.text,
                .idempotencyKey = view.orders[0].command.id}));
        view.press("1");
        EXPECT_EQ(view.orders.size(), 1U) << "a second press while the answer is under way";
    }
    for (const char* keys : {"3", "9", "0", "t<enter>", "t  <enter>", "tRed<esc>"}) {
        View view;
        view.take(newsOf({itemOf("p1")})).press(keys);
        EXPECT_TRUE(view.orders.empty()) << keys;
    }
    View pasted;
    pasted.take(newsOf({itemOf("p1")})).take(TopKey::paste("1\n2"));
    EXPECT_TRUE(pasted.orders.empty()) << "what is pasted is no key";

    View late;
    late.take(newsOf({itemOf("p1", AttentionKind::question, "old")})).press("tgreen");
    late.take(newsOf({itemOf("p1", AttentionKind::question, "new")})).press("<enter>");
    EXPECT_EQ(late.answer().fingerprint.contentHash, "old") << "the question that the text was typed for";
}

TEST(Top, promptsNowOrAfterTheTurn)
{
    View view;
    view.take(newsOf({itemOf("p1", AttentionKind::finished)}))
        .press("p")
        .take(TopKey::paste("a\r\nb"))
        .press("<enter>Pc<enter>");
    ASSERT_EQ(view.orders.size(), 2U);
    EXPECT_EQ(view.orders[0].command.action, CommandAction(PromptAction{.pane = "p1", .text = "a\nb"}));
    EXPECT_EQ(view.orders[1].command.action,
        CommandAction(PromptAction{.pane = "p1", .text = "c", .mode = SendMode::steerNow}));
    view.take(newsOf({}, {{.id = "c1", .status = CommandReply::Status::held}}));
    EXPECT_THAT(view.text(), HasSubstr("Held until task p1 has finished its turn; s sends it now."));
    view.press("s");
    EXPECT_EQ(view.orders.at(2).command.action, CommandAction(SendNowAction{.message = "c1"}));
    view.take(newsOf({}, {{.id = "c1", .status = CommandReply::Status::done}})).press("s");
    EXPECT_EQ(view.orders.size(), 3U) << "nothing is held any more";
}

TEST(Top, saysWhatBecameOfAnAnswer)
{
    struct Case {
        AnswerOutcome outcome;
        const char* words;
        const char* selected;
        bool keepsText;
    };
    const AttentionItem other = itemOf("p1", AttentionKind::question, "other");
    const Case cases[] = {
        {AnswerApplied{"text"}, "task p1 has taken the answer \"green\".", "p2", false},
        {AnswerUnverified{"text"}, "The answer \"green\" was typed, but task p1 has not moved on yet.", "p1", false},
        {AnswerStale{other.fingerprint}, "task p1 asks something else by now, which is shown; nothing was sent.", "p1",
            true},
        {AnswerStale{}, "task p1 does not wait for an answer any more; nothing was sent.", "p1", true},
        {AnswerFailed{"no \x1b[31mmenu"}, "The answer to task p1 failed: no menu", "p1", true},
        {AnswerNotFound{}, "The pane of task p1 is gone; nothing was sent.", "p1", true},
        {duplicate(AnswerApplied{"text"}), "Answered before: task p1 has taken the answer \"green\".", "p2", false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.words);
        View view;
        view.take(newsOf({itemOf("p1"), itemOf("p2")})).press("tgreen<enter>");
        const bool isStale = std::holds_alternative<AnswerStale>(c.outcome);
        view.take(newsOf(isStale ? std::vector{other, itemOf("p2")} : std::vector{itemOf("p1"), itemOf("p2")},
            {replyOf(c.outcome)}));
        EXPECT_THAT(view.text(), HasSubstr(c.words));
        EXPECT_EQ(view.selected(), c.selected);
        EXPECT_EQ(view.state.drafts.contains({"studio", "p1"}), c.keepsText);
        view.press(c.keepsText ? "gt" : "g");
        EXPECT_EQ(view.state.line.text, c.keepsText ? "green" : view.state.line.text)
            << "what did not arrive is offered";
    }
    View next;
    next.take(newsOf({itemOf("p1"), itemOf("p2")})).press("1");
    next.take(
        newsOf({itemOf("p1", AttentionKind::question, "other"), itemOf("p2")}, {replyOf(AnswerApplied{"menu 1"})}));
    EXPECT_EQ(next.selected(), "p1") << "its next question comes first";
    View stays;
    stays.state.settings.advancesAfterAnswer = false;
    stays.take(newsOf({itemOf("p1"), itemOf("p2")}))
        .press("1")
        .take(newsOf({itemOf("p2")}, {replyOf(AnswerApplied{"menu 1"})}));
    EXPECT_EQ(stays.selected(), "p1");
    View typing;
    typing.take(newsOf({itemOf("p1"), itemOf("p2")}))
        .press("1jpabc")
        .take(newsOf({itemOf("p2")}, {replyOf(AnswerApplied{"menu 1"})}));
    EXPECT_EQ(typing.selected() + typing.state.line.text, "p2abc") << "who types is not interrupted";
}

TEST(Top, goesToPanesAndClosesThemOnceThatIsConfirmed)
{
    struct Case {
        const char* keys;
        const char* method; // empty: nothing is sent
        const char* says;
        std::size_t left; // items, once what is expected has been applied
    };
    const Case cases[] = {{"jo", "pane.focus", "Sending to task p2 ...", 2},
        {"jXy", "pane.close", "Sending to task p2 ...", 1},
        {"jX", "", "Close the pane of task p2 and end what runs in it?", 2}, {"jXo", "", "task p2 stays open.", 2},
        {"jXX", "", "task p2 stays open.", 2}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.keys);
        View view;
        view.take(newsOf({itemOf("p1"), itemOf("p2")})).press(c.keys);
        EXPECT_THAT(view.text(), HasSubstr(c.says));
        ASSERT_EQ(view.orders.size(), *c.method ? 1U : 0U);
        MachineSnapshot snapshot = *view.state.machines[0].snapshot;
        for (const TopOrder& order : view.orders) {
            const auto& action = std::get<MuxleAction>(order.command.action);
            EXPECT_EQ(action.method, c.method);
            EXPECT_EQ(action.params, (JSON::Object{{"pane_id", "p2"}}));
            order.predict(snapshot);
        }
        EXPECT_EQ(snapshot.queue.size(), c.left);
    }
}

TEST(Top, sendsNothingToAMachineThatIsKnownNoMore)
{
    View view;
    view.take(newsOf({itemOf("p1")}));
    TopNews renamed = newsOf({});
    const_cast<MachineSnapshot&>(*renamed.machines[0].snapshot).machine = "another name";
    view.take(renamed);
    for (const char* keys : {"o", "Xy", "pgo on<enter>"}) {
        EXPECT_THAT(view.press(keys).text(), HasSubstr("nothing was sent.")) << keys;
        EXPECT_TRUE(view.orders.empty()) << keys;
    }
    EXPECT_EQ(view.press("p").state.line.text, "go on") << "what was typed is kept";
}

TEST(Top, showsCardAndQueue)
{
    AttentionItem item = itemOf("p1");
    item.card.title = "retry\x1b]0;evil\aloop";
    item.card.asked = "Fix it.\n\n\nPlease.";
    item.card.did = {"Read a.ts", "Wrote \x1b[2Jb.ts"};
    item.card.evidence = {{.kind = Evidence::Kind::pullRequest, .label = "#7", .url = "https://x.example/7"}};
    View view;
    view.take(newsOf({item, itemOf("p2", AttentionKind::error)}));
    auto& snapshot = *view.state.machines[0].snapshot;
    const_cast<MachineSnapshot&>(snapshot).statusLines.emplace()["p1"] = {.model = "opus-4-5", .contextUsed = 45000};
    const std::string text = view.text();
    for (const char* part :
        {"studio   2 wait for you, 0 are at work", "> ● Question  retryloop", "  ● Stopped   task p2", "3 m", "Asked",
            "  Fix it.", "  Please.", "  · Read a.ts", "  · Wrote b.ts", "  Which of p1?", "  message of p1",
            "pull request #7: https://x.example/7", "45k", "1  Red", "2  Blue", "1-2 answer"})
        EXPECT_THAT(text, HasSubstr(part));
    EXPECT_THAT(text, Not(HasSubstr("\x1b")));
    view.take(newsOf({item}, {}, false));
    EXPECT_THAT(view.text(), HasSubstr("The daemon at /tmp/d.sock has gone; trying again ..."));
    view.press("1");
    EXPECT_THAT(view.text(), HasSubstr("Sending \"Red\" to retryloop as soon as the daemon is back ..."));
}

TEST(Top, hasRoomForOnePaneAtATimeOnNarrowTerminals)
{
    View view({40, 16});
    view.take(newsOf({itemOf("p1"), itemOf("p2")})).press("j1");
    EXPECT_TRUE(view.orders.empty()) << "the question was not to be seen";
    EXPECT_THAT(view.text(), HasSubstr("Which of p2?"));
    EXPECT_THAT(view.press("1").answer().choice, std::optional<std::string>("Red"));
    EXPECT_THAT(view.press("<esc>").text(), HasSubstr("> ● Question  task p2"));

    AttentionItem longOne = itemOf("p3");
    longOne.card.asked = std::string(2000, 'x');
    View card({40, 16});
    card.take(newsOf({longOne})).press("<enter>");
    EXPECT_THAT(card.text(), HasSubstr("Which of p3?")) << "what is asked comes into sight by itself";
    EXPECT_THAT(card.text(), HasSubstr("2  Blue"));
    card.press("kkk");
    EXPECT_THAT(card.text(), HasSubstr("xxxxx"));
    EXPECT_THAT(card.press("  ").text(), HasSubstr("message of p3"));
}

TEST(Top, staysInsideTheScreen)
{
    std::vector<AttentionItem> queue;
    for (int i = 0; i < 30; ++i) {
        queue.push_back(itemOf("p" + std::to_string(i)));
        queue.back().card.title = "日本語 👩‍💻 é " + std::string(50, 'w');
        queue.back().card.did = {"A step with 日本語日本語日本語日本語日本語 in it", std::string(99, 'm')};
    }
    for (const char* keys :
        {"", "G", "?", "/ä", "tsome words that are longer than the line has room for", "<enter> ", "1"}) {
        for (std::size_t size = 1; size < 100; size += size < 12 ? 1 : 7) {
            SCOPED_TRACE(std::string(keys) + " " + std::to_string(size));
            for (const ScreenSize shape : {ScreenSize{size, 24}, ScreenSize{80, size}, ScreenSize{size, size}}) {
                View view(shape);
                view.take(newsOf(queue)).press(keys);
                const TopScreen screen = TopScreen::of(view.state, now);
                EXPECT_EQ(screen.rows.size(), shape.rows);
                for (const StyledRow& row : screen.rows)
                    EXPECT_LE(row.width(), shape.columns) << row.text();
                const TopScreen::Cursor cursor = screen.cursor.value_or(TopScreen::Cursor());
                EXPECT_TRUE(cursor.row < shape.rows && cursor.column < shape.columns);
            }
        }
    }
    EXPECT_FALSE(View().text().empty()) << "before the first snapshot";
}

} // namespace

} // namespace tarnel
