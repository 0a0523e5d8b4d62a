// Bench/BareSocket.h: Unix sockets with nothing around the system's own calls.
#pragma once
#include "TarnelCore/Base/FileDescriptor.h"
#include <cstddef>
#include <string>
#include <string_view>

/// Failures throw std::system_error.
namespace tarnel::bench::BareSocket {

FileDescriptor connect(const std::string& path);
/// The same; not open when nothing listens there.
FileDescriptor tryConnect(const std::string& path);
FileDescriptor listen(const std::string& path);

void send(const FileDescriptor& socket, std::string_view bytes);

/// Receives until a line feed is the last byte received. Returns how many bytes came, 0 at the end of the stream.
std::size_t receiveLine(const FileDescriptor& socket, std::string& buffer);

/// Sends a line and receives one, on a connection of its own. Returns the bytes received.
std::size_t roundTrip(const std::string& path, std::string_view line, std::string& buffer);

} // namespace tarnel::bench::BareSocket
