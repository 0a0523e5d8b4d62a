// Demo/main.cpp: runs one scene of an agent until it is ended.
//
// Under the name of an agent it takes that agent's own options for its session: `claude --session-id ID`,
// `codex resume ID`. The scene comes from DEMO_SCENE, and the record goes below HOME.
#include "Demo/ClaudeScreens.h"
#include "Demo/CodexScreens.h"
#include "Demo/Terminal.h"
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>
#include <string_view>

namespace {

struct Scene {
    std::string_view name;
    demo::Screen::Next (*start)(const std::string& session);
};

constexpr Scene scenes[] = {
    {"claude-finished", demo::claude::finished},
    {"claude-folded", demo::claude::folded},
    {"claude-permission", demo::claude::permission},
    {"claude-plan", demo::claude::plan},
    {"claude-question", demo::claude::question},
    {"claude-working", demo::claude::working},
    {"codex-error", demo::codex::error},
    {"codex-question", demo::codex::question},
};

} // namespace

int main(int count, char** words)
{
    const char* wanted = std::getenv("DEMO_SCENE");
    const std::string session = count == 3 ? words[2] : "";
    for (const Scene& scene : scenes) {
        if (!wanted || session.empty() || scene.name != wanted)
            continue;
        try {
            demo::show(scene.start(session));
            return 0;
        } catch (const std::exception& error) {
            std::fprintf(stderr, "%s: %s\n", words[0], error.what());
            return 1;
        }
    }
    std::fprintf(stderr, "usage: DEMO_SCENE=NAME %s --session-id|resume SESSION, with NAME one of:\n", words[0]);
    for (const Scene& scene : scenes)
        std::fprintf(stderr, "  %s\n", scene.name.data());
    return 2;
}
