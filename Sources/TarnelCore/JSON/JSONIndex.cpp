#include "TarnelCore/JSON/JSONIndex.h"
#include "TarnelCore/JSON/JSONNumber.h"
#include <algorithm>
#include <array>
#include <bit>
#include <simdjson.h>

namespace tarnel {

namespace {

constexpr std::size_t deepestNesting = 512;
constexpr std::size_t leastRoom = 4'096;

} // namespace

/// The first of the decoder's two stages: it finds the parts, and checks that the text is UTF-8, that no string is left
/// open and that none has a control character.
struct JSONIndex::Scanner {
    std::unique_ptr<simdjson::internal::dom_parser_implementation> stages;
};

JSONIndex::JSONIndex()
    : scanner(std::make_unique<Scanner>())
{
}

JSONIndex::~JSONIndex() = default;

bool JSONIndex::makeRoom(std::size_t length)
{
    if (scanner->stages && length <= room)
        return true;
    clear();
    const std::size_t wanted = std::max(std::bit_ceil(length), leastRoom);
    if (simdjson::get_active_implementation()->create_dom_parser_implementation(wanted, 1, scanner->stages)
        != simdjson::SUCCESS)
        return false;
    room = wanted;
    return true;
}

void JSONIndex::clear()
{
    scanner->stages.reset();
    room = 0;
    count = 0;
    ends = decltype(ends)(); // not `{}`, an empty list of elements, which leaves the memory with the vector
    strings = decltype(strings)();
    memory.reset();
}

bool JSONIndex::read(std::string_view padded)
{
    static_assert(padding >= simdjson::SIMDJSON_PADDING);
    count = 0;
    if (!makeRoom(padded.size()))
        return false;
    text = padded.data();
    strings.clear();
    memoryEnd = memory.get();
    const auto* const bytes = reinterpret_cast<const std::uint8_t*>(text);
    if (scanner->stages->stage1(bytes, padded.size(), simdjson::stage1_mode::regular) != simdjson::SUCCESS)
        return false;
    starts = scanner->stages->structural_indexes.get();
    count = scanner->stages->n_structural_indexes;
    if (ends.size() < count)
        ends.resize(std::bit_ceil(count));
    return areParts() && JSONEscapes::areWellFormed(padded);
}

/// Checks how the parts follow each other, and each number and literal. Of a string the scanner has seen all that
/// matters here.
bool JSONIndex::areParts()
{
    std::array<Part, deepestNesting> open; // the objects and arrays around the current part
    std::size_t depth = 0;
    Part at = 0;
    const auto is = [&](Part part, char wanted) { return part < count && first(part) == wanted; };
    const auto passKey = [&] {
        if (!is(at, '"') || !is(at + 1, ':'))
            return false;
        ends[at] = 0;
        at += 2;
        return true;
    };
    while (at < count) {
        // A value starts here.
        const char start = first(at);
        if (start == '{' || start == '[') {
            if (depth == deepestNesting)
                return false;
            open[depth++] = at++;
            if (start == '{' ? !is(at, '}') : !is(at, ']')) {
                if (start == '{' && !passKey())
                    return false;
                continue;
            }
        } else {
            if (!isScalar(at))
                return false;
            ends[at++] = 0;
        }
        // It has ended; so may have what it stands in.
        for (;;) {
            if (depth == 0)
                return at == count;
            const Part container = open[depth - 1];
            const bool isObject = first(container) == '{';
            if (is(at, ',')) {
                ++at;
                if (isObject && !passKey())
                    return false;
                break;
            }
            if (!is(at, isObject ? '}' : ']'))
                return false;
            ends[container] = at++;
            --depth;
        }
    }
    return false;
}

bool JSONIndex::isScalar(Part part) const
{
    switch (first(part)) {
    case '"':
        return true;
    case 't':
        return written(part) == "true";
    case 'f':
        return written(part) == "false";
    case 'n':
        return written(part) == "null";
    default:
        return JSONNumber::isNumber(written(part));
    }
}

std::string_view JSONIndex::unescaped(Part string, std::string_view inside)
{
    if (!memory) {
        // Each string is unescaped once, and becomes shorter.
        memory = std::make_unique_for_overwrite<char[]>(room + padding);
        memoryEnd = memory.get();
    }
    char* const begin = memoryEnd;
    memoryEnd = JSONEscapes::unescape(inside, begin);
    strings.emplace_back(begin, static_cast<std::size_t>(memoryEnd - begin));
    ends[string] = static_cast<Part>(strings.size());
    return strings.back();
}

} // namespace tarnel
