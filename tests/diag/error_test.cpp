// Error records: how they are filled from client codes and server texts, how they hang on handles,
// and how they are read and freed.
#include "diag/error.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <thread>

#include "platform/memory.h"
#include "records/handles.h"
#include "records/statement.h"

namespace {

// A record that a slot owns, freed at the end of the test; every block must then be gone.
struct ErrorSlot {
    int64_t blocks = MemLiveBlocks();
    ErrInfo *slot = nullptr;

    ~ErrorSlot() {
        ErrInfoFree(&slot);
        EXPECT_EQ(nullptr, slot);
        EXPECT_EQ(blocks, MemLiveBlocks());
    }
};

// What ErrInfoCopy tells of a slot.
struct Told {
    std::string code;
    std::string message;
    uint32_t length = 4711;
};

Told Tell(ErrInfo *const *slot) {
    Told told;
    char code[7] = "-";
    std::string message(1024, '#');
    ErrInfoCopy(slot, code, message.data(), 1024, &told.length);
    told.code = code;
    if (told.length <= 1024) {
        told.message = message.substr(0, told.length);
        EXPECT_EQ('#', message[told.length]);
    }
    return told;
}

// The message that ErrInfoSet builds.
std::string SetMessage(const char *code, const char *detail, int32_t expected_result) {
    ErrInfo err = {};
    EXPECT_EQ(expected_result, ErrInfoSet(&err, code, detail));
    EXPECT_STREQ(code, err.code);
    std::string message = err.message;
    MemFree(err.message);
    return message;
}

TEST(ErrInfoSet, ConnectFailureBearsPlatformTextAndDetail) {
    EXPECT_EQ("[Win_x64]connect to server failure,x", SetMessage("E32389", "x", 0));
}

TEST(ErrInfoSet, PortErrorReadsAsTheTableSays) {
    EXPECT_EQ("[Win_x64]Set Server attr-Port error, the error-Port is 0 ",
              SetMessage("E32207", " the error-Port is 0 ", 0));
}

TEST(ErrInfoSet, LoginErrorShowsTheVersion) {
    EXPECT_EQ("[Win_x64][301]login database error,[E13601]no such user",
              SetMessage("E32384", "[E13601]no such user", 0));
}

TEST(ErrInfoSet, UnknownCodeKeepsItsCodeAndTheBareDetail) {
    EXPECT_EQ("[Win_x64]  Unsupported reconnect type 2 ",
              SetMessage("E32217", " Unsupported reconnect type 2 ", -1));
    EXPECT_EQ("[Win_x64] x", SetMessage("E32400", "x", -1));
}

TEST(ErrInfoSet, FamilyZeroHasAnEmptyTableText) {
    EXPECT_EQ("[Win_x64],x", SetMessage("E32000", "x", 0));
}

TEST(ErrInfoSet, EmptyDetailLeavesTheComma) {
    EXPECT_EQ("[Win_x64]handle alloc error,", SetMessage("E32102", "", 0));
    EXPECT_EQ("[Win_x64] ", SetMessage("E32217", "", -1));
}

TEST(ErrInfoSet, MessageIsCutAt255Characters) {
    std::string detail(300, 'd');
    std::string message = SetMessage("E32102", detail.c_str(), 0);
    EXPECT_EQ("[Win_x64]handle alloc error," + std::string(255 - 28, 'd'), message);
}

TEST(ErrInfoSet, SecondFillFreesTheFirstMessage) {
    int64_t blocks = MemLiveBlocks();
    ErrInfo err = {};
    ErrInfoSet(&err, "E32102", "one");
    ErrInfoSet(&err, "E32388", "two");
    EXPECT_STREQ("E32388", err.code);
    EXPECT_STREQ("[Win_x64]connect set IP/Port error,two", err.message);
    EXPECT_EQ(blocks + 1, MemLiveBlocks());
    MemFree(err.message);
}

TEST(ErrInfoSet, CodeLongerThanSixCharactersIsCut) {
    ErrInfo err = {};
    EXPECT_EQ(0, ErrInfoSet(&err, "E32102345", "x"));
    EXPECT_STREQ("E32102", err.code);
    EXPECT_STREQ("[Win_x64]handle alloc error,x", err.message);
    MemFree(err.message);
}

TEST(ErrInfoFromServer, FiveCharacterCode) {
    ErrorSlot rig;
    EXPECT_EQ(0, ErrInfoFromServer(&rig.slot, "[E1234]no such thing"));
    Told told = Tell(&rig.slot);
    EXPECT_EQ("E1234", told.code);
    EXPECT_EQ("[E1234]no such thing", told.message);
    EXPECT_EQ(20u, told.length);
}

TEST(ErrInfoFromServer, SixCharacterCode) {
    ErrorSlot rig;
    EXPECT_EQ(0, ErrInfoFromServer(&rig.slot, "[E12345]no such thing"));
    Told told = Tell(&rig.slot);
    EXPECT_EQ("E12345", told.code);
    EXPECT_EQ("[E12345]no such thing", told.message);
}

TEST(ErrInfoFromServer, SecondTextKeepsTheRecordAndFreesTheFirstMessage) {
    ErrorSlot rig;
    ErrInfoFromServer(&rig.slot, "[E12345]first");
    ErrInfo *record = rig.slot;
    int64_t blocks = MemLiveBlocks();
    ErrInfoFromServer(&rig.slot, "[E1234]second");
    EXPECT_EQ(record, rig.slot);
    EXPECT_EQ(nullptr, record->retired);
    EXPECT_EQ(blocks, MemLiveBlocks());
    Told told = Tell(&rig.slot);
    EXPECT_EQ("E1234", told.code);
    EXPECT_EQ("[E1234]second", told.message);
}

TEST(ErrInfoFromServer, ShorterCodeLeavesNothingOfTheLongerOne) {
    ErrorSlot rig;
    ErrInfoFromServer(&rig.slot, "[E12345]first");
    ErrInfoFromServer(&rig.slot, "[E1234]second");
    EXPECT_EQ(0, memcmp(rig.slot->code, "E1234\0\0", 7));
    ErrInfoFromServer(&rig.slot, "[E12345]third");
    ErrInfoFromServer(&rig.slot, "no");
    EXPECT_EQ(0, memcmp(rig.slot->code, "o\0\0\0\0\0\0", 7));
}

TEST(ErrInfoFromServer, TextUnderSevenCharactersGivesTheCodeThatIsThere) {
    struct {
        const char *text;
        const char *code;
    } const cases[] = {{"", ""},
                       {"n", ""},
                       {"no", "o"},
                       {"[E1]", "E1]"},
                       {"[E123]", "E123]"},
                       {"[E1234", "E1234"},
                       {"[E1234]", "E1234"}};
    for (const auto &item : cases) {
        ErrorSlot rig;
        EXPECT_EQ(0, ErrInfoFromServer(&rig.slot, item.text));
        Told told = Tell(&rig.slot);
        EXPECT_EQ(item.code, told.code) << item.text;
        EXPECT_EQ(item.text, told.message);
    }
}

TEST(ErrInfoFromServer, LongTextIsKeptWhole) {
    ErrorSlot rig;
    std::string text = "[E12345]" + std::string(700, 'x');
    ErrInfoFromServer(&rig.slot, text.c_str());
    EXPECT_EQ(text, Tell(&rig.slot).message);
}

TEST(ErrInfoFromServer, NoMemoryLeavesTheSlotAsItWas) {
    ErrorSlot rig;
    for (uint64_t failing = 1; failing <= 2; failing++) {
        MemFailAt(failing);
        EXPECT_EQ(-5, ErrInfoFromServer(&rig.slot, "[E12345]first"));
        EXPECT_EQ(nullptr, rig.slot);
    }
    MemFailAt(0);
    ErrInfoFromServer(&rig.slot, "[E12345]first");
    for (uint64_t failing = 1; failing <= 2; failing++) {
        MemFailAt(failing);
        EXPECT_EQ(-5, ErrInfoFromServer(&rig.slot, "[E1234]second"));
        EXPECT_EQ("[E12345]first", Tell(&rig.slot).message);
    }
    MemFailAt(0);
}

TEST(ErrInfoReplace, FillsANewRecordAndThenOverwritesIt) {
    ErrorSlot rig;
    EXPECT_EQ(0, ErrInfoReplace(&rig.slot, "E19884", "can't connect to server"));
    EXPECT_EQ("E19884", Tell(&rig.slot).code);
    ErrInfo *record = rig.slot;
    EXPECT_EQ(0, ErrInfoReplace(&rig.slot, "", "odd text"));
    EXPECT_EQ(record, rig.slot);
    EXPECT_EQ("", Tell(&rig.slot).code);
    EXPECT_EQ("odd text", Tell(&rig.slot).message);
}

TEST(ErrInfoPresent, TellsWhetherTheSlotHoldsARecord) {
    ErrorSlot rig;
    EXPECT_FALSE(ErrInfoPresent(&rig.slot));
    ErrInfoFromServer(&rig.slot, "[E1234]x");
    EXPECT_TRUE(ErrInfoPresent(&rig.slot));
}

TEST(ErrInfoCode, CopiesTheCodeOrClearsIt) {
    ErrorSlot rig;
    char code[7];
    memset(code, 'x', sizeof(code));
    EXPECT_FALSE(ErrInfoCode(&rig.slot, code));
    EXPECT_EQ(0, memcmp(code, "\0\0\0\0\0\0\0", 7));
    ErrInfoFromServer(&rig.slot, "[E13001]duplicate");
    EXPECT_TRUE(ErrInfoCode(&rig.slot, code));
    EXPECT_STREQ("E13001", code);
}

TEST(ErrInfoCopy, EmptySlotWritesNothing) {
    ErrorSlot rig;
    char code[7] = "abcdef";
    char message[4] = "xyz";
    uint32_t length = 99;
    ErrInfoCopy(&rig.slot, code, message, 4, &length);
    EXPECT_STREQ("abcdef", code);
    EXPECT_STREQ("xyz", message);
    EXPECT_EQ(99u, length);
}

TEST(ErrInfoCopy, MessageIsCutAtTheRoomAndHasNoTerminator) {
    ErrorSlot rig;
    ErrInfoFromServer(&rig.slot, "[E1234]x");
    char message[5] = "####";
    uint32_t length = 0;
    ErrInfoCopy(&rig.slot, nullptr, message, 3, &length);
    EXPECT_STREQ("[E1#", message);
    EXPECT_EQ(3u, length);
}

TEST(ErrInfoCopy, EveryOutPointerMayBeNull) {
    ErrorSlot rig;
    ErrInfoFromServer(&rig.slot, "[E1234]x");
    ErrInfoCopy(&rig.slot, nullptr, nullptr, 512, nullptr);
    uint32_t length = 0;
    ErrInfoCopy(&rig.slot, nullptr, nullptr, 512, &length);
    EXPECT_EQ(8u, length);
}

// Attaches a record to a handle of each type and looks for it in that handle's own field.
template <typename Handle>
void ExpectAttached(uint32_t type, ErrInfo *Handle::*field) {
    int64_t blocks = MemLiveBlocks();
    Handle *handle = (Handle *)MemAlloc(sizeof(Handle));
    handle->type = type;
    ErrInfoRaiseText(handle, "E19884", "first");
    ErrInfoRaiseText(handle, "E32102", "second");
    EXPECT_EQ("second", Tell(&(handle->*field)).message) << type;
    EXPECT_EQ("E32102", Tell(&(handle->*field)).code) << type;
    ASSERT_NE(nullptr, (handle->*field)->retired) << type;
    EXPECT_STREQ("first", (handle->*field)->retired->message) << type;
    ErrInfoFree(&(handle->*field));
    MemFree(handle);
    EXPECT_EQ(blocks, MemLiveBlocks()) << type;
}

TEST(ErrInfoAttach, EachHandleTypeHasItsField) {
    ExpectAttached(1, &TVCIEnv::error);
    ExpectAttached(2, &TVCIServer::error);
    ExpectAttached(3, &TVCISession::error);
    ExpectAttached(4, &TVCIPool::error);
    ExpectAttached(5, &TVCIStmt::err);
}

TEST(ErrInfoSlot, TypesWithoutAnErrorHaveNone) {
    for (uint32_t type : {0u, 6u, 7u, 8u, 9u, 10u, 11u, 0xFFFFFFFFu}) {
        uint32_t handle[4] = {type};
        EXPECT_EQ(nullptr, ErrInfoSlot(handle)) << type;
    }
}

TEST(ErrInfoAttach, OtherTypesAreIgnored) {
    int64_t blocks = MemLiveBlocks();
    for (uint32_t type : {0u, 6u, 7u, 8u, 10u, 11u}) {
        uint32_t handle[4] = {type, 0x11111111, 0x22222222, 0x33333333};
        ErrInfoRaiseText(handle, "E19884", "lost");
        EXPECT_EQ(type, handle[0]);
        EXPECT_EQ(0x11111111u, handle[1]);
        EXPECT_EQ(0x22222222u, handle[2]);
        EXPECT_EQ(0x33333333u, handle[3]);
    }
    EXPECT_EQ(blocks, MemLiveBlocks());
}

TEST(ErrInfoRaise, DetailIsCutAt127Characters) {
    TVCIEnv env = {};
    env.type = 1;
    std::string text(200, 'u');
    ErrInfoRaise(&env, "E32208", "  the URL is %s ", text.c_str());
    EXPECT_EQ("[Win_x64]Set Server attr-URL  error,  the URL is " + std::string(127 - 13, 'u'),
              Tell(&env.error).message);
    ErrInfoFree(&env.error);
}

TEST(ErrInfoRaise, NoMemoryForTheRecordKeepsTheOldOne) {
    TVCIEnv env = {};
    env.type = 1;
    ErrInfoRaiseText(&env, "E19884", "first");
    MemFailAt(1);
    ErrInfoRaise(&env, "E32102", "%d", 5);
    MemFailAt(1);
    ErrInfoRaiseText(&env, "E32102", "text");
    MemFailAt(0);
    EXPECT_EQ("first", Tell(&env.error).message);
    ErrInfoFree(&env.error);
}

TEST(ErrInfoRaise, NoMemoryForTheMessageLeavesTheCodeAlone) {
    TVCIEnv env = {};
    env.type = 1;
    MemFailAt(2);
    ErrInfoRaise(&env, "E32102", "%d", 5);
    MemFailAt(0);
    EXPECT_EQ("E32102", Tell(&env.error).code);
    EXPECT_EQ(0u, Tell(&env.error).length);
    ErrInfoFree(&env.error);
}

TEST(ErrInfoRaiseCopy, CopiesCodeAndMessage) {
    ErrorSlot source;
    TVCISession session = {};
    session.type = 3;
    ErrInfoFromServer(&source.slot, "[E13601]no such user");
    ErrInfoRaiseCopy(&session, &source.slot);
    EXPECT_NE(source.slot, session.error);
    EXPECT_EQ("E13601", Tell(&session.error).code);
    EXPECT_EQ("[E13601]no such user", Tell(&session.error).message);
    ErrInfoFree(&session.error);
}

TEST(ErrInfoRaiseCopy, EmptySlotReportsThatThereWasNoConnection) {
    ErrInfo *none = nullptr;
    TVCISession session = {};
    session.type = 3;
    ErrInfoRaiseCopy(&session, &none);
    EXPECT_EQ("E19884", Tell(&session.error).code);
    EXPECT_EQ("can't connect to server", Tell(&session.error).message);
    ErrInfoFree(&session.error);
}

TEST(ErrInfoRetire, DroppedRecordsStayReachableUntilFreed) {
    int64_t blocks = MemLiveBlocks();
    TVCISession session = {};
    session.type = 3;
    ErrInfoRetire(&session.error, &session.retired);
    EXPECT_EQ(nullptr, session.retired);
    ErrInfoRaiseText(&session, "E19884", "first");
    ErrInfoRaiseText(&session, "E19884", "second");
    ErrInfoRetire(&session.error, &session.retired);
    EXPECT_EQ(nullptr, session.error);
    ErrInfoRaiseText(&session, "E19884", "third");
    ErrInfoRetire(&session.error, &session.retired);
    ASSERT_NE(nullptr, session.retired);
    EXPECT_STREQ("third", session.retired->message);
    EXPECT_STREQ("second", session.retired->retired->message);
    EXPECT_STREQ("first", session.retired->retired->retired->message);
    EXPECT_EQ(nullptr, session.retired->retired->retired->retired);
    ErrInfoFree(&session.retired);
    EXPECT_EQ(blocks, MemLiveBlocks());
}

TEST(ErrInfo, AReaderSeesOneWholeTextWhileAnotherThreadWrites) {
    ErrorSlot rig;
    ErrInfoFromServer(&rig.slot, "[E11111]aaaaaaaa");
    std::thread writer([&rig] {
        for (int round = 0; round < 2000; round++) {
            ErrInfoFromServer(&rig.slot, round % 2 == 0 ? "[E2222]bb" : "[E11111]aaaaaaaa");
        }
    });
    for (int round = 0; round < 2000; round++) {
        Told told = Tell(&rig.slot);
        if (told.code == "E11111") {
            EXPECT_EQ("[E11111]aaaaaaaa", told.message);
        } else {
            EXPECT_EQ("E2222", told.code);
            EXPECT_EQ("[E2222]bb", told.message);
        }
    }
    writer.join();
}

}  // namespace
