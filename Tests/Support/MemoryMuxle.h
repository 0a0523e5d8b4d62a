// Tests/Support/MemoryMuxle.h: a multiplexer in memory, for tests below the sockets.
#pragma once
#include "TarnelCore/Base/Mutex.h"
#include "TarnelCore/Muxle/MuxleClient.h"
#include "TarnelCore/UnixSocket/SocketError.h"
#include <algorithm>
#include <cerrno>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace tarnel {

/// An element of MemoryMuxle's lists: a claude in the workspace "w1", its session called "s-" and the pane's id. `more`
/// is text of JSON members with a comma in front.
inline JSON claudePane(
    const std::string& id, const std::string& status, std::int64_t stateChanges, const std::string& more = "")
{
    return JSON::parse(R"({"pane_id":")" + id + R"(","workspace_id":"w1","agent":"claude","agent_status":")" + status
        + R"(","cwd":"/p","state_change_seq":)" + std::to_string(stateChanges) + R"(,"agent_session":{"value":"s-)" + id
        + "\"}" + more + "}");
}

/// What it answers is what the test has set; keys, texts and prompts are accepted and written down.
/// Thread-safety: requests may come from any thread, one is answered at a time. The fields are the test's while no
/// request is made, and the hook's while it runs.
class MemoryMuxle final : public MuxleTransport {
public:
    JSON request(std::string_view method, const JSON::Object& params, Seconds timeout) override
    {
        MutexLock lock(mutex);
        asked.emplace_back(method);
        timeouts.push_back(timeout);
        if (hangs)
            throw SocketError::io(EAGAIN);
        if (onRequest)
            onRequest(method);
        if (method == "pane.read")
            return read(params);
        if (const std::string input = inputOf(method, params); !input.empty()) {
            sent.push_back(input);
            if (onInput)
                onInput(input);
            return JSON::Object();
        }
        const auto result = results.find(std::string(method));
        if (result == results.end())
            throw MuxleError("unknown_method", std::string(method));
        return result->second;
    }
    void subscribe(const JSON::Array&, const std::function<void(std::shared_ptr<LineChannel>)>&,
        const std::function<void(const JSON&)>&) override
    {
    }
    [[nodiscard]] std::string socketPath() const override { return "memory"; }

    /// Sets the lists of panes and agents, in the workspace "w1", called "shop".
    void setPanes(JSON::Array panes)
    {
        results["session.snapshot"] = JSON::object({{"snapshot",
            JSON::object(
                {{"panes", panes}, {"workspaces", JSON::Array{JSON::parse(R"({"workspace_id":"w1","label":"shop"})")}},
                    {"layouts", JSON::Array{}}})}});
        results["agent.list"] = JSON::object({{"agents", std::move(panes)}});
    }

    [[nodiscard]] std::size_t reads(std::string_view source) const
    {
        return static_cast<std::size_t>(std::count(readSources.begin(), readSources.end(), source));
    }

    std::map<std::string, JSON> results; // by method
    std::map<std::string, std::string> screens; // by source, or by pane + " " + source
    std::vector<std::string> asked; // the methods, in order
    std::vector<Seconds> timeouts; // of `asked`
    std::vector<std::string> readSources;
    std::vector<std::string> sent; // "keys p1 2 enter", "text p1 hello", "prompt p1 go on"
    bool hangs = false;
    std::function<void(std::string_view method)> onRequest; // before the answer, in whose place it may throw
    std::function<void(const std::string& input)> onInput; // after one of `sent` was taken

private:
    static std::string inputOf(std::string_view method, const JSON::Object& params)
    {
        const auto text = [&](std::string_view name) { return stringOf(params.find(name)).value_or(""); };
        if (method == "agent.prompt")
            return "prompt " + text("target") + " " + text("text");
        if (method == "pane.send_text")
            return "text " + text("pane_id") + " " + text("text");
        if (method != "pane.send_keys")
            return "";
        std::string input = "keys " + text("pane_id");
        for (const JSON& key : *params.find("keys")->array())
            input += " " + *key.string();
        return input;
    }

    JSON read(const JSON::Object& params)
    {
        const std::string pane = *params.find("pane_id")->string();
        const std::string source =
            *params.find("source")->string() + (*params.find("format") == JSON("ansi") ? " ansi" : "");
        readSources.push_back(source);
        for (const std::string& key : {pane + " " + source, source}) {
            if (const auto screen = screens.find(key); screen != screens.end())
                return JSON::object({{"read", JSON::object({{"text", screen->second}})}});
        }
        throw MuxleError("no_screen", pane);
    }

    Mutex mutex;
};

} // namespace tarnel
