// Tests/Simulation/SimulatedMuxle.h: requests to the simulated panes, late, failing or lost.
#pragma once
#include "Simulation/AgentWorld.h"
#include "TarnelCore/Muxle/MuxleClient.h"
#include <string>
#include <string_view>
#include <vector>

namespace tarnel::sim {

/// Carries requests to the world in simulated time, and makes some of them fail in every way that they can: refused,
/// answered by an error, timed out with or without effect or with one that comes later, or done and the reply lost.
class SimulatedMuxle final : public MuxleTransport {
public:
    SimulatedMuxle(Scheduler& scheduler, Random& random, Ledger& ledger, AgentWorld& world);

    /// One request in so many is made to fail; 0: none.
    void setFaults(std::size_t oneIn) { faultRate = oneIn; }

    JSON request(std::string_view method, const JSON::Object& params, Seconds timeout) override;
    std::vector<Outcome> requestAll(const std::vector<Call>& calls, Seconds timeout) override;
    void subscribe(const JSON::Array&, const std::function<void(std::shared_ptr<LineChannel>)>&,
        const std::function<void(const JSON&)>&) override
    {
    }
    [[nodiscard]] std::string socketPath() const override { return "simulated"; }

private:
    JSON perform(const std::string& method, const JSON::Object& params, Attempt* attempt);
    [[nodiscard]] JSON withFault(
        const std::string& method, const JSON::Object& params, std::chrono::nanoseconds timeout, Attempt* attempt);

    Scheduler& scheduler;
    Random& random;
    Ledger& ledger;
    AgentWorld& world;
    std::size_t faultRate = 0;
};

} // namespace tarnel::sim
