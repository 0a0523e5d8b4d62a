// TOML texts: read, changed in one place, written and read again.
#include "TarnelCore/Config/TOML.h"
#include "Fuzz/Target.h"
#include <algorithm>

namespace tarnel::fuzz {

namespace {

bool isPlainKey(std::string_view key)
{
    return !key.empty() && std::all_of(key.begin(), key.end(), [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' || c == '-';
    });
}

/// Whether the format can carry `value`: it reads the escapes one kind after the other, and inside arrays it sees none.
bool isCarried(const JSON& value, bool isInArray = false)
{
    if (const std::string* text = value.string())
        return isInArray ? text->find_first_of("\"\\") == text->npos : text->find("\\n") == text->npos;
    if (const JSON::Array* elements = value.array())
        return std::all_of(elements->begin(), elements->end(), [](const JSON& each) { return isCarried(each, true); });
    if (const JSON::Object* table = value.object())
        return std::all_of(table->begin(), table->end(),
            [](const JSON::Member& each) { return isPlainKey(each.key) && isCarried(each.value); });
    return true;
}

/// The same document without what cannot be carried; no table becomes empty by that but is left out itself.
JSON::Object carriedPart(const JSON::Object& table)
{
    JSON::Object kept;
    for (const JSON::Member& member : table) {
        const JSON::Object* inner = member.value.object();
        if (!isPlainKey(member.key))
            continue;
        if (!inner && isCarried(member.value))
            kept[member.key] = member.value;
        else if (JSON::Object below = inner ? carriedPart(*inner) : JSON::Object(); !below.empty())
            kept[member.key] = std::move(below);
    }
    return kept;
}

void checkPieces(std::string_view text)
{
    const std::string_view bare = TOML::stripComment(text);
    require(text.starts_with(bare), "a line without its comment is not its start");
    std::size_t bytes = 0;
    const auto pieces = TOML::splitArray(text);
    for (const std::string_view piece : pieces)
        bytes += piece.size();
    require(bytes + pieces.size() - 1 == text.size(), "an array's pieces lose bytes");
}

} // namespace

void fuzzTOML(std::string_view input)
{
    checkPieces(input);
    if (const auto value = TOML::parseValue(input))
        require(!value->isNull() && !value->object(), "a value of a case that TOML does not have");
    JSON::Object document;
    try {
        document = TOML::parse(input);
    } catch (const TOMLError& error) {
        require(error.line >= 1 && error.line <= 1 + std::count(input.begin(), input.end(), '\n'),
            "an error on a line that is not there");
        return;
    }
    JSON::Object carried = carriedPart(document);
    require(TOML::parse(TOML::serialize(carried)) == carried, "what was written reads as another document");

    const std::vector<std::string> path{"queue", "order"};
    const JSON value = input.size() % 2 == 0 ? JSON(input.size()) : JSON("# \"oldest\" = \\ [x], 'y'\n");
    TOML::set(carried, path, value);
    const JSON::Object again = TOML::parse(TOML::serialize(carried));
    require(again == carried, "a change made another document");
    require(*(*again.find("queue"))["order"] == value, "what was set is not there");
}

} // namespace tarnel::fuzz
