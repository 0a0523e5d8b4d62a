#include "TarnelCore/Commands/Outbox.h"
#include <algorithm>
#include <utility>

namespace tarnel {

namespace {

bool isVisible(const Outbox::Prediction& predict, const MachineSnapshot& snapshot)
{
    MachineSnapshot predicted = snapshot;
    predict(predicted);
    return predicted == snapshot;
}

} // namespace

std::vector<Outbox::Entry>::iterator Outbox::find(std::string_view id)
{
    return std::find_if(list.begin(), list.end(), [&](const Entry& entry) { return entry.command.id == id; });
}

void Outbox::add(Command command, std::string machine, Prediction predict)
{
    list.push_back({std::move(machine), std::move(command), std::move(predict)});
}

std::optional<Outbox::Entry> Outbox::record(const CommandReply& reply)
{
    const auto found = find(reply.id);
    if (found == list.end())
        return std::nullopt;
    if (!reply.isFinal()) {
        found->status = reply.status;
        return *found;
    }
    Entry entry = std::move(*found);
    list.erase(found);
    return entry;
}

MachineSnapshot Outbox::apply(MachineSnapshot snapshot, std::string_view machine) const
{
    for (const Entry& entry : list) {
        if (entry.machine == machine && entry.predict)
            entry.predict(snapshot);
    }
    return snapshot;
}

std::vector<Command> Outbox::unfinished(std::string_view machine) const
{
    std::vector<Command> commands;
    for (const Entry& entry : list) {
        if (entry.machine == machine)
            commands.push_back(entry.command);
    }
    return commands;
}

bool Outbox::contains(std::string_view id) const
{
    return std::any_of(list.begin(), list.end(), [&](const Entry& entry) { return entry.command.id == id; });
}

void Outbox::answered(std::string_view id, Timestamp time)
{
    if (const auto found = find(id); found != list.end())
        found->answeredAt = time;
}

void Outbox::settleAnswered(std::string_view machine, const MachineSnapshot& update, Timestamp time, Seconds within)
{
    std::erase_if(list, [&](const Entry& entry) {
        return entry.machine == machine && entry.answeredAt
            && (!entry.predict || time - *entry.answeredAt >= within || isVisible(entry.predict, update));
    });
}

void Outbox::expireAnswered(std::string_view machine, Timestamp now, Seconds after)
{
    std::erase_if(list, [&](const Entry& entry) {
        return entry.machine == machine && entry.answeredAt && now - *entry.answeredAt >= after;
    });
}

} // namespace tarnel
