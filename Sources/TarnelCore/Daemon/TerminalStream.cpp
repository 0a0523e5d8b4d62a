#include "TarnelCore/Daemon/TerminalStream.h"
#include "TarnelCore/Base/Base64.h"
#include "TarnelCore/Daemon/ReplyError.h"
#include <utility>

namespace tarnel {

std::optional<TerminalFrame> TerminalFrame::fromJSON(const JSON& line)
{
    const JSON* encodedBytes = line["bytes"];
    const std::string* text = encodedBytes ? encodedBytes->string() : nullptr;
    auto bytes = text ? decodeBase64(*text) : std::nullopt;
    if (!bytes)
        return std::nullopt;
    return TerminalFrame{.full = booleanOf(line["full"]).value_or(false),
        .width = integerOf(line["width"]).value_or(0),
        .height = integerOf(line["height"]).value_or(0),
        .bytes = *std::move(bytes)};
}

TerminalStream::TerminalStream(std::shared_ptr<LineChannel> opened)
    : channel(std::move(opened))
{
}

std::optional<TerminalFrame> TerminalStream::next()
{
    while (const auto text = channel->readLine()) {
        const auto line = JSON::parseLine(*text);
        if (!line)
            continue;
        if (const JSON* error = (*line)["error"])
            throw replyError(*error);
        const auto event = stringOf((*line)["event"]);
        if (event == "closed")
            return std::nullopt;
        if (event == "frame") {
            if (auto frame = TerminalFrame::fromJSON(*line))
                return frame;
        }
    }
    return std::nullopt;
}

} // namespace tarnel
