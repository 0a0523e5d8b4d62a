// Bench/MemoryUse.h: how much memory a process has.
#pragma once
#include <sys/types.h>

namespace tarnel::bench {

/// What the kernel says of a process: resident memory in MiB, and of this process the part that no file backs.
double residentMiB(pid_t process);
double anonymousMiB();

/// Milliseconds of processor time that a process has used, all its threads that exist together.
double processorTime(pid_t process);

} // namespace tarnel::bench
