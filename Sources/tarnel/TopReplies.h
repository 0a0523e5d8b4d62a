// tarnel/TopReplies.h: what became of an answer or a prompt, in words.
#pragma once
#include "TarnelCore/Commands/Command.h"
#include "tarnel/TopState.h"

namespace tarnel {

/// One line on how `sent` fares. Pure.
TopNotice noticeOf(const TopSent& sent, const CommandReply& reply);

/// Whether the reply says that what was typed has arrived, so that nobody needs it again.
bool hasArrived(const TopSent& sent, const CommandReply& reply);

} // namespace tarnel
