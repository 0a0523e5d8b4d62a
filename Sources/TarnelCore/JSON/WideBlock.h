// TarnelCore/JSON/WideBlock.h: 64 bytes looked at together.
#pragma once
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace tarnel {

/// The 64 bytes at a place, which need not be aligned.
class WideBlock {
public:
    static constexpr std::size_t size = 64;

    explicit WideBlock(const char* from)
    {
#pragma GCC unroll 8
        for (std::size_t i = 0; i < count; ++i)
            std::memcpy(&pieces[i], from + i * sizeof(Piece), sizeof(Piece));
    }

    void copyTo(char* to) const { std::memcpy(to, pieces, size); }

    /// Whether one of the bytes is `wanted`.
    [[nodiscard]] bool has(char wanted) const
    {
        Piece found = where(pieces[0], wanted);
#pragma GCC unroll 8
        for (std::size_t i = 1; i < count; ++i)
            found |= where(pieces[i], wanted);
        return bits(found) != 0;
    }

    /// Bit i is set where byte i is one of `wanted`.
    template <class... Chars> [[nodiscard]] std::uint64_t positionsOf(Chars... wanted) const
    {
        std::uint64_t positions = 0;
#pragma GCC unroll 8
        for (std::size_t i = 0; i < count; ++i)
            positions |= bits((where(pieces[i], wanted) | ...)) << (i * sizeof(Piece));
        return positions;
    }

private:
#ifdef __SSE2__
    using Piece = __m128i;
    static Piece where(Piece bytes, char wanted) { return _mm_cmpeq_epi8(bytes, _mm_set1_epi8(wanted)); }
    static std::uint64_t bits(Piece found) { return static_cast<unsigned>(_mm_movemask_epi8(found)); }
#else
    using Piece = std::uint64_t;
    static_assert(std::endian::native == std::endian::little);
    /// The high bit of each byte that is `wanted`.
    static Piece where(Piece bytes, char wanted)
    {
        constexpr Piece ones = 0x0101010101010101;
        constexpr Piece low = 0x7F * ones;
        bytes ^= ones * static_cast<unsigned char>(wanted);
        return ~(((bytes & low) + low) | bytes | low);
    }
    /// The product brings the bytes' high bits together.
    static std::uint64_t bits(Piece found) { return ((found >> 7) * 0x0102040810204080) >> 56; }
#endif

    static constexpr std::size_t count = size / sizeof(Piece);
    Piece pieces[count];
};

} // namespace tarnel
