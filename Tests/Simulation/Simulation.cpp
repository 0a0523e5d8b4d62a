#include "Simulation/Simulation.h"
#include "Simulation/Client.h"
#include "Simulation/SimulatedDaemon.h"

namespace tarnel::sim {

namespace {

using namespace std::chrono_literals;

constexpr std::chrono::seconds patience = 400s; // until all that was held is delivered

class Simulation {
public:
    Simulation(std::uint64_t seed, bool isTraced)
        : random(seed)
        , ledger(scheduler, isTraced)
        , world(scheduler, random, ledger, home)
        , muxle(std::make_shared<SimulatedMuxle>(scheduler, random, ledger, world))
    {
        const std::size_t count = 1 + random.below(3);
        for (std::size_t i = 1; i <= count; ++i)
            clients.push_back(std::make_unique<Client>(
                "c" + std::to_string(i), scheduler, random, ledger, world, [this] { return daemon.get(); }));
    }

    Outcome run()
    {
        scheduler.start(Scheduler::Group::world, "simulation", [this] { control(); });
        scheduler.run();
        daemon.reset();
        if (!ledger.firstViolation() && !isComplete)
            ledger.violation("nobody goes on any more");
        return {ledger.firstViolation(), scheduler.turns(), ledger.counts};
    }

private:
    void control()
    {
        const std::vector<std::size_t> faultRates{0, 0, 200, 60, 15};
        muxle->setFaults(random.of(faultRates));
        world.onEvent = [this] {
            if (daemon && !random.oneIn(10)) // some get lost
                daemon->refreshSoon();
        };
        startDaemon();
        world.begin();
        for (const auto& client : clients)
            client->begin();
        const std::size_t restarts = random.oneIn(2) ? 0 : 1 + random.below(3);
        for (std::size_t i = 0; i <= restarts; ++i) {
            scheduler.sleep(random.between(2s, 40s));
            if (i < restarts)
                restart();
        }
        comeToRest();
        endDaemon();
        isComplete = true;
        scheduler.stop();
    }

    void startDaemon() { daemon = std::make_unique<SimulatedDaemon>(scheduler, ledger, muxle, home.path()); }

    void restart()
    {
        if (random.oneIn(2)) {
            ledger.trace("the daemon is killed");
            const auto dead = std::exchange(daemon, nullptr);
            scheduler.kill(Scheduler::Group::daemon);
            ledger.daemonEnded();
        } else {
            endDaemon();
        }
        scheduler.sleep(random.between(0ms, 2s));
        startDaemon();
    }

    void endDaemon()
    {
        ledger.trace("the daemon ends");
        const auto ending = std::exchange(daemon, nullptr);
        ending->stop();
    }

    void comeToRest()
    {
        ledger.trace("all come to rest");
        muxle->setFaults(0);
        for (const auto& client : clients)
            client->rest();
        world.rest();
        const Clock::Instant deadline = scheduler.elapsed() + patience;
        std::string missing;
        do {
            scheduler.sleep(1s);
            missing.clear();
            for (const auto& client : clients)
                missing += client->missing();
        } while (!missing.empty() && scheduler.elapsed() < deadline);
        if (!missing.empty())
            ledger.violation(missing);
    }

    Random random;
    Scheduler scheduler{random};
    TemporaryFolder home;
    Ledger ledger;
    AgentWorld world;
    const std::shared_ptr<SimulatedMuxle> muxle;
    std::unique_ptr<SimulatedDaemon> daemon;
    std::vector<std::unique_ptr<Client>> clients;
    bool isComplete = false;
};

} // namespace

Outcome simulate(std::uint64_t seed, bool isTraced) { return Simulation(seed, isTraced).run(); }

} // namespace tarnel::sim
