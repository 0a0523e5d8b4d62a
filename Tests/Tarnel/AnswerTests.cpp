#include "Tarnel/TarnelProgram.h"
#include <gmock/gmock.h>

namespace tarnel {

namespace {

using testing::HasSubstr;

class AnswerCommandTest : public TarnelProgramTest {
protected:
    /// The agent in p1 asks, and goes on once a key is pressed.
    void SetUp() override
    {
        TarnelProgramTest::SetUp();
        askPermission("p1", "npm test");
        muxle.handle("pane.send_keys", [this](const JSON::Object&) {
            muxle.change([](MuxleWorld& world) {
                world.pane("p1").status = "working";
                world.pane("p1").stateChangeSeq += 1;
                world.pane("p1").screen = "";
            });
            return JSON(JSON::Object());
        });
    }
    std::string currentID()
    {
        const JSON queue = JSON::parse(run({"queue", "--json"}).output);
        return decode<AttentionItem>(queue.array() ? queue.array()->at(0) : queue).id();
    }
    std::vector<std::string> pressed()
    {
        std::vector<std::string> keys;
        for (const ScriptedMuxle::Request& request : muxle.requests("pane.send_keys"))
            keys.push_back(request.params.find("keys")->serialized());
        return keys;
    }
};

TEST_F(AnswerCommandTest, showsThePanesItemAndAnswersIt)
{
    const Result result = run({"answer", "p1", "2"});
    EXPECT_EQ(result.status, 0) << result.errors;
    EXPECT_THAT(result.output, HasSubstr("npm test"));
    EXPECT_THAT(result.output, HasSubstr("  2. Yes, and don't ask again\n"));
    EXPECT_THAT(result.output, HasSubstr("Answered, as option 2 of its menu: the agent goes on.\n"));
    EXPECT_EQ(pressed(), std::vector<std::string>{R"(["2"])"});
}

TEST_F(AnswerCommandTest, anItemTravelsAndIsRefusedOnceItIsStale)
{
    const std::string shown = currentID();
    askPermission("p1", "rm -rf /", 3);
    Result result = run({"answer", shown, "1"});
    EXPECT_EQ(result.status, 5) << result.output;
    EXPECT_THAT(result.errors, HasSubstr("Nothing was sent: the agent asks something else by now."));
    EXPECT_THAT(result.output, HasSubstr("rm -rf /"));
    EXPECT_THAT(result.output, HasSubstr("tarnel answer '" + currentID() + "' 1"));
    EXPECT_TRUE(pressed().empty());

    result = run({"answer", shown, "1", "--json"});
    EXPECT_EQ(result.status, 5);
    EXPECT_THAT(result.output, HasSubstr(R"("outcome":{"stale":)"));
    EXPECT_THAT(result.output, HasSubstr(R"("current":{)"));

    result = run({"answer", currentID(), "No", "--json"});
    EXPECT_EQ(result.status, 0) << result.errors;
    EXPECT_THAT(result.output, HasSubstr(R"({"applied":{"method":"menu 3"}})"));
    result = run({"answer", shown, "1"});
    EXPECT_EQ(result.status, 5);
    EXPECT_THAT(result.errors, HasSubstr("the agent needs nothing any more"));
}

TEST_F(AnswerCommandTest, failuresSayWhatToDo)
{
    Result result = run({"answer", "p1", "Perhaps"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.errors, HasSubstr("no menu option matches"));
    EXPECT_THAT(result.errors, HasSubstr("tarnel screen p1"));
    result = run({"answer", "p1"}, "2\n"); // no terminal: nobody is asked
    EXPECT_EQ(result.status, 2);
    EXPECT_THAT(result.errors, HasSubstr("say what to answer"));
    result = run({"answer", "studio/p9#1/question/ab", "1"});
    EXPECT_EQ(result.status, 1);
    EXPECT_TRUE(pressed().empty());

    muxle.handle("pane.send_keys", [](const JSON::Object&) { return JSON(JSON::Object()); });
    result = run({"answer", "p1", "1"});
    EXPECT_EQ(result.status, 4) << "the agent did not move";
    EXPECT_THAT(result.errors, HasSubstr("but the agent has not moved yet"));
}

} // namespace

} // namespace tarnel
