#include "Support/TemporaryFolder.h"
#include "TarnelCore/JSON/JSONDocument.h"
#include "TarnelCore/Records/StatusLineCache.h"
#include "TarnelCore/Records/StatusLineReader.h"
#include <gtest/gtest.h>

namespace tarnel {

namespace {

using Kind = RecordPlace::Kind;

struct Case {
    const char* what;
    std::vector<std::string> lines;
    StatusLine expected;
};

/// What `read` makes of lines as they stand in a record.
template <class Read> StatusLine readLines(const std::vector<std::string>& texts, Read read)
{
    std::vector<std::string> padded;
    std::vector<std::string_view> lines;
    for (const std::string& text : texts)
        padded.push_back(text + std::string(JSONDocument::padding, '}'));
    for (std::size_t i = 0; i < texts.size(); ++i)
        lines.push_back(std::string_view(padded[i]).substr(0, texts[i].size()));
    return read(StatusLineReader::Lines(lines));
}

std::string assistant(const std::string& message) { return R"({"type":"assistant","message":)" + message + "}"; }

TEST(StatusLineReader, readsClaude)
{
    const std::string good =
        assistant(R"({"model":"claude-x","usage":{"input_tokens":1.9,"cache_read_input_tokens":20,)"
                  R"("cache_creation_input_tokens":300}})");
    const StatusLine expected{.model = "claude-x", .contextUsed = 321};
    const Case cases[] = {
        {"the latest", {assistant(R"({"model":"old","usage":{}})"), good}, expected},
        {"what does not count behind it",
            {good, assistant(R"({"model":"<synthetic>","usage":{}})"), assistant(R"({"model":"m"})"),
                assistant(R"({"model":7,"usage":{}})"), assistant(R"("m")"), R"({"type":"assistant"})", "not JSON",
                "[1]", R"({"type":"user","message":{"model":"m","usage":{}}})",
                R"({"type":"assistant","isSidechain":true,"message":{"model":"m","usage":{}}})"},
            expected},
        {"no sidechain but by true", {R"({"type":"assistant","isSidechain":1,"message":{"model":"m","usage":null}})"},
            {.model = "m", .contextUsed = 0}},
        {"a known window", {assistant(R"({"model":"claude-opus-5-1","usage":{"input_tokens":"7"}})")},
            {.model = "claude-opus-5-1", .contextUsed = 0, .contextWindow = 1'000'000}},
        {"numbers that fit no integer",
            {assistant(R"({"model":"m","usage":{"input_tokens":1e300,"cache_read_input_tokens":9e18,)"
                       R"("cache_creation_input_tokens":9e18}})")},
            {.model = "m", .contextUsed = 9'000'000'000'000'000'000}},
        {"nothing", {"{}", ""}, {}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(readLines(c.lines, StatusLineReader::claude), c.expected);
    }
}

std::string turn(const std::string& payload) { return R"({"type":"turn_context","payload":)" + payload + "}"; }
std::string count(const std::string& members)
{
    return R"({"type":"event_msg","payload":{"type":"token_count")" + members + "}}";
}
const std::string usage =
    count(R"(,"info":{"last_token_usage":{"total_tokens":1234.5},"model_context_window":2000},"rate_limits":{)"
          R"("primary":{"used_percent":20,"window_minutes":300,"resets_at":1000},)"
          R"("secondary":{"used_percent":65.5,"window_minutes":10080,"resets_at":1700000000}})");

TEST(StatusLineReader, readsCodex)
{
    const auto limits = [](const std::string& windows) { return count(R"(,"rate_limits":)" + windows); };
    const Timestamp reset{std::chrono::seconds{1'700'000'000}};
    const StatusLine full{.model = "m",
        .effort = "high",
        .contextUsed = 1234,
        .contextWindow = 2000,
        .limitUsedPercent = 65.5,
        .limitWindowMinutes = 10080,
        .limitResetsAt = reset};
    StatusLine onlyModel{.model = "m", .effort = "high"};
    const std::string model = turn(R"({"model":"m","effort":"high"})");
    const Case cases[] = {
        {"both, the tighter limit", {turn(R"({"model":"old"})"), usage, model}, full},
        {"the latest of each", {count(""), model, usage}, full},
        {"a context without a model, with an effort", {model, turn(R"({"effort":"low"})"), turn("7"), usage}, full},
        {"the latest count decides, though empty", {usage, model, count(R"(,"info":null)")}, onlyModel},
        {"an effort that is no string", {turn(R"({"model":"m","effort":3})")}, {.model = "m"}},
        {"other events",
            {usage, model, R"({"type":"event_msg","payload":{"type":"error"}})", R"({"type":"event_msg"})"}, full},
        {"a tie is the first's",
            {limits(R"({"primary":{"used_percent":5,"window_minutes":1},"secondary":{"used_percent":5}})")},
            {.limitUsedPercent = 5.0, .limitWindowMinutes = 1}},
        {"windows that tell nothing", {limits(R"({"primary":{"used_percent":"9"},"secondary":7})")}, {}},
        {"only the second",
            {limits(R"({"primary":null,"secondary":{"used_percent":0,"window_minutes":"x","resets_at":1e99}})")},
            {.limitUsedPercent = 0.0}},
        {"limits that are none", {limits("[1]"), model}, onlyModel},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(readLines(c.lines, StatusLineReader::codex), c.expected);
    }
}

TEST(StatusLineReader, findsACodexModelFarFromTheEnd)
{
    const TemporaryFolder folder;
    const std::string filler(600'000, 'x');
    const std::string path = folder.write("r.jsonl",
        turn(R"({"model":"m"})") + "\n" + count(R"(,"info":{"model_context_window":7}})") + "\n\"" + filler + "\"\n"
            + usage);
    const auto status = StatusLineReader::read({Kind::codex, path});
    ASSERT_TRUE(status);
    EXPECT_EQ(status->model, "m");
    EXPECT_EQ(status->contextWindow, 2000);
    folder.write("r.jsonl", turn(R"({"model":"m"})") + "\n\"" + filler + "\"\n"); // no usage near the end
    EXPECT_EQ(StatusLineReader::read({Kind::codex, path}), (StatusLine{.model = "m"}));
    EXPECT_EQ(StatusLineReader::read({Kind::claude, path}), std::nullopt);
}

TEST(StatusLineReader, readsGrok)
{
    const TemporaryFolder folder;
    const RecordPlace place{Kind::grok, folder.path()};
    EXPECT_EQ(StatusLineReader::read(place), std::nullopt);
    const std::pair<const char*, std::optional<StatusLine>> cases[] = {
        {R"({"current_model_id": "grok-x", "reasoning_effort": "low"})",
            StatusLine{.model = "grok-x", .effort = "low"}},
        {R"({"current_model_id": "grok-x", "reasoning_effort": 1})", StatusLine{.model = "grok-x"}},
        {R"({"current_model_id": 1, "reasoning_effort": "low"})", std::nullopt}, // an effort alone is no status
        {"[]", std::nullopt}, {"{", std::nullopt}, {"", std::nullopt}};
    for (const auto& [summary, status] : cases) {
        folder.write("summary.json", summary);
        EXPECT_EQ(StatusLineReader::read(place), status) << summary;
    }
}

TEST(StatusLineCache, readsAgainOnlyWhatChanged)
{
    namespace fs = std::filesystem;
    const TemporaryFolder folder;
    const auto summary = [&](const std::string& model) {
        return folder.write("summary.json", R"({"current_model_id":")" + model + R"("})");
    };
    const auto at = fs::file_time_type::clock::now() - std::chrono::hours(1);
    const RecordPlace place{Kind::grok, folder.path()};
    StatusLineCache cache;
    const auto model = [&] { return cache.statusLine(place).value_or(StatusLine{}).model.value_or("none"); };
    EXPECT_EQ(model(), "none");
    const std::string path = summary("a");
    fs::last_write_time(path, at);
    EXPECT_EQ(model(), "a");
    summary("b"); // same size
    fs::last_write_time(path, at);
    EXPECT_EQ(model(), "a");
    cache.retain({place, {Kind::claude, folder / "x"}});
    EXPECT_EQ(model(), "a");
    cache.retain({{Kind::claude, folder.path()}});
    EXPECT_EQ(model(), "b");
    summary("cc");
    fs::last_write_time(path, at);
    EXPECT_EQ(model(), "cc");
    summary("dd");
    EXPECT_EQ(model(), "dd");
    fs::remove(path);
    EXPECT_EQ(model(), "none");
}

} // namespace

} // namespace tarnel
