#include "TarnelCore/Config/TOML.h"
#include "TarnelCore/Base/Decimal.h"
#include "TarnelCore/Base/Text.h"
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>

namespace tarnel::TOML {

namespace {

constexpr std::size_t deepest = 512; // of tables, and of arrays: what is read is also walked and freed recursively

bool isEnclosed(std::string_view text, char open, char close)
{
    return text.size() >= 2 && text.front() == open && text.back() == close;
}

std::string unescaped(std::string_view text)
{
    std::string plain = Text::replacingAll(text, "\\\"", "\"");
    plain = Text::replacingAll(plain, "\\n", "\n");
    return Text::replacingAll(plain, "\\\\", "\\");
}

std::optional<JSON> parseNested(std::string_view text, std::size_t depth)
{
    if (isEnclosed(text, '"', '"'))
        return unescaped(text.substr(1, text.size() - 2));
    if (isEnclosed(text, '\'', '\''))
        return text.substr(1, text.size() - 2);
    if (text == "true" || text == "false")
        return text == "true";
    if (isEnclosed(text, '[', ']')) {
        if (depth == deepest)
            return std::nullopt;
        JSON::Array elements;
        for (const std::string_view piece : splitArray(text.substr(1, text.size() - 2))) {
            const std::string_view element = Text::trimmedBlanks(piece);
            if (element.empty())
                continue;
            auto value = parseNested(element, depth + 1);
            if (!value)
                return std::nullopt;
            elements.push_back(*std::move(value));
        }
        return elements;
    }
    if (const auto number = decimalNumber(Text::replacingAll(text, "_", "")))
        return *number;
    return std::nullopt;
}

std::string_view unquotedKey(std::string_view text) { return Text::trimmedOf(Text::trimmedBlanks(text), "\""); }

std::vector<std::string> headerPath(std::string_view line, int number)
{
    if (!line.ends_with(']') || line.starts_with("[["))
        throw TOMLError(number, "unsupported table header");
    std::vector<std::string> path;
    for (const std::string_view piece : Text::splitNonEmpty(line.substr(1, line.size() - 2), '.'))
        path.emplace_back(unquotedKey(piece));
    if (path.size() > deepest)
        throw TOMLError(number, "unsupported table header");
    return path;
}

void readPair(JSON::Object& document, std::vector<std::string> path, std::string_view line, int number)
{
    const std::size_t equals = line.find('=');
    if (equals == line.npos)
        throw TOMLError(number, "expected key = value");
    const std::string_view key = unquotedKey(line.substr(0, equals));
    auto value = parseValue(Text::trimmedBlanks(line.substr(equals + 1)));
    for (const std::string_view piece : Text::splitNonEmpty(key, '.'))
        path.emplace_back(piece);
    if (!value || path.size() > deepest)
        throw TOMLError(number, "cannot read value for " + std::string(key));
    set(document, path, *std::move(value));
}

std::string renderNumber(double value)
{
    std::array<char, 32> digits;
    const bool isPlainInteger = value == std::trunc(value) && std::abs(value) < 1e15;
    const auto end = isPlainInteger
        ? std::to_chars(digits.data(), digits.data() + digits.size(), static_cast<std::int64_t>(value)).ptr
        : std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr;
    return {digits.data(), end};
}

std::string quoted(std::string_view text)
{
    std::string result = Text::replacingAll(text, "\\", "\\\\");
    result = Text::replacingAll(result, "\"", "\\\"");
    result = Text::replacingAll(result, "\n", "\\n");
    return std::string(1, '"').append(result) + '"';
}

void appendPairs(std::string& text, const JSON::Object& table)
{
    for (const JSON::Member& member : table) {
        if (!member.value.object())
            text += member.key + " = " + render(member.value) + "\n";
    }
}

} // namespace

JSON::Object parse(std::string_view text)
{
    JSON::Object document;
    std::vector<std::string> table;
    int number = 0;
    for (const std::string_view whole : Text::split(text, '\n')) {
        ++number;
        const std::string_view line = Text::trimmedBlanks(stripComment(whole));
        if (line.empty())
            continue;
        if (line.front() == '[')
            table = headerPath(line, number);
        else
            readPair(document, table, line, number);
    }
    return document;
}

std::optional<JSON> parseValue(std::string_view text) { return parseNested(text, 0); }

void set(JSON::Object& table, const std::vector<std::string>& path, JSON value)
{
    if (path.empty())
        return;
    JSON::Object* inner = &table;
    for (auto key = path.begin(); key + 1 != path.end(); ++key) {
        JSON& next = (*inner)[*key];
        if (!next.object())
            next = JSON::Object();
        inner = next.object();
    }
    (*inner)[path.back()] = std::move(value);
}

std::string serialize(const JSON::Object& document)
{
    std::string text;
    appendPairs(text, document);
    for (const JSON::Member& member : document) {
        if (const JSON::Object* table = member.value.object())
            text += serializeTable(*table, member.key);
    }
    return text;
}

std::string serializeTable(const JSON::Object& table, const std::string& path)
{
    std::string text = "\n[" + path + "]\n";
    appendPairs(text, table);
    for (const JSON::Member& member : table) {
        if (const JSON::Object* inner = member.value.object())
            text += serializeTable(*inner, path + "." + member.key);
    }
    return text;
}

std::string render(const JSON& value)
{
    if (const auto boolean = value.boolean())
        return *boolean ? "true" : "false";
    if (const auto number = value.number())
        return renderNumber(*number);
    if (const std::string* text = value.string())
        return quoted(*text);
    if (const JSON::Array* elements = value.array()) {
        std::string list = "[";
        for (const JSON& element : *elements) {
            if (list.size() > 1)
                list += ", ";
            list += render(element);
        }
        return list + ']';
    }
    return "\"\"";
}

std::string_view stripComment(std::string_view line)
{
    bool isInString = false;
    for (std::size_t at = 0; at < line.size(); ++at) {
        if (line[at] == '"' && (at == 0 || line[at - 1] != '\\'))
            isInString = !isInString;
        else if (line[at] == '#' && !isInString)
            return line.substr(0, at);
    }
    return line;
}

std::vector<std::string_view> splitArray(std::string_view text)
{
    std::vector<std::string_view> pieces;
    std::size_t start = 0;
    int depth = 0;
    bool isInString = false;
    for (std::size_t at = 0; at < text.size(); ++at) {
        const char c = text[at];
        if (c == '"') {
            isInString = !isInString;
        } else if (isInString) {
            continue;
        } else if (c == '[') {
            ++depth;
        } else if (c == ']') {
            --depth;
        } else if (c == ',' && depth == 0) {
            pieces.push_back(text.substr(start, at - start));
            start = at + 1;
        }
    }
    pieces.push_back(text.substr(start));
    return pieces;
}

} // namespace tarnel::TOML
