#include "Tarnel/TarnelProgram.h"
#include "TarnelCore/Base/Files.h"
#include <gmock/gmock.h>

namespace tarnel {

namespace {

using testing::HasSubstr;

TEST_F(TarnelProgramTest, settingsAreReadChangedAndChecked)
{
    const std::string file = folder / ".config/tarnel/config.toml";
    struct Step {
        std::vector<std::string> arguments;
        int status;
        std::string output; // exactly; where it is empty, `said` tells
        std::string said;
    };
    const Step steps[] = {
        {{"path"}, 0, file + "\n", ""},
        {{"get", "attention.order"}, 0, "recent\n", ""},
        {{"set", "attention.order", "oldest"}, 0, "", ""},
        {{"get", "attention.order"}, 0, "oldest\n", ""},
        {{"get", "attention.order", "--json"}, 0, "\"oldest\"\n", ""},
        {{"get", "atention.order"}, 2, "", "there is no setting atention.order; did you mean attention.order?"},
        {{"get", "zzz"}, 2, "", "tarnel config list"},
        {{"set", "attention.order", "newest"}, 2, "", "must be one of recent, oldest"},
        {{"set", "attention.order"}, 2, "", "give either a value (recent, oldest) or --default"},
        {{"set", "attention.finished_after_seconds", "5000"}, 2, "", "between 0.0 and 3600.0"},
        {{"set", "attention.finished_after_seconds", "soon"}, 2, "", "must be a number"},
        {{"set", "notifications.sound", "on"}, 0, "", ""},
        {{"get", "notifications.sound", "--json"}, 0, "true\n", ""},
        {{"set", "attention.muted_agents", "night shift", "b"}, 0, "", ""},
        {{"get", "attention.muted_agents"}, 0, "night shift\nb\n", ""},
        {{"set", "attention.muted_agents", "[\"x\"]"}, 0, "", ""},
        {{"get", "attention.muted_agents", "--json"}, 0, "[\"x\"]\n", ""},
        {{"set", "attention.order", "--default"}, 0, "", ""},
        {{"get", "attention.order"}, 0, "recent\n", ""},
        {{"check"}, 0, file + " is in order.\n", ""},
    };
    for (const Step& step : steps) {
        SCOPED_TRACE(testing::PrintToString(step.arguments));
        std::vector<std::string> arguments{"config"};
        arguments.insert(arguments.end(), step.arguments.begin(), step.arguments.end());
        const Result result = run(arguments);
        EXPECT_EQ(result.status, step.status) << result.errors;
        if (!step.output.empty()) {
            EXPECT_EQ(result.output, step.output);
        }
        EXPECT_THAT(result.errors, HasSubstr(step.said));
    }
    const JSON all = JSON::parse(run({"config", "list", "--json"}).output);
    EXPECT_EQ(all.array()->size(), 60U);
    EXPECT_THAT(run({"config", "list", "--changed"}).output, HasSubstr("notifications.sound = true  (changed)\n"));
}

TEST_F(TarnelProgramTest, aWrongFileIsToldAndNothingInItIsLost)
{
    const std::string file =
        folder.write(".config/tarnel/config.toml", "# mine\n[attention]\norder = \"newest\"\nfoo = 1\n");
    const Result check = run({"config", "check"});
    EXPECT_EQ(check.status, 1);
    EXPECT_THAT(check.output, HasSubstr("attention.order must be one of recent, oldest\n"));
    EXPECT_THAT(check.output, HasSubstr("unknown setting attention.foo\n"));
    EXPECT_THAT(run({"doctor"}).output, HasSubstr("✗ Configuration: "));
    EXPECT_EQ(run({"doctor"}).status, 1);

    const Result set = run({"config", "set", "attention.order", "oldest"});
    EXPECT_EQ(set.status, 0);
    EXPECT_THAT(set.errors, HasSubstr("is kept in " + file + ".before"));
    EXPECT_THAT(Files::read(file + ".before").value(), HasSubstr("# mine\n"));

    folder.write(".config/tarnel/config.toml", "[attention\n");
    EXPECT_EQ(run({"config", "set", "attention.order", "oldest"}).status, 1);
    EXPECT_EQ(Files::read(file), "[attention\n");
}

} // namespace

} // namespace tarnel
