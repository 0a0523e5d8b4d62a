#include "TarnelCore/Records/NameTable.h"
#include <algorithm>
#include <cstring>
#include <functional>

namespace tarnel {

namespace {

/// The texts are identifiers of some thirty bytes.
constexpr std::size_t blockSize = 4'096;
constexpr std::size_t fewestSlots = 64;

} // namespace

std::string_view NameTable::text(Number number) const
{
    const char* const place = texts[number - 1];
    std::uint32_t length = 0;
    std::memcpy(&length, place, sizeof length);
    return {place + sizeof length, length};
}

NameTable::Number NameTable::number(std::string_view name)
{
    if (2 * texts.size() >= slots.size())
        widen();
    for (std::size_t at = std::hash<std::string_view>()(name) & (slots.size() - 1);;
         at = (at + 1) & (slots.size() - 1)) {
        const Number number = slots[at];
        if (number == 0) {
            texts.push_back(kept(name));
            return slots[at] = static_cast<Number>(texts.size());
        }
        if (text(number) == name)
            return number;
    }
}

const char* NameTable::kept(std::string_view text)
{
    const auto length = static_cast<std::uint32_t>(text.size());
    const std::size_t size = sizeof length + length;
    if (size > room) {
        room = std::max(blockSize, size);
        blocks.push_back(std::make_unique_for_overwrite<char[]>(room));
        blockEnd = blocks.back().get() + room;
    }
    char* const place = blockEnd - room;
    std::memcpy(place, &length, sizeof length);
    text.copy(place + sizeof length, length);
    room -= size;
    return place;
}

void NameTable::widen()
{
    slots.assign(std::max(fewestSlots, 2 * slots.size()), 0);
    for (Number number = 1; number <= texts.size(); ++number) {
        std::size_t at = std::hash<std::string_view>()(text(number)) & (slots.size() - 1);
        while (slots[at] != 0)
            at = (at + 1) & (slots.size() - 1);
        slots[at] = number;
    }
}

} // namespace tarnel
