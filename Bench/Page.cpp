#include "Bench/Page.h"
#include "Bench/Plot.h"
#include "TarnelCore/Base/Text.h"
#include <cstdio>
#include <optional>

namespace tarnel::bench {

namespace {

std::string figure(double value)
{
    char text[32];
    std::snprintf(text, sizeof text, value >= 1'000 ? "%.0f" : "%.3g", value);
    return text;
}

std::string figure(const std::optional<double>& value) { return value ? figure(*value) : "-"; }

/// Small ratios as fractions, which is how the goals are put.
std::string ratio(double value) { return value > 0 && value < 0.25 ? "1/" + figure(1 / value) : figure(value); }

std::string row(const std::vector<std::string>& cells) { return "| " + Text::joined(cells, " | ") + " |\n"; }

std::string verdict(const RowResult& result)
{
    if (result.stretchVerdict == BudgetVerdict::within)
        return "stretch";
    return result.goalVerdict == BudgetVerdict::within ? "goal" : "**missed**";
}

std::string rowTable(const std::vector<RowResult>& rows)
{
    std::string table = row({"#", "what", "goal", "stretch", "measured", "medians", "reaches"})
        + row(std::vector<std::string>(7, "---"));
    for (const RowResult& each : rows) {
        const std::string medians = each.reference == 1
            ? figure(each.subject) + " " + each.unit
            : figure(each.subject) + " / " + figure(each.reference) + " " + each.unit;
        table += row({std::to_string(each.number), each.what, ratio(each.goal), ratio(each.stretch), ratio(each.ratio),
            medians, verdict(each)});
    }
    return table;
}

std::string paneTable(const std::vector<PaneGrowth>& rows)
{
    std::string table = row({"panes", "snapshot, ms", "push to 50, ms", "redis: publish to 50, ms", "resident, MiB"})
        + row(std::vector<std::string>(5, "---:"));
    for (const PaneGrowth& each : rows)
        table += row({std::to_string(each.panes), figure(each.snapshotMs), figure(each.pushMs),
            figure(each.redisPushMs), figure(each.residentMiB)});
    return table;
}

std::string clientTable(const std::vector<ClientGrowth>& rows)
{
    std::string table =
        row({"clients", "requests a second", "redis: PING a second"}) + row(std::vector<std::string>(3, "---:"));
    for (const ClientGrowth& each : rows)
        table += row({std::to_string(each.clients), figure(each.requestsPerSecond), figure(each.redisPerSecond)});
    return table;
}

std::string recordTable(const RecordReaders& readers)
{
    return row({"reader", "processor time, ms"}) + row({"---", "---:"})
        + row({"a transcript, made by TarnelCore", figure(readers.tarnelMs)})
        + row({"the messages, picked out by jq", figure(readers.jqMs)})
        + row({"the lines, decoded by a Python loop", figure(readers.pythonMs)});
}

/// One figure of each element that has it, against the element's size.
template <class Element, class Size, class Value>
Series series(const std::string& name, const std::vector<Element>& elements, Size Element::*size, Value Element::*value)
{
    Series drawn{name, {}};
    for (const Element& each : elements) {
        if (const std::optional<double> y = each.*value; y && *y > 0)
            drawn.points.emplace_back(static_cast<double>(each.*size), *y);
    }
    return drawn;
}

} // namespace

std::string page(std::string_view pattern, const std::vector<RowResult>& rows, const Growth& growth)
{
    std::string text(pattern);
    text = Text::replacingAll(text, "{{rows}}\n", rowTable(rows));
    text = Text::replacingAll(text, "{{panes}}\n", paneTable(growth.panes));
    text = Text::replacingAll(text, "{{clients}}\n", clientTable(growth.clients));
    return Text::replacingAll(text, "{{records}}\n", recordTable(growth.records));
}

std::string plot(const Growth& growth)
{
    using P = PaneGrowth;
    using C = ClientGrowth;
    return plot({Chart{"Milliseconds", "panes",
                     {series("snapshot", growth.panes, &P::panes, &P::snapshotMs),
                         series("push to 50", growth.panes, &P::panes, &P::pushMs),
                         series("redis: publish to 50", growth.panes, &P::panes, &P::redisPushMs)}},
        Chart{"Resident memory, MiB", "panes", {series("tarneld", growth.panes, &P::panes, &P::residentMiB)}},
        Chart{"Requests a second", "clients",
            {series("tarneld", growth.clients, &C::clients, &C::requestsPerSecond),
                series("redis", growth.clients, &C::clients, &C::redisPerSecond)}}});
}

} // namespace tarnel::bench
