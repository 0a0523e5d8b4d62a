// TarnelCore/Base/UUID.h: identifiers that nobody else has.
#pragma once
#include <string>

namespace tarnel {

/// A new random UUID (RFC 9562, version 4) in its text form, lower-case: "3f9a1c2e-5b7d-4c1a-9e2f-0123456789ab".
/// Thread-safe. Throws std::exception when the system has no random bytes to give.
std::string randomUUID();

} // namespace tarnel
