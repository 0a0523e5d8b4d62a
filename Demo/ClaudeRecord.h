// Demo/ClaudeRecord.h: the record that Claude keeps of a session.
#pragma once
#include "Demo/RecordFile.h"
#include <string>

namespace demo {

/// One session's file below "~/.claude/projects". Every function appends one line, or the two that belong together.
class ClaudeRecord {
public:
    /// For a session in the working directory.
    explicit ClaudeRecord(const std::string& session);

    void user(const std::string& text, Ago ago = {});
    void assistant(const std::string& text, Ago ago = {});
    /// A tool call with its input as JSON text. It stays open until its result.
    void toolUse(const std::string& name, const std::string& input, Ago ago = {});
    /// The result of the last call.
    void toolResult(const std::string& text, bool isError = false, Ago ago = {});

private:
    void append(const char* type, const std::string& message, Ago ago);

    const std::string session;
    const std::string cwd;
    RecordFile file;
    int calls = 0;
    int lines = 0;
};

} // namespace demo
