// tarnel/StandardInput.h: what is piped or typed into the program.
#pragma once
#include <optional>
#include <string>

namespace tarnel {

/// All of standard input. Throws CommandError (usage) when it is longer than 16 MiB, std::system_error when it cannot
/// be read.
std::string readStandardInput();

/// One line from the terminal, without its line feed; nothing at its end. Blocks.
std::optional<std::string> readAnswerLine();

/// Whether a person is at both ends: what is printed can be seen and answered.
bool canAskUser();

} // namespace tarnel
