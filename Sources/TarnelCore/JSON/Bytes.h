// TarnelCore/JSON/Bytes.h: binary data as a field of a record.
#pragma once
#include "TarnelCore/Base/Base64.h"
#include "TarnelCore/JSON/Record.h"
#include <string>

namespace tarnel {

/// Bytes, in JSON as base64 text.
struct Bytes {
    std::string content;
    bool operator==(const Bytes&) const = default;
};

template <> struct record::Codec<Bytes> {
    static void encode(JSONWriter& writer, const Bytes& value)
    {
        writer.write(std::string_view(encodeBase64(value.content)));
    }
    static Bytes decode(const JSON& json)
    {
        const std::string* text = json.string();
        if (auto content = text ? decodeBase64(*text) : std::nullopt)
            return {*std::move(content)};
        throw DecodingError("not base64 text");
    }
};

} // namespace tarnel
