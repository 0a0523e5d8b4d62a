// Tests/TemporaryFolder.h: a folder for one test.
#pragma once
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <string_view>

namespace tarnel {

/// A new folder, removed with all that is in it at the end of its life.
class TemporaryFolder {
public:
    TemporaryFolder()
    {
        std::string name = (std::filesystem::temp_directory_path() / "tarnel.XXXXXX").string();
        if (!::mkdtemp(name.data()))
            throw std::runtime_error("cannot make " + name);
        path = name;
    }
    ~TemporaryFolder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    [[nodiscard]] std::string operator/(std::string_view relative) const { return path + "/" + std::string(relative); }

    /// Makes a file and the folders above it; returns its path.
    std::string write(std::string_view relative, std::string_view text = "") const
    {
        const std::filesystem::path file(*this / relative);
        std::filesystem::create_directories(file.parent_path());
        std::ofstream out(file, std::ios::binary);
        out.write(text.data(), static_cast<std::streamsize>(text.size()));
        if (!out.flush())
            throw std::runtime_error("cannot write " + file.string());
        return file.string();
    }

    std::string path;
};

} // namespace tarnel
