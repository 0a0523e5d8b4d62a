#include "tarnel/PaneItem.h"

namespace tarnel {

PaneItem PaneItem::ask(const PanePlace& place, DaemonClient::Seconds timeout)
{
    PaneItem made{.json = place.call("card", {}, timeout)};
    try {
        if (made.json["fingerprint"])
            made.item = decode<AttentionItem>(made.json);
        const JSON* card = made.json["card"];
        made.card = made.item ? made.item->card : decode<Card>(card ? *card : JSON());
    } catch (const DecodingError&) {
        throw inWords(place.daemon, std::current_exception());
    }
    return made;
}

std::optional<AttentionItem> itemAfterRefresh(const PanePlace& place, DaemonClient::Seconds timeout)
{
    try {
        for (AttentionItem& item : decode<std::vector<AttentionItem>>(place.daemon.call("queue", {}, timeout))) {
            if (item.fingerprint.paneID == place.pane)
                return std::move(item);
        }
    } catch (const CommandError&) { // there is nothing to show then
    } catch (const DecodingError&) {
    }
    return std::nullopt;
}

} // namespace tarnel
