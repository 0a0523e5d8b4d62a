// TarnelCore/Muxle/DeadlineTransport.h: requests that share one deadline.
#pragma once
#include "TarnelCore/Base/Clock.h"
#include "TarnelCore/Muxle/MuxleClient.h"
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace tarnel {

/// Passes requests on, none beyond a moment set at the start: so a multiplexer that hangs costs whoever makes many
/// requests one time-out, not one each. A request past the deadline fails at once with SocketError::io (ETIMEDOUT).
/// Thread-safety: as the transport below.
class DeadlineTransport final : public MuxleTransport {
public:
    /// The deadline is `timeout` from now; `clock` outlives the transport.
    DeadlineTransport(std::shared_ptr<MuxleTransport> inner, Clock& clock, Seconds timeout);

    JSON request(std::string_view method, const JSON::Object& params, Seconds timeout) override;
    std::vector<Outcome> requestAll(const std::vector<Call>& calls, Seconds timeout) override;
    void subscribe(const JSON::Array& events, const std::function<void(std::shared_ptr<LineChannel>)>& onOpen,
        const std::function<void(const JSON&)>& onEvent) override;
    [[nodiscard]] std::string socketPath() const override { return inner->socketPath(); }
    [[nodiscard]] bool isAbsent() const override { return inner->isAbsent(); }

private:
    [[nodiscard]] Seconds left(Seconds timeout) const;

    const std::shared_ptr<MuxleTransport> inner;
    Clock& clock;
    const Clock::Instant deadline;
};

} // namespace tarnel
