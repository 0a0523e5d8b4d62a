// tarnel/CompletionScripts.h: how each shell asks the program for candidates.
#pragma once
#include <string_view>

namespace tarnel::CompletionScripts {

/// The script for "bash", "zsh" or "fish"; empty for any other shell. It holds no names of its own: the program is
/// asked at every completion.
std::string_view of(std::string_view shell);

} // namespace tarnel::CompletionScripts
