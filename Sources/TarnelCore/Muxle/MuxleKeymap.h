// TarnelCore/Muxle/MuxleKeymap.h: the multiplexer's key bindings, as the user has configured them.
#pragma once
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace tarnel {

/// One key, with the modifiers that are held.
struct KeyCombo {
    bool ctrl = false;
    bool alt = false;
    bool shift = false;
    bool cmd = false;
    std::string key; ///< Lower case: one character, a function key ("f5"), or a name such as "enter".

    bool operator==(const KeyCombo&) const = default;

    /// Reads "ctrl+shift+T": modifiers and exactly one key, in any order and case, under all the names that they have.
    /// Nothing for anything else; the key "+" is written "plus".
    static std::optional<KeyCombo> parse(std::string_view text);

    /// "ctrl+alt+shift+cmd+key", with the modifiers that are held.
    [[nodiscard]] std::string description() const;
};

/// A shell command, or another kind of command, that the user has bound to a key.
struct MuxleCommandKey {
    std::string key; ///< The combination as written.
    std::string type = "shell";
    std::string command;
    std::optional<std::string> description; ///< For display.
    bool operator==(const MuxleCommandKey&) const = default;
};

/// One combination and what it triggers.
struct MuxleBinding {
    struct Action {
        std::string name;
        bool operator==(const Action&) const = default;
    };
    struct Indexed {
        std::string name;
        int index = 1; ///< 1 to 9.
        bool operator==(const Indexed&) const = default;
    };
    using Target = std::variant<Action, Indexed, MuxleCommandKey>;

    bool prefixed = false; ///< Pressed after the prefix key.
    KeyCombo combo;
    Target target;

    bool operator==(const MuxleBinding&) const = default;

    /// The combination for display: "prefix+shift+t".
    [[nodiscard]] std::string label() const;
};

/// The prefix key and all bindings. A value; thread-safe like a standard container.
class MuxleKeymap {
public:
    /// Reads the key tables of the multiplexer's configuration file; what the text does not mention, or without a text,
    /// has its default. Never fails: lines that do not read are passed over.
    explicit MuxleKeymap(const std::optional<std::string>& configText);

    KeyCombo prefix;
    /// The actions first, then the indexed actions by name, then the commands in the file's order: of two bindings of
    /// one combination the first counts.
    std::vector<MuxleBinding> bindings;

    /// The first binding of the first of `combos`, which are readings of one key press, that has one.
    [[nodiscard]] const MuxleBinding* match(const std::vector<KeyCombo>& combos, bool afterPrefix) const;
    [[nodiscard]] bool isPrefix(const std::vector<KeyCombo>& combos) const;

    /// The commands of `bindings`, in order.
    [[nodiscard]] std::vector<MuxleCommandKey> commands() const;

    /// A combination, and whether it stands behind "prefix+".
    struct Split {
        bool prefixed = false;
        KeyCombo combo;
        bool operator==(const Split&) const = default;
    };
    static std::optional<Split> split(std::string_view text);

    /// The bindings that one key in the configuration of `action` stands for: nine when it ends in "1..9" and the
    /// action takes an index, else one, or none when it does not read.
    static std::vector<MuxleBinding> expand(std::string_view text, std::string_view action);

    /// What the key tables of a configuration file hold.
    struct Keys {
        std::map<std::string, std::vector<std::string>, std::less<>> values; ///< Keys by action, and by "prefix".
        std::map<std::string, std::string, std::less<>> indexed; ///< Modifiers by indexed action.
        std::vector<MuxleCommandKey> commands;
        bool operator==(const Keys&) const = default;
    };
    static Keys readKeys(std::string_view text);
};

} // namespace tarnel
