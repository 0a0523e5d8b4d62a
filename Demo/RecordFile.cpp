#include "Demo/RecordFile.h"
#include <array>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace demo {

namespace {

using Clock = std::chrono::system_clock;

std::string formatted(const std::tm& time, const char* format)
{
    std::array<char, 64> text{};
    return {text.data(), std::strftime(text.data(), text.size(), format, &time)};
}

} // namespace

RecordFile::RecordFile(std::string file)
    : path(std::move(file))
{
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
}

void RecordFile::append(const std::string& line)
{
    std::ofstream file(path, std::ios::app | std::ios::binary);
    file << line + "\n"; // in one piece: a reader may look at any moment
    if (!file.flush())
        throw std::runtime_error("cannot write " + path);
}

std::string timestamp(Ago ago)
{
    const auto time = Clock::now() - ago;
    const std::time_t seconds = Clock::to_time_t(std::chrono::floor<std::chrono::seconds>(time));
    const auto milliseconds = std::chrono::floor<std::chrono::milliseconds>(time.time_since_epoch()).count() % 1000;
    std::tm parts{};
    gmtime_r(&seconds, &parts);
    const std::string fraction = std::to_string(1000 + milliseconds).substr(1);
    return formatted(parts, "%Y-%m-%dT%H:%M:%S.") + fraction + "Z";
}

std::string formattedNow(const char* format)
{
    const std::time_t seconds = Clock::to_time_t(Clock::now());
    std::tm parts{};
    localtime_r(&seconds, &parts);
    return formatted(parts, format);
}

std::string home()
{
    const char* folder = std::getenv("HOME");
    if (!folder || !*folder)
        throw std::runtime_error("HOME is not set");
    return folder;
}

} // namespace demo
