// Array execution: its request, the answers it takes, and those that it leaves open.
#include <gtest/gtest.h>

#include <cstring>

#include "stmt/stmt_rig.h"

// The request for the text "?" with two rows of one TINYINT, for the protocol that this session
// speaks: later rows without types.
static const char *const REQUEST =
    "3F 00000001 '?' 00 00020001  0000 0001 0003 00000001 07  00000005 00000001 08";
static const char *const ERROR_TEXT = "00000009 '[E10001]s'";

struct BatchRig : StmtRig {
    int8_t values[2] = {7, 8};

    BatchRig() {
        BindRows(values, 2);
    }

    // A response whose end the call has not seen keeps the permit and every wait of the statement.
    // What a test leaves behind must not keep the rig.
    ~BatchRig() {
        if (stmt == nullptr || stmt->response_done.load()) return;
        EndByHand();
    }

    void EndByHand() {
        stmt->rows_complete.store(1);
        stmt->response_done.store(1);
        SemaphoreRelease(&session->conn->use_semaphore);
    }

    void BindRows(void *array, int32_t rows) {
        EXPECT_EQ(0, TVCIBindParamArray(stmt, 1, 1, 1, rows, array, 1, TVCI_C_TINYINT, nullptr,
                                        nullptr, 2));
    }

    // Runs the two rows and gives them this answer.
    int32_t AnswerRows(const Bytes &answer) {
        Script(Hex(REQUEST), answer);
        return TVCIExecDirectBatch(stmt, "?", -1);
    }

    // Whether the call has ended its response.
    bool IsOver() {
        return stmt->response_done.load() == 1 && stmt->rows_complete.load() == 1 && PermitIsFree();
    }

    // Whether the response stands open, with the permit taken.
    bool IsOpen() {
        return stmt->response_done.load() == 0 && !SemaphoreTryTake(&session->conn->use_semaphore);
    }
};

TEST(ExecDirectBatch, SendsTheTextWithParametersAndRowsInOneWord) {
    BatchRig rig;
    EXPECT_EQ(0, rig.AnswerRows(Hex("'U' 00000002 'K'")));
    EXPECT_EQ(3, rig.stmt->state);
    EXPECT_EQ(nullptr, rig.stmt->sql);
    EXPECT_TRUE(rig.IsOver());
}

TEST(ExecDirectBatch, LaterRowsHaveTypesForAnyOtherProtocol) {
    BatchRig rig;
    strcpy(rig.session->attr.version, "301");
    rig.Script(Hex("3F 00000001 '?' 00 00020001  0000 0001 0003 00000001 07 "
                   "00000006 03 00000001 08"),
               Hex("'K'"));
    EXPECT_EQ(0, TVCIExecDirectBatch(rig.stmt, "?", -1));
}

TEST(ExecDirectBatch, SendsNamedRows) {
    StmtRig rig;
    int32_t numbers[] = {1, 2};
    const char *texts[] = {"a", "bc"};
    int32_t lengths[] = {1, 2};
    ASSERT_EQ(0,
              TVCIBindParamArrayByName(rig.stmt, "t", 2, 1, 2, texts, 3, 2, nullptr, lengths, 12));
    ASSERT_EQ(0,
              TVCIBindParamArrayByName(rig.stmt, "n", 2, 1, 2, numbers, 4, 5, nullptr, nullptr, 4));
    // The order is that of the text.
    rig.Script(Hex("3F 00000005 ':n,:t' 00 00020002 "
                   "0001 'n' 0001 0005 00000004 00000001 0001 't' 0001 001E 00000001 'a' "
                   "0000000E 00000004 00000002 00000002 'bc'"),
               Hex("'K'"));
    EXPECT_EQ(0, TVCIExecDirectBatch(rig.stmt, ":n,:t", -1));
}

// An array that is bound by name takes the first parameter without one, even where a parameter
// behind it has the name already. The text has the name once: the later bind is sent.
TEST(ExecDirectBatch, OfTwoBindsOfOneNameTheLaterIsSentAndNoneIsLeftBehind) {
    StmtRig rig;
    const int64_t blocks = MemLiveBlocks();
    int8_t first = 7;
    int8_t later = 8;
    ASSERT_EQ(0, TVCIBindParamArray(rig.stmt, 1, 2, 1, 1, &first, 1, TVCI_C_TINYINT, nullptr,
                                    nullptr, 2));
    ASSERT_EQ(
        0, TVCIBindParamByName(rig.stmt, "a", 1, &later, 1, TVCI_C_TINYINT, nullptr, nullptr, 2));
    for (const char *name : {"a", "b"}) {
        ASSERT_EQ(0, TVCIBindParamArrayByName(rig.stmt, name, 3, 1, 1, &first, 1, TVCI_C_TINYINT,
                                              nullptr, nullptr, 2));
    }
    rig.Script(Hex("3F 00000008 ':a,:b,:c' 00 00010003 0001 'a' 0001 0003 00000001 08 "
                   "0001 'b' 0001 0003 00000001 07"),
               Hex("'K'"));
    EXPECT_EQ(0, TVCIExecDirectBatch(rig.stmt, ":a,:b,:c", -1));
    EXPECT_EQ(0, TVCIStmtClose(rig.stmt, 1));
    EXPECT_EQ(&rig.stmt->binds, rig.stmt->binds.next);
    EXPECT_EQ(blocks, MemLiveBlocks());
}

TEST(ExecDirectBatch, LengthCutsTheText) {
    BatchRig rig;
    rig.Script(Hex(REQUEST), Hex("'K'"));
    EXPECT_EQ(0, TVCIExecDirectBatch(rig.stmt, "?,?", 1));
}

TEST(ExecDirectBatch, WithoutParametersTheRowsOfAnEarlierBindAreCountedAll) {
    BatchRig rig;
    EXPECT_EQ(0, TVCIStmtClose(rig.stmt, 1));
    rig.Script(Hex("3F 00000001 'X' 00 00020000"), Hex("'K'"));
    EXPECT_EQ(0, TVCIExecDirectBatch(rig.stmt, "X", -1));
}

TEST(ExecDirectBatch, WithoutAnArrayBindNoRowIsSent) {
    StmtRig rig;
    int8_t value = 7;
    ASSERT_EQ(0, TVCIBindParam(rig.stmt, 1, 1, &value, 1, TVCI_C_TINYINT, nullptr, nullptr, 2));
    rig.Script(Hex("3F 00000001 '?' 00 00000001"), Hex("'K'"));
    EXPECT_EQ(0, TVCIExecDirectBatch(rig.stmt, "?", -1));
}

// The parameter word of so many rows of one TINYINT, with all of them behind it.
static void ExpectWord(int32_t rows, const char *word) {
    SCOPED_TRACE(rows);
    StmtRig rig;
    Bytes values((size_t)rows, 7);
    ASSERT_EQ(0, TVCIBindParamArray(rig.stmt, 1, 1, 1, rows, values.data(), 1, TVCI_C_TINYINT,
                                    nullptr, nullptr, 2));
    rig.Script(Hex("3F 00000001 '?' 00") + Hex(word) + Hex("0000 0001 0003 00000001 07") +
                   Repeat(Hex("00000005 00000001 07"), (size_t)rows - 1),
               Hex("'K'"));
    EXPECT_EQ(0, TVCIExecDirectBatch(rig.stmt, "?", -1));
}

TEST(ExecDirectBatch, TheWordHoldsUpTo32767Rows) {
    ExpectWord(1, "00010001");
    ExpectWord(32767, "7FFF0001");
    // A word below 1 goes out as 0, and what does not fit it is lost. The rows go out all the same.
    ExpectWord(32768, "00000000");
    ExpectWord(65537, "00010001");
}

TEST(ExecDirectBatch, ArgumentsAreRefusedInOrder) {
    BatchRig rig;
    EXPECT_EQ(-2, TVCIExecDirectBatch(nullptr, nullptr, -1));
    EXPECT_EQ(-2, TVCIExecDirectBatch((TVCIStmt *)rig.session, nullptr, -1));
    EXPECT_EQ(-3, TVCIExecDirectBatch(rig.stmt, nullptr, -1));
    EXPECT_EQ(-3, TVCIExecDirectBatch(rig.stmt, "?", -2));
}

TEST(ExecDirectBatch, WithoutAConnectionIsRefused) {
    BatchRig rig;
    EXPECT_EQ(0, TVCIDisconnect(rig.session));
    EXPECT_EQ(-4, TVCIExecDirectBatch(rig.stmt, "?", -1));
}

TEST(ExecDirectBatch, DropsThePreparedStatementEvenWhenItIsRefused) {
    BatchRig rig;
    rig.Prepare();
    EXPECT_EQ(-1, TVCIExecDirectBatch(rig.stmt, "?", -1));
    EXPECT_EQ(0, rig.stmt->prepared);
    EXPECT_EQ(-1, TVCIExecute(rig.stmt));
}

TEST(ExecDirectBatch, RefusedParametersSendNothing) {
    BatchRig rig;
    EXPECT_EQ(-1, TVCIExecDirectBatch(rig.stmt, "?,?", -1));
    EXPECT_EQ("E19962| params bind num conflict with execute sql", rig.Error());
    EXPECT_EQ(0, rig.session->conn->send_fill);
    EXPECT_TRUE(rig.PermitIsFree());
    EXPECT_STREQ("?,?", rig.stmt->sql);
}

TEST(ExecDirectBatch, ReleasesItsResultsWithoutThePermit) {
    BatchRig rig;
    EXPECT_EQ(0, rig.AnswerRows(Hex("'U' 00000002 'K'")));
    SemaphoreTryTake(&rig.session->conn->use_semaphore);
    // The refusal comes behind the release and in front of the request, which alone takes it.
    EXPECT_EQ(-1, TVCIExecDirectBatch(rig.stmt, "?,?", -1));
    EXPECT_EQ(nullptr, rig.stmt->current);
    EXPECT_EQ(nullptr, rig.Result(0));
    SemaphoreRelease(&rig.session->conn->use_semaphore);
}

TEST(ExecDirectBatch, WithMoreThanFourThousandParametersIsRefusedBehindItsHeader) {
    StmtRig rig;
    int8_t value = 7;
    ASSERT_EQ(0, TVCIBindParamArray(rig.stmt, 1, 4001, 1, 1, &value, 1, TVCI_C_TINYINT, nullptr,
                                    nullptr, 2));
    const std::string text(4001, '?');
    rig.peer.Expect(Hex("3F 00000FA1") + Ascii(text) + Hex("00"));
    EXPECT_EQ(-5, TVCIExecDirectBatch(rig.stmt, text.c_str(), -1));
    EXPECT_TRUE(rig.PermitIsFree());
    EXPECT_EQ(4, rig.session->conn->send_fill);
    rig.peer.Expect(Hex("00010FA1"));
    EXPECT_EQ(0, rig.Answer(Hex("'K'")));
}

TEST(ExecDirectBatch, WithFourThousandParametersIsSent) {
    StmtRig rig;
    int8_t value = 7;
    ASSERT_EQ(0, TVCIBindParamArray(rig.stmt, 4000, 4000, 1, 1, &value, 1, TVCI_C_TINYINT, nullptr,
                                    nullptr, 2));
    const std::string text(4000, '?');
    rig.Script(Hex("3F 00000FA0") + Ascii(text) + Hex("00 00010FA0 0000 0001 0003 00000001 07"),
               Hex("'K'"));
    EXPECT_EQ(0, TVCIExecDirectBatch(rig.stmt, text.c_str(), -1));
}

TEST(ExecDirectBatch, CountsOfEveryKindEndTheResponse) {
    const struct {
        const char *answer;
        int32_t kind;
        uint32_t affected;
    } cases[] = {
        {"'U' 00000002 'K'", RESULT_UPDATE, 2},
        {"'D' 00000003 'K'", RESULT_DELETE, 3},
        {"'I' 00000004 4B4B4B4B 'K'", RESULT_INSERT, 1},
    };
    for (const auto &item : cases) {
        BatchRig rig;
        EXPECT_EQ(0, rig.AnswerRows(Hex(item.answer)));
        ASSERT_NE(nullptr, rig.stmt->current);
        EXPECT_EQ(rig.Result(0), rig.stmt->current);
        EXPECT_EQ(item.kind, rig.stmt->current->kind);
        EXPECT_EQ(item.affected, rig.stmt->current->affected);
        EXPECT_TRUE(rig.IsOver());
    }
}

TEST(ExecDirectBatch, ALoneEndIsASuccessWithoutResults) {
    BatchRig rig;
    EXPECT_EQ(0, rig.AnswerRows(Hex("'K'")));
    EXPECT_EQ(nullptr, rig.stmt->current);
    EXPECT_TRUE(rig.IsOver());
}

TEST(ExecDirectBatch, EachRowMayHaveAResultOfItsOwn) {
    BatchRig rig;
    EXPECT_EQ(0, rig.AnswerRows(Hex("'U' 00000001 'I' 00000000 'D' 00000005 'K'")));
    EXPECT_EQ(1u, rig.stmt->current->affected);
    EXPECT_EQ(0, TVCINextResult(rig.stmt));
    EXPECT_EQ(RESULT_INSERT, rig.stmt->current->kind);
    EXPECT_EQ(-7, TVCINextResult(rig.stmt));
    EXPECT_EQ(5u, rig.Result(2)->affected);
}

TEST(ExecDirectBatch, AnErrorInFrontOfTheEndIsReturnedAndTheTextStays) {
    const struct {
        const char *answer;
        int32_t result;
    } cases[] = {
        {"'E' 00000009 '[E10001]s' 'K'", -1},
        {"'F' 00000009 '[E10001]s' 'K'", -1},
        {"'E' 00000009 '[E13001]s' 'K'", -13},
        {"'F' 00000009 '[E17005]s' 'K'", -17},
    };
    for (const auto &item : cases) {
        BatchRig rig;
        EXPECT_EQ(item.result, rig.AnswerRows(Hex(item.answer)));
        EXPECT_EQ(1, rig.stmt->response_done.load());
        EXPECT_TRUE(rig.PermitIsFree());
        EXPECT_STREQ("?", rig.stmt->sql);
        EXPECT_EQ(nullptr, rig.stmt->current);
    }
}

TEST(ExecDirectBatch, AnErrorBehindAResultMakesNoResultCurrent) {
    BatchRig rig;
    EXPECT_EQ(-1, rig.AnswerRows(Hex("'U' 00000001 'E'") + Hex(ERROR_TEXT) + Hex("'K'")));
    EXPECT_EQ("E10001|[E10001]s", rig.Error());
    EXPECT_EQ(nullptr, rig.stmt->current);
    ASSERT_NE(nullptr, rig.Result(0));
    EXPECT_EQ(1u, rig.Result(0)->affected);
}

TEST(ExecDirectBatch, AnErrorInFrontOfAResultIsKeptAndNotReturned) {
    BatchRig rig;
    EXPECT_EQ(0, rig.AnswerRows(Hex("'E'") + Hex(ERROR_TEXT) + Hex("'U' 00000001 'K'")));
    EXPECT_EQ("E10001|[E10001]s", rig.Error());
    EXPECT_EQ(1u, rig.stmt->current->affected);
    EXPECT_TRUE(rig.IsOver());
}

TEST(ExecDirectBatch, MessagesAndWarningsAreKept) {
    for (const char *letter : {"'M'", "'W'"}) {
        BatchRig rig;
        EXPECT_EQ(0, rig.AnswerRows(Hex(letter) + Hex(ERROR_TEXT) + Hex("'U' 00000001 'K'")));
        EXPECT_EQ("E10001|[E10001]s", rig.Error());
        EXPECT_TRUE(rig.IsOver());
    }
}

TEST(ExecDirectBatch, AnUnknownLetterIsASuccessThatStaysOpen) {
    for (const char *letter : {"'O'", "'P'", "'B'", "'R'", "'*'", "'$'", "'?'", "01", "FF"}) {
        SCOPED_TRACE(letter);
        BatchRig rig;
        EXPECT_EQ(0, rig.AnswerRows(Hex("'U' 00000001") + Hex(letter)));
        EXPECT_EQ(nullptr, rig.stmt->sql);
        ASSERT_NE(nullptr, rig.stmt->current);
        EXPECT_EQ(1u, rig.stmt->current->affected);
        EXPECT_TRUE(rig.IsOpen());
    }
}

TEST(ExecDirectBatch, RowsAreReadAndLeaveTheResponseOpen) {
    for (const int32_t rows : {0, 1, 1999}) {
        BatchRig rig;
        EXPECT_EQ(0, rig.AnswerRows(Hex(ONE_FIELD) + IntRows(0, rows) + Hex("'K'")));
        ASSERT_NE(nullptr, rig.stmt->current);
        EXPECT_EQ(RESULT_ROWS, rig.stmt->current->kind);
        EXPECT_EQ(rows, rig.stmt->current->store.row_count.load());
        EXPECT_EQ(0, rig.stmt->rows_complete.load());
        EXPECT_TRUE(rig.IsOpen());
    }
}

TEST(ExecDirectBatch, RowsInFrontOfACountEndWithIt) {
    BatchRig rig;
    EXPECT_EQ(0, rig.AnswerRows(Hex(ONE_FIELD) + IntRows(0, 3) + Hex("'U' 00000001 'K'")));
    EXPECT_EQ(3, rig.stmt->current->store.row_count.load());
    EXPECT_EQ(0, TVCINextResult(rig.stmt));
    EXPECT_EQ(1u, rig.stmt->current->affected);
    EXPECT_TRUE(rig.IsOver());
}

TEST(ExecDirectBatch, AFullBlockAsksForTheNextWithAPoint) {
    BatchRig rig;
    rig.peer.Expect(Hex(REQUEST));
    rig.peer.Send(Hex(ONE_FIELD) + IntRows(0, 2000) + Hex("'R'"));
    rig.peer.Expect(Hex("'.'"));
    rig.peer.Send(Hex("00000004 000007D0") + IntRows(2001, 99) + Hex("'K'"));
    EXPECT_EQ(0, TVCIExecDirectBatch(rig.stmt, "?", -1));
    EXPECT_EQ(2100, rig.stmt->current->store.row_count.load());
    EXPECT_TRUE(rig.IsOpen());
    int32_t value = 0;
    ASSERT_EQ(0, TVCIDefineColumn(rig.stmt, 1, &value, 4, TVCI_C_INT, nullptr, nullptr));
    // The last 100 rows are never far enough behind.
    for (int32_t row = 0; row < 2000; row++) {
        ASSERT_EQ(0, TVCIFetch(rig.stmt));
        ASSERT_EQ(row, value);
    }
}

TEST(ExecDirectBatch, AFullBlockInFrontOfACountAsksAsWell) {
    BatchRig rig;
    rig.peer.Expect(Hex(REQUEST));
    rig.peer.Send(Hex(ONE_FIELD) + IntRows(0, 2000) + Hex("'U'"));
    rig.peer.Expect(Hex("'.'"));
    rig.peer.Send(Hex("00000007 'K'"));
    EXPECT_EQ(0, TVCIExecDirectBatch(rig.stmt, "?", -1));
    EXPECT_EQ(2000, rig.stmt->current->store.row_count.load());
    EXPECT_EQ(7u, rig.Result(1)->affected);
    EXPECT_TRUE(rig.IsOver());
}

TEST(ExecDirectBatch, TheRowsBehindTwoBlocksAreAnUnknownLetter) {
    BatchRig rig;
    rig.peer.Expect(Hex(REQUEST));
    rig.peer.Send(Hex(ONE_FIELD) + IntRows(0, 2000) + Hex("'R'"));
    rig.peer.Expect(Hex("'.'"));
    rig.peer.Send(Hex("00000004 000007D0") + IntRows(2001, 2000) + Hex("'K'"));
    EXPECT_EQ(0, TVCIExecDirectBatch(rig.stmt, "?", -1));
    EXPECT_EQ(4000, rig.stmt->current->store.row_count.load());
    EXPECT_TRUE(rig.IsOpen());
}

TEST(ExecDirectBatch, TheEndBehindAFullBlockIsFollowedByARead) {
    BatchRig rig;
    // The second 'K' is not part of the answer: the call takes it all the same.
    EXPECT_EQ(0, rig.AnswerRows(Hex(ONE_FIELD) + IntRows(0, 2000) + Hex("'K' 'K'")));
    EXPECT_EQ(2000, rig.stmt->current->store.row_count.load());
    EXPECT_TRUE(rig.IsOpen());
    EXPECT_EQ(0, rig.session->conn->recv_fill);
}

TEST(ExecDirectBatch, TheEndBehindAFullBlockAndNothingMoreIsALostConnection) {
    BatchRig rig;
    rig.SwitchReconnectOff();
    rig.peer.Expect(Hex(REQUEST));
    rig.peer.Send(Hex(ONE_FIELD) + IntRows(0, 2000) + Hex("'K'"));
    rig.peer.Close();
    EXPECT_EQ(-4, TVCIExecDirectBatch(rig.stmt, "?", -1));
    EXPECT_EQ(1, rig.stmt->response_done.load());
    EXPECT_TRUE(rig.PermitIsFree());
}

// Runs an answer that stays open, and what follows it, in a process of its own.
static void RunBehindOpenAnswer(void (*next)(BatchRig &rig)) {
    BatchRig rig;
    if (rig.AnswerRows(Hex(ONE_FIELD) + IntRows(0, 1) + Hex("'K'")) != 0) return;
    EndAtWaits();
    next(rig);
}

TEST(ExecDirectBatch, BehindRowsEverythingElseWaits) {
    EXPECT_WAITS_FOR_EVER(
        RunBehindOpenAnswer([](BatchRig &rig) { TVCIExecDirect(rig.NewStmt(), "X", -1); }),
        WAIT_CONN_PERMIT);
    EXPECT_WAITS_FOR_EVER(
        RunBehindOpenAnswer([](BatchRig &rig) { TVCIExecDirectBatch(rig.stmt, "?", -1); }),
        WAIT_RESPONSE_DONE);
    EXPECT_WAITS_FOR_EVER(RunBehindOpenAnswer([](BatchRig &rig) { TVCIStmtClose(rig.stmt, 3); }),
                          WAIT_CLOSE_PERMIT);
    EXPECT_WAITS_FOR_EVER(RunBehindOpenAnswer([](BatchRig &rig) { TVCIFetch(rig.stmt); }),
                          WAIT_ROWS_AHEAD);
}

static void RunCutAnswer(const char *answer) {
    BatchRig rig;
    rig.peer.Expect(Hex(REQUEST));
    rig.peer.Send(Hex(answer));
    rig.peer.Close();
    EndAtWaits();
    TVCIExecDirectBatch(rig.stmt, "?", -1);
}

TEST(ExecDirectBatch, AnItemThatIsCutShortWaitsForItsOwnEnd) {
    for (const char *answer :
         {"'A' 0000", "'U' 00", "'I' 00000004 4B", "'E' 00000009 '['", "'M' FFFFFFFF"}) {
        SCOPED_TRACE(answer);
        EXPECT_WAITS_FOR_EVER(RunCutAnswer(answer), WAIT_RESPONSE_DONE);
    }
}

TEST(ExecDirectBatch, ALostConnectionThatComesBackIsReportedAndNotRepeated) {
    BatchRig rig;
    rig.peer.Expect(Hex(REQUEST));
    rig.peer.Close();
    rig.ScriptSecondLogin();
    EXPECT_EQ(-24, TVCIExecDirectBatch(rig.stmt, "?", -1));
    EXPECT_EQ(1, rig.stmt->response_done.load());
    EXPECT_TRUE(rig.PermitIsFree());
    EXPECT_STREQ("?", rig.stmt->sql);
    EXPECT_EQ(0, rig.AnswerRows(Hex("'K'")));
}

TEST(ExecDirectBatch, ALostConnectionBetweenItemsKeepsTheResultsAndMakesNoneCurrent) {
    BatchRig rig;
    rig.SwitchReconnectOff();
    rig.peer.Expect(Hex(REQUEST));
    rig.peer.Send(Hex("'U' 00000001 'U' 00000002"));
    rig.peer.Close();
    EXPECT_EQ(-4, TVCIExecDirectBatch(rig.stmt, "?", -1));
    EXPECT_EQ(nullptr, rig.stmt->current);
    ASSERT_NE(nullptr, rig.Result(1));
    EXPECT_EQ(2u, rig.Result(1)->affected);
    EXPECT_TRUE(rig.PermitIsFree());
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

TEST(ExecDirectBatch, AFlushThatFailsIsLostOrReconnected) {
    BatchRig lost;
    lost.SwitchReconnectOff();
    FailNextSend();
    EXPECT_EQ(-4, TVCIExecDirectBatch(lost.stmt, "?", -1));
    EXPECT_EQ(1, lost.stmt->response_done.load());
    EXPECT_EQ(0, lost.stmt->state);
    EXPECT_TRUE(lost.PermitIsFree());
    BatchRig back;
    back.ScriptSecondLogin();
    FailNextSend();
    EXPECT_EQ(-24, TVCIExecDirectBatch(back.stmt, "?", -1));
    EXPECT_TRUE(back.PermitIsFree());
    EXPECT_EQ(0, back.AnswerRows(Hex("'K'")));
}

TEST(ExecDirectBatch, AHeaderThatFailsIsLostOrReconnected) {
    const std::string text = "?" + std::string(3000, ' ');
    BatchRig lost;
    lost.SwitchReconnectOff();
    FailNextSend();
    EXPECT_EQ(-4, TVCIExecDirectBatch(lost.stmt, text.c_str(), -1));
    EXPECT_TRUE(lost.PermitIsFree());
    BatchRig back;
    back.ScriptSecondLogin();
    FailNextSend();
    EXPECT_EQ(-24, TVCIExecDirectBatch(back.stmt, text.c_str(), -1));
    EXPECT_TRUE(back.PermitIsFree());
}

TEST(ExecDirectBatch, ShortMemoryEndsInACodeAndLeavesNothingBehind) {
    StmtRig rig;
    rig.SwitchReconnectOff();
    const int64_t blocks = MemLiveBlocks();
    for (uint64_t n = 1;; n++) {
        int8_t values[] = {7, 8};
        ASSERT_EQ(0, TVCIBindParamArrayByName(rig.stmt, "a", 1, 1, 2, values, 1, TVCI_C_TINYINT,
                                              nullptr, nullptr, 2));
        CannedAnswer canned(Hex("'I' 00000002 0102 'U' 00000001 'K'"));
        MemFailAt(n);
        const int32_t result = TVCIExecDirectBatch(rig.stmt, "values (:a)", -1);
        const bool failed = MemFailed();
        MemFailAt(0);
        rig.DropUnread();
        EXPECT_EQ(1, rig.stmt->response_done.load());
        EXPECT_EQ(0, TVCIStmtClose(rig.stmt, 3));
        EXPECT_EQ(blocks, MemLiveBlocks()) << n;
        EXPECT_TRUE(rig.PermitIsFree()) << n;
        if (!failed) {
            EXPECT_EQ(0, result);
            // The text, the name table, the name, the record, the rows' buffer, and two results.
            EXPECT_EQ(8u, n);
            break;
        }
        // Without a buffer no row goes out, and the answer is read all the same.
        const int32_t wanted = n == 5 ? 0 : n == 1 || n > 5 ? -5 : -1;
        EXPECT_EQ(wanted, result) << n;
    }
}
