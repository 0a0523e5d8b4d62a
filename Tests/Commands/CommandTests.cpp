#include "TarnelCore/Commands/AgentDelivery.h"
#include "TarnelCore/Commands/Command.h"
#include <gtest/gtest.h>

namespace tarnel {

namespace {

const std::string fingerprint = R"({"contentHash":"c","kind":"plan","machine":"m","paneID":"p9","stateChangeSeq":4})";

CommandAction action(const std::string& json) { return decode<CommandAction>(JSON::parse(json)); }

TEST(CommandAction, readsAndWritesEveryCase)
{
    struct Case {
        std::string json;
        std::optional<std::string> pane;
        std::vector<CommandLane> lanes;
        bool changesSnapshot;
        std::string trace;
    };
    const CommandLane layout;
    const Case cases[] = {
        {R"({"muxle":{"method":"tab.move","params":{"b":[1],"a":"x"}}})", {}, {layout}, true,
            R"(muxle tab.move {"a":"x","b":[1]})"},
        {R"({"muxle":{"method":"pane.close","params":{"pane_id":"p2"}}})", "p2", {layout, {"p2"}}, true,
            R"(muxle pane.close {"pane_id":"p2"})"},
        {R"({"muxle":{"method":"pane.close","params":{"pane_id":7}}})", {}, {layout}, true,
            R"(muxle pane.close {"pane_id":7})"},
        {R"({"muxle":{"method":"pane.focus","params":{"pane_id":"p2"}}})", {}, {layout}, true,
            R"(muxle pane.focus {"pane_id":"p2"})"},
        {R"({"input":{"pane":"p1","keys":["enter","up"]}})", "p1", {{"p1"}}, false,
            R"(input p1 0 chars keys ["enter","up"])"},
        {R"({"input":{"pane":"p1","keys":[],"text":"né"}})", "p1", {{"p1"}}, false, "input p1 2 chars keys []"},
        {R"({"prompt":{"pane":"p3","text":"secret","mode":"steer_now","typed":"s",)"
         R"("images":[{"data":"AP8=","type":"image/png","name":"a.png"},{"data":"","type":"x"}]}})",
            "p3", {{"p3"}}, true, "prompt p3 6 chars steer_now"},
        {R"({"prompt":{"pane":"p3","text":"run the tests","mode":"after_turn","images":[]}})", "p3", {{"p3"}}, true,
            "prompt p3 13 chars after_turn"},
        {R"({"answer":{"_0":{"fingerprint":)" + fingerprint + R"(,"choice":"Yes"},"images":[]}})", "p9", {{"p9"}}, true,
            "answer p9"},
        {R"({"shell":{"command":"make"}})", {}, {layout}, true, "shell"},
        {R"({"sendNow":{"message":"c-1"}})", {}, {layout}, false, "send now"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.json);
        const CommandAction read = action(c.json);
        EXPECT_EQ(encoded(read), JSON::parse(c.json).serialized());
        EXPECT_EQ(paneOf(read), c.pane);
        EXPECT_EQ(lanesOf(read), c.lanes);
        EXPECT_EQ(changesSnapshot(read), c.changesSnapshot);
        EXPECT_EQ(traceLabel(read), c.trace);
    }
    const auto prompt = std::get<PromptAction>(action(cases[6].json));
    EXPECT_EQ(prompt.images[0].data.content, std::string("\0\xff", 2));
}

TEST(CommandAction, refusesWhatIsNoAction)
{
    struct Case {
        const char* json;
        const char* message;
    };
    const Case cases[] = {
        {"{}", "Invalid number of keys found, expected one."},
        {R"({"shell":{"command":"x"},"sendNow":{"message":"y"}})", "Invalid number of keys found, expected one."},
        {R"({"dance":{}})", "unknown case \"dance\""},
        {R"({"input":{"pane":"p1"}})", "missing \"keys\""},
        {R"({"muxle":{"method":"m","params":[]}})", "params: not an object"},
        {R"({"prompt":{"pane":"p","text":"t","mode":"now","images":[]}})", "mode: unknown case \"now\""},
        {R"({"prompt":{"pane":"p","text":"t","mode":"after_turn","images":[{"data":"?","type":"x"}]}})",
            "images: data: not base64 text"},
        {R"({"answer":{"images":[]}})", "missing \"_0\""},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.json);
        try {
            action(c.json);
            ADD_FAILURE() << "decoded";
        } catch (const DecodingError& error) {
            EXPECT_STREQ(error.what(), c.message);
        }
    }
    EXPECT_THROW(decode<Command>(JSON::parse(R"({"id":7,"action":{"shell":{"command":"x"}}})")), DecodingError);
}

TEST(CommandReply, isFinalUnlessHeld)
{
    struct Case {
        CommandReply reply;
        const char* json;
        bool isFinal;
    };
    using enum CommandReply::Status;
    const Case cases[] = {
        {{.id = "c", .status = held}, R"({"id":"c","status":"held"})", false},
        {{.id = "c", .status = queued}, R"({"id":"c","status":"queued"})", true},
        {{.id = "c", .status = done, .result = JSON(1)}, R"({"id":"c","result":1,"status":"done"})", true},
        {{.id = "c", .status = failed, .error = "e"}, R"({"error":"e","id":"c","status":"failed"})", true},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(encoded(c.reply), c.json);
        EXPECT_EQ(decode<CommandReply>(JSON::parse(c.json)), c.reply);
        EXPECT_EQ(c.reply.isFinal(), c.isFinal) << c.json;
    }
}

TEST(AgentDelivery, holdsOnlyWhatFollowsARunningTurn)
{
    struct Case {
        AgentStatus status;
        AgentDelivery afterTurn;
        bool isFree;
    };
    const Case cases[] = {
        {AgentStatus::working, AgentDelivery::hold, false},
        {AgentStatus::blocked, AgentDelivery::enter, false},
        {AgentStatus::done, AgentDelivery::enter, true},
        {AgentStatus::idle, AgentDelivery::enter, true},
        {AgentStatus::unknown, AgentDelivery::enter, false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(nameOf(c.status));
        EXPECT_EQ(chooseDelivery(AgentKind::codex, c.status, SendMode::afterTurn), c.afterTurn);
        EXPECT_EQ(chooseDelivery(AgentKind::codex, c.status, SendMode::steerNow), AgentDelivery::enter);
        EXPECT_EQ(isFree(c.status), c.isFree);
    }
}

} // namespace

} // namespace tarnel
