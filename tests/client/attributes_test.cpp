// Native attributes of environment, session, statement and pool, and the entries to all of them.
#include "client/attributes.h"

#include <gtest/gtest.h>

#include <string>

#include "client/handles.h"
#include "client/tree.h"
#include "diag/error.h"

namespace {

int32_t SetWord(void *handle, int32_t attribute, int32_t word) {
    return TVCIAttrSet(handle, attribute, &word, 0);
}

// The word that a getter stores; -77 when it leaves it alone.
int32_t GetWord(void *handle, int32_t attribute) {
    int32_t word = -77;
    EXPECT_EQ(0, TVCIAttrGet(handle, attribute, &word, 0)) << attribute;
    return word;
}

// The text that a getter stores with plenty of room; "-" when it leaves it alone.
std::string GetText(void *handle, int32_t attribute) {
    char text[256] = "-";
    EXPECT_EQ(0, TVCIAttrGet(handle, attribute, text, sizeof(text))) << attribute;
    return text;
}

TEST(AttrSet, NullHandleIsRefused) {
    int32_t word = 1;
    EXPECT_EQ(-2, TVCIAttrSet(nullptr, 1, &word, 0));
    EXPECT_EQ(-2, TVCIAttrSet(nullptr, 1, nullptr, 0));
}

TEST(AttrSet, NullValueIsABadArgumentAndSaysSo) {
    Tree tree;
    for (void *handle :
         {(void *)tree.env, (void *)tree.server, (void *)tree.session, (void *)tree.stmt}) {
        EXPECT_EQ(-3, TVCIAttrSet(handle, 999, nullptr, 0));
        EXPECT_EQ(
            "E32203|[Win_x64]Set Attribute error, param ValuePtr value pointer can't be NULL ",
            ErrorOf(handle));
    }
    EXPECT_EQ(-3, TVCIAttrSet(dead_handle, 1, nullptr, 0));
    uint32_t handle[4] = {8};
    EXPECT_EQ(-3, TVCIAttrSet(handle, 1, nullptr, 0));
}

TEST(AttrSet, TypeEightAcceptsAnything) {
    uint32_t handle[4] = {8};
    EXPECT_EQ(0, SetWord(handle, 999, 1));
}

TEST(AttrSet, PoolAndOtherTypesAreRefused) {
    Tree tree;
    TVCIPool *pool = nullptr;
    ASSERT_EQ(0, TVCIHandleAlloc(tree.env, (void **)&pool, 4));
    tree.blocks++;  // the pool's record stays
    EXPECT_EQ(-2, SetWord(pool, 5, 3));
    EXPECT_EQ("E32204|[Win_x64]set attr handle type error, this type 4 handle Unsupported ",
              ErrorOf(pool));
    EXPECT_EQ(10, pool->min_conn);
    ErrInfoFree(&pool->error);
    for (uint32_t type : {0u, 6u, 7u, 9u, 10u, 11u}) {
        uint32_t handle[4] = {type};
        EXPECT_EQ(-2, SetWord(handle, 1, 1)) << type;
    }
}

TEST(AttrGet, NullHandleOrValueIsABadArgument) {
    Tree tree;
    int32_t word = 0;
    EXPECT_EQ(-3, TVCIAttrGet(nullptr, 1, &word, 0));
    EXPECT_EQ(-3, TVCIAttrGet(tree.env, 1, nullptr, 0));
    EXPECT_EQ("none", ErrorOf(tree.env));
}

TEST(AttrGet, TypeEightAnswersNothing) {
    uint32_t handle[4] = {8};
    EXPECT_EQ(-77, GetWord(handle, 1));
}

TEST(AttrGet, OtherTypesAreRefused) {
    for (uint32_t type : {0u, 4u, 6u, 7u, 9u, 10u, 11u}) {
        uint32_t handle[4] = {type};
        int32_t word = 0;
        EXPECT_EQ(-2, TVCIAttrGet(handle, 50, &word, 0)) << type;
    }
}

TEST(GetResultAttr, AnswersForTheTypesOfTheTree) {
    Tree tree;
    int32_t word = -77;
    int32_t length = 4;
    EXPECT_EQ(0, TVCIGetResultAttr(tree.env, 1, &word, &length, 1));
    EXPECT_EQ(0x10000, word);
    uint16_t port = 0;
    EXPECT_EQ(0, TVCIGetResultAttr(tree.server, 2, &port, &length, 22));
    EXPECT_EQ(5138, port);
    EXPECT_EQ(0, TVCIGetResultAttr(tree.session, 3, &word, nullptr, 33));
    EXPECT_EQ(1, word);
    EXPECT_EQ(0, TVCIGetResultAttr(tree.stmt, 5, &word, nullptr, 42));
    EXPECT_EQ(0, word);
}

TEST(GetResultAttr, OtherTypesAreRefused) {
    for (int32_t type : {0, 4, 6, 7, 8, 9, 11, 12, 1000}) {
        uint32_t handle[4] = {(uint32_t)type};
        int32_t word = -77;
        EXPECT_EQ(-2, TVCIGetResultAttr(handle, type, &word, nullptr, 1)) << type;
        EXPECT_EQ(-77, word) << type;
    }
    uint32_t handle[4] = {0xFFFFFFFF};
    int32_t word = 0;
    EXPECT_EQ(-2, TVCIGetResultAttr(handle, -1, &word, nullptr, 1));
}

TEST(GetResultAttr, TypeThatIsNotTheHandlesIsRefused) {
    Tree tree;
    int32_t word = -77;
    EXPECT_EQ(-2, TVCIGetResultAttr(tree.server, 10, &word, nullptr, 51));
    EXPECT_EQ(-2, TVCIGetResultAttr(tree.env, 5, &word, nullptr, 61));
    EXPECT_EQ(-2, TVCIGetResultAttr(dead_handle, 10, &word, nullptr, 51));
    EXPECT_EQ(-77, word);
}

TEST(GetResultAttr, NullHandleOrValueIsABadArgument) {
    Tree tree;
    int32_t word = 0;
    EXPECT_EQ(-3, TVCIGetResultAttr(nullptr, 10, &word, nullptr, 51));
    EXPECT_EQ(-3, TVCIGetResultAttr(tree.env, 1, nullptr, nullptr, 1));
}

TEST(GetResultAttr, LengthIsTheRoomForAText) {
    Tree tree;
    ASSERT_EQ(0, TVCIAttrSet(tree.server, 24, "SYSTEM", -1));
    char text[16] = "###############";
    int32_t length = 4;
    EXPECT_EQ(0, TVCIGetResultAttr(tree.server, 2, text, &length, 24));
    EXPECT_STREQ("SYS", text);
    EXPECT_EQ('#', text[4]);
    EXPECT_EQ(0, TVCIGetResultAttr(tree.server, 2, text, nullptr, 24));
    EXPECT_STREQ("SYSTEM", text);
}

TEST(EnvAttributes, VersionHoldsTwoHalves) {
    Tree tree;
    EXPECT_EQ(0x00010000, GetWord(tree.env, 1));
    EXPECT_EQ(0, SetWord(tree.env, 1, (int32_t)0xABCD1234));
    EXPECT_EQ(0xABCD, tree.env->version_major);
    EXPECT_EQ(0x1234, tree.env->version_minor);
    EXPECT_EQ((int32_t)0xABCD1234, GetWord(tree.env, 1));
    EXPECT_EQ(0, SetWord(tree.env, 1, 1));
    EXPECT_EQ(1, GetWord(tree.env, 1));
}

TEST(EnvAttributes, UsePoolIsZeroOrOne) {
    Tree tree;
    EXPECT_EQ(0, GetWord(tree.env, 2));
    EXPECT_EQ(0, SetWord(tree.env, 2, 0x100));
    EXPECT_EQ(1, GetWord(tree.env, 2));
    EXPECT_EQ(0, SetWord(tree.env, 2, 0));
    EXPECT_EQ(0, GetWord(tree.env, 2));
}

TEST(EnvAttributes, OtherCodesAreUnknown) {
    Tree tree;
    for (int32_t attribute : {-1, 0, 3, 21, 33}) {
        EXPECT_EQ(-6, SetWord(tree.env, attribute, 1));
        EXPECT_EQ("E32201|[Win_x64]set environment handle attribute error, no number is : " +
                      std::to_string(attribute) + " Attribute",
                  ErrorOf(tree.env));
    }
    int32_t word = -77;
    EXPECT_EQ(-6, TVCIAttrGet(tree.env, 3, &word, 0));
    EXPECT_EQ(-77, word);
}

TEST(EnvAttributes, FailedGetAttachesNothing) {
    Tree tree;
    int32_t word = 0;
    EXPECT_EQ(-6, TVCIAttrGet(tree.env, 3, &word, 0));
    EXPECT_EQ(-6, TVCIAttrGet(tree.server, 3, &word, 0));
    EXPECT_EQ(-6, TVCIAttrGet(tree.session, 3, &word, 0));
    EXPECT_EQ("none", ErrorOf(tree.env));
    EXPECT_EQ("none", ErrorOf(tree.server));
    EXPECT_EQ("none", ErrorOf(tree.session));
}

TEST(SessionAttributes, CharacterSets) {
    Tree tree;
    EXPECT_EQ(0, SetWord(tree.session, 33, 3));
    EXPECT_STREQ("UTF8", tree.session->attr.char_set);
    EXPECT_EQ(3, GetWord(tree.session, 33));
    EXPECT_EQ(0, SetWord(tree.session, 33, 2));
    EXPECT_STREQ("GB2312", tree.session->attr.char_set);
    EXPECT_EQ(2, GetWord(tree.session, 33));
    EXPECT_EQ(0, SetWord(tree.session, 33, 1));
    EXPECT_STREQ("GBK", tree.session->attr.char_set);
    EXPECT_EQ(1, GetWord(tree.session, 33));
}

TEST(SessionAttributes, OtherCharacterSetsAreRefused) {
    Tree tree;
    for (int32_t code : {-1, 0, 4}) {
        EXPECT_EQ(-1, SetWord(tree.session, 33, code));
        EXPECT_EQ("E32211|[Win_x64]Set Session attr-CharSet Error, Unsupported char-set type " +
                      std::to_string(code) + " ",
                  ErrorOf(tree.session));
        EXPECT_STREQ("GBK", tree.session->attr.char_set);
    }
}

TEST(SessionAttributes, UnlistedCharacterSetTextLeavesTheValueAlone) {
    Tree tree;
    strcpy(tree.session->attr.char_set, "LATIN1");
    EXPECT_EQ(-77, GetWord(tree.session, 33));
}

TEST(SessionAttributes, TimeZoneAndEncryptorAreTexts) {
    Tree tree;
    EXPECT_EQ("GTM+08:00", GetText(tree.session, 34));
    EXPECT_EQ(0, TVCIAttrSet(tree.session, 34, "GTM+01:00", -1));
    EXPECT_STREQ("GTM+01:00", tree.session->attr.time_zone);
    EXPECT_EQ("GTM+01:00", GetText(tree.session, 34));
    EXPECT_EQ("-", GetText(tree.session, 35));
    EXPECT_EQ(0, TVCIAttrSet(tree.session, 35, "cipher one", 6));
    EXPECT_STREQ("cipher", tree.session->attr.encryptor);
    EXPECT_EQ("cipher", GetText(tree.session, 35));
}

TEST(SessionAttributes, ShorterTextLeavesNothingOfTheLongerOne) {
    Tree tree;
    EXPECT_EQ(0, TVCIAttrSet(tree.session, 34, "a long time zone", -1));
    EXPECT_EQ(0, TVCIAttrSet(tree.session, 34, "UTC", -1));
    for (size_t index = 3; index < 64; index++) {
        EXPECT_EQ('\0', tree.session->attr.time_zone[index]) << index;
    }
}

TEST(SessionAttributes, TextOverItsFieldIsCut) {
    Tree tree;
    std::string text(200, 'z');
    for (int32_t attribute : {34, 35}) {
        EXPECT_EQ(0, TVCIAttrSet(tree.session, attribute, text.c_str(), -1));
        EXPECT_EQ(std::string(63, 'z'), GetText(tree.session, attribute));
        EXPECT_EQ(0, TVCIAttrSet(tree.session, attribute, text.c_str(), 64));
        EXPECT_EQ(std::string(63, 'z'), GetText(tree.session, attribute));
    }
    EXPECT_STREQ("2", tree.session->attr.iso_level);
}

TEST(SessionAttributes, LengthBeyondTheTerminatorIsNotRead) {
    Tree tree;
    char text[4] = "UTC";
    EXPECT_EQ(0, TVCIAttrSet(tree.session, 34, text, 64));
    EXPECT_STREQ("UTC", tree.session->attr.time_zone);
    EXPECT_EQ(0, TVCIAttrSet(tree.session, 34, "", 64));
    EXPECT_STREQ("", tree.session->attr.time_zone);
}

TEST(SessionAttributes, TextIsCutAtTheRoomOfTheReader) {
    Tree tree;
    char text[16] = "###############";
    EXPECT_EQ(0, TVCIAttrGet(tree.session, 34, text, 4));
    EXPECT_STREQ("GTM", text);
    EXPECT_EQ('#', text[4]);
    memset(text, '#', sizeof(text));
    EXPECT_EQ(0, TVCIAttrGet(tree.session, 34, text, 0));
    EXPECT_EQ('#', text[0]);
    EXPECT_EQ(0, TVCIAttrGet(tree.session, 34, text, 10));
    EXPECT_STREQ("GTM+08:00", text);
    memset(text, '#', sizeof(text));
    EXPECT_EQ(0, TVCIAttrGet(tree.session, 34, text, -1));
    EXPECT_STREQ("GTM+08:00", text);
    EXPECT_EQ('#', text[10]);
}

TEST(SessionAttributes, IsoLevels) {
    Tree tree;
    EXPECT_EQ(2, GetWord(tree.session, 36));
    const char *const texts[] = {"1", "2", "3", "4"};
    for (int32_t level = 1; level <= 4; level++) {
        EXPECT_EQ(0, SetWord(tree.session, 36, level));
        EXPECT_STREQ(texts[level - 1], tree.session->attr.iso_level);
        EXPECT_EQ(level, GetWord(tree.session, 36));
    }
    for (int32_t level : {-1, 0, 5}) {
        EXPECT_EQ(-1, SetWord(tree.session, 36, level));
        EXPECT_EQ("E32212|[Win_x64]Set Session attr-Isolevel Error, Unsupported Isolevel type " +
                      std::to_string(level) + " ",
                  ErrorOf(tree.session));
    }
    EXPECT_STREQ("4", tree.session->attr.iso_level);
}

// An attribute that takes 0 and 1 only.
void ExpectSwitch(int32_t attribute, uint8_t ConnAttr::*field, const std::string &refusal) {
    Tree tree;
    for (int32_t word : {1, 0, 1}) {
        EXPECT_EQ(0, SetWord(tree.session, attribute, word)) << attribute;
        EXPECT_EQ(word, tree.session->attr.*field) << attribute;
        EXPECT_EQ(word, GetWord(tree.session, attribute)) << attribute;
    }
    for (int32_t word : {-1, 2, 256}) {
        EXPECT_EQ(-1, SetWord(tree.session, attribute, word)) << attribute;
        EXPECT_EQ(refusal + std::to_string(word) + " ", ErrorOf(tree.session));
        EXPECT_EQ(1, tree.session->attr.*field) << attribute;
    }
}

TEST(SessionAttributes, UseSslIsASwitch) {
    ExpectSwitch(37, &ConnAttr::use_ssl,
                 "E32213|[Win_x64]Set Session attr-SSL Error, Unsupported Ssl type ");
}

TEST(SessionAttributes, AutoCommitIsASwitch) {
    ExpectSwitch(38, &ConnAttr::auto_commit,
                 "E32214|[Win_x64]Set Session attr-auto_commit Error, Unsupported auto_commit "
                 "type ");
}

TEST(SessionAttributes, ReconnectIsASwitchWhoseCodeHasNoText) {
    ExpectSwitch(43, &ConnAttr::reconnect, "E32217|[Win_x64]  Unsupported reconnect type ");
}

// An attribute that stores 1 for every word but 0.
void ExpectFlag(int32_t attribute, uint8_t ConnAttr::*field, bool readable) {
    Tree tree;
    for (int32_t word : {1, 0, 256, -1}) {
        EXPECT_EQ(0, SetWord(tree.session, attribute, word)) << attribute;
        EXPECT_EQ(word != 0 ? 1 : 0, tree.session->attr.*field) << attribute;
        int32_t stored = -77;
        EXPECT_EQ(readable ? 0 : -6, TVCIAttrGet(tree.session, attribute, &stored, 0));
        if (readable) {
            EXPECT_EQ(word != 0 ? 1 : 0, stored) << attribute;
        } else {
            EXPECT_EQ(-77, stored) << attribute;
        }
    }
}

TEST(SessionAttributes, FlagsTakeAnyWord) {
    ExpectFlag(40, &ConnAttr::lob_ret, true);
    ExpectFlag(44, &ConnAttr::return_cursor_id, true);
}

TEST(SessionAttributes, RowidAndSchemaFlagsCannotBeRead) {
    ExpectFlag(46, &ConnAttr::return_rowid, false);
    ExpectFlag(47, &ConnAttr::return_schema, false);
}

TEST(SessionAttributes, TimeoutsAreWords) {
    Tree tree;
    EXPECT_EQ(0, SetWord(tree.session, 39, 35792));
    EXPECT_EQ(35792, tree.session->attr.timeout);
    EXPECT_EQ(35792, GetWord(tree.session, 39));
    EXPECT_EQ(0, SetWord(tree.session, 39, -1));
    EXPECT_EQ(-1, GetWord(tree.session, 39));
    EXPECT_EQ(0, SetWord(tree.session, 45, 17));
    EXPECT_EQ(17, tree.session->attr.lock_timeout);
    EXPECT_EQ(17, GetWord(tree.session, 45));
}

TEST(SessionAttributes, VersionOf64BytesIsAcceptedAnd65Refused) {
    Tree tree;
    std::string text(65, 'v');
    EXPECT_EQ(0, TVCIAttrSet(tree.session, 41, text.c_str(), 64));
    EXPECT_EQ(std::string(64, 'v'), tree.session->attr.version);
    EXPECT_EQ(0, TVCIAttrSet(tree.session, 41, text.substr(0, 64).c_str(), -1));
    EXPECT_EQ(std::string(64, 'v'), tree.session->attr.version);
    for (int32_t length : {65, -1}) {
        EXPECT_EQ(-1, TVCIAttrSet(tree.session, 41, text.c_str(), length));
        EXPECT_EQ("E32210|[Win_x64]Set Session attrs-Version Error, the version is " + text + " ",
                  ErrorOf(tree.session));
    }
    EXPECT_EQ(std::string(64, 'v'), tree.session->attr.version);
}

TEST(SessionAttributes, VersionLengthOf65IsRefusedThoughItsTextIsShorter) {
    Tree tree;
    char text[65] = "302";
    EXPECT_EQ(-1, TVCIAttrSet(tree.session, 41, text, 65));
    EXPECT_EQ("E32210|[Win_x64]Set Session attrs-Version Error, the version is 302 ",
              ErrorOf(tree.session));
    EXPECT_STREQ("301", tree.session->attr.version);
    EXPECT_EQ(0, TVCIAttrSet(tree.session, 41, text, 64));
    EXPECT_STREQ("302", tree.session->attr.version);
}

TEST(SessionAttributes, RefusedVersionIsCutInItsMessage) {
    Tree tree;
    std::string text(1000, 'v');
    EXPECT_EQ(-1, TVCIAttrSet(tree.session, 41, text.data(), 1000));
    EXPECT_EQ("E32210|[Win_x64]Set Session attrs-Version Error, the version is " +
                  std::string(127 - 16, 'v'),
              ErrorOf(tree.session));
}

TEST(SessionAttributes, VersionCannotBeRead) {
    Tree tree;
    char text[80] = "-";
    EXPECT_EQ(-6, TVCIAttrGet(tree.session, 41, text, sizeof(text)));
    EXPECT_STREQ("-", text);
}

TEST(SessionAttributes, Attribute42IsRefusedOnASessionAndAcceptedOnAStatement) {
    Tree tree;
    EXPECT_EQ(-6, SetWord(tree.session, 42, 1));
    EXPECT_EQ("E32215|[Win_x64]Set Session attr type Error, Unsupported attr-type 42 ",
              ErrorOf(tree.session));
    EXPECT_EQ(0, SetWord(tree.stmt, 42, 1));
}

TEST(SessionAttributes, OtherCodesAreUnknown) {
    Tree tree;
    for (int32_t attribute : {-1, 0, 1, 21, 32, 48, 61}) {
        EXPECT_EQ(-6, SetWord(tree.session, attribute, 1));
        EXPECT_EQ("E32215|[Win_x64]Set Session attr type Error, Unsupported attr-type " +
                      std::to_string(attribute) + " ",
                  ErrorOf(tree.session));
        int32_t word = 0;
        EXPECT_EQ(-6, TVCIAttrGet(tree.session, attribute, &word, 0));
    }
}

TEST(StmtAttributes, CursorModes) {
    Tree tree;
    EXPECT_EQ(0, GetWord(tree.stmt, 42));
    EXPECT_EQ(0, SetWord(tree.stmt, 42, 2));
    EXPECT_EQ(1, tree.stmt->use_server_cursor);
    EXPECT_EQ(1, tree.stmt->fetch_ahead);
    EXPECT_EQ(2, GetWord(tree.stmt, 42));
    EXPECT_EQ(0, SetWord(tree.stmt, 42, 1));
    EXPECT_EQ(1, tree.stmt->use_server_cursor);
    EXPECT_EQ(0, tree.stmt->fetch_ahead);
    EXPECT_EQ(1, GetWord(tree.stmt, 42));
    EXPECT_EQ(0, SetWord(tree.stmt, 42, 0));
    EXPECT_EQ(0, tree.stmt->use_server_cursor);
    EXPECT_EQ(0, GetWord(tree.stmt, 42));
}

TEST(StmtAttributes, FetchAheadAloneReadsAsTwo) {
    Tree tree;
    tree.stmt->fetch_ahead = 1;
    EXPECT_EQ(2, GetWord(tree.stmt, 42));
}

TEST(StmtAttributes, OtherCursorModesAreRefused) {
    Tree tree;
    ASSERT_EQ(0, SetWord(tree.stmt, 42, 2));
    for (int32_t mode : {-1, 3}) {
        EXPECT_EQ(-1, SetWord(tree.stmt, 42, mode));
        EXPECT_EQ(
            "E32220|[Win_x64]Set Statement Error prepare with server cursor, Error "
            "attr-value " +
                std::to_string(mode) + " ",
            ErrorOf(tree.stmt));
        EXPECT_EQ(2, GetWord(tree.stmt, 42));
    }
}

TEST(StmtAttributes, OtherCodesCannotBeSet) {
    Tree tree;
    for (int32_t attribute : {0, 41, 43, 61, 62, 63, 64}) {
        EXPECT_EQ(-6, SetWord(tree.stmt, attribute, 1));
        EXPECT_EQ("E32221|[Win_x64]Set Statement attr-type Error, Unsupported attr-type " +
                      std::to_string(attribute) + " ",
                  ErrorOf(tree.stmt));
    }
}

TEST(PoolAttributes, LimitsAreStoredAndOtherCodesUnknown) {
    Tree tree;
    TVCIPool *pool = nullptr;
    ASSERT_EQ(0, TVCIHandleAlloc(tree.env, (void **)&pool, 4));
    tree.blocks++;  // the pool's record stays
    const int32_t words[] = {3, 40, 500};
    EXPECT_EQ(0, PoolAttrSet(pool, 5, &words[0]));
    EXPECT_EQ(0, PoolAttrSet(pool, 6, &words[1]));
    EXPECT_EQ(0, PoolAttrSet(pool, 7, &words[2]));
    EXPECT_EQ(3, pool->min_conn);
    EXPECT_EQ(40, pool->max_conn);
    EXPECT_EQ(500, pool->pool_timeout);
    for (int32_t attribute : {4, 8}) {
        EXPECT_EQ(-6, PoolAttrSet(pool, attribute, &words[0]));
        EXPECT_EQ("E32216|[Win_x64]Set connpool attr type Error, Unsupported attr-type " +
                      std::to_string(attribute) + " ",
                  ErrorOf(pool));
    }
    ErrInfoFree(&pool->error);
}

}  // namespace
