#include "TarnelCore/Base/PeerUser.h"
#include <sys/socket.h>
#include <unistd.h>

namespace tarnel {

std::optional<uid_t> peerUser(int descriptor) noexcept
{
#if defined(__APPLE__)
    uid_t user = 0;
    gid_t group = 0;
    if (::getpeereid(descriptor, &user, &group) != 0)
        return std::nullopt;
    return user;
#else
    ucred peer{};
    socklen_t size = sizeof peer;
    if (::getsockopt(descriptor, SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0 || size != sizeof peer)
        return std::nullopt;
    return peer.uid;
#endif
}

} // namespace tarnel
