// TarnelCore/UnixSocket/SocketError.h: what can go wrong on a socket.
#pragma once
#include <stdexcept>
#include <string>

namespace tarnel {

/// A failed operation on a Unix-domain socket. The text is what a failing caller prints.
class SocketError : public std::runtime_error {
public:
    enum class Kind { pathTooLong, connect, bind, io, closed };

    static SocketError pathTooLong(const std::string& path);
    static SocketError connect(const std::string& path, int error);
    /// The text of `connect` where there is no file at `path`, for those who have looked: made by hand, since the
    /// system's tables of messages are more to load than all that an idle daemon needs.
    static std::string missingText(const std::string& path);
    static SocketError bind(const std::string& path, int error);
    static SocketError io(int error);
    static SocketError closed();

    const Kind kind;
    const int error; ///< The system's error number; 0 where there is none.

protected:
    /// For the failures of other transports of lines.
    SocketError(Kind kind, int error, const std::string& text)
        : std::runtime_error(text)
        , kind(kind)
        , error(error)
    {
    }
};

} // namespace tarnel
