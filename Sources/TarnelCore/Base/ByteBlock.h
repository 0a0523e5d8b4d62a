// TarnelCore/Base/ByteBlock.h: bytes that the processor handles together.
#pragma once
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace tarnel {

/// Sixteen bytes of text. Operators act on each of them; the compilers make of it what the processor has for that.
using ByteBlock [[gnu::vector_size(16)]] = unsigned char;

inline ByteBlock loadBlock(const char* at)
{
    ByteBlock block;
    std::memcpy(&block, at, sizeof block);
    return block;
}

inline void storeBlock(char* at, ByteBlock block) { std::memcpy(at, &block, sizeof block); }

/// `value` sixteen times.
inline ByteBlock blockOf(char value) { return static_cast<unsigned char>(value) + ByteBlock{}; }

/// Some of the bytes of a block, as the comparison of two blocks marks them.
class BlockMarks {
public:
    BlockMarks() = default;
    template <class Comparison>
    explicit BlockMarks(Comparison marked)
        : words(std::bit_cast<Words>(marked))
    {
    }

    BlockMarks operator|(BlockMarks other) const { return BlockMarks(words | other.words); }
    BlockMarks operator&(BlockMarks other) const { return BlockMarks(words & other.words); }

    [[nodiscard]] bool any() const { return (words[0] | words[1]) != 0; }

    /// Of the first marked byte; 16 when there is none.
    [[nodiscard]] std::size_t first() const { return words[0] != 0 ? firstIn(words[0]) : 8 + firstIn(words[1]); }

    /// Calls `visit` with the index of each marked byte until one returns true; whether one did.
    template <class Visit> bool anyOf(const Visit& visit) const
    {
        const std::uint64_t halves[] = {words[0], words[1]};
        const auto* const marks = reinterpret_cast<const char*>(halves);
        for (std::size_t i = 0; i < sizeof halves; ++i) {
            if (marks[i] != 0 && visit(i))
                return true;
        }
        return false;
    }

private:
    using Words [[gnu::vector_size(16)]] = std::uint64_t;

    static constexpr bool isLittleEndian = std::endian::native == std::endian::little;
    static std::size_t firstIn(std::uint64_t word)
    {
        return static_cast<std::size_t>(isLittleEndian ? std::countr_zero(word) : std::countl_zero(word)) / 8;
    }

    Words words{}; // a marked byte has all its bits set
};

inline BlockMarks equal(ByteBlock block, ByteBlock other) { return BlockMarks(block == other); }
inline BlockMarks equal(ByteBlock block, char value) { return equal(block, blockOf(value)); }
inline BlockMarks atMost(ByteBlock block, char limit) { return BlockMarks(block <= blockOf(limit)); }

/// The bytes that are ASCII and at most `limit`, and those that are not ASCII.
inline BlockMarks atMostOrBeyondASCII(ByteBlock block, char limit)
{
    using SignedBlock [[gnu::vector_size(16)]] = signed char;
    return BlockMarks(std::bit_cast<SignedBlock>(block) <= std::bit_cast<SignedBlock>(blockOf(limit)));
}

} // namespace tarnel
