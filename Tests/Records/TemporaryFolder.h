// Tests/Records/TemporaryFolder.h: a folder of a test's own, removed with all that it holds.
#pragma once
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <system_error>

namespace tarnel {

class TemporaryFolder {
public:
    TemporaryFolder()
        : path((std::filesystem::temp_directory_path() / "tarnel-XXXXXX").string())
    {
        if (!mkdtemp(path.data()))
            throw std::system_error(errno, std::generic_category(), path);
    }
    ~TemporaryFolder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    [[nodiscard]] std::string operator/(std::string_view name) const { return path + "/" + std::string(name); }

    /// Makes `text` what the file `name` holds, in place when it is there, and the folders above it; returns its path.
    std::string write(std::string_view name, std::string_view text = "") const
    {
        std::filesystem::create_directories(std::filesystem::path(*this / name).parent_path());
        const std::string file = append(name, "");
        std::fstream(file, std::ios::binary | std::ios::in | std::ios::out) << text;
        std::filesystem::resize_file(file, text.size()); // emptying it first would have some systems wait for the disk
        return file;
    }

    std::string append(std::string_view name, std::string_view text) const
    {
        std::ofstream(*this / name, std::ios::binary | std::ios::app) << text;
        return *this / name;
    }

    std::string path;
};

} // namespace tarnel
