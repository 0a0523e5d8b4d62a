// JSON texts: read as values and as views, written and read again.
#include "TarnelCore/JSON/JSON.h"
#include "Fuzz/Target.h"
#include "TarnelCore/Base/Text.h"
#include "TarnelCore/JSON/JSONDocument.h"
#include "TarnelCore/JSON/JSONWriter.h"
#include <algorithm>
#include <cctype>
#include <simdjson.h>

namespace tarnel::fuzz {

namespace {

/// Makes a value of what a view's visitors show, to be compared with the value that it makes of itself.
JSON visited(const JSONView& view)
{
    if (view.isObject()) {
        JSON::Object members;
        view.forEachMember([&](std::string_view key, const JSONView& value) { members[key] = visited(value); });
        for (const JSON::Member& member : members)
            require(view[member.key] && view[member.key]->value() == member.value, "a view finds another member");
        return members;
    }
    if (view.isArray()) {
        JSON::Array elements;
        view.forEachElement([&](const JSONView& value) { elements.push_back(visited(value)); });
        return elements;
    }
    if (const auto text = view.string())
        return *text;
    if (const auto number = view.number())
        return *number;
    if (const auto boolean = view.boolean())
        return *boolean;
    require(view.isNull(), "a view of no case");
    return nullptr;
}

using Decoded = simdjson::dom::element;

/// The value as a decoder shows it that builds a whole tree: a repeated key's last value counts.
JSON valueOf(Decoded decoded)
{
    switch (decoded.type()) {
    case simdjson::dom::element_type::OBJECT: {
        JSON::Object members;
        const simdjson::dom::object source = decoded.get_object().value_unsafe();
        for (const auto [key, value] : source)
            members[std::string(key)] = valueOf(value);
        return members;
    }
    case simdjson::dom::element_type::ARRAY: {
        JSON::Array elements;
        const simdjson::dom::array source = decoded.get_array().value_unsafe();
        for (const Decoded each : source)
            elements.push_back(valueOf(each));
        return elements;
    }
    case simdjson::dom::element_type::STRING:
        return std::string(decoded.get_string().value_unsafe());
    case simdjson::dom::element_type::BOOL:
        return decoded.get_bool().value_unsafe();
    case simdjson::dom::element_type::NULL_VALUE:
        return nullptr;
    default:
        return decoded.get_double().value_unsafe();
    }
}

/// Whether the text has what only one of the two decoders takes: an escape that may be half of a pair, many digits in a
/// row, or deep nesting.
bool isDisputed(std::string_view text)
{
    std::size_t digits = 0;
    std::size_t brackets = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        digits = std::isdigit(static_cast<unsigned char>(text[i])) != 0 ? digits + 1 : 0;
        if (text[i] == '[' || text[i] == '{')
            ++brackets;
        if (digits > 18 || brackets > 500)
            return true;
        if (text.substr(i, 2) == "\\u" && i + 2 < text.size() && (text[i + 2] == 'd' || text[i + 2] == 'D'))
            return true;
    }
    return false;
}

/// A whole tree of the text, built by another decoder, says the same.
void checkAgainstTree(std::string_view text, const std::optional<JSON>& value)
{
    if (isDisputed(text))
        return;
    simdjson::dom::parser parser;
    Decoded decoded;
    const bool isGood = parser.parse(simdjson::padded_string(text)).get(decoded) == simdjson::SUCCESS;
    require(isGood == value.has_value(), value ? "what is no JSON was taken" : "JSON was refused");
    require(!isGood || valueOf(decoded) == *value, "a tree of the same text holds another value");
}

void checkWritten(const JSON& value)
{
    const std::string written = value.serialized();
    require(written.find('\n') == written.npos, "a line feed in the written text");
    require(Text::isValidUTF8(written), "the written text is not UTF-8");
    const auto again = JSON::parseLine(written);
    require(again == value, "what was written reads as another value");
    require(again->serialized() == written, "the same value is written in two ways");
    require(JSON::parseLine(" \t\r\n" + written + " \n") == value, "white space around changes the value");
    JSONWriter escaping(JSONWriter::Slashes::escaped);
    escaping.write(value);
    require(JSON::parseLine(escaping.take()) == value, "escaped slashes change the value");
}

} // namespace

void fuzzJSON(std::string_view input)
{
    const auto value = JSON::parseLine(input);
    checkAgainstTree(input, value);
    JSONDocument document;
    const std::string padded = std::string(input) + std::string(JSONDocument::padding, '"');
    const auto view = document.parsePadded(std::string_view(padded).substr(0, input.size()));
    require(view.has_value() == value.has_value(), "what lies behind the text decides whether it is read");
    if (!value)
        return;
    require(view->value() == *value, "view and value differ");
    require(visited(*view) == *value, "a view's visitors show another value");
    checkWritten(*value);
}

} // namespace tarnel::fuzz
