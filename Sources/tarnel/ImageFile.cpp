#include "tarnel/ImageFile.h"
#include "TarnelCore/Base/Files.h"
#include "tarnel/CommandLine.h"
#include <array>

namespace tarnel {

namespace {

using namespace std::string_view_literals;

constexpr std::uint64_t mostBytes = std::uint64_t{20} << 20; // two of them fit into the longest request

/// The bytes at an offset by which a form is known.
struct Signature {
    std::size_t offset;
    std::string_view bytes;
    std::string_view type;
};

constexpr std::array signatures{
    Signature{0, "\x89PNG\r\n\x1a\n"sv, "image/png"},
    Signature{0, "\xff\xd8\xff"sv, "image/jpeg"},
    Signature{0, "GIF87a"sv, "image/gif"},
    Signature{0, "GIF89a"sv, "image/gif"},
    Signature{8, "WEBP"sv, "image/webp"},
    Signature{4, "ftypheic"sv, "image/heic"},
};

} // namespace

std::optional<std::string> ImageFile::mediaType(std::string_view bytes)
{
    for (const Signature& each : signatures) {
        if (bytes.size() > each.offset && bytes.substr(each.offset).starts_with(each.bytes))
            return std::string(each.type);
    }
    return std::nullopt;
}

CommandImage ImageFile::read(const std::string& path)
{
    auto content = Files::read(path, mostBytes);
    if (!content)
        throw CommandError(ExitStatus::usage,
            "cannot read " + path
                + (Files::exists(path) ? ": it must be a file of at most 20 MiB" : ": there is no such file"));
    auto type = mediaType(*content);
    if (!type)
        throw CommandError(ExitStatus::usage, path + " is no picture: give a PNG, JPEG, GIF, WebP or HEIC file");
    return {.data = {*std::move(content)}, .type = *std::move(type), .name = Files::lastComponent(path)};
}

} // namespace tarnel
