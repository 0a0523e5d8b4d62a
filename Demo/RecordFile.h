// Demo/RecordFile.h: a session's record: lines of JSON, each with its time.
#pragma once
#include <chrono>
#include <string>

namespace demo {

using Ago = std::chrono::seconds; ///< How long before now something is said to have happened.

/// Appends lines to a file that it creates with its folders. Throws std::runtime_error when that fails.
class RecordFile {
public:
    explicit RecordFile(std::string path);
    void append(const std::string& line);

private:
    const std::string path;
};

/// "2026-11-16T21:02:03.250Z"
std::string timestamp(Ago ago);

/// The local day or time in the form of strftime.
std::string formattedNow(const char* format);

/// `$HOME`; throws std::runtime_error without one, so that no record lands in an odd place.
std::string home();

} // namespace demo
