// Tests/Support/TemporaryFolder.h: a folder of a test's own.
#pragma once
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
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

    /// Makes `text` what the file `relative` holds, in place when it is there; makes the folders above it. Returns its path.
    std::string write(std::string_view relative, std::string_view text = "") const
    {
        std::string file = append(relative, "");
        std::fstream(file, std::ios::binary | std::ios::in | std::ios::out) << text;
        std::filesystem::resize_file(file, text.size()); // emptying it first would have some systems wait for the disk
        return file;
    }

    /// Adds `text` to the end of a file, which is made when it is not there. Returns its path.
    std::string append(std::string_view relative, std::string_view text) const
    {
        std::string file = *this / relative;
        std::filesystem::create_directories(std::filesystem::path(file).parent_path());
        std::ofstream(file, std::ios::binary | std::ios::app) << text;
        return file;
    }

private:
    std::string name = "/tmp/tarnel.XXXXXX";
};

} // namespace tarnel
