// Results whose row reader cannot be started. Nobody else ends such a response: what needs its end
// waits for ever.
#include <gtest/gtest.h>

#include "fault/child.h"
#include "platform/thread.h"
#include "platform/wait.h"

TEST(ThreadStart, TheFetchWaitsForARowThatIsNotFarEnoughAhead) {
    ASSERT_EQ(0, MakeTables());
    const Outcome outcome = ConverseInChild(
        CAREFUL, [] { ThreadFailAt(1); }, [] { return true; });
    EXPECT_EQ(ENDED_WAITING, outcome.ending) << Tell(outcome);
    EXPECT_EQ(WAIT_ROWS_AHEAD, outcome.wait_point) << Tell(outcome);
    EXPECT_EQ(nullptr, outcome.first_bad_call) << Tell(outcome);
    // Of the 2000 rows that came with the execution, the last hundred are held back.
    EXPECT_EQ(1500, outcome.rows);
}

TEST(ThreadStart, AConversationStartsNoSecondOne) {
    ASSERT_EQ(0, MakeTables());
    const Outcome outcome = ConverseInChild(
        CAREFUL, [] { ThreadFailAt(2); }, [] { return false; });
    EXPECT_TRUE(IsPromised(outcome)) << Tell(outcome);
    EXPECT_EQ(ENDED_FINISHED, outcome.ending) << Tell(outcome);
    EXPECT_EQ(nullptr, outcome.first_bad_call) << Tell(outcome);
    EXPECT_EQ(MANY_ROWS, outcome.rows);
}

// An application that has executed a select of many rows, and no reader came.
struct Stranded {
    Outcome *outcome;
    OCIEnv *env = nullptr;
    OCIError *err = nullptr;
    OCISvcCtx *svc = nullptr;
    OCIStmt *stmt = nullptr;

    void Note(const char *call, int32_t code) const {
        NoteCall(outcome, call, code);
        if (code != OCI_SUCCESS) {
            EndChild(ENDED_BAD_CODE);
        }
    }

    OCIStmt *NewStmt(const char *sql) {
        void *handle = nullptr;
        Note("OCIHandleAlloc", OCIHandleAlloc(env, &handle, OCI_HTYPE_STMT, 0, nullptr));
        Note("OCIStmtPrepare", OCIStmtPrepare((OCIStmt *)handle, err, (const OCIText *)sql,
                                              (uint32_t)std::string(sql).size(), 1, OCI_DEFAULT));
        return (OCIStmt *)handle;
    }

    explicit Stranded(Outcome *shared) : outcome(shared) {
        const std::string link = ServerLink();
        const OCIText *name = (const OCIText *)"SYSDBA";
        void *handle = nullptr;
        Note("OCIEnvCreate", OCIEnvCreate(&env, 0, nullptr, nullptr, nullptr, nullptr, 0, nullptr));
        Note("OCIHandleAlloc", OCIHandleAlloc(env, &handle, OCI_HTYPE_ERROR, 0, nullptr));
        err = (OCIError *)handle;
        Note("OCILogon", OCILogon(env, err, &svc, name, 6, name, 6, (const OCIText *)link.c_str(),
                                  (uint32_t)link.size()));
        stmt = NewStmt("SELECT ID FROM FAULT_MANY");
        ThreadFailAt(1);
        Note("OCIStmtExecute", OCIStmtExecute(svc, stmt, err, 0, 0, nullptr, nullptr, OCI_DEFAULT));
    }
};

static void ExpectWait(WaitPoint point, const std::function<void(Stranded *)> &action) {
    ASSERT_EQ(0, MakeTables());
    const Outcome outcome = RunInChild([&](Outcome *shared) {
        Stranded stranded(shared);
        action(&stranded);
    });
    EXPECT_EQ(ENDED_WAITING, outcome.ending) << Tell(outcome);
    EXPECT_EQ(point, outcome.wait_point) << Tell(outcome);
}

TEST(ThreadStart, FreeingTheStatementWaitsForItsPermit) {
    ExpectWait(WAIT_CLOSE_PERMIT,
               [](Stranded *stranded) { OCIHandleFree(stranded->stmt, OCI_HTYPE_STMT); });
}

TEST(ThreadStart, ExecutingItAgainWaitsForTheEndOfTheResponse) {
    ExpectWait(WAIT_RESPONSE_DONE, [](Stranded *stranded) {
        OCIStmtExecute(stranded->svc, stranded->stmt, stranded->err, 0, 0, nullptr, nullptr,
                       OCI_DEFAULT);
    });
}

TEST(ThreadStart, AnotherStatementWaitsForThePermit) {
    ExpectWait(WAIT_CONN_PERMIT, [](Stranded *stranded) { stranded->NewStmt("SELECT 1"); });
}

TEST(ThreadStart, ACommitWaitsForThePermit) {
    ExpectWait(WAIT_CONN_PERMIT, [](Stranded *stranded) {
        OCITransCommit(stranded->svc, stranded->err, OCI_DEFAULT);
    });
}

TEST(ThreadStart, LoggingOffWaitsForThePermit) {
    ExpectWait(WAIT_CONN_PERMIT,
               [](Stranded *stranded) { OCILogoff(stranded->svc, stranded->err); });
}
