// Transactions of the call interface.
#include "oci/trans.h"

#include <gtest/gtest.h>

#include <string>

#include "oci/lob_writeback.h"
#include "oci/records.h"
#include "support/call_rig.h"

TEST(Trans, ChecksItsArgumentsInOrder) {
    CallRig rig;
    rig.peer.Start();
    for (auto call : {OCITransCommit, OCITransRollback}) {
        EXPECT_EQ(-2, call(NULL, NULL, 0));
        EXPECT_EQ(-2, call(NULL, rig.err, 0));
        EXPECT_EQ("Parameter svchp is NULL.", rig.Error());
    }
    EXPECT_EQ(-2, OCITransStart(NULL, NULL, 0, 0));
    EXPECT_EQ(-2, OCITransStart(NULL, rig.err, 0, 0));
    EXPECT_EQ("Parameter svchp is NULL.", rig.Error());
}

TEST(Trans, DetachWithNullHandlesReturns0) {
    EXPECT_EQ(0, OCITransDetach(NULL, NULL, 99));
}

TEST(Trans, WithoutASessionTheNativeRefusalIsPassedOnWithoutAText) {
    CallRig rig;
    rig.peer.Start();
    OCISvcCtx *svc = NewHandle<OCISvcCtx>(rig.env, OCI_HTYPE_SVCCTX);
    EXPECT_EQ(-2, OCITransStart(svc, rig.err, 0, 0));
    EXPECT_EQ(-2, OCITransCommit(svc, rig.err, 0));
    EXPECT_EQ(-2, OCITransRollback(svc, rig.err, 0));
    EXPECT_EQ(3u, rig.err->source);
    EXPECT_EQ("", rig.Error());
    EXPECT_EQ(0, OCIHandleFree(svc, OCI_HTYPE_SVCCTX));
}

// A logged-on service context whose logoff is scripted.
struct TransRig : CallRig {
    TransRig() {
        Logon();
    }
    ~TransRig() {
        ScriptCommand("COMMIT;");
        EXPECT_EQ(0, OCILogoff(svc, err));
    }
};

TEST(Trans, StartCommitsAndTurnsAutoCommitOff) {
    TransRig rig;
    rig.peer.Expect(Hex("'?' 00000007 'COMMIT;' 00 00000000"));
    rig.peer.Send(Hex("'K'"));
    rig.peer.Expect(Hex("'?' 00000014 'SET AUTO COMMIT OFF;' 00 00000000"));
    rig.peer.Send(Hex("'K'"));
    EXPECT_EQ(0, OCITransStart(rig.svc, rig.err, 60, 0xFFFFFFFF));
    EXPECT_EQ(3u, rig.err->source);
    EXPECT_EQ(rig.svc->session, rig.err->source_handle.record);
}

TEST(Trans, CommitWithNoStatementEverAllocatedRunsOnlyTheCommand) {
    TransRig rig;
    EXPECT_EQ(nullptr, rig.svc->stmt.record);
    rig.peer.Expect(Hex("'?' 00000007 'COMMIT;' 00 00000000"));
    rig.peer.Send(Hex("'K'"));
    EXPECT_EQ(0, OCITransCommit(rig.svc, rig.err, 0));
}

TEST(Trans, CommitAfterItsStatementWasFreedRunsOnlyTheCommand) {
    TransRig rig;
    OCIStmt *stmt = NewHandle<OCIStmt>(rig.env, OCI_HTYPE_STMT);
    stmt->lob_dirty = 1;
    EXPECT_EQ(stmt, rig.svc->stmt.record);
    EXPECT_EQ(0, OCIHandleFree(stmt, OCI_HTYPE_STMT));
    rig.ScriptCommand("COMMIT;");
    EXPECT_EQ(0, OCITransCommit(rig.svc, rig.err, 0));
}

TEST(Trans, CommitWithALiveStatementAndNothingWrittenRunsOnlyTheCommand) {
    TransRig rig;
    OCIStmt *stmt = NewHandle<OCIStmt>(rig.env, OCI_HTYPE_STMT);
    EXPECT_EQ(-1, LobWriteBack(stmt)) << "a statement without a text";
    rig.ScriptCommand("COMMIT;");
    EXPECT_EQ(0, OCITransCommit(rig.svc, rig.err, 0)) << "the -1 is dropped";
    EXPECT_EQ(0, OCIHandleFree(stmt, OCI_HTYPE_STMT));
}

TEST(Trans, RollbackSendsItsCommandWhateverTheFlags) {
    TransRig rig;
    for (uint32_t flags : {0u, 0xFFFFFFFFu}) {
        rig.peer.Expect(Hex("'?' 00000009 'ROLLBACK;' 00 00000000"));
        rig.peer.Send(Hex("'K'"));
        EXPECT_EQ(0, OCITransRollback(rig.svc, rig.err, flags));
    }
}

TEST(Trans, RollbackLeavesLobDirtySet) {
    TransRig rig;
    OCIStmt *stmt = NewHandle<OCIStmt>(rig.env, OCI_HTYPE_STMT);
    stmt->lob_dirty = 1;
    rig.ScriptCommand("ROLLBACK;");
    EXPECT_EQ(0, OCITransRollback(rig.svc, rig.err, 0));
    EXPECT_EQ(1, stmt->lob_dirty);
    EXPECT_EQ(0, OCIHandleFree(stmt, OCI_HTYPE_STMT));
}

TEST(Trans, ARefusalIsReadFromTheSession) {
    CallRig rig;
    rig.Logon();
    rig.peer.Expect(Frame("ROLLBACK;"));
    rig.peer.Send(Hex("'E' 0000000F '[E12000]refused'"));
    EXPECT_EQ(-1, OCITransRollback(rig.svc, rig.err, 0));
    EXPECT_EQ(3u, rig.err->source);
    EXPECT_EQ("[E12000]refused", rig.Error());
    rig.ScriptCommand("COMMIT;");
    EXPECT_EQ(0, OCILogoff(rig.svc, rig.err));
}

TEST(Trans, ALostConnectionIsPassedOn) {
    CallRig rig;
    rig.Logon();
    rig.peer.Expect(Frame("COMMIT;"));
    rig.peer.Close();
    EXPECT_EQ(-4, OCITransCommit(rig.svc, rig.err, 0));
    EXPECT_EQ(0, OCILogoff(rig.svc, rig.err));
}
