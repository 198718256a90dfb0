// The steps over the lexical pieces of a statement text.
#include "values/scan.h"

#include <gtest/gtest.h>

#include <string>

// What a step leaves of a text.
static std::string Rest(const char *(*step)(const char *), const char *text) {
    return step(text);
}

TEST(SkipSingleQuoted, EndsBehindTheClosingQuote) {
    EXPECT_EQ(" rest", Rest(SkipSingleQuoted, "'abc' rest"));
    EXPECT_EQ("", Rest(SkipSingleQuoted, "''"));
    EXPECT_EQ("x", Rest(SkipSingleQuoted, "'?:a'x"));
}

TEST(SkipSingleQuoted, ADoubledQuoteStaysInside) {
    EXPECT_EQ("+1", Rest(SkipSingleQuoted, "'it''s'+1"));
    EXPECT_EQ("z", Rest(SkipSingleQuoted, "''''z"));
}

TEST(SkipSingleQuoted, ABackslashHidesABackslashAQuoteAndAnUnderscore) {
    EXPECT_EQ("x", Rest(SkipSingleQuoted, "'a\\'b'x"));
    EXPECT_EQ("x", Rest(SkipSingleQuoted, "'a\\\\'x"));
    EXPECT_EQ("x", Rest(SkipSingleQuoted, "'a\\_'x"));
}

TEST(SkipSingleQuoted, AnyOtherBackslashIsACharacter) {
    EXPECT_EQ("x", Rest(SkipSingleQuoted, "'a\\nb'x"));
    EXPECT_EQ("x", Rest(SkipSingleQuoted, "'a\\\"'x"));
}

TEST(SkipSingleQuoted, TheEndOfTheTextEndsIt) {
    EXPECT_EQ("", Rest(SkipSingleQuoted, "'abc"));
    EXPECT_EQ("", Rest(SkipSingleQuoted, "'"));
    EXPECT_EQ("", Rest(SkipSingleQuoted, "'abc\\"));
    EXPECT_EQ("", Rest(SkipSingleQuoted, "'abc''"));
}

TEST(SkipDoubleQuoted, EndsBehindTheClosingQuote) {
    EXPECT_EQ(".b", Rest(SkipDoubleQuoted, "\"a\".b"));
    EXPECT_EQ("x", Rest(SkipDoubleQuoted, "\"it's\"x"));
}

TEST(SkipDoubleQuoted, HasNoDoublingRule) {
    EXPECT_EQ("\"b\"", Rest(SkipDoubleQuoted, "\"a\"\"b\""));
}

TEST(SkipDoubleQuoted, ABackslashAlsoHidesADoubleQuote) {
    EXPECT_EQ("x", Rest(SkipDoubleQuoted, "\"a\\\"b\"x"));
    EXPECT_EQ("x", Rest(SkipDoubleQuoted, "\"a\\\\\"x"));
    EXPECT_EQ("x", Rest(SkipDoubleQuoted, "\"a\\'\\_\"x"));
    EXPECT_EQ("x", Rest(SkipDoubleQuoted, "\"a\\n\"x"));
}

TEST(SkipDoubleQuoted, TheEndOfTheTextEndsIt) {
    EXPECT_EQ("", Rest(SkipDoubleQuoted, "\"abc"));
    EXPECT_EQ("", Rest(SkipDoubleQuoted, "\"abc\\"));
}

TEST(SkipBareWord, StopsAtTenCharactersAndAtTheEnd) {
    for (const std::string stop : {"\n", "\r", " ", ")", "*", "+", ",", "-", "/", ";"}) {
        const std::string text = ":abc" + stop + "rest";
        EXPECT_EQ(stop + "rest", Rest(SkipBareWord, text.c_str()));
    }
    EXPECT_EQ("", Rest(SkipBareWord, ":abc"));
    EXPECT_EQ("", Rest(SkipBareWord, ":"));
}

TEST(SkipBareWord, GoesOverEverythingElse) {
    EXPECT_EQ(" x", Rest(SkipBareWord, ":a.b x"));
    EXPECT_EQ(",", Rest(SkipBareWord, ":a=:b\t(\"'|,"));
}

TEST(SkipBareWord, ABackslashHidesFourCharacters) {
    EXPECT_EQ(" x", Rest(SkipBareWord, ":a\\\\b x"));
    EXPECT_EQ(" x", Rest(SkipBareWord, ":a\\'\\_\\\"b x"));
}

TEST(SkipBareWord, ALoneBackslashDoesNotHideAStop) {
    EXPECT_EQ(" x", Rest(SkipBareWord, ":a\\ x"));
    EXPECT_EQ(";", Rest(SkipBareWord, ":a\\;"));
    EXPECT_EQ("", Rest(SkipBareWord, ":a\\"));
}

TEST(SkipStringLiteral, StartsBehindTheOpeningQuote) {
    EXPECT_EQ(" rest", Rest(SkipStringLiteral, "it''s' rest"));
    EXPECT_EQ(" rest", Rest(SkipStringLiteral, "' rest"));
}

TEST(SkipQuotedName, StartsBehindTheOpeningQuote) {
    EXPECT_EQ(" rest", Rest(SkipQuotedName, "a\\\"b\" rest"));
}

TEST(SkipMarkerName, StartsBehindTheColon) {
    EXPECT_EQ(") rest", Rest(SkipMarkerName, "a.b) rest"));
    EXPECT_EQ(" rest", Rest(SkipMarkerName, " rest"));
}
