#include "Support/Descriptors.h"
#include "Tarnel/TarnelProgram.h"
#include "TarnelCore/Base/Text.h"
#include "tarnel/Completion.h"
#include "tarnel/Program.h"
#include <CLI/CLI.hpp>
#include <gmock/gmock.h>

namespace tarnel {

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsSupersetOf;

class CompletionTest : public testing::Test {
protected:
    CompletionTest() { declare(app, line); }

    std::vector<std::string> complete(const std::vector<std::string>& words)
    {
        std::vector<std::string> texts;
        const auto values = [](std::string_view kind, const Completion::Context& context) {
            return std::vector<Completion::Candidate>{{std::string(kind) + "@" + Text::joined(context.hosts, "+") + "@"
                    + Text::joined(context.positionals, "+"),
                ""}};
        };
        for (const Completion::Candidate& each : Completion::candidates(app, words, values))
            texts.push_back(each.text);
        return texts;
    }

    CLI::App app{"", "tarnel"};
    CommandLine line;
};

TEST_F(CompletionTest, knowsEverySubcommandAndOptionOfTheParser)
{
    for (const CLI::App* command : app.get_subcommands({})) {
        EXPECT_THAT(complete({""}), testing::Contains(command->get_name()));
        const auto options = complete({command->get_name(), "--"});
        for (const CLI::Option* option : command->get_options({})) {
            for (const std::string& name : option->get_lnames())
                EXPECT_THAT(options, testing::Contains("--" + name)) << command->get_name();
        }
        EXPECT_THAT(options, IsSupersetOf({"--json", "--host", "--socket", "--timeout"})) << "the shared ones";
    }
}

TEST_F(CompletionTest, asksForTheValuesThatComeNext)
{
    struct Case {
        std::vector<std::string> words;
        std::vector<std::string> candidates;
    };
    const Case cases[] = {
        {{"que"}, {"queue"}},
        {{"show", ""}, {"PANE@@"}},
        {{"answer", ""}, {"ITEM@@", "PANE@@"}},
        {{"answer", "p1", ""}, {"CHOICE@@p1"}},
        {{"answer", "p1", "Yes", ""}, {}},
        {{"answer", "p1", "--text", "queue", ""}, {"CHOICE@@p1"}},
        {{"--host", "a", "log", "-n", "5", "--host=b", "--follow", ""}, {"PANE@a+b@"}},
        {{"next", "--after", ""}, {"PANE@@"}},
        {{"next", "--after=P"}, {"--after=PANE@@"}},
        {{"config", ""}, {"list", "get", "set", "check", "path"}},
        {{"config", "set", "a.b", ""}, {"VALUE@@a.b"}},
        {{"config", "set", "a.b", "x", ""}, {"VALUE@@a.b+x"}},
        {{"completion", "z"}, {"zsh"}},
        {{"prompt", "p1", "--", "-"}, {}},
        {{"prompt", "p1", "--image", ""}, {"FILE@@p1"}},
        {{"--host"}, {"--host"}},
        {{"nonsense", ""}, {}},
    };
    for (const Case& c : cases)
        EXPECT_EQ(complete(c.words), c.candidates) << testing::PrintToString(c.words);
}

TEST_F(TarnelProgramTest, shellsCompletePanesItemsAndChoices)
{
    askPermission("p1", "npm test");
    EXPECT_THAT(
        run({"__complete", "show", "p"}).output, HasSubstr("p1\tclaude, blocked: project\np2\tcodex, idle: project\n"));
    EXPECT_THAT(run({"__complete", "answer", "studio"}).output, HasSubstr("studio/p1#2/blocked/"));
    daemon.reset();
    const Result silent = run({"__complete", "show", ""});
    EXPECT_EQ(silent.output + silent.errors, "") << "without a daemon nothing disturbs the line";
    serve();
    const std::string folderOfProgram = std::string(TARNEL_PROGRAM).substr(0, std::string(TARNEL_PROGRAM).rfind('/'));
    const std::string script = "PATH=" + folderOfProgram
        + ":$PATH\n"
          R"(source <(tarnel completion bash)
try() { COMP_WORDS=("$@") COMP_CWORD=$(($# - 1)); _tarnel; (IFS=,; echo "${COMPREPLY[*]}"); }
try tarnel scr
try tarnel answer p1 "Yes,"
try tarnel answer "'studio/p1"
try tarnel --host = lo
try tarnel config set attention.order ""
)";
    Process process(
        {.executable = "/bin/bash", .arguments = {"-c", script}, .environment = environment(), .pipesOutput = true});
    EXPECT_THAT(readAll(process.output().get()),
        testing::MatchesRegex("screen\n"
                              R"(Yes\\,\\ and\\ don\\'t\\ ask\\ again)"
                              "\nstudio/p1#2/blocked/[0-9a-f]+\nlocal\nrecent,oldest\n"));
}

} // namespace

} // namespace tarnel
