// Text on its way to a terminal: made plain, measured and cut.
#include "TarnelCore/Base/TerminalText.h"
#include "Fuzz/Target.h"
#include "TarnelCore/Base/Text.h"
#include <algorithm>

namespace tarnel::fuzz {

namespace {

void checkCharacters(std::string_view text)
{
    const std::size_t count = Text::characterCount(text);
    Choices choices(text);
    const std::size_t part = choices.below(count + 2);
    const std::string_view start = Text::prefix(text, part);
    const std::string_view end = Text::suffix(text, count - std::min(part, count));
    require(start.size() + end.size() == text.size(), "a text's start and its rest are not the text");
    require(Text::isValidUTF8(Text::repaired(text)), "a repaired text is not UTF-8");
    require(!Text::isValidUTF8(text) || Text::repaired(text) == text, "repairing changes what is whole");
    const std::string lower = Text::lowercased(text);
    require(Text::findIgnoringCase(text, text) == std::size_t{0} || text.empty(), "a text is not found in itself");
    require(Text::isValidUTF8(lower) || !Text::isValidUTF8(text), "lower case is not UTF-8");
}

} // namespace

void fuzzTerminalText(std::string_view input)
{
    checkCharacters(input);
    const std::string plain = TerminalText::plainLine(input);
    require(Text::isValidUTF8(plain), "plain text is not UTF-8");
    require(TerminalText::plainLine(plain) == plain, "plain text is not plain");
    require(!plain.starts_with(' ') && !plain.ends_with(' '), "spaces at an end");
    for (std::string_view rest = plain; !rest.empty();) {
        const Text::Scalar scalar = Text::firstScalar(rest);
        const char32_t c = scalar.value;
        require(c >= 0x20 && !(c >= 0x7f && c < 0xa0), "a control character in plain text");
        require(!(c >= 0x202a && c <= 0x202e) && !(c >= 0x2066 && c <= 0x2069), "a mark that reorders in plain text");
        rest.remove_prefix(scalar.length);
    }
    const std::size_t width = TerminalText::width(plain);
    require(TerminalText::cut(plain, width) == plain, "what fits is cut");
    Choices choices(input);
    const std::size_t cells = choices.below(width + 3);
    const std::string cut = TerminalText::cut(plain, cells);
    require(TerminalText::width(cut) <= cells, "a cut line does not fit");
    require(cells > width || Text::isValidUTF8(cut), "a line is cut inside a character");
    require(TerminalText::width(TerminalText::padded(plain, cells)) == cells, "a padded line is not as wide as asked");
}

} // namespace tarnel::fuzz
