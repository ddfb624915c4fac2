#include "platform/integer_text.h"

#include <gtest/gtest.h>

#include <cstdio>

TEST(PlainInteger, IsWhatTheSlowReaderWouldSayOrNothing) {
    for (const char* text : {"0", "7", "007", "1700000000", "2147483647"}) {
        int expected = -1;
        EXPECT_EQ(std::sscanf(text, "%d", &expected), 1);  // NOLINT(cert-err34-c)
        EXPECT_EQ(platform::plain_integer(text), expected) << text;
    }
    for (const char* text :
         {"", " 1", "1 ", "-1", "+1", "0x1F", "4x", "2147483648", "4294967295", "00000000001"})
        EXPECT_EQ(platform::plain_integer(text), std::nullopt) << text;
}
