#include "tarnel/TopState.h"
#include "TarnelCore/Base/TerminalText.h"
#include "TarnelCore/Base/Text.h"
#include "tarnel/CardText.h"
#include <algorithm>

namespace tarnel {

namespace {

bool passes(const AttentionItem& item, const std::string& filter)
{
    if (filter.empty())
        return true;
    const Card& card = item.card;
    const std::string words = Text::joined(
        std::vector<std::string>{std::string(title(item.kind)), nameOf(card), TerminalText::plainLine(card.space),
            card.paneID, card.machine, card.cwd, TerminalText::plainLine(item.questionText().value_or("")),
            TerminalText::plainLine(card.asked.value_or(""))},
        "\n");
    return Text::findIgnoringCase(words, filter).has_value();
}

} // namespace

std::string nameOf(const Card& card)
{
    std::string name = TerminalText::plainLine(card.title);
    return name.empty() ? card.paneID : name;
}

std::vector<const AttentionItem*> TopState::visible() const
{
    std::vector<const AttentionItem*> items;
    if (!queue)
        return items;
    for (const AttentionItem& item : *queue) {
        if (passes(item, filter))
            items.push_back(&item);
    }
    return items;
}

const AttentionItem* TopState::selected() const
{
    if (!queue || !selectedPlace)
        return nullptr;
    const auto found = std::find_if(
        queue->begin(), queue->end(), [&](const AttentionItem& item) { return TopPlace::of(item) == *selectedPlace; });
    return found == queue->end() ? nullptr : &*found;
}

const TopMachine* TopState::machineNamed(const std::string& name) const
{
    for (const TopMachine& machine : machines) {
        if (machine.snapshot && machine.snapshot->machine == name)
            return &machine;
    }
    return nullptr;
}

std::vector<std::string> TopState::choicesOf(const AttentionItem& item) const
{
    return CardText::choices(item, settings.quickReplies);
}

const TopSent* TopState::answerUnderWay(const AttentionItem& item) const
{
    for (const auto& [id, each] : sent) {
        if (each.kind == TopSent::Kind::answer && each.target.fingerprint == item.fingerprint)
            return &each;
    }
    return nullptr;
}

} // namespace tarnel
