// PREPARE on the wire: the request, every kind of answer, and taking the prepared statement down.
#include <gtest/gtest.h>

#include <thread>

#include "stmt/prepare.h"
#include "stmt/stmt_rig.h"

TEST(Prepare, SendsTheTextUnderANumberedName) {
    StmtRig rig;
    rig.peer.Expect(Hex("3F 00000017 'PREPARE ST0 AS SELECT 1' 00 00000000"));
    rig.peer.Send(Hex("'K'"));
    EXPECT_EQ(0, TVCIPrepare(rig.stmt, "SELECT 1", -1));
    EXPECT_EQ(1, rig.stmt->prepared);
    EXPECT_EQ(1, rig.stmt->state);
    EXPECT_STREQ("ST0", rig.stmt->prepared_name);
    EXPECT_STREQ("SELECT 1", rig.stmt->sql);
    EXPECT_TRUE(rig.PermitIsFree());
    rig.peer.Close();
}

TEST(Prepare, LengthCutsTheText) {
    StmtRig rig;
    rig.Script(Hex("3F 00000017 'PREPARE ST0 AS SELECT 1' 00 00000000"), Hex("'K'"));
    EXPECT_EQ(0, TVCIPrepare(rig.stmt, "SELECT 123", 8));
    rig.peer.Close();
}

TEST(Prepare, AnswerCutAtAnyByteReadsTheSame) {
    const Bytes answer =
        Hex(ONE_FIELD) + Hex("'$' 00000001 00000001 'p' 00000005 00000004 00000000 'K'");
    for (size_t cut = 1; cut < answer.size(); cut++) {
        StmtRig rig;
        rig.peer.Expect(Hex("3F 00000010 'PREPARE ST0 AS X' 00 00000000"));
        rig.peer.SendInPieces(answer, {cut});
        EXPECT_EQ(0, TVCIPrepare(rig.stmt, "X", -1)) << "cut at byte " << cut;
        ASSERT_NE(nullptr, rig.Result(0));
        EXPECT_STREQ("N", rig.Result(0)->fields[0].name);
        rig.peer.Close();
    }
}

TEST(Prepare, EachPrepareTakesANumberWhateverItsOutcome) {
    StmtRig rig;
    TVCIStmt *other = rig.NewStmt();
    rig.Script(Hex("3F 00000010 'PREPARE ST0 AS X' 00 00000000"),
               Hex("'E' 00000009 '[E12345]n' 'K'"));
    EXPECT_EQ(-1, TVCIPrepare(rig.stmt, "X", -1));
    rig.Script(Hex("3F 00000010 'PREPARE ST1 AS Y' 00 00000000"), Hex("'K'"));
    EXPECT_EQ(0, TVCIPrepare(other, "Y", -1));
    rig.Script(Hex("3F 00000010 'PREPARE ST2 AS X' 00 00000000"), Hex("'K'"));
    EXPECT_EQ(0, TVCIPrepare(rig.stmt, "X", -1));
    rig.peer.Close();
}

TEST(Prepare, AnswerWithFieldsAndParametersDescribesTheResult) {
    StmtRig rig;
    rig.Script(Hex("3F 00000010 'PREPARE ST0 AS X' 00 00000000"),
               Hex("'A' 00000002 00000003 't.N' 00000005 FFFFFFFF 00000000 "
                   "         00000001 'M'   0000001E 0000000A 00000000 "
                   "'$' 00000002 00000001 'a' 00000005 00000004 00000000 "
                   "             00000000     0000001E 0000000A 00000000 'K'"));
    EXPECT_EQ(0, TVCIPrepare(rig.stmt, "X", -1));
    ASSERT_NE(nullptr, rig.Result(0));
    EXPECT_EQ(nullptr, rig.Result(1));
    EXPECT_EQ(RESULT_ROWS, rig.Result(0)->kind);
    EXPECT_EQ(2, rig.Result(0)->field_count);
    EXPECT_STREQ("t", rig.Result(0)->fields[0].table);
    EXPECT_STREQ("M", rig.Result(0)->fields[1].name);
    // The markers of the text make the parameters, not the server's descriptions.
    EXPECT_EQ(0, rig.stmt->param_count);
    EXPECT_EQ(nullptr, rig.stmt->params);
    EXPECT_EQ(0, rig.stmt->cursor_declared);
    EXPECT_EQ(nullptr, rig.stmt->current);
    void *column = nullptr;
    EXPECT_EQ(0, TVCIParamGet(rig.stmt, 5, &column, 2));
    EXPECT_EQ(100, TVCIParamGet(rig.stmt, 5, &column, 3));
    EXPECT_EQ(-1, TVCIFetch(rig.stmt));
    rig.peer.Close();
}

TEST(Prepare, FieldsDeclareTheCursorOfAStatementThatUsesOne) {
    StmtRig rig;
    rig.stmt->use_server_cursor = 1;
    rig.Script(Hex("3F 00000010 'PREPARE ST0 AS X' 00 00000000"),
               Hex(ONE_FIELD) + Hex("'$' 00000000 'K'"));
    EXPECT_EQ(0, TVCIPrepare(rig.stmt, "X", -1));
    EXPECT_EQ(1, rig.stmt->cursor_declared);
    rig.Script(Hex("3F 0000000F 'DEALLOCATE ST0;' 00 00000000"), Hex("'K'"));
    rig.Script(Hex("3F 00000010 'PREPARE ST1 AS Y' 00 00000000"), Hex("'K'"));
    EXPECT_EQ(0, TVCIPrepare(rig.stmt, "Y", -1));
    EXPECT_EQ(0, rig.stmt->cursor_declared);
    rig.peer.Close();
}

TEST(Prepare, FieldListThatFailsDeclaresTheCursorAllTheSame) {
    StmtRig rig;
    rig.stmt->use_server_cursor = 1;
    rig.Script(Hex("3F 00000010 'PREPARE ST0 AS X' 00 00000000"), Hex("'A' FFFFFFFF 'K'"));
    EXPECT_EQ(0, TVCIPrepare(rig.stmt, "X", -1));
    EXPECT_EQ(1, rig.stmt->prepared);
    EXPECT_EQ(1, rig.stmt->cursor_declared);
    ASSERT_NE(nullptr, rig.Result(0));
    EXPECT_EQ(2, rig.Result(0)->kind);
    EXPECT_EQ(nullptr, rig.Result(0)->fields);
    rig.peer.Close();
}

TEST(Prepare, ErrorInFrontOfTheEndFails) {
    StmtRig rig;
    rig.Script(Hex("3F 00000010 'PREPARE ST0 AS X' 00 00000000"),
               Hex("'E' 00000014 '[E10001]syntax error' 'K'"));
    EXPECT_EQ(-1, TVCIPrepare(rig.stmt, "X", -1));
    EXPECT_EQ("E10001|[E10001]syntax error", rig.Error());
    EXPECT_EQ(0, rig.stmt->prepared);
    EXPECT_TRUE(rig.PermitIsFree());
    EXPECT_EQ(-1, TVCIExecute(rig.stmt));
}

TEST(Prepare, SpecialCodesAreNoSpecialResultsHere) {
    StmtRig rig;
    rig.Script(Hex("3F 00000010 'PREPARE ST0 AS X' 00 00000000"),
               Hex("'E' 00000009 '[E13001]u' 'K'"));
    EXPECT_EQ(-1, TVCIPrepare(rig.stmt, "X", -1));
    EXPECT_EQ("E13001|[E13001]u", rig.Error());
}

TEST(Prepare, LaterErrorReplacesTheRecord) {
    StmtRig rig;
    rig.Script(Hex("3F 00000010 'PREPARE ST0 AS X' 00 00000000"),
               Hex("'E' 00000008 '[E1234]a' 'K'"));
    EXPECT_EQ(-1, TVCIPrepare(rig.stmt, "X", -1));
    EXPECT_EQ("E1234|[E1234]a", rig.Error());
    rig.Script(Hex("3F 00000010 'PREPARE ST1 AS X' 00 00000000"),
               Hex("'E' 00000009 '[E10002]b' 'K'"));
    EXPECT_EQ(-1, TVCIPrepare(rig.stmt, "X", -1));
    EXPECT_EQ("E10002|[E10002]b", rig.Error());
}

TEST(Prepare, LetterBehindAnErrorIsDroppedAndALaterEndIsSuccess) {
    StmtRig rig;
    rig.Script(Hex("3F 00000010 'PREPARE ST0 AS X' 00 00000000"),
               Hex("'E' 00000009 '[E10001]s' 'Z' 'K'"));
    EXPECT_EQ(0, TVCIPrepare(rig.stmt, "X", -1));
    EXPECT_EQ(1, rig.stmt->prepared);
    EXPECT_EQ("E10001|[E10001]s", rig.Error());
    rig.peer.Close();
}

TEST(Prepare, AnyOtherLetterIsReadAsAnError) {
    for (const char *letter : {"'F'", "'M'", "'W'", "'U'", "'R'", "'Z'", "01"}) {
        StmtRig rig;
        rig.Script(Hex("3F 00000010 'PREPARE ST0 AS X' 00 00000000"),
                   Hex(letter) + Hex("00000009 '[E10001]s' 'K'"));
        EXPECT_EQ(-1, TVCIPrepare(rig.stmt, "X", -1)) << letter;
        EXPECT_EQ("E10001|[E10001]s", rig.Error()) << letter;
    }
}

TEST(Prepare, ErrorTextOfNegativeLengthIsNoText) {
    StmtRig rig;
    rig.Script(Hex("3F 00000010 'PREPARE ST0 AS X' 00 00000000"), Hex("'E' FFFFFFFF 'K'"));
    EXPECT_EQ(-1, TVCIPrepare(rig.stmt, "X", -1));
    EXPECT_EQ("|", rig.Error());
}

TEST(Prepare, DescriptionsOfNegativeCountArePassedOver) {
    StmtRig rig;
    rig.Script(Hex("3F 00000010 'PREPARE ST0 AS X' 00 00000000"), Hex("'$' FFFFFFFF 'K'"));
    EXPECT_EQ(0, TVCIPrepare(rig.stmt, "X", -1));
    rig.peer.Close();
}

TEST(Prepare, ResultOfTheDescriptionsIsIgnored) {
    StmtRig rig;
    // The second name has a negative length: what follows it is read as letters.
    rig.Script(Hex("3F 00000010 'PREPARE ST0 AS X' 00 00000000"),
               Hex("'$' 00000002 00000001 'a' 00000005 00000004 00000000 FFFFFFFF 'K'"));
    EXPECT_EQ(0, TVCIPrepare(rig.stmt, "X", -1));
    rig.peer.Close();
}

TEST(Prepare, ArgumentsAreRefusedInOrder) {
    StmtRig rig;
    uint32_t dead[4] = {};
    EXPECT_EQ(-2, TVCIPrepare(nullptr, nullptr, -1));
    EXPECT_EQ(-2, TVCIPrepare((TVCIStmt *)dead, nullptr, -1));
    EXPECT_EQ(-3, TVCIPrepare(rig.stmt, nullptr, -1));
    EXPECT_EQ(-3, TVCIPrepare(rig.stmt, "X", -2));
}

TEST(Prepare, WithoutAConnectionIsRefused) {
    NativeRig rig;
    TVCIStmt *stmt = rig.NewStmt();
    EXPECT_EQ(-4, TVCIPrepare(stmt, "select ?", -1));
    EXPECT_EQ(0, stmt->prepared);
    EXPECT_EQ(-1, TVCIExecute(stmt));
    // What needs no connection comes first.
    EXPECT_EQ(-1, TVCIPrepare(stmt, "select ? :a", -1));
}

TEST(Prepare, AfterADisconnectIsRefused) {
    StmtRig rig;
    rig.Prepare();
    EXPECT_EQ(0, TVCIDisconnect(rig.session));
    EXPECT_EQ(-4, TVCIPrepare(rig.stmt, "Y", -1));
    EXPECT_EQ(-4, TVCIExecute(rig.stmt));
}

TEST(Prepare, ScanConflictSendsNothingAndTakesNoNumber) {
    StmtRig rig;
    EXPECT_EQ(-1, TVCIPrepare(rig.stmt, "select ? :a", -1));
    EXPECT_EQ("E19963| params bind  conflicted in execute sql", rig.Error());
    EXPECT_EQ(0u, rig.session->conn->next_stmt_id);
}

TEST(Prepare, PreparingAgainDeallocatesBareAndBeforeTheScan) {
    StmtRig rig;
    rig.Prepare();
    rig.Script(Hex("3F 0000000F 'DEALLOCATE ST0;' 00 00000000"), Hex("'K'"));
    EXPECT_EQ(-1, TVCIPrepare(rig.stmt, "? :a", -1));
    EXPECT_EQ(0, rig.stmt->prepared);
    rig.Script(Hex("3F 00000010 'PREPARE ST1 AS Y' 00 00000000"), Hex("'K'"));
    EXPECT_EQ(0, TVCIPrepare(rig.stmt, "Y", -1));
    rig.Script(Hex("3F 00000011 'DEALLOCATE `ST1`;' 00 00000000"), Hex("'K'"));
    EXPECT_EQ(0, TVCIStmtClose(rig.stmt, 3));
}

TEST(Prepare, PreparingAgainDropsParametersAndResults) {
    StmtRig rig;
    int32_t value = 0;
    rig.Script(Hex("3F 00000010 'PREPARE ST0 AS ?' 00 00000000"), Hex(ONE_FIELD) + Hex("'K'"));
    EXPECT_EQ(0, TVCIPrepare(rig.stmt, "?", -1));
    EXPECT_EQ(0, TVCIBindParam(rig.stmt, 1, 1, &value, 4, TVCI_C_INT, nullptr, nullptr, 4));
    const uint32_t generation = rig.stmt->result_generation;
    rig.Script(Hex("3F 0000000F 'DEALLOCATE ST0;' 00 00000000"), Hex("'K'"));
    rig.Script(Hex("3F 00000010 'PREPARE ST1 AS Y' 00 00000000"), Hex("'K'"));
    EXPECT_EQ(0, TVCIPrepare(rig.stmt, "Y", -1));
    EXPECT_EQ(0, rig.stmt->param_count);
    EXPECT_TRUE(ListEmpty(&rig.stmt->binds));
    EXPECT_EQ(nullptr, rig.Result(0));
    EXPECT_EQ(nullptr, rig.stmt->current);
    EXPECT_NE(generation, rig.stmt->result_generation);
    rig.peer.Close();
}

TEST(Prepare, PreparingAgainDropsParametersEvenIfTheNewOnesConflict) {
    StmtRig rig;
    rig.Script(Hex("3F 00000010 'PREPARE ST0 AS ?' 00 00000000"), Hex("'K'"));
    EXPECT_EQ(0, TVCIPrepare(rig.stmt, "?", -1));
    EXPECT_EQ(1, rig.stmt->param_count);
    rig.Script(Hex("3F 0000000F 'DEALLOCATE ST0;' 00 00000000"), Hex("'K'"));
    EXPECT_EQ(-1, TVCIPrepare(rig.stmt, "? :a", -1));
    EXPECT_EQ(0, rig.stmt->param_count);
}

TEST(Prepare, RefusedDeallocateStillClearsThePreparedState) {
    StmtRig rig;
    rig.Prepare();
    rig.Script(Hex("3F 0000000F 'DEALLOCATE ST0;' 00 00000000"),
               Hex("'E' 00000009 '[E10001]s' 'K'"));
    DeallocatePrepared(rig.stmt);
    EXPECT_EQ(0, rig.stmt->prepared);
    EXPECT_EQ("|", rig.Error());
    EXPECT_TRUE(rig.PermitIsFree());
    // The letter behind the text was read, too.
    EXPECT_EQ(0, rig.Answer(Hex("'U' 00000001 'K'")));
    EXPECT_NE(nullptr, rig.Result(0));
}

TEST(Prepare, LostDeallocateKeepsThePreparedState) {
    StmtRig rig;
    rig.Prepare();
    rig.peer.Expect(Hex("3F 0000000F 'DEALLOCATE ST0;' 00 00000000"));
    rig.peer.Close();
    DeallocatePrepared(rig.stmt);
    EXPECT_EQ(1, rig.stmt->prepared);
    EXPECT_TRUE(rig.PermitIsFree());
}

TEST(Prepare, DeallocateBehindALostOneBearsTheNewerName) {
    StmtRig rig;
    rig.Prepare();
    rig.peer.Expect(Hex("3F 0000000F 'DEALLOCATE ST0;' 00 00000000"));
    rig.peer.Close();
    rig.ScriptSecondLogin();
    EXPECT_EQ(-24, TVCIPrepare(rig.stmt, "Y", -1));
    EXPECT_EQ(1, rig.stmt->prepared);
    rig.Script(Hex("3F 0000000F 'DEALLOCATE ST1;' 00 00000000"),
               Hex("'E' 00000009 '[E10001]s' 'K'"));
    rig.Script(Hex("3F 00000010 'PREPARE ST2 AS Y' 00 00000000"), Hex("'K'"));
    EXPECT_EQ(0, TVCIPrepare(rig.stmt, "Y", -1));
    rig.peer.Close();
}

TEST(Prepare, DeallocateOfAnUnpreparedStatementSendsNothing) {
    StmtRig rig;
    DeallocatePrepared(rig.stmt);
    EXPECT_EQ(0, rig.stmt->prepared);
}

TEST(Prepare, LostConnectionWithoutReconnectIsLost) {
    for (const char *answer : {"", "'$' 00000000", "'E' 00000009 '[E10001]s'", "'E' 0000"}) {
        StmtRig rig;
        rig.SwitchReconnectOff();
        rig.Script(Hex("3F 00000010 'PREPARE ST0 AS X' 00 00000000"), Hex(answer));
        rig.peer.Close();
        EXPECT_EQ(-4, TVCIPrepare(rig.stmt, "X", -1)) << answer;
        EXPECT_EQ(0, rig.stmt->prepared);
        EXPECT_EQ("E19884|can't connect to server", rig.ErrorOf(rig.session));
        EXPECT_TRUE(rig.PermitIsFree());
    }
}

TEST(Prepare, LostConnectionThatComesBackIsReported) {
    StmtRig rig;
    rig.Script(Hex("3F 00000010 'PREPARE ST0 AS X' 00 00000000"), Hex(ONE_FIELD));
    rig.peer.Close();
    rig.ScriptSecondLogin();
    EXPECT_EQ(-24, TVCIPrepare(rig.stmt, "X", -1));
    EXPECT_TRUE(rig.PermitIsFree());
    // Nothing is sent again; the names go on counting.
    rig.Script(Hex("3F 00000010 'PREPARE ST1 AS X' 00 00000000"), Hex("'K'"));
    EXPECT_EQ(0, TVCIPrepare(rig.stmt, "X", -1));
    rig.peer.Close();
}

TEST(Prepare, ConnectionComesBackBesideAStatementThatWaitsForIt) {
    StmtRig rig;
    static ScriptedPeer *peer;
    static TVCIStmt *other;
    peer = &rig.peer;
    other = rig.NewStmt();
    rig.peer.Expect(Hex("3F 00000010 'PREPARE ST0 AS X' 00 00000000"));
    rig.peer.Mark("asked");
    rig.peer.Gate("other waits");
    rig.peer.Close();
    rig.ScriptSecondLogin();
    rig.Script(Hex("3F 00000001 'Y' 00 00000000"), Hex("'U' 00000001 'K'"));
    static int32_t result;
    std::thread waiting([] {
        EXPECT_TRUE(peer->WaitMark("asked"));
        WaitSetHook([](WaitPoint) { peer->Open("other waits"); });
        result = TVCIExecDirect(other, "Y", -1);
        WaitSetHook(nullptr);
    });
    EXPECT_EQ(-24, TVCIPrepare(rig.stmt, "X", -1));
    waiting.join();
    EXPECT_EQ(0, result);
    EXPECT_TRUE(rig.PermitIsFree());
}

TEST(ReadParamDescs, PassesOverTheDescriptionsOrTellsWhatFailed) {
    const struct {
        const char *answer;
        int32_t result;
    } row_table[] = {
        {"00000000", 0},
        {"00000002 00000001 'a' 00000005 00000004 00000000 "
         "00000000 00000005 00000004 00000000",
         0},
        {"0000", -4},
        {"00000001", -4},
        {"00000001 00000001 'a' 00000005 00000004", -4},
        {"00000001 FFFFFFFF", -5},
        {"FFFFFFFF", -5},
    };
    for (const auto &row : row_table) {
        StmtRig rig;
        rig.peer.Send(Hex(row.answer));
        rig.peer.Close();
        EXPECT_EQ(row.result, ReadParamDescs(rig.session->conn)) << row.answer;
    }
}

TEST(Prepare, ShortMemoryEndsInACodeAndLeavesNothingBehind) {
    StmtRig rig;
    rig.SwitchReconnectOff();
    const int64_t blocks = MemLiveBlocks();
    for (uint64_t n = 1;; n++) {
        CannedAnswer canned(Hex(ONE_FIELD) + Hex("'$' 00000001 00000001 'p' 00000005 00000004 "
                                                 "00000000 'K'"));
        MemFailAt(n);
        const int32_t result = TVCIPrepare(rig.stmt, "values (:a, :b)", -1);
        const bool failed = MemFailed();
        MemFailAt(0);
        rig.DropUnread();
        EXPECT_EQ(0, TVCIStmtClose(rig.stmt, 3));
        rig.DropUnread();
        EXPECT_EQ(blocks, MemLiveBlocks()) << n;
        EXPECT_TRUE(rig.PermitIsFree()) << n;
        if (!failed) {
            EXPECT_EQ(0, result);
            EXPECT_LT(8u, n);
            break;
        }
        EXPECT_TRUE(result == -5 || result == -1 || result == -4 || result == 0) << result;
    }
}
