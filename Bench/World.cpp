#include "Bench/World.h"
#include "Bench/RecordGenerator.h"
#include "Bench/TextGenerator.h"
#include "TarnelCore/Attention/CardBuilder.h"
#include "TarnelCore/Muxle/MuxleClient.h"
#include <filesystem>
#include <fstream>

namespace tarnel::bench {

namespace {

constexpr std::size_t screenBytes = 4'096;
constexpr std::size_t panesPerTab = 4;
constexpr std::size_t tabsPerWorkspace = 5;

std::string sessionOf(std::size_t pane)
{
    const std::string digits = std::to_string(pane);
    return "00000000-0000-4000-8000-" + std::string(12 - digits.size(), '0') + digits;
}

} // namespace

MuxleWorld generatedWorld(std::size_t panes, Scene scene)
{
    Random random(3);
    MuxleWorld world;
    for (std::size_t i = 0; i < panes; ++i) {
        const std::size_t tab = i / panesPerTab;
        const std::size_t workspace = tab / tabsPerWorkspace;
        const std::string workspaceID = "w" + std::to_string(workspace);
        const std::string tabID = "t" + std::to_string(tab);
        if (i % (panesPerTab * tabsPerWorkspace) == 0)
            world.workspaces.push_back({.id = workspaceID,
                .number = static_cast<std::int64_t>(workspace),
                .label = "project " + std::to_string(workspace),
                .activeTab = tabID});
        if (i % panesPerTab == 0)
            world.tabs.push_back({.id = tabID,
                .workspace = workspaceID,
                .label = "main",
                .splits = {{"s1", "right", 0.5, {0, 0, 160, 48}}, {"s2", "down", 0.5, {0, 0, 80, 48}},
                    {"s3", "down", 0.5, {80, 0, 80, 48}}}});
        const bool isBlocked = scene == Scene::mixed && i % 10 == 0;
        const bool isWorking = scene == Scene::mixed && i % 10 > 3;
        const auto column = static_cast<std::int64_t>(i % 2);
        const auto row = static_cast<std::int64_t>(i / 2 % 2);
        world.panes.push_back({.id = "p" + std::to_string(i),
            .workspace = workspaceID,
            .tab = tabID,
            .agent = "claude",
            .status = isBlocked ? "blocked"
                : isWorking     ? "working"
                                : "idle",
            .cwd = "/home/me/project",
            .title = "Fix the build of module " + std::to_string(i),
            .sessionID = sessionOf(i),
            .isFocused = i == 0,
            .revision = static_cast<std::int64_t>(random.below(10'000)),
            .stateChangeSeq = static_cast<std::int64_t>(i),
            .rect = {column * 80, row * 24, 80, 24},
            .screen = TextGenerator::screen(random, screenBytes, isBlocked)});
    }
    return world;
}

void writeRecords(const MuxleWorld& world, const std::string& home)
{
    const std::string folder = home + "/.claude/projects/-home-me-project/";
    std::filesystem::create_directories(folder);
    std::uint64_t seed = 0;
    for (const MuxleWorld::Pane& pane : world.panes)
        std::ofstream(folder + *pane.sessionID + ".jsonl", std::ios::binary)
            << RecordGenerator::record(RecordPlace::Kind::claude, 30'000, ++seed);
}

MachineSnapshot generatedSnapshot(std::size_t panes)
{
    Random random(5);
    const MuxleWorld world = generatedWorld(panes);
    const JSON session = world.sessionSnapshot();
    const JSON& lists = *session["snapshot"];
    MachineSnapshot snapshot{.machine = "studio",
        .takenAt = timestampFromSeconds(1'770'000'000).value(),
        .workspaces = MuxleClient::decodeList<MuxleWorkspace>(lists["workspaces"]),
        .agents = MuxleClient::decodeList<MuxleAgent>(lists["panes"]),
        .tabs = MuxleClient::decodeList<MuxleTab>(lists["tabs"]),
        .layouts = MuxleClient::decodeList<TabLayout>(lists["layouts"]),
        .statusLines = std::map<std::string, StatusLine>()};
    for (std::size_t i = 0; i < snapshot.agents.size(); ++i) {
        const MuxleAgent& agent = snapshot.agents[i];
        snapshot.statusLines->emplace(agent.paneID,
            StatusLine{
                .model = "claude-opus-5", .contextUsed = 45'658, .contextWindow = 1'000'000, .mode = "accept edits"});
        if (i % 2 != 0)
            continue;
        AttentionItem item{.kind = AttentionKind::finished,
            .fingerprint = {snapshot.machine, agent.paneID, agent.stateChangeSeq, AttentionKind::finished,
                Fingerprint::hash(agent.paneID)},
            .card = CardBuilder::build(
                snapshot.machine, agent, "project", nullptr, TextGenerator::screen(random, 900, false)),
            .waitingSince = snapshot.takenAt,
            .stateChangeSeq = agent.stateChangeSeq,
            .revision = agent.revision,
            .choices = {"Yes", "No"}};
        item.card.asked = TextGenerator::prose(random, 120);
        item.card.lastMessage = TextGenerator::prose(random, 500);
        item.card.did = {"Read src/parser.cpp", "Edited src/parser.cpp", "Ran npm test -- --watch=false"};
        snapshot.queue.push_back(std::move(item));
    }
    return snapshot;
}

MachineSnapshot changed(MachineSnapshot snapshot, std::int64_t version)
{
    MuxleAgent& agent = snapshot.agents.front();
    agent.revision = 100'000 + version;
    if (!snapshot.queue.empty())
        snapshot.queue.front().revision = agent.revision;
    return snapshot;
}

} // namespace tarnel::bench
