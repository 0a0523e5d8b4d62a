#include "tarnel/SettingText.h"
#include "TarnelCore/Base/Decimal.h"
#include "TarnelCore/Base/Text.h"
#include "TarnelCore/Config/TOML.h"
#include "tarnel/CommandLine.h"
#include "tarnel/Nearest.h"
#include <fmt/format.h>

namespace tarnel {

namespace {

/// A text where a value is wanted that it may not be.
JSON valueOr(std::optional<JSON> value, const std::string& text) { return value ? *std::move(value) : JSON(text); }

struct Reader {
    const std::vector<std::string>& words;
    std::string text;

    JSON operator()(const SettingSpec::Number&) const
    {
        const auto number = decimalNumber(text);
        return number ? JSON(*number) : JSON(text);
    }
    JSON operator()(SettingSpec::Toggle) const
    {
        const std::string word = Text::lowercased(text);
        if (word == "true" || word == "on" || word == "yes")
            return true;
        if (word == "false" || word == "off" || word == "no")
            return false;
        return text;
    }
    JSON operator()(SettingSpec::List) const
    {
        if (words.size() == 1 && text.starts_with('['))
            return valueOr(TOML::parseValue(text), text);
        JSON::Array elements;
        for (const std::string& word : words)
            elements.emplace_back(word);
        return elements;
    }
    template <class Other> JSON operator()(const Other&) const { return text; }
};

struct Allowed {
    std::string operator()(const SettingSpec::Number& range) const
    {
        return fmt::format("{:g} to {:g}", range.min, range.max);
    }
    std::string operator()(const SettingSpec::Choice& choice) const { return Text::joined(choice.choices, ", "); }
    std::string operator()(SettingSpec::Toggle) const { return "true or false"; }
    std::string operator()(SettingSpec::Text) const { return "text"; }
    std::string operator()(SettingSpec::Color) const { return "a color like #56b6c2"; }
    std::string operator()(SettingSpec::List) const { return "a list of text"; }
};

struct KindName {
    std::string_view operator()(const SettingSpec::Number&) const { return "number"; }
    std::string_view operator()(const SettingSpec::Choice&) const { return "choice"; }
    std::string_view operator()(SettingSpec::Toggle) const { return "toggle"; }
    std::string_view operator()(SettingSpec::Text) const { return "text"; }
    std::string_view operator()(SettingSpec::Color) const { return "color"; }
    std::string_view operator()(SettingSpec::List) const { return "list"; }
};

} // namespace

const SettingSpec& SettingText::named(const std::string& key)
{
    if (const SettingSpec* spec = SettingsSchema::spec(key))
        return *spec;
    std::vector<std::string> keys;
    for (const SettingSpec& spec : SettingsSchema::all())
        keys.emplace_back(spec.key);
    const auto nearest = Nearest::to(key, keys);
    throw CommandError(ExitStatus::usage,
        "there is no setting " + key
            + (nearest ? "; did you mean " + *nearest + "?" : "; see all of them with: tarnel config list"));
}

JSON SettingText::read(const SettingSpec& spec, const std::vector<std::string>& words)
{
    if (words.size() > 1 && !std::holds_alternative<SettingSpec::List>(spec.kind)
        && !std::holds_alternative<SettingSpec::Text>(spec.kind))
        throw CommandError(ExitStatus::usage, std::string(spec.key) + " takes one value: " + allowed(spec));
    return std::visit(Reader{words, Text::joined(words, " ")}, spec.kind);
}

std::string SettingText::write(const JSON& value)
{
    if (const std::string* text = value.string())
        return *text;
    if (const JSON::Array* elements = value.array()) {
        std::vector<std::string> texts;
        for (const JSON& element : *elements)
            texts.push_back(write(element));
        return Text::joined(texts, ", ");
    }
    return value.serialized();
}

std::string SettingText::allowed(const SettingSpec& spec) { return std::visit(Allowed(), spec.kind); }

JSON SettingText::describe(const SettingSpec& spec, const JSON& value)
{
    JSON::Object json{{"key", spec.key}, {"category", spec.category}, {"title", spec.title}, {"help", spec.help},
        {"kind", std::visit(KindName(), spec.kind)}, {"default", spec.defaultValue}, {"value", value}};
    if (const auto* range = std::get_if<SettingSpec::Number>(&spec.kind)) {
        json["min"] = range->min;
        json["max"] = range->max;
        json["step"] = range->step;
    }
    if (const auto* choice = std::get_if<SettingSpec::Choice>(&spec.kind)) {
        JSON::Array choices;
        for (const std::string_view each : choice->choices)
            choices.emplace_back(each);
        json["choices"] = std::move(choices);
    }
    return json;
}

} // namespace tarnel
