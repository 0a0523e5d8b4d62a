#include "TarnelCore/Attention/Answer.h"
#include <gtest/gtest.h>

namespace tarnel {

namespace {

TEST(Answer, keepsTheWireForm)
{
    struct Case {
        AnswerOutcome outcome;
        std::string json;
        bool succeeded;
    };
    const Fingerprint print{"mini", "p_1", 4, AttentionKind::plan, "af"};
    const Case cases[] = {
        {AnswerApplied{"menu 2"}, R"({"applied":{"method":"menu 2"}})", true},
        {AnswerUnverified{"prompt"}, R"({"unverified":{"method":"prompt"}})", false},
        {AnswerStale{print},
            R"({"stale":{"current":{"contentHash":"af","kind":"plan","machine":"mini","paneID":"p_1","stateChangeSeq":4}}})",
            false},
        {AnswerStale{}, R"({"stale":{}})", false},
        {AnswerFailed{"empty answer"}, R"({"failed":{"_0":"empty answer"}})", false},
        {AnswerNotFound{}, R"({"notFound":{}})", false},
        {duplicate(AnswerApplied{"text"}), R"({"duplicate":{"_0":{"value":{"applied":{"method":"text"}}}}})", true},
        {duplicate(duplicate(AnswerUnverified{"text"})),
            R"({"duplicate":{"_0":{"value":{"duplicate":{"_0":{"value":{"unverified":{"method":"text"}}}}}}}})", false},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(encoded(c.outcome), c.json);
        EXPECT_EQ(decode<AnswerOutcome>(JSON::parse(c.json)), c.outcome) << c.json;
        EXPECT_EQ(succeeded(c.outcome), c.succeeded) << c.json;
    }
    EXPECT_NE(duplicate(AnswerApplied{"text"}), duplicate(AnswerApplied{"prompt"}));
}

TEST(Answer, rejectsWhatIsNoOutcome)
{
    for (const char* json : {"{}", R"({"notFound":{},"stale":{}})"}) {
        try {
            decode<AnswerOutcome>(JSON::parse(json));
            ADD_FAILURE() << json;
        } catch (const DecodingError& error) {
            EXPECT_STREQ(error.what(), "Invalid number of keys found, expected one.");
        }
    }
    for (const char* json : {R"({"gone":{}})", R"({"applied":{}})", R"({"duplicate":{"_0":{"value":null}}})", "7"})
        EXPECT_THROW(decode<AnswerOutcome>(JSON::parse(json)), DecodingError) << json;
}

TEST(Answer, readsRequestsWithAbsentAndNullParts)
{
    const char* print = R"({"contentHash":"af","kind":"plan","machine":"mini","paneID":"p_1","stateChangeSeq":4})";
    const AnswerRequest request =
        decode<AnswerRequest>(JSON::parse(R"({"choice":"Yes","text":null,"fingerprint":)" + std::string(print) + "}"));
    EXPECT_EQ(request, (AnswerRequest{{"mini", "p_1", 4, AttentionKind::plan, "af"}, "Yes", {}, {}}));
    EXPECT_EQ(encoded(request), R"({"choice":"Yes","fingerprint":)" + std::string(print) + "}");
    EXPECT_THROW(decode<AnswerRequest>(JSON::parse(R"({"choice":"Yes"})")), DecodingError);
}

} // namespace

} // namespace tarnel
