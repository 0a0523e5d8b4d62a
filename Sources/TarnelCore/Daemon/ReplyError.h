// TarnelCore/Daemon/ReplyError.h: the error that a daemon's reply tells of.
#pragma once
#include "TarnelCore/Muxle/MuxleClient.h"

namespace tarnel {

/// The error to throw for a reply's "error" member; texts that it lacks are empty.
inline MuxleError replyError(const JSON& error)
{
    return {stringOf(error["code"]).value_or(""), stringOf(error["message"]).value_or("")};
}

} // namespace tarnel
