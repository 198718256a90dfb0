// Executing statements: the requests of the two ways, their parameters, and lost connections.
#include <gtest/gtest.h>

#include "stmt/stmt_rig.h"
#include "wire/connection.h"

TEST(Execute, RunsThePreparedStatementByItsName) {
    StmtRig rig;
    rig.Prepare();
    rig.peer.Expect(Hex("3F 00000006 '? ST0 ' 00 00000000"));
    rig.peer.Send(Hex("'U' 00000003 'K'"));
    EXPECT_EQ(0, TVCIExecute(rig.stmt));
    EXPECT_EQ(3, rig.stmt->state);
    ASSERT_NE(nullptr, rig.stmt->current);
    EXPECT_EQ(3u, rig.stmt->current->affected);
    EXPECT_TRUE(rig.PermitIsFree());
    rig.peer.Close();
}

TEST(Execute, SendsEachBoundParameterBehindTheCount) {
    StmtRig rig;
    int32_t number = 42;
    char text[] = "abc";
    int32_t text_length = 3;
    rig.Script(Hex("3F 0000001C 'PREPARE ST0 AS values (?, ?)' 00 00000000"), Hex("'K'"));
    ASSERT_EQ(0, TVCIPrepare(rig.stmt, "values (?, ?)", -1));
    ASSERT_EQ(0, TVCIBindParam(rig.stmt, 1, 1, &number, 4, TVCI_C_INT, nullptr, nullptr, 4));
    ASSERT_EQ(0, TVCIBindParam(rig.stmt, 2, 1, text, 3, TVCI_C_CHAR, nullptr, &text_length, 12));
    rig.Script(Hex("3F 00000006 '? ST0 ' 00 00000002 "
                   "0000 0001 0005 00000004 0000002A "
                   "0000 0001 001E 00000003 'abc'"),
               Hex("'I' 00000000 'K'"));
    EXPECT_EQ(0, TVCIExecute(rig.stmt));
    rig.peer.Close();
}

TEST(Execute, UnboundParameterIsCountedAndNotSent) {
    StmtRig rig;
    rig.Script(Hex("3F 00000010 'PREPARE ST0 AS ?' 00 00000000"), Hex("'K'"));
    ASSERT_EQ(0, TVCIPrepare(rig.stmt, "?", -1));
    rig.Script(Hex("3F 00000006 '? ST0 ' 00 00000001"), Hex("'K'"));
    EXPECT_EQ(0, TVCIExecute(rig.stmt));
    rig.peer.Close();
}

TEST(Execute, NeedsAPreparedStatement) {
    StmtRig rig;
    uint32_t dead[4] = {};
    EXPECT_EQ(-2, TVCIExecute(nullptr));
    EXPECT_EQ(-2, TVCIExecute((TVCIStmt *)dead));
    EXPECT_EQ(-1, TVCIExecute(rig.stmt));
    EXPECT_EQ(0, rig.Answer(Hex("'K'")));
    // There is a text now, but it is not prepared.
    EXPECT_EQ(-1, TVCIExecute(rig.stmt));
}

TEST(Execute, DropsTheResultsOfThePrepare) {
    StmtRig rig;
    rig.Script(Hex("3F 00000010 'PREPARE ST0 AS X' 00 00000000"), Hex(ONE_FIELD) + Hex("'K'"));
    ASSERT_EQ(0, TVCIPrepare(rig.stmt, "X", -1));
    ASSERT_NE(nullptr, rig.Result(0));
    rig.Script(Hex("3F 00000006 '? ST0 ' 00 00000000"), Hex("'K'"));
    EXPECT_EQ(0, TVCIExecute(rig.stmt));
    EXPECT_EQ(nullptr, rig.Result(0));
    EXPECT_EQ(nullptr, rig.stmt->current);
    rig.peer.Close();
}

TEST(Execute, DoesNotLinkItsResults) {
    StmtRig rig;
    rig.Prepare();
    rig.Script(Hex("3F 00000006 '? ST0 ' 00 00000000"), Hex("'U' 00000001 'U' 00000002 'K'"));
    EXPECT_EQ(0, TVCIExecute(rig.stmt));
    ASSERT_NE(nullptr, rig.Result(1));
    EXPECT_EQ(rig.Result(0), rig.stmt->current);
    EXPECT_EQ(-7, TVCINextResult(rig.stmt));
    rig.peer.Close();
}

TEST(Execute, BrokenSocketShowsAtTheFirstLetter) {
    StmtRig rig;
    rig.Prepare();
    rig.SwitchReconnectOff();
    rig.peer.Close();
    EXPECT_EQ(-4, TVCIExecute(rig.stmt));
    EXPECT_EQ(1, rig.stmt->response_done.load());
    EXPECT_EQ(0, rig.stmt->rows_complete.load());
    EXPECT_EQ("E19884|can't connect to server", rig.ErrorOf(rig.session));
    EXPECT_TRUE(rig.PermitIsFree());
    EXPECT_EQ(1, rig.stmt->prepared);
}

TEST(Execute, LostConnectionThatComesBackIsReportedAndNotRepeated) {
    StmtRig rig;
    rig.Prepare();
    rig.peer.Expect(Hex("3F 00000006 '? ST0 ' 00 00000000"));
    rig.peer.Close();
    rig.ScriptSecondLogin();
    EXPECT_EQ(-24, TVCIExecute(rig.stmt));
    EXPECT_EQ(
        "E19886|connection not used long till timeout ,server cut the connection, now reconnect "
        "ok, you can resend the command again! \n",
        rig.ErrorOf(rig.session));
    EXPECT_TRUE(rig.PermitIsFree());
    rig.Script(Hex("3F 00000006 '? ST0 ' 00 00000000"), Hex("'K'"));
    EXPECT_EQ(0, TVCIExecute(rig.stmt));
    rig.peer.Close();
}

TEST(Execute, SecondLoginThatIsRefusedIsALostConnection) {
    StmtRig rig;
    rig.Prepare();
    rig.peer.Expect(Hex("3F 00000006 '? ST0 ' 00 00000000"));
    rig.peer.Close();
    rig.peer.Accept();
    rig.peer.Expect(Ascii(SECOND_LOGIN_TEXT));
    rig.peer.Close();
    EXPECT_EQ(-4, TVCIExecute(rig.stmt));
    EXPECT_TRUE(rig.PermitIsFree());
}

TEST(ExecDirect, SendsTheText) {
    StmtRig rig;
    rig.peer.Expect(Hex("3F 0000000D 'delete from t' 00 00000000"));
    rig.peer.Send(Hex("'D' 00000007 'K'"));
    EXPECT_EQ(0, TVCIExecDirect(rig.stmt, "delete from t", -1));
    EXPECT_STREQ("delete from t", rig.stmt->sql);
    ASSERT_NE(nullptr, rig.stmt->current);
    EXPECT_EQ(RESULT_DELETE, rig.stmt->current->kind);
    EXPECT_EQ(7u, rig.stmt->current->affected);
    EXPECT_TRUE(rig.PermitIsFree());
}

TEST(ExecDirect, LengthCutsTheText) {
    StmtRig rig;
    rig.Script(Hex("3F 00000006 'delete' 00 00000000"), Hex("'K'"));
    EXPECT_EQ(0, TVCIExecDirect(rig.stmt, "delete from t", 6));
}

TEST(ExecDirect, SendsPositionedParameters) {
    StmtRig rig;
    int32_t number = 42;
    char text[] = "abc";
    int32_t text_length = 3;
    ASSERT_EQ(0, TVCIBindParam(rig.stmt, 1, 1, &number, 4, TVCI_C_INT, nullptr, nullptr, 4));
    ASSERT_EQ(0, TVCIBindParam(rig.stmt, 2, 1, text, 3, TVCI_C_CHAR, nullptr, &text_length, 12));
    rig.Script(Hex("3F 0000000D 'values (?, ?)' 00 00000002 "
                   "0000 0001 0005 00000004 0000002A "
                   "0000 0001 001E 00000003 'abc'"),
               Hex("'I' 00000000 'K'"));
    EXPECT_EQ(0, TVCIExecDirect(rig.stmt, "values (?, ?)", -1));
}

TEST(ExecDirect, SendsNamedParametersInTheOrderOfTheText) {
    StmtRig rig;
    int32_t first = 1;
    int32_t second = 2;
    ASSERT_EQ(0, TVCIBindParamByName(rig.stmt, "a", 1, &first, 4, TVCI_C_INT, nullptr, nullptr, 4));
    ASSERT_EQ(0,
              TVCIBindParamByName(rig.stmt, "b", 1, &second, 4, TVCI_C_INT, nullptr, nullptr, 4));
    rig.Script(Hex("3F 0000000F 'values (:b, :a)' 00 00000002 "
                   "0001 'b' 0001 0005 00000004 00000002 "
                   "0001 'a' 0001 0005 00000004 00000001"),
               Hex("'I' 00000000 'K'"));
    EXPECT_EQ(0, TVCIExecDirect(rig.stmt, "values (:b, :a)", -1));
}

TEST(ExecDirect, ArgumentsAreRefusedInOrder) {
    StmtRig rig;
    uint32_t dead[4] = {};
    EXPECT_EQ(-2, TVCIExecDirect(nullptr, nullptr, -1));
    EXPECT_EQ(-2, TVCIExecDirect((TVCIStmt *)dead, "X", -1));
    EXPECT_EQ(-3, TVCIExecDirect(rig.stmt, nullptr, -1));
    EXPECT_EQ(-3, TVCIExecDirect(rig.stmt, "X", -2));
}

TEST(ExecDirect, WithoutAConnectionIsRefused) {
    NativeRig rig;
    TVCIStmt *stmt = rig.NewStmt();
    EXPECT_EQ(-4, TVCIExecDirect(stmt, "X", -1));
    EXPECT_EQ(nullptr, TVCIExecDirectResult(stmt, "X", -1));
    EXPECT_EQ(-1, TVCIFetch(stmt));
    EXPECT_EQ(0, TVCIStmtClose(stmt, 3));
}

TEST(ExecDirect, RefusedParametersSendNothing) {
    StmtRig rig;
    EXPECT_EQ(-1, TVCIExecDirect(rig.stmt, "values (?)", -1));
    EXPECT_EQ("E19962| params bind num conflict with execute sql", rig.Error());
    EXPECT_TRUE(rig.PermitIsFree());
}

// What a second execution waits for first, while the row reader of the first one is at work.
struct ReaderAtWork {
    StmtRig rig;
    inline static ScriptedPeer *peer;
    inline static int32_t first_wait;

    ReaderAtWork() {
        peer = &rig.peer;
        first_wait = -1;
        rig.Prepare();
        rig.peer.Expect(Hex(REQUEST_X));
        rig.peer.Send(Hex(ONE_FIELD) + IntRows(0, 2000) + Hex("'R'"));
        rig.peer.Gate("rest");
        rig.peer.Send(Hex("00000004 000007D0 'K'"));
        EXPECT_EQ(0, TVCIExecDirect(rig.stmt, "X", -1));
        WaitSetHook([](WaitPoint point) {
            first_wait = first_wait == -1 ? point : first_wait;
            peer->Open("rest");
        });
    }
    ~ReaderAtWork() {
        WaitSetHook(nullptr);
        rig.peer.Close();
    }
};

TEST(Execute, WaitsForTheEndOfItsEarlierResponse) {
    ReaderAtWork at_work;
    at_work.rig.Script(Hex("3F 00000006 '? ST0 ' 00 00000000"), Hex("'K'"));
    EXPECT_EQ(0, TVCIExecute(at_work.rig.stmt));
    EXPECT_EQ(WAIT_RESPONSE_DONE, at_work.first_wait);
    EXPECT_TRUE(at_work.rig.PermitIsFree());
}

TEST(ExecDirect, WaitsForThePermitBeforeTheEndOfItsEarlierResponse) {
    ReaderAtWork at_work;
    EXPECT_EQ(0, at_work.rig.Answer(Hex("'K'")));
    EXPECT_EQ(WAIT_CONN_PERMIT, at_work.first_wait);
    EXPECT_TRUE(at_work.rig.PermitIsFree());
}

TEST(ExecDirect, LeavesThePreparedStatement) {
    StmtRig rig;
    rig.Prepare();
    EXPECT_EQ(0, rig.Answer(Hex("'K'")));
    EXPECT_EQ(1, rig.stmt->prepared);
    rig.Script(Hex("3F 00000006 '? ST0 ' 00 00000000"), Hex("'K'"));
    EXPECT_EQ(0, TVCIExecute(rig.stmt));
    rig.peer.Close();
}

TEST(ExecDirect, WithMoreThanFourThousandParametersIsRefusedBehindItsHeader) {
    StmtRig rig;
    const std::string text(4001, '?');
    // The first attempt makes the parameters; only then do they fit their count.
    EXPECT_EQ(-1, TVCIExecDirect(rig.stmt, text.c_str(), -1));
    rig.peer.Expect(Hex("3F 00000FA1") + Ascii(text) + Hex("00"));
    EXPECT_EQ(-5, TVCIExecDirect(rig.stmt, text.c_str(), -1));
    EXPECT_TRUE(rig.PermitIsFree());
    // The text was too long for the buffer; the parameter word behind it was not.
    EXPECT_EQ(4, rig.session->conn->send_fill);
    rig.peer.Expect(Hex("00000FA1"));
    EXPECT_EQ(0, rig.Answer(Hex("'K'")));
}

TEST(ExecDirect, WithFourThousandParametersIsSent) {
    StmtRig rig;
    const std::string text(4000, '?');
    EXPECT_EQ(-1, TVCIExecDirect(rig.stmt, text.c_str(), -1));
    // None of them is bound: nothing follows the count.
    rig.peer.Expect(Hex("3F 00000FA0") + Ascii(text) + Hex("00 00000FA0"));
    rig.peer.Send(Hex("'K'"));
    EXPECT_EQ(0, TVCIExecDirect(rig.stmt, text.c_str(), -1));
}

// The next call of send fails, and those after it go through.
static void FailNextSend() {
    SocketSetHooks(
        [](SocketId, const void *, size_t) -> int64_t {
            SocketSetHooks(nullptr, nullptr);
            return -1;
        },
        nullptr);
}

TEST(ExecDirect, FlushThatFailsWithoutReconnectIsLost) {
    StmtRig rig;
    rig.SwitchReconnectOff();
    EXPECT_EQ(0, rig.Answer(Hex("'K'")));
    EXPECT_EQ(3, rig.stmt->state);
    FailNextSend();
    EXPECT_EQ(-4, TVCIExecDirect(rig.stmt, "X", -1));
    EXPECT_EQ(1, rig.stmt->response_done.load());
    EXPECT_EQ(0, rig.stmt->state);
    EXPECT_TRUE(rig.PermitIsFree());
}

TEST(ExecDirect, FlushThatFailsWithReconnectIsReported) {
    StmtRig rig;
    rig.ScriptSecondLogin();
    FailNextSend();
    EXPECT_EQ(-24, TVCIExecDirect(rig.stmt, "X", -1));
    EXPECT_TRUE(rig.PermitIsFree());
    EXPECT_EQ(0, rig.Answer(Hex("'K'")));
}

TEST(ExecDirect, HeaderThatFailsWithoutReconnectIsLost) {
    StmtRig rig;
    rig.SwitchReconnectOff();
    FailNextSend();
    EXPECT_EQ(-4, TVCIExecDirect(rig.stmt, std::string(3000, 'x').c_str(), -1));
    EXPECT_TRUE(rig.PermitIsFree());
}

TEST(ExecDirect, HeaderThatFailsWithReconnectIsReported) {
    StmtRig rig;
    rig.ScriptSecondLogin();
    FailNextSend();
    EXPECT_EQ(-24, TVCIExecDirect(rig.stmt, std::string(3000, 'x').c_str(), -1));
    EXPECT_TRUE(rig.PermitIsFree());
}

TEST(ExecDirect, ShortMemoryEndsInACodeAndLeavesNothingBehind) {
    StmtRig rig;
    rig.SwitchReconnectOff();
    const int64_t blocks = MemLiveBlocks();
    for (uint64_t n = 1;; n++) {
        int32_t value = 1;
        ASSERT_EQ(
            0, TVCIBindParamByName(rig.stmt, "a", 1, &value, 4, TVCI_C_INT, nullptr, nullptr, 4));
        CannedAnswer canned(Hex("'I' 00000002 0102 'U' 00000001 'K'"));
        MemFailAt(n);
        const int32_t result = TVCIExecDirect(rig.stmt, "values (:a)", -1);
        const bool failed = MemFailed();
        MemFailAt(0);
        rig.DropUnread();
        EXPECT_EQ(0, TVCIStmtClose(rig.stmt, 3));
        EXPECT_EQ(blocks, MemLiveBlocks()) << n;
        EXPECT_TRUE(rig.PermitIsFree()) << n;
        if (!failed) {
            EXPECT_EQ(0, result);
            // The text, the name table, the name, the record, and two results.
            EXPECT_EQ(7u, n);
            break;
        }
        EXPECT_EQ(n == 1 || n > 4 ? -5 : -1, result) << n;
    }
}

TEST(NextResult, MovesFromTheFirstToTheSecondAndNoFurther) {
    StmtRig rig;
    EXPECT_EQ(0, rig.Answer(Hex("'U' 00000001 'U' 00000002 'U' 00000003 'K'")));
    EXPECT_EQ(1u, rig.stmt->current->affected);
    EXPECT_EQ(0, TVCINextResult(rig.stmt));
    EXPECT_EQ(2u, rig.stmt->current->affected);
    // The second one was never linked to the third.
    EXPECT_EQ(-7, TVCINextResult(rig.stmt));
    EXPECT_EQ(2u, rig.stmt->current->affected);
}

TEST(NextResult, OfOneResultIsNone) {
    StmtRig rig;
    EXPECT_EQ(0, rig.Answer(Hex("'U' 00000001 'K'")));
    EXPECT_EQ(-7, TVCINextResult(rig.stmt));
}

TEST(NextResult, WithoutAResultIsNone) {
    StmtRig rig;
    EXPECT_EQ(-7, TVCINextResult(rig.stmt));
    EXPECT_EQ(-2, TVCINextResult(nullptr));
}

TEST(ExecuteResult, CopiesTheCurrentResult) {
    StmtRig rig;
    rig.Prepare();
    rig.Script(Hex("3F 00000006 '? ST0 ' 00 00000000"),
               Hex(ONE_FIELD) + Hex("'R' 00000004 0000002A 'K'"));
    ResultSet *copy = TVCIExecuteResult(rig.stmt);
    ASSERT_NE(nullptr, copy);
    EXPECT_NE(rig.stmt->current, copy);
    EXPECT_EQ(RESULT_ROWS, copy->kind);
    EXPECT_EQ(1, copy->field_count);
    EXPECT_STREQ("N", copy->fields[0].name);
    EXPECT_EQ(1, copy->store.row_count.load());
    ASSERT_NE(nullptr, copy->text_cache);
    EXPECT_EQ(nullptr, copy->text_cache[0]);
    ResultClose(copy);
    rig.peer.Close();
}

TEST(ExecuteResult, BecomesEmptyWhenTheStatementReleasesItsResults) {
    StmtRig rig;
    rig.Script(Hex(REQUEST_X), Hex(ONE_FIELD) + Hex("'R' 00000004 0000002A 'K'"));
    ResultSet *copy = TVCIExecDirectResult(rig.stmt, "X", -1);
    ASSERT_NE(nullptr, copy);
    EXPECT_EQ(0, TVCIHandleFree(rig.stmt));
    EXPECT_EQ(nullptr, copy->fields);
    EXPECT_EQ(nullptr, copy->current_row);
    EXPECT_EQ(nullptr, copy->statement);
    EXPECT_EQ(0, copy->store.row_count.load());
    ResultClose(copy);
}

TEST(ExecuteResult, SeveralCopiesCloseInAnyOrder) {
    StmtRig rig;
    const int64_t blocks = MemLiveBlocks();
    ResultSet *copies[3];
    rig.Script(Hex(REQUEST_X), Hex("'U' 00000001 'K'"));
    copies[0] = TVCIExecDirectResult(rig.stmt, "X", -1);
    rig.Script(Hex(REQUEST_X), Hex("'U' 00000002 'K'"));
    copies[1] = TVCIExecDirectResult(rig.stmt, "X", -1);
    rig.Script(Hex(REQUEST_X), Hex("'U' 00000003 'K'"));
    copies[2] = TVCIExecDirectResult(rig.stmt, "X", -1);
    for (uint32_t i = 0; i < 3; i++) {
        ASSERT_NE(nullptr, copies[i]);
        EXPECT_EQ(i + 1, copies[i]->affected);
    }
    ResultClose(copies[1]);
    ResultClose(copies[2]);
    ResultClose(copies[0]);
    ResultClose(nullptr);
    EXPECT_EQ(0, TVCIStmtClose(rig.stmt, 3));
    EXPECT_EQ(blocks, MemLiveBlocks());
}

TEST(ExecuteResult, FailureGivesNone) {
    StmtRig rig;
    rig.Script(Hex(REQUEST_X), Hex("'E' 00000009 '[E10001]s' 'K'"));
    EXPECT_EQ(nullptr, TVCIExecDirectResult(rig.stmt, "X", -1));
    rig.Script(Hex(REQUEST_X), Hex("'K'"));
    EXPECT_EQ(nullptr, TVCIExecDirectResult(rig.stmt, "X", -1));
    EXPECT_EQ(nullptr, TVCIExecuteResult(rig.stmt));
    EXPECT_EQ(nullptr, TVCIExecuteResult(nullptr));
}

TEST(ExecuteResult, DirectOneDropsThePreparedState) {
    StmtRig rig;
    rig.Prepare();
    rig.Script(Hex(REQUEST_X), Hex("'U' 00000001 'K'"));
    ResultSet *copy = TVCIExecDirectResult(rig.stmt, "X", -1);
    EXPECT_NE(nullptr, copy);
    EXPECT_EQ(0, rig.stmt->prepared);
    EXPECT_EQ(-1, TVCIExecute(rig.stmt));
    ResultClose(copy);
}
