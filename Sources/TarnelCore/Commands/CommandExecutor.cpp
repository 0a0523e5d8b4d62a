#include "TarnelCore/Commands/CommandExecutor.h"
#include "TarnelCore/Commands/AgentDelivery.h"
#include <algorithm>
#include <exception>
#include <utility>

namespace tarnel {

namespace {

/// How long a prompt that was just released may take to show as work.
constexpr std::chrono::seconds releaseWindow{10};

/// With so many lanes, those without work are given up before another is made. It bounds `lanes` by this and by the
/// commands in flight, whatever panes clients name; the threads of the queues are fewer still, since they end when
/// idle.
constexpr std::size_t laneLimit = 256;

std::string labelOf(const CommandLane& lane)
{
    return lane.pane ? "tarneld.commands.pane." + *lane.pane : "tarneld.commands.layout";
}

} // namespace

CommandExecutor::CommandExecutor(Operations supplied, SerialQueueFactory factory, Clock& time)
    : operations(std::move(supplied))
    , makeQueue(std::move(factory))
    , clock(time)
    , confirmQueue(makeQueue("tarneld.commands.confirm"))
{
}

CommandExecutor::~CommandExecutor()
{
    Queues queues;
    {
        MutexLock lock(mutex);
        isStopping = true;
        for (auto& [key, lane] : lanes)
            queues.push_back(std::move(lane.queue));
    }
    // One after the other, each waiting for its running task. The layout's lane, which sorts first, may still be
    // draining others; all of them may still have replies to confirm.
    for (auto& queue : queues)
        queue.reset();
    confirmQueue.reset();
}

void CommandExecutor::submit(Command command, ReplyCallback reply)
{
    if (const auto* action = std::get_if<SendNowAction>(&command.action)) {
        sendNow(action->message);
        reply({.id = command.id, .status = CommandReply::Status::done});
        return;
    }
    std::shared_ptr<const CommandReply> known; // of the same command, given again
    Queues retired;
    Job job;
    {
        MutexLock lock(mutex);
        if (isStopping)
            return;
        if (const auto past = finished.find(command.id); past != finished.end()) {
            known = past->second;
        } else if (const auto present = waiting.find(command.id); present != waiting.end()) {
            present->second.push_back(reply);
            if (isHeld(command.id))
                known = std::make_shared<const CommandReply>(
                    CommandReply{.id = command.id, .status = CommandReply::Status::held});
        } else {
            waiting[command.id].push_back(reply);
            auto occupied = lanesOf(command.action);
            job = makeJob(
                std::make_shared<const Command>(std::move(command)), operations.run, std::move(occupied), retired);
        }
    }
    if (known)
        reply(*known);
    else if (job.command)
        start(std::move(job));
}

void CommandExecutor::agentsChanged(const std::map<std::string, AgentStatus>& statuses, Clock::Instant asked)
{
    Queues retired;
    std::vector<Job> jobs;
    {
        MutexLock lock(mutex);
        if (isStopping)
            return;
        const Clock::Instant now = clock.elapsed();
        std::erase_if(released, [&](const auto& release) { return now - release.second > releaseWindow; });
        for (auto& [pane, commands] : held) {
            const auto known = statuses.find(pane);
            const AgentStatus status = known == statuses.end() ? AgentStatus::unknown : known->second;
            const bool mayLag = isFree(status) || status == AgentStatus::unknown;
            if (mayLag && released.contains(pane))
                continue;
            released.erase(pane);
            if (!isFree(status) || commands.front().since >= asked)
                continue;
            released[pane] = now;
            SharedCommand command = std::move(commands.front().command);
            commands.pop_front();
            auto first = lanesOf(command->action).front();
            jobs.push_back(makeJob(std::move(command), operations.deliver, {std::move(first)}, retired));
        }
        std::erase_if(held, [](const auto& entry) { return entry.second.empty(); });
    }
    for (Job& job : jobs)
        start(std::move(job));
}

void CommandExecutor::sendNow(std::string_view id)
{
    Queues retired;
    Job job;
    {
        MutexLock lock(mutex);
        if (isStopping)
            return;
        for (auto pane = held.begin(); pane != held.end(); ++pane) {
            auto& commands = pane->second;
            const auto found = std::ranges::find(commands, id, [](const Held& each) { return each.command->id; });
            if (found == commands.end())
                continue;
            auto first = lanesOf(found->command->action).front();
            job = makeJob(std::move(found->command), operations.deliver, {std::move(first)}, retired);
            commands.erase(found);
            if (commands.empty())
                held.erase(pane);
            break;
        }
    }
    if (job.command)
        start(std::move(job));
}

std::vector<std::string> CommandExecutor::heldMessages(const std::string& pane) const
{
    std::vector<std::string> ids;
    MutexLock lock(mutex);
    if (const auto found = held.find(pane); found != held.end()) {
        for (const Held& each : found->second)
            ids.push_back(each.command->id);
    }
    return ids;
}

CommandExecutor::Job CommandExecutor::makeJob(
    SharedCommand command, const Operation& operation, std::vector<CommandLane> occupied, Queues& retired)
{
    Job job{.command = std::move(command), .operation = &operation, .lanes = std::move(occupied)};
    for (const CommandLane& wanted : job.lanes) {
        Lane& lane = laneFor(wanted, retired);
        ++lane.users;
        job.queues.push_back(lane.queue.get());
    }
    return job;
}

CommandExecutor::Lane& CommandExecutor::laneFor(const CommandLane& wanted, Queues& retired)
{
    if (const auto found = lanes.find(wanted); found != lanes.end())
        return found->second;
    if (lanes.size() >= laneLimit) {
        for (auto entry = lanes.begin(); entry != lanes.end();) {
            if (entry->second.users > 0) {
                ++entry;
                continue;
            }
            retired.push_back(std::move(entry->second.queue));
            entry = lanes.erase(entry);
        }
    }
    return lanes.emplace(wanted, Lane{makeQueue(labelOf(wanted))}).first->second;
}

void CommandExecutor::start(Job job)
{
    SerialQueue& first = *job.queues.front();
    first.dispatch([this, job = std::move(job)] { perform(job); });
}

void CommandExecutor::perform(const Job& job)
{
    // Only the first lane is occupied; of the others, what came before must be done.
    for (std::size_t i = 1; i < job.queues.size() && !hasStopped(); ++i)
        job.queues[i]->drain();
    if (!hasStopped())
        carryOut(job.command, *job.operation);
    MutexLock lock(mutex); // last of all: without users, the queue that runs this may be retired
    for (const CommandLane& lane : job.lanes)
        --lanes.at(lane).users;
}

void CommandExecutor::carryOut(const SharedCommand& command, const Operation& operation)
{
    CommandReply reply{.id = command->id};
    Outcome outcome;
    try {
        outcome = operation(*command);
    } catch (const std::exception& error) {
        reply.status = CommandReply::Status::failed;
        reply.error = error.what();
        finish(std::move(reply));
        return;
    }
    if (std::holds_alternative<Hold>(outcome)) {
        hold(command);
        return;
    }
    if (auto* queued = std::get_if<Queued>(&outcome)) {
        reply.status = CommandReply::Status::queued;
        reply.result = std::move(queued->result);
    } else {
        reply.status = CommandReply::Status::done;
        reply.result = std::move(std::get<Done>(outcome).result);
    }
    if (changesSnapshot(command->action))
        confirmAfterUpdate(std::move(reply));
    else
        finish(std::move(reply));
}

void CommandExecutor::hold(const SharedCommand& command)
{
    std::vector<ReplyCallback> callbacks;
    {
        MutexLock lock(mutex);
        held[paneOf(command->action).value_or("")].push_back({command, clock.elapsed()});
        callbacks = waiting[command->id];
    }
    for (const ReplyCallback& callback : callbacks)
        callback({.id = command->id, .status = CommandReply::Status::held});
}

void CommandExecutor::confirmAfterUpdate(CommandReply reply)
{
    {
        MutexLock lock(mutex);
        unconfirmed.push_back(std::move(reply));
        if (std::exchange(isConfirming, true))
            return; // the pass that is under way takes it too
    }
    confirmQueue->dispatch([this] { confirm(); });
}

void CommandExecutor::confirm()
{
    for (;;) {
        std::vector<CommandReply> batch;
        {
            MutexLock lock(mutex);
            if (unconfirmed.empty()) {
                isConfirming = false;
                return;
            }
            batch.swap(unconfirmed);
        }
        operations.publish();
        for (CommandReply& reply : batch)
            finish(std::move(reply));
    }
}

void CommandExecutor::finish(CommandReply reply)
{
    const auto final = std::make_shared<const CommandReply>(std::move(reply));
    std::vector<ReplyCallback> callbacks;
    std::shared_ptr<const CommandReply> forgotten; // destroyed without the lock
    {
        MutexLock lock(mutex);
        if (auto known = waiting.extract(final->id))
            callbacks = std::move(known.mapped());
        if (finishedOrder.size() >= remembered) {
            forgotten = std::move(finished.extract(finishedOrder.front()).mapped());
            finishedOrder.pop_front();
        }
        finished[final->id] = final;
        finishedOrder.push_back(final->id);
    }
    for (const ReplyCallback& callback : callbacks)
        callback(*final);
}

bool CommandExecutor::hasStopped() const
{
    MutexLock lock(mutex);
    return isStopping;
}

bool CommandExecutor::isHeld(std::string_view id) const
{
    return std::ranges::any_of(held, [&](const auto& pane) {
        return std::ranges::any_of(pane.second, [&](const Held& each) { return each.command->id == id; });
    });
}

} // namespace tarnel
