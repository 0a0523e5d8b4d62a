// Tests/Simulation/Client.h: a client of the simulated daemon, and the user in front of it.
#pragma once
#include "Simulation/SimulatedDaemon.h"
#include "TarnelCore/Commands/Outbox.h"
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tarnel::sim {

/// Keeps a connection, with the commands in its outbox sent again after each loss, and does what users do: answers what
/// it is shown, now and then twice or late, prompts, types, rearranges. Checks what it is sent.
class Client {
public:
    /// `daemon` gives the present daemon; null while there is none.
    Client(std::string name, Scheduler& scheduler, Random& random, Ledger& ledger, AgentWorld& world,
        std::function<SimulatedDaemon*()> daemon);

    void begin();
    /// From now on it only waits for replies.
    void rest() { isResting = true; }

    /// What is still missing: replies, or the last version of the world. Empty when nothing is.
    [[nodiscard]] std::string missing() const;

private:
    struct Traffic {
        std::size_t submissions = 0;
        std::size_t finals = 0;
        bool isHeld = false;
        std::optional<std::string> pane;
    };

    void stayConnected();
    void act();
    void actOnce();
    void receive(const JSON& line);
    void receiveReply(const CommandReply& reply, std::int64_t published);
    void send(const Command& command);
    void submit(CommandAction action);
    void answer();
    void answerItem(const AttentionItem& item);
    void tryAgain(const CommandReply& reply, const Command& command);
    void prompt();
    std::string nextID(const char* kind);

    const std::string name;
    Scheduler& scheduler;
    Random& random;
    Ledger& ledger;
    AgentWorld& world;
    const std::function<SimulatedDaemon*()> daemon;
    std::shared_ptr<Link> link;
    Outbox outbox;
    std::optional<MachineSnapshot> snapshot;
    std::int64_t shown = 0; // the newest version on this connection
    std::map<std::string, Traffic> traffic; // on this connection, by command id
    std::deque<Command> settled; // the latest commands that have their final reply
    std::size_t counter = 0;
    bool isResting = false;
};

} // namespace tarnel::sim
