#include "Simulation/Ledger.h"
#include <algorithm>
#include <cstdio>

namespace tarnel::sim {

namespace {

bool isNumber(const std::string& text) { return !text.empty() && text.find_first_not_of("0123456789") == text.npos; }

std::size_t count(const std::vector<std::string>& inputs, std::string_view start)
{
    return static_cast<std::size_t>(
        std::ranges::count_if(inputs, [&](const std::string& each) { return each.starts_with(start); }));
}

bool wentIn(const std::optional<AnswerOutcome>& outcome)
{
    return outcome
        && (std::holds_alternative<AnswerApplied>(*outcome) || std::holds_alternative<AnswerUnverified>(*outcome));
}

std::string methodOf(const AnswerOutcome& outcome)
{
    if (const auto* applied = std::get_if<AnswerApplied>(&outcome))
        return applied->method;
    const auto* unverified = std::get_if<AnswerUnverified>(&outcome);
    return unverified ? unverified->method : "";
}

void marksIn(const std::string& text, const std::function<void(const std::string&)>& take)
{
    std::set<std::string> seen;
    for (std::size_t at = 0; (at = text.find('P', at)) != text.npos; ++at) {
        const std::string mark = markOf(text.substr(at));
        if (mark.size() > 2 && isNumber(mark.substr(1, mark.size() - 2)) && seen.insert(mark).second)
            take(mark);
    }
}

} // namespace

std::string markOf(const std::string& text) { return text.substr(0, text.find('.') + 1); }

Ledger::Ledger(Scheduler& source, bool traced)
    : scheduler(source)
    , isTraced(traced)
{
}

void Ledger::print(const std::string& text)
{
    const auto milliseconds =
        std::chrono::duration_cast<std::chrono::milliseconds>(scheduler.elapsed().time_since_epoch());
    std::printf("%8.3f  %-30s %s\n", static_cast<double>(milliseconds.count()) / 1000, scheduler.runningName().c_str(),
        text.c_str());
}

void Ledger::violation(const std::string& what)
{
    trace("VIOLATION: ", what);
    if (!failure)
        failure = what;
    scheduler.stop();
}

Period& Ledger::open(Period period)
{
    period.number = allPeriods.size();
    allPeriods.push_back(std::move(period));
    tick();
    return allPeriods.back();
}

const Period* Ledger::intention(const std::string& id) const
{
    const auto found = intentions.find(id);
    return found == intentions.end() ? nullptr : found->second;
}

const Period* Ledger::meant(const AttentionItem& item, const std::string& encodedItem) const
{
    for (auto each = allPeriods.rbegin(); each != allPeriods.rend(); ++each) {
        const bool isThere =
            each->pane == item.fingerprint.paneID && each->stateChangeSeq == item.fingerprint.stateChangeSeq;
        if (isThere && encodedItem.find(each->text) != encodedItem.npos)
            return &*each;
    }
    return nullptr; // status and content of different moments, which no later look will find again
}

void Ledger::isFree(const std::string& pane, bool isSo)
{
    Moment& last = lastFree[pane];
    if (isSo)
        last = never;
    else if (last == never)
        last = tick();
}

void Ledger::received(const std::string& pane, const std::string& text)
{
    marksIn(text, [&](const std::string& mark) {
        const std::size_t times = ++receipts[mark];
        // Once in each life of the daemon: an id that is sent again after a restart is a new command there, and so is
        // one after 2,000 others.
        const auto tries = static_cast<std::size_t>(std::ranges::count_if(attempts, [&](const Attempt& each) {
            const auto* prompt = each.command ? std::get_if<PromptAction>(&each.command->action) : nullptr;
            const bool isHold = each.outcome && std::holds_alternative<CommandExecutor::Hold>(*each.outcome);
            return prompt && !isHold && markOf(prompt->text) == mark;
        }));
        if (times > tries)
            violation("prompt " + mark + " received " + std::to_string(times) + " times in " + pane);
        ++counts["prompts received"];
    });
}

// --- Answers

void Ledger::input(Attempt& attempt, const std::string& pane, const std::string& what)
{
    attempt.inputs.push_back(what);
    tick();
    const bool isLate = attempt.ended != never || attempt.life != lifeNumber;
    if (!attempt.answer)
        return;
    if (isLate) {
        ++counts["inputs that came late"];
        return;
    }
    if (pane != attempt.answer->fingerprint.paneID)
        violation("answer " + attempt.id + " typed into " + pane);
    if (attempt.inputs.size() == 1)
        checkFirstInput(attempt);
    checkInputs(attempt);
}

void Ledger::checkFirstInput(const Attempt& attempt)
{
    const Period* const meant = intention(attempt);
    for (const Attempt& other : attempts) {
        if (&other == &attempt || other.life != attempt.life || !other.answer
            || other.answer->fingerprint.paneID != attempt.answer->fingerprint.paneID || other.inputs.empty())
            continue;
        if (other.ended == never) {
            violation("answers " + other.id + " and " + attempt.id + " typed into a pane at once");
            continue;
        }
        const auto& key = attempt.answer->idempotencyKey;
        if (key && key == other.answer->idempotencyKey && wentIn(other.answered))
            violation("answer " + attempt.id + " typed again under the key " + *key);
        // After an unverified or failed answer the item may still be there, and may be answered again. So may it after
        // one that counted as applied because the multiplexer did not tell.
        const bool isSure =
            other.answered && std::holds_alternative<AnswerApplied>(*other.answered) && !other.isLastListFailed;
        if (meant && intention(other) == meant && isSure)
            violation("answers " + other.id + " and " + attempt.id + " typed into one question");
    }
}

/// At most what one answer takes: bring the question back, choose, confirm, type and end; or one prompt.
void Ledger::checkInputs(const Attempt& attempt)
{
    const auto& inputs = attempt.inputs;
    const auto digits = static_cast<std::size_t>(std::ranges::count_if(
        inputs, [](const std::string& each) { return each.starts_with("keys ") && isNumber(each.substr(5)); }));
    const std::size_t texts = count(inputs, "text ");
    const std::size_t prompts = count(inputs, "prompt ");
    const std::size_t enters = count(inputs, "keys enter");
    const std::size_t opens = count(inputs, "keys alt+up");
    if (digits > 1 || texts > 1 || prompts > 1 || opens > 1 || enters > digits + texts
        || (prompts > 0 && digits + texts > 0) || inputs.size() != digits + texts + prompts + enters + opens)
        violation("answer " + attempt.id + " typed twice");
}

void Ledger::landed(Period& period, const Attempt& attempt, const std::string& label)
{
    if (!attempt.answer) {
        period.isTouched = true;
        return;
    }
    ++counts["answers landed"];
    const Period* const meant = intention(attempt);
    if (!meant || !attempt.agentsListed)
        return;
    trace("answer ", attempt.id, " for question ", meant->number, " landed in question ", period.number, ": ", label);
    // A question that comes again in one state of the agent is the same item: nothing tells the two apart.
    const bool isSame =
        meant == &period || (meant->text == period.text && meant->stateChangeSeq == period.stateChangeSeq);
    if (!isSame) {
        // The question may change between the last look and the key: nobody can prevent that, so the question only has
        // to be there when the answer began to look. The status is looked at first, what is asked after the workspaces;
        // the ends of two turns may have nothing by which they differ.
        const bool isAlike = meant->text == period.text || attempt.answer->fingerprint.kind == AttentionKind::finished;
        const Moment looked = isAlike ? *attempt.agentsListed : attempt.spacesListed.value_or(*attempt.agentsListed);
        Moment shownUntil = 0; // the last time that the same item was there
        for (const Period& each : allPeriods) {
            if (each.pane == meant->pane && each.text == meant->text && each.stateChangeSeq == meant->stateChangeSeq)
                shownUntil = std::max(shownUntil, each.shownUntil);
        }
        if (shownUntil < looked)
            violation("answer " + attempt.id + " for question " + std::to_string(meant->number) + " landed in question "
                + std::to_string(period.number));
        ++counts["answers overtaken by another question"];
        return;
    }
    // A key of an answer that was given up, and that comes when the next one has moved the mark, takes what that one
    // marked.
    const bool isLate = attempt.ended != never || attempt.life != lifeNumber;
    const auto& choice = attempt.answer->choice;
    if (!choice || isLate || period.isTouched || period.labels.empty())
        return;
    const bool isKnown = std::ranges::find(period.labels, *choice) != period.labels.end();
    const bool isRight = isKnown ? label == *choice
        : *choice == "Deny"      ? label.starts_with("No")
        : *choice == "Allow"     ? label.starts_with("Yes")
                                 : true;
    const bool isOwnWords = attempt.answer->text && label.ends_with(*attempt.answer->text); // behind what stood there
    if (!isRight && !isOwnWords)
        violation("answer " + attempt.id + ": " + *choice + " chose " + label);
}

void Ledger::checkAnswer(const Attempt& attempt)
{
    if (!attempt.answered)
        return; // the daemon ended first
    const AnswerOutcome& outcome = *attempt.answered;
    const auto& inputs = attempt.inputs;
    const std::size_t opens = count(inputs, "keys alt+up");
    const auto says = [&](const char* what) { violation("answer " + attempt.id + " " + what); };
    if (wentIn(outcome)) {
        const std::string method = methodOf(outcome);
        const std::string sent = method == "text" ? "text "
            : method == "prompt"                  ? "prompt "
                                                  : "keys " + method.substr(5);
        if (count(inputs, sent) == 0)
            says("counts as sent, but was not");
        ++counts[std::holds_alternative<AnswerApplied>(outcome) ? "answers applied" : "answers unverified"];
    } else if (std::holds_alternative<AnswerFailed>(outcome)) {
        if (!attempt.isFaulty && inputs.size() > opens)
            says("failed, but was sent");
        ++counts["answers failed"];
    } else if (!inputs.empty()) {
        says("was refused, but sent");
    } else {
        ++counts[std::holds_alternative<AnswerStale>(outcome)      ? "answers stale"
                : std::holds_alternative<AnswerDuplicate>(outcome) ? "answers repeated"
                                                                   : "answers to nobody"];
    }
}

// --- Commands

void Ledger::daemonStarted()
{
    ++lifeNumber;
    publishedVersion = 0;
    ++counts["daemons"];
}

void Ledger::submitting(const Command& command)
{
    submissions.try_emplace({lifeNumber, command.id}, Submission{.command = command, .before = tick()});
    if (const auto* action = std::get_if<SendNowAction>(&command.action))
        sentNow.insert({lifeNumber, action->message});
}

void Ledger::submitted(const std::string& id)
{
    Submission& submission = submissions.at({lifeNumber, id});
    submission.after = std::min(submission.after, tick());
}

Attempt& Ledger::begin(Attempt attempt)
{
    attempt.life = lifeNumber;
    attempt.began = tick();
    attempts.push_back(std::move(attempt));
    Attempt& begun = attempts.back();
    if (begun.kind == Attempt::Kind::answer)
        return begun;
    trace(begun.kind == Attempt::Kind::run ? "runs " : "delivers ", begun.id, ": ", traceLabel(begun.command->action));
    Submission& submission = submissions.at({lifeNumber, begun.id});
    checkOrder(submission);
    if (begun.kind == Attempt::Kind::run) {
        // Once in each life. (After 2,000 others it may run again; no simulation takes that long.)
        if (submission.run)
            violation("command " + begun.id + " runs twice");
        submission.run = &begun;
    } else {
        if (submission.delivery)
            violation("command " + begun.id + " is delivered twice");
        checkDelivery(submission);
        submission.delivery = &begun;
    }
    return begun;
}

/// Within the first of its lanes a command runs alone, after all that were submitted before it; in its other lanes,
/// those before it are over.
void Ledger::checkOrder(const Submission& submission)
{
    const auto lanes = lanesOf(submission.command.action);
    for (const auto& [key, other] : submissions) {
        if (key.first != lifeNumber || &other == &submission
            || std::holds_alternative<SendNowAction>(other.command.action))
            continue;
        const CommandLane lane = lanesOf(other.command.action).front();
        for (const Attempt* each : {other.run, other.delivery}) {
            if (each && each->ended == never && lane == lanes.front())
                violation("commands " + key.second + " and " + submission.command.id + " run at once in their lane");
        }
        const bool isBefore = other.after < submission.before && !submission.run;
        if (isBefore && std::ranges::find(lanes, lane) != lanes.end() && (!other.run || other.run->ended == never))
            violation("command " + submission.command.id + " runs before " + key.second + ", which came first");
    }
}

/// Held prompts go out in the order in which they were held, once their agent was free; unless they are sent at once.
void Ledger::checkDelivery(const Submission& submission)
{
    const std::string& id = submission.command.id;
    const auto isHeld = [](const Attempt* run) {
        return run && run->outcome && std::holds_alternative<CommandExecutor::Hold>(*run->outcome);
    };
    if (!isHeld(submission.run))
        return violation("command " + id + " is delivered, but was not held");
    ++counts["prompts released"];
    if (sentNow.contains({lifeNumber, id}))
        return;
    const std::string pane = *paneOf(submission.command.action);
    if (submission.run->agentsListed && lastFree[pane] < *submission.run->agentsListed)
        violation("prompt " + id + " is delivered to an agent that was not free since");
    for (const auto& [key, other] : submissions) {
        if (key.first == lifeNumber && isHeld(other.run) && !other.delivery && !sentNow.contains(key)
            && paneOf(other.command.action) == pane && other.run->ended < submission.run->ended)
            violation("prompt " + id + " overtakes " + key.second);
    }
}

void Ledger::end(Attempt& attempt)
{
    attempt.ended = tick();
    if (attempt.answer)
        checkAnswer(attempt);
    if (!attempt.answer || !attempt.answered)
        trace(attempt.id, attempt.hasThrown ? " failed" : " ended");
    else
        trace(attempt.id, " ended: ", encoded(*attempt.answered));
}

void Ledger::replied(const CommandReply& reply)
{
    const auto found = submissions.find({lifeNumber, reply.id});
    if (found == submissions.end())
        return violation("a reply to " + reply.id + ", which was not submitted");
    Submission& submission = found->second;
    if (std::holds_alternative<SendNowAction>(submission.command.action))
        return;
    ++counts["replies " + std::string(nameOf(reply.status))];
    if (!reply.isFinal()) {
        if (submission.reply)
            violation("command " + reply.id + " is held after its final reply");
        return;
    }
    if (submission.reply && *submission.reply != reply)
        violation("command " + reply.id + " is answered in two ways");
    if (!submission.reply)
        checkFinal(submission, reply);
    submission.reply = reply;
}

void Ledger::checkFinal(const Submission& submission, const CommandReply& reply)
{
    const auto says = [&](const char* what) { violation("command " + reply.id + " " + what); };
    const Attempt* const attempt = submission.delivery ? submission.delivery : submission.run;
    if (!attempt || attempt->ended == never)
        return says("is answered before it is over");
    if (attempt->hasThrown != (reply.status == CommandReply::Status::failed))
        return says("is answered with what did not happen");
    if (attempt->hasThrown)
        return;
    if (attempt->outcome && std::holds_alternative<CommandExecutor::Hold>(*attempt->outcome))
        return says("is answered for good while it is held");
    if (changesSnapshot(submission.command.action) && (listings.empty() || listings.back() < attempt->ended))
        says("is answered before a refresh");
    if (const auto* prompt = std::get_if<PromptAction>(&submission.command.action)) {
        // Of a typed prompt the text is followed by "enter"; a question that comes between may swallow both.
        const std::size_t whole = count(attempt->inputs, "prompt ");
        const bool isTyped = count(attempt->inputs, "text ") == 1 && count(attempt->inputs, "keys enter") == 1;
        if (!(whole == 1 && attempt->inputs.size() == 1) && !(prompt->typed && isTyped))
            says("counts as sent, but was lost or doubled");
    }
}

} // namespace tarnel::sim
