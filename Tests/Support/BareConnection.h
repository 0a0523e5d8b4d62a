// Tests/Support/BareConnection.h: clients of a socket that share no code with the programs.
#pragma once
#include "TarnelCore/Base/FileDescriptor.h"
#include <string>
#include <sys/types.h>

namespace tarnel {

/// A connection to the socket at `path` as a bare descriptor; not open when it cannot be made at once.
FileDescriptor connectBare(const std::string& path);

/// Whether this process can start one of another user.
bool isRoot();

constexpr uid_t otherUser = 65534;

enum class Welcome { unknown, cannotConnect, turnedAway, served };

/// What a process of `otherUser` meets that sends a request to the socket at `path`. Only for root.
Welcome welcomeOfOtherUser(const std::string& path);

} // namespace tarnel
