#include "TarnelCore/Base/Timestamp.h"
#include <cmath>
#include <gtest/gtest.h>

namespace tarnel {

namespace {

TEST(Timestamp, readsAndWritesISO8601)
{
    struct Case {
        const char* text;
        const char* written; // null: not a time
    };
    const Case cases[] = {
        {"2025-01-31T09:15:02Z", "2025-01-31T09:15:02Z"},
        {"2025-01-31T09:15:02.9999999Z", "2025-01-31T09:15:02Z"},
        {"2025-01-31T00:15:02.5+01:30", "2025-01-30T22:45:02Z"},
        {"2025-01-31T09:15:02-0230", "2025-01-31T11:45:02Z"},
        {"2024-02-29T23:59:60Z", "2024-03-01T00:00:00Z"},
        {"0000-01-01T00:00:00Z", "0000-01-01T00:00:00Z"},
        {"2025-02-29T00:00:00Z", nullptr},
        {"2025-01-31T24:00:00Z", nullptr},
        {"2025-01-31T09:15:02", nullptr},
        {"2025-01-31 09:15:02Z", nullptr},
        {"2025-01-31T09:15:02.Z", nullptr},
        {"2025-01-31T09:15:02Zx", nullptr},
        {"yesterday", nullptr},
        {"", nullptr},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text);
        const auto time = parseISO8601(c.text);
        ASSERT_EQ(time.has_value(), c.written != nullptr);
        if (time) {
            EXPECT_EQ(iso8601(*time), c.written);
        }
    }
    EXPECT_EQ(*parseISO8601("1970-01-01T00:00:00.25Z"), Timestamp{std::chrono::milliseconds{250}});
    EXPECT_EQ(iso8601(Timestamp::max()), "9999-12-31T23:59:59Z");
    EXPECT_EQ(iso8601(*timestampFromSeconds(1.9)), "1970-01-01T00:00:01Z");
    EXPECT_FALSE(timestampFromSeconds(1e300));
    EXPECT_FALSE(timestampFromSeconds(std::nan("")));
}

} // namespace

} // namespace tarnel
