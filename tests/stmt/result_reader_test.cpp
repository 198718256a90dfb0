// Typed reads of a result that was handed out.
#include <gtest/gtest.h>

#include "stmt/stmt_rig.h"

// Runs "X" with this answer and takes the result.
struct ReaderRig : StmtRig {
    ResultSet *result = nullptr;

    explicit ReaderRig(const Bytes &answer) {
        Script(Hex(REQUEST_X), answer);
        result = TVCIExecDirectResult(stmt, "X", -1);
        EXPECT_NE(nullptr, result);
    }

    ~ReaderRig() {
        ResultClose(result);
    }
};

// An INTEGER "N" and a CHAR "T".
static const char *const TWO_FIELDS =
    "'A' 00000002 00000001 'N' 00000005 FFFFFFFF 00000000 00000001 'T' 0000001E 0000000A 00000000";

TEST(ResultReader, ReadsRowAfterRow) {
    ReaderRig rig(Hex(TWO_FIELDS) + Hex("'R' 00000004 00000007 00000003 'abc' "
                                        "'R' 00000004 FFFFFFFF 00000000 'K'"));
    ASSERT_EQ(1, ResultNext(rig.result));
    EXPECT_EQ(7, ResultGetInt(rig.result, 1));
    EXPECT_EQ(7.0f, ResultGetFloat(rig.result, 1));
    EXPECT_STREQ("7", ResultGetString(rig.result, 1));
    EXPECT_STREQ("abc", ResultGetString(rig.result, 2));
    ASSERT_EQ(1, ResultNext(rig.result));
    EXPECT_EQ(-1, ResultGetInt(rig.result, 1));
    EXPECT_STREQ("-1", ResultGetString(rig.result, 1));
    EXPECT_EQ(nullptr, ResultGetString(rig.result, 2));
    EXPECT_EQ(0, ResultNext(rig.result));
    EXPECT_EQ(nullptr, rig.result->current_row);
    EXPECT_EQ(0, ResultNext(rig.result));
}

TEST(ResultReader, AColumnOutOfRangeHasValuesOfItsOwn) {
    ReaderRig rig(Hex(TWO_FIELDS) + Hex("'R' 00000004 00000007 00000003 'abc' 'K'"));
    ASSERT_EQ(1, ResultNext(rig.result));
    for (const int32_t column : {0, -1, 3, INT32_MAX, INT32_MIN}) {
        EXPECT_EQ(nullptr, ResultGetString(rig.result, column));
        EXPECT_EQ(-1.0f, ResultGetFloat(rig.result, column));
        EXPECT_EQ(-1, ResultGetInt(rig.result, column));
    }
}

TEST(ResultReader, ANullAndAValueWithoutTheFormReadAs0) {
    ReaderRig rig(Hex(TWO_FIELDS) + Hex("'R' 00000000 00000003 'abc' 'K'"));
    EXPECT_EQ(0, ResultGetInt(rig.result, 1));
    ASSERT_EQ(1, ResultNext(rig.result));
    EXPECT_EQ(0, ResultGetInt(rig.result, 1));
    EXPECT_EQ(0.0f, ResultGetFloat(rig.result, 1));
    EXPECT_EQ(nullptr, ResultGetString(rig.result, 1));
    EXPECT_EQ(0, ResultGetInt(rig.result, 2));
    EXPECT_EQ(0.0f, ResultGetFloat(rig.result, 2));
}

TEST(ResultReader, ATextStaysUntilItsColumnIsReadAgain) {
    ReaderRig rig(Hex(TWO_FIELDS) + Hex("'R' 00000004 00000007 00000003 'abc' "
                                        "'R' 00000004 00000008 00000003 'xyz' 'K'"));
    ASSERT_EQ(1, ResultNext(rig.result));
    const char *number = ResultGetString(rig.result, 1);
    const char *text = ResultGetString(rig.result, 2);
    ASSERT_EQ(1, ResultNext(rig.result));
    EXPECT_STREQ("7", number);
    EXPECT_STREQ("abc", text);
    EXPECT_EQ(text, ResultGetString(rig.result, 2));
    EXPECT_STREQ("xyz", text);
    EXPECT_STREQ("7", number);
}

TEST(ResultReader, ATextBeyondTheSizeIsWhole) {
    ReaderRig rig(Hex(TWO_FIELDS) + Hex("'R' 00000000 00002328") + Repeat(Ascii("x"), 9000) +
                  Hex("'K'"));
    ASSERT_EQ(1, ResultNext(rig.result));
    EXPECT_EQ(std::string(9000, 'x'), ResultGetString(rig.result, 2));
}

TEST(ResultReader, AResultWithoutRowsHasNone) {
    ReaderRig empty(Hex(TWO_FIELDS) + Hex("'K'"));
    EXPECT_EQ(0, ResultNext(empty.result));
    ReaderRig counted(Hex("'U' 00000001 'K'"));
    EXPECT_EQ(0, ResultNext(counted.result));
    EXPECT_EQ(-1, ResultGetInt(counted.result, 1));
}

TEST(ResultReader, AResultThatWasReleasedHasNoRows) {
    ReaderRig rig(Hex(TWO_FIELDS) + Hex("'R' 00000004 00000007 00000003 'abc' 'K'"));
    ASSERT_EQ(1, ResultNext(rig.result));
    EXPECT_EQ(0, TVCIStmtClose(rig.stmt, 3));
    EXPECT_EQ(0, ResultNext(rig.result));
    EXPECT_EQ(nullptr, ResultGetString(rig.result, 2));
    EXPECT_EQ(0, ResultGetInt(rig.result, 1));
}

TEST(ResultReader, NoResultReadsAsNothing) {
    EXPECT_EQ(0, ResultNext(nullptr));
    EXPECT_EQ(nullptr, ResultGetString(nullptr, 1));
    EXPECT_EQ(-1.0f, ResultGetFloat(nullptr, 1));
    EXPECT_EQ(-1, ResultGetInt(nullptr, 1));
}

TEST(ResultReader, KeepsItsTextsUntilItIsClosed) {
    const int64_t blocks = MemLiveBlocks();
    {
        ReaderRig rig(Hex(TWO_FIELDS) + Hex("'R' 00000004 00000007 00000003 'abc' 'K'"));
        ASSERT_EQ(1, ResultNext(rig.result));
        ResultGetString(rig.result, 1);
        ResultGetString(rig.result, 2);
    }
    EXPECT_EQ(blocks, MemLiveBlocks());
}

static ScriptedPeer *reader_peer;
static int wait_count;

TEST(ResultReader, StaysAHundredRowsBehindARowReader) {
    StmtRig rig;
    rig.peer.Expect(Hex(REQUEST_X));
    rig.peer.Send(Hex(ONE_FIELD) + IntRows(0, 2000) + Hex("'R'"));
    rig.peer.Gate("rest");
    rig.peer.Send(Hex("00000004 000007D0 'K'"));
    ResultSet *result = TVCIExecDirectResult(rig.stmt, "X", -1);
    ASSERT_NE(nullptr, result);
    reader_peer = &rig.peer;
    wait_count = 0;
    WaitSetHook([](WaitPoint point) {
        EXPECT_EQ(WAIT_ROWS_AHEAD, point);
        wait_count++;
        reader_peer->Open("rest");
    });
    WaitSkipSleeps(true);
    for (int32_t row = 0; row < 2000; row++) {
        ASSERT_EQ(1, ResultNext(result));
        ASSERT_EQ(row, ResultGetInt(result, 1));
        ASSERT_EQ(row >= 1900, wait_count > 0) << row;
    }
    WaitSkipSleeps(false);
    WaitSetHook(nullptr);
    // What the reader added is not in the view.
    EXPECT_EQ(0, ResultNext(result));
    rig.WaitReader();
    ResultClose(result);
}
