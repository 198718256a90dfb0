// The response loop, letter by letter, with the bytes of each answer written out.
#include <gtest/gtest.h>

#include "platform/thread.h"
#include "stmt/letters.h"
#include "stmt/stmt_rig.h"
#include "wire/cipher.h"

TEST(ReadResponse, EndAloneIsSuccess) {
    StmtRig rig;
    EXPECT_EQ(0, rig.Answer(Hex("'K'")));
    EXPECT_EQ(1, rig.stmt->rows_complete.load());
    EXPECT_EQ(1, rig.stmt->response_done.load());
    EXPECT_EQ(nullptr, rig.stmt->current);
    EXPECT_TRUE(rig.PermitIsFree());
}

TEST(ReadResponse, RowsBecomeAResult) {
    StmtRig rig;
    EXPECT_EQ(0, rig.Answer(Hex("'A' 00000001 00000001 'N' 00000005 FFFFFFFF 00000000 "
                                "'R' 00000004 0000002A 'R' 00000000 'K'")));
    ASSERT_NE(nullptr, rig.Result(0));
    EXPECT_EQ(RESULT_ROWS, rig.Result(0)->kind);
    EXPECT_EQ(2, rig.Result(0)->store.row_count.load());
    EXPECT_EQ(rig.Result(0), rig.stmt->current);
    EXPECT_EQ(1, rig.stmt->rows_complete.load());
}

TEST(ReadResponse, DeleteCountsItsRows) {
    StmtRig rig;
    EXPECT_EQ(0, rig.Answer(Hex("'D' 00000005 'K'")));
    EXPECT_EQ(RESULT_DELETE, rig.Result(0)->kind);
    EXPECT_EQ(5u, rig.Result(0)->affected);
}

TEST(ReadResponse, UpdateCountsItsRows) {
    StmtRig rig;
    EXPECT_EQ(0, rig.Answer(Hex("'U' FFFFFFFF 'K'")));
    EXPECT_EQ(RESULT_UPDATE, rig.Result(0)->kind);
    EXPECT_EQ(4294967295u, rig.Result(0)->affected);
}

TEST(ReadResponse, TwoUpdatesAreTwoResultsWithTheirOwnCounts) {
    StmtRig rig;
    EXPECT_EQ(0, rig.Answer(Hex("'U' 00000002 'U' 00000003 'K'")));
    ASSERT_NE(nullptr, rig.Result(1));
    EXPECT_EQ(2u, rig.Result(0)->affected);
    EXPECT_EQ(3u, rig.Result(1)->affected);
    EXPECT_EQ(nullptr, rig.Result(2));
}

TEST(ReadResponse, BookmarkOfAnInsertIsConsumedAndLost) {
    StmtRig rig;
    EXPECT_EQ(0, rig.Answer(Hex("'I' 00000004 4B4B4B4B 'K'")));
    EXPECT_EQ(RESULT_INSERT, rig.Result(0)->kind);
    EXPECT_EQ(1u, rig.Result(0)->affected);
    EXPECT_EQ(nullptr, rig.Result(1));
}

// Bytes as they stand on the wire at a place of the keystream of the key 00 to 1F.
static Bytes Enciphered(Bytes plain, size_t place) {
    const Bytes keystream = Hex("38CBD98552349D107312D71ED3854549037E7979CB24924A084546CCF8C85AAF");
    for (size_t i = 0; i < plain.size(); i++) {
        plain[i] = (uint8_t)(plain[i] ^ keystream.at(place + i));
    }
    return plain;
}

TEST(ReadResponse, BookmarkOfAnInsertGoesThroughTheKeystreamAndADataItemDoesNot) {
    StmtRig rig;
    Connection *conn = rig.session->conn;
    const Bytes key = Hex("000102030405060708090A0B0C0D0E0F101112131415161718191A1B1C1D1E1F");
    conn->use_ssl = 1;
    ASSERT_TRUE(CipherSetup(conn, key.data(), 32));
    rig.Script(Enciphered(Hex(REQUEST_X), 0),
               Enciphered(Hex("'I' 00000003 'abc' 'O' 00000001 00000002"), 0) + Hex("'KE'") +
                   Enciphered(Hex("'U' 00000007 'K'"), 17));
    EXPECT_EQ(0, TVCIExecDirect(rig.stmt, "X", -1));
    ASSERT_NE(nullptr, rig.Result(1));
    EXPECT_EQ(RESULT_INSERT, rig.Result(0)->kind);
    EXPECT_EQ(RESULT_UPDATE, rig.Result(1)->kind);
    EXPECT_EQ(7u, rig.Result(1)->affected);
    EXPECT_EQ(23, conn->recv_cipher->pos);
    EXPECT_EQ(11, conn->send_cipher->pos);
}

TEST(ReadResponse, BookmarkOfNoOrNegativeLengthIsNone) {
    StmtRig rig;
    EXPECT_EQ(0, rig.Answer(Hex("'I' 00000000 'K'")));
    EXPECT_EQ(1u, rig.Result(0)->affected);
    EXPECT_EQ(0, rig.Answer(Hex("'I' FFFFFFFF 'K'")));
    EXPECT_EQ(1u, rig.Result(0)->affected);
}

TEST(ReadResponse, LongBookmarkIsPassedOver) {
    StmtRig rig;
    EXPECT_EQ(0, rig.Answer(Hex("'I' 00004E20") + Repeat(Hex("4B"), 20000) + Hex("'K'")));
    EXPECT_EQ(1u, rig.Result(0)->affected);
}

TEST(ReadResponse, MessageAndWarningAreKept) {
    for (const char *letter : {"'M'", "'W'"}) {
        StmtRig rig;
        EXPECT_EQ(0, rig.Answer(Hex(letter) + Hex("0000000B '[E00001]hey' 'K'"))) << letter;
        EXPECT_EQ("E00001|[E00001]hey", rig.Error()) << letter;
    }
}

TEST(ReadResponse, WarningOverwritesAnEarlierError) {
    StmtRig rig;
    EXPECT_EQ(0, rig.Answer(Hex("'E' 00000009 '[E10001]e' 'W' 00000009 '[E00002]w' 'K'")));
    EXPECT_EQ("E00002|[E00002]w", rig.Error());
}

TEST(ReadResponse, ErrorInFrontOfTheEndFailsAndKeepsTheWholeText) {
    for (const char *letter : {"'E'", "'F'"}) {
        StmtRig rig;
        EXPECT_EQ(-1, rig.Answer(Hex(letter) + Hex("00000010 '[E10001]no table' 'K'")));
        EXPECT_EQ("E10001|[E10001]no table", rig.Error()) << letter;
        EXPECT_EQ(1, rig.stmt->rows_complete.load());
        EXPECT_EQ(1, rig.stmt->response_done.load());
        EXPECT_TRUE(rig.PermitIsFree());
    }
}

TEST(ReadResponse, TwoServerErrorsHaveResultsOfTheirOwn) {
    StmtRig rig;
    EXPECT_EQ(-13, rig.Answer(Hex("'E' 00000009 '[E13001]u' 'K'")));
    EXPECT_EQ("E13001|[E13001]u", rig.Error());
    EXPECT_EQ(-17, rig.Answer(Hex("'F' 00000009 '[E17005]v' 'K'")));
    EXPECT_EQ("E17005|[E17005]v", rig.Error());
    EXPECT_EQ(-1, rig.Answer(Hex("'E' 00000009 '[E13002]w' 'K'")));
}

TEST(ReadResponse, SpecialResultStaysForALaterError) {
    StmtRig rig;
    EXPECT_EQ(-13, rig.Answer(Hex("'E' 00000009 '[E13001]u' 'E' 00000009 '[E10001]x' 'K'")));
    EXPECT_EQ("E10001|[E10001]x", rig.Error());
    EXPECT_EQ(-17, rig.Answer(Hex("'E' 00000009 '[E13001]u' 'E' 00000009 '[E17005]v' 'K'")));
}

TEST(ReadResponse, ErrorThatAnUpdateFollowsIsSuccessWithItsTextReadable) {
    StmtRig rig;
    EXPECT_EQ(0, rig.Answer(Hex("'E' 00000009 '[E13001]u' 'U' 00000001 'K'")));
    EXPECT_EQ("E13001|[E13001]u", rig.Error());
    EXPECT_EQ(1u, rig.Result(0)->affected);
}

TEST(ReadResponse, ResultsInFrontOfAnErrorStay) {
    StmtRig rig;
    EXPECT_EQ(-1, rig.Answer(Hex(ONE_FIELD) +
                             Hex("'R' 00000004 0000002A 'U' 00000001 'E' 00000009 '[E10001]e' "
                                 "'K'")));
    ASSERT_NE(nullptr, rig.Result(1));
    EXPECT_EQ(0, TVCIFetch(rig.stmt));
    EXPECT_EQ(100, TVCIFetch(rig.stmt));
}

TEST(ReadResponse, BracketAtIndexSixGivesAFiveCharacterCode) {
    StmtRig rig;
    EXPECT_EQ(-1, rig.Answer(Hex("'E' 00000014 '[E1234]no such thing' 'K'")));
    EXPECT_EQ("E1234|[E1234]no such thing", rig.Error());
}

TEST(ReadResponse, AnyOtherTextGivesASixCharacterCode) {
    StmtRig rig;
    EXPECT_EQ(-1, rig.Answer(Hex("'E' 00000015 '[E12345]no such thing' 'K'")));
    EXPECT_EQ("E12345|[E12345]no such thing", rig.Error());
    EXPECT_EQ(-1, rig.Answer(Hex("'E' 0000000B 'plain words' 'K'")));
    EXPECT_EQ("lain w|plain words", rig.Error());
}

TEST(ReadResponse, ShortTextsGiveTheCodeThatIsThere) {
    StmtRig rig;
    EXPECT_EQ(-1, rig.Answer(Hex("'E' 00000002 'no' 'K'")));
    EXPECT_EQ("o|no", rig.Error());
    EXPECT_EQ(-1, rig.Answer(Hex("'E' 00000000 'K'")));
    EXPECT_EQ("|", rig.Error());
}

TEST(ReadResponse, ErrorIsNotClearedBySuccess) {
    StmtRig rig;
    EXPECT_EQ(-1, rig.Answer(Hex("'E' 00000009 '[E10001]e' 'K'")));
    EXPECT_EQ(0, rig.Answer(Hex("'K'")));
    EXPECT_EQ("E10001|[E10001]e", rig.Error());
}

TEST(ReadResponse, DataItemIsDiscarded) {
    StmtRig rig;
    EXPECT_EQ(0, rig.Answer(Hex("'O' 00000001 00000003 4B4B4B 'O' 00000001 FFFFFFFF "
                                "'U' 00000002 'K'")));
    EXPECT_EQ(2u, rig.Result(0)->affected);
}

TEST(ReadResponse, OutputParameterIsReadOver) {
    StmtRig rig;
    EXPECT_EQ(0, rig.Answer(Hex("'P' 00000000 0000001E 00000003 4B4B4B "
                                "'P' FFFFFFFF 00000005 00000000 'U' 00000002 'K'")));
    EXPECT_EQ(2u, rig.Result(0)->affected);
}

TEST(ReadResponse, UnknownLettersFailAndLeaveTheRestUnread) {
    const Bytes letters = Hex("'BCGHJLNQRSTV' '$' '*' '@' 'X' 'Z' 'a' 'k' 01 7F FF");
    for (uint8_t letter : letters) {
        StmtRig rig;
        EXPECT_EQ(-1, rig.Answer(Bytes{letter} + Hex("'U' 00000001 'K'"))) << int(letter);
        EXPECT_EQ(1, rig.stmt->response_done.load());
        EXPECT_EQ(0, rig.stmt->rows_complete.load());
        EXPECT_TRUE(rig.PermitIsFree());
        // The rest answers the next request.
        rig.peer.Expect(Hex(REQUEST_X));
        EXPECT_EQ(0, TVCIExecDirect(rig.stmt, "X", -1));
        EXPECT_EQ(1u, rig.Result(0)->affected);
    }
}

TEST(ReadResponse, RowsOfAnEarlierResponseSayNothingOfALaterOne) {
    StmtRig rig;
    EXPECT_EQ(0, rig.Answer(Hex("'K'")));
    EXPECT_EQ(1, rig.stmt->rows_complete.load());
    EXPECT_EQ(-1, rig.Answer(Hex("'B'")));
    EXPECT_EQ(0, rig.stmt->rows_complete.load());
}

TEST(ReadResponse, ZeroByteIsAnUnknownLetter) {
    StmtRig rig;
    EXPECT_EQ(-1, rig.Answer(Hex("00")));
    EXPECT_EQ("|", rig.Error());
}

TEST(ReadResponse, AllItemsInOneResponse) {
    const Bytes answer =
        Hex("'W' 00000009 '[E00001]w' "
            "'D' 00000001 'U' 00000002 'I' 00000002 0102 "
            "'O' 00000000 00000001 FF 'P' 00000000 00000005 00000004 00000007 "
            "'A' 00000001 00000001 'N' 00000005 FFFFFFFF 00000000 "
            "'R' 00000004 0000002A 'M' 00000009 '[E00002]m' 'R' 00000004 0000002B "
            "'U' 00000003 'K'");
    for (size_t cut = 0; cut < answer.size(); cut++) {
        StmtRig rig;
        rig.peer.Expect(Hex(REQUEST_X));
        rig.peer.SendInPieces(answer, {cut});
        EXPECT_EQ(0, TVCIExecDirect(rig.stmt, "X", -1)) << "cut at byte " << cut;
        ASSERT_NE(nullptr, rig.Result(4));
        EXPECT_EQ(nullptr, rig.Result(5));
        EXPECT_EQ(RESULT_DELETE, rig.Result(0)->kind);
        EXPECT_EQ(RESULT_UPDATE, rig.Result(1)->kind);
        EXPECT_EQ(RESULT_INSERT, rig.Result(2)->kind);
        EXPECT_EQ(2, rig.Result(3)->store.row_count.load());
        EXPECT_EQ(3u, rig.Result(4)->affected);
        EXPECT_EQ("E00002|[E00002]m", rig.Error());
    }
}

TEST(ReadResponse, BlockOf1999RowsStartsNoReader) {
    StmtRig rig;
    ThreadFailAt(1);
    EXPECT_EQ(0, rig.Answer(Hex(ONE_FIELD) + IntRows(0, 1999) + Hex("'K'")));
    ThreadFailAt(0);
    EXPECT_EQ(1999, rig.Result(0)->store.row_count.load());
    EXPECT_EQ(1, rig.stmt->rows_complete.load());
    EXPECT_EQ(1, rig.stmt->response_done.load());
    EXPECT_TRUE(rig.PermitIsFree());
}

TEST(ReadResponse, Exactly2000RowsAndTheEndStartNoReader) {
    StmtRig rig;
    ThreadFailAt(1);
    EXPECT_EQ(0, rig.Answer(Hex(ONE_FIELD) + IntRows(0, 2000) + Hex("'K'")));
    ThreadFailAt(0);
    EXPECT_EQ(2000, rig.Result(0)->store.row_count.load());
    EXPECT_EQ(1, rig.stmt->rows_complete.load());
    EXPECT_EQ(1, rig.stmt->response_done.load());
    EXPECT_TRUE(rig.PermitIsFree());
}

TEST(ReadResponse, Exactly2000RowsAndAMessageStartAReader) {
    StmtRig rig;
    rig.peer.Expect(Hex(REQUEST_X));
    rig.peer.Send(Hex(ONE_FIELD) + IntRows(0, 2000) + Hex("'M'"));
    rig.peer.Gate("rest");
    rig.peer.Send(Hex("00000009 '[E00002]m' 'K'"));
    EXPECT_EQ(0, TVCIExecDirect(rig.stmt, "X", -1));
    EXPECT_EQ(0, rig.stmt->rows_complete.load());
    EXPECT_EQ(0, rig.stmt->response_done.load());
    EXPECT_FALSE(SemaphoreTryTake(&rig.session->conn->use_semaphore));
    EXPECT_EQ("|", rig.Error());
    rig.peer.Open("rest");
    rig.WaitReader();
    EXPECT_EQ(1, rig.stmt->rows_complete.load());
    EXPECT_EQ(1, rig.stmt->response_done.load());
    EXPECT_EQ(2000, rig.Result(0)->store.row_count.load());
    EXPECT_EQ("E00002|[E00002]m", rig.Error());
    EXPECT_TRUE(rig.PermitIsFree());
}

TEST(ReadResponse, Row2001ComesThroughTheReader) {
    StmtRig rig;
    rig.peer.Expect(Hex(REQUEST_X));
    rig.peer.Send(Hex(ONE_FIELD) + IntRows(0, 2000) + Hex("'R'"));
    rig.peer.Gate("rest");
    rig.peer.Send(Hex("00000004 000007D0 'K'"));
    EXPECT_EQ(0, TVCIExecDirect(rig.stmt, "X", -1));
    EXPECT_EQ(2000, rig.stmt->current->store.row_count.load());
    EXPECT_EQ(0, rig.stmt->response_done.load());
    rig.peer.Open("rest");
    rig.WaitReader();
    EXPECT_EQ(2001, rig.stmt->current->store.row_count.load());
    EXPECT_TRUE(rig.PermitIsFree());
}

TEST(ReadResponse, ReaderThatIsThroughAtOnceGivesThePermitBackOnce) {
    StmtRig rig;
    for (int32_t round = 0; round < 20; round++) {
        EXPECT_EQ(0, rig.Answer(Hex(ONE_FIELD) + IntRows(0, 2001) + Hex("'K'")));
        rig.WaitReader();
        EXPECT_TRUE(rig.PermitIsFree()) << round;
        EXPECT_EQ(2001, rig.stmt->current->store.row_count.load());
    }
}

TEST(ReadResponse, ErrorInFrontOfTheRowsDoesNotMakeThemComplete) {
    StmtRig rig;
    rig.peer.Expect(Hex(REQUEST_X));
    rig.peer.Send(Hex("'E' 00000009 '[E10001]e'") + Hex(ONE_FIELD) + IntRows(0, 2000) + Hex("'R'"));
    rig.peer.Gate("rest");
    rig.peer.Send(Hex("00000004 000007D0 'K'"));
    EXPECT_EQ(0, TVCIExecDirect(rig.stmt, "X", -1));
    EXPECT_EQ(0, rig.stmt->rows_complete.load());
    rig.peer.Open("rest");
    rig.WaitReader();
}

TEST(ReadResponse, NextRequestWaitsForTheReader) {
    StmtRig rig;
    TVCIStmt *other = rig.NewStmt();
    EXPECT_EQ(0, rig.Answer(Hex(ONE_FIELD) + IntRows(0, 5000) + Hex("'K'")));
    rig.Script(Hex("3F 00000001 'Y' 00 00000000"), Hex("'U' 00000001 'K'"));
    EXPECT_EQ(0, TVCIExecDirect(other, "Y", -1));
    EXPECT_EQ(5000, rig.stmt->current->store.row_count.load());
    EXPECT_EQ(1u, other->current->affected);
}

// What ends in a wait without end, each in a process of its own.

static void RunAnswer(const Bytes &answer, bool reconnect) {
    StmtRig rig;
    rig.session->conn->auto_reconnect = reconnect;
    rig.Script(Hex(REQUEST_X), answer);
    rig.peer.Close();
    EndAtWaits();
    TVCIExecDirect(rig.stmt, "X", -1);
}

TEST(ReadResponse, ItemThatIsCutShortWaitsForItsOwnEnd) {
    const char *answers[] = {
        "'A'",                                               // no field count
        "'A' 00000001 00000001 'N' 00000005 FFFFFFFF 0000",  // half a field
        "'A' FFFFFFFF",                                      // a field count below 0
        "'D' 0000",
        "'U'",
        "'I'",
        "'I' 00000004 4B4B4B",
        "'E' 00000009 '[E10001]'",
        "'F'",
        "'M' 000000",
        "'W' FFFFFFFF",
        "'U' 00000001 'U' 000000",
    };
    for (const char *answer : answers) {
        for (bool reconnect : {false, true}) {
            SCOPED_TRACE(answer);
            EXPECT_WAITS_FOR_EVER(RunAnswer(Hex(answer), reconnect), WAIT_RESPONSE_DONE);
        }
    }
}

static void RunAnswerWithoutMemory(uint64_t failing_allocation, const Bytes &answer) {
    StmtRig rig;
    rig.Script(Hex(REQUEST_X), answer);
    EndAtWaits();
    MemFailAt(failing_allocation);
    TVCIExecDirect(rig.stmt, "X", -1);
}

TEST(ReadResponse, ItemThatThereIsNoMemoryForWaitsForItsOwnEnd) {
    // The first allocation is the statement's text, the second one what the item needs.
    EXPECT_WAITS_FOR_EVER(RunAnswerWithoutMemory(2, Hex("'W' 00000009 '[E10001]e' 'K'")),
                          WAIT_RESPONSE_DONE);
    // Of a result with rows it is the third one: the second one is the result itself.
    EXPECT_WAITS_FOR_EVER(RunAnswerWithoutMemory(3, Hex(ONE_FIELD) + Hex("'K'")),
                          WAIT_RESPONSE_DONE);
}

TEST(ReadResponse, ResultThatThereIsNoMemoryForEndsTheCall) {
    for (const char *answer : {"'A'", "'U' 00000001", "'D' 00000001", "'I' 00000000"}) {
        StmtRig rig;
        rig.Script(Hex(REQUEST_X), Hex(answer));
        MemFailAt(2);
        EXPECT_EQ(-5, TVCIExecDirect(rig.stmt, "X", -1)) << answer;
        EXPECT_TRUE(MemFailed());
        MemFailAt(0);
        EXPECT_EQ(1, rig.stmt->response_done.load());
        EXPECT_EQ(nullptr, rig.Result(0));
        EXPECT_TRUE(rig.PermitIsFree());
    }
}

TEST(ReadResponse, ErrorThatThereIsNoRecordForStillFails) {
    StmtRig rig;
    rig.Script(Hex(REQUEST_X), Hex("'E' 00000009 '[E13001]u' 'K'"));
    // Behind the statement's text and the server's comes the record.
    MemFailAt(3);
    EXPECT_EQ(-1, TVCIExecDirect(rig.stmt, "X", -1));
    EXPECT_TRUE(MemFailed());
    MemFailAt(0);
    EXPECT_EQ("|", rig.Error());
}

static void ReleaseAfterReaderStoppedShort(const Bytes &rest) {
    StmtRig rig;
    rig.Script(Hex(REQUEST_X), Hex(ONE_FIELD) + IntRows(0, 2000) + rest);
    rig.peer.Close();
    if (TVCIExecDirect(rig.stmt, "X", -1) != 0) return;
    rig.WaitReader();
    for (int32_t i = 0; i < 2000; i++) {
        if (TVCIFetch(rig.stmt) != 0) return;
    }
    if (TVCIFetch(rig.stmt) != 100) return;
    EndAtWaits();
    TVCIStmtClose(rig.stmt, 3);
}

TEST(ReadResponse, ItemBehindAFullBlockLeavesTheResponseOpen) {
    EXPECT_WAITS_FOR_EVER(ReleaseAfterReaderStoppedShort(Hex("'U' 00000001 'K'")),
                          WAIT_RESPONSE_DONE);
}

TEST(ReadResponse, ConnectionLostBehindAFullBlockLeavesTheResponseOpen) {
    EXPECT_WAITS_FOR_EVER(ReleaseAfterReaderStoppedShort(Hex("")), WAIT_RESPONSE_DONE);
    EXPECT_WAITS_FOR_EVER(ReleaseAfterReaderStoppedShort(Hex("'R' 0000")), WAIT_RESPONSE_DONE);
}

static void CloseWithoutReader() {
    StmtRig rig;
    ThreadFailAt(1);
    rig.Script(Hex(REQUEST_X), Hex(ONE_FIELD) + IntRows(0, 2001) + Hex("'K'"));
    if (TVCIExecDirect(rig.stmt, "X", -1) != 0) return;
    EndAtWaits();
    TVCIStmtClose(rig.stmt, 3);
}

TEST(ReadResponse, ReaderThatCannotBeStartedKeepsThePermit) {
    EXPECT_WAITS_FOR_EVER(CloseWithoutReader(), WAIT_CLOSE_PERMIT);
}

// Lost connections between the items.

struct LostAt {
    const char *answer;
    int32_t result_count;
};

static const LostAt lost_table[] = {
    {"", 0},
    {"'U' 00000001", 1},
    {"'D' 00000001 'I' 00000000", 2},
    {"'E' 00000009 '[E10001]e'", 0},
    {"'W' 00000009 '[E10001]w'", 0},
    {"'O' 0000", 0},
    {"'O' 00000001 00000004 FF", 0},
    {"'P' 00000000 00000005", 0},
    {"'P' 00000000 00000005 00000004 0000", 0},
    {"'A' 00000001 00000001 'N' 00000005 FFFFFFFF 00000000", 1},
    {"'A' 00000001 00000001 'N' 00000005 FFFFFFFF 00000000 'R' 00000004 0000002A", 1},
    {"'A' 00000001 00000001 'N' 00000005 FFFFFFFF 00000000 'R' 00000004 00", 1},
};

TEST(ReadResponse, ConnectionLostBetweenItemsWithoutReconnect) {
    for (const LostAt &lost : lost_table) {
        SCOPED_TRACE(lost.answer);
        StmtRig rig;
        rig.SwitchReconnectOff();
        rig.Script(Hex(REQUEST_X), Hex(lost.answer));
        rig.peer.Close();
        EXPECT_EQ(-4, TVCIExecDirect(rig.stmt, "X", -1));
        EXPECT_EQ(1, rig.stmt->response_done.load());
        EXPECT_EQ(lost.result_count == 0, rig.Result(0) == nullptr);
        EXPECT_EQ(rig.Result(0), rig.stmt->current);
        EXPECT_EQ(nullptr, lost.result_count == 0 ? nullptr : rig.Result(lost.result_count));
        EXPECT_TRUE(rig.PermitIsFree());
    }
}

TEST(ReadResponse, ConnectionLostBetweenItemsWithReconnect) {
    for (const LostAt &lost : lost_table) {
        SCOPED_TRACE(lost.answer);
        StmtRig rig;
        rig.Script(Hex(REQUEST_X), Hex(lost.answer));
        rig.peer.Close();
        rig.ScriptSecondLogin();
        EXPECT_EQ(-24, TVCIExecDirect(rig.stmt, "X", -1));
        EXPECT_EQ(1, rig.stmt->response_done.load());
        EXPECT_TRUE(rig.PermitIsFree());
        EXPECT_EQ(0, rig.Answer(Hex("'U' 00000009 'K'")));
        EXPECT_EQ(9u, rig.Result(0)->affected);
    }
}

TEST(ReadResponse, ResetIsALostConnectionToo) {
    StmtRig rig;
    rig.SwitchReconnectOff();
    rig.peer.Expect(Hex(REQUEST_X));
    rig.peer.Reset();
    EXPECT_EQ(-4, TVCIExecDirect(rig.stmt, "X", -1));
    EXPECT_TRUE(rig.PermitIsFree());
}

// A statement whose last result is for readers that fetch ahead, in this state.
struct AheadRig : StmtRig {
    inline static TVCIStmt *waiting;
    inline static int32_t waits;

    AheadRig(int32_t state, int32_t reader_count) {
        EXPECT_EQ(0, Answer(Hex("'U' 00000001 'U' 00000002 'K'")));
        stmt->ahead = (AheadShare *)MemAlloc(sizeof(AheadShare));
        stmt->ahead->stmt = stmt;
        stmt->ahead->state.store(state);
        stmt->ahead->holders.store(1 + reader_count);
        stmt->ahead_result = Result(1);
        waiting = stmt;
        waits = 0;
    }

    // Releases the results, with a reader that sets this state at the third wait.
    template <int32_t STATE>
    void Release() {
        WaitSkipSleeps(true);
        WaitSetHook([](WaitPoint point) {
            EXPECT_EQ(WAIT_AHEAD_RELEASE, point);
            waits++;
            if (waits == 3) {
                waiting->ahead->state.store(STATE);
            }
        });
        ReleaseResults(stmt);
        WaitSetHook(nullptr);
        WaitSkipSleeps(false);
        EXPECT_EQ(nullptr, stmt->ahead_result);
        EXPECT_EQ(nullptr, Result(0));
        // The readers are made up: their holds go with the statement's.
        stmt->ahead->holders.store(1);
    }
};

TEST(ReleaseResults, WaitsWhileAFetchAheadReaderHasTheTurnOrMayTakeIt) {
    for (int32_t state : {0, 1, 3}) {
        AheadRig rig(state, 1);
        rig.stmt->use_server_cursor = 1;
        rig.stmt->fetch_ahead = 1;
        rig.Release<7>();
        EXPECT_EQ(3, AheadRig::waits) << state;
    }
}

TEST(ReleaseResults, WaitsForTheBlockOfAFetchAheadReader) {
    AheadRig rig(1, 1);
    rig.stmt->use_server_cursor = 1;
    rig.stmt->fetch_ahead = 1;
    rig.Release<2>();
    EXPECT_EQ(3, AheadRig::waits);
    EXPECT_EQ(2, rig.stmt->ahead->state.load());
}

TEST(ReleaseResults, DoesNotWaitForAFetchAheadReaderThatIsThroughOrAsleep) {
    for (int32_t state : {2, 7}) {
        AheadRig rig(state, 1);
        rig.stmt->use_server_cursor = 1;
        rig.stmt->fetch_ahead = 1;
        rig.Release<7>();
        EXPECT_EQ(0, AheadRig::waits) << state;
    }
}

TEST(ReleaseResults, WithoutBothCursorFlagsWaitsOnlyForAReaderThatIsThere) {
    for (bool use_server_cursor : {false, true}) {
        for (int32_t reader_count : {0, 1}) {
            AheadRig rig(1, reader_count);
            rig.stmt->use_server_cursor = use_server_cursor;
            rig.stmt->fetch_ahead = !use_server_cursor;
            rig.Release<7>();
            EXPECT_EQ(reader_count * 3, AheadRig::waits);
        }
    }
}

TEST(ReleaseResults, DropsColumnHandlesAndCurrent) {
    StmtRig rig;
    EXPECT_EQ(0, rig.Answer(Hex(ONE_FIELD) + Hex("'R' 00000004 0000002A 'K'")));
    void *column = nullptr;
    EXPECT_EQ(0, TVCIParamGet(rig.stmt, 5, &column, 1));
    const uint32_t generation = rig.stmt->result_generation;
    ReleaseResults(rig.stmt);
    EXPECT_EQ(nullptr, rig.stmt->current);
    EXPECT_EQ(nullptr, rig.stmt->column_handles);
    EXPECT_EQ(0, rig.stmt->column_handle_count);
    EXPECT_EQ(generation + 1, rig.stmt->result_generation);
    EXPECT_EQ(-1, TVCIParamGet(rig.stmt, 5, &column, 1));
    EXPECT_EQ(-1, TVCIFetch(rig.stmt));
}

static int32_t RunSimple(StmtRig *rig, const char *answer) {
    rig->Script(Hex("3F 00000003 'CMD' 00 00000000"), Hex(answer));
    return RunSimpleCommand(rig->session->conn, "CMD");
}

TEST(RunSimpleCommand, SwallowsServerErrors) {
    StmtRig rig;
    EXPECT_EQ(0, RunSimple(&rig, "'K'"));
    EXPECT_EQ(0, RunSimple(&rig, "'E' 00000009 '[E10001]e' 'K'"));
    EXPECT_EQ(0, RunSimple(&rig, "'F' 00000009 '[E10001]e' 'K'"));
    EXPECT_EQ("|", rig.Error());
    EXPECT_TRUE(rig.PermitIsFree());
}

TEST(RunSimpleCommand, AnyOtherLetterFailsWithNothingMoreRead) {
    StmtRig rig;
    EXPECT_EQ(-1, RunSimple(&rig, "'W'"));
    EXPECT_EQ(-1, RunSimple(&rig, "'U'"));
    EXPECT_TRUE(rig.PermitIsFree());
}

TEST(RunSimpleCommand, FailedReadsHaveCodesAndFreeThePermit) {
    const struct {
        const char *answer;
        int32_t result;
    } cut_table[] = {
        {"", -4},
        {"'E'", -4},
        {"'E' 00000009 '[E1'", -4},
        {"'E' FFFFFFFF", -5},
        {"'E' 00000001 'x'", -4},
    };
    for (const auto &cut : cut_table) {
        StmtRig rig;
        rig.Script(Hex("3F 00000003 'CMD' 00 00000000"), Hex(cut.answer));
        rig.peer.Close();
        EXPECT_EQ(cut.result, RunSimpleCommand(rig.session->conn, "CMD")) << cut.answer;
        EXPECT_TRUE(rig.PermitIsFree());
    }
}

TEST(RunSimpleCommand, NoConnectionIsABadArgument) {
    EXPECT_EQ(-3, RunSimpleCommand(nullptr, "CMD"));
}
