// Bench/RecordGenerator.h: agents' records as agents at work write them, without the agents.
#pragma once
#include "TarnelCore/Records/RecordPlace.h"
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace tarnel::bench {

/// Makes the lines of a session, one after the other: prompts, replies, tool calls and their results, and what agents
/// write besides. Lines have 300 bytes to 200 KB; most are short and most bytes stand in long ones. Texts are prose,
/// code and terminal output, with escapes, some of them in other scripts. The same seed gives the same bytes
/// everywhere. Thread-safety: none.
class RecordGenerator {
public:
    RecordGenerator(RecordPlace::Kind kind, std::uint64_t seed);
    ~RecordGenerator();
    RecordGenerator(const RecordGenerator&) = delete;
    RecordGenerator& operator=(const RecordGenerator&) = delete;

    /// Whole lines, at least `bytes` in all; the next call goes on with the session.
    std::string lines(std::size_t bytes);

    /// The beginning of a session of at least `bytes`.
    static std::string record(RecordPlace::Kind kind, std::size_t bytes, std::uint64_t seed = 1);

private:
    class Session;
    const std::unique_ptr<Session> session;
};

} // namespace tarnel::bench
