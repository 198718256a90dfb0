// Transactions: what one session does and when another sees it.
#include <gtest/gtest.h>

#include "server/raw_client.h"

namespace tavud_test {
namespace {

// Two sessions without auto commit on one server, and a committed table T with one row.
class TwoSessions : public ::testing::Test {
protected:
    TwoSessions() : one(server.Port()), two(server.Port()) {
        one.LogIn(" auto_commit = 'off'");
        two.LogIn(" lock_timeout = 1 auto_commit = 'off'");
        one.Ask("create table T (a integer)", DONE);
        one.Ask("insert into T values (0)", Inserted("1"));
        one.Ask("COMMIT;", DONE);
    }

    // Expects the session to see this many rows in T.
    void ExpectRows(RawClient *session, uint8_t rows) {
        session->Ask("select count(*) as n from T",
                     Wire("41 00000001 00000001 'n' 00000006 ffffffff 00000002"
                          "52 00000008 00000000000000") +
                         std::string(1, static_cast<char>(rows)) + "K");
    }

    RunningServer server;
    RawClient one;
    RawClient two;
};

TEST_F(TwoSessions, AnInsertIsSeenByOthersAfterTheCommit) {
    one.Ask("insert into T values (1)", Inserted("2"));
    ExpectRows(&one, 2);
    ExpectRows(&two, 1);
    one.Ask("COMMIT;", DONE);
    ExpectRows(&two, 2);
}

TEST_F(TwoSessions, ARollbackTakesEverythingBack) {
    one.Ask("delete from T", Deleted(1));
    one.Ask("create table U (a integer)", DONE);
    one.Ask("ROLLBACK;", DONE);
    ExpectRows(&one, 1);
    EXPECT_EQ("[E5001]no such table: U", one.AskRefused("select * from U"));
}

TEST_F(TwoSessions, CommitAndRollbackWithoutATransactionAreDone) {
    one.Ask("COMMIT;", DONE);
    one.Ask("ROLLBACK;", DONE);
    one.Ask("COMMIT", DONE);
}

TEST_F(TwoSessions, ASessionThatOnlyReadDoesNotStandInTheWay) {
    ExpectRows(&one, 1);
    two.Ask("insert into T values (1)", Inserted("2"));
    two.Ask("COMMIT;", DONE);
    ExpectRows(&one, 2);
    one.Ask("insert into T values (2)", Inserted("3"));
    one.Ask("COMMIT;", DONE);
}

TEST_F(TwoSessions, ASecondWriterWaitsForItsLockTimeoutAndIsRefused) {
    one.Ask("insert into T values (1)", Inserted("2"));
    EXPECT_EQ("[E17001]database is locked", two.AskRefused("insert into T values (2)"));
    one.Ask("COMMIT;", DONE);
    two.Ask("insert into T values (2)", Inserted("3"));
    two.Ask("COMMIT;", DONE);
    ExpectRows(&one, 3);
}

TEST_F(TwoSessions, ASecondWriterGoesOnWhenTheFirstCommits) {
    RawClient patient(server.Port());
    patient.LogIn(" lock_timeout = 60 auto_commit = 'off'");
    one.Ask("insert into T values (1)", Inserted("2"));
    patient.Send(Frame("insert into T values (2)"));
    one.Ask("COMMIT;", DONE);
    patient.Expect(Inserted("3"));
}

TEST_F(TwoSessions, AFailedStatementLeavesTheTransactionOpen) {
    one.Ask("create unique index I on T (a)", DONE);
    one.Ask("insert into T values (1)", Inserted("2"));
    EXPECT_EQ("[E13001]UNIQUE constraint failed: T.a",
              one.AskRefused("insert into T values (2), (1)"));
    ExpectRows(&one, 2);
    one.Ask("COMMIT;", DONE);
    ExpectRows(&two, 2);
}

TEST_F(TwoSessions, AFailedFirstStatementLeavesNoLockBehind) {
    EXPECT_EQ("[E16001]value 'x' does not fit INTEGER",
              one.AskRefused("insert into T values ('x')"));
    two.Ask("insert into T values (1)", Inserted("2"));
}

TEST_F(TwoSessions, AConnectionThatVanishesIsRolledBack) {
    one.Ask("insert into T values (1)", Inserted("2"));
    one.Close();
    RawClient patient(server.Port());
    patient.LogIn(" lock_timeout = 60 auto_commit = 'off'");
    patient.Ask("insert into T values (2)", Inserted("2"));
    ExpectRows(&patient, 2);
}

TEST_F(TwoSessions, SavepointsCanBeReturnedToAndNamedAgain) {
    one.Ask("SAVEPOINT sp1", DONE);
    one.Ask("insert into T values (1)", Inserted("2"));
    one.Ask("SAVEPOINT sp2", DONE);
    one.Ask("insert into T values (2)", Inserted("3"));
    one.Ask("ROLLBACK TO sp2", DONE);
    ExpectRows(&one, 2);
    one.Ask("SAVEPOINT sp1", DONE);
    one.Ask("insert into T values (3)", Inserted("3"));
    one.Ask("ROLLBACK TO sp1", DONE);
    ExpectRows(&one, 2);
    one.Ask("COMMIT;", DONE);
    ExpectRows(&two, 2);
}

TEST_F(TwoSessions, ASavepointIsGoneAfterTheCommit) {
    one.Ask("SAVEPOINT sp1", DONE);
    one.Ask("COMMIT;", DONE);
    EXPECT_EQ("[E12001]no such savepoint: sp1", one.AskRefused("ROLLBACK TO sp1"));
}

TEST_F(TwoSessions, AutoCommitOnMakesEachStatementStandAlone) {
    one.Ask("insert into T values (1)", Inserted("2"));
    one.Ask("SET AUTO COMMIT ON;", DONE);
    ExpectRows(&two, 2);
    one.Ask("insert into T values (2)", Inserted("3"));
    ExpectRows(&two, 3);
    EXPECT_EQ("[E12001]a savepoint needs an open transaction", one.AskRefused("SAVEPOINT sp1"));
    one.Ask("SET AUTO COMMIT OFF;", DONE);
    one.Ask("insert into T values (3)", Inserted("4"));
    ExpectRows(&two, 3);
}

TEST_F(TwoSessions, TheLoginItemTurnsAutoCommitOn) {
    RawClient alone(server.Port());
    alone.LogIn(" auto_commit = 'on'");
    alone.Ask("insert into T values (1)", Inserted("2"));
    ExpectRows(&two, 2);
    EXPECT_EQ("[E16001]value 'x' does not fit INTEGER",
              alone.AskRefused("insert into T values ('x')"));
    ExpectRows(&two, 2);
}

TEST_F(TwoSessions, AnExplicitTransactionHoldsUnderAutoCommit) {
    RawClient alone(server.Port());
    alone.LogIn(" auto_commit = 'on'");
    alone.Ask("BEGIN", DONE);
    EXPECT_EQ("[E12001]a transaction is open already", alone.AskRefused("start transaction"));
    alone.Ask("insert into T values (1)", Inserted("2"));
    alone.Ask("SAVEPOINT sp1", DONE);
    alone.Ask("RELEASE sp1", DONE);
    ExpectRows(&two, 1);
    alone.Ask("COMMIT;", DONE);
    ExpectRows(&two, 2);
}

TEST_F(TwoSessions, OtherSettingsAreRefused) {
    EXPECT_EQ("[E19001]SET knows only AUTO COMMIT ON and OFF",
              one.AskRefused("SET ISOLATION LEVEL SERIALIZABLE"));
}

TEST_F(TwoSessions, ACommitThatFailsLeavesTheTransactionOpen) {
    one.Ask("create table P (a integer primary key)", DONE);
    one.Ask("create table C (a integer references P deferrable initially deferred)", DONE);
    one.Ask("insert into C values (1)", Inserted("1"));
    EXPECT_EQ("[E13004]FOREIGN KEY constraint failed", one.AskRefused("COMMIT;"));
    one.Ask("insert into P values (1)", Inserted("1"));
    one.Ask("COMMIT;", DONE);
}

TEST_F(TwoSessions, ADeclarationInATransactionIsTakenBackWhole) {
    one.Ask("insert into T values (1)", Inserted("2"));
    one.Ask("create table U (d date)", DONE);
    one.Ask("ROLLBACK;", DONE);
    one.Ask("create table U (d date)", DONE);
    one.Ask("insert into U values ('2024-1-2')", Inserted("1"));
    one.Ask("select d || '' as t from U", Wire("41 00000001 00000001 't' 0000001e ffffffff 00000002"
                                               "52 0000000a '2024-01-02' 4b"));
}

}  // namespace
}  // namespace tavud_test
