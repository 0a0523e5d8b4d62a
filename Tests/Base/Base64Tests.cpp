#include "TarnelCore/Base/Base64.h"
#include <gtest/gtest.h>

namespace tarnel {

namespace {

TEST(Base64, readsBackWhatItWrites)
{
    std::string bytes;
    for (int i = 0; i < 300; ++i) {
        EXPECT_EQ(decodeBase64(encodeBase64(bytes)), bytes) << i << " bytes";
        bytes += static_cast<char>(i * 37);
    }
    EXPECT_EQ(encodeBase64("fo\xff"), "Zm//");
    EXPECT_EQ(encodeBase64("fo"), "Zm8=");
}

TEST(Base64, refusesWhatIsNone)
{
    for (const char* text : {"Zg", "Zg=", "Z===", "====", "Zm8=Zm8=", "Zm=8", "Zm8 ", "Zm9v\nZm9v===", "Zm-_"})
        EXPECT_EQ(decodeBase64(text), std::nullopt) << text;
}

} // namespace

} // namespace tarnel
