// Environment and handles: what is made under what, and what the records hold.
#include "oci/handles.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "client/handles.h"
#include "oci/record_links.h"
#include "platform/memory.h"
#include "support/call_rig.h"

// An environment with nothing in it.
class Handles : public testing::Test {
protected:
    void SetUp() override {
        blocks_ = MemLiveBlocks();
        ASSERT_EQ(OCI_SUCCESS, OCIEnvCreate(&env_, 0, NULL, NULL, NULL, NULL, 0, NULL));
    }

    void TearDown() override {
        MemFailAt(0);
        if (env_ != NULL) {
            EXPECT_EQ(OCI_SUCCESS, OCIHandleFree(env_, OCI_HTYPE_ENV));
        }
        EXPECT_EQ(blocks_, MemLiveBlocks()) << "something was not released";
    }

    OCIServer *Server() {
        return NewHandle<OCIServer>(env_, OCI_HTYPE_SERVER);
    }
    OCISession *Session() {
        return NewHandle<OCISession>(env_, OCI_HTYPE_SESSION);
    }
    OCISvcCtx *SvcCtx() {
        return NewHandle<OCISvcCtx>(env_, OCI_HTYPE_SVCCTX);
    }
    OCIStmt *Stmt() {
        return NewHandle<OCIStmt>(env_, OCI_HTYPE_STMT);
    }

    OCIEnv *env_ = NULL;
    int64_t blocks_ = 0;
};

TEST(Env, InitWithoutASlotReturnsMinus1) {
    EXPECT_EQ(-1, OCIEnvInit(NULL, 0, 0, NULL));
}

TEST(Env, CreateWithoutASlotReturnsMinus2) {
    EXPECT_EQ(-2, OCIEnvCreate(NULL, 0, NULL, NULL, NULL, NULL, 0, NULL));
}

TEST(Env, InitializeAndTerminateDoNothing) {
    auto allocate = [](void *, size_t) -> void * {
        abort();
    };
    auto reallocate = [](void *, void *, size_t) -> void * {
        abort();
    };
    auto release = [](void *, void *) {
        abort();
    };
    EXPECT_EQ(0, OCIInitialize(99, NULL, allocate, reallocate, release));
    OCIEnv *env = NULL;
    void *memory = NULL;
    EXPECT_EQ(0, OCIEnvInit(&env, 0, 8, &memory)) << "the callbacks were dropped";
    EXPECT_EQ(0, OCITerminate(99));
    EXPECT_EQ(0, OCIHandleFree(env, OCI_HTYPE_ENV));
}

TEST_F(Handles, TheEnvironmentsRecordIsFilled) {
    EXPECT_EQ(1u, env_->type);
    ASSERT_NE(nullptr, env_->native_env);
    EXPECT_EQ(1u, env_->native_env->type);
    EXPECT_EQ(&env_->first_usermem, env_->usermem_list);
    EXPECT_EQ(nullptr, env_->first_usermem.memory);
    EXPECT_EQ(nullptr, env_->svcctx.record);
    EXPECT_EQ(nullptr, env_->server);
    EXPECT_EQ(nullptr, env_->session);
}

TEST_F(Handles, AllocChecksItsArguments) {
    void *handle = (void *)0x5A;
    EXPECT_EQ(-2, OCIHandleAlloc(NULL, &handle, OCI_HTYPE_ERROR, 0, NULL));
    EXPECT_EQ(-2, OCIHandleAlloc(env_, NULL, OCI_HTYPE_ERROR, 0, NULL));
    OCIServer *server = Server();
    EXPECT_EQ(-2, OCIHandleAlloc(server, &handle, OCI_HTYPE_ERROR, 0, NULL))
        << "every parent is the environment";
    EXPECT_EQ((void *)0x5A, handle);
    EXPECT_EQ(0, OCIHandleFree(server, OCI_HTYPE_SERVER));
}

TEST_F(Handles, AllocOfType1ReturnsMinus2AndOfType4Minus1) {
    void *handle = NULL;
    EXPECT_EQ(-2, OCIHandleAlloc(env_, &handle, 1, 0, NULL));
    EXPECT_EQ(-1, OCIHandleAlloc(env_, &handle, 4, 0, NULL));
}

TEST_F(Handles, AllocOfTypesThatOtherCallsMakeReturnsMinus1) {
    void *handle = (void *)0x5A;
    for (uint32_t type : {0u, 6u, 7u, 9u, 10u, 20u, 50u, 4294967295u}) {
        EXPECT_EQ(-1, OCIHandleAlloc(env_, &handle, type, 0, NULL)) << type;
    }
    EXPECT_EQ((void *)0x5A, handle);
}

TEST_F(Handles, AllocMakesAnErrorHandle) {
    OCIError *err = NewHandle<OCIError>(env_, OCI_HTYPE_ERROR);
    EXPECT_EQ(8u, err->type);
    EXPECT_EQ(0u, err->source);
    EXPECT_EQ(nullptr, err->source_handle.record);
    EXPECT_EQ(0, OCIHandleFree(err, OCI_HTYPE_ERROR));
}

TEST_F(Handles, AllocMakesAServiceContext) {
    OCISvcCtx *svc = SvcCtx();
    EXPECT_EQ(11u, svc->type);
    EXPECT_EQ(env_, RecordEnv(&svc->link));
    EXPECT_STREQ("127.0.0.1", svc->ip);
    EXPECT_EQ(5138u, svc->port);
    EXPECT_EQ(1u, svc->charset);
    EXPECT_EQ(svc, env_->svcctx.record);
    OCISvcCtx *newer = SvcCtx();
    EXPECT_EQ(newer, env_->svcctx.record);
    EXPECT_EQ(0, OCIHandleFree(svc, OCI_HTYPE_SVCCTX));
    EXPECT_EQ(newer, env_->svcctx.record);
    EXPECT_EQ(0, OCIHandleFree(newer, OCI_HTYPE_SVCCTX));
}

TEST_F(Handles, AllocMakesTheChain) {
    OCIServer *server = Server();
    EXPECT_EQ(2u, server->type);
    EXPECT_EQ(server, env_->server);
    EXPECT_EQ(env_->native_env, server->native_server->env);
    OCISvcCtx *svc = SvcCtx();
    OCISession *session = Session();
    EXPECT_EQ(3u, session->type);
    EXPECT_EQ(session, env_->session);
    ASSERT_NE(nullptr, session->native_session);
    EXPECT_EQ(server->native_server, session->native_session->server);
    EXPECT_EQ(0, session->native_session->attr.auto_commit);
    EXPECT_EQ(1, session->native_session->attr.return_rowid);
    EXPECT_STREQ("GBK", session->native_session->attr.char_set);
    OCIStmt *stmt = Stmt();
    EXPECT_EQ(5u, stmt->type);
    EXPECT_EQ(session->native_session, stmt->native_stmt->session);
    EXPECT_EQ(stmt, svc->stmt.record);
    EXPECT_EQ(0, OCIHandleFree(stmt, OCI_HTYPE_STMT));
    EXPECT_EQ(0, OCIHandleFree(session, OCI_HTYPE_SESSION));
    EXPECT_EQ(0, OCIHandleFree(svc, OCI_HTYPE_SVCCTX));
    EXPECT_EQ(0, OCIHandleFree(server, OCI_HTYPE_SERVER));
}

TEST_F(Handles, TheServiceContextsCharacterSetReachesTheSession) {
    const char *const names[] = {"GBK", "GBK", "GB2312", "UTF8", "GBK"};
    OCIError *err = NewHandle<OCIError>(env_, OCI_HTYPE_ERROR);
    OCIServer *server = Server();
    for (uintptr_t code = 1; code <= 4; code++) {
        OCISvcCtx *svc = SvcCtx();
        EXPECT_EQ(0,
                  OCIAttrSet(svc, OCI_HTYPE_SVCCTX, (void *)code, 0, OCI_ATTR_CHARSET_CODE, err));
        OCISession *session = Session();
        EXPECT_STREQ(names[code], session->native_session->attr.char_set) << code;
        EXPECT_EQ(0, OCIHandleFree(session, OCI_HTYPE_SESSION));
        EXPECT_EQ(0, OCIHandleFree(svc, OCI_HTYPE_SVCCTX));
    }
    EXPECT_EQ(0, OCIHandleFree(server, OCI_HTYPE_SERVER));
    EXPECT_EQ(0, OCIHandleFree(err, OCI_HTYPE_ERROR));
}

TEST_F(Handles, ASessionWithoutAServiceContextIsMadeWithTheDefaultCharacterSet) {
    OCIServer *server = Server();
    OCISession *session = Session();
    EXPECT_STREQ("GBK", session->native_session->attr.char_set);
    EXPECT_EQ(0, OCIHandleFree(session, OCI_HTYPE_SESSION));
    EXPECT_EQ(0, OCIHandleFree(server, OCI_HTYPE_SERVER));
}

TEST_F(Handles, AStatementAllocatedBeforeTheSessionWaitsForTheSessionsStep) {
    OCISvcCtx *svc = SvcCtx();
    OCIStmt *stmt = Stmt();
    EXPECT_EQ(nullptr, stmt->native_stmt);
    EXPECT_EQ(1, env_->pending_stmt_count);
    EXPECT_EQ(nullptr, svc->stmt.record);
    OCIServer *server = Server();
    EXPECT_EQ(nullptr, stmt->native_stmt) << "a server alone does not help";
    OCISession *session = Session();
    ASSERT_NE(nullptr, stmt->native_stmt);
    EXPECT_EQ(session->native_session, stmt->native_stmt->session);
    EXPECT_EQ(stmt, svc->stmt.record);
    EXPECT_EQ(0, env_->pending_stmt_count);
    EXPECT_EQ(nullptr, env_->pending_stmts);
    EXPECT_EQ(0, OCIHandleFree(stmt, OCI_HTYPE_STMT));
    EXPECT_EQ(0, OCIHandleFree(session, OCI_HTYPE_SESSION));
    EXPECT_EQ(0, OCIHandleFree(server, OCI_HTYPE_SERVER));
    EXPECT_EQ(0, OCIHandleFree(svc, OCI_HTYPE_SVCCTX));
}

TEST_F(Handles, AServerAllocatedLastReleasesSessionsAndThoseTheStatements) {
    OCISvcCtx *svc = SvcCtx();
    OCIStmt *stmts[3] = {Stmt(), Stmt(), Stmt()};
    OCISession *sessions[2] = {Session(), Session()};
    EXPECT_EQ(3, env_->pending_stmt_count);
    EXPECT_EQ(2, env_->pending_session_count);
    EXPECT_EQ(nullptr, sessions[0]->native_session);
    EXPECT_EQ(nullptr, env_->session);
    OCIServer *server = Server();
    ASSERT_NE(nullptr, sessions[0]->native_session);
    ASSERT_NE(nullptr, sessions[1]->native_session);
    EXPECT_EQ(sessions[1], env_->session) << "the last one drained is the newest";
    for (OCIStmt *stmt : stmts) {
        ASSERT_NE(nullptr, stmt->native_stmt);
        EXPECT_EQ(sessions[0]->native_session, stmt->native_stmt->session)
            << "the first session took all statements";
    }
    EXPECT_EQ(stmts[2], svc->stmt.record);
    EXPECT_EQ(0, env_->pending_session_count);
    EXPECT_EQ(nullptr, env_->pending_sessions);
    for (OCIStmt *stmt : stmts) {
        EXPECT_EQ(0, OCIHandleFree(stmt, OCI_HTYPE_STMT));
    }
    EXPECT_EQ(0, OCIHandleFree(sessions[0], OCI_HTYPE_SESSION));
    EXPECT_EQ(0, OCIHandleFree(sessions[1], OCI_HTYPE_SESSION));
    EXPECT_EQ(0, OCIHandleFree(server, OCI_HTYPE_SERVER));
    EXPECT_EQ(0, OCIHandleFree(svc, OCI_HTYPE_SVCCTX));
}

TEST_F(Handles, AStepThatFailsWhileTheyAreReleasedLeavesItsHandleAndServesTheNext) {
    OCIStmt *stmts[3] = {Stmt(), Stmt(), Stmt()};
    OCIServer *server = Server();
    // The session's record and its native handle, then one native statement after another.
    MemFailAt(4);
    OCISession *session = Session();
    EXPECT_TRUE(MemFailed());
    MemFailAt(0);
    EXPECT_NE(nullptr, stmts[0]->native_stmt);
    EXPECT_EQ(nullptr, stmts[1]->native_stmt);
    EXPECT_NE(nullptr, stmts[2]->native_stmt);
    EXPECT_EQ(0, env_->pending_stmt_count);
    EXPECT_EQ(0, OCIHandleFree(stmts[0], OCI_HTYPE_STMT));
    EXPECT_EQ(-3, OCIHandleFree(stmts[1], OCI_HTYPE_STMT));
    EXPECT_EQ(0, OCIHandleFree(stmts[2], OCI_HTYPE_STMT));
    EXPECT_EQ(0, OCIHandleFree(session, OCI_HTYPE_SESSION));
    EXPECT_EQ(0, OCIHandleFree(server, OCI_HTYPE_SERVER));
}

TEST_F(Handles, FreeingAPendingHandleReturnsMinus3AndTakesItOffTheArray) {
    OCISvcCtx *svc = SvcCtx();
    OCIStmt *stmts[3] = {Stmt(), Stmt(), Stmt()};
    OCISession *sessions[2] = {Session(), Session()};
    EXPECT_EQ(-3, OCIHandleFree(stmts[1], OCI_HTYPE_STMT));
    EXPECT_EQ(-3, OCIHandleFree(sessions[0], OCI_HTYPE_SESSION));
    EXPECT_EQ(2, env_->pending_stmt_count);
    EXPECT_EQ(1, env_->pending_session_count);
    OCIServer *server = Server();
    EXPECT_NE(nullptr, sessions[1]->native_session);
    EXPECT_NE(nullptr, stmts[0]->native_stmt);
    EXPECT_NE(nullptr, stmts[2]->native_stmt);
    EXPECT_EQ(0, OCIHandleFree(stmts[0], OCI_HTYPE_STMT));
    EXPECT_EQ(0, OCIHandleFree(stmts[2], OCI_HTYPE_STMT));
    EXPECT_EQ(0, OCIHandleFree(sessions[1], OCI_HTYPE_SESSION));
    EXPECT_EQ(0, OCIHandleFree(server, OCI_HTYPE_SERVER));
    EXPECT_EQ(0, OCIHandleFree(svc, OCI_HTYPE_SVCCTX));
}

TEST_F(Handles, PendingHandlesOutliveTheEnvironment) {
    OCIStmt *stmt = Stmt();
    OCISession *session = Session();
    EXPECT_EQ(0, OCIHandleFree(env_, OCI_HTYPE_ENV));
    env_ = NULL;
    EXPECT_EQ(-3, OCIHandleFree(stmt, OCI_HTYPE_STMT));
    EXPECT_EQ(-3, OCIHandleFree(session, OCI_HTYPE_SESSION));
}

TEST_F(Handles, AStatementWithoutAServiceContextIsNamedNowhere) {
    OCIServer *server = Server();
    OCISession *session = Session();
    OCISvcCtx *svc = SvcCtx();
    EXPECT_EQ(0, OCIHandleFree(svc, OCI_HTYPE_SVCCTX));
    EXPECT_EQ(nullptr, env_->svcctx.record);
    OCIStmt *stmt = Stmt();
    EXPECT_NE(nullptr, stmt->native_stmt);
    EXPECT_EQ(0, OCIHandleFree(stmt, OCI_HTYPE_STMT));
    EXPECT_EQ(0, OCIHandleFree(session, OCI_HTYPE_SESSION));
    EXPECT_EQ(0, OCIHandleFree(server, OCI_HTYPE_SERVER));
}

TEST_F(Handles, ASessionUnderAFreedServerIsRefusedAndItsHandleCleared) {
    OCIServer *server = Server();
    EXPECT_EQ(0, OCIHandleFree(server, OCI_HTYPE_SERVER));
    EXPECT_EQ(server, env_->server) << "the link is never cleared";
    void *handle = (void *)0x5A;
    EXPECT_EQ(-1, OCIHandleAlloc(env_, &handle, OCI_HTYPE_SESSION, 0, NULL));
    EXPECT_EQ(nullptr, handle);
    OCIServer *newer = Server();
    OCISession *session = Session();
    EXPECT_EQ(newer->native_server, session->native_session->server);
    EXPECT_EQ(0, OCIHandleFree(session, OCI_HTYPE_SESSION));
    EXPECT_EQ(0, OCIHandleFree(newer, OCI_HTYPE_SERVER));
}

TEST_F(Handles, AStatementUnderAFreedSessionIsRefusedAndItsHandleCleared) {
    OCIServer *server = Server();
    OCISession *session = Session();
    EXPECT_EQ(0, OCIHandleFree(session, OCI_HTYPE_SESSION));
    void *handle = (void *)0x5A;
    EXPECT_EQ(-1, OCIHandleAlloc(env_, &handle, OCI_HTYPE_STMT, 0, NULL));
    EXPECT_EQ(nullptr, handle);
    EXPECT_EQ(0, OCIHandleFree(server, OCI_HTYPE_SERVER));
}

TEST_F(Handles, AStatementUnderASessionWhoseServerIsFreedIsRefused) {
    OCIServer *server = Server();
    OCISession *session = Session();
    EXPECT_EQ(0, OCIHandleFree(server, OCI_HTYPE_SERVER));
    EXPECT_EQ((void *)dead_handle, (void *)session->native_session);
    void *handle = (void *)0x5A;
    EXPECT_EQ(-1, OCIHandleAlloc(env_, &handle, OCI_HTYPE_STMT, 0, NULL));
    EXPECT_EQ(nullptr, handle);
    EXPECT_EQ(-2, OCIHandleFree(session, OCI_HTYPE_SESSION)) << "and the record is freed";
}

TEST_F(Handles, FreeChecksItsArguments) {
    OCIError *err = NewHandle<OCIError>(env_, OCI_HTYPE_ERROR);
    EXPECT_EQ(-2, OCIHandleFree(NULL, OCI_HTYPE_ERROR));
    EXPECT_EQ(-2, OCIHandleFree(err, OCI_HTYPE_STMT));
    EXPECT_EQ(-2, OCIHandleFree(err, 0));
    for (uint32_t type : {4u, 6u, 7u, 10u, 20u, 50u}) {
        uint32_t record[4] = {type, 0, 0, 0};
        EXPECT_EQ(-2, OCIHandleFree(record, type)) << type;
    }
    EXPECT_EQ(0, OCIHandleFree(err, OCI_HTYPE_ERROR));
}

TEST_F(Handles, FreeingAStatementMakesTheServiceContextForgetIt) {
    OCISvcCtx *svc = SvcCtx();
    OCIServer *server = Server();
    OCISession *session = Session();
    OCIStmt *first = Stmt();
    OCIStmt *second = Stmt();
    EXPECT_EQ(second, svc->stmt.record);
    EXPECT_EQ(0, OCIHandleFree(first, OCI_HTYPE_STMT));
    EXPECT_EQ(second, svc->stmt.record);
    EXPECT_EQ(0, OCIHandleFree(second, OCI_HTYPE_STMT));
    EXPECT_EQ(nullptr, svc->stmt.record);
    EXPECT_EQ(0, OCIHandleFree(session, OCI_HTYPE_SESSION));
    EXPECT_EQ(0, OCIHandleFree(server, OCI_HTYPE_SERVER));
    EXPECT_EQ(0, OCIHandleFree(svc, OCI_HTYPE_SVCCTX));
}

TEST_F(Handles, AFailedAllocationOfEachKindLeavesNothingBehind) {
    const uint32_t types[] = {OCI_HTYPE_ERROR, OCI_HTYPE_SVCCTX, OCI_HTYPE_SESSION, OCI_HTYPE_STMT};
    for (uint32_t type : types) {
        for (uint64_t n = 1;; n++) {
            int64_t before = MemLiveBlocks();
            void *memory = (void *)0x5A;
            void *handle = (void *)0x5A;
            MemFailAt(n);
            int32_t result = OCIHandleAlloc(env_, &handle, type, 0, &memory);
            bool failed = MemFailed();
            MemFailAt(0);
            if (!failed) {
                EXPECT_EQ(0, result);
                OCIHandleFree(handle, type);
                break;
            }
            EXPECT_EQ(-1, result) << "type " << type << ", allocation " << n;
            EXPECT_EQ(nullptr, handle) << "type " << type << ", allocation " << n;
            EXPECT_EQ(before, MemLiveBlocks()) << "type " << type << ", allocation " << n;
        }
    }
}

TEST_F(Handles, AServersFailureKeepsTheSlotAndClearsTheUserMemory) {
    void *memory = (void *)0x5A;
    void *handle = NULL;
    // User memory, its node, the record; the fourth is the native server's.
    MemFailAt(4);
    EXPECT_GT(0, OCIHandleAlloc(env_, &handle, OCI_HTYPE_SERVER, 8, &memory));
    EXPECT_TRUE(MemFailed());
    MemFailAt(0);
    EXPECT_EQ(nullptr, memory);
    EXPECT_NE(nullptr, handle) << "an address that must not be used";
    EXPECT_EQ(nullptr, env_->server);
    EXPECT_EQ(nullptr, env_->usermem_list->memory) << "the node stays, without its block";
    EXPECT_NE(nullptr, env_->usermem_list->next);
}

TEST(Env, AFailedCreationGivesCodesAndReleasesAll) {
    int64_t blocks = MemLiveBlocks();
    void *memory = NULL;
    OCIEnv *env = NULL;
    MemFailAt(1);
    EXPECT_EQ(-1, OCIEnvCreate(&env, 0, NULL, NULL, NULL, NULL, 8, &memory));
    MemFailAt(2);
    memory = (void *)0x5A;
    EXPECT_EQ(-1, OCIEnvCreate(&env, 0, NULL, NULL, NULL, NULL, 8, &memory));
    EXPECT_EQ(nullptr, memory);
    EXPECT_EQ(nullptr, env);
    MemFailAt(3);
    memory = (void *)0x5A;
    EXPECT_GT(0, OCIEnvCreate(&env, 0, NULL, NULL, NULL, NULL, 8, &memory));
    EXPECT_EQ(nullptr, memory);
    EXPECT_NE(nullptr, env) << "an address that must not be used";
    MemFailAt(0);
    EXPECT_EQ(blocks, MemLiveBlocks());
}
