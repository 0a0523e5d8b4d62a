#include "TarnelCore/UnixSocket/SocketError.h"
#include <system_error>

namespace tarnel {

namespace {

/// The C library's text for an error number; `std::strerror` itself is not safe among threads.
std::string systemMessage(int error) { return std::generic_category().message(error); }

} // namespace

SocketError SocketError::pathTooLong(const std::string& path)
{
    return {Kind::pathTooLong, 0, "socket path too long: " + path};
}

SocketError SocketError::connect(const std::string& path, int error)
{
    return {Kind::connect, error, "cannot connect to " + path + ": " + systemMessage(error)};
}

std::string SocketError::missingText(const std::string& path)
{
    return "cannot connect to " + path + ": No such file or directory";
}

SocketError SocketError::bind(const std::string& path, int error)
{
    return {Kind::bind, error, "cannot listen on " + path + ": " + systemMessage(error)};
}

SocketError SocketError::io(int error) { return {Kind::io, error, "socket error: " + systemMessage(error)}; }

SocketError SocketError::closed() { return {Kind::closed, 0, "socket closed"}; }

} // namespace tarnel
