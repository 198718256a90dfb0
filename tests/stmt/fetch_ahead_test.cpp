// Server cursors with fetching ahead: the blocks of the reader, the hand-over, and how it ends.
#include "stmt/fetch_ahead.h"

#include <gtest/gtest.h>

#include <atomic>

#include "platform/thread.h"
#include "stmt/ahead_rig.h"

// Fetches all of a cursor of that many rows, and once more than there is.
static void FetchAll(int32_t count) {
    AheadRig rig;
    rig.Open();
    if (count == 0 || count >= 2000) {
        rig.ScriptBlocks(count);
    } else {
        rig.Script(Hex(FETCH_0), Block(0, count));
    }
    rig.FetchRows(0, count - 1);
    EXPECT_EQ(100, TVCIFetch(rig.stmt));
    ASSERT_NE(nullptr, rig.stmt->current);
    EXPECT_EQ(nullptr, rig.stmt->current->current_row);
    EXPECT_TRUE(rig.ReadersEnd());
    rig.WaitReader();
    EXPECT_TRUE(rig.PermitIsFree());
    if (count == 0) {
        // Nothing has told the end of the cursor, so it is asked again.
        rig.Script(Hex(FETCH_0), Block(0, 0));
    }
    EXPECT_EQ(100, TVCIFetch(rig.stmt));
    rig.ScriptClose();
    EXPECT_EQ(0, TVCIStmtClose(rig.stmt, 3));
}

TEST(FetchAhead, NoRows) {
    FetchAll(0);
}

TEST(FetchAhead, OneRow) {
    FetchAll(1);
}

TEST(FetchAhead, ARowLessThanABlock) {
    FetchAll(1999);
}

TEST(FetchAhead, OneBlockWhoseSuccessorComesBackEmpty) {
    FetchAll(2000);
}

TEST(FetchAhead, ARowMoreThanABlock) {
    FetchAll(2001);
}

TEST(FetchAhead, TwoBlocks) {
    FetchAll(4000);
}

TEST(FetchAhead, AHundredThousandRows) {
    FetchAll(100000);
}

TEST(FetchAhead, ACursorOf1999RowsStartsNoReader) {
    AheadRig rig;
    rig.Open();
    rig.Script(Hex(FETCH_0), Block(0, 1999));
    rig.FetchRows(0, 0);
    EXPECT_EQ(1, rig.stmt->ahead->holders.load());
    EXPECT_EQ(7, AheadStateOf(rig.stmt));
    EXPECT_EQ(nullptr, rig.stmt->ahead_result);
    rig.FetchRows(1, 1998);
    EXPECT_EQ(100, TVCIFetch(rig.stmt));
    EXPECT_EQ(0, rig.Waits(WAIT_AHEAD_ROWS));
    EXPECT_EQ(0, rig.Waits(WAIT_AHEAD_TURN));
}

TEST(FetchAhead, ReaderFetchesTheNextBlockWhileTheFirstIsRead) {
    AheadRig rig;
    rig.Open();
    rig.HoldReader();
    rig.Script(Hex(FETCH_0), Block(0, 2000));
    rig.Script(Hex(FETCH_0), Block(2000, 2000));
    rig.FetchRows(0, 0);
    ASSERT_TRUE(rig.AwaitHeldReader());
    ResultSet *first = rig.stmt->current;
    ResultSet *second = rig.stmt->ahead_result;
    ASSERT_NE(nullptr, second);
    EXPECT_EQ(2000, first->store.row_count.load());
    EXPECT_EQ(2000, second->store.row_count.load());
    EXPECT_EQ(first, rig.Result(0));
    EXPECT_EQ(second, rig.Result(1));
    rig.WaitReader();
    EXPECT_TRUE(rig.PermitIsFree());
    rig.FetchRows(1, 1999);
    EXPECT_EQ(first, rig.stmt->current);
    rig.FetchRows(2000, 2000);
    // The two have changed places, and the reader has not come to its turn.
    EXPECT_EQ(second, rig.stmt->current);
    EXPECT_EQ(first, rig.stmt->ahead_result);
    EXPECT_EQ(1, second->position);
    EXPECT_EQ(3, AheadStateOf(rig.stmt));
    EXPECT_EQ(2000, first->store.row_count.load());
    rig.Script(Hex(FETCH_0), Block(0, 0));
    rig.LetReaderGo();
    ASSERT_TRUE(rig.AwaitState(7));
    EXPECT_EQ(0, first->store.row_count.load());
    // What the answer without rows had brought is gone too.
    EXPECT_EQ(nullptr, first->fields);
    EXPECT_EQ(nullptr, first->arena);
    EXPECT_TRUE(rig.ReadersEnd());
    rig.FetchRows(2001, 3999);
    EXPECT_EQ(100, TVCIFetch(rig.stmt));
}

TEST(FetchAhead, EndOfABlockWaitsForTheNext) {
    AheadRig rig;
    rig.Open();
    rig.Script(Hex(FETCH_0), Block(0, 2000));
    rig.peer.Expect(Hex(FETCH_0));
    rig.peer.Gate("next");
    rig.peer.Send(Block(2000, 1));
    rig.FetchRows(0, 1999);
    EXPECT_EQ(0, rig.Waits(WAIT_AHEAD_ROWS));
    rig.OpenAt(WAIT_AHEAD_ROWS, "next");
    rig.FetchRows(2000, 2000);
    EXPECT_LT(0, rig.Waits(WAIT_AHEAD_ROWS));
    rig.Script(Hex(FETCH_0), Block(0, 0));
    EXPECT_EQ(100, TVCIFetch(rig.stmt));
    EXPECT_TRUE(rig.ReadersEnd());
}

TEST(FetchAhead, ColumnDescriptorsGoOnWithTheNextBlock) {
    AheadRig rig;
    rig.Open();
    rig.Script(Hex(FETCH_0), Block(0, 2000));
    rig.Script(Hex(FETCH_0), Block(2000, 2000));
    // A block that lacks the column.
    rig.Script(Hex(FETCH_0), Hex("'A' 00000000 'R' 'K'"));
    rig.FetchRows(0, 0);
    void *column = nullptr;
    ASSERT_EQ(0, TVCIParamGet(rig.stmt, 5, &column, 1));
    char name[128] = {};
    int32_t length = 0;
    rig.FetchRows(1, 2000);
    ASSERT_TRUE(rig.AwaitState(2));
    EXPECT_EQ(0, TVCIGetResultAttr(column, 10, name, &length, 50));
    EXPECT_STREQ("N", name);
    rig.FetchRows(2001, 3999);
    rig.Script(Hex(FETCH_0), Block(0, 0));
    EXPECT_EQ(0, TVCIFetch(rig.stmt));
    ASSERT_TRUE(rig.AwaitState(7));
    EXPECT_EQ(0, TVCIGetResultAttr(column, 10, name, &length, 50));
    EXPECT_STREQ("", name);
    EXPECT_EQ(0, length);
    EXPECT_EQ(0, TVCIGetResultAttr(column, 10, name, &length, 55));
    EXPECT_TRUE(rig.ReadersEnd());
}

TEST(FetchAhead, DescriptorsAreMadeBesideTheReader) {
    AheadRig rig;
    rig.Open();
    rig.Script(Hex(FETCH_0), Block(0, 2000));
    rig.peer.Expect(Hex(FETCH_0));
    rig.peer.SendByteByByte(Block(2000, 1));
    rig.FetchRows(0, 0);
    void *column = nullptr;
    EXPECT_EQ(0, TVCIParamGet(rig.stmt, 5, &column, 1));
    EXPECT_EQ(1, rig.stmt->column_handle_count);
    rig.Script(Hex(FETCH_0), Block(0, 0));
    rig.FetchRows(1, 2000);
    EXPECT_EQ(100, TVCIFetch(rig.stmt));
    EXPECT_TRUE(rig.ReadersEnd());
}

TEST(FetchAhead, TwoStatementsAndAThirdTakeTurnsBetweenBlocks) {
    AheadRig rig;
    AheadStatement other(&rig, "ST1");
    TVCIStmt *plain = rig.NewStmt();
    rig.Open();
    other.Open();
    rig.Script(Hex(FETCH_0), Block(0, 2000));
    rig.Script(Hex(FETCH_0), Block(2000, 2000));
    rig.FetchRows(0, 0);
    ASSERT_TRUE(rig.AwaitState(2));
    rig.Script(Hex(FETCH_1), Block(100000, 2000));
    rig.Script(Hex(FETCH_1), Block(102000, 2000));
    other.FetchRows(100000, 100000);
    ASSERT_TRUE(other.AwaitState(2));
    rig.Script(Hex(REQUEST_X), Hex("'U' 00000001 'K'"));
    EXPECT_EQ(0, TVCIExecDirect(plain, "X", -1));
    for (int32_t i = 1; i < 2000; i++) {
        rig.FetchRows(i, i);
        other.FetchRows(100000 + i, 100000 + i);
    }
    rig.Script(Hex(FETCH_0), Block(4000, 1));
    rig.FetchRows(2000, 2000);
    ASSERT_TRUE(rig.AwaitState(2));
    rig.Script(Hex(FETCH_1), Block(0, 0));
    other.FetchRows(102000, 102000);
    ASSERT_TRUE(other.AwaitState(7));
    rig.Script(Hex(FETCH_0), Block(0, 0));
    rig.FetchRows(2001, 4000);
    ASSERT_TRUE(rig.AwaitState(7));
    rig.Script(Hex(REQUEST_X), Hex("'U' 00000001 'K'"));
    EXPECT_EQ(0, TVCIExecDirect(plain, "X", -1));
    other.FetchRows(102001, 103999);
    EXPECT_EQ(100, TVCIFetch(rig.stmt));
    EXPECT_EQ(100, TVCIFetch(other.stmt));
    EXPECT_TRUE(rig.ReadersEnd());
    EXPECT_TRUE(other.ReadersEnd());
}

TEST(FetchAhead, ReaderWaitsForTheRowReaderOfAnotherStatement) {
    AheadRig rig;
    TVCIStmt *plain = rig.NewStmt();
    rig.Open();
    rig.HoldReader();
    rig.Script(Hex(FETCH_0), Block(0, 2000));
    rig.Script(Hex(FETCH_0), Block(2000, 2000));
    rig.FetchRows(0, 0);
    ASSERT_TRUE(rig.AwaitHeldReader());
    rig.peer.Expect(Hex(REQUEST_X));
    rig.peer.Send(Hex(ONE_FIELD) + IntRows(0, 2000) + Hex("'R'"));
    rig.peer.Gate("rest");
    rig.peer.Send(Hex("00000004 000007D0 'K'"));
    EXPECT_EQ(0, TVCIExecDirect(plain, "X", -1));
    rig.FetchRows(1, 2000);
    rig.Script(Hex(FETCH_0), Block(0, 0));
    rig.OpenAt(WAIT_CONN_PERMIT, "rest");
    rig.LetReaderGo();
    rig.FetchRows(2001, 3999);
    EXPECT_EQ(100, TVCIFetch(rig.stmt));
    EXPECT_LT(0, rig.Waits(WAIT_CONN_PERMIT));
    EXPECT_TRUE(rig.ReadersEnd());
}

TEST(FetchAhead, AnErrorInTheFirstFetchLooksLikeTheEndAndIsKept) {
    AheadRig rig;
    rig.Open();
    rig.Script(Hex(FETCH_0), Hex("'E' 0000000D '[E13001]twice' 'K'"));
    EXPECT_EQ(100, TVCIFetch(rig.stmt));
    EXPECT_EQ("E13001|[E13001]twice", rig.Error());
    EXPECT_EQ(-1, TVCIFetch(rig.stmt));
    EXPECT_TRUE(rig.PermitIsFree());
}

TEST(FetchAhead, AnErrorInALaterFetchLooksLikeTheEndAndIsKept) {
    AheadRig rig;
    rig.Open();
    rig.Script(Hex(FETCH_0), Block(0, 2000));
    rig.Script(Hex(FETCH_0), Hex("'F' 0000000D '[E13001]twice' 'K'"));
    rig.FetchRows(0, 1999);
    EXPECT_EQ(100, TVCIFetch(rig.stmt));
    EXPECT_EQ("E13001|[E13001]twice", rig.Error());
    EXPECT_TRUE(rig.ReadersEnd());
    EXPECT_EQ(100, TVCIFetch(rig.stmt));
}

TEST(FetchAhead, ConnectionLostInTheFirstFetch) {
    const struct {
        Bytes answer;
        int32_t second;  // of the next fetch
    } lines[] = {
        {{}, -1},
        {Hex("'E' 00000009 '[E1]'"), -1},
        {Hex("'A' 00000001 0000"), 100},
        {Hex(ONE_FIELD), 100},
        {Hex(ONE_FIELD) + Hex("'R' 0000"), 100},
    };
    for (const auto &line : lines) {
        AheadRig rig;
        rig.Open();
        rig.SwitchReconnectOff();
        rig.Script(Hex(FETCH_0), line.answer);
        rig.peer.Close();
        EXPECT_EQ(100, TVCIFetch(rig.stmt)) << HexText(line.answer);
        EXPECT_EQ(1, rig.stmt->response_done.load());
        EXPECT_TRUE(rig.PermitIsFree());
        EXPECT_EQ(line.second, TVCIFetch(rig.stmt)) << HexText(line.answer);
    }
}

// The first fetch from a connection that is lost behind this much of the answer.
static void FetchLostBehind(const Bytes &answer, int32_t rows) {
    CursorRig rig(CURSOR_AHEAD);
    rig.Open();
    rig.SwitchReconnectOff();
    rig.Script(Hex(FETCH_0), answer);
    rig.peer.Close();
    rig.FetchRows(0, rows - 1);
    EndAtWaits();
    TVCIFetch(rig.stmt);
}

TEST(FetchAhead, RowsThatCameBeforeTheConnectionWasLostAreWaitedForWithoutEnd) {
    EXPECT_WAITS_FOR_EVER(FetchLostBehind(Hex(ONE_FIELD) + IntRows(0, 3), 0), WAIT_ROWS_AHEAD);
    EXPECT_WAITS_FOR_EVER(FetchLostBehind(Hex(ONE_FIELD) + IntRows(0, 103), 3), WAIT_ROWS_AHEAD);
}

TEST(FetchAhead, ConnectionLostByTheReader) {
    const struct {
        Bytes answer;
        int32_t rows;
    } lines[] = {
        {{}, 0},
        {Hex("'E' 00000009 '[E1]'"), 0},
        {Hex("'A' 00000001 0000"), 0},
        {Hex(ONE_FIELD), 0},
        {Hex(ONE_FIELD) + IntRows(2000, 3) + Hex("'R' 0000"), 3},
        {Hex(ONE_FIELD) + IntRows(2000, 2000), 2000},
    };
    for (const auto &line : lines) {
        AheadRig rig;
        rig.Open();
        rig.SwitchReconnectOff();
        rig.Script(Hex(FETCH_0), Block(0, 2000));
        rig.Script(Hex(FETCH_0), line.answer);
        rig.peer.Close();
        rig.FetchRows(0, 1999 + line.rows);
        EXPECT_EQ(100, TVCIFetch(rig.stmt)) << line.rows;
        EXPECT_TRUE(rig.ReadersEnd());
        rig.WaitReader();
        EXPECT_TRUE(rig.PermitIsFree());
        EXPECT_EQ(100, TVCIFetch(rig.stmt));
    }
}

TEST(FetchAhead, ConnectionComesBackUnderTheReader) {
    AheadRig rig;
    rig.Open();
    rig.Script(Hex(FETCH_0), Block(0, 2000));
    rig.peer.Expect(Hex(FETCH_0));
    rig.peer.Close();
    rig.ScriptSecondLogin();
    rig.FetchRows(0, 1999);
    EXPECT_EQ(100, TVCIFetch(rig.stmt));
    EXPECT_TRUE(rig.ReadersEnd());
    EXPECT_EQ("E19886", rig.ErrorOf(rig.session).substr(0, 6));
    rig.WaitReader();
    EXPECT_TRUE(rig.PermitIsFree());
    rig.Script(Hex(CLOSE_0), Hex("'E' 00000006 '[E1]no' 'K'"));
    rig.Execute();
    rig.Script(Hex(FETCH_0), Block(0, 1));
    rig.FetchRows(0, 0);
    EXPECT_EQ(100, TVCIFetch(rig.stmt));
}

TEST(FetchAhead, ShortMemoryInFrontOfTheFirstFetchSendsNothing) {
    AheadRig rig;
    rig.Open();
    const int64_t blocks = MemLiveBlocks();
    // Two results and what the readers share.
    for (uint64_t n = 1; n <= 3; n++) {
        MemFailAt(n);
        EXPECT_EQ(-5, TVCIFetch(rig.stmt)) << n;
        EXPECT_TRUE(MemFailed());
        MemFailAt(0);
        EXPECT_EQ(blocks, MemLiveBlocks()) << n;
    }
    rig.Script(Hex(FETCH_0), Block(0, 1));
    rig.FetchRows(0, 0);
    EXPECT_EQ(100, TVCIFetch(rig.stmt));
}

TEST(FetchAhead, SwitchedOffInTheMiddleWaitsForTheReaderAndGoesOnWithoutIt) {
    AheadRig rig;
    rig.Open();
    rig.Script(Hex(FETCH_0), Block(0, 2000));
    rig.peer.Expect(Hex(FETCH_0));
    rig.peer.Gate("block");
    rig.peer.Send(Block(2000, 2000));
    rig.FetchRows(0, 1999);
    rig.SetMode(CURSOR_PLAIN);
    rig.OpenAt(WAIT_AHEAD_RELEASE, "block");
    // The block of the reader is lost.
    rig.Script(Hex(FETCH_0), Block(4000, 1));
    EXPECT_EQ(0, TVCIFetch(rig.stmt));
    EXPECT_EQ(4000, rig.number);
    EXPECT_LT(0, rig.Waits(WAIT_AHEAD_RELEASE));
    EXPECT_EQ(2, AheadStateOf(rig.stmt));
    // Switched on again, there is no block behind the reader that still sleeps.
    rig.SetMode(CURSOR_AHEAD);
    EXPECT_EQ(100, TVCIFetch(rig.stmt));
    rig.EndReaders();
}

// A block that was fetched without a reader, of which there is none when the mode changes.
static void FetchSwitchedOn() {
    CursorRig rig(CURSOR_PLAIN);
    rig.Open();
    rig.Script(Hex(FETCH_0), Block(0, 2000));
    rig.FetchRows(0, 1999);
    rig.SetMode(CURSOR_AHEAD);
    EndAtWaits();
    TVCIFetch(rig.stmt);
}

TEST(FetchAhead, SwitchedOnInTheMiddleWaitsForAReaderThatNobodyStarts) {
    EXPECT_WAITS_FOR_EVER(FetchSwitchedOn(), WAIT_AHEAD_ROWS);
}

// A full block behind which no end comes: the response stays open, and so does the connection.
static void FetchOpenBlock(void (*then)(CursorRig *)) {
    CursorRig rig(CURSOR_AHEAD);
    rig.Open();
    rig.Script(Hex(FETCH_0), Hex(ONE_FIELD) + IntRows(0, 2000) + Hex("'U' 00000001 'K'"));
    // Before the reader comes to it the permit is gone.
    ThreadFailAt(1);
    rig.FetchRows(0, 1899);
    if (rig.PermitIsFree() || rig.stmt->response_done.load() != 0) return;
    EndAtWaits();
    then(&rig);
}

TEST(FetchAhead, AFullBlockWithoutAnEndKeepsTheConnection) {
    EXPECT_WAITS_FOR_EVER(FetchOpenBlock([](CursorRig *rig) { TVCIFetch(rig->stmt); }),
                          WAIT_ROWS_AHEAD);
    EXPECT_WAITS_FOR_EVER(FetchOpenBlock([](CursorRig *rig) { TVCIStmtClose(rig->stmt, 3); }),
                          WAIT_CLOSE_PERMIT);
    EXPECT_WAITS_FOR_EVER(FetchOpenBlock([](CursorRig *rig) { TVCICommit(rig->session); }),
                          WAIT_CONN_PERMIT);
}

// A reader that the system refuses.
static void FetchRefused(void (*then)(CursorRig *)) {
    CursorRig rig(CURSOR_AHEAD);
    rig.Open();
    rig.Script(Hex(FETCH_0), Block(0, 2000));
    ThreadFailAt(1);
    rig.FetchRows(0, 1999);
    EndAtWaits();
    then(&rig);
}

TEST(FetchAhead, AReaderThatIsRefusedIsWaitedForWithoutEnd) {
    EXPECT_WAITS_FOR_EVER(FetchRefused([](CursorRig *rig) { TVCIFetch(rig->stmt); }),
                          WAIT_AHEAD_ROWS);
    EXPECT_WAITS_FOR_EVER(FetchRefused([](CursorRig *rig) { TVCIExecute(rig->stmt); }),
                          WAIT_AHEAD_RELEASE);
    EXPECT_WAITS_FOR_EVER(FetchRefused([](CursorRig *rig) { TVCIHandleFree(rig->stmt); }),
                          WAIT_AHEAD_RELEASE);
}

TEST(FetchAhead, AReaderThatIsRefusedIsNotWaitedForOnceDisconnected) {
    AheadRig rig;
    rig.Open();
    rig.Script(Hex(FETCH_0), Block(0, 2000));
    ThreadFailAt(1);
    rig.FetchRows(0, 0);
    EXPECT_EQ(1, rig.stmt->ahead->holders.load());
    rig.peer.ExpectEnd();
    EXPECT_EQ(0, TVCIDisconnect(rig.session));
    rig.FetchRows(1, 1999);
    EXPECT_EQ(100, TVCIFetch(rig.stmt));
    EXPECT_EQ(0, TVCIHandleFree(rig.stmt));
}

// What ReadFetchResponse leaves behind.
struct FetchAnswer {
    Bytes bytes;
    int32_t status;
    int64_t rows;
    int rows_complete;
    int response_done;
    const char *unread;
};

static void ExpectAnswer(const FetchAnswer &line) {
    CursorRig rig(CURSOR_AHEAD);
    rig.SwitchReconnectOff();
    ResultSet *result = NewResultSet(rig.stmt);
    BeginAnswer(rig.stmt);
    CannedAnswer canned(line.bytes);
    EXPECT_EQ(line.status, ReadFetchResponse(rig.stmt, result)) << HexText(line.bytes);
    EXPECT_EQ(line.rows, result->store.row_count.load()) << HexText(line.bytes);
    EXPECT_EQ(line.rows_complete, rig.stmt->rows_complete.load()) << HexText(line.bytes);
    EXPECT_EQ(line.response_done, rig.stmt->response_done.load()) << HexText(line.bytes);
    const Connection *conn = rig.session->conn;
    EXPECT_EQ(0, conn->pushback);
    EXPECT_EQ(HexText(Hex(line.unread)),
              HexText(Bytes(conn->recv_buf + conn->recv_pos, conn->recv_buf + conn->recv_fill)));
    rig.DropUnread();
    rig.stmt->response_done.store(1);
}

TEST(ReadFetchResponse, EachLetter) {
    const FetchAnswer lines[] = {
        {Hex("'K' 'x'"), 0, 0, 1, 1, "'x'"},
        {Hex(ONE_FIELD) + Hex("'K' 'x'"), 0, 0, 1, 1, "'x'"},
        {Block(0, 3) + Hex("'x'"), 0, 3, 1, 1, "'x'"},
        {Hex(ONE_FIELD) + IntRows(0, 3) + Hex("'U' 00000001"), 0, 3, 0, 0, "00000001"},
        {Hex("'D' 00000001"), 0, 0, 0, 0, "00000001"},
        {Hex("'U' 00000001"), 0, 0, 0, 0, "00000001"},
        {Hex("'I' 00000000"), 0, 0, 0, 0, "00000000"},
        {Hex("'O' 00000000"), 0, 0, 0, 0, "00000000"},
        {Hex("'P' 00000000"), 0, 0, 0, 0, "00000000"},
        {Hex("'E' 00000001 'e' 'K' 'x'"), 0, 0, 1, 1, "'x'"},
        {Hex("'F' 00000001 'e' 'K' 'x'"), 0, 0, 1, 1, "'x'"},
        {Hex("'M' 00000001 'e' 'K' 'x'"), 0, 0, 1, 1, "'x'"},
        {Hex("'W' 00000001 'e' 'K' 'x'"), 0, 0, 1, 1, "'x'"},
        {Hex("'E' 00000001 'e'") + Block(0, 3), 0, 3, 1, 1, ""},
        {Hex("'B' 'x'"), -1, 0, 0, 1, "'x'"},
        {Hex("'$' 'x'"), -1, 0, 0, 1, "'x'"},
        {Hex("'R' 'x'"), -1, 0, 0, 1, "'x'"},
        {Hex(ONE_FIELD) + IntRows(0, 3) + Hex("'B' 'x'"), -1, 3, 0, 1, "'x'"},
    };
    for (const FetchAnswer &line : lines) {
        ExpectAnswer(line);
    }
}

TEST(ReadFetchResponse, ASecondFieldListTakesThePlaceOfTheFirst) {
    ExpectAnswer({Hex(ONE_FIELD) + IntRows(0, 3) + Hex(ONE_FIELD) + IntRows(0, 1) + Hex("'K'"), 0,
                  1, 1, 1, ""});
}

TEST(ReadFetchResponse, ItemsThatAreCutShort) {
    const FetchAnswer lines[] = {
        {{}, -4, 0, 0, 1, ""},
        {Hex("'A' 00"), -4, 0, 0, 1, ""},
        {Hex("'A' FFFFFFFF 'x'"), -5, 0, 0, 1, "'x'"},
        {Hex("'A' 00000001 00000001"), -4, 0, 0, 1, ""},
        {Hex(ONE_FIELD) + IntRows(0, 3) + Hex("'A' 00"), -4, 0, 0, 1, ""},
        {Hex(ONE_FIELD) + IntRows(0, 3) + Hex("'R' 00"), -4, 3, 0, 1, ""},
        {Hex("'E' 00000002 'e'"), 1, 0, 0, 1, ""},
        {Hex("'W' FFFFFFFF 'x'"), 1, 0, 0, 1, "'x'"},
        {Hex(ONE_FIELD) + IntRows(0, 3) + Hex("'U'"), 0, 3, 0, 0, ""},
    };
    for (const FetchAnswer &line : lines) {
        ExpectAnswer(line);
    }
}

TEST(ReadFetchResponse, AFullBlock) {
    ExpectAnswer({Block(0, 2000), 0, 2000, 1, 1, ""});
    // No row reader takes the rest: the letter behind the rows is dropped.
    ExpectAnswer({Hex(ONE_FIELD) + IntRows(0, 2000) + Hex("'U' 00"), 0, 2000, 0, 0, "00"});
    ExpectAnswer({Hex(ONE_FIELD) + IntRows(0, 2000) + Hex("'R' 00"), 0, 2000, 0, 0, "00"});
    ExpectAnswer({Hex(ONE_FIELD) + IntRows(0, 2000), 0, 2000, 0, 0, ""});
}

TEST(ReadFetchResponse, SpecialErrorsHaveNoResult) {
    CursorRig rig(CURSOR_AHEAD);
    ResultSet *result = NewResultSet(rig.stmt);
    CannedAnswer canned(Hex("'E' 0000000D '[E13001]twice' 'K'"));
    EXPECT_EQ(0, ReadFetchResponse(rig.stmt, result));
    EXPECT_EQ("E13001|[E13001]twice", rig.Error());
}
