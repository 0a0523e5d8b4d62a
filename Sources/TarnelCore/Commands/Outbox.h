// TarnelCore/Commands/Outbox.h: a client's record of the commands that it has sent and that are not settled yet.
#pragma once
#include "TarnelCore/Attention/Attention.h"
#include "TarnelCore/Base/Timestamp.h"
#include "TarnelCore/Commands/Command.h"
#include <chrono>
#include <functional>
#include <optional>
#include <string_view>
#include <vector>

namespace tarnel {

/// The commands of one client to all its machines: what to send again after a lost connection, and the effects to show
/// before a snapshot has them. Times are the client's own.
/// Thread-safety: that of a standard container.
class Outbox {
public:
    /// A change that the command is expected to make to its machine's snapshot.
    using Prediction = std::function<void(MachineSnapshot&)>;
    using Seconds = std::chrono::duration<double>;

    struct Entry {
        std::string machine;
        Command command;
        Prediction predict; ///< May be empty.
        std::optional<CommandReply::Status> status = {}; ///< `held` once the daemon holds it, else absent.
        std::optional<Timestamp> answeredAt = {};
    };

    void add(Command command, std::string machine, Prediction predict = {});

    /// Notes the reply to the first entry with its id. The entry as it is now or, when the reply is final, as it was:
    /// it is removed then. Nothing for an unknown id.
    std::optional<Entry> record(const CommandReply& reply);

    /// `snapshot` with the predictions of all the machine's entries applied, in the order in which they were added.
    [[nodiscard]] MachineSnapshot apply(MachineSnapshot snapshot, std::string_view machine) const;

    /// The machine's commands in the order in which they were added, held ones too.
    [[nodiscard]] std::vector<Command> unfinished(std::string_view machine) const;

    [[nodiscard]] bool contains(std::string_view id) const;

    /// Notes when the first entry with this id was answered.
    void answered(std::string_view id, Timestamp time);

    /// Removes the machine's answered entries that `update` settles: those without a prediction, those whose prediction
    /// changes nothing in it any more, and those that were answered at least `within` before `time`.
    void settleAnswered(std::string_view machine, const MachineSnapshot& update, Timestamp time, Seconds within);

    /// Removes the machine's entries that were answered at least `after` before `now`.
    void expireAnswered(std::string_view machine, Timestamp now, Seconds after);

    /// In the order in which they were added.
    [[nodiscard]] const std::vector<Entry>& entries() const { return list; }

private:
    [[nodiscard]] std::vector<Entry>::iterator find(std::string_view id);

    std::vector<Entry> list;
};

} // namespace tarnel
