#include "muxle-tmux/PaneInput.h"
#include "TarnelCore/Base/Text.h"
#include "muxle-tmux/ControlProtocol.h"
#include "muxle-tmux/Keys.h"
#include "muxle-tmux/Names.h"
#include "muxle-tmux/TmuxError.h"
#include <algorithm>
#include <atomic>
#include <thread>
#include <unistd.h>

namespace tarnel::tmux {

namespace {

using namespace std::chrono_literals;

constexpr std::size_t chunkSize = 16384; // bytes of text in one command: tmux reads very long lines slowly
constexpr auto echoPatience = 400ms; // that a program has to show what was pasted
constexpr auto echoInterval = 15ms;

struct PaneState {
    bool isInMode = false; // its user looks through the history: tmux would take keys for itself
    bool hasApplicationKeys = false;
};

PaneState stateOf(ControlClient& tmux, std::int64_t pane, Monitor::Deadline deadline)
{
    const std::string text = tmux.run("display-message -p -t " + paneTarget(pane)
            + " \"#{?pane_in_mode,1,0}#{?keypad_cursor_flag,1,0}#{?pane_dead,1,0}#{?pane_input_off,1,0}\"",
        deadline);
    if (text.size() != 4)
        throw TmuxError::notFound("no pane " + paneID(pane));
    if (text[2] == '1')
        throw TmuxError::refused("the program in pane " + paneID(pane) + " has ended");
    if (text[3] == '1')
        throw TmuxError::refused("pane " + paneID(pane) + " takes no input: its user has switched that off");
    return {text[0] == '1', text[1] == '1'};
}

std::string newBufferName()
{
    static std::atomic<std::uint64_t> count = 0;
    return "muxle-" + std::to_string(::getpid()) + "-" + std::to_string(++count);
}

enum class Paste { asTyped, marked };

void paste(ControlClient& tmux, std::int64_t pane, std::string_view text, Paste how, Monitor::Deadline deadline)
{
    if (text.empty())
        return;
    if (text.find('\0') != text.npos)
        throw TmuxError::invalidParams("a NUL byte cannot be typed");
    const std::string buffer = newBufferName();
    std::vector<ControlClient::Pending> commands;
    for (std::size_t at = 0; at < text.size(); at += chunkSize) {
        const std::string_view append = at == 0 ? "" : "-a ";
        commands.push_back(tmux.start(
            "set-buffer " + std::string(append) + "-b " + buffer + " -- " + quoted(text.substr(at, chunkSize))));
    }
    try {
        for (ControlClient::Pending& each : commands)
            ControlClient::result(each, deadline);
        const std::string_view options = how == Paste::marked ? "-p" : "-r";
        tmux.run("paste-buffer " + std::string(options) + " -d -b " + buffer + " -t " + paneTarget(pane), deadline);
    } catch (const TmuxError&) {
        if (!tmux.hasEnded())
            (void)tmux.start("delete-buffer -b " + buffer);
        throw;
    }
}

std::vector<Key> keysNamed(const std::vector<std::string>& names)
{
    std::vector<Key> keys;
    for (const std::string& name : names) {
        auto key = keyNamed(name);
        if (!key)
            throw TmuxError::invalidParams("there is no key \"" + name + "\"");
        keys.push_back(*std::move(key));
    }
    return keys;
}

void press(ControlClient& tmux, std::int64_t pane, const PaneState& state, const std::vector<Key>& keys,
    Monitor::Deadline deadline)
{
    if (keys.empty())
        return;
    if (!state.isInMode) {
        std::string command = "send-keys -t " + paneTarget(pane) + " --";
        for (const Key& key : keys)
            command += " " + quoted(key.tmuxName);
        tmux.run(command, deadline);
        return;
    }
    std::string bytes;
    for (const Key& key : keys) {
        const bool isApplication = state.hasApplicationKeys && key.applicationFinal != 0;
        bytes += isApplication ? std::string("\033O") + key.applicationFinal : key.bytes;
    }
    paste(tmux, pane, bytes, Paste::asTyped, deadline);
}

std::string cursorOf(ControlClient& tmux, std::int64_t pane, Monitor::Deadline deadline)
{
    return tmux.run(
        "display-message -p -t " + paneTarget(pane) + " \"#{cursor_x},#{cursor_y},#{history_size}\"", deadline);
}

/// A program that gets the end of a paste and enter at once may take enter for a part of the paste.
void awaitEcho(ControlClient& tmux, std::int64_t pane, const std::string& before, Monitor::Deadline deadline)
{
    const auto end = std::min(deadline, std::chrono::steady_clock::now() + echoPatience);
    while (std::chrono::steady_clock::now() < end && cursorOf(tmux, pane, deadline) == before)
        std::this_thread::sleep_for(echoInterval);
}

} // namespace

void PaneInput::sendKeys(
    Monitor& monitor, std::int64_t pane, const std::vector<std::string>& names, Monitor::Deadline deadline)
{
    const std::vector<Key> keys = keysNamed(names);
    const auto tmux = monitor.client();
    press(*tmux, pane, stateOf(*tmux, pane, deadline), keys, deadline);
}

void PaneInput::sendText(Monitor& monitor, std::int64_t pane, std::string_view text, Monitor::Deadline deadline)
{
    const auto tmux = monitor.client();
    stateOf(*tmux, pane, deadline);
    paste(*tmux, pane, text, Paste::asTyped, deadline);
}

std::string PaneInput::pastable(std::string_view text)
{
    std::string result;
    for (const char each : Text::replacingAll(text, "\r\n", "\n")) {
        const auto byte = static_cast<unsigned char>(each);
        if (each == '\r')
            result += '\n';
        else if ((byte >= 0x20 && byte != 0x7F) || each == '\n' || each == '\t')
            result += each;
    }
    return result;
}

void PaneInput::prompt(Monitor& monitor, std::int64_t pane, std::string_view text, Monitor::Deadline deadline)
{
    const auto tmux = monitor.client();
    const PaneState state = stateOf(*tmux, pane, deadline);
    const std::string clean = pastable(text);
    const std::string before = cursorOf(*tmux, pane, deadline);
    if (state.isInMode && !clean.empty()) {
        // tmux then looks at its own view of the history to see whether the program wants the marks; agents do.
        paste(*tmux, pane, "\033[200~" + Text::replacingAll(clean, "\n", "\r") + "\033[201~", Paste::asTyped, deadline);
    } else {
        paste(*tmux, pane, clean, Paste::marked, deadline);
    }
    if (!clean.empty())
        awaitEcho(*tmux, pane, before, deadline);
    press(*tmux, pane, state, keysNamed({"enter"}), deadline);
}

} // namespace tarnel::tmux
