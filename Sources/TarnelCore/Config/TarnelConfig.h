// TarnelCore/Config/TarnelConfig.h: the configuration file, checked against the settings that exist.
#pragma once
#include "TarnelCore/Base/Environment.h"
#include "TarnelCore/Config/TOML.h"
#include "TarnelCore/JSON/JSON.h"
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tarnel {

/// The value of every setting: its default, or what the file says where that is valid.
/// Thread-safety: that of a standard container. Two that write the same file at once may lose one change, never the
/// file.
class TarnelConfig {
public:
    using Values = std::map<std::string, JSON, std::less<>>; // by the setting's dotted key

    /// Reads the file at `path`. Never fails: a file that is missing or no UTF-8 text gives the defaults; what is wrong
    /// in it becomes a problem.
    explicit TarnelConfig(std::string path);

    /// `TARNEL_CONFIG` of `environment` when set and not empty, else ".config/tarnel/config.toml" below `home`.
    static std::string defaultPath(const Environment& environment, const std::string& home);
    /// The same for this process and its user.
    static std::string defaultPath();

    /// `path` with `home` in place of the "~" of a leading "~/".
    static std::string expand(std::string_view path, const std::string& home);
    /// The same with the user's home directory.
    static std::string expand(std::string_view path);

    /// What is wrong with `value` for the setting `key`, for people; nothing when it is valid.
    static std::optional<std::string> validate(std::string_view key, const JSON& value);

    /// The values of a document by their dotted keys, each behind `prefix` and a dot when there is a prefix.
    static Values flatten(const JSON::Object& table, std::string_view prefix);

    [[nodiscard]] const Values& values() const { return current; }
    [[nodiscard]] const std::string& path() const { return file; }
    /// What the file holds that does not count, a message each.
    [[nodiscard]] const std::vector<std::string>& problems() const { return found; }

    /// The value of a setting; null when there is none of that name.
    [[nodiscard]] const JSON* operator[](std::string_view key) const;

    /// Typed reads. A setting that does not exist or is of another kind gives false, 0 or nothing.
    [[nodiscard]] bool boolean(std::string_view key) const;
    [[nodiscard]] double number(std::string_view key) const;
    [[nodiscard]] std::string string(std::string_view key) const;
    [[nodiscard]] std::vector<std::string> list(std::string_view key) const;

    /// Sets one setting here and in the file, which is read again and rewritten whole: other settings in it stay,
    /// comments and order do not. Throws TOMLError with line 0 for an invalid value, and then changes nothing. Throws
    /// TOMLError when the file does not parse or would not read back (keys are written without quotes, and a list's texts
    /// cannot hold both a quote and a comma) and std::system_error when it cannot be written; then the file is as it was
    /// and the value holds only here.
    void set(std::string_view key, const JSON& value);

private:
    std::string file;
    Values current;
    std::vector<std::string> found;
};

} // namespace tarnel
