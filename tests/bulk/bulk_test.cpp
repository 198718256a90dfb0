// Load and import: the commands, the bytes of the stream, and what the server's answers do.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "bulk/row_buffer.h"
#include "platform/memory.h"
#include "platform/thread.h"
#include "platform/wait.h"
#include "records/handles.h"
#include "support/native_rig.h"

// The command behind "TABLE T": two blanks, and delimiters that are empty.
#define STREAM " FROM STREAM RECORDS DELIMITED BY '' FIELDS TERMINATED BY '' "

// What the session sends to log on again, with the version that the server answered to.
static const char *const LOGIN_TEXT_201 =
    "login database = SYSTEM user='SYSDBA' password='SYSDBA' encryptor = '' char_set = 'GBK' "
    "time_zone = 'GTM+08:00' iso_level = '2' auto_commit = 'on' version = '201'";

// A statement of a session that is logged on. Polls do not sleep.
struct BulkTest : testing::Test {
    NativeRig rig;
    TVCIStmt *stmt = nullptr;

    BulkTest() {
        WaitSkipSleeps(true);
        rig.Login();
        stmt = rig.NewStmt();
    }

    ~BulkTest() override {
        WaitSkipSleeps(false);
    }

    void Exchange(const Bytes &request, const Bytes &answer) {
        rig.peer.Expect(request);
        rig.peer.Send(answer);
    }

    // The command, and the two numbers that open the stream.
    void ScriptStart(const std::string &command) {
        Exchange(Frame(command), Hex("'K'"));
        Exchange(Hex("0000000000000000"), Hex("0000000000000007"));
    }

    // One row of one value, "a".
    void ScriptOneRow(const std::string &command) {
        ScriptStart(command);
        Exchange(Hex("00000006 02 00000001 'a' 00000000"), Hex("'K'"));
    }

    std::string StmtError() {
        char code[7] = "";
        char message[512] = "";
        uint32_t length = 0;
        TVCIGetError(stmt, code, message, &length);
        return std::string(code) + ": " + std::string(message, length);
    }

    bool PermitIsFree() {
        Connection *conn = rig.session->conn;
        if (!SemaphoreTryTake(&conn->use_semaphore)) return false;
        SemaphoreRelease(&conn->use_semaphore);
        return true;
    }

    int32_t ImportOne(int32_t load_mode = 1, uint32_t use_mode = 1, uint8_t reindex = 0,
                      const char *table = "T") {
        const int32_t lengths[] = {1};
        return TVCIExecImportFlat(stmt, "a", lengths, 1, 1, table, load_mode, use_mode, reindex);
    }

    int32_t LoadOne(int32_t load_mode, uint8_t reindex = 0) {
        const int32_t lengths[] = {1};
        return TVCIExecLoadFlat(stmt, "a", lengths, 1, 1, "T", 3, 4, load_mode, reindex);
    }
};

TEST_F(BulkTest, ImportSendsItsCommandForEveryMode) {
    ScriptOneRow("IMPORT  TABLE T " STREAM "USE MODE 1");
    EXPECT_EQ(0, ImportOne(0, 1));
    ScriptOneRow("IMPORT APPEND TABLE T " STREAM "USE MODE 1");
    EXPECT_EQ(0, ImportOne(1, 1));
    ScriptOneRow("IMPORT REPLACE TABLE T " STREAM "USE MODE 2");
    EXPECT_EQ(0, ImportOne(2, 2));
    EXPECT_TRUE(PermitIsFree());
}

TEST_F(BulkTest, LoadSendsItsCommandForEveryMode) {
    ScriptOneRow("LOAD APPEND TABLE T " STREAM "PARALLEL 3,4");
    EXPECT_EQ(0, LoadOne(1));
    ScriptOneRow("LOAD REPLACE TABLE T " STREAM "PARALLEL 3,4");
    EXPECT_EQ(0, LoadOne(2));
}

TEST_F(BulkTest, CommandIsWrittenOutWithItsBlanks) {
    Exchange(Hex("3F 00000057 'IMPORT  TABLE T  FROM STREAM RECORDS DELIMITED BY '''' "
                 "FIELDS TERMINATED BY '''' USE MODE 1' 00 00000000"),
             Hex("'K'"));
    Exchange(Hex("0000000000000000"), Hex("0000000000000000"));
    Exchange(Hex("00000006 02 00000001 'a' 00000000"), Hex("'K'"));
    EXPECT_EQ(0, ImportOne(0, 1));
}

// Two rows of five columns: "ab", NULL, "", "xyz", NULL and NULL, "q", "r", NULL, "0123456789".
static const char *const MIXED_DATA = "abxyzqr0123456789";
static const int32_t MIXED_LENGTHS[] = {2, -1, 0, 3, -1, -1, 1, 1, -1, 10};
static const char *const MIXED_STREAM =
    "00000013 A6 01 00000002 'ab' 00000000 00000003 'xyz'"
    "0000001A 69 02 00000001 'q' 00000001 'r' 0000000A '0123456789' 00000000";

TEST_F(BulkTest, FlatLengthsAreReadInSequence) {
    ScriptStart("LOAD APPEND TABLE T " STREAM "PARALLEL 1,1");
    Exchange(Hex(MIXED_STREAM), Hex("'K'"));
    EXPECT_EQ(0, TVCIExecLoadFlat(stmt, MIXED_DATA, MIXED_LENGTHS, 2, 5, "T", 1, 1, 1, 0));
    ScriptStart("IMPORT APPEND TABLE T " STREAM "USE MODE 2");
    Exchange(Hex(MIXED_STREAM), Hex("'K'"));
    EXPECT_EQ(0, TVCIExecImportFlat(stmt, MIXED_DATA, MIXED_LENGTHS, 2, 5, "T", 1, 2, 0));
}

TEST_F(BulkTest, LengthsOfARowAreReadThroughItsPointer) {
    const int32_t first[] = {2, -1, 0, 3, -1};
    const int32_t second[] = {-1, 1, 1, -1, 10};
    const int32_t *lengths[] = {first, second};
    ScriptStart("LOAD APPEND TABLE T " STREAM "PARALLEL 1,1");
    Exchange(Hex(MIXED_STREAM), Hex("'K'"));
    EXPECT_EQ(0, TVCIExecLoad(stmt, MIXED_DATA, lengths, 2, 5, "T", 1, 1, 1, 0));
    ScriptStart("IMPORT APPEND TABLE T " STREAM "USE MODE 1");
    Exchange(Hex(MIXED_STREAM), Hex("'K'"));
    EXPECT_EQ(0, TVCIExecImport(stmt, MIXED_DATA, lengths, 2, 5, "T", 1, 1, 0));
}

TEST_F(BulkTest, RowOfNullsIsItsLengthAndItsBitmap) {
    const int32_t lengths[] = {-1, -1, -1, -1, -1, -1};
    ScriptStart("LOAD APPEND TABLE T " STREAM "PARALLEL 0,-1");
    Exchange(Hex("00000002 55 05 00000000"), Hex("'K'"));
    EXPECT_EQ(0, TVCIExecLoadFlat(stmt, nullptr, lengths, 1, 6, "T", 0, -1, 1, 0));
}

TEST_F(BulkTest, ValuesOfEveryLengthAreCopiedWhole) {
    std::string data;
    std::vector<int32_t> lengths;
    Bytes row;
    for (int32_t length = 0; length <= 40; length++) {
        std::string value;
        for (int32_t i = 0; i < length; i++) {
            value += (char)('A' + (length + i) % 26);
        }
        data += value;
        lengths.push_back(length);
        row = row + Counted(value);
    }
    ScriptStart("LOAD APPEND TABLE T " STREAM "PARALLEL 1,1");
    // 41 columns: a bitmap of 11 bytes, and 41 length words and 820 bytes of values.
    Exchange(Hex("000003E3 AAAAAAAAAAAAAAAAAAAA 02") + row + Hex("00000000"), Hex("'K'"));
    EXPECT_EQ(0, TVCIExecLoadFlat(stmt, data.data(), lengths.data(), 1, 41, "T", 1, 1, 1, 0));
}

TEST_F(BulkTest, NoRowsOrNoColumnsSendNothing) {
    const int32_t lengths[] = {1};
    const int32_t *rows[] = {lengths};
    EXPECT_EQ(-1, TVCIExecLoadFlat(stmt, "a", lengths, 0, 1, "T", 1, 1, 1, 0));
    EXPECT_EQ(-1, TVCIExecLoad(stmt, "a", rows, 1, 0, "T", 1, 1, 1, 0));
    EXPECT_EQ(-1, TVCIExecImportFlat(stmt, "a", lengths, -1, 1, "T", 1, 1, 0));
    EXPECT_EQ(-1, TVCIExecImport(stmt, "a", rows, 1, -5, "T", 9, 9, 0));
    EXPECT_EQ(": ", StmtError());
}

TEST_F(BulkTest, BadModesAreRefusedWithATextAndNoCode) {
    EXPECT_EQ(-1, LoadOne(0));
    EXPECT_EQ(": TVCIExecLoad load_mode not within the scope\r", StmtError());
    EXPECT_EQ(-1, ImportOne(1, 0));
    EXPECT_EQ(": TVCIExecLoad use_mode not within the scope\r", StmtError());
    EXPECT_EQ(-1, LoadOne(3));
    EXPECT_EQ(": TVCIExecLoad load_mode not within the scope\r", StmtError());
    // The mode of use is looked at first.
    EXPECT_EQ(-1, ImportOne(3, 3));
    EXPECT_EQ(": TVCIExecLoad use_mode not within the scope\r", StmtError());
    EXPECT_EQ(-1, ImportOne(3, 2));
    EXPECT_EQ(": TVCIExecLoad load_mode not within the scope\r", StmtError());
    EXPECT_EQ(-1, ImportOne(-1, 2));
}

TEST_F(BulkTest, BadModeTakesTheServersCodeAway) {
    ScriptStart("IMPORT APPEND TABLE T " STREAM "USE MODE 1");
    Exchange(Hex("00000006 02 00000001 'a' 00000000"), Hex("'E' 0000000B '[E7001]one.' 'K'"));
    EXPECT_EQ(-1, ImportOne());
    EXPECT_EQ("E7001: [E7001]one.", StmtError());
    EXPECT_EQ(-1, LoadOne(3));
    EXPECT_EQ(": TVCIExecLoad load_mode not within the scope\r", StmtError());
}

TEST_F(BulkTest, BadModeTakesNoPermit) {
    ASSERT_TRUE(SemaphoreTryTake(&rig.session->conn->use_semaphore));
    EXPECT_EQ(-1, ImportOne(3, 1));
    SemaphoreRelease(&rig.session->conn->use_semaphore);
}

TEST_F(BulkTest, LengthsThatCannotBeAreRefused) {
    const int32_t below[] = {1, -2};
    EXPECT_EQ(-1, TVCIExecImportFlat(stmt, "a", below, 1, 2, "T", 1, 1, 0));
    const int32_t huge[] = {INT32_MAX, 1};
    EXPECT_EQ(-1, TVCIExecImportFlat(stmt, "a", huge, 1, 2, "T", 1, 1, 0));
    const int32_t *null_row[] = {nullptr};
    EXPECT_EQ(-1, TVCIExecImport(stmt, "a", null_row, 1, 1, "T", 1, 1, 0));
    EXPECT_EQ(-1, TVCIExecImportFlat(stmt, "a", nullptr, 1, 1, "T", 1, 1, 0));
    const int32_t one[] = {1};
    EXPECT_EQ(-1, TVCIExecImportFlat(stmt, nullptr, one, 1, 1, "T", 1, 1, 0));
    EXPECT_EQ(-1, TVCIExecImportFlat(stmt, "a", one, 1, 1, nullptr, 1, 1, 0));
    EXPECT_TRUE(PermitIsFree());
}

TEST_F(BulkTest, CommandOf255BytesIsSentAndOneMoreIsRefused) {
    // 86 bytes of the command are not the table's name.
    const std::string longest(255 - 86, 'T');
    ScriptOneRow("IMPORT  TABLE " + longest + " " STREAM "USE MODE 1");
    EXPECT_EQ(0, ImportOne(0, 1, 0, longest.c_str()));
    EXPECT_EQ(-1, ImportOne(0, 1, 0, (longest + "T").c_str()));
}

TEST_F(BulkTest, HandleComesFirst) {
    const int32_t lengths[] = {1};
    const int32_t *rows[] = {lengths};
    void *session = rig.session;
    TVCIStmt *no_stmt = (TVCIStmt *)session;
    EXPECT_EQ(-2, TVCIExecLoadFlat(nullptr, "a", lengths, 0, 0, "T", 1, 1, 9, 0));
    EXPECT_EQ(-2, TVCIExecLoad(no_stmt, "a", rows, 1, 1, "T", 1, 1, 1, 0));
    EXPECT_EQ(-2, TVCIExecImport(nullptr, "a", rows, 1, 1, "T", 1, 1, 0));
    EXPECT_EQ(-2, TVCIExecImportFlat(no_stmt, "a", lengths, 1, 1, "T", 1, 1, 0));
}

TEST_F(BulkTest, WithoutAConnectionNothingIsSent) {
    EXPECT_EQ(0, TVCIDisconnect(rig.session));
    EXPECT_EQ(-4, ImportOne());
}

TEST_F(BulkTest, RefusedCommandKeepsThePermitAndItsClosingLetter) {
    Exchange(Frame("IMPORT APPEND TABLE T " STREAM "USE MODE 1"),
             Hex("'E' 00000010 '[E10001]no table' 'K'"));
    EXPECT_EQ(-1, ImportOne());
    EXPECT_EQ("E10001: [E10001]no table", StmtError());
    Connection *conn = rig.session->conn;
    EXPECT_FALSE(PermitIsFree());
    // The tear-down would wait for ever.
    SemaphoreRelease(&conn->use_semaphore);
    EXPECT_EQ(1, conn->recv_fill - conn->recv_pos);
}

TEST_F(BulkTest, LostConnectionGivesThePermitBack) {
    const Bytes whole = Hex("'E' 00000010 '[E10001]no table'");
    for (size_t cut = 0; cut < whole.size(); cut++) {
        rig.peer.Expect(Frame("IMPORT APPEND TABLE T " STREAM "USE MODE 1"));
        rig.peer.Send(Bytes(whole.begin(), whole.begin() + (ptrdiff_t)cut));
        rig.peer.Close();
        EXPECT_EQ(-4, ImportOne()) << "cut at " << cut;
        EXPECT_TRUE(PermitIsFree());
        EXPECT_EQ(0, TVCIDisconnect(rig.session));
        rig.peer.Accept();
        rig.peer.Expect(Ascii(LOGIN_TEXT_201));
        rig.peer.Send(Hex("'K'"));
        ASSERT_EQ(0, TVCIConnect(rig.session, "SYSDBA", "SYSDBA"));
    }
}

TEST_F(BulkTest, ConnectionLostInTheOpeningExchangeSendsNoRows) {
    Exchange(Frame("IMPORT APPEND TABLE T " STREAM "USE MODE 1"), Hex("'K'"));
    Exchange(Hex("0000000000000000"), Hex("00000000"));
    rig.peer.Close();
    EXPECT_EQ(-4, ImportOne(1, 1, 1));
    EXPECT_TRUE(PermitIsFree());
}

TEST_F(BulkTest, ConnectionLostInTheStreamIsSuccess) {
    ScriptStart("IMPORT APPEND TABLE T " STREAM "USE MODE 1");
    rig.peer.Expect(Hex("00000006 02 00000001 'a' 00000000"));
    rig.peer.Close();
    EXPECT_EQ(0, ImportOne());
    EXPECT_EQ(": ", StmtError());
}

TEST_F(BulkTest, ErrorInTheStreamShowsWhenAllRowsAreSent) {
    ScriptStart("IMPORT APPEND TABLE T " STREAM "USE MODE 1");
    rig.peer.Expect(Hex("00000006 02 00000001 'a'"));
    rig.peer.Send(Hex("'E' 0000000E '[E7001]too big'"));
    Exchange(Hex("00000006 02 00000001 'b' 00000000"), Hex("'K'"));
    const int32_t lengths[] = {1, 1};
    EXPECT_EQ(-1, TVCIExecImportFlat(stmt, "ab", lengths, 2, 1, "T", 1, 1, 0));
    EXPECT_EQ("E7001: [E7001]too big", StmtError());
    EXPECT_TRUE(PermitIsFree());
    // The next transfer starts afresh; the old text stays.
    ScriptOneRow("IMPORT APPEND TABLE T " STREAM "USE MODE 1");
    EXPECT_EQ(0, ImportOne());
    EXPECT_EQ("E7001: [E7001]too big", StmtError());
}

TEST_F(BulkTest, LastErrorOfTheStreamIsKeptAndWarningsAreDropped) {
    ScriptStart("IMPORT APPEND TABLE T " STREAM "USE MODE 1");
    Exchange(Hex("00000006 02 00000001 'a' 00000000"),
             Hex("'W' 00000004 'slow' 'E' 0000000B '[E7001]one.' 'x' 'E' 0000000D '[E70021]two..' "
                 "'W' 00000000 'K'"));
    EXPECT_EQ(-1, ImportOne());
    EXPECT_EQ("E70021: [E70021]two..", StmtError());
}

TEST_F(BulkTest, ErrorTextThatIsCutShortFallsBackOnTheClientsOwn) {
    ScriptStart("IMPORT APPEND TABLE T " STREAM "USE MODE 1");
    Exchange(Hex("00000006 02 00000001 'a' 00000000"), Hex("'E' 00000020 '[E70'"));
    rig.peer.Close();
    EXPECT_EQ(-1, ImportOne());
    EXPECT_EQ("E19884: can't connect to server", StmtError());
}

TEST_F(BulkTest, WarningThatIsCutShortEndsTheStreamLikeALostConnection) {
    ScriptStart("IMPORT APPEND TABLE T " STREAM "USE MODE 1");
    Exchange(Hex("00000006 02 00000001 'a' 00000000"), Hex("'W' 00000004 'sl'"));
    rig.peer.Close();
    EXPECT_EQ(0, ImportOne());
    EXPECT_EQ(": ", StmtError());
    EXPECT_TRUE(PermitIsFree());
}

TEST_F(BulkTest, ReindexFollowsTheRows) {
    ScriptOneRow("IMPORT APPEND TABLE T " STREAM "USE MODE 1");
    Exchange(Frame("REINDEX T.*"), Hex("'K'"));
    EXPECT_EQ(0, ImportOne(1, 1, 1));
    ScriptOneRow("LOAD APPEND TABLE T " STREAM "PARALLEL 3,4");
    // Any letter but that of an error will do.
    Exchange(Frame("REINDEX T.*"), Hex("'Z'"));
    EXPECT_EQ(0, LoadOne(1, 7));
    EXPECT_TRUE(PermitIsFree());
}

TEST_F(BulkTest, ReindexIsIgnoredInAnImportOfMode2) {
    ScriptOneRow("IMPORT APPEND TABLE T " STREAM "USE MODE 2");
    EXPECT_EQ(0, ImportOne(1, 2, 1));
}

TEST_F(BulkTest, RefusedReindexReadsItsClosingLetterAndGivesThePermitBack) {
    ScriptOneRow("IMPORT APPEND TABLE T " STREAM "USE MODE 1");
    Exchange(Frame("REINDEX T.*"), Hex("'E' 0000000E '[E10002]locked' 'K'"));
    EXPECT_EQ(-1, ImportOne(1, 1, 1));
    EXPECT_EQ("E10002: [E10002]locked", StmtError());
    EXPECT_TRUE(PermitIsFree());
    EXPECT_EQ(0, rig.session->conn->recv_fill);
}

TEST_F(BulkTest, ReindexRunsBehindAStreamThatFailed) {
    ScriptStart("IMPORT APPEND TABLE T " STREAM "USE MODE 1");
    Exchange(Hex("00000006 02 00000001 'a' 00000000"), Hex("'E' 0000000B '[E7001]one.' 'K'"));
    Exchange(Frame("REINDEX T.*"), Hex("'K'"));
    EXPECT_EQ(-1, ImportOne(1, 1, 1));
    EXPECT_EQ("E7001: [E7001]one.", StmtError());
}

TEST_F(BulkTest, ConnectionLostAtTheReindexIsTold) {
    ScriptOneRow("IMPORT APPEND TABLE T " STREAM "USE MODE 1");
    rig.peer.Expect(Frame("REINDEX T.*"));
    rig.peer.Close();
    EXPECT_EQ(-4, ImportOne(1, 1, 1));
    EXPECT_TRUE(PermitIsFree());
}

TEST_F(BulkTest, AnswerIsReadBehindTheRowsWhenNoThreadIsToBeHad) {
    ScriptStart("IMPORT APPEND TABLE T " STREAM "USE MODE 1");
    Exchange(Hex("00000006 02 00000001 'a' 00000000"), Hex("'E' 0000000B '[E7001]one.' 'K'"));
    ThreadFailAt(1);
    EXPECT_EQ(-1, ImportOne());
    ThreadFailAt(0);
    EXPECT_EQ("E7001: [E7001]one.", StmtError());
    ScriptOneRow("IMPORT APPEND TABLE T " STREAM "USE MODE 1");
    EXPECT_EQ(0, ImportOne());
}

TEST_F(BulkTest, WithoutMemoryForTheBufferNothingIsSent) {
    MemFailAt(1);
    EXPECT_EQ(-5, ImportOne());
    MemFailAt(0);
    EXPECT_TRUE(PermitIsFree());
}

// The rows of 1100 bytes of one value: 1109 bytes each, of which 7564 fill a buffer.
TEST_F(BulkTest, RowsOfSeveralBuffersArriveInOrder) {
    const int32_t row_count = 16000;
    std::string data;
    Bytes stream;
    for (int32_t row = 0; row < row_count; row++) {
        const std::string value(1100, (char)('a' + row % 26));
        data += value;
        const Bytes bytes = Hex("00000451 02 0000044C") + Ascii(value);
        stream.insert(stream.end(), bytes.begin(), bytes.end());
    }
    const std::vector<int32_t> lengths((size_t)row_count, 1100);
    ScriptStart("LOAD REPLACE TABLE T " STREAM "PARALLEL 3,4");
    Exchange(stream + Hex("00000000"), Hex("'K'"));
    EXPECT_EQ(0,
              TVCIExecLoadFlat(stmt, data.data(), lengths.data(), row_count, 1, "T", 3, 4, 2, 0));
}

TEST_F(BulkTest, ValueOf9000000BytesIsSentInOneRow) {
    const std::string large(9000000, 'z');
    const std::string data = "abc" + large + "de";
    const int32_t lengths[] = {3, -1, -1, 9000000, 2, -1};
    ScriptStart("LOAD APPEND TABLE T " STREAM "PARALLEL 3,4");
    Exchange(Hex("00000008 06 00000003 'abc' 00895445 09 00895440") + Ascii(large) +
                 Hex("00000007 06 00000002 'de' 00000000"),
             Hex("'K'"));
    EXPECT_EQ(0, TVCIExecLoadFlat(stmt, data.data(), lengths, 3, 2, "T", 3, 4, 1, 0));
}

TEST_F(BulkTest, ShortOfMemoryForAValueTheRowsBeforeItAreSent) {
    const std::string data = "abc" + std::string(9000000, 'z');
    const int32_t lengths[] = {3, 9000000};
    ScriptStart("LOAD APPEND TABLE T " STREAM "PARALLEL 3,4");
    Exchange(Hex("00000008 02 00000003 'abc' 00000000"), Hex("'K'"));
    // The buffer, the start of the reader's thread, and the buffer that is grown.
    MemFailAt(3);
    EXPECT_EQ(-5, TVCIExecLoadFlat(stmt, data.data(), lengths, 2, 1, "T", 3, 4, 1, 0));
    EXPECT_TRUE(MemFailed());
    MemFailAt(0);
    EXPECT_TRUE(PermitIsFree());
}

// The wait is the library's own: a poll in steps of a second. The server closes the stream when the
// first poll is under way. Meanwhile no other request can have the connection.
TEST_F(BulkTest, EndOfTheStreamIsPolledForWithThePermitHeld) {
    static ScriptedPeer *peer;
    static Semaphore *permit;
    static bool was_free;
    peer = &rig.peer;
    permit = &rig.session->conn->use_semaphore;
    was_free = false;
    ScriptStart("IMPORT APPEND TABLE T " STREAM "USE MODE 1");
    rig.peer.Expect(Hex("00000006 02 00000001 'a' 00000000"));
    rig.peer.Gate("polled");
    rig.peer.Send(Hex("'K'"));
    WaitSetHook([](WaitPoint point) {
        if (point == WAIT_BULK_READER) {
            was_free = was_free || SemaphoreTryTake(permit);
            peer->Open("polled");
        }
    });
    EXPECT_EQ(0, ImportOne());
    WaitSetHook(nullptr);
    EXPECT_FALSE(was_free);
    EXPECT_TRUE(PermitIsFree());
}

struct RowBufferTest : BulkTest {
    RowBuffer buffer = {};

    void Init(int32_t column_count) {
        ASSERT_TRUE(RowBufferInit(&buffer, rig.session->conn, column_count));
    }

    // A row of one column.
    void PutRow(const std::string &value) {
        RowBufferBeginRow(&buffer);
        ASSERT_TRUE(
            RowBufferPutValue(&buffer, 0, (const uint8_t *)value.data(), (int32_t)value.size()));
        RowBufferEndRow(&buffer);
    }

    ~RowBufferTest() override {
        RowBufferFree(&buffer);
    }
};

TEST_F(RowBufferTest, GrowsByTheValueAnd1024) {
    Init(1);
    EXPECT_EQ(8388608, buffer.capacity);
    const std::string value(9000000, 'v');
    RowBufferBeginRow(&buffer);
    ASSERT_TRUE(RowBufferPutValue(&buffer, 0, (const uint8_t *)value.data(), 9000000));
    EXPECT_EQ(8388608 + 9000000 + 1024, buffer.capacity);
    EXPECT_EQ(4 + 1 + 4 + 9000000, buffer.used);
}

TEST_F(RowBufferTest, GrowsWhenTheUnfinishedRowAloneLeavesNoRoom) {
    Init(2);
    const std::string value(5000000, 'v');
    RowBufferBeginRow(&buffer);
    ASSERT_TRUE(RowBufferPutValue(&buffer, 0, (const uint8_t *)value.data(), 5000000));
    EXPECT_EQ(8388608, buffer.capacity);
    ASSERT_TRUE(RowBufferPutValue(&buffer, 1, (const uint8_t *)value.data(), 5000000));
    EXPECT_EQ(8388608 + 5000000 + 1024, buffer.capacity);
    EXPECT_EQ(4 + 1 + 2 * 5000004, buffer.used);
    EXPECT_EQ(0, memcmp(buffer.bytes + 4, "\x0A\x00\x4C\x4B\x40v", 6));
}

TEST_F(RowBufferTest, FillsToTheLastByteBeforeItSends) {
    Init(1);
    const std::string value(8388608 - 9, 'v');
    RowBufferBeginRow(&buffer);
    ASSERT_TRUE(RowBufferPutValue(&buffer, 0, (const uint8_t *)value.data(), 8388608 - 9));
    EXPECT_EQ(8388608, buffer.capacity);
    EXPECT_EQ(8388608, buffer.used);
}

// A row of one value of `length` bytes.
static Bytes RowOf(const char *head, size_t length) {
    return Hex(head) + Ascii(std::string(length, 'v'));
}

TEST_F(RowBufferTest, FullBufferIsSentWhenTheNextRowBegins) {
    Init(1);
    const std::string value(8388608 - 9, 'v');
    rig.peer.Expect(RowOf("007FFFFC 02 007FFFF7", value.size()) + Hex("00000005 02 00000000"));
    ASSERT_NO_FATAL_FAILURE(PutRow(value));
    EXPECT_EQ(8388608, buffer.start);
    RowBufferBeginRow(&buffer);
    EXPECT_EQ(0, buffer.start);
    EXPECT_EQ(4 + 1, buffer.used);
    ASSERT_TRUE(RowBufferPutValue(&buffer, 0, (const uint8_t *)"", 0));
    RowBufferEndRow(&buffer);
    RowBufferSend(&buffer);
    EXPECT_EQ(8388608, buffer.capacity);
}

TEST_F(RowBufferTest, RowsBeforeTheUnfinishedOneAreSentToMakeRoom) {
    Init(1);
    const std::string value(5000000, 'v');
    const Bytes row = RowOf("004C4B45 02 004C4B40", value.size());
    rig.peer.Expect(row + row);
    ASSERT_NO_FATAL_FAILURE(PutRow(value));
    RowBufferBeginRow(&buffer);
    EXPECT_EQ(5000009, buffer.start);
    ASSERT_TRUE(RowBufferPutValue(&buffer, 0, (const uint8_t *)value.data(), 5000000));
    EXPECT_EQ(0, buffer.start);
    EXPECT_EQ(5000009, buffer.used);
    EXPECT_EQ(8388608, buffer.capacity);
    RowBufferEndRow(&buffer);
    RowBufferSend(&buffer);
}

TEST_F(RowBufferTest, RowsBeforeAValueTooLargeForTheBufferAreSentAndItGrows) {
    Init(1);
    const std::string value(9000000, 'v');
    rig.peer.Expect(Hex("00000008 02 00000003 'abc'") +
                    RowOf("00895445 02 00895440", value.size()));
    ASSERT_NO_FATAL_FAILURE(PutRow("abc"));
    RowBufferBeginRow(&buffer);
    ASSERT_TRUE(RowBufferPutValue(&buffer, 0, (const uint8_t *)value.data(), 9000000));
    EXPECT_EQ(0, buffer.start);
    EXPECT_EQ(8388608 + 9000000 + 1024, buffer.capacity);
    EXPECT_EQ(4 + 1 + 4 + 9000000, buffer.used);
    RowBufferEndRow(&buffer);
    RowBufferSend(&buffer);
}

TEST_F(RowBufferTest, GrowsWhenTheRoomThatSendingMakesIsTooSmall) {
    Init(2);
    const std::string value(5000000, 'v');
    rig.peer.Expect(Hex("00000008 06 00000003 'abc' 00989689 0A 004C4B40") + Ascii(value) +
                    RowOf("004C4B40", value.size()));
    RowBufferBeginRow(&buffer);
    ASSERT_TRUE(RowBufferPutValue(&buffer, 0, (const uint8_t *)"abc", 3));
    RowBufferPutNull(&buffer, 1);
    RowBufferEndRow(&buffer);
    RowBufferBeginRow(&buffer);
    ASSERT_TRUE(RowBufferPutValue(&buffer, 0, (const uint8_t *)value.data(), 5000000));
    EXPECT_EQ(12, buffer.start);
    ASSERT_TRUE(RowBufferPutValue(&buffer, 1, (const uint8_t *)value.data(), 5000000));
    EXPECT_EQ(0, buffer.start);
    EXPECT_EQ(8388608 + 5000000 + 1024, buffer.capacity);
    RowBufferEndRow(&buffer);
    RowBufferSend(&buffer);
}

TEST_F(RowBufferTest, HeadOfAWideRowHasRoom) {
    Init(40000000);
    EXPECT_EQ(4 + 10000000, buffer.capacity);
    RowBufferBeginRow(&buffer);
    RowBufferPutNull(&buffer, 39999999);
    EXPECT_EQ(0x40, buffer.bytes[4 + 9999999]);
}
