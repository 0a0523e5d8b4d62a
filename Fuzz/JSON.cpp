// JSON texts: read as values and as views, written and read again.
#include "TarnelCore/JSON/JSON.h"
#include "Fuzz/Target.h"
#include "TarnelCore/Base/Text.h"
#include "TarnelCore/JSON/JSONDocument.h"
#include "TarnelCore/JSON/JSONWriter.h"
#include <algorithm>

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
