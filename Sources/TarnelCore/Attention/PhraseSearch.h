// TarnelCore/Attention/PhraseSearch.h: looks for several phrases at once in text as a screen lays it out.
#pragma once
#include "TarnelCore/Base/ByteBlock.h"
#include <bitset>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tarnel {

/// A search for any of several phrases in UTF-8 text, in any case, and with any white space where a phrase has a space;
/// white space at the ends of the text is none. Each phrase is looked for by an anchor, two bytes beside each other
/// that must stand in the text as they are but for the case of ASCII letters: all anchors at once, in many places at
/// once. Where one is met, the text is compared with the phrase both ways. Thread-safety: none needed, it never
/// changes.
class PhraseSearch {
public:
    /// An empty phrase is never found, nor is one with white space other than single spaces.
    explicit PhraseSearch(const std::vector<std::string>& phrases);

    [[nodiscard]] bool isAnyIn(std::string_view text) const;

private:
    struct Phrase {
        std::string text; // in lower case
        std::size_t start = 0; // where in `text` its anchor is, or what else is looked for first
        std::uint16_t anchor = 0; // folded; only of anchored phrases

        [[nodiscard]] bool isAt(std::string_view screen, std::size_t at) const;
    };

    /// An anchor of one phrase or several: its first byte and its second, each in all places of a block.
    struct Anchor {
        ByteBlock first;
        ByteBlock second;
    };

    void add(std::string phrase);
    void addLoose(std::string phrase);
    [[nodiscard]] bool isAnyAnchoredIn(std::string_view text) const;
    [[nodiscard]] bool isAnyAnchoredAt(std::string_view text, std::size_t at) const;
    [[nodiscard]] bool isAnyLooseIn(std::string_view text) const;

    std::vector<Phrase> anchored;
    std::vector<Anchor> anchors; // each of them once

    std::vector<Phrase> loose; // those that have none, compared wherever one can start
    std::bitset<256> looseStarts; // by the byte there
};

} // namespace tarnel
