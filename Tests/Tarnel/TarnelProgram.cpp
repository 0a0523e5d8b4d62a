#include "Tarnel/TarnelProgram.h"
#include "TarnelCore/Base/Files.h"
#include <array>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace tarnel {

namespace {

using namespace std::chrono_literals;

constexpr auto patience = 20s; // far more than anything here takes

} // namespace

TestDaemon::TestDaemon(
    const std::string& muxleSocket, std::string socketPath, const std::string& machine, const std::string& home)
    : engine(MuxleClient(std::make_shared<MuxleSocket>(muxleSocket)), machine, QueueOptions(), {.home = home})
    , daemon(engine, socketPath, {.log = {[](std::string_view) {}}})
    , thread([this] { daemon.run(); })
{
    const bool listens = eventually([&] {
        try {
            LineSocket::connect(socketPath);
            return true;
        } catch (const SocketError&) {
            return false;
        }
    });
    EXPECT_TRUE(listens);
}

TestDaemon::~TestDaemon()
{
    daemon.stop();
    thread.join();
}

RunningTarnel::RunningTarnel(
    const std::vector<std::string>& arguments, Environment environment, const std::string& input)
    : complaints(::open((folder / "errors").c_str(), O_CREAT | O_RDWR | O_APPEND | O_CLOEXEC, 0600))
{
    // A shell notes the number of the process that it then becomes.
    std::vector<std::string> words{"-c", "echo $$ >\"$0\"; exec \"$@\"", folder / "id", TARNEL_PROGRAM};
    words.insert(words.end(), arguments.begin(), arguments.end());
    process = std::make_unique<Process>(Process::Options{.executable = "/bin/sh",
        .arguments = std::move(words),
        .environment = std::move(environment),
        .pipesInput = true,
        .pipesOutput = true,
        .errors = complaints.get()});
    std::string_view rest = input;
    while (!rest.empty()) {
        const ssize_t count = ::send(process->input().get(), rest.data(), rest.size(), MSG_NOSIGNAL);
        if (count <= 0)
            break; // a program that does not read has gone
        rest.remove_prefix(static_cast<std::size_t>(count));
    }
    ::shutdown(process->input().get(), SHUT_WR);
}

RunningTarnel::~RunningTarnel() { process->terminate(); }

bool RunningTarnel::readSome(std::chrono::milliseconds limit)
{
    pollfd watched{process->output().get(), POLLIN, 0};
    if (::poll(&watched, 1, static_cast<int>(limit.count())) <= 0)
        return true;
    std::array<char, 65536> chunk;
    const ssize_t count = ::read(watched.fd, chunk.data(), chunk.size());
    if (count <= 0)
        return false;
    printed.append(chunk.data(), static_cast<std::size_t>(count));
    return true;
}

std::string RunningTarnel::awaitOutput(std::string_view part)
{
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (printed.find(part) == printed.npos && std::chrono::steady_clock::now() < deadline && readSome(10ms)) { }
    EXPECT_NE(printed.find(part), printed.npos) << "wanted: " << part << "\nprinted: " << printed << "\n" << errors();
    return printed;
}

std::string RunningTarnel::awaitErrors(std::string_view part)
{
    EXPECT_TRUE(eventually([&] { return errors().find(part) != std::string::npos; }, patience))
        << "wanted: " << part << "\ngot: " << errors();
    return errors();
}

void RunningTarnel::signal(int number) const
{
    std::string id;
    ASSERT_TRUE(eventually([&] {
        id = Files::read(folder / "id").value_or("");
        return id.ends_with('\n');
    }));
    ::kill(std::stoi(id), number);
}

int RunningTarnel::wait()
{
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (std::chrono::steady_clock::now() < deadline && readSome(10ms)) { }
    return process->waitFor(patience).value_or(-1);
}

std::string RunningTarnel::errors() const { return Files::read(folder / "errors").value_or(""); }

void TarnelProgramTest::askPermission(const std::string& pane, const std::string& command, std::int64_t stateChangeSeq)
{
    muxle.change([&](MuxleWorld& world) {
        world.pane(pane).status = "blocked";
        world.pane(pane).stateChangeSeq = stateChangeSeq;
        world.pane(pane).screen = " Bash command\n\n   " + command
            + "\n\n Do you want to proceed?\n ❯ 1. Yes\n   2. Yes, and don't ask again\n   3. No\n";
    });
}

Environment TarnelProgramTest::environment() const
{
    Environment variables{{"HOME", folder.path()}, {"PATH", "/usr/bin:/bin"}, {"TARNELD_SOCKET", socket},
        {"COLUMNS", "120"}, {"TZ", "UTC0"}};
    for (const auto& [name, value] : more)
        variables[name] = value;
    return variables;
}

TarnelProgramTest::Result TarnelProgramTest::run(const std::vector<std::string>& arguments, const std::string& input)
{
    RunningTarnel program(arguments, environment(), input);
    const int status = program.wait();
    return {status, program.output(), program.errors()};
}

} // namespace tarnel
