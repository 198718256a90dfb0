// Transaction commands: what is sent, what the answer does, and which session takes an error.
#include "stmt/transaction.h"

#include <gtest/gtest.h>

#include <string>

#include "platform/memory.h"
#include "platform/wait.h"
#include "records/handles.h"
#include "support/native_rig.h"

static std::string SessionError(TVCISession *session) {
    char code[7] = "";
    char message[128] = "";
    uint32_t length = 0;
    TVCIGetError(session, code, message, &length);
    return std::string(code) + ": " + std::string(message, length);
}

static bool PermitIsFree(Connection *conn) {
    if (!SemaphoreTryTake(&conn->use_semaphore)) return false;
    SemaphoreRelease(&conn->use_semaphore);
    return true;
}

// A session that is logged on.
struct TransactionTest : testing::Test {
    NativeRig rig;
    TVCISession *session = rig.session;

    TransactionTest() {
        rig.Login();
    }

    // The client sends the command and gets the answer.
    void Exchange(const std::string &command, const char *answer) {
        rig.peer.Expect(Frame(command));
        rig.peer.Send(Hex(answer));
    }
};

TEST_F(TransactionTest, BeginSendsACommitAndSwitchesAutoCommitOff) {
    rig.peer.Expect(Hex("3F 00000007 'COMMIT;' 00 00000000"));
    rig.peer.Send(Hex("'K'"));
    rig.peer.Expect(Hex("3F 00000014 'SET AUTO COMMIT OFF;' 00 00000000"));
    rig.peer.Send(Hex("'K'"));
    EXPECT_EQ(0, TVCIBeginTrans(session));
    EXPECT_EQ(session, session->conn->owner);
    EXPECT_TRUE(PermitIsFree(session->conn));
}

TEST_F(TransactionTest, BeginStopsWhenTheCommitFailed) {
    Exchange("COMMIT;", "'E' 00000010 '[E19011]not open'");
    EXPECT_EQ(-1, TVCIBeginTrans(session));
    EXPECT_EQ("E19011: [E19011]not open", SessionError(session));
}

TEST_F(TransactionTest, BeginGivesTheResultOfItsSecondCommand) {
    Exchange("COMMIT;", "'K'");
    Exchange("SET AUTO COMMIT OFF;", "'E' 00000009 '[E1234]no'");
    EXPECT_EQ(-1, TVCIBeginTrans(session));
    EXPECT_EQ("E1234: [E1234]no", SessionError(session));
}

TEST_F(TransactionTest, CommitClearsTheConnectionsSession) {
    rig.peer.Expect(Hex("3F 00000007 'COMMIT;' 00 00000000"));
    rig.peer.Send(Hex("'K'"));
    EXPECT_EQ(0, TVCICommit(session));
    EXPECT_EQ(nullptr, session->conn->owner);
    EXPECT_TRUE(PermitIsFree(session->conn));
}

TEST_F(TransactionTest, ARefusedCommitClearsItToo) {
    Exchange("COMMIT;", "'E' 00000010 '[E13001]no reply'");
    EXPECT_EQ(-1, TVCICommit(session));
    EXPECT_EQ(nullptr, session->conn->owner);
    EXPECT_EQ("E13001: [E13001]no reply", SessionError(session));
}

TEST_F(TransactionTest, EachCommandNamesItsSessionWhereNoneIsNamed) {
    session->conn->owner = nullptr;
    Exchange("ROLLBACK;", "'K'");
    EXPECT_EQ(0, TVCIRollback(session, 1, 0));
    EXPECT_EQ(session, session->conn->owner);
    session->conn->owner = nullptr;
    Exchange("SAVEPOINT sp1", "'K'");
    EXPECT_EQ(0, TVCISavepoint(session, 1));
    EXPECT_EQ(session, session->conn->owner);
}

TEST_F(TransactionTest, AnErrorGoesToTheSessionThatTheConnectionNames) {
    TVCISession *other = nullptr;
    ASSERT_EQ(0, TVCIHandleAlloc(rig.server, (void **)&other, TVCI_HTYPE_SESSION));
    session->conn->owner = other;
    Exchange("ROLLBACK;", "'E' 00000009 '[E1234]no'");
    EXPECT_EQ(-1, TVCIRollback(session, 1, 0));
    EXPECT_EQ("E1234: [E1234]no", SessionError(other));
    EXPECT_EQ(nullptr, session->error);
    session->conn->owner = session;
}

TEST_F(TransactionTest, SavepointNumbers) {
    rig.peer.Expect(Hex("3F 0000000D 'SAVEPOINT sp1' 00 00000000"));
    rig.peer.Send(Hex("'K'"));
    rig.peer.Expect(Hex("3F 0000000E 'SAVEPOINT sp10' 00 00000000"));
    rig.peer.Send(Hex("'K'"));
    EXPECT_EQ(0, TVCISavepoint(session, 1));
    EXPECT_EQ(0, TVCISavepoint(session, 10));
}

TEST_F(TransactionTest, Savepoint11And0AreRefusedAndSendNothing) {
    for (const int32_t number : {11, 0, -1, INT32_MIN, INT32_MAX}) {
        EXPECT_EQ(-3, TVCISavepoint(session, number)) << number;
    }
}

TEST_F(TransactionTest, RollbackMode1) {
    rig.peer.Expect(Hex("3F 00000009 'ROLLBACK;' 00 00000000"));
    rig.peer.Send(Hex("'K'"));
    EXPECT_EQ(0, TVCIRollback(session, 1, 99));
}

TEST_F(TransactionTest, RollbackMode2WithNumber5) {
    rig.peer.Expect(Hex("3F 0000000F 'ROLLBACK TO sp5' 00 00000000"));
    rig.peer.Send(Hex("'K'"));
    EXPECT_EQ(0, TVCIRollback(session, 2, 5));
}

TEST_F(TransactionTest, RollbackMode2ChecksItsNumberAndSendsNothing) {
    EXPECT_EQ(-3, TVCIRollback(session, 2, 0));
    EXPECT_EQ(-3, TVCIRollback(session, 2, 11));
}

TEST_F(TransactionTest, RollbackMode3GivesZeroAndSendsNothing) {
    session->conn->owner = nullptr;
    for (const int32_t mode : {3, 0, -1}) {
        EXPECT_EQ(0, TVCIRollback(session, mode, 5)) << mode;
    }
    EXPECT_EQ(nullptr, session->conn->owner);
}

TEST_F(TransactionTest, AnyOtherLetterOpensAnError) {
    Exchange("ROLLBACK;", "'W' 00000007 '[E1]any'");
    EXPECT_EQ(-1, TVCIRollback(session, 1, 0));
    EXPECT_EQ("E1]any: [E1]any", SessionError(session));
}

TEST_F(TransactionTest, TheLetterThatClosesAnErrorAnswersTheNextRequest) {
    Exchange("ROLLBACK;", "'E' 00000010 '[E19011]not open' 'K'");
    EXPECT_EQ(-1, TVCIRollback(session, 1, 0));
    // The stale letter is a success at once; this request's own refusal is left for the one behind.
    Exchange("SAVEPOINT sp2", "'E' 00000009 '[E1234]no'");
    EXPECT_EQ(0, TVCISavepoint(session, 2));
    EXPECT_EQ("E19011: [E19011]not open", SessionError(session));
    rig.peer.Expect(Frame("COMMIT;"));
    EXPECT_EQ(-1, TVCICommit(session));
    EXPECT_EQ("E1234: [E1234]no", SessionError(session));
}

TEST_F(TransactionTest, ASecondErrorReplacesTheFirstInPlace) {
    Exchange("ROLLBACK;", "'E' 0000000A '[E19011]no'");
    Exchange("ROLLBACK;", "'F' 00000006 '[E19]x'");
    EXPECT_EQ(-1, TVCIRollback(session, 1, 0));
    const ErrInfo *record = session->error;
    EXPECT_EQ(-1, TVCIRollback(session, 1, 0));
    EXPECT_EQ(record, session->error);
    EXPECT_EQ("E19]x: [E19]x", SessionError(session));
}

TEST_F(TransactionTest, AnAnswerInPiecesReadsTheSame) {
    rig.peer.Expect(Frame("ROLLBACK;"));
    rig.peer.SendByteByByte(Hex("'E' 00000010 '[E19011]not open'"));
    EXPECT_EQ(-1, TVCIRollback(session, 1, 0));
    EXPECT_EQ("E19011: [E19011]not open", SessionError(session));
}

TEST_F(TransactionTest, ALostConnectionIsNotReplaced) {
    rig.peer.Expect(Frame("ROLLBACK;"));
    rig.peer.Close();
    const Connection *conn = session->conn;
    EXPECT_EQ(-4, TVCIRollback(session, 1, 0));
    EXPECT_EQ(conn, session->conn);
    EXPECT_EQ(nullptr, session->error);
    EXPECT_TRUE(PermitIsFree(session->conn));
}

TEST_F(TransactionTest, AnErrorTextCutShortIsARefusalWithoutText) {
    rig.peer.Expect(Frame("ROLLBACK;"));
    rig.peer.Send(Hex("'E' 00000010 '[E190'"));
    rig.peer.Close();
    EXPECT_EQ(-1, TVCIRollback(session, 1, 0));
    EXPECT_EQ(nullptr, session->error);
    EXPECT_TRUE(PermitIsFree(session->conn));
}

TEST_F(TransactionTest, AnErrorTextOfNegativeLengthIsARefusalWithoutText) {
    Exchange("ROLLBACK;", "'E' FFFFFFFF");
    EXPECT_EQ(-1, TVCIRollback(session, 1, 0));
    EXPECT_EQ(nullptr, session->error);
}

TEST_F(TransactionTest, NoMemoryForTheErrorRecord) {
    // The text is the first request, the record and its message are the next two.
    for (const uint64_t request : {2, 3}) {
        Exchange("ROLLBACK;", "'E' 0000000A '[E19011]no'");
        MemFailAt(request);
        EXPECT_EQ(-5, TVCIRollback(session, 1, 0)) << request;
        MemFailAt(0);
        EXPECT_TRUE(PermitIsFree(session->conn));
    }
}

TEST_F(TransactionTest, NoMemoryForTheErrorTextIsARefusal) {
    Exchange("ROLLBACK;", "'E' 0000000A '[E19011]no'");
    MemFailAt(1);
    EXPECT_EQ(-1, TVCIRollback(session, 1, 0));
    EXPECT_TRUE(MemFailed());
    MemFailAt(0);
    EXPECT_EQ(nullptr, session->error);
    EXPECT_TRUE(PermitIsFree(session->conn));
}

TEST_F(TransactionTest, ACommandWaitsForThePermit) {
    static Connection *held;
    held = session->conn;
    ASSERT_TRUE(SemaphoreTryTake(&held->use_semaphore));
    WaitSetHook([](WaitPoint point) {
        if (point == WAIT_CONN_PERMIT) {
            SemaphoreRelease(&held->use_semaphore);
        }
    });
    Exchange("ROLLBACK;", "'K'");
    EXPECT_EQ(0, TVCIRollback(session, 1, 0));
    WaitSetHook(nullptr);
    EXPECT_TRUE(PermitIsFree(session->conn));
}

TEST(Transactions, AHandleThatIsNoSessionIsRefused) {
    NativeRig rig;
    for (void *handle : {(void *)nullptr, (void *)rig.env, (void *)rig.server}) {
        TVCISession *session = (TVCISession *)handle;
        EXPECT_EQ(-2, TVCIBeginTrans(session));
        EXPECT_EQ(-2, TVCICommit(session));
        EXPECT_EQ(-2, TVCISavepoint(session, 11));
        EXPECT_EQ(-2, TVCIRollback(session, 3, 0));
    }
}

TEST(Transactions, ASessionWithoutAConnectionIsALostConnection) {
    NativeRig rig;
    EXPECT_EQ(-4, TVCIBeginTrans(rig.session));
    EXPECT_EQ(-4, TVCICommit(rig.session));
    EXPECT_EQ(-4, TVCISavepoint(rig.session, 1));
    EXPECT_EQ(-3, TVCISavepoint(rig.session, 11));
    EXPECT_EQ(-4, TVCIRollback(rig.session, 1, 0));
    EXPECT_EQ(-4, TVCIRollback(rig.session, 2, 1));
    EXPECT_EQ(-3, TVCIRollback(rig.session, 2, 0));
    EXPECT_EQ(0, TVCIRollback(rig.session, 3, 0));
}
