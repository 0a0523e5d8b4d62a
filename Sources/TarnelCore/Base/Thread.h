// TarnelCore/Base/Thread.h: what threads need from the system.
#pragma once
#include <string>

namespace tarnel {

/// Names the calling thread for debuggers. Where the system has room for less, the end is kept: labels differ there.
void setThreadName(const std::string& name);

} // namespace tarnel
