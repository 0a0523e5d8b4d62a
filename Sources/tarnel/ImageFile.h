// tarnel/ImageFile.h: a picture that goes with a prompt.
#pragma once
#include "TarnelCore/Commands/Command.h"
#include <optional>
#include <string>
#include <string_view>

namespace tarnel::ImageFile {

/// The file at `path`. Throws CommandError (usage) when it cannot be read, is no picture of a known form, or is larger
/// than 20 MiB.
CommandImage read(const std::string& path);

/// The media type that the first bytes tell: of PNG, JPEG, GIF, WebP and HEIC. Pure.
std::optional<std::string> mediaType(std::string_view bytes);

} // namespace tarnel::ImageFile
