// Bounded texts.
#include "platform/text.h"

#include <gtest/gtest.h>

#include <cstring>

TEST(TextCopy, FitsWithItsTerminator) {
    char target[4];
    memset(target, 'x', sizeof target);
    EXPECT_TRUE(TextCopy(target, sizeof target, "abc"));
    EXPECT_STREQ("abc", target);
}

TEST(TextCopy, CutsAndTerminates) {
    char target[4];
    EXPECT_FALSE(TextCopy(target, sizeof target, "abcd"));
    EXPECT_STREQ("abc", target);
}

TEST(TextCopy, ZeroesTheRestOfTheArray) {
    char target[6];
    memset(target, 'x', sizeof target);
    EXPECT_TRUE(TextCopy(target, sizeof target, "ab"));
    EXPECT_EQ(0, memcmp(target, "ab\0\0\0\0", 6));
}

TEST(TextCopyBytes, NeedsNoTerminator) {
    char target[8];
    EXPECT_TRUE(TextCopyBytes(target, sizeof target, "abcdef", 3));
    EXPECT_STREQ("abc", target);
    EXPECT_TRUE(TextCopyBytes(target, sizeof target, nullptr, 0));
    EXPECT_STREQ("", target);
}

TEST(TextEqualNoCase, FoldsAsciiOnly) {
    EXPECT_TRUE(TextEqualNoCase("SysDba", "SYSDBA"));
    EXPECT_FALSE(TextEqualNoCase("sysdb", "sysdba"));
    EXPECT_FALSE(TextEqualNoCase("sysdba1", "sysdba"));
    EXPECT_FALSE(TextEqualNoCase("\xC4", "\xE4"));
    EXPECT_TRUE(TextEqualNoCase("", ""));
}

TEST(TextStartsNoCase, ComparesTheBeginningAlone) {
    EXPECT_TRUE(TextStartsNoCase("CHARSET_gbk", "charset_GBK"));
    EXPECT_TRUE(TextStartsNoCase("charset_GBK2", "charset_"));
    EXPECT_TRUE(TextStartsNoCase("x", ""));
    EXPECT_TRUE(TextStartsNoCase("", ""));
    EXPECT_FALSE(TextStartsNoCase("charset", "charset_"));
    EXPECT_FALSE(TextStartsNoCase("", "c"));
    EXPECT_FALSE(TextStartsNoCase("\xC4", "\xE4"));
}
