#include "tarnel/PaneKeyboard.h"
#include <exception>
#include <utility>

namespace tarnel {

namespace {

constexpr DaemonClient::Seconds timeout{5};

} // namespace

PaneKeyboard::PaneKeyboard(DaemonClient& daemon, std::string typedInto)
    : client(daemon)
    , pane(std::move(typedInto))
    , queue(ThreadQueue::make("tarnel.type"))
{
}

void PaneKeyboard::type(const std::vector<PaneTyping>& pieces)
{
    {
        MutexLock lock(mutex);
        for (const PaneTyping& piece : pieces) {
            if (!waiting.empty() && (waiting.back().keys.empty() || piece.text.empty())) {
                waiting.back().text += piece.text;
                waiting.back().keys.insert(waiting.back().keys.end(), piece.keys.begin(), piece.keys.end());
            } else {
                waiting.push_back(piece);
            }
        }
    }
    queue->dispatch([this] { sendWaiting(); });
}

std::optional<std::string> PaneKeyboard::takeFailure()
{
    MutexLock lock(mutex);
    return std::exchange(failure, std::nullopt);
}

void PaneKeyboard::sendWaiting()
{
    for (;;) {
        PaneTyping piece;
        {
            MutexLock lock(mutex);
            if (waiting.empty())
                return;
            piece = std::move(waiting.front());
            waiting.pop_front();
        }
        JSON::Object params{{"pane", pane}, {"keys", JSON::Array(piece.keys.begin(), piece.keys.end())}};
        if (!piece.text.empty())
            params["text"] = piece.text;
        try {
            client.call("input", params, timeout);
        } catch (const std::exception& error) {
            MutexLock lock(mutex);
            failure = error.what();
            waiting.clear(); // what follows was typed at what should have been there
        }
    }
}

} // namespace tarnel
