// Server cursors without fetching ahead: what is sent when, and what the fetch makes of the
// answers.
#include <gtest/gtest.h>

#include "stmt/cursor_rig.h"
#include "stmt/prepare.h"

TEST(Cursor, IsDeclaredAndOpenedByTheExecution) {
    CursorRig rig(CURSOR_PLAIN);
    rig.PrepareCursor();
    EXPECT_EQ(1, rig.stmt->cursor_declared);
    EXPECT_EQ(nullptr, rig.stmt->cursor_name);
    rig.Script(Hex("3F 0000001F 'DECLARE ST0_CUR CURSOR FOR ST0;' 00 00000000"), Hex("'K'"));
    rig.Script(Hex("3F 0000000D 'OPEN ST0_CUR;' 00 00000000"), Hex(ONE_FIELD) + Hex("'K'"));
    EXPECT_EQ(0, TVCIExecute(rig.stmt));
    EXPECT_STREQ("ST0_CUR", rig.stmt->cursor_name);
    EXPECT_EQ(1, rig.stmt->cursor_open);
    EXPECT_EQ(3, rig.stmt->state);
    ASSERT_NE(nullptr, rig.stmt->current);
    EXPECT_EQ(2, rig.stmt->current->kind);
    EXPECT_EQ(0, rig.stmt->current->store.row_count.load());
    EXPECT_TRUE(rig.PermitIsFree());
}

TEST(Cursor, ParametersGoWithTheDeclaration) {
    CursorRig rig(CURSOR_PLAIN);
    int32_t number = 42;
    rig.Script(Hex("3F 00000010 'PREPARE ST0 AS ?' 00 00000000"), Hex(ONE_FIELD) + Hex("'K'"));
    ASSERT_EQ(0, TVCIPrepare(rig.stmt, "?", -1));
    ASSERT_EQ(0, TVCIBindParam(rig.stmt, 1, 1, &number, 4, TVCI_C_INT, nullptr, nullptr, 4));
    rig.Script(Hex("3F 0000001F 'DECLARE ST0_CUR CURSOR FOR ST0;' 00 00000001 "
                   "0000 0001 0005 00000004 0000002A"),
               Hex("'K'"));
    rig.Script(Hex(OPEN_0), Hex(ONE_FIELD) + Hex("'K'"));
    EXPECT_EQ(0, TVCIExecute(rig.stmt));
}

TEST(Cursor, IsDeclaredOnlyForAStatementThatWasPreparedWithColumns) {
    CursorRig rig(CURSOR_PLAIN);
    rig.Prepare();
    EXPECT_EQ(0, rig.stmt->cursor_declared);
    rig.Script(Hex("3F 00000006 '? ST0 ' 00 00000000"), Hex("'U' 00000001 'K'"));
    EXPECT_EQ(0, TVCIExecute(rig.stmt));
    EXPECT_EQ(0, rig.stmt->cursor_open);
}

TEST(Cursor, IsNotDeclaredForAStatementThatWasPreparedWithoutIt) {
    CursorRig rig(CURSOR_NONE);
    rig.PrepareCursor();
    rig.SetMode(CURSOR_PLAIN);
    rig.Script(Hex("3F 00000006 '? ST0 ' 00 00000000"), Block(0, 1));
    EXPECT_EQ(0, TVCIExecute(rig.stmt));
    EXPECT_EQ(0, TVCIFetch(rig.stmt));
    EXPECT_EQ(100, TVCIFetch(rig.stmt));
}

TEST(Cursor, ThatIsStillOpenIsClosedAndItsNameUsedAgain) {
    CursorRig rig(CURSOR_PLAIN);
    rig.Open();
    const char *name = rig.stmt->cursor_name;
    rig.Script(Hex("3F 00000010 'CLOSE `ST0_CUR`;' 00 00000000"), Hex("'K'"));
    rig.Execute();
    EXPECT_EQ(name, rig.stmt->cursor_name);
}

TEST(Cursor, KeepsTheNameOfItsFirstStatementWhileItIsOpen) {
    CursorRig rig(CURSOR_PLAIN);
    rig.Open();
    rig.Script(Hex("3F 0000000F 'DEALLOCATE ST0;' 00 00000000"), Hex("'K'"));
    rig.Script(Hex("3F 00000010 'PREPARE ST1 AS Y' 00 00000000"), Hex(ONE_FIELD) + Hex("'K'"));
    EXPECT_EQ(0, TVCIPrepare(rig.stmt, "Y", -1));
    EXPECT_EQ(1, rig.stmt->cursor_open);
    rig.Script(Hex(CLOSE_0), Hex("'K'"));
    rig.Script(Hex("3F 0000001F 'DECLARE ST0_CUR CURSOR FOR ST1;' 00 00000000"), Hex("'K'"));
    rig.Script(Hex(OPEN_0), Hex(ONE_FIELD) + Hex("'K'"));
    EXPECT_EQ(0, TVCIExecute(rig.stmt));
    EXPECT_STREQ("ST0_CUR", rig.stmt->cursor_name);
}

TEST(Cursor, ThatWasClosedGetsTheNameOfTheNextStatement) {
    CursorRig rig(CURSOR_PLAIN);
    const int64_t blocks = MemLiveBlocks();
    rig.Open();
    rig.ScriptClose();
    EXPECT_EQ(0, TVCIStmtClose(rig.stmt, 3));
    EXPECT_EQ(nullptr, rig.stmt->cursor_name);
    rig.Script(Hex("3F 00000010 'PREPARE ST1 AS Y' 00 00000000"), Hex(ONE_FIELD) + Hex("'K'"));
    EXPECT_EQ(0, TVCIPrepare(rig.stmt, "Y", -1));
    rig.Script(Hex("3F 0000001F 'DECLARE ST1_CUR CURSOR FOR ST1;' 00 00000000"), Hex("'K'"));
    rig.Script(Hex("3F 0000000D 'OPEN ST1_CUR;' 00 00000000"), Hex(ONE_FIELD) + Hex("'K'"));
    EXPECT_EQ(0, TVCIExecute(rig.stmt));
    rig.Script(Hex("3F 00000010 'CLOSE `ST1_CUR`;' 00 00000000"), Hex("'K'"));
    rig.Script(Hex("3F 00000011 'DEALLOCATE `ST1`;' 00 00000000"), Hex("'K'"));
    EXPECT_EQ(0, TVCIStmtClose(rig.stmt, 3));
    EXPECT_EQ(blocks, MemLiveBlocks());
}

TEST(Cursor, NameThatIsNoLongerOpenIsReplaced) {
    CursorRig rig(CURSOR_PLAIN);
    rig.PrepareCursor();
    rig.stmt->cursor_name = MemCopyText("ST9_CUR");
    rig.Execute();
    EXPECT_STREQ("ST0_CUR", rig.stmt->cursor_name);
}

TEST(Cursor, RefusedCloseIsSwallowed) {
    CursorRig rig(CURSOR_PLAIN);
    rig.Open();
    rig.Script(Hex(CLOSE_0), Hex("'E' 0000000A '[E1]closed' 'K'"));
    rig.Execute();
    EXPECT_EQ("|", rig.Error());
}

TEST(Cursor, ResultIsThatOfTheOpening) {
    CursorRig rig(CURSOR_PLAIN);
    rig.PrepareCursor();
    rig.Script(Hex(DECLARE_0), Hex("'E' 0000000D '[E13001]there' 'K'"));
    rig.Script(Hex(OPEN_0), Hex(ONE_FIELD) + Hex("'K'"));
    EXPECT_EQ(0, TVCIExecute(rig.stmt));
    EXPECT_EQ("E13001|[E13001]there", rig.Error());
    rig.Script(Hex(CLOSE_0), Hex("'K'"));
    rig.Script(Hex(DECLARE_0), Hex("'K'"));
    rig.Script(Hex(OPEN_0), Hex("'E' 0000000B '[E17005]not' 'K'"));
    EXPECT_EQ(-17, TVCIExecute(rig.stmt));
    EXPECT_EQ(1, rig.stmt->cursor_open);
    EXPECT_EQ(nullptr, rig.stmt->current);
    EXPECT_EQ(-1, TVCIFetch(rig.stmt));
}

TEST(Cursor, ColumnsMayComeWithTheDeclaration) {
    CursorRig rig(CURSOR_PLAIN);
    rig.PrepareCursor();
    rig.Script(Hex(DECLARE_0), Hex(ONE_FIELD) + Hex("'K'"));
    rig.Script(Hex(OPEN_0), Hex("'K'"));
    EXPECT_EQ(0, TVCIExecute(rig.stmt));
    rig.Script(Hex(FETCH_0), Block(0, 1));
    EXPECT_EQ(0, TVCIFetch(rig.stmt));
    EXPECT_EQ(0, rig.number);
}

TEST(Cursor, WithoutColumnsInEitherAnswerCannotBeFetched) {
    CursorRig rig(CURSOR_PLAIN);
    rig.PrepareCursor();
    rig.Script(Hex(DECLARE_0), Hex("'K'"));
    rig.Script(Hex(OPEN_0), Hex("'K'"));
    EXPECT_EQ(0, TVCIExecute(rig.stmt));
    EXPECT_EQ(-1, TVCIFetch(rig.stmt));
}

TEST(Cursor, IsOpenedBehindTheRowsOfItsDeclaration) {
    CursorRig rig(CURSOR_PLAIN);
    static ScriptedPeer *peer;
    peer = &rig.peer;
    rig.PrepareCursor();
    rig.peer.Expect(Hex(DECLARE_0));
    rig.peer.Send(Hex(ONE_FIELD) + IntRows(0, 2000) + Hex("'R'"));
    rig.peer.Gate("rest");
    rig.peer.Send(Hex("00000004 000007D0 'K'"));
    rig.Script(Hex(OPEN_0), Hex("'U' 00000001 'K'"));
    WaitSetHook([](WaitPoint point) {
        EXPECT_EQ(WAIT_CONN_PERMIT, point);
        peer->Open("rest");
    });
    EXPECT_EQ(0, TVCIExecute(rig.stmt));
    WaitSetHook(nullptr);
    EXPECT_TRUE(rig.PermitIsFree());
    rig.FetchRows(0, 2000);
    rig.Script(Hex(FETCH_0), Block(0, 0));
    EXPECT_EQ(100, TVCIFetch(rig.stmt));
}

TEST(Cursor, RowsOfTheOpeningAreReadInTheBackground) {
    CursorRig rig(CURSOR_PLAIN);
    rig.PrepareCursor();
    rig.Script(Hex(DECLARE_0), Hex("'K'"));
    rig.Script(Hex(OPEN_0), Block(0, 3000));
    EXPECT_EQ(0, TVCIExecute(rig.stmt));
    rig.WaitReader();
    EXPECT_TRUE(rig.PermitIsFree());
    rig.FetchRows(0, 2999);
}

TEST(Cursor, LostConnectionDoesNotKeepTheOpeningFromBeingSent) {
    CursorRig rig(CURSOR_PLAIN);
    rig.PrepareCursor();
    rig.peer.Expect(Hex(DECLARE_0));
    rig.peer.Close();
    rig.ScriptSecondLogin();
    rig.Script(Hex(OPEN_0), Hex("'E' 0000000E '[E15004]nobody' 'K'"));
    EXPECT_EQ(-1, TVCIExecute(rig.stmt));
    EXPECT_EQ("E15004|[E15004]nobody", rig.Error());
    EXPECT_TRUE(rig.PermitIsFree());
}

static void ExecuteWithADeclarationCutShort() {
    CursorRig rig(CURSOR_PLAIN);
    rig.PrepareCursor();
    rig.Script(Hex(DECLARE_0), Hex("'E' FFFFFFFF"));
    rig.Script(Hex(OPEN_0), Hex("'K'"));
    EndAtWaits();
    TVCIExecute(rig.stmt);
}

TEST(Cursor, DeclarationWhoseAnswerIsCutShortWaitsForItsOwnEnd) {
    EXPECT_WAITS_FOR_EVER(ExecuteWithADeclarationCutShort(), WAIT_RESPONSE_DONE);
}

TEST(Cursor, ConnectionThatIsLostAtTheOpeningIsReported) {
    CursorRig rig(CURSOR_PLAIN);
    rig.PrepareCursor();
    rig.Script(Hex(DECLARE_0), Hex("'K'"));
    rig.peer.Expect(Hex(OPEN_0));
    rig.peer.Close();
    rig.ScriptSecondLogin();
    EXPECT_EQ(-24, TVCIExecute(rig.stmt));
    EXPECT_EQ(1, rig.stmt->cursor_open);
    EXPECT_TRUE(rig.PermitIsFree());
}

TEST(Cursor, WithoutAConnectionIsRefused) {
    for (const CursorMode mode : {CURSOR_PLAIN, CURSOR_AHEAD}) {
        CursorRig rig(mode);
        rig.Open();
        rig.peer.ExpectEnd();
        EXPECT_EQ(0, TVCIDisconnect(rig.session));
        EXPECT_EQ(100, TVCIFetch(rig.stmt)) << mode;
        EXPECT_EQ(-1, TVCIFetch(rig.stmt)) << mode;
        EXPECT_EQ(-4, TVCIExecute(rig.stmt)) << mode;
    }
}

TEST(Cursor, DoesNotLinkItsResults) {
    const Bytes two_blocks = Hex(ONE_FIELD) + IntRows(0, 1) + Block(1, 1);
    CursorRig rig(CURSOR_PLAIN);
    rig.PrepareCursor();
    rig.Script(Hex(DECLARE_0), Hex("'K'"));
    rig.Script(Hex(OPEN_0), two_blocks);
    EXPECT_EQ(0, TVCIExecute(rig.stmt));
    EXPECT_NE(nullptr, rig.Result(1));
    EXPECT_EQ(-7, TVCINextResult(rig.stmt));
    rig.FetchRows(0, 0);
    rig.Script(Hex(FETCH_0), two_blocks);
    rig.FetchRows(0, 0);
    EXPECT_NE(nullptr, rig.Result(1));
    EXPECT_EQ(-7, TVCINextResult(rig.stmt));
}

TEST(Cursor, ShortMemoryForItsNameSendsNothing) {
    CursorRig rig(CURSOR_PLAIN);
    rig.PrepareCursor();
    MemFailAt(1);
    EXPECT_EQ(-5, TVCIExecute(rig.stmt));
    EXPECT_TRUE(MemFailed());
    MemFailAt(0);
    EXPECT_EQ(nullptr, rig.stmt->cursor_name);
    EXPECT_EQ(0, rig.stmt->cursor_open);
    EXPECT_TRUE(rig.PermitIsFree());
    rig.Execute();
}

// Fetches all of a cursor of that many rows, and once more than there is.
static void FetchAll(int32_t count) {
    CursorRig rig(CURSOR_PLAIN);
    rig.Open();
    rig.ScriptBlocks(count);
    rig.FetchRows(0, count - 1);
    EXPECT_EQ(100, TVCIFetch(rig.stmt));
    ASSERT_NE(nullptr, rig.stmt->current);
    EXPECT_EQ(nullptr, rig.stmt->current->current_row);
    EXPECT_TRUE(rig.PermitIsFree());
    // The cursor is still open, so it is asked again.
    rig.Script(Hex(FETCH_0), Block(0, 0));
    EXPECT_EQ(100, TVCIFetch(rig.stmt));
    rig.ScriptClose();
    EXPECT_EQ(0, TVCIStmtClose(rig.stmt, 3));
}

TEST(CursorFetch, NoRows) {
    FetchAll(0);
}

TEST(CursorFetch, OneRow) {
    FetchAll(1);
}

TEST(CursorFetch, ARowLessThanABlock) {
    FetchAll(1999);
}

TEST(CursorFetch, OneBlockWhoseSuccessorComesBackEmpty) {
    FetchAll(2000);
}

TEST(CursorFetch, ARowMoreThanABlock) {
    FetchAll(2001);
}

TEST(CursorFetch, TwoBlocks) {
    FetchAll(4000);
}

TEST(CursorFetch, AHundredThousandRows) {
    FetchAll(100000);
}

TEST(CursorFetch, ABlockReplacesTheOneBefore) {
    CursorRig rig(CURSOR_PLAIN);
    rig.Open();
    rig.Script(Hex(FETCH_0), Block(0, 2000));
    rig.Script(Hex(FETCH_0), Block(2000, 1));
    rig.FetchRows(0, 1999);
    void *column = nullptr;
    EXPECT_EQ(0, TVCIParamGet(rig.stmt, 5, &column, 1));
    const uint32_t generation = rig.stmt->result_generation;
    rig.FetchRows(2000, 2000);
    EXPECT_EQ(1, rig.stmt->current->store.row_count.load());
    EXPECT_EQ(1, rig.stmt->current->position);
    EXPECT_EQ(nullptr, rig.Result(1));
    // The column descriptors went with the rows.
    EXPECT_EQ(nullptr, rig.stmt->column_handles);
    EXPECT_NE(generation, rig.stmt->result_generation);
}

TEST(CursorFetch, ABlockOfMoreThan2000RowsIsReadInTheBackground) {
    CursorRig rig(CURSOR_PLAIN);
    rig.Open();
    rig.Script(Hex(FETCH_0), Block(0, 5000));
    rig.FetchRows(0, 0);
    rig.WaitReader();
    EXPECT_TRUE(rig.PermitIsFree());
    rig.FetchRows(1, 4999);
    rig.Script(Hex(FETCH_0), Block(0, 0));
    EXPECT_EQ(100, TVCIFetch(rig.stmt));
}

TEST(CursorFetch, NeedsAPreparedStatementWithAnOpenCursorThatIsSwitchedOn) {
    for (int condition = 0; condition < 3; condition++) {
        CursorRig rig(CURSOR_PLAIN);
        rig.Open();
        rig.stmt->prepared = condition != 0;
        rig.stmt->use_server_cursor = condition != 1;
        rig.stmt->cursor_open = condition != 2;
        EXPECT_EQ(100, TVCIFetch(rig.stmt)) << condition;
        EXPECT_EQ(100, TVCIFetch(rig.stmt)) << condition;
    }
}

TEST(CursorFetch, GoesOnBehindTheRowsOfADirectExecution) {
    CursorRig rig(CURSOR_PLAIN);
    rig.Open();
    rig.Script(Hex("3F 00000001 'Y' 00 00000000"), Block(7, 1));
    EXPECT_EQ(0, TVCIExecDirect(rig.stmt, "Y", -1));
    EXPECT_EQ(0, TVCIFetch(rig.stmt));
    EXPECT_EQ(7, rig.number);
    rig.Script(Hex(FETCH_0), Block(0, 1));
    EXPECT_EQ(0, TVCIFetch(rig.stmt));
    EXPECT_EQ(0, rig.number);
}

TEST(CursorFetch, AnErrorLooksLikeTheEndAndIsKept) {
    for (const char *letter : {"'E'", "'F'"}) {
        CursorRig rig(CURSOR_PLAIN);
        rig.Open();
        rig.Script(Hex(FETCH_0), Hex(letter) + Hex("0000000D '[E13001]twice' 'K'"));
        EXPECT_EQ(100, TVCIFetch(rig.stmt));
        EXPECT_EQ("E13001|[E13001]twice", rig.Error());
        EXPECT_EQ(nullptr, rig.stmt->current);
        EXPECT_EQ(-1, TVCIFetch(rig.stmt));
        EXPECT_TRUE(rig.PermitIsFree());
    }
}

TEST(CursorFetch, AnErrorBetweenRowsIsKeptAndDoesNotEndThem) {
    CursorRig rig(CURSOR_PLAIN);
    rig.Open();
    rig.Script(Hex(FETCH_0), Hex(ONE_FIELD) + IntRows(0, 1) + Hex("'E' 0000000D '[E13001]twice'") +
                                 IntRows(1, 1) + Hex("'K'"));
    rig.FetchRows(0, 1);
    EXPECT_EQ("E13001|[E13001]twice", rig.Error());
    rig.Script(Hex(FETCH_0), Block(0, 0));
    EXPECT_EQ(100, TVCIFetch(rig.stmt));
}

TEST(CursorFetch, AnErrorBehindTheRowsLeavesThem) {
    CursorRig rig(CURSOR_PLAIN);
    rig.Open();
    rig.Script(Hex(FETCH_0),
               Hex(ONE_FIELD) + IntRows(0, 2) + Hex("'E' 0000000D '[E13001]twice' 'K'"));
    rig.FetchRows(0, 1);
    EXPECT_EQ("E13001|[E13001]twice", rig.Error());
}

TEST(CursorFetch, AnAnswerWithoutRowsIsTheEnd) {
    CursorRig rig(CURSOR_PLAIN);
    rig.Open();
    rig.Script(Hex(FETCH_0), Hex("'U' 00000005 'K'"));
    EXPECT_EQ(100, TVCIFetch(rig.stmt));
    EXPECT_EQ(-1, TVCIFetch(rig.stmt));
}

TEST(CursorFetch, ConnectionLostBeforeTheAnswerIsTheEnd) {
    CursorRig rig(CURSOR_PLAIN);
    rig.Open();
    rig.SwitchReconnectOff();
    rig.peer.Expect(Hex(FETCH_0));
    rig.peer.Close();
    EXPECT_EQ(100, TVCIFetch(rig.stmt));
    EXPECT_EQ("E19884|can't connect to server", rig.ErrorOf(rig.session));
    EXPECT_EQ(-1, TVCIFetch(rig.stmt));
    EXPECT_TRUE(rig.PermitIsFree());
}

TEST(CursorFetch, ConnectionThatComesBackIsTheEndToo) {
    CursorRig rig(CURSOR_PLAIN);
    rig.Open();
    rig.ScriptBlocks(1999);
    rig.FetchRows(0, 1998);
    EXPECT_EQ(100, TVCIFetch(rig.stmt));
    rig.peer.Expect(Hex(FETCH_0));
    rig.peer.Close();
    rig.ScriptSecondLogin();
    EXPECT_EQ(100, TVCIFetch(rig.stmt));
    EXPECT_EQ("E19886", rig.ErrorOf(rig.session).substr(0, 6));
    EXPECT_TRUE(rig.PermitIsFree());
    rig.Script(Hex(CLOSE_0), Hex("'E' 00000006 '[E1]no' 'K'"));
    rig.Execute();
}

TEST(CursorFetch, RowsThatCameBeforeTheConnectionWasLostStay) {
    CursorRig rig(CURSOR_PLAIN);
    rig.Open();
    rig.SwitchReconnectOff();
    rig.Script(Hex(FETCH_0), Hex(ONE_FIELD) + IntRows(0, 102) + Hex("'R' 00"));
    rig.peer.Close();
    // The others are waited for.
    rig.FetchRows(0, 1);
}

// Fetches from a connection that is lost behind this much of the answer.
static void FetchLostBehind(const Bytes &answer) {
    CursorRig rig(CURSOR_PLAIN);
    rig.Open();
    rig.SwitchReconnectOff();
    rig.Script(Hex(FETCH_0), answer);
    rig.peer.Close();
    EndAtWaits();
    TVCIFetch(rig.stmt);
}

TEST(CursorFetch, AnAnswerThatIsCutShortIsWaitedForWithoutEnd) {
    EXPECT_WAITS_FOR_EVER(FetchLostBehind(Hex("'A' 00000001 0000")), WAIT_RESPONSE_DONE);
    EXPECT_WAITS_FOR_EVER(FetchLostBehind(Hex("'E' 00000009 '[E1]'")), WAIT_RESPONSE_DONE);
    EXPECT_WAITS_FOR_EVER(FetchLostBehind(Hex("'U' 0000")), WAIT_RESPONSE_DONE);
    EXPECT_WAITS_FOR_EVER(FetchLostBehind(Hex(ONE_FIELD) + IntRows(0, 3)), WAIT_ROWS_AHEAD);
    EXPECT_WAITS_FOR_EVER(FetchLostBehind(Hex(ONE_FIELD) + IntRows(0, 3) + Hex("'R' 0000")),
                          WAIT_ROWS_AHEAD);
}

// With fetching ahead. The first text of negative length ends the rows, the second the answer.
TEST(CursorFetch, ATextCutShortBehindTheRowsOfAFirstBlockTakesThemWithIt) {
    CursorRig rig(CURSOR_AHEAD);
    rig.Open();
    rig.Script(Hex(FETCH_0), Hex(ONE_FIELD) + IntRows(0, 103) + Hex("'E' FFFFFFFF 'E' FFFFFFFF"));
    EXPECT_EQ(100, TVCIFetch(rig.stmt));
    EXPECT_EQ(-1, rig.number);
    ASSERT_NE(nullptr, rig.stmt->current);
    EXPECT_EQ(0, rig.stmt->current->store.row_count.load());
    EXPECT_EQ(nullptr, rig.stmt->current->fields);
    EXPECT_EQ(1, rig.stmt->response_done.load());
    EXPECT_TRUE(rig.PermitIsFree());
}

TEST(CursorFetch, AnErrorInAFirstBlockDoesNotMakeItsRowsComplete) {
    for (const char *letter : {"'E'", "'F'", "'M'", "'W'"}) {
        CursorRig rig(CURSOR_AHEAD);
        rig.Open();
        rig.Script(Hex(FETCH_0), Hex(letter) + Hex("0000000D '[E13001]twice'") + Hex(ONE_FIELD) +
                                     IntRows(0, 103) + Hex("'B'"));
        rig.FetchRows(0, 0);
        EXPECT_EQ("E13001|[E13001]twice", rig.Error());
        EXPECT_EQ(0, rig.stmt->rows_complete.load()) << letter;
        EXPECT_EQ(1, rig.stmt->response_done.load()) << letter;
        EXPECT_TRUE(rig.PermitIsFree());
    }
}

TEST(CursorFetch, TwoStatementsOfASessionTakeTurns) {
    CursorRig rig(CURSOR_PLAIN);
    TVCIStmt *other = rig.NewStmt();
    int32_t mode = CURSOR_PLAIN;
    int32_t value = -1;
    EXPECT_EQ(0, TVCIAttrSet(other, 42, &mode, 0));
    EXPECT_EQ(0, TVCIDefineColumn(other, 1, &value, 4, TVCI_C_INT, nullptr, nullptr));
    rig.Open();
    rig.Script(Hex("3F 00000010 'PREPARE ST1 AS Y' 00 00000000"), Hex(ONE_FIELD) + Hex("'K'"));
    EXPECT_EQ(0, TVCIPrepare(other, "Y", -1));
    rig.Script(Hex("3F 0000001F 'DECLARE ST1_CUR CURSOR FOR ST1;' 00 00000000"), Hex("'K'"));
    rig.Script(Hex("3F 0000000D 'OPEN ST1_CUR;' 00 00000000"), Hex(ONE_FIELD) + Hex("'K'"));
    EXPECT_EQ(0, TVCIExecute(other));
    for (int32_t first = 0; first < 4001; first += 2000) {
        const int32_t count = std::min(2000, 4001 - first);
        rig.Script(Hex(FETCH_0), Block(first, count));
        rig.Script(Hex(FETCH_1), Block(100000 + first, count));
        for (int32_t i = first; i < first + count; i++) {
            rig.FetchRows(i, i);
            ASSERT_EQ(0, TVCIFetch(other)) << i;
            ASSERT_EQ(100000 + i, value);
        }
    }
    rig.Script(Hex(FETCH_0), Block(0, 0));
    rig.Script(Hex(FETCH_1), Block(0, 0));
    EXPECT_EQ(100, TVCIFetch(rig.stmt));
    EXPECT_EQ(100, TVCIFetch(other));
}

TEST(CursorClose, BeforeTheFirstFetch) {
    CursorRig rig(CURSOR_PLAIN);
    rig.Open();
    rig.ScriptClose();
    EXPECT_EQ(0, TVCIHandleFree(rig.stmt));
    EXPECT_TRUE(rig.PermitIsFree());
}

TEST(CursorClose, InTheMiddleOfABlock) {
    CursorRig rig(CURSOR_PLAIN);
    const int64_t blocks = MemLiveBlocks();
    rig.Open();
    rig.Script(Hex(FETCH_0), Block(0, 2000));
    rig.FetchRows(0, 99);
    rig.ScriptClose();
    EXPECT_EQ(0, TVCIStmtClose(rig.stmt, 3));
    EXPECT_EQ(blocks, MemLiveBlocks());
    EXPECT_EQ(-1, TVCIFetch(rig.stmt));
}

TEST(CursorClose, SwitchedOffBeforeSendsNoCloseAndKeepsTheName) {
    CursorRig rig(CURSOR_PLAIN);
    rig.Open();
    rig.SetMode(CURSOR_NONE);
    rig.Script(Hex(DEALLOCATE_0), Hex("'K'"));
    EXPECT_EQ(0, TVCIStmtClose(rig.stmt, 3));
    EXPECT_EQ(1, rig.stmt->cursor_open);
    EXPECT_STREQ("ST0_CUR", rig.stmt->cursor_name);
}

TEST(CursorClose, PreparingAgainLeavesTheCursorOpen) {
    CursorRig rig(CURSOR_PLAIN);
    rig.Open();
    rig.Script(Hex("3F 0000000F 'DEALLOCATE ST0;' 00 00000000"), Hex("'K'"));
    DeallocatePrepared(rig.stmt);
    EXPECT_EQ(1, rig.stmt->cursor_open);
    EXPECT_EQ(1, rig.stmt->cursor_declared);
    rig.Script(Hex(CLOSE_0), Hex("'K'"));
    EXPECT_EQ(0, TVCIStmtClose(rig.stmt, 3));
}

// A cursor of 3 rows, whose block comes in pieces.
static void FetchInPieces(const std::vector<size_t> &cuts) {
    CursorRig rig(CURSOR_PLAIN);
    rig.Open();
    rig.peer.Expect(Hex(FETCH_0));
    rig.peer.SendInPieces(Block(0, 3), cuts);
    rig.FetchRows(0, 2);
}

TEST(CursorFetch, ABlockCutAtAnyByteReadsTheSame) {
    const size_t bytes = Block(0, 3).size();
    for (size_t cut = 1; cut < bytes; cut++) {
        FetchInPieces({cut});
    }
}
