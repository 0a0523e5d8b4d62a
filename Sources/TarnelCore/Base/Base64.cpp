#include "TarnelCore/Base/Base64.h"
#include <array>
#include <cstdint>

namespace tarnel {

namespace {

constexpr std::string_view alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::uint8_t foreign = 255;

constexpr auto values = [] {
    std::array<std::uint8_t, 256> table{};
    table.fill(foreign);
    for (std::size_t i = 0; i < alphabet.size(); ++i)
        table[static_cast<std::uint8_t>(alphabet[i])] = static_cast<std::uint8_t>(i);
    return table;
}();

std::uint32_t byteAt(std::string_view bytes, std::size_t index)
{
    return index < bytes.size() ? static_cast<std::uint8_t>(bytes[index]) : 0;
}

} // namespace

std::optional<std::string> decodeBase64(std::string_view text)
{
    if (text.size() % 4 != 0)
        return std::nullopt;
    std::size_t padding = 0;
    while (padding < 2 && !text.empty() && text.back() == '=') {
        text.remove_suffix(1);
        ++padding;
    }
    std::string bytes;
    bytes.reserve(text.size() / 4 * 3 + 2);
    std::uint32_t held = 0; // the low `bits` of it are not yet written
    unsigned bits = 0;
    for (const char letter : text) {
        const std::uint8_t value = values[static_cast<std::uint8_t>(letter)];
        if (value == foreign)
            return std::nullopt;
        held = held << 6 | value;
        bits += 6;
        if (bits >= 8) {
            bits -= 8;
            bytes += static_cast<char>(held >> bits & 0xff);
        }
    }
    return bytes;
}

std::string encodeBase64(std::string_view bytes)
{
    std::string text;
    text.reserve((bytes.size() + 2) / 3 * 4);
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        const std::uint32_t three = byteAt(bytes, i) << 16 | byteAt(bytes, i + 1) << 8 | byteAt(bytes, i + 2);
        text += alphabet[three >> 18 & 63];
        text += alphabet[three >> 12 & 63];
        text += i + 1 < bytes.size() ? alphabet[three >> 6 & 63] : '=';
        text += i + 2 < bytes.size() ? alphabet[three & 63] : '=';
    }
    return text;
}

} // namespace tarnel
