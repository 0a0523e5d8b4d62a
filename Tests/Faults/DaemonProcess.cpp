#include "Faults/DaemonProcess.h"
#include "TarnelCore/Base/Files.h"
#include <array>
#include <csignal>
#include <cstdio>

namespace tarnel {

using namespace std::chrono_literals;

DaemonProcess::DaemonProcess()
{
    std::signal(SIGPIPE, SIG_IGN); // bare descriptors are written to whose peer may have gone
    std::erase_if(environment, [](const auto& variable) {
        return variable.first.starts_with("TARNEL") || variable.first.starts_with("MUXLE");
    });
    environment["HOME"] = folder.path();
    environment["MUXLE_SOCKET_PATH"] = muxle.socketPath();
    environment["TARNELD_SOCKET"] = socketPath();
    environment["TARNEL_MACHINE"] = "studio";
}

DaemonProcess::~DaemonProcess()
{
    if (daemon)
        daemon->terminate(0ms);
}

pid_t DaemonProcess::start(std::unique_ptr<Process>& process, const std::string& name, const std::string& command,
    const std::string& before, bool pipes)
{
    const std::string file = folder.write(name + ".pid", "");
    process = std::make_unique<Process>(Process::Options{.executable = "/bin/sh",
        .arguments = {"-c", before + "echo $$ >" + file + "; exec " + command},
        .environment = environment,
        .pipesInput = pipes,
        .pipesOutput = pipes});
    pid_t started = 0;
    EXPECT_TRUE(eventually([&] {
        const std::string text = Files::read(file).value_or("");
        started = text.ends_with('\n') ? std::stoi(text) : 0;
        return started > 0;
    }));
    return started;
}

void DaemonProcess::launch(const std::string& before)
{
    id = start(daemon, "tarneld", TARNELD_PROGRAM " >/dev/null 2>>" + (folder / "log"), before);
}

void DaemonProcess::serve(const std::string& before)
{
    launch(before);
    ASSERT_TRUE(isServing()) << log();
    ASSERT_TRUE(muxle.awaitSubscriptions(1));
}

bool DaemonProcess::isServing() const
{
    return eventually(
        [&] {
            try {
                DaemonClient(socketPath()).call("ping", {}, 5s);
                return true;
            } catch (const std::exception&) {
                return false;
            }
        },
        patience);
}

void DaemonProcess::kill()
{
    ASSERT_EQ(::kill(id, SIGKILL), 0);
    ASSERT_EQ(daemon->waitFor(patience), 128 + SIGKILL);
}

std::string DaemonProcess::log() const { return Files::read(folder / "log").value_or(""); }

std::shared_ptr<LineSocket> DaemonProcess::connect() const
{
    auto socket = LineSocket::connect(socketPath());
    socket->setReadTimeout(patience);
    return socket;
}

std::string DaemonProcess::ask(LineSocket& socket, const std::string& line)
{
    socket.writeLine(line);
    return socket.readLine().value_or("end of stream");
}

std::shared_ptr<LineSocket> DaemonProcess::subscribe() const
{
    auto socket = connect();
    ask(*socket, R"({"id":1,"method":"subscribe"})");
    socket->readLine();
    return socket;
}

void letPass(std::chrono::milliseconds span)
{
    const auto end = std::chrono::steady_clock::now() + span;
    eventually([&] { return std::chrono::steady_clock::now() >= end; }, span + 1s);
}

double inMilliseconds(std::chrono::nanoseconds duration)
{
    return std::chrono::duration<double, std::milli>(duration).count();
}

double inSeconds(std::chrono::nanoseconds duration) { return std::chrono::duration<double>(duration).count(); }

std::string oneDecimal(double value)
{
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%.1f", value);
    return text.data();
}

} // namespace tarnel
