#include "EndToEnd/DemoWorld.h"
#include "Support/Descriptors.h"
#include "Support/Eventually.h"
#include "TarnelCore/Base/Text.h"
#include "TarnelCore/Base/UUID.h"
#include "tarnel/LiveQueue.h"
#include <algorithm>
#include <filesystem>
#include <poll.h>
#include <stdexcept>

namespace tarnel {

namespace {

using namespace std::chrono_literals;

/// This process's environment without what would lead to the user's own programs.
Environment privateEnvironment(const TemporaryFolder& folder)
{
    Environment made = processEnvironment();
    std::erase_if(made, [](const auto& variable) {
        const std::string& name = variable.first;
        return name.starts_with("TARNEL") || name.starts_with("MUXLE") || name.starts_with("TMUX");
    });
    made["HOME"] = folder / "home";
    made["MUXLE_BIN_PATH"] = MUXLE_TMUX_PROGRAM;
    made["MUXLE_SOCKET_PATH"] = folder / "muxle.sock";
    made["PATH"] = folder / "bin:" + made["PATH"];
    made["TARNELD_SOCKET"] = folder / "tarneld.sock";
    made["TARNEL_MACHINE"] = "demo";
    made["TERM"] = "xterm-256color";
    return made;
}

/// The multiplexer's ids carry tmux's own numbers.
std::string tmuxTarget(const std::string& pane) { return "%" + pane.substr(1); }

} // namespace

DemoWorld::DemoWorld()
    : daemon(folder / "tarneld.sock")
    , environment(privateEnvironment(folder))
{
    std::filesystem::create_directories(folder / "home");
    std::filesystem::create_directories(folder / "bin");
    for (const char* agent : {"claude", "codex"})
        std::filesystem::create_symlink(DEMO_AGENT_PROGRAM, folder / (std::string("bin/") + agent));
    if (tmux({"new-session", "-d", "-s", "demo", "-x", "100", "-y", "30", "sh"}).status != 0)
        throw std::runtime_error("tmux does not start");
    multiplexer = startLogging(MUXLE_TMUX_PROGRAM " serve --tmux-socket " + (folder / "tmux.sock"), "muxle-tmux.log");
    if (!eventually([&] { return std::filesystem::exists(folder / "muxle.sock"); }, patience))
        throw std::runtime_error("muxle-tmux does not listen");
    startDaemon();
}

/// Starts a program with a log of its own, so that the tests' output stays readable.
std::unique_ptr<Process> DemoWorld::startLogging(const std::string& line, const std::string& log) const
{
    return std::make_unique<Process>(command("/bin/sh", {"-c", "exec " + line + " >>" + (folder / log) + " 2>&1"}));
}

void DemoWorld::startDaemon()
{
    server = startLogging(TARNELD_PROGRAM, "tarneld.log");
    const auto answers = [&] {
        try {
            daemon.snapshot();
            return true;
        } catch (const std::exception&) {
            return false;
        }
    };
    if (!eventually(answers, patience))
        throw std::runtime_error("tarneld does not answer");
}

DemoWorld::~DemoWorld()
{
    for (const auto* process : {&server, &multiplexer}) {
        if (*process)
            (*process)->terminate();
    }
    tmux({"kill-server"});
    eventually([&] { return tmux({"has-session"}).status != 0; });
}

std::string DemoWorld::startAgent(const std::string& scene)
{
    const std::string agent = scene.substr(0, scene.find('-'));
    const std::string option = agent == "codex" ? "resume" : "--session-id";
    return startWindow({"-e", "DEMO_SCENE=" + scene, "exec " + agent + " " + option + " " + randomUUID()});
}

std::string DemoWorld::startCommand(const std::string& command) { return startWindow({command}); }

std::string DemoWorld::startWindow(const std::vector<std::string>& arguments)
{
    std::vector<std::string> words{"new-window", "-d", "-P", "-F", "#{pane_id}", "-t", "demo:", "-c", folder / "home"};
    words.insert(words.end(), arguments.begin(), arguments.end());
    const Run made = tmux(words);
    if (made.status != 0 || !made.output.starts_with('%'))
        throw std::runtime_error("tmux makes no window: " + made.output);
    return "p" + std::string(Text::trimmed(made.output.substr(1)));
}

void DemoWorld::end(const std::string& pane) { tmux({"kill-pane", "-t", tmuxTarget(pane)}); }

void DemoWorld::endDaemon() { server->terminate(std::chrono::milliseconds(0)); }

void DemoWorld::type(const std::string& pane, const std::vector<std::string>& keys)
{
    std::vector<std::string> words{"send-keys", "-t", tmuxTarget(pane)};
    words.insert(words.end(), keys.begin(), keys.end());
    tmux(words);
}

std::string DemoWorld::screen(const std::string& pane)
{
    return std::string(Text::trimmed(tmux({"capture-pane", "-p", "-t", tmuxTarget(pane)}).output));
}

DemoWorld::Run DemoWorld::tmux(std::vector<std::string> arguments)
{
    arguments.insert(arguments.begin(), {"-S", folder / "tmux.sock", "-u", "-f", "/dev/null"});
    std::string line = TMUX_PROGRAM;
    for (const std::string& argument : arguments)
        line += " '" + Text::replacingAll(argument, "'", "'\\''") + "'";
    return run(line);
}

DemoWorld::Run DemoWorld::run(const std::string& line)
{
    const Process process(command("/bin/sh", {"-c", line + " 2>&1"}));
    std::string output = readAll(process.output().get());
    return {.status = process.waitFor(patience).value_or(-1), .output = std::move(output)};
}

Process::Options DemoWorld::command(const std::string& executable, const std::vector<std::string>& arguments) const
{
    return {.executable = executable, .arguments = arguments, .environment = environment, .pipesOutput = true};
}

class SnapshotWatch::Implementation {
public:
    explicit Implementation(const std::string& socketPath)
        : queue({Daemon::here(socketPath)}, false, Backoff(std::chrono::milliseconds(100)))
    {
    }
    LiveQueue queue;
};

SnapshotWatch::SnapshotWatch(const std::string& socketPath)
    : implementation(std::make_unique<Implementation>(socketPath))
{
}
SnapshotWatch::~SnapshotWatch() = default;

std::shared_ptr<const MachineSnapshot> SnapshotWatch::await(const std::function<bool(const MachineSnapshot&)>& holds)
{
    const auto deadline = std::chrono::steady_clock::now() + patience;
    for (;;) {
        const LiveQueue::View view = implementation->queue.take();
        const auto& snapshot = view.machines.front().snapshot;
        if (snapshot && holds(*snapshot))
            return snapshot;
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0 || view.hasEnded())
            return nullptr;
        pollfd news{implementation->queue.descriptor(), POLLIN, 0};
        ::poll(&news, 1, static_cast<int>(left.count()));
    }
}

const AttentionItem* itemOf(const MachineSnapshot& snapshot, const std::string& pane)
{
    const auto found = std::find_if(snapshot.queue.begin(), snapshot.queue.end(),
        [&](const AttentionItem& item) { return item.card.paneID == pane; });
    return found == snapshot.queue.end() ? nullptr : &*found;
}

std::vector<std::string> heard(DemoWorld& world, const std::string& pane)
{
    const auto transcript = decode<Transcript>(world.daemon.call("conversation", {{"pane", pane}}, patience));
    std::vector<std::string> texts;
    for (const auto& entry : transcript.entries) {
        if (entry->role == EntryRole::user)
            texts.push_back(entry->text);
    }
    if (!texts.empty())
        texts.erase(texts.begin());
    return texts;
}

std::optional<AttentionItem> awaitItem(SnapshotWatch& watch, const std::string& pane, AttentionKind kind)
{
    const auto snapshot = watch.await([&](const MachineSnapshot& each) {
        const AttentionItem* item = itemOf(each, pane);
        return item && item->kind == kind;
    });
    return snapshot ? std::optional(*itemOf(*snapshot, pane)) : std::nullopt;
}

} // namespace tarnel
