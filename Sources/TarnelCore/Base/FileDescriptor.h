// TarnelCore/Base/FileDescriptor.h: owns one descriptor of the system.
#pragma once
#include <cstddef>
#include <unistd.h>
#include <utility>

namespace tarnel {

/// Closes its descriptor at the end of its life. Moves, never copies.
class FileDescriptor {
public:
    FileDescriptor() = default;
    explicit FileDescriptor(int owned) noexcept
        : number(owned)
    {
    }
    FileDescriptor(FileDescriptor&& other) noexcept
        : number(std::exchange(other.number, -1))
    {
    }
    FileDescriptor& operator=(FileDescriptor&& other) noexcept
    {
        std::swap(number, other.number);
        return *this;
    }
    ~FileDescriptor()
    {
        if (number >= 0)
            ::close(number);
    }

    [[nodiscard]] int get() const noexcept { return number; }
    [[nodiscard]] bool isOpen() const noexcept { return number >= 0; }

    /// Gives the descriptor up; the caller closes it.
    [[nodiscard]] int release() noexcept { return std::exchange(number, -1); }

private:
    int number = -1;
};

/// Raises the number of descriptors that the process may have open to what the system allows it at most.
void raiseDescriptorLimit() noexcept;

/// How many descriptors the process may have open at present.
std::size_t descriptorLimit() noexcept;

} // namespace tarnel
