#include "TarnelCore/Daemon/DaemonClient.h"
#include "TarnelCore/Daemon/ReplyError.h"
#include "TarnelCore/UnixSocket/LineSocket.h"
#include <utility>

namespace tarnel {

namespace {

constexpr DaemonClient::Seconds snapshotTimeout{15};
constexpr DaemonClient::Seconds answerTimeout{30};
constexpr DaemonClient::Seconds streamTimeout{86400}; // a day
constexpr std::int64_t streamRequestID = 1; // the one request of a stream's connection

JSON request(std::int64_t id, std::string_view method, const JSON::Object& params)
{
    return JSON::object({{"id", id}, {"method", method}, {"params", params}});
}

std::chrono::steady_clock::time_point deadlineAfter(DaemonClient::Seconds timeout)
{
    return std::chrono::steady_clock::now() + std::chrono::duration_cast<std::chrono::steady_clock::duration>(timeout);
}

/// Hands the record that `json` holds to `callback`; a form that does not decode is skipped.
template <class T> void tell(const std::function<void(const T&)>& callback, const JSON* json)
{
    if (!callback || !json)
        return;
    std::optional<T> value;
    try {
        value = decode<T>(*json);
    } catch (const DecodingError&) {
        return;
    }
    callback(*value);
}

/// Closes a link at the end of a scope, however it ends.
class LinkCloser {
public:
    explicit LinkCloser(DaemonLink& closed)
        : link(closed)
    {
    }
    ~LinkCloser() { link.close(); }
    LinkCloser(const LinkCloser&) = delete;
    LinkCloser& operator=(const LinkCloser&) = delete;

private:
    DaemonLink& link;
};

} // namespace

DaemonClient::DaemonClient(std::shared_ptr<LineChannelOpener> daemon)
    : opener(std::move(daemon))
{
}

DaemonClient::DaemonClient(const std::string& socketPath)
    : DaemonClient(std::make_shared<SocketOpener>(socketPath))
{
}

JSON DaemonClient::call(std::string_view method, const JSON::Object& params, Seconds timeout)
{
    const auto deadline = deadlineAfter(timeout);
    const std::shared_ptr<LineChannel> channel = opener->open(timeout);
    channel->setDeadline(deadline);
    const std::int64_t id = ++counter;
    channel->writeJSON(request(id, method, params));
    while (const auto text = channel->readLine()) {
        const auto line = JSON::parseLine(*text);
        if (!line || integerOf((*line)["id"]) != id)
            continue;
        if (const JSON* error = (*line)["error"])
            throw replyError(*error);
        const JSON* result = (*line)["result"];
        return result ? *result : JSON();
    }
    throw SocketError::closed();
}

MachineSnapshot DaemonClient::snapshot() { return decode<MachineSnapshot>(call("snapshot", {}, snapshotTimeout)); }

AnswerOutcome DaemonClient::answer(const AnswerRequest& request)
{
    return decode<AnswerOutcome>(call("answer", *jsonValue(request).object(), answerTimeout));
}

void DaemonClient::subscribe(const Subscriber& subscriber)
{
    const std::shared_ptr<LineChannel> channel = opener->open(streamTimeout);
    const auto link = std::make_shared<DaemonLink>(channel);
    const LinkCloser closer(*link);
    link->write(request(streamRequestID, "subscribe", {}));
    while (const auto text = channel->readLine()) {
        const auto line = JSON::parseLine(*text);
        if (!line)
            continue;
        if (integerOf((*line)["id"]) == streamRequestID) {
            const JSON* result = (*line)["result"];
            link->acceptsCommands = result && booleanOf((*result)["commands"]) == true;
            if (subscriber.onOpen)
                subscriber.onOpen(link);
            continue;
        }
        if (subscriber.onEvent && (*line)["event"])
            subscriber.onEvent(*line);
        if (stringOf((*line)["event"]) == "snapshot") {
            tell(subscriber.onSnapshot, (*line)["snapshot"]);
        } else if (stringOf((*line)["event"]) == "command") {
            tell(subscriber.onReply, (*line)["reply"]);
        }
    }
}

std::shared_ptr<TerminalStream> DaemonClient::observe(
    std::string_view pane, std::optional<std::int64_t> columns, std::optional<std::int64_t> rows)
{
    std::shared_ptr<LineChannel> channel = opener->open(streamTimeout);
    JSON::Object params{{"pane", pane}};
    if (columns)
        params["cols"] = *columns;
    if (rows)
        params["rows"] = *rows;
    channel->writeJSON(request(streamRequestID, "observe", params));
    return std::make_shared<TerminalStream>(std::move(channel));
}

} // namespace tarnel
