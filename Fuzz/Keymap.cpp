// The multiplexer's configuration file: its key bindings.
#include "Fuzz/Target.h"
#include "TarnelCore/Base/Text.h"
#include "TarnelCore/Muxle/MuxleKeymap.h"

namespace tarnel::fuzz {

namespace {

void checkCombo(const KeyCombo& combo)
{
    require(!combo.key.empty(), "a combination without a key");
    if (combo.key == "+") // which separates; it is written by its name
        return;
    require(KeyCombo::parse(combo.description()) == combo, "a combination as shown reads as another one");
}

} // namespace

void fuzzKeymap(std::string_view input)
{
    if (const auto combo = KeyCombo::parse(input))
        checkCombo(*combo);
    const MuxleKeymap keymap{std::string(input)};
    checkCombo(keymap.prefix);
    require(keymap.isPrefix({keymap.prefix}), "the prefix is not known");
    std::size_t commands = 0;
    for (const MuxleBinding& binding : keymap.bindings) {
        checkCombo(binding.combo);
        const MuxleBinding* match = keymap.match({binding.combo}, binding.prefixed);
        require(match && match <= &binding && match->combo == binding.combo, "a later binding wins");
        const auto split = MuxleKeymap::split(binding.label());
        require(
            binding.combo.key == "+" || (split && split->prefixed == binding.prefixed && split->combo == binding.combo),
            "a binding as shown reads as another one");
        const auto* indexed = std::get_if<MuxleBinding::Indexed>(&binding.target);
        require(!indexed || (indexed->index >= 1 && indexed->index <= 9), "an index out of range");
        if (std::holds_alternative<MuxleCommandKey>(binding.target))
            ++commands;
    }
    require(keymap.commands().size() == commands, "a command is lost");
    require(MuxleKeymap::readKeys(input) == MuxleKeymap::readKeys(Text::replacingAll(input, "\n", "\n\n")),
        "empty lines change the keys");
}

} // namespace tarnel::fuzz
