// tarnel/Output.h: what a sub-command prints, as text for people or as JSON.
#pragma once
#include "TarnelCore/Base/Environment.h"
#include "TarnelCore/JSON/JSON.h"
#include "tarnel/Paint.h"
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace tarnel {

/// How text is to look.
struct Style {
    std::size_t width = 80; ///< Cells; no line of a table is longer.
    bool hasColor = false;

    static Style ofStandardOutput(const Environment& environment);
    /// Of this process.
    static Style ofStandardOutput();

    [[nodiscard]] std::string painted(std::string_view text, Paint paint) const
    {
        return tarnel::painted(text, paint, hasColor);
    }
};

namespace Output {

/// The same JSON text, with the control characters that JSON lets stand written as escapes: a terminal obeys some.
std::string safeJSON(std::string_view json);

/// Prints one line of JSON.
void printJSON(const JSON& value);
/// Prints lines, each with its line feed, at once.
void print(const std::vector<std::string>& lines);
/// Prints one line.
void print(std::string_view line);

/// Tells the user, on standard error, what is no result: one line of plain words.
void note(std::string_view text);

} // namespace Output

} // namespace tarnel
