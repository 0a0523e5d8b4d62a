#include "TarnelCore/Config/TarnelConfig.h"
#include "TarnelCore/Base/Files.h"
#include "TarnelCore/Base/Text.h"
#include "TarnelCore/Config/SettingsSchema.h"
#include <algorithm>
#include <array>
#include <charconv>
#include <filesystem>

namespace tarnel {

namespace {

std::optional<std::string> readText(const std::string& path)
{
    auto text = Files::read(path);
    return text && Text::isValidUTF8(*text) ? std::move(text) : std::nullopt;
}

/// Writes through a link to the file that it names, and keeps the file's permissions.
void replaceFile(const std::string& path, std::string_view text)
{
    std::error_code error;
    const std::filesystem::path target = std::filesystem::canonical(path, error);
    if (error)
        return Files::writeAtomically(path, text);
    const auto permissions = std::filesystem::status(target, error).permissions() & std::filesystem::perms::all;
    Files::writeAtomically(target, text, error ? 0644 : static_cast<unsigned>(permissions));
}

/// "0.3", "3600.0"
std::string decimal(double value)
{
    std::array<char, 352> digits; // the largest double has 309
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value, std::chars_format::fixed).ptr;
    std::string text(digits.data(), end);
    return text.find('.') == text.npos ? text + ".0" : text;
}

/// What `value` must be for a setting of some kind; nothing when it is.
struct Requirement {
    const JSON& value;

    std::optional<std::string> operator()(const SettingSpec::Number& range) const
    {
        const auto number = value.number();
        if (!number)
            return "a number";
        if (*number >= range.min && *number <= range.max)
            return std::nullopt;
        return "between " + decimal(range.min) + " and " + decimal(range.max);
    }
    std::optional<std::string> operator()(const SettingSpec::Choice& choice) const
    {
        const std::string* text = value.string();
        if (text && std::find(choice.choices.begin(), choice.choices.end(), *text) != choice.choices.end())
            return std::nullopt;
        return "one of " + Text::joined(choice.choices, ", ");
    }
    std::optional<std::string> operator()(SettingSpec::Toggle) const
    {
        return value.boolean() ? std::nullopt : std::optional<std::string>("true or false");
    }
    std::optional<std::string> operator()(SettingSpec::Text) const
    {
        return value.string() ? std::nullopt : std::optional<std::string>("text");
    }
    std::optional<std::string> operator()(SettingSpec::Color) const
    {
        const std::string* text = value.string();
        const std::size_t length = text && text->starts_with('#') ? Text::characterCount(*text) : 0;
        return length == 7 || length == 9 ? std::nullopt : std::optional<std::string>("a color like #56b6c2");
    }
    std::optional<std::string> operator()(SettingSpec::List) const
    {
        const JSON::Array* elements = value.array();
        const auto isText = [](const JSON& element) { return element.string() != nullptr; };
        if (elements && std::all_of(elements->begin(), elements->end(), isText))
            return std::nullopt;
        return "a list of text";
    }
};

void flattenInto(TarnelConfig::Values& values, const JSON::Object& table, std::string_view prefix)
{
    for (const JSON::Member& member : table) {
        const std::string key = prefix.empty() ? member.key : std::string(prefix) + "." + member.key;
        if (const JSON::Object* inner = member.value.object())
            flattenInto(values, *inner, key);
        else
            values[key] = member.value;
    }
}

/// Whether `text` is read as `document`. Not all that can be read can be written: a quoted key may hold anything, and a
/// list's texts lose their quotes and commas.
bool readsAs(const std::string& text, const JSON::Object& document)
{
    try {
        return TOML::parse(text) == document;
    } catch (const TOMLError&) {
        return false;
    }
}

} // namespace

TarnelConfig::TarnelConfig(std::string path)
    : file(std::move(path))
{
    for (const SettingSpec& spec : SettingsSchema::all())
        current.emplace(spec.key, spec.defaultValue);
    const auto text = readText(file);
    if (!text)
        return;
    try {
        for (auto& [key, value] : flatten(TOML::parse(*text), "")) {
            if (auto problem = validate(key, value))
                found.push_back(*std::move(problem));
            else
                current[key] = value;
        }
    } catch (const TOMLError& error) {
        found.emplace_back(error.what());
    }
}

std::string TarnelConfig::defaultPath(const Environment& environment, const std::string& home)
{
    return nonEmpty(environment, "TARNEL_CONFIG").value_or(home + "/.config/tarnel/config.toml");
}

std::string TarnelConfig::defaultPath() { return defaultPath(processEnvironment(), homeDirectory()); }

std::string TarnelConfig::expand(std::string_view path, const std::string& home)
{
    return path.starts_with("~/") ? home + std::string(path.substr(1)) : std::string(path);
}

std::string TarnelConfig::expand(std::string_view path) { return expand(path, homeDirectory()); }

std::optional<std::string> TarnelConfig::validate(std::string_view key, const JSON& value)
{
    const SettingSpec* spec = SettingsSchema::spec(key);
    if (!spec)
        return "unknown setting " + std::string(key);
    const auto requirement = std::visit(Requirement{value}, spec->kind);
    if (!requirement)
        return std::nullopt;
    return std::string(key) + " must be " + *requirement;
}

TarnelConfig::Values TarnelConfig::flatten(const JSON::Object& table, std::string_view prefix)
{
    Values values;
    flattenInto(values, table, prefix);
    return values;
}

const JSON* TarnelConfig::operator[](std::string_view key) const
{
    const auto value = current.find(key);
    return value == current.end() ? nullptr : &value->second;
}

bool TarnelConfig::boolean(std::string_view key) const { return booleanOf((*this)[key]).value_or(false); }

double TarnelConfig::number(std::string_view key) const { return numberOf((*this)[key]).value_or(0); }

std::string TarnelConfig::string(std::string_view key) const { return stringOf((*this)[key]).value_or(""); }

std::vector<std::string> TarnelConfig::list(std::string_view key) const
{
    std::vector<std::string> texts;
    const JSON* value = (*this)[key];
    if (const JSON::Array* elements = value ? value->array() : nullptr) {
        for (const JSON& element : *elements)
            texts.push_back(*element.string()); // valid lists hold nothing else
    }
    return texts;
}

void TarnelConfig::set(std::string_view key, const JSON& value)
{
    if (const auto problem = validate(key, value))
        throw TOMLError(0, *problem);
    current[std::string(key)] = value;
    const auto text = readText(file);
    JSON::Object document = text ? TOML::parse(*text) : JSON::Object();
    const auto pieces = Text::splitNonEmpty(key, '.');
    TOML::set(document, {pieces.begin(), pieces.end()}, value);
    const std::string rewritten = TOML::serialize(document);
    if (!readsAs(rewritten, document))
        throw TOMLError(0, std::string(key) + " cannot be saved: the rewritten file would say something else");
    Files::createDirectories(Files::parent(file), 0700);
    replaceFile(file, rewritten);
}

} // namespace tarnel
