// docs/man/SettingsPage.cpp: writes the manual page of the configuration file from its template.
//
// usage: settings-page TEMPLATE PAGE
// Takes the place of the template's line "@SETTINGS@": each category, and in it each setting, in mdoc's markup.
#include "TarnelCore/Base/Text.h"
#include "TarnelCore/Config/SettingsSchema.h"
#include "TarnelCore/Config/TOML.h"
#include <cstdio>
#include <fstream>
#include <iostream>
#include <string>

namespace {

using namespace tarnel;

/// Text that roff prints as it stands, wherever in a line it is put.
std::string escaped(std::string_view text)
{
    std::string result = "\\&"; // a dot or an apostrophe behind it is no request
    while (!text.empty()) {
        const Text::Scalar scalar = Text::firstScalar(text);
        if (scalar.value >= 0x80) {
            char name[16];
            std::snprintf(name, sizeof name, "\\[u%04X]", static_cast<unsigned>(scalar.value));
            result += name;
        } else if (scalar.value == '\\') {
            result += "\\e";
        } else if (scalar.value == '-') {
            result += "\\-";
        } else {
            result += text.front();
        }
        text.remove_prefix(scalar.length);
    }
    return result;
}

/// Prose, each sentence on a line of its own.
std::string sentences(std::string_view text)
{
    std::string result;
    for (std::size_t end = text.find(". "); end != std::string_view::npos; end = text.find(". ")) {
        result += escaped(text.substr(0, end + 1)) + "\n";
        text.remove_prefix(end + 2);
    }
    return result + escaped(text) + "\n";
}

std::string value(const JSON& json) { return escaped(TOML::render(json)); }

struct Describe {
    std::string operator()(const SettingSpec::Number& number) const
    {
        return "A number from " + value(number.min) + " to " + value(number.max);
    }
    std::string operator()(const SettingSpec::Choice& choice) const
    {
        std::string text = "One of";
        for (const std::string_view each : choice.choices)
            text += (each == choice.choices.front() ? "\n" : ",\n") + value(each);
        return text;
    }
    std::string operator()(const SettingSpec::Toggle&) const { return "A boolean"; }
    std::string operator()(const SettingSpec::Text&) const { return "A string"; }
    std::string operator()(const SettingSpec::Color&) const { return "A colour"; }
    std::string operator()(const SettingSpec::List&) const { return "An array of strings"; }
};

void writeSettings(std::ostream& page)
{
    for (const std::string_view category : SettingsSchema::categories) {
        page << ".Ss " << category << "\n.Bl -tag -width Ds\n";
        for (const SettingSpec& setting : SettingsSchema::all()) {
            if (setting.category == category)
                page << ".It Cm " << setting.key << '\n'
                     << escaped(setting.title) << ".\n"
                     << sentences(setting.help) << std::visit(Describe{}, setting.kind) << "; the default is\n"
                     << value(setting.defaultValue) << ".\n";
        }
        page << ".El\n";
    }
}

} // namespace

int main(int count, char** words)
{
    if (count != 3)
        return std::fputs("usage: settings-page TEMPLATE PAGE\n", stderr), 2;
    std::ifstream source(words[1]);
    std::ofstream page(words[2]);
    bool isComplete = false;
    for (std::string line; std::getline(source, line);) {
        if (line == "@SETTINGS@") {
            writeSettings(page);
            isComplete = true;
        } else {
            page << line << '\n';
        }
    }
    page.close();
    if (isComplete && page)
        return 0;
    std::remove(words[2]);
    std::cerr << "settings-page: cannot write " << words[2] << " from " << words[1] << '\n';
    return 1;
}
