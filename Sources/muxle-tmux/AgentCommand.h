// muxle-tmux/AgentCommand.h: which agent a command line runs, and which of its sessions.
#pragma once
#include <optional>
#include <string>
#include <vector>

/// Pure functions over the words of a command line.
namespace tarnel::tmux::AgentCommand {

/// The agent's name ("claude"), also where it is a script or module that an interpreter runs, and where the script lies
/// in a package that bears the agent's name. Nothing for other programs.
std::optional<std::string> agent(const std::vector<std::string>& words);

/// The session that the command line tells an agent to go on with, or to give its new session. Nothing when it names
/// none, or tells the agent to go on with a copy.
std::optional<std::string> session(const std::vector<std::string>& words);

} // namespace tarnel::tmux::AgentCommand
