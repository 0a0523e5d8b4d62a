// muxle-tmux/TmuxError.h: what a client is told when a request fails.
#pragma once
#include <stdexcept>
#include <string>

namespace tarnel::tmux {

/// A request that failed. The code is for programs, the text for people.
class TmuxError : public std::runtime_error {
public:
    static TmuxError unknownMethod(const std::string& method)
    {
        return {"unknown_method", "there is no method \"" + method + "\""};
    }
    static TmuxError invalidRequest(const std::string& what) { return {"invalid_request", what}; }
    static TmuxError invalidParams(const std::string& what) { return {"invalid_params", what}; }
    static TmuxError notFound(const std::string& what) { return {"not_found", what}; }
    /// There is no tmux server to ask, or the connection to it has just ended.
    static TmuxError unavailable(const std::string& what) { return {"tmux_unavailable", what}; }
    static TmuxError timeout() { return {"timeout", "tmux does not answer"}; }
    /// tmux refused a command; `what` is its own message.
    static TmuxError refused(const std::string& what) { return {"tmux_error", what}; }

    const std::string code;

private:
    TmuxError(const char* code, const std::string& text)
        : std::runtime_error(text)
        , code(code)
    {
    }
};

} // namespace tarnel::tmux
