// TarnelCore/Muxle/MuxleClient.h: requests to the terminal multiplexer, and its events.
#pragma once
#include "TarnelCore/Base/Clock.h"
#include "TarnelCore/Base/Environment.h"
#include "TarnelCore/Muxle/MuxleModels.h"
#include "TarnelCore/UnixSocket/LineChannel.h"
#include <atomic>
#include <chrono>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace tarnel {

/// An error reply of the multiplexer, or of another server that speaks its protocol. Its text is "muxle <code>:
/// <message>".
class MuxleError : public std::runtime_error {
public:
    MuxleError(const std::string& code, const std::string& message)
        : std::runtime_error("muxle " + code + ": " + message)
        , code(code)
        , message(message)
    {
    }
    /// From the "error" member of a reply, whatever its form.
    static MuxleError fromReply(const JSON& error);

    const std::string code;
    const std::string message;
};

/// Carries requests to a multiplexer. Replaceable, so that the floors above run over a scripted one.
/// Thread-safety: every operation may be called from any thread.
class MuxleTransport {
public:
    using Seconds = std::chrono::duration<double>;

    virtual ~MuxleTransport() = default;

    /// One request and its result; null where the reply has none. Blocks, for the whole exchange at most `timeout`.
    /// Throws SocketError (io with EAGAIN when the time is over, closed when the connection ends without a reply),
    /// DecodingError for a line that is not JSON, MuxleError, and std::invalid_argument for a time-out that is not
    /// positive.
    virtual JSON request(std::string_view method, const JSON::Object& params, Seconds timeout) = 0;

    /// One request among several that don't depend on each other.
    struct Call {
        std::string method;
        JSON::Object params;
    };
    /// A call's result, or what it threw.
    using Outcome = std::variant<JSON, std::exception_ptr>;

    /// Makes the calls side by side, a bounded number at a time, so that a slow multiplexer costs its slowest answers and
    /// not their sum; all of them together have `timeout`. The outcomes in the order of the calls. Throws only
    /// std::invalid_argument, for a time-out that is not positive.
    virtual std::vector<Outcome> requestAll(const std::vector<Call>& calls, Seconds timeout);

    /// Subscribes and blocks, without limit: hands the open channel to `onOpen`, then every event to `onEvent`, on the
    /// calling thread, until the multiplexer ends the connection or someone closes the channel. Throws as `request`
    /// does.
    virtual void subscribe(const JSON::Array& events, const std::function<void(std::shared_ptr<LineChannel>)>& onOpen,
        const std::function<void(const JSON&)>& onEvent) = 0;

    /// Where the multiplexer's socket is.
    [[nodiscard]] virtual std::string socketPath() const = 0;

    /// Whether it is plain that the multiplexer does not run, so that every request would fail: for those who ask time
    /// and again, since a failure costs much more than this.
    [[nodiscard]] virtual bool isAbsent() const { return false; }
};

/// The multiplexer at a Unix socket: a fresh connection for each request, one for each subscription.
class MuxleSocket final : public MuxleTransport {
public:
    explicit MuxleSocket(std::string socketPath);
    JSON request(std::string_view method, const JSON::Object& params, Seconds timeout) override;
    std::vector<Outcome> requestAll(const std::vector<Call>& calls, Seconds timeout) override;
    void subscribe(const JSON::Array& events, const std::function<void(std::shared_ptr<LineChannel>)>& onOpen,
        const std::function<void(const JSON&)>& onEvent) override;
    [[nodiscard]] std::string socketPath() const override { return path; }
    [[nodiscard]] bool isAbsent() const override;

private:
    std::string nextID();

    const std::string path;
    std::atomic<std::int64_t> counter = 0; // of request ids; unique is all that they need to be
};

/// The calls of the multiplexer that the daemon makes. Failures of the transport are thrown on.
/// Thread-safety: every operation may be called from any thread.
class MuxleClient {
public:
    using Seconds = MuxleTransport::Seconds;
    static constexpr Seconds usualTimeout{10};
    static constexpr Seconds promptTimeout{20};

    explicit MuxleClient(std::shared_ptr<MuxleTransport> transport);

    /// Where the multiplexer listens. A given session wins over `MUXLE_SOCKET_PATH`; without one, `MUXLE_SESSION` names
    /// it. The home directory is `HOME`, else the user's.
    static std::string resolveSocketPath(const std::optional<std::string>& session, const Environment& environment);

    /// The path of the multiplexer's own command-line tool: `MUXLE_BIN_PATH` when that can be executed, else the first
    /// of the usual places; nothing when it is not installed.
    static std::optional<std::string> executable(const Environment& environment);

    [[nodiscard]] std::string socketPath() const { return transport->socketPath(); }
    [[nodiscard]] bool isAbsent() const { return transport->isAbsent(); }

    JSON request(std::string_view method, const JSON::Object& params = {}, Seconds timeout = usualTimeout) const;
    void subscribe(const JSON::Array& events, const std::function<void(std::shared_ptr<LineChannel>)>& onOpen,
        const std::function<void(const JSON&)>& onEvent) const;

    [[nodiscard]] std::vector<MuxleAgent> agents() const;
    [[nodiscard]] std::vector<MuxleAgent> panes() const; ///< Every pane, with or without an agent.
    [[nodiscard]] std::vector<MuxleWorkspace> workspaces() const;

    /// The same requests with one deadline for all of them, `timeout` from now. `clock` outlives the client.
    [[nodiscard]] MuxleClient limited(Clock& clock, Seconds timeout) const;

    /// Makes the calls side by side; the outcomes in their order. Never throws.
    [[nodiscard]] std::vector<MuxleTransport::Outcome> requestAll(const std::vector<MuxleTransport::Call>& calls) const;

    /// The call behind `read`, and the text in its result: for reading many screens side by side.
    static MuxleTransport::Call readCall(std::string_view pane, std::string_view source,
        std::optional<std::int64_t> lines, std::string_view format = "text");
    static std::string readText(const JSON& result);

    /// The text of a pane's screen. `source` is "visible", "recent_unwrapped" or "detection", `format` "text" or
    /// "ansi".
    [[nodiscard]] std::string read(std::string_view pane, std::string_view source, std::optional<std::int64_t> lines,
        std::string_view format = "text") const;

    void sendKeys(std::string_view pane, const std::vector<std::string>& keys) const;
    void sendText(std::string_view pane, std::string_view text) const;
    JSON prompt(std::string_view target, std::string_view text) const;
    void focus(std::string_view pane) const;
    [[nodiscard]] JSON ping() const;
    [[nodiscard]] JSON explain(std::string_view target) const;

    struct PaneSize {
        std::int64_t columns = 0;
        std::int64_t rows = 0;
        bool operator==(const PaneSize&) const = default;
    };
    /// A pane's size in cells; nothing when it cannot be learnt. Never throws.
    [[nodiscard]] std::optional<PaneSize> paneSize(std::string_view pane) const;

    /// The elements of `list` that read as a T, in order; none when it is no array.
    template <class T> static std::vector<T> decodeList(const JSON* list)
    {
        std::vector<T> decoded;
        if (const JSON::Array* elements = list ? list->array() : nullptr) {
            for (const JSON& each : *elements) {
                if (auto value = T::fromMuxle(each))
                    decoded.push_back(*std::move(value));
            }
        }
        return decoded;
    }

private:
    const std::shared_ptr<MuxleTransport> transport;
};

} // namespace tarnel
