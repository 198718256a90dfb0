// Handles freed in every order: each record is freed once, and no later call reaches a dead one.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <thread>
#include <vector>

#include "client/handles.h"
#include "oci/handles.h"
#include "platform/memory.h"
#include "support/call_rig.h"

namespace {

enum Kind { ENV, ERR, SERVER, SVCCTX, SESSION, STMT, KINDS };

struct Chain {
    OCIEnv *env = NULL;
    OCIError *err = NULL;
    OCIServer *server = NULL;
    OCISvcCtx *svc = NULL;
    OCISession *session = NULL;
    OCIStmt *stmt = NULL;
    bool freed[KINDS] = {};

    // Allocates in the given order, the environment first.
    explicit Chain(const std::vector<int> &order) {
        EXPECT_EQ(0, OCIEnvInit(&env, 0, 0, NULL));
        for (int kind : order) {
            switch (kind) {
                case ERR: err = NewHandle<OCIError>(env, OCI_HTYPE_ERROR); break;
                case SERVER: server = NewHandle<OCIServer>(env, OCI_HTYPE_SERVER); break;
                case SVCCTX: svc = NewHandle<OCISvcCtx>(env, OCI_HTYPE_SVCCTX); break;
                case SESSION: session = NewHandle<OCISession>(env, OCI_HTYPE_SESSION); break;
                case STMT: stmt = NewHandle<OCIStmt>(env, OCI_HTYPE_STMT); break;
            }
        }
    }

    int32_t Free(int kind) {
        freed[kind] = true;
        switch (kind) {
            case ENV: return OCIHandleFree(env, OCI_HTYPE_ENV);
            case ERR: return OCIHandleFree(err, OCI_HTYPE_ERROR);
            case SERVER: return OCIHandleFree(server, OCI_HTYPE_SERVER);
            case SVCCTX: return OCIHandleFree(svc, OCI_HTYPE_SVCCTX);
            case SESSION: return OCIHandleFree(session, OCI_HTYPE_SESSION);
            default: return OCIHandleFree(stmt, OCI_HTYPE_STMT);
        }
    }

    // The result of a free: -2 when the native handle went with a native parent.
    int32_t ExpectedResult(int kind) const {
        bool dead = false;
        switch (kind) {
            case STMT: dead = freed[SESSION] || freed[SERVER] || freed[ENV]; break;
            case SESSION: dead = freed[SERVER] || freed[ENV]; break;
            case SERVER: dead = freed[ENV]; break;
        }
        return dead ? -2 : 0;
    }

    // Calls that follow the links between the records that are left.
    void FollowLinks() const {
        if (!freed[SVCCTX] && !freed[ERR]) {
            EXPECT_EQ(freed[STMT] ? NULL : stmt, svc->stmt.record);
            OCITransRollback(svc, err, 0);
            OCITransCommit(svc, err, 0);
            OCIText version[16];
            EXPECT_EQ(-1, OCIServerVersion(svc, err, version, sizeof(version), OCI_HTYPE_SVCCTX));
        }
        if (!freed[SVCCTX] && !freed[ERR] && !freed[SESSION] && (freed[ENV] || freed[SERVER])) {
            EXPECT_EQ(-2, OCISessionBegin(svc, err, session, 1, 0));
        }
        if (!freed[ERR]) {
            ErrorOf(err);
        }
        if (!freed[ENV] && freed[SERVER]) {
            void *handle = NULL;
            EXPECT_EQ(-1, OCIHandleAlloc(env, &handle, OCI_HTYPE_SESSION, 0, NULL));
        }
        if (!freed[ENV] && (freed[SESSION] || freed[SERVER])) {
            void *handle = NULL;
            EXPECT_EQ(-1, OCIHandleAlloc(env, &handle, OCI_HTYPE_STMT, 0, NULL));
        }
    }
};

}  // namespace

TEST(FreeOrder, EveryOrderOfFreesGivesEachItsCode) {
    int64_t blocks = MemLiveBlocks();
    std::vector<int> order = {ENV, ERR, SERVER, SVCCTX, SESSION, STMT};
    do {
        Chain chain({ERR, SERVER, SVCCTX, SESSION, STMT});
        ErrorFromStmt(chain.err, chain.stmt);
        OCIAttrSet(chain.svc, OCI_HTYPE_SVCCTX, chain.server, 0, OCI_ATTR_SERVER, chain.err);
        OCIAttrSet(chain.svc, OCI_HTYPE_SVCCTX, chain.session, 0, OCI_ATTR_SESSION, chain.err);
        std::string shown;
        for (int kind : order) {
            shown += std::to_string(kind);
            int32_t expected = chain.ExpectedResult(kind);
            ASSERT_EQ(expected, chain.Free(kind)) << shown;
            chain.FollowLinks();
        }
        ASSERT_EQ(blocks, MemLiveBlocks()) << shown;
    } while (std::next_permutation(order.begin(), order.end()));
}

TEST(FreeOrder, EveryOrderOfAllocationsGivesAWorkingChain) {
    int64_t blocks = MemLiveBlocks();
    std::vector<int> order = {ERR, SERVER, SVCCTX, SESSION, STMT};
    do {
        Chain chain(order);
        ASSERT_NE(nullptr, chain.session->native_session);
        ASSERT_NE(nullptr, chain.stmt->native_stmt);
        EXPECT_EQ(chain.server->native_server, chain.session->native_session->server);
        EXPECT_EQ(chain.session->native_session, chain.stmt->native_stmt->session);
        for (int kind : {STMT, SESSION, SVCCTX, SERVER, ERR, ENV}) {
            EXPECT_EQ(0, chain.Free(kind));
        }
        ASSERT_EQ(blocks, MemLiveBlocks());
    } while (std::next_permutation(order.begin(), order.end()));
}

TEST(FreeOrder, TheUsualProgramFreesItsStatementAfterTheLogoff) {
    CallRig rig;
    rig.Logon();
    OCIStmt *stmt = NewHandle<OCIStmt>(rig.env, OCI_HTYPE_STMT);
    rig.ScriptCommand("COMMIT;");
    rig.peer.ExpectEnd();
    EXPECT_EQ(0, OCILogoff(rig.svc, rig.err));
    EXPECT_EQ((void *)dead_handle, (void *)stmt->native_stmt);
    EXPECT_EQ(-2, OCIHandleFree(stmt, OCI_HTYPE_STMT));
}

TEST(FreeOrder, AnErrorHandleForgetsTheStatementThatItNames) {
    Chain chain({ERR, SVCCTX, SERVER, SESSION, STMT});
    ErrorFromStmt(chain.err, chain.stmt);
    EXPECT_EQ(0, chain.Free(STMT));
    EXPECT_EQ(nullptr, chain.err->source_handle.record);
    EXPECT_EQ("", ErrorOf(chain.err));
    ErrorFromSession(chain.err, chain.session);
    EXPECT_EQ(0, chain.Free(SESSION));
    EXPECT_EQ(nullptr, chain.err->source_handle.record);
    EXPECT_EQ("", ErrorOf(chain.err));
    for (int kind : {SVCCTX, SERVER, ERR, ENV}) {
        EXPECT_EQ(0, chain.Free(kind));
    }
}

TEST(FreeOrder, RecordsOfTwoEnvironmentsMayNameEachOther) {
    Chain first({ERR, SVCCTX, SERVER, SESSION, STMT});
    Chain second({ERR, SVCCTX, SERVER, SESSION, STMT});
    ErrorFromStmt(first.err, second.stmt);
    EXPECT_EQ(
        0, OCIAttrSet(first.svc, OCI_HTYPE_SVCCTX, second.session, 0, OCI_ATTR_SESSION, first.err));
    EXPECT_EQ(second.session->native_session, SvcNativeSession(first.svc));
    ErrorFromStmt(first.err, second.stmt);
    for (int kind : {ENV, STMT, SESSION, SERVER, SVCCTX, ERR}) {
        second.Free(kind);
    }
    EXPECT_EQ(nullptr, first.err->source_handle.record);
    EXPECT_EQ(nullptr, SvcNativeSession(first.svc));
    EXPECT_EQ(-2, OCITransCommit(first.svc, first.err, 0));
    for (int kind : {STMT, SESSION, SERVER, SVCCTX, ERR, ENV}) {
        EXPECT_EQ(0, first.Free(kind));
    }
}

TEST(FreeOrder, ThreadsMakeAndFreeHandlesOfOneEnvironment) {
    Chain chain({ERR, SVCCTX, SERVER, SESSION});
    auto work = [&chain] {
        for (int i = 0; i < 200; i++) {
            OCIError *err = NewHandle<OCIError>(chain.env, OCI_HTYPE_ERROR);
            OCIStmt *stmt = NewHandle<OCIStmt>(chain.env, OCI_HTYPE_STMT);
            ErrorFromStmt(err, stmt);
            if (i % 2 == 0) {
                EXPECT_EQ(0, OCIHandleFree(err, OCI_HTYPE_ERROR));
                EXPECT_EQ(0, OCIHandleFree(stmt, OCI_HTYPE_STMT));
            } else {
                EXPECT_EQ(0, OCIHandleFree(stmt, OCI_HTYPE_STMT));
                EXPECT_EQ("", ErrorOf(err));
                EXPECT_EQ(0, OCIHandleFree(err, OCI_HTYPE_ERROR));
            }
        }
    };
    std::thread other(work);
    work();
    other.join();
    EXPECT_EQ(nullptr, chain.svc->stmt.record);
    for (int kind : {SESSION, SERVER, SVCCTX, ERR, ENV}) {
        EXPECT_EQ(0, chain.Free(kind));
    }
}
