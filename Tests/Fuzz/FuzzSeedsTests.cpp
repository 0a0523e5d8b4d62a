#include "Fuzz/Target.h"
#include "TarnelCore/Base/Files.h"
#include <algorithm>
#include <gtest/gtest.h>
#include <ostream>

namespace tarnel::fuzz {

namespace {

struct NamedTarget {
    const char* name; // of its folder of seeds
    Target* run;
};

void PrintTo(const NamedTarget& target, std::ostream* out) { *out << target.name; }

constexpr NamedTarget targets[] = {
    {"AgentPrompt", fuzzAgentPrompt},
    {"ClaudeRecord", fuzzClaudeRecord},
    {"CodexRecord", fuzzCodexRecord},
    {"Config", fuzzConfig},
    {"FrontMatter", fuzzFrontMatter},
    {"GrokRecord", fuzzGrokRecord},
    {"JSON", fuzzJSON},
    {"Keymap", fuzzKeymap},
    {"MuxleReplies", fuzzMuxleReplies},
    {"Requests", fuzzRequests},
    {"Screen", fuzzScreen},
    {"SocketLines", fuzzSocketLines},
    {"StatusLine", fuzzStatusLine},
    {"TOML", fuzzTOML},
    {"TabLayout", fuzzTabLayout},
    {"TerminalText", fuzzTerminalText},
    {"TmuxOutput", fuzzTmuxOutput},
};

const std::string seeds = TARNEL_FUZZ_SEEDS; // where their folders are

class FuzzSeeds : public testing::TestWithParam<NamedTarget> { };

TEST_P(FuzzSeeds, holdWhatMustHold)
{
    isThorough = true;
    const std::string folder = seeds + "/" + GetParam().name;
    GetParam().run("");
    const auto files = Files::list(folder);
    EXPECT_FALSE(files.empty());
    for (const std::string& file : files) {
        SCOPED_TRACE(file);
        EXPECT_NO_THROW(GetParam().run(Files::read(folder + "/" + file).value()));
    }
}

INSTANTIATE_TEST_SUITE_P(
    Targets, FuzzSeeds, testing::ValuesIn(targets), [](const auto& target) { return target.param.name; });

TEST(FuzzTargets, allRunOverTheirSeeds)
{
    std::vector<std::string> folders = Files::list(seeds);
    std::sort(folders.begin(), folders.end());
    std::vector<std::string> names;
    for (const NamedTarget& target : targets)
        names.emplace_back(target.name);
    EXPECT_EQ(folders, names);
}

} // namespace

} // namespace tarnel::fuzz
