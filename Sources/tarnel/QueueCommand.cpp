#include "tarnel/QueueCommand.h"
#include "TarnelCore/Base/Clock.h"
#include "TarnelCore/Base/Text.h"
#include "TarnelCore/Daemon/DaemonClient.h"
#include "tarnel/QueueTable.h"
#include "tarnel/Terminal.h"
#include <memory>

namespace tarnel {

namespace {

constexpr DaemonClient::Seconds timeout{15};

/// The same JSON, with the control characters that JSON lets stand written as escapes: a terminal obeys some of them.
std::string withoutControls(std::string_view json)
{
    constexpr std::string_view digits = "0123456789abcdef";
    std::string text;
    text.reserve(json.size());
    while (!json.empty()) {
        const Text::Scalar scalar = Text::firstScalar(json);
        if (scalar.value >= 0x7F && scalar.value < 0xA0) {
            text += "\\u00";
            text += digits[scalar.value >> 4];
            text += digits[scalar.value & 0xF];
        } else {
            text += json.substr(0, scalar.length);
        }
        json.remove_prefix(scalar.length);
    }
    return text;
}

std::string table(const std::vector<AttentionItem>& queue)
{
    const Environment environment = processEnvironment();
    if (queue.empty())
        return std::string(QueueTable::nothingWaits) + "\n";
    const QueueTable::Style style{.width = ScreenSize::ofStandardOutput(environment).columns,
        .hasColor = OutputTraits::ofStandardOutput(environment).hasColor};
    return Text::joined(QueueTable::lines(QueueTable::rows(queue), Clock::system().now(), style), "\n") + "\n";
}

ExitStatus printQueue(const std::string& socketPath, bool asJSON)
{
    const JSON queue = DaemonClient(socketPath).call("queue", {}, timeout);
    writeOutput(asJSON ? withoutControls(queue.serialized()) + "\n" : table(decode<std::vector<AttentionItem>>(queue)));
    return ExitStatus::success;
}

} // namespace

void addQueueCommand(CLI::App& app, CommandLine& line)
{
    CLI::App* command = app.add_subcommand("queue", "Print the agents that wait for you, the most urgent first");
    const auto asJSON = std::make_shared<bool>(false);
    command->add_flag("--json", *asJSON, "Print the queue as one line of JSON");
    command->callback([&line, asJSON] { line.run = [&line, asJSON] { return printQueue(line.socketPath, *asJSON); }; });
}

} // namespace tarnel
