// tarnel/AnswerText.h: an answer to an item, from the user's words to the outcome in words.
#pragma once
#include "TarnelCore/Attention/Answer.h"
#include "tarnel/CommandLine.h"
#include <string>
#include <vector>

/// Pure functions.
namespace tarnel::AnswerText {

/// The choice that the user means: `given` itself where it is one of `choices` but for case, else the one whose number
/// (from 1) it is, else `given`: the menu on the screen may know it.
std::string choiceMeant(const std::string& given, const std::vector<std::string>& choices);

/// What became of an answer in pane `pane`, in one sentence that says what to do next where that is not plain.
std::string outcome(const AnswerOutcome& outcome, const std::string& pane);

ExitStatus statusOf(const AnswerOutcome& outcome);

/// The outcome, or the earlier one that it repeats.
const AnswerOutcome& innermost(const AnswerOutcome& outcome);

} // namespace tarnel::AnswerText
