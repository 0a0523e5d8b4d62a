// The configuration file: read, one setting changed, read again.
#include "Fuzz/Target.h"
#include "Support/TemporaryFolder.h"
#include "TarnelCore/Base/Files.h"
#include "TarnelCore/Config/SettingsSchema.h"
#include "TarnelCore/Config/TarnelConfig.h"

namespace tarnel::fuzz {

void fuzzConfig(std::string_view input)
{
    static const TemporaryFolder folder;
    const std::string path = folder.write("config.toml", input);
    const TarnelConfig before(path);
    for (const auto& [key, value] : before.values())
        require(!TarnelConfig::validate(key, value), "a setting has a value that is not valid");
    constexpr std::string_view changed = "attention.order";
    TarnelConfig config(path);
    try {
        config.set(changed, input.size() % 2 == 0 ? "oldest" : "recent");
    } catch (const TOMLError&) {
        require(Files::read(path) == std::string(input), "a change that failed left another file");
        return;
    }
    const TarnelConfig after(path);
    require(after.values() == config.values(), "the file says something else than was set");
    for (const auto& [key, value] : before.values())
        require(key == changed || *after[key] == value, "another setting changed");
}

} // namespace tarnel::fuzz
