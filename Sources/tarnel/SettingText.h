// tarnel/SettingText.h: settings' values as people write and read them.
#pragma once
#include "TarnelCore/Config/SettingsSchema.h"
#include "TarnelCore/JSON/JSON.h"
#include <string>
#include <vector>

/// Pure functions.
namespace tarnel::SettingText {

/// The setting named `key`. Throws CommandError (usage), with the nearest name, when there is none.
const SettingSpec& named(const std::string& key);

/// The value that `words` say: "on", "yes" and "true" alike; of a list, each word one element, or one word in the form
/// "[...]". What no value of the kind can be is passed on as text, for the check of values to name it. Throws
/// CommandError (usage) where one word is wanted and there are more.
JSON read(const SettingSpec& spec, const std::vector<std::string>& words);

/// The value for people: text as it is, a list's elements with commas between them.
std::string write(const JSON& value);

/// What values are allowed, in words: "0.3 to 1", "recent or oldest".
std::string allowed(const SettingSpec& spec);

/// Everything about the setting, with its value, for programs.
JSON describe(const SettingSpec& spec, const JSON& value);

} // namespace tarnel::SettingText
