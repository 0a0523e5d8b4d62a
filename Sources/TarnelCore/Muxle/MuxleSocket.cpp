#include "TarnelCore/Muxle/MuxleClient.h"
#include "TarnelCore/UnixSocket/LineSocket.h"
#include <algorithm>
#include <deque>
#include <optional>
#include <unistd.h>

namespace tarnel {

namespace {

/// No reply comes near this; a peer that sends a longer one must not fill the memory.
constexpr std::size_t longestLine = std::size_t{128} << 20;

bool carriesID(const JSON& message, const std::string& id)
{
    const JSON* member = message["id"];
    const std::string* text = member ? member->string() : nullptr;
    return text && *text == id;
}

void writeRequest(LineChannel& channel, const std::string& id, std::string_view method, JSON params)
{
    channel.writeJSON(JSON::object({{"id", id}, {"method", method}, {"params", std::move(params)}}));
}

/// Ends a channel that others still hold.
class Closing {
public:
    explicit Closing(LineChannel& closed)
        : channel(closed)
    {
    }
    ~Closing() { channel.close(); }
    Closing(const Closing&) = delete;
    Closing& operator=(const Closing&) = delete;

private:
    LineChannel& channel;
};

/// How many requests are in flight together; more would only wait in the multiplexer.
constexpr std::size_t mostInFlight = 16;

/// How long a further connection may take while others are in flight. A multiplexer that serves one client at a time may
/// have to get rid of a reply before it accepts, so it must not be waited for without reading.
constexpr std::chrono::milliseconds patienceToConnect{5};

/// A request that was sent and whose reply is yet to be read.
class Exchange {
public:
    /// Connects by `connectBy` and sends; the reply must be there by `deadline`.
    Exchange(const std::string& path, std::string requestID, std::string_view method, const JSON::Object& params,
        LineSocket::Deadline connectBy, LineSocket::Deadline deadline)
        : id(std::move(requestID))
        , channel(LineSocket::connectUntil(path, std::min(connectBy, deadline)))
    {
        channel->setDeadline(deadline);
        channel->setLineLimit(longestLine);
        writeRequest(*channel, id, method, params);
    }

    /// Blocks for the reply and returns its result.
    JSON finish()
    {
        while (auto reply = channel->readJSON()) {
            if (!carriesID(*reply, id))
                continue;
            if (const JSON* error = (*reply)["error"])
                throw MuxleError::fromReply(*error);
            return std::move((*reply->object())["result"]);
        }
        throw SocketError::closed();
    }

private:
    std::string id;
    std::shared_ptr<LineSocket> channel;
};

/// The value that `make` returns, or what it throws.
template <class Make>
MuxleTransport::Outcome outcomeOf(Make make)
{
    try {
        return make();
    } catch (...) {
        return std::current_exception();
    }
}

} // namespace

MuxleSocket::MuxleSocket(std::string socketPath)
    : path(std::move(socketPath))
{
}

bool MuxleSocket::isAbsent() const { return LineSocket::isMissing(path); }

std::string MuxleSocket::nextID() { return "tarnel-" + std::to_string(::getpid()) + "-" + std::to_string(++counter); }

JSON MuxleSocket::request(std::string_view method, const JSON::Object& params, Seconds timeout)
{
    const LineSocket::Deadline deadline = LineSocket::deadlineAfter(timeout);
    return Exchange(path, nextID(), method, params, deadline, deadline).finish();
}

std::vector<MuxleTransport::Outcome> MuxleSocket::requestAll(const std::vector<Call>& calls, Seconds timeout)
{
    const LineSocket::Deadline deadline = LineSocket::deadlineAfter(timeout);
    std::vector<Outcome> outcomes(calls.size());
    std::deque<std::pair<std::size_t, Exchange>> inFlight;
    std::size_t next = 0;
    const auto begin = [&] {
        const auto connectBy
            = inFlight.empty() ? deadline : std::chrono::steady_clock::now() + patienceToConnect;
        inFlight.emplace_back(next, Exchange(path, nextID(), calls[next].method, calls[next].params, connectBy, deadline));
    };
    while (next < calls.size() || !inFlight.empty()) {
        bool isCrowded = inFlight.size() == mostInFlight;
        for (; next < calls.size() && !isCrowded; isCrowded = isCrowded || inFlight.size() == mostInFlight) {
            try {
                begin();
                ++next;
            } catch (...) {
                isCrowded = !inFlight.empty(); // there may be room once a reply has been read
                if (!isCrowded)
                    outcomes[next++] = std::current_exception();
            }
        }
        if (inFlight.empty())
            continue;
        auto& [index, exchange] = inFlight.front();
        outcomes[index] = outcomeOf([&] { return exchange.finish(); });
        inFlight.pop_front();
    }
    return outcomes;
}

void MuxleSocket::subscribe(const JSON::Array& events, const std::function<void(std::shared_ptr<LineChannel>)>& onOpen,
    const std::function<void(const JSON&)>& onEvent)
{
    const auto channel = LineSocket::connect(path, MuxleClient::usualTimeout);
    channel->setLineLimit(longestLine);
    const Closing closing(*channel);
    onOpen(channel);
    const std::string id = nextID();
    writeRequest(*channel, id, "events.subscribe", JSON::object({{"subscriptions", events}}));
    while (const auto message = channel->readJSON()) {
        if (const JSON* error = (*message)["error"])
            throw MuxleError::fromReply(*error);
        if (!carriesID(*message, id))
            onEvent(*message);
    }
}

} // namespace tarnel
