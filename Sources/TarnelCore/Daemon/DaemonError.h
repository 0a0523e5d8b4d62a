// TarnelCore/Daemon/DaemonError.h: what the daemon itself refuses.
#pragma once
#include <stdexcept>
#include <string>

namespace tarnel {

/// A request or a start that the daemon refuses. The text is what the client, or the user at the start, sees.
class DaemonError : public std::runtime_error {
public:
    enum class Kind { missing, notFound, unknownMethod, alreadyRunning, notBound, unfit };

    static DaemonError missing(const std::string& parameter);
    static DaemonError notFound(const std::string& pane);
    static DaemonError unknownMethod(const std::string& method);
    static DaemonError alreadyRunning(const std::string& socketPath, const std::string& machine);
    static DaemonError notBound(const std::string& command);
    /// Anything else that stands in the way; `text` names the thing and the value.
    static DaemonError unfit(const std::string& text);

    const Kind kind;

private:
    DaemonError(Kind kind, const std::string& text)
        : std::runtime_error(text)
        , kind(kind)
    {
    }
};

} // namespace tarnel
