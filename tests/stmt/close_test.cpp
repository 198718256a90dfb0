// Making and closing statements: what each mode releases, and what it says to the server.
#include <gtest/gtest.h>

#include "client/handles.h"
#include "stmt/prepare.h"
#include "stmt/statement.h"
#include "stmt/stmt_rig.h"

TEST(StmtCreate, GivesAStatementAtRest) {
    StmtRig rig;
    EXPECT_EQ(5u, rig.stmt->type);
    EXPECT_EQ(rig.session, rig.stmt->session);
    EXPECT_EQ(1, rig.stmt->response_done.load());
    EXPECT_EQ(0, rig.stmt->state);
    EXPECT_EQ(nullptr, rig.stmt->sql);
    EXPECT_EQ(nullptr, rig.stmt->current);
    EXPECT_EQ(nullptr, rig.Result(0));
    EXPECT_EQ(0, rig.stmt->use_server_cursor);
    EXPECT_EQ(0, rig.stmt->fetch_ahead);
}

TEST(StmtCreate, LinksAtTheTailOfTheSession) {
    StmtRig rig;
    TVCIStmt *second = rig.NewStmt();
    EXPECT_EQ(&rig.stmt->link, rig.session->stmts.next);
    EXPECT_EQ(&second->link, rig.session->stmts.prev);
}

TEST(StmtCreate, TakesItsCursorFlagsFromTheControlFile) {
    const struct {
        uint8_t has_control_file;
        int32_t server_cursor;
        uint8_t use_server_cursor;
        uint8_t fetch_ahead;
    } flag_table[] = {
        {0, 1, 0, 0}, {0, 3, 0, 0}, {1, 0, 0, 0},  {1, 1, 1, 0},
        {1, 2, 0, 0}, {1, 3, 1, 1}, {1, -1, 0, 0}, {1, 4, 0, 0},
    };
    for (const auto &row : flag_table) {
        NativeRig rig;
        rig.server->has_control_file = row.has_control_file;
        rig.server->ctl_server_cursor = row.server_cursor;
        TVCIStmt *stmt = rig.NewStmt();
        EXPECT_EQ(row.use_server_cursor, stmt->use_server_cursor) << row.server_cursor;
        EXPECT_EQ(row.fetch_ahead, stmt->fetch_ahead) << row.server_cursor;
    }
}

TEST(StmtClose, ModeTwoReleasesTheBoundColumnsOnly) {
    StmtRig rig;
    int32_t number = 0;
    EXPECT_EQ(0, TVCIBindParam(rig.stmt, 1, 1, &number, 4, TVCI_C_INT, nullptr, nullptr, 4));
    EXPECT_EQ(0, TVCIDefineColumn(rig.stmt, 1, &number, 4, TVCI_C_INT, nullptr, nullptr));
    EXPECT_EQ(1, rig.stmt->bound_column_count);
    EXPECT_EQ(0, TVCIStmtClose(rig.stmt, 2));
    EXPECT_EQ(0, rig.stmt->bound_column_count);
    EXPECT_EQ(1, rig.stmt->param_count);
}

TEST(StmtClose, ModeOneReleasesTheParametersOnly) {
    StmtRig rig;
    int32_t number = 0;
    const int64_t blocks = MemLiveBlocks();
    EXPECT_EQ(0,
              TVCIBindParamByName(rig.stmt, "a", 1, &number, 4, TVCI_C_INT, nullptr, nullptr, 4));
    EXPECT_EQ(0,
              TVCIBindParamByName(rig.stmt, "b", 1, &number, 4, TVCI_C_INT, nullptr, nullptr, 4));
    EXPECT_EQ(2, rig.stmt->param_count);
    EXPECT_EQ(0, TVCIStmtClose(rig.stmt, 1));
    EXPECT_EQ(0, rig.stmt->param_count);
    EXPECT_TRUE(ListEmpty(&rig.stmt->binds));
    EXPECT_EQ(blocks, MemLiveBlocks());
    EXPECT_EQ(0, TVCIDefineColumn(rig.stmt, 1, &number, 4, TVCI_C_INT, nullptr, nullptr));
    EXPECT_EQ(0, TVCIStmtClose(rig.stmt, 1));
    EXPECT_EQ(1, rig.stmt->bound_column_count);
}

TEST(StmtClose, ModesOneAndTwoLeaveThePreparedStatement) {
    StmtRig rig;
    rig.Prepare();
    EXPECT_EQ(0, TVCIStmtClose(rig.stmt, 1));
    EXPECT_EQ(0, TVCIStmtClose(rig.stmt, 2));
    EXPECT_EQ(1, rig.stmt->prepared);
    EXPECT_STREQ("X", rig.stmt->sql);
    rig.peer.Close();
}

TEST(StmtClose, ModeThreeDeallocatesInBackticksAndLeavesTheHandleUsable) {
    StmtRig rig;
    const int64_t blocks = MemLiveBlocks();
    int32_t number = 0;
    rig.Script(Hex("3F 00000010 'PREPARE ST0 AS ?' 00 00000000"), Hex(ONE_FIELD) + Hex("'K'"));
    EXPECT_EQ(0, TVCIPrepare(rig.stmt, "?", -1));
    EXPECT_EQ(0, TVCIBindParam(rig.stmt, 1, 1, &number, 4, TVCI_C_INT, nullptr, nullptr, 4));
    EXPECT_EQ(0, TVCIDefineColumn(rig.stmt, 1, &number, 4, TVCI_C_INT, nullptr, nullptr));
    rig.Script(Hex("3F 00000006 '? ST0 ' 00 00000001 0000 0001 0005 00000004 00000000"),
               Hex("'W' 00000009 '[E00001]w'") + Hex(ONE_FIELD) + Hex("'R' 00000004 00000001 'K'"));
    EXPECT_EQ(0, TVCIExecute(rig.stmt));
    EXPECT_EQ(0, TVCIFetch(rig.stmt));
    rig.peer.Expect(Hex("3F 00000011 'DEALLOCATE `ST0`;' 00 00000000"));
    rig.peer.Send(Hex("'K'"));
    EXPECT_EQ(0, TVCIStmtClose(rig.stmt, 3));
    EXPECT_EQ(5u, rig.stmt->type);
    EXPECT_EQ(0, rig.stmt->prepared);
    EXPECT_STREQ("", rig.stmt->prepared_name);
    EXPECT_EQ(0, rig.stmt->state);
    EXPECT_EQ(nullptr, rig.stmt->sql);
    EXPECT_EQ(nullptr, rig.stmt->current);
    EXPECT_EQ(0, rig.stmt->param_count);
    EXPECT_EQ(0, rig.stmt->bound_column_count);
    EXPECT_EQ("|", rig.Error());
    EXPECT_EQ(blocks, MemLiveBlocks());
    EXPECT_EQ(0, rig.Answer(Hex("'U' 00000001 'K'")));
}

TEST(StmtClose, ModeThreeOfAnUnpreparedStatementSendsNothing) {
    StmtRig rig;
    EXPECT_EQ(0, rig.Answer(Hex("'U' 00000001 'K'")));
    EXPECT_EQ(0, TVCIStmtClose(rig.stmt, 3));
    EXPECT_EQ(0, TVCIStmtClose(rig.stmt, 3));
}

TEST(StmtClose, RefusedDeallocateIsSwallowed) {
    StmtRig rig;
    rig.Prepare();
    rig.Script(Hex("3F 00000011 'DEALLOCATE `ST0`;' 00 00000000"),
               Hex("'E' 00000009 '[E10001]e' 'K'"));
    EXPECT_EQ(0, TVCIStmtClose(rig.stmt, 3));
    EXPECT_EQ(0, rig.stmt->prepared);
}

TEST(StmtClose, OpenCursorIsClosedBeforeTheStatementIsDeallocated) {
    StmtRig rig;
    rig.Prepare();
    rig.stmt->use_server_cursor = 1;
    rig.stmt->cursor_declared = 1;
    rig.stmt->cursor_open = 1;
    rig.stmt->cursor_name = MemCopyText("ST0_CUR");
    rig.Script(Hex("3F 00000010 'CLOSE `ST0_CUR`;' 00 00000000"), Hex("'K'"));
    rig.Script(Hex("3F 00000011 'DEALLOCATE `ST0`;' 00 00000000"), Hex("'K'"));
    CloseStatementServerState(rig.stmt);
    EXPECT_EQ(0, rig.stmt->cursor_open);
    EXPECT_EQ(0, rig.stmt->cursor_declared);
    EXPECT_EQ(nullptr, rig.stmt->cursor_name);
    EXPECT_EQ(0, rig.stmt->prepared);
}

TEST(StmtClose, CursorOfAStatementThatUsesNoneIsNotClosed) {
    StmtRig rig;
    rig.stmt->cursor_open = 1;
    rig.stmt->cursor_name = MemCopyText("ST0_CUR");
    CloseStatementServerState(rig.stmt);
    EXPECT_EQ(1, rig.stmt->cursor_open);
}

TEST(StmtClose, ModeThreeWaitsForTheRowReader) {
    StmtRig rig;
    static ScriptedPeer *peer;
    peer = &rig.peer;
    rig.peer.Expect(Hex(REQUEST_X));
    rig.peer.Send(Hex(ONE_FIELD) + IntRows(0, 2000) + Hex("'R'"));
    rig.peer.Gate("rest");
    rig.peer.Send(Hex("00000004 000007D0 'K'"));
    EXPECT_EQ(0, TVCIExecDirect(rig.stmt, "X", -1));
    WaitSetHook([](WaitPoint point) {
        EXPECT_EQ(WAIT_CLOSE_PERMIT, point);
        peer->Open("rest");
    });
    EXPECT_EQ(0, TVCIStmtClose(rig.stmt, 3));
    WaitSetHook(nullptr);
    EXPECT_EQ(nullptr, rig.Result(0));
    EXPECT_TRUE(rig.PermitIsFree());
}

TEST(StmtClose, ModeThreeReleasesResultsBeforeTheServerIsTold) {
    StmtRig rig;
    static TVCIStmt *stmt;
    static uint8_t prepared_at_wait;
    stmt = rig.stmt;
    prepared_at_wait = 0;
    rig.Prepare();
    // What stands behind a full block leaves the response open.
    EXPECT_EQ(0, rig.Answer(Hex(ONE_FIELD) + IntRows(0, 2000) + Hex("'Z'")));
    rig.WaitReader();
    WaitSetHook([](WaitPoint point) {
        EXPECT_EQ(WAIT_RESPONSE_DONE, point);
        prepared_at_wait = stmt->prepared;
        stmt->response_done.store(1);
    });
    rig.Script(Hex("3F 00000011 'DEALLOCATE `ST0`;' 00 00000000"), Hex("'K'"));
    EXPECT_EQ(0, TVCIStmtClose(rig.stmt, 3));
    WaitSetHook(nullptr);
    EXPECT_EQ(1, prepared_at_wait);
    EXPECT_EQ(0, rig.stmt->prepared);
}

TEST(StmtClose, AnyOtherModeFreesTheHandle) {
    for (int32_t mode : {4, 0, 5, -1, 99}) {
        StmtRig rig;
        const int64_t blocks = MemLiveBlocks();
        TVCIStmt *stmt = rig.NewStmt();
        void *owner = stmt;
        stmt->owner_slot = &owner;
        rig.Script(Hex("3F 00000010 'PREPARE ST0 AS X' 00 00000000"), Hex("'K'"));
        EXPECT_EQ(0, TVCIPrepare(stmt, "X", -1));
        rig.Script(Hex("3F 00000011 'DEALLOCATE `ST0`;' 00 00000000"), Hex("'K'"));
        EXPECT_EQ(0, StmtRelease(stmt, mode)) << mode;
        EXPECT_EQ(&rig.stmt->link, rig.session->stmts.prev);
        EXPECT_EQ(blocks, MemLiveBlocks());
        EXPECT_EQ((void *)dead_handle, owner);
        EXPECT_EQ(-2, TVCIStmtClose((TVCIStmt *)owner, 3));
    }
}

TEST(StmtClose, BadHandleIsRefused) {
    EXPECT_EQ(-2, TVCIStmtClose(nullptr, 3));
    EXPECT_EQ(-2, TVCIStmtClose((TVCIStmt *)dead_handle, 3));
}

TEST(StmtClose, HandleFreeClosesTheStatement) {
    StmtRig rig;
    rig.Prepare();
    rig.Script(Hex("3F 00000011 'DEALLOCATE `ST0`;' 00 00000000"), Hex("'K'"));
    EXPECT_EQ(0, TVCIHandleFree(rig.stmt));
    EXPECT_TRUE(ListEmpty(&rig.session->stmts));
}

TEST(StmtClose, AfterADisconnectNothingIsSent) {
    StmtRig rig;
    rig.Prepare();
    rig.stmt->use_server_cursor = 1;
    rig.stmt->cursor_open = 1;
    rig.stmt->cursor_name = MemCopyText("ST0_CUR");
    rig.peer.ExpectEnd();
    EXPECT_EQ(0, TVCIDisconnect(rig.session));
    EXPECT_EQ(0, TVCIStmtClose(rig.stmt, 3));
    EXPECT_EQ(0, rig.stmt->prepared);
    EXPECT_EQ(0, TVCIHandleFree(rig.stmt));
}

TEST(StmtClose, CursorNameThatIsNoLongerOpenGoesWithTheHandle) {
    StmtRig rig;
    const int64_t blocks = MemLiveBlocks();
    TVCIStmt *stmt = rig.NewStmt();
    stmt->cursor_name = MemCopyText("ST0_CUR");
    EXPECT_EQ(0, TVCIHandleFree(stmt));
    EXPECT_EQ(blocks, MemLiveBlocks());
}
