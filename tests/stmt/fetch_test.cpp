// Fetching rows one by one, beside a running row reader and without one.
#include <gtest/gtest.h>

#include "stmt/stmt_rig.h"

TEST(Fetch, FillsTheDefinedColumns) {
    StmtRig rig;
    int32_t number = 0;
    char text[8] = {};
    int32_t codes[2] = {9, 9};
    int32_t lengths[2] = {9, 9};
    EXPECT_EQ(0, TVCIDefineColumn(rig.stmt, 1, &number, 4, TVCI_C_INT, &codes[0], &lengths[0]));
    EXPECT_EQ(0, TVCIDefineColumn(rig.stmt, 2, text, 8, TVCI_C_CHAR, &codes[1], &lengths[1]));
    EXPECT_EQ(0, rig.Answer(Hex("'A' 00000002 00000001 'N' 00000005 FFFFFFFF 00000000 "
                                "             00000001 'T' 0000001E 00000008 00000000 "
                                "'R' 00000004 FFFFFFFE 00000002 'ab' "
                                "'R' 00000000 00000000 'K'")));
    EXPECT_EQ(0, TVCIFetch(rig.stmt));
    EXPECT_EQ(-2, number);
    EXPECT_EQ('a', text[0]);
    EXPECT_EQ('b', text[1]);
    EXPECT_EQ(0, codes[0]);
    EXPECT_EQ(4, lengths[0]);
    EXPECT_EQ(0, codes[1]);
    EXPECT_EQ(2, lengths[1]);
    EXPECT_EQ(0, TVCIFetch(rig.stmt));
    EXPECT_EQ(-1, codes[0]);
    EXPECT_EQ(-1, codes[1]);
    EXPECT_EQ(0, lengths[1]);
    EXPECT_EQ(100, TVCIFetch(rig.stmt));
}

TEST(Fetch, EndOfDataRepeatsAndClearsTheCurrentRow) {
    StmtRig rig;
    EXPECT_EQ(0, rig.Answer(Hex(ONE_FIELD) + Hex("'R' 00000004 0000002A 'K'")));
    EXPECT_EQ(0, TVCIFetch(rig.stmt));
    EXPECT_NE(nullptr, rig.stmt->current->current_row);
    EXPECT_EQ(1, rig.stmt->current->position);
    EXPECT_EQ(100, TVCIFetch(rig.stmt));
    EXPECT_EQ(nullptr, rig.stmt->current->current_row);
    EXPECT_EQ(100, TVCIFetch(rig.stmt));
    EXPECT_EQ(nullptr, rig.stmt->current->current_row);
}

TEST(Fetch, ResultWithoutRowsIsAtItsEnd) {
    StmtRig rig;
    EXPECT_EQ(0, rig.Answer(Hex(ONE_FIELD) + Hex("'K'")));
    EXPECT_EQ(100, TVCIFetch(rig.stmt));
    EXPECT_EQ(100, TVCIFetch(rig.stmt));
}

TEST(Fetch, ResultOfAnUpdateHasNoRows) {
    StmtRig rig;
    EXPECT_EQ(0, rig.Answer(Hex("'U' 00000005 'K'")));
    EXPECT_EQ(3, rig.stmt->current->kind);
    EXPECT_EQ(-1, TVCIFetch(rig.stmt));
}

TEST(Fetch, WithoutAResultFails) {
    StmtRig rig;
    uint32_t dead[4] = {};
    EXPECT_EQ(-1, TVCIFetch(rig.stmt));
    EXPECT_EQ(-2, TVCIFetch(nullptr));
    EXPECT_EQ(-2, TVCIFetch((TVCIStmt *)dead));
}

TEST(Fetch, EveryRowOfEveryBlockSizeComesInOrder) {
    for (int32_t count : {1, 1999, 2000, 2001, 2100, 2101, 4500, 25000}) {
        StmtRig rig;
        int32_t number = -1;
        EXPECT_EQ(0, TVCIDefineColumn(rig.stmt, 1, &number, 4, TVCI_C_INT, nullptr, nullptr));
        EXPECT_EQ(0, rig.Answer(Hex(ONE_FIELD) + IntRows(1000, count) + Hex("'K'")));
        for (int32_t i = 0; i < count; i++) {
            ASSERT_EQ(0, TVCIFetch(rig.stmt)) << i << " of " << count;
            ASSERT_EQ(1000 + i, number);
        }
        EXPECT_EQ(100, TVCIFetch(rig.stmt)) << count;
        rig.WaitReader();
        EXPECT_TRUE(rig.PermitIsFree());
    }
}

TEST(Fetch, StaysAHundredRowsBehindARunningReader) {
    StmtRig rig;
    static ScriptedPeer *peer;
    static int32_t steps;
    peer = &rig.peer;
    steps = 0;
    rig.peer.Expect(Hex(REQUEST_X));
    rig.peer.Send(Hex(ONE_FIELD) + IntRows(0, 2000) + Hex("'R'"));
    rig.peer.Gate("rest");
    rig.peer.Send(Hex("00000004 000007D0 'K'"));
    EXPECT_EQ(0, TVCIExecDirect(rig.stmt, "X", -1));
    WaitSetHook([](WaitPoint point) {
        EXPECT_EQ(WAIT_ROWS_AHEAD, point);
        steps++;
        peer->Open("rest");
    });
    // Row 1899 is the last that lies more than 100 rows in front of the 2000th.
    for (int32_t i = 0; i <= 1899; i++) {
        ASSERT_EQ(0, TVCIFetch(rig.stmt)) << i;
    }
    EXPECT_EQ(0, steps);
    EXPECT_EQ(0, TVCIFetch(rig.stmt));
    EXPECT_LT(0, steps);
    rig.WaitReader();
    WaitSetHook(nullptr);
    for (int32_t i = 1901; i <= 2000; i++) {
        ASSERT_EQ(0, TVCIFetch(rig.stmt)) << i;
    }
    EXPECT_EQ(100, TVCIFetch(rig.stmt));
}

TEST(Fetch, RowsBehindALostReaderAreTheLast) {
    StmtRig rig;
    rig.Script(Hex(REQUEST_X), Hex(ONE_FIELD) + IntRows(0, 2002) + Hex("'U' 00000001 'K'"));
    EXPECT_EQ(0, TVCIExecDirect(rig.stmt, "X", -1));
    rig.WaitReader();
    for (int32_t i = 0; i < 2002; i++) {
        ASSERT_EQ(0, TVCIFetch(rig.stmt)) << i;
    }
    EXPECT_EQ(100, TVCIFetch(rig.stmt));
    EXPECT_EQ(1, rig.stmt->rows_complete.load());
    EXPECT_EQ(0, rig.stmt->response_done.load());
    // The release would wait for a response that nobody ends.
    rig.stmt->response_done.store(1);
}

static void FetchAfter(const char *tail) {
    StmtRig rig;
    rig.SwitchReconnectOff();
    rig.Script(Hex(REQUEST_X), Hex(ONE_FIELD) + IntRows(0, 50) + Hex(tail));
    rig.peer.Close();
    if (TVCIExecDirect(rig.stmt, "X", -1) >= 0) return;
    EndAtWaits();
    TVCIFetch(rig.stmt);
}

TEST(Fetch, RowsOfAResponseThatFailedAreWaitedForWithoutEnd) {
    // Neither a lost connection nor an unknown letter makes the rows complete.
    EXPECT_WAITS_FOR_EVER(FetchAfter(""), WAIT_ROWS_AHEAD);
    EXPECT_WAITS_FOR_EVER(FetchAfter("'B'"), WAIT_ROWS_AHEAD);
}

TEST(Fetch, RowsFarEnoughAheadComeEvenThen) {
    StmtRig rig;
    rig.SwitchReconnectOff();
    rig.Script(Hex(REQUEST_X), Hex(ONE_FIELD) + IntRows(0, 102));
    rig.peer.Close();
    EXPECT_EQ(-4, TVCIExecDirect(rig.stmt, "X", -1));
    EXPECT_EQ(0, TVCIFetch(rig.stmt));
    EXPECT_EQ(0, TVCIFetch(rig.stmt));
    EXPECT_EQ(2, rig.stmt->current->position);
}

TEST(Fetch, SecondResultIsFetchedAfterTheFirst) {
    StmtRig rig;
    int32_t number = 0;
    EXPECT_EQ(0, TVCIDefineColumn(rig.stmt, 1, &number, 4, TVCI_C_INT, nullptr, nullptr));
    EXPECT_EQ(0, rig.Answer(Hex(ONE_FIELD) + Hex("'R' 00000004 00000001") + Hex(ONE_FIELD) +
                            Hex("'R' 00000004 00000002 'K'")));
    EXPECT_EQ(0, TVCIFetch(rig.stmt));
    EXPECT_EQ(1, number);
    EXPECT_EQ(100, TVCIFetch(rig.stmt));
    EXPECT_EQ(0, TVCINextResult(rig.stmt));
    EXPECT_EQ(0, TVCIFetch(rig.stmt));
    EXPECT_EQ(2, number);
    EXPECT_EQ(100, TVCIFetch(rig.stmt));
}

TEST(Fetch, LastPositionIsTheEnd) {
    StmtRig rig;
    EXPECT_EQ(0, rig.Answer(Hex(ONE_FIELD) + Hex("'R' 00000004 00000001 'K'")));
    rig.stmt->current->position = INT32_MAX;
    EXPECT_EQ(100, TVCIFetch(rig.stmt));
    EXPECT_EQ(INT32_MAX, rig.stmt->current->position);
}

TEST(Fetch, AllocatesNothing) {
    StmtRig rig;
    int32_t number = 0;
    EXPECT_EQ(0, TVCIDefineColumn(rig.stmt, 1, &number, 4, TVCI_C_INT, nullptr, nullptr));
    EXPECT_EQ(0, rig.Answer(Hex(ONE_FIELD) + IntRows(0, 500) + Hex("'K'")));
    MemFailAt(1);
    while (TVCIFetch(rig.stmt) == 0) {
    }
    EXPECT_FALSE(MemFailed());
    MemFailAt(0);
    EXPECT_EQ(499, number);
}

TEST(GetData, ConvertsAColumnOfTheCurrentRow) {
    StmtRig rig;
    int32_t number = 0;
    int32_t length = 0;
    EXPECT_EQ(0, rig.Answer(Hex(ONE_FIELD) + Hex("'R' 00000004 0000002A 'R' 00000000 'K'")));
    EXPECT_EQ(0, TVCIFetch(rig.stmt));
    EXPECT_EQ(0, TVCIGetData(rig.stmt, 1, TVCI_C_INT, &number, 4, &length));
    EXPECT_EQ(42, number);
    EXPECT_EQ(4, length);
    EXPECT_EQ(0, TVCIGetData(rig.stmt, 1, TVCI_C_INT, &number, 4, nullptr));
    EXPECT_EQ(0, TVCIFetch(rig.stmt));
    EXPECT_EQ(-1, TVCIGetData(rig.stmt, 1, TVCI_C_INT, &number, 4, &length));
    EXPECT_EQ(0, length);
}

TEST(GetData, ColumnZeroIsOutOfRange) {
    StmtRig rig;
    int32_t number = 0;
    int32_t length = 7;
    EXPECT_EQ(0, rig.Answer(Hex(ONE_FIELD) + Hex("'R' 00000004 0000002A 'K'")));
    EXPECT_EQ(0, TVCIFetch(rig.stmt));
    EXPECT_EQ(-1, TVCIGetData(rig.stmt, 0, TVCI_C_INT, &number, 4, &length));
    EXPECT_EQ(-1, TVCIGetData(rig.stmt, 2, TVCI_C_INT, &number, 4, &length));
    EXPECT_EQ(-1, TVCIGetData(rig.stmt, -1, TVCI_C_INT, &number, 4, &length));
    EXPECT_EQ(7, length);
}

TEST(GetData, ArgumentsAreRefusedInOrder) {
    StmtRig rig;
    char buffer[8];
    int32_t length;
    EXPECT_EQ(-2, TVCIGetData(nullptr, 0, 0, nullptr, 0, &length));
    EXPECT_EQ(-3, TVCIGetData(rig.stmt, 0, 0, buffer, 8, &length));
    EXPECT_EQ(-3, TVCIGetData(rig.stmt, 0, TVCI_C_CHAR, buffer, 0, &length));
    EXPECT_EQ(-3, TVCIGetData(rig.stmt, 0, TVCI_C_BINARY, buffer, 0, &length));
    EXPECT_EQ(-3, TVCIGetData(rig.stmt, 0, TVCI_C_INT, nullptr, 4, &length));
    EXPECT_EQ(-1, TVCIGetData(rig.stmt, 1, TVCI_C_INT, buffer, 0, &length));
    EXPECT_EQ(0, rig.Answer(Hex("'U' 00000001 'K'")));
    EXPECT_EQ(-1, TVCIGetData(rig.stmt, 1, TVCI_C_INT, buffer, 4, &length));
}

TEST(GetData, BeforeTheFirstFetchAndBehindTheLastRowIsNull) {
    StmtRig rig;
    int32_t number = 5;
    int32_t length = 7;
    EXPECT_EQ(0, rig.Answer(Hex(ONE_FIELD) + Hex("'R' 00000004 0000002A 'K'")));
    EXPECT_EQ(-1, TVCIGetData(rig.stmt, 1, TVCI_C_INT, &number, 4, &length));
    EXPECT_EQ(0, length);
    EXPECT_EQ(0, TVCIFetch(rig.stmt));
    EXPECT_EQ(100, TVCIFetch(rig.stmt));
    length = 7;
    EXPECT_EQ(-1, TVCIGetData(rig.stmt, 1, TVCI_C_INT, &number, 4, &length));
    EXPECT_EQ(0, length);
    EXPECT_EQ(5, number);
}
