// TarnelCore/Base/Memory.h: how much freed memory the process keeps for itself.
#pragma once

namespace tarnel {

/// Has big blocks returned to the system as soon as they are freed, and threads share their heaps. Left to itself, an
/// allocator that has met one huge block keeps the memory of later ones. Called once, before there are other threads.
void keepLittleMemory() noexcept;

} // namespace tarnel
