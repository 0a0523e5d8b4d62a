// Fuzz/Target.h: what fuzz targets are, and the list of them.
#pragma once
#include <cstddef>
#include <cstdint>
#include <random>
#include <stdexcept>
#include <string>
#include <string_view>

/// A target takes any bytes, hands them to what reads such bytes from outside, and checks what must hold of the
/// outcome. The same bytes always do the same. What does not hold is thrown as `Violation`, which ends a fuzzer and
/// fails a test.
namespace tarnel::fuzz {

class Violation : public std::logic_error {
public:
    using std::logic_error::logic_error;
};

/// Throws Violation, whose text is `what`, unless `holds`.
inline void require(bool holds, const char* what)
{
    if (!holds)
        throw Violation(what);
}

/// Choices that depend on the input alone.
class Choices {
public:
    explicit Choices(std::string_view input)
    {
        std::uint64_t hash = 0xcbf29ce484222325; // FNV-1a
        for (const char c : input)
            hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001b3;
        engine.seed(hash);
    }
    /// 0 to `bound` - 1; 0 for a bound of 0.
    std::size_t below(std::size_t bound) { return bound == 0 ? 0 : engine() % bound; }

private:
    std::mt19937_64 engine;
};

/// Whether to try all ways of cutting an input rather than some: set by who runs few inputs.
inline bool isThorough = false;

using Target = void(std::string_view input);

Target fuzzAgentPrompt;
Target fuzzClaudeRecord;
Target fuzzCodexRecord;
Target fuzzConfig;
Target fuzzFrontMatter;
Target fuzzGrokRecord;
Target fuzzJSON;
Target fuzzKeymap;
Target fuzzMuxleReplies;
Target fuzzRequests;
Target fuzzScreen;
Target fuzzSocketLines;
Target fuzzStatusLine;
Target fuzzTabLayout;
Target fuzzTerminalText;
Target fuzzTmuxOutput;
Target fuzzTOML;

} // namespace tarnel::fuzz
