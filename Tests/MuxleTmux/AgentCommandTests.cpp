#include "muxle-tmux/AgentCommand.h"
#include <gtest/gtest.h>

namespace tarnel::tmux {

namespace {

using Words = std::vector<std::string>;

TEST(MuxleTmuxAgentCommand, findsAgents)
{
    struct Case {
        const char* what;
        Words words;
        std::optional<std::string> agent;
    };
    const Case cases[] = {
        {"by its own name", {"claude", "--continue"}, "claude"},
        {"by its path", {"/opt/homebrew/bin/codex"}, "codex"},
        {"a script of node's", {"node", "/usr/local/bin/gemini"}, "gemini"},
        {"behind node's options", {"/usr/bin/node", "--no-warnings", "-r", "./hook.js", "/x/opencode.js"}, "opencode"},
        {"in a package", {"node", "/x/node_modules/@maker/claude-code/cli.js"}, "claude"},
        {"in a package without a maker", {"node", "/x/node_modules/codex/bin/start.js"}, "codex"},
        {"a folder is no package", {"node", "/home/me/claude/server.js"}, std::nullopt},
        {"a script of python's", {"python3.11", "-u", "/home/me/bin/agy.py"}, "agy"},
        {"a module of python's", {"python3", "-m", "grok.cli"}, "grok"},
        {"a script of the shell's", {"bash", "./pi"}, "pi"},
        {"a program in the words", {"python3", "-c", "import claude"}, std::nullopt},
        {"a script of bun's", {"bun", "run", "/x/opencode.ts"}, "opencode"},
        {"a login shell", {"-bash"}, std::nullopt},
        {"an argument is no agent", {"vim", "claude"}, std::nullopt},
        {"a name within a name", {"pi-hole"}, std::nullopt},
        {"the kind of all others is no agent", {"other"}, std::nullopt},
        {"nothing", {}, std::nullopt},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(AgentCommand::agent(c.words), c.agent);
    }
}

TEST(MuxleTmuxAgentCommand, findsSessions)
{
    const std::string id = "0a1b2c3d-1111-4222-8333-444455556666";
    struct Case {
        const char* what;
        Words words;
        std::optional<std::string> session;
    };
    const Case cases[] = {
        {"resumed", {"claude", "--resume", id}, id},
        {"joined to its option", {"node", "/x/claude", "--session-id=" + id}, id},
        {"by a command", {"codex", "--model", "m", "resume", id}, id},
        {"of another form", {"opencode", "-s", "ses_4f2a9"}, "ses_4f2a9"},
        {"chosen on the screen", {"claude", "--resume"}, std::nullopt},
        {"words to search for", {"claude", "--resume", "the refactoring"}, std::nullopt},
        {"the last one", {"codex", "resume", "--last"}, std::nullopt},
        {"a copy has an id of its own", {"claude", "-r", id, "--fork-session"}, std::nullopt},
        {"a prompt", {"claude", id}, std::nullopt},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(AgentCommand::session(c.words), c.session);
    }
}

} // namespace

} // namespace tarnel::tmux
