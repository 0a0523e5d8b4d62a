// TarnelCore/Base/Base64.h: bytes as text of 64 letters.
#pragma once
#include <optional>
#include <string>
#include <string_view>

namespace tarnel {

/// The bytes that `text` stands for: the standard alphabet, padded with "=" (RFC 4648, section 4). Nothing when a
/// character is foreign, line breaks included, or the length or padding is wrong. Pure.
std::optional<std::string> decodeBase64(std::string_view text);

/// The same, the other way.
std::string encodeBase64(std::string_view bytes);

} // namespace tarnel
