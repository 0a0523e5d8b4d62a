#include "TarnelCore/Base/Regex.h"
#include "TarnelCore/Base/UUID.h"
#include <gtest/gtest.h>
#include <set>

namespace tarnel {

namespace {

TEST(UUID, isRandomAndWellFormed)
{
    const Regex form("^[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[89ab][0-9a-f]{3}-[0-9a-f]{12}$");
    std::set<std::string> seen;
    for (int i = 0; i < 100; ++i) {
        const std::string uuid = randomUUID();
        EXPECT_TRUE(form.matches(uuid)) << uuid;
        EXPECT_TRUE(seen.insert(uuid).second) << uuid;
    }
}

} // namespace

} // namespace tarnel
