// TarnelCore/Records/NameTable.h: the short texts of a record that come again and again.
#pragma once
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

namespace tarnel {

/// Short texts by number, each kept once. Number 0 means no text.
/// Thread-safety: that of a standard container. A text stays where it is for as long as its table, even a moved one.
class NameTable {
public:
    using Number = std::uint32_t;

    Number number(std::string_view text);
    [[nodiscard]] std::string_view text(Number number) const;
    /// Larger than every number given out.
    [[nodiscard]] std::size_t bound() const { return texts.size() + 1; }

private:
    const char* kept(std::string_view text);
    void widen();

    std::vector<const char*> texts; // each behind its length
    std::vector<Number> slots; // by hash, the next free one behind that; 0 is free; a power of two, half of them free
    std::vector<std::unique_ptr<char[]>> blocks; // hold the texts
    char* blockEnd = nullptr; // of the last block
    std::size_t room = 0; // left before that
};

} // namespace tarnel
