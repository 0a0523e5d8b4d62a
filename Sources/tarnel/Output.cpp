#include "tarnel/Output.h"
#include "TarnelCore/Base/TerminalText.h"
#include "TarnelCore/Base/Text.h"
#include "tarnel/Terminal.h"
#include <fmt/format.h>

namespace tarnel {

Style Style::ofStandardOutput(const Environment& environment)
{
    return {.width = ScreenSize::ofStandardOutput(environment).columns,
        .hasColor = OutputTraits::ofStandardOutput(environment).hasColor};
}

Style Style::ofStandardOutput() { return ofStandardOutput(processEnvironment()); }

std::string Output::safeJSON(std::string_view json)
{
    constexpr std::string_view digits = "0123456789abcdef";
    std::string text;
    text.reserve(json.size());
    while (!json.empty()) {
        const Text::Scalar scalar = Text::firstScalar(json);
        if (scalar.value >= 0x7F && scalar.value < 0xA0) {
            text += "\\u00";
            text += digits[scalar.value >> 4];
            text += digits[scalar.value & 0xF];
        } else {
            text += json.substr(0, scalar.length);
        }
        json.remove_prefix(scalar.length);
    }
    return text;
}

void Output::printJSON(const JSON& value) { writeOutput(safeJSON(value.serialized()) + "\n"); }

void Output::print(const std::vector<std::string>& lines)
{
    if (!lines.empty())
        writeOutput(Text::joined(lines, "\n") + "\n");
}

void Output::print(std::string_view line) { writeOutput(std::string(line) + "\n"); }

void Output::note(std::string_view text) { fmt::print(stderr, "tarnel: {}\n", TerminalText::plainLine(text)); }

} // namespace tarnel
