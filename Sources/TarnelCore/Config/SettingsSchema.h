// TarnelCore/Config/SettingsSchema.h: every setting that the configuration file may hold.
#pragma once
#include "TarnelCore/JSON/JSON.h"
#include <array>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace tarnel {

/// One setting, with all that a settings screen needs to show and change it.
struct SettingSpec {
    struct Number {
        double min = 0; ///< Both ends are allowed.
        double max = 0;
        double step = 0; ///< For controls; values between two steps are fine.
    };
    struct Choice {
        std::vector<std::string_view> choices;
    };
    struct Toggle { };
    struct Text { };
    struct Color { }; ///< "#" and 6 or 8 hexadecimal digits: RGB or RGBA.
    struct List { }; ///< Of strings.
    using Kind = std::variant<Number, Choice, Toggle, Text, Color, List>;

    std::string_view key; ///< Dotted, its table first: "attention.order". The setting's identity.
    std::string_view category; ///< One of `SettingsSchema::categories`.
    std::string_view title;
    std::string_view help; ///< One sentence or two.
    Kind kind;
    JSON defaultValue; ///< Always valid for `kind`.
};

/// The fixed list of settings. Immutable; thread-safe.
namespace SettingsSchema {

/// In the order in which a settings screen shows them.
inline constexpr std::array<std::string_view, 13> categories{"General", "Appearance", "Sidebar", "Attention",
    "Quick replies", "Notifications", "Agents", "Machines", "Keyboard", "Conversation", "Terminal", "Plugins",
    "Advanced"};

/// All settings, category by category.
const std::vector<SettingSpec>& all();

/// The setting with this key; null when there is none.
const SettingSpec* spec(std::string_view key);

} // namespace SettingsSchema

} // namespace tarnel
