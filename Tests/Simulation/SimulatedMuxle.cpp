#include "Simulation/SimulatedMuxle.h"
#include "TarnelCore/UnixSocket/SocketError.h"
#include <algorithm>
#include <cerrno>

namespace tarnel::sim {

namespace {

using namespace std::chrono_literals;

std::string text(const JSON::Object& params, std::string_view name) { return stringOf(params.find(name)).value_or(""); }

} // namespace

SimulatedMuxle::SimulatedMuxle(Scheduler& clock, Random& source, Ledger& notes, AgentWorld& panes)
    : scheduler(clock)
    , random(source)
    , ledger(notes)
    , world(panes)
{
}

JSON SimulatedMuxle::request(std::string_view name, const JSON::Object& params, Seconds timeout)
{
    const std::string method(name);
    auto* const attempt = static_cast<Attempt*>(scheduler.task());
    if (attempt && method == "agent.list") {
        attempt->lastListed = ledger.tick();
        attempt->isLastListFailed = true;
    }
    if (attempt)
        ledger.trace(attempt->id, " asks for ", method);
    if (attempt && method == "workspace.list" && !attempt->spacesListed)
        attempt->spacesListed = ledger.tick();
    if (method == "session.snapshot" || method == "pane.list")
        ledger.listingBegan();
    const auto limit = std::chrono::duration_cast<std::chrono::nanoseconds>(timeout);
    scheduler.sleep(random.oneIn(3) ? random.between(0ms, 40ms) : 0ms);
    if (scheduler.isKilled())
        throw Scheduler::Killed();
    if (faultRate > 0 && random.oneIn(faultRate))
        return withFault(method, params, limit, attempt);
    JSON result;
    try {
        result = perform(method, params, attempt);
    } catch (const MuxleError&) {
        if (attempt)
            attempt->isFaulty = true; // the pane has been closed
        throw;
    }
    if (random.oneIn(3)) // an answer that takes its time
        scheduler.sleep(
            std::min<std::chrono::nanoseconds>(random.between(0ms, random.oneIn(8) ? 3s : 60ms), limit / 2));
    if (attempt && method == "agent.list")
        attempt->isLastListFailed = false;
    return result;
}

JSON SimulatedMuxle::withFault(
    const std::string& method, const JSON::Object& params, std::chrono::nanoseconds timeout, Attempt* attempt)
{
    if (attempt)
        attempt->isFaulty = true;
    const std::size_t fault = random.below(6);
    ledger.trace("fault ", fault, " in ", method);
    ++ledger.counts["faults"];
    switch (fault) {
    case 0:
        throw SocketError::connect("simulated", ECONNREFUSED);
    case 1:
        throw MuxleError("internal", "out of order");
    case 2: // done, but the answer is lost
        (void)perform(method, params, attempt);
        throw SocketError::closed();
    case 3: // lost on the way
        scheduler.sleep(timeout);
        throw SocketError::io(EAGAIN);
    case 4: // done, but answered too late
        (void)perform(method, params, attempt);
        scheduler.sleep(timeout);
        throw SocketError::io(EAGAIN);
    default: // done when nobody waits for it any more, so that a list tells the attempt nothing
        if (method.ends_with(".list"))
            attempt = nullptr;
        scheduler.after(timeout + random.between(0ms, 3s), [this, method, params, attempt] {
            try {
                (void)perform(method, params, attempt);
            } catch (const MuxleError&) {
                // nobody is told
            }
        });
        scheduler.sleep(timeout);
        throw SocketError::io(EAGAIN);
    }
}

std::vector<MuxleTransport::Outcome> SimulatedMuxle::requestAll(const std::vector<Call>& calls, Seconds timeout)
{
    const Clock::Instant deadline = scheduler.elapsed() + std::chrono::duration_cast<Clock::Instant::duration>(timeout);
    std::vector<Outcome> outcomes;
    for (const Call& call : calls) {
        try {
            const Seconds left = deadline - scheduler.elapsed();
            if (left <= Seconds::zero())
                throw SocketError::io(EAGAIN);
            outcomes.emplace_back(request(call.method, call.params, left));
        } catch (const std::exception&) {
            outcomes.emplace_back(std::current_exception());
        }
    }
    return outcomes;
}

JSON SimulatedMuxle::perform(const std::string& method, const JSON::Object& params, Attempt* attempt)
{
    if (method == "agent.list") {
        if (attempt && !attempt->agentsListed)
            attempt->agentsListed = ledger.tick();
        return world.panes().agentList();
    }
    if (method == "workspace.list")
        return world.panes().workspaceList();
    if (method == "session.snapshot")
        return world.panes().sessionSnapshot();
    if (method == "pane.list")
        return world.panes().paneList();
    if (method == "pane.read")
        return world.panes().paneRead(params);
    if (method == "agent.prompt") {
        world.prompt(text(params, "target"), text(params, "text"), attempt);
    } else if (method == "pane.send_text") {
        world.type(text(params, "pane_id"), text(params, "text"), attempt);
    } else if (method == "pane.send_keys") {
        std::vector<std::string> keys;
        for (const JSON& key : *params.find("keys")->array())
            keys.push_back(*key.string());
        world.pressKeys(text(params, "pane_id"), keys, attempt);
    } else if (method == "pane.close") {
        world.close(text(params, "pane_id"));
    } else if (method == "workspace.rename") {
        world.rename(text(params, "label"));
    } else {
        throw MuxleError("unknown_method", method);
    }
    return JSON::Object();
}

} // namespace tarnel::sim
