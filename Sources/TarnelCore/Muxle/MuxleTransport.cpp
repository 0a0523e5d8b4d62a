#include "TarnelCore/Muxle/MuxleClient.h"

namespace tarnel {

std::vector<MuxleTransport::Outcome> MuxleTransport::requestAll(const std::vector<Call>& calls, Seconds timeout)
{
    std::vector<Outcome> outcomes;
    outcomes.reserve(calls.size());
    for (const Call& call : calls) {
        try {
            outcomes.emplace_back(request(call.method, call.params, timeout));
        } catch (...) {
            outcomes.emplace_back(std::current_exception());
        }
    }
    return outcomes;
}

} // namespace tarnel
