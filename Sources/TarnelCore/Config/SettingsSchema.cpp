#include "TarnelCore/Config/SettingsSchema.h"
#include "TarnelCore/Config/QuestionMarkers.h"
#include <algorithm>
#include <span>

namespace tarnel::SettingsSchema {

namespace {

JSON list(std::span<const std::string_view> texts) { return JSON::Array(texts.begin(), texts.end()); }
JSON list(std::initializer_list<std::string_view> texts) { return JSON::Array(texts.begin(), texts.end()); }

std::vector<SettingSpec> table()
{
    using Number = SettingSpec::Number;
    using Choice = SettingSpec::Choice;
    using Toggle = SettingSpec::Toggle;
    using Text = SettingSpec::Text;
    using Color = SettingSpec::Color;
    using List = SettingSpec::List;
    return {
        {"general.launch_at_login", "General", "Open at login",
            "Keep the watcher running so the queue and iPhone alerts stay current.", Toggle{}, true},
        {"general.menu_bar", "General", "Show in menu bar", "Waiting count in the menu bar.", Toggle{}, true},
        {"general.muxle_session", "General", "muxle session", "Named muxle session to watch; empty means default.",
            Text{}, ""},
        {"general.import_muxle_config", "General", "Follow muxle config",
            "Take theme, colors, and keys from ~/.config/muxle/config.toml.", Toggle{}, true},

        {"appearance.theme", "Appearance", "Theme", "Color palette.",
            Choice{{"one-dark-darker", "one-dark", "muxle", "system"}}, "one-dark-darker"},
        {"appearance.window_opacity", "Appearance", "Window opacity", "How see-through the window is.",
            Number{0.3, 1, 0.02}, 0.6},
        {"appearance.material", "Appearance", "Glass", "Background material behind content.",
            Choice{{"ultra-thin", "thin", "regular", "thick", "none"}}, "ultra-thin"},
        {"appearance.density", "Appearance", "Density", "Row height and spacing.",
            Choice{{"ultracompact", "compact", "regular", "roomy"}}, "compact"},
        {"appearance.text_size", "Appearance", "Text size",
            "Base text size in points. Every size in the app follows it; ⌘+ and ⌘− change it.", Number{9, 32, 1}, 13},
        {"appearance.glyph_font", "Appearance", "Glyph font", "Nerd Font used for space-attention glyphs.", Text{},
            "FiraCode Nerd Font Mono"},
        {"appearance.mono_font", "Appearance", "Monospaced font", "Font for commands and screen text.", Text{},
            "SF Mono"},
        {"appearance.accent", "Appearance", "Accent", "Selection and primary actions.", Color{}, "#56b6c2"},
        {"appearance.color_blocked", "Appearance", "Blocked", "Agents that need you.", Color{}, "#e06c75"},
        {"appearance.color_working", "Appearance", "Working", "Agents that are running.", Color{}, "#e5c07b"},
        {"appearance.color_done", "Appearance", "Done", "Finished, not yet seen.", Color{}, "#56b6c2"},
        {"appearance.color_idle", "Appearance", "Idle", "Finished and seen.", Color{}, "#5c6370"},
        {"appearance.background", "Appearance", "Background tint", "Tint under the glass.", Color{}, "#0b0d10"},

        {"sidebar.group_by_machine", "Sidebar", "Group by machine", "Machines, then spaces.", Toggle{}, true},
        {"sidebar.use_space_attention", "Sidebar", "Use space-attention labels",
            "Show the plugin's glyph and state color for each space.", Toggle{}, true},
        {"sidebar.collapse_prefixes", "Sidebar", "Collapse spaces starting with",
            "Group automatic spaces like brannig attempts.", List{}, JSON::Array{}},
        {"sidebar.show_idle_spaces", "Sidebar", "Show idle spaces", "Hide spaces with nothing going on.", Toggle{},
            true},
        {"sidebar.show_agent_count", "Sidebar", "Show agent counts", "Number of agents next to each space.", Toggle{},
            true},
        {"sidebar.pinned_agents", "Sidebar", "Pinned agents", "Named agents shown at the top.", List{},
            list({"chief-of-staff"})},

        {"attention.order", "Attention", "Order",
            "recent matches your muxle attention popup; oldest serves the longest wait first.",
            Choice{{"recent", "oldest"}}, "recent"},
        {"attention.include_finished", "Attention", "Include finished turns",
            "Agents that finished and wait for your next word.", Toggle{}, true},
        {"attention.finished_after_seconds", "Attention", "Finished turn delay",
            "Seconds a finished agent waits before it joins the queue.", Number{0, 3600, 15}, 60},
        {"attention.asking_from_records", "Attention", "Detect questions from records",
            "Use the agent's own record, not only the screen.", Toggle{}, true},
        {"attention.check_idle_screens", "Attention", "Catch prompts muxle misses",
            "Look at idle agents' screens for unanswered prompts, like Codex's folder trust question.", Toggle{}, true},
        {"attention.question_markers", "Attention", "Question phrases",
            "Screen phrases that mean an agent is still asking.", List{}, list(defaultQuestionMarkers)},
        {"attention.auto_advance", "Attention", "Advance after answering", "Open the next agent automatically.",
            Toggle{}, true},
        {"attention.muted_agents", "Attention", "Muted agents", "Named agents that never enter the queue.", List{},
            JSON::Array{}},

        {"quick_replies.finished", "Quick replies", "After a finished turn", "One-tap replies, in order.", List{},
            list({"go", "fix all", "plan fixes", "finalize plan", "check now", "commit all", "open pr", "ship it"})},
        {"quick_replies.plan", "Quick replies", "For a plan", "One-tap replies for plans.", List{},
            list({"Implement the plan", "Critique", "Revise"})},

        {"notifications.questions", "Notifications", "Questions", "Alert when an agent asks you something.", Toggle{},
            true},
        {"notifications.plans", "Notifications", "Plans", "Alert when a plan is ready.", Toggle{}, true},
        {"notifications.permissions", "Notifications", "Permissions", "Alert for permission prompts.", Toggle{}, true},
        {"notifications.finished", "Notifications", "Finished turns",
            "Alert when a finished turn has waited past the delay.", Toggle{}, false},
        {"notifications.sound", "Notifications", "Sound", "Play a sound with alerts.", Toggle{}, false},
        {"notifications.quiet_hours", "Notifications", "Quiet hours", "No alerts between these hours, like 23-6.",
            Text{}, "23-6"},
        {"notifications.face_id_choices", "Notifications", "Require Face ID for",
            "Answers that need Face ID on iPhone.", List{},
            list({"Allow", "Allow for session", "ship it", "commit all"})},

        {"agents.adapters", "Agents", "Record readers", "Agent kinds read from their own records.", List{},
            list({"claude", "codex", "grok"})},

        {"machines.follow_muxle", "Machines", "Use muxle machines", "Connect to every enabled muxle machine link.",
            Toggle{}, true},
        {"machines.hub", "Machines", "Hub Mac",
            "SSH target of the Mac that runs your muxle, like studio-mini. This Mac then shows the hub and every "
            "machine it links. Empty means this Mac is the hub. Restart Tarnel after changing.",
            Text{}, ""},
        {"machines.excluded", "Machines", "Skip machines", "Machine labels to leave out.", List{}, JSON::Array{}},
        {"machines.reconnect_max_seconds", "Machines", "Reconnect backoff limit",
            "Longest wait between reconnect attempts.", Number{5, 600, 5}, 120},

        {"keyboard.next", "Keyboard", "Next needs you", "Global shortcut.", Text{}, "cmd+j"},
        {"keyboard.palette", "Keyboard", "Command palette", "Shortcut.", Text{}, "cmd+k"},
        {"keyboard.search", "Keyboard", "Search", "Focus the sidebar search.", Text{}, "cmd+f"},
        {"keyboard.global_next", "Keyboard", "Next works from any app", "Register the Next shortcut system-wide.",
            Toggle{}, true},

        {"conversation.tool_calls", "Conversation", "Tool calls", "How tool steps appear.",
            Choice{{"folded", "one-line", "hidden"}}, "folded"},
        {"conversation.markdown", "Conversation", "Markdown",
            "Show messages rendered or as their raw source. Any one message can switch from its hover button or "
            "right-click menu.",
            Choice{{"rendered", "raw"}}, "rendered"},
        {"conversation.show_diffs", "Conversation", "Show diffs", "Expand diffs instead of counts.", Toggle{}, false},
        {"conversation.show_evidence", "Conversation", "Evidence chips",
            "PRs, CI, tickets, and screenshots found in the conversation.", Toggle{}, true},
        {"conversation.max_entries", "Conversation", "Entries to load", "Most recent entries shown.",
            Number{20, 2000, 20}, 200},

        {"terminal.lines", "Terminal", "Screen lines", "Lines shown in the terminal drawer.", Number{10, 400, 10}, 60},
        {"terminal.refresh_ms", "Terminal", "Refresh interval", "Milliseconds between screen refreshes while open.",
            Number{100, 5000, 100}, 500},

        {"plugins.brannig_cord", "Plugins", "Show brannig Pull cord", "Always-visible stop for the brannig factory.",
            Toggle{}, true},

        {"advanced.daemon_socket", "Advanced", "tarneld socket", "Where the local daemon listens.", Text{},
            "~/.config/tarnel/tarneld.sock"},
        {"advanced.app_socket", "Advanced", "App control socket", "Where the app answers the tarnel CLI.", Text{},
            "~/.config/tarnel/app.sock"},
        {"advanced.log_level", "Advanced", "Log level", "Daemon and app logging.",
            Choice{{"error", "warn", "info", "debug"}}, "info"},
    };
}

} // namespace

const std::vector<SettingSpec>& all()
{
    static const std::vector<SettingSpec> specs = table();
    return specs;
}

const SettingSpec* spec(std::string_view key)
{
    const auto found =
        std::find_if(all().begin(), all().end(), [&](const SettingSpec& each) { return each.key == key; });
    return found == all().end() ? nullptr : &*found;
}

} // namespace tarnel::SettingsSchema
