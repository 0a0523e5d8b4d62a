// print-queue: follows the daemon's queue, and prints it whenever it changes.
//
// usage: print-queue [SOCKET]
// One line for each agent that waits, the most urgent first: kind, pane, space, and what it asks for. A line
// "-- N waiting" ends each queue. Runs until the daemon ends the connection.
#include <TarnelCore/Base/TerminalText.h>
#include <TarnelCore/Config/TarnelPaths.h>
#include <TarnelCore/Daemon/DaemonClient.h>
#include <cstdio>
#include <exception>
#include <iostream>
#include <string>
#include <vector>

namespace {

/// What agents write may hold control characters, which must not reach a terminal.
std::string plain(const std::string& text) { return tarnel::TerminalText::plainLine(text); }

void print(const std::vector<tarnel::AttentionItem>& queue)
{
    for (const tarnel::AttentionItem& item : queue) {
        const std::string asked = item.questionText().value_or(item.card.lastMessage.value_or(""));
        std::cout << title(item.kind) << '\t' << item.card.paneID << '\t' << plain(item.card.space) << '\t'
                  << plain(asked) << '\n';
    }
    std::cout << "-- " << queue.size() << " waiting" << std::endl;
}

} // namespace

int main(int count, char** words)
{
    try {
        tarnel::DaemonClient daemon(count > 1 ? words[1] : tarnel::TarnelPaths::daemonSocket());
        std::vector<tarnel::AttentionItem> shown;
        bool isFirst = true;
        daemon.subscribe({.onSnapshot = [&](const tarnel::MachineSnapshot& snapshot) {
            if (isFirst || snapshot.queue != shown)
                print(snapshot.queue);
            isFirst = false;
            shown = snapshot.queue;
        }});
        return 0;
    } catch (const std::exception& error) {
        std::cerr << "print-queue: " << error.what() << '\n';
        return 1;
    }
}
