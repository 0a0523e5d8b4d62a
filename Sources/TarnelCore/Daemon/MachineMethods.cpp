#include "TarnelCore/Config/TarnelPaths.h"
#include "TarnelCore/Daemon/Methods.h"
#include <exception>

namespace tarnel::Methods {

std::string ping(DaemonServices& services, const Params&)
{
    JSON multiplexer;
    try {
        if (const MuxleClient& muxle = services.engine.muxle(); !muxle.isAbsent())
            multiplexer = muxle.ping();
    } catch (const std::exception&) {
        // The daemon answers all the same; null says that the multiplexer does not.
    }
    return JSON::object(
        {{"machine", services.engine.machine()}, {"version", tarnelVersion}, {"muxle", std::move(multiplexer)}})
        .serialized();
}

std::string snapshot(DaemonServices& services, const Params&) { return encoded(services.refresher.refresh()); }

std::string queue(DaemonServices& services, const Params&)
{
    const Publisher::Snapshot snapshot = services.refresher.refresh();
    return snapshot ? encoded(snapshot->queue) : "[]";
}

std::string next(DaemonServices& services, const Params& params)
{
    const Publisher::Snapshot snapshot = services.refresher.refresh();
    if (!snapshot)
        return "null";
    const AttentionItem* item = AttentionEngine::next(
        snapshot->queue, params.string("after"), params.boolean("include_finished").value_or(false));
    return item ? encoded(*item) : "null";
}

} // namespace tarnel::Methods
