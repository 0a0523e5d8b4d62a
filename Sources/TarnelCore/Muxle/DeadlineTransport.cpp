#include "TarnelCore/Muxle/DeadlineTransport.h"
#include "TarnelCore/UnixSocket/SocketError.h"
#include <algorithm>
#include <cerrno>

namespace tarnel {

DeadlineTransport::DeadlineTransport(std::shared_ptr<MuxleTransport> transport, Clock& time, Seconds timeout)
    : inner(std::move(transport))
    , clock(time)
    , deadline(time.elapsed() + std::chrono::duration_cast<Clock::Instant::duration>(timeout))
{
}

MuxleTransport::Seconds DeadlineTransport::left(Seconds timeout) const
{
    return std::min(timeout, Seconds(deadline - clock.elapsed()));
}

JSON DeadlineTransport::request(std::string_view method, const JSON::Object& params, Seconds timeout)
{
    const Seconds allowed = left(timeout);
    if (allowed <= Seconds::zero())
        throw SocketError::io(ETIMEDOUT);
    return inner->request(method, params, allowed);
}

std::vector<MuxleTransport::Outcome> DeadlineTransport::requestAll(const std::vector<Call>& calls, Seconds timeout)
{
    const Seconds allowed = left(timeout);
    if (allowed <= Seconds::zero())
        return std::vector<Outcome>(calls.size(), std::make_exception_ptr(SocketError::io(ETIMEDOUT)));
    return inner->requestAll(calls, allowed);
}

void DeadlineTransport::subscribe(const JSON::Array& events,
    const std::function<void(std::shared_ptr<LineChannel>)>& onOpen, const std::function<void(const JSON&)>& onEvent)
{
    inner->subscribe(events, onOpen, onEvent);
}

} // namespace tarnel
