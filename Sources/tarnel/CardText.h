// tarnel/CardText.h: an agent's card, and the item that it is part of, as text for people.
#pragma once
#include "TarnelCore/Attention/Attention.h"
#include "tarnel/Output.h"
#include <optional>
#include <string>
#include <vector>

/// Pure functions; their lines are safe for a terminal.
namespace tarnel::CardText {

/// What else is known of the agent.
struct Context {
    std::optional<StatusLine> statusLine = {};
    std::vector<std::string> quickReplies = {}; ///< To offer after a finished turn.
    Timestamp now;
};

/// The whole card. `item` is absent when the agent needs no one.
std::vector<std::string> lines(const Card& card, const AttentionItem* item, const Context& context, const Style& style);

/// Only what is asked: the question with its numbered choices, and how to answer it.
std::vector<std::string> question(const AttentionItem& item, const Style& style);

/// The answers that can be given by number, in their order.
std::vector<std::string> choices(const AttentionItem& item, const std::vector<std::string>& quickReplies);

/// What the first question says of its option `choice`; empty where it says nothing.
std::string detailOf(const AttentionItem& item, const std::string& choice);

/// "opus 4.5 · ctx 37% · 5h 42% · plan"; empty when nothing is known.
std::string statusText(const StatusLine& status);

} // namespace tarnel::CardText
