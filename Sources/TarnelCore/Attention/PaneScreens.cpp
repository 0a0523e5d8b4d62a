#include "TarnelCore/Attention/PaneScreens.h"
#include <exception>
#include <utility>
#include <vector>

namespace tarnel {

namespace {

constexpr std::int64_t visibleLines = 30;
constexpr std::int64_t detectionLines = 40;
constexpr std::int64_t coloredLines = 15;

std::optional<std::string> textOf(const MuxleTransport::Outcome& outcome)
{
    const JSON* result = std::get_if<JSON>(&outcome);
    return result ? std::optional(MuxleClient::readText(*result)) : std::nullopt;
}

std::optional<std::string> readNow(const MuxleClient& muxle, const MuxleTransport::Call& call)
{
    try {
        return MuxleClient::readText(muxle.request(call.method, call.params));
    } catch (const std::exception&) {
        return std::nullopt; // a screen that cannot be read tells nothing, which is no failure
    }
}

} // namespace

PaneScreens::PaneScreens(const MuxleClient& client, std::string pane)
    : muxle(client)
    , paneID(std::move(pane))
{
}

const std::optional<std::string>& PaneScreens::visible()
{
    if (!visibleScreen)
        visibleScreen = readNow(muxle, visibleCall());
    return *visibleScreen;
}

const std::optional<std::string>& PaneScreens::detection()
{
    if (!detectionScreen)
        detectionScreen = readNow(muxle, detectionCall());
    return *detectionScreen;
}

std::optional<std::string> PaneScreens::colored() const
{
    return readNow(muxle, MuxleClient::readCall(paneID, "visible", coloredLines, "ansi"));
}

MuxleTransport::Call PaneScreens::visibleCall() const { return MuxleClient::readCall(paneID, "visible", visibleLines); }

MuxleTransport::Call PaneScreens::detectionCall() const
{
    return MuxleClient::readCall(paneID, "detection", detectionLines);
}

void PaneScreens::setVisible(const MuxleTransport::Outcome& outcome) { visibleScreen = textOf(outcome); }
void PaneScreens::setDetection(const MuxleTransport::Outcome& outcome) { detectionScreen = textOf(outcome); }

} // namespace tarnel
