// TarnelCore/Records/Attachments.h: the files that clients send along with a prompt, kept for a week.
#pragma once
#include "TarnelCore/Base/Timestamp.h"
#include <optional>
#include <string>
#include <string_view>

/// Names, writes and expires files in one private folder. Stateless; thread-safe, also between processes.
namespace tarnel::Attachments {

/// Where the user with this home directory keeps attachments.
std::string directory(const std::string& home);

/// Writes `data` to a new file in `directory`, which is made when it is missing (mode 0700), and first removes the
/// files there that have not been touched for a week. `type` ("png") gives the extension when there is no `name`; of a
/// `name` the `safeName` becomes part of the file's. Returns the file's path. The file appears under that path only
/// once it is whole; its mode is 0600. Throws std::runtime_error, whose text names the path, when the folder or the
/// file cannot be made, and when the folder is a link, another user's, or open to others for writing.
std::string save(const std::string& directory, std::string_view data, std::string_view type,
    const std::optional<std::string>& name, Timestamp now);

/// Removes what was last modified before `cutoff`, links themselves and empty folders included, folders that hold
/// something left out. What cannot be removed stays; of a folder that `save` refuses, everything. Never throws.
void prune(const std::string& directory, Timestamp cutoff) noexcept;

/// The last part of a path, as a name that is safe everywhere: of ASCII letters, digits, ".", "_" and "-", with no "."
/// at its start, the last 80 characters. May be empty.
std::string safeName(std::string_view name);

} // namespace tarnel::Attachments
