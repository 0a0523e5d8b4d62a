// TarnelCore/Daemon/MethodTable.h: the requests that the daemon answers, by name.
#pragma once
#include "TarnelCore/Attention/AnswerGuard.h"
#include "TarnelCore/Attention/AttentionEngine.h"
#include "TarnelCore/Base/Clock.h"
#include "TarnelCore/Daemon/Params.h"
#include "TarnelCore/Daemon/Publisher.h"
#include "TarnelCore/Daemon/Refresher.h"
#include <string>
#include <string_view>

namespace tarnel {

/// What the methods work with.
struct DaemonServices {
    AttentionEngine& engine;
    Publisher& publisher;
    Refresher& refresher;
    AnswerGuard& answers;
    Clock& clock;
};

/// One method: it takes the request's parameters and returns the JSON text of the result, or throws what the client is
/// told. Handlers run on the connections' threads, several at once.
struct Method {
    std::string_view name;
    std::string (*handle)(DaemonServices& services, const Params& params);
    bool isTraced = false; ///< It changes a pane or the machine, so it leaves a line in the log.
};

namespace MethodTable {

/// The method of this name; null when there is none.
const Method* find(std::string_view name);

/// The agent in a pane, asked of the multiplexer. Throws DaemonError::notFound, and what the multiplexer throws.
MuxleAgent agentIn(const MuxleClient& muxle, const std::string& pane);

} // namespace MethodTable

} // namespace tarnel
