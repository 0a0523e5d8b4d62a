// TarnelCore/Base/PeerUser.h: who is at the other end of a local socket.
#pragma once
#include <optional>
#include <sys/types.h>

namespace tarnel {

/// The user whose process has connected the socket `descriptor`, as it was then; nothing when the system does not tell.
std::optional<uid_t> peerUser(int descriptor) noexcept;

} // namespace tarnel
