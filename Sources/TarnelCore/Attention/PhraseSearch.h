// TarnelCore/Attention/PhraseSearch.h: looks for several phrases in one text at once.
#pragma once
#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tarnel {

/// A search for any of several phrases that looks at few of a text's bytes: where two bytes stand that are in no
/// phrase, it goes on as far as the shortest phrase is long. The algorithm: Wu and Manber, A Fast Algorithm for
/// Multi-Pattern Searching, 1994. Thread-safety: none needed, it never changes.
class PhraseSearch {
public:
    /// An empty phrase is never found.
    explicit PhraseSearch(std::vector<std::string> phrases);

    [[nodiscard]] bool isAnyIn(std::string_view text) const;

private:
    /// Phrases shorter than this are looked for one by one.
    static constexpr std::size_t shortest = 4;

    [[nodiscard]] bool startsAny(std::string_view text) const;

    std::vector<std::string> shortPhrases;
    std::vector<std::string> longPhrases;
    std::size_t window = 0; // the length of the shortest of the long ones, up to 255
    std::array<std::uint8_t, 4'096> shifts; // by the hash of a window's last two bytes: how far no phrase can begin
};

} // namespace tarnel
