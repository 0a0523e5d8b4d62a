// TarnelCore/Base/Shared.h: a constant value that many owners share.
#pragma once
#include <memory>
#include <utility>

namespace tarnel {

/// A constant T that is never copied: copies share it. Compared by content, at once when both share the same one.
/// Thread-safety: that of std::shared_ptr; the value itself never changes.
template <class T>
class Shared {
public:
    Shared()
        : Shared(T())
    {
    }
    Shared(T value)
        : pointer(std::make_shared<const T>(std::move(value)))
    {
    }

    const T& operator*() const { return *pointer; }
    const T* operator->() const { return pointer.get(); }
    bool operator==(const Shared& other) const { return pointer == other.pointer || *pointer == *other.pointer; }

private:
    std::shared_ptr<const T> pointer;
};

} // namespace tarnel
