// Tests/Support/TemporaryFolder.h: a folder of a test's own.
#pragma once
#include "TarnelCore/Base/Files.h"
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <string_view>
#include <system_error>

namespace tarnel {

/// An empty folder, removed with all that it holds at the end of its life. Its path is short (18 bytes), so that the
/// paths of sockets in it fit their limit of 103 bytes.
class TemporaryFolder {
public:
    /// Throws std::system_error when none can be made.
    TemporaryFolder()
    {
        if (!::mkdtemp(name.data()))
            throw std::system_error(errno, std::generic_category(), name);
    }
    ~TemporaryFolder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(name, ignored);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    [[nodiscard]] const std::string& path() const { return name; }

    /// The path of what is, or will be, called `relative` inside.
    [[nodiscard]] std::string operator/(std::string_view relative) const { return name + "/" + std::string(relative); }

    /// Writes a file, with the folders above it, and returns its path. Throws std::system_error.
    std::string write(std::string_view relative, std::string_view text) const
    {
        const std::string file = *this / relative;
        Files::createDirectories(Files::parent(file));
        Files::writeAtomically(file, text);
        return file;
    }

private:
    std::string name = "/tmp/tarnel.XXXXXX";
};

} // namespace tarnel
