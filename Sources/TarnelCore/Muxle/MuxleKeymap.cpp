#include "TarnelCore/Muxle/MuxleKeymap.h"
#include "TarnelCore/Base/Text.h"
#include "TarnelCore/Config/TOML.h"
#include <algorithm>
#include <array>

namespace tarnel {

namespace {

using NamePair = std::pair<std::string_view, std::string_view>;

/// The names under which a key may be written, and the key that each stands for.
constexpr std::array keyNames{
    NamePair{"space", "space"},
    NamePair{"enter", "enter"},
    NamePair{"return", "enter"},
    NamePair{"esc", "esc"},
    NamePair{"escape", "esc"},
    NamePair{"tab", "tab"},
    NamePair{"backspace", "backspace"},
    NamePair{"bs", "backspace"},
    NamePair{"left", "left"},
    NamePair{"right", "right"},
    NamePair{"up", "up"},
    NamePair{"down", "down"},
    NamePair{"minus", "-"},
    NamePair{"comma", ","},
    NamePair{"period", "."},
    NamePair{"slash", "/"},
    NamePair{"backslash", "\\"},
    NamePair{"quote", "'"},
    NamePair{"double_quote", "\""},
    NamePair{"double-quote", "\""},
    NamePair{"semicolon", ";"},
    NamePair{"colon", ":"},
    NamePair{"equal", "="},
    NamePair{"equals", "="},
    NamePair{"plus", "+"},
};

struct ModifierName {
    std::string_view name;
    bool KeyCombo::*held;
};

constexpr std::array modifierNames{
    ModifierName{"ctrl", &KeyCombo::ctrl},
    ModifierName{"control", &KeyCombo::ctrl},
    ModifierName{"alt", &KeyCombo::alt},
    ModifierName{"option", &KeyCombo::alt},
    ModifierName{"meta", &KeyCombo::alt},
    ModifierName{"shift", &KeyCombo::shift},
    ModifierName{"cmd", &KeyCombo::cmd},
    ModifierName{"command", &KeyCombo::cmd},
    ModifierName{"super", &KeyCombo::cmd},
};

constexpr std::string_view prefixWord = "prefix+";
constexpr std::string_view indexRange = "1..9";
constexpr std::string_view defaultPrefix = "ctrl+b";
constexpr std::array<std::string_view, 3> indexedActions{"focus_agent", "switch_tab", "switch_workspace"};

/// The multiplexer's actions, in its own order, each with the key that it has by default; empty: none.
constexpr std::array defaultKeys{
    NamePair{"help", "prefix+?"},
    NamePair{"settings", "prefix+s"},
    NamePair{"new_workspace", "prefix+shift+n"},
    NamePair{"new_worktree", "prefix+shift+g"},
    NamePair{"open_worktree", ""},
    NamePair{"remove_worktree", ""},
    NamePair{"rename_workspace", "prefix+shift+w"},
    NamePair{"close_workspace", "prefix+shift+d"},
    NamePair{"workspace_picker", "prefix+w"},
    NamePair{"goto", "prefix+g"},
    NamePair{"detach", "prefix+q"},
    NamePair{"reload_config", "prefix+shift+r"},
    NamePair{"open_notification_target", "prefix+o"},
    NamePair{"previous_workspace", ""},
    NamePair{"next_workspace", ""},
    NamePair{"previous_agent", ""},
    NamePair{"next_agent", ""},
    NamePair{"focus_agent", ""},
    NamePair{"remote_image_paste", "ctrl+v"},
    NamePair{"new_tab", "prefix+c"},
    NamePair{"rename_tab", "prefix+shift+t"},
    NamePair{"previous_tab", "prefix+p"},
    NamePair{"next_tab", "prefix+n"},
    NamePair{"move_tab_previous", ""},
    NamePair{"move_tab_next", ""},
    NamePair{"switch_tab", "prefix+1..9"},
    NamePair{"switch_workspace", ""},
    NamePair{"close_tab", "prefix+shift+x"},
    NamePair{"rename_pane", "prefix+shift+p"},
    NamePair{"edit_scrollback", "prefix+e"},
    NamePair{"copy_mode", "prefix+["},
    NamePair{"focus_pane_left", "prefix+h"},
    NamePair{"focus_pane_down", "prefix+j"},
    NamePair{"focus_pane_up", "prefix+k"},
    NamePair{"focus_pane_right", "prefix+l"},
    NamePair{"swap_pane_left", "prefix+shift+h"},
    NamePair{"swap_pane_down", "prefix+shift+j"},
    NamePair{"swap_pane_up", "prefix+shift+k"},
    NamePair{"swap_pane_right", "prefix+shift+l"},
    NamePair{"cycle_pane_next", "prefix+tab"},
    NamePair{"cycle_pane_previous", "prefix+shift+tab"},
    NamePair{"last_pane", ""},
    NamePair{"split_vertical", "prefix+v"},
    NamePair{"split_horizontal", "prefix+minus"},
    NamePair{"close_pane", "prefix+x"},
    NamePair{"zoom", "prefix+z"},
    NamePair{"resize_mode", "prefix+r"},
    NamePair{"resize_pane_left", ""},
    NamePair{"resize_pane_down", ""},
    NamePair{"resize_pane_up", ""},
    NamePair{"resize_pane_right", ""},
    NamePair{"toggle_sidebar", "prefix+b"},
};

std::optional<std::string> canonicalKey(const std::string& lower)
{
    const auto named =
        std::find_if(keyNames.begin(), keyNames.end(), [&](const NamePair& each) { return each.first == lower; });
    if (named != keyNames.end())
        return std::string(named->second);
    const bool isFunctionKey =
        lower.size() > 1 && lower[0] == 'f' && lower.find_first_not_of("0123456789", 1) == lower.npos;
    if (isFunctionKey || Text::characterCount(lower) == 1)
        return lower;
    return std::nullopt;
}

template <class Value>
Value valueOr(const std::map<std::string, Value, std::less<>>& map, std::string_view key, Value fallback)
{
    const auto found = map.find(key);
    return found == map.end() ? std::move(fallback) : found->second;
}

/// Reads the key tables line by line; other tables are passed over, whatever they hold.
class KeysReader {
public:
    void readLine(std::string_view line)
    {
        if (line.starts_with('[')) {
            finish();
            table = line;
            return;
        }
        const std::size_t equals = line.find('=');
        if (equals == line.npos)
            return;
        const std::string name(Text::trimmedOf(Text::trimmed(line.substr(0, equals)), "\""));
        if (const auto value = TOML::parseValue(Text::trimmed(line.substr(equals + 1))))
            readPair(name, *value);
    }

    MuxleKeymap::Keys take()
    {
        finish();
        return std::move(keys);
    }

private:
    void readPair(const std::string& name, const JSON& value)
    {
        if (table == "[keys]")
            keys.values[name] = keyList(value);
        else if (table == "[keys.indexed]")
            keys.indexed[name] = stringOf(&value).value_or("");
        else if (table == commandTable)
            fields[name] = stringOf(&value).value_or("");
    }

    static std::vector<std::string> keyList(const JSON& value)
    {
        std::vector<std::string> list;
        if (const std::string* text = value.string(); text && !text->empty())
            list.push_back(*text);
        if (const JSON::Array* elements = value.array()) {
            for (const JSON& element : *elements) {
                if (const std::string* text = element.string())
                    list.push_back(*text);
            }
        }
        return list;
    }

    void finish()
    {
        if (table == commandTable && fields.contains("key") && fields.contains("command")) {
            MuxleCommandKey command{.key = fields["key"], .command = fields["command"]};
            command.type = valueOr(fields, "type", command.type);
            if (fields.contains("description"))
                command.description = fields["description"];
            keys.commands.push_back(std::move(command));
        }
        fields.clear();
    }

    static constexpr std::string_view commandTable = "[[keys.command]]";
    std::string_view table; // its header line
    std::map<std::string, std::string, std::less<>> fields; // of a command that is being read
    MuxleKeymap::Keys keys;
};

void append(std::vector<MuxleBinding>& bindings, std::vector<MuxleBinding> more)
{
    bindings.insert(bindings.end(), std::make_move_iterator(more.begin()), std::make_move_iterator(more.end()));
}

} // namespace

std::optional<KeyCombo> KeyCombo::parse(std::string_view text)
{
    KeyCombo combo;
    for (const std::string_view piece : Text::split(text, '+')) {
        const std::string word = Text::lowercased(Text::trimmed(piece));
        const auto modifier = std::find_if(
            modifierNames.begin(), modifierNames.end(), [&](const ModifierName& each) { return each.name == word; });
        if (modifier != modifierNames.end()) {
            combo.*modifier->held = true;
            continue;
        }
        auto key = canonicalKey(word);
        if (!key || !combo.key.empty())
            return std::nullopt;
        combo.key = *std::move(key);
    }
    if (combo.key.empty())
        return std::nullopt;
    return combo;
}

std::string KeyCombo::description() const
{
    std::string text;
    for (const auto& [isHeld, name] : {std::pair{ctrl, "ctrl+"}, {alt, "alt+"}, {shift, "shift+"}, {cmd, "cmd+"}}) {
        if (isHeld)
            text += name;
    }
    return text + key;
}

std::string MuxleBinding::label() const { return (prefixed ? std::string(prefixWord) : "") + combo.description(); }

MuxleKeymap::MuxleKeymap(const std::optional<std::string>& configText)
{
    const Keys keys = readKeys(configText.value_or(""));
    const auto prefixes = valueOr(keys.values, "prefix", {});
    const auto configured = prefixes.empty() ? std::nullopt : KeyCombo::parse(prefixes.front());
    prefix = configured ? *configured : KeyCombo::parse(defaultPrefix).value();
    for (const auto& [action, key] : defaultKeys) {
        for (const std::string& text : valueOr(keys.values, action, {std::string(key)}))
            append(bindings, expand(text, action));
    }
    for (const auto& [action, modifiers] : keys.indexed) {
        if (!modifiers.empty())
            append(bindings, expand(modifiers + "+" + std::string(indexRange), action));
    }
    for (const MuxleCommandKey& command : keys.commands) {
        if (const auto key = split(command.key))
            bindings.push_back({key->prefixed, key->combo, command});
    }
}

const MuxleBinding* MuxleKeymap::match(const std::vector<KeyCombo>& combos, bool afterPrefix) const
{
    for (const KeyCombo& combo : combos) {
        for (const MuxleBinding& binding : bindings) {
            if (binding.prefixed == afterPrefix && binding.combo == combo)
                return &binding;
        }
    }
    return nullptr;
}

bool MuxleKeymap::isPrefix(const std::vector<KeyCombo>& combos) const
{
    return std::find(combos.begin(), combos.end(), prefix) != combos.end();
}

std::vector<MuxleCommandKey> MuxleKeymap::commands() const
{
    std::vector<MuxleCommandKey> found;
    for (const MuxleBinding& binding : bindings) {
        if (const auto* command = std::get_if<MuxleCommandKey>(&binding.target))
            found.push_back(*command);
    }
    return found;
}

std::optional<MuxleKeymap::Split> MuxleKeymap::split(std::string_view text)
{
    std::string_view rest = Text::trimmed(text);
    const bool prefixed = Text::lowercased(rest.substr(0, prefixWord.size())) == prefixWord;
    if (prefixed)
        rest.remove_prefix(prefixWord.size());
    auto combo = KeyCombo::parse(rest);
    if (!combo)
        return std::nullopt;
    return Split{prefixed, *std::move(combo)};
}

std::vector<MuxleBinding> MuxleKeymap::expand(std::string_view text, std::string_view action)
{
    std::vector<MuxleBinding> expanded;
    const std::string name(action);
    const bool isIndexed = std::find(indexedActions.begin(), indexedActions.end(), action) != indexedActions.end();
    if (!isIndexed || !text.ends_with(indexRange)) {
        if (const auto key = split(text))
            expanded.push_back({key->prefixed, key->combo, MuxleBinding::Action{name}});
        return expanded;
    }
    const std::string stem(text.substr(0, text.size() - indexRange.size()));
    for (int index = 1; index <= 9; ++index) {
        if (const auto key = split(stem + std::to_string(index)))
            expanded.push_back({key->prefixed, key->combo, MuxleBinding::Indexed{name, index}});
    }
    return expanded;
}

MuxleKeymap::Keys MuxleKeymap::readKeys(std::string_view text)
{
    KeysReader reader;
    for (const std::string_view line : Text::split(text, '\n')) {
        const std::string_view content = Text::trimmed(TOML::stripComment(line));
        if (!content.empty())
            reader.readLine(content);
    }
    return reader.take();
}

} // namespace tarnel
