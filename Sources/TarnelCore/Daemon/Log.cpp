#include "TarnelCore/Daemon/Log.h"
#include <unistd.h>

namespace tarnel {

void writeToStandardError(std::string_view line)
{
    const std::string whole = std::string(line) + "\n";
    // One call for one line. When nobody reads it, there is no one to tell.
    [[maybe_unused]] const auto written = ::write(STDERR_FILENO, whole.data(), whole.size());
}

} // namespace tarnel
