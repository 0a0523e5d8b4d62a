// tarnel/LineEditor.h: a line of text while it is typed.
#pragma once
#include "tarnel/TopKey.h"
#include <cstddef>
#include <string>
#include <string_view>

namespace tarnel {

/// A value: the text and where the cursor stands. Pasted text may hold line feeds.
struct LineEditor {
    std::string text;
    std::size_t cursor = 0; ///< A byte offset, always between two characters.

    bool operator==(const LineEditor&) const = default;

    /// The text with the cursor at its end.
    static LineEditor holding(std::string text);

    /// Types, pastes, erases or moves as shells do. Returns false for a key that means nothing here.
    bool take(const TopKey& key);

    struct View {
        std::string text; ///< The part of the line around the cursor that is shown; line feeds show as "⏎".
        std::size_t cursorCell = 0; ///< Within that part.
    };
    /// What is shown of the line where there is room for `cells`, the cursor's own included.
    [[nodiscard]] View view(std::size_t cells) const;

private:
    void insert(std::string_view added);
    void erase(std::size_t from, std::size_t to);
    [[nodiscard]] std::size_t characterBefore() const;
    [[nodiscard]] std::size_t characterAfter() const;
    [[nodiscard]] std::size_t wordBefore() const;
};

} // namespace tarnel
