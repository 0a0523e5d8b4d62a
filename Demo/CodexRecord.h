// Demo/CodexRecord.h: the record that Codex keeps of a session.
#pragma once
#include "Demo/RecordFile.h"
#include <string>

namespace demo {

/// One session's file below "~/.codex/sessions". Every function appends one line.
class CodexRecord {
public:
    /// For a session in the working directory that was started `ago`.
    CodexRecord(const std::string& session, Ago ago);

    void user(const std::string& text, Ago ago = {});
    void assistant(const std::string& text, Ago ago = {});
    /// A tool call with its arguments as JSON text. It stays open until its output.
    void functionCall(const std::string& name, const std::string& arguments, Ago ago = {});
    /// The output of the last call.
    void functionOutput(const std::string& output, Ago ago = {});
    void tokenCount(int tokens, Ago ago = {});
    void error(const std::string& message, Ago ago = {});
    /// The end of a turn, with the agent's last words where it has any.
    void taskComplete(const std::string& lastMessage, Ago ago = {});

private:
    void append(const char* type, const std::string& payload, Ago ago);

    RecordFile file;
    int calls = 0;
};

} // namespace demo
