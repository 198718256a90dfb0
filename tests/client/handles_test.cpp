// Native handles: how they are made and freed, what a wrong call gets, and what an error tells.
#include "client/handles.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "client/tree.h"
#include "diag/error.h"
#include "support/native_rig.h"
#include "wire/connection.h"
#include "wire/pool.h"

namespace {

TEST(HandleAlloc, NullOutPointerWithAParentIsRefused) {
    Tree tree;
    for (int32_t type : {1, 2, 3, 4, 5, 6, 8, 99}) {
        EXPECT_EQ(-3, TVCIHandleAlloc(tree.env, nullptr, type)) << type;
    }
    EXPECT_EQ("none", ErrorOf(tree.env));
}

TEST(HandleAlloc, NullParentIsRefusedForEveryTypeButOne) {
    void *out = &out;
    for (int32_t type : {-1, 0, 2, 3, 4, 5, 6, 7, 8, 10, 99}) {
        EXPECT_EQ(-2, TVCIHandleAlloc(nullptr, &out, type)) << type;
        EXPECT_EQ(-2, TVCIHandleAlloc(nullptr, nullptr, type)) << type;
    }
    EXPECT_EQ(&out, out);
}

TEST(HandleAlloc, EnvironmentWithNeitherParentNorOutPointerIsRefused) {
    EXPECT_EQ(-1, TVCIHandleAlloc(nullptr, nullptr, 1));
}

TEST(HandleAlloc, EnvironmentBeginsWithVersionOneAndSetsTheByteOrder) {
    swap_bytes.store(0);
    TVCIEnv *env = nullptr;
    ASSERT_EQ(0, TVCIHandleAlloc(nullptr, (void **)&env, 1));
    EXPECT_EQ(1, swap_bytes.load());
    EXPECT_EQ(1u, env->type);
    EXPECT_EQ(1, env->version_major);
    EXPECT_EQ(0, env->version_minor);
    EXPECT_EQ(0, env->use_pool);
    EXPECT_EQ(nullptr, env->pool);
    EXPECT_EQ(nullptr, env->error);
    EXPECT_TRUE(ListEmpty(&env->servers));
    EXPECT_EQ(0, TVCIHandleFree(env));
}

TEST(HandleAlloc, EnvironmentIgnoresItsParent) {
    Tree tree;
    TVCIEnv *root = nullptr;
    ASSERT_EQ(0, TVCIHandleAlloc(tree.session, (void **)&root, 1));
    EXPECT_EQ(1u, root->type);
    EXPECT_EQ("none", ErrorOf(tree.session));
    EXPECT_EQ(0, TVCIHandleFree(tree.server));
    EXPECT_EQ(1u, root->type);
    EXPECT_EQ(0, TVCIHandleFree(root));
}

TEST(HandleAlloc, ServerBeginsWithTheDefaultPortAndNothingElse) {
    Tree tree;
    EXPECT_EQ(2u, tree.server->type);
    EXPECT_EQ(tree.env, tree.server->env);
    EXPECT_EQ(0u, tree.server->ip);
    EXPECT_EQ(5138, tree.server->port);
    EXPECT_STREQ("", tree.server->host);
    EXPECT_STREQ("", tree.server->database);
    EXPECT_EQ(nullptr, tree.server->pool);
    EXPECT_EQ(0, tree.server->has_ip_list);
    EXPECT_EQ(nullptr, tree.server->ip_list);
    EXPECT_EQ(0, tree.server->has_control_file);
}

TEST(HandleAlloc, SessionBeginsWithTheLoginDefaults) {
    Tree tree;
    const ConnAttr &attr = tree.session->attr;
    EXPECT_EQ(3u, tree.session->type);
    EXPECT_EQ(tree.server, tree.session->server);
    EXPECT_EQ(nullptr, tree.session->conn);
    EXPECT_EQ(nullptr, tree.session->lob_conn);
    EXPECT_EQ(0, tree.session->from_pool);
    EXPECT_STREQ("SYSDBA", attr.user);
    EXPECT_STREQ("SYSDBA", attr.password);
    EXPECT_STREQ("GBK", attr.char_set);
    EXPECT_EQ(1, attr.auto_commit);
}

TEST(HandleAlloc, StatementBeginsWithItsResponseDone) {
    Tree tree;
    EXPECT_EQ(5u, tree.stmt->type);
    EXPECT_EQ(tree.session, tree.stmt->session);
    EXPECT_EQ(1, tree.stmt->response_done.load());
    EXPECT_EQ(0, tree.stmt->rows_complete.load());
    EXPECT_EQ(0, tree.stmt->use_server_cursor);
    EXPECT_EQ(0, tree.stmt->fetch_ahead);
    EXPECT_EQ(nullptr, tree.stmt->current);
}

TEST(HandleAlloc, PoolIsKnownToItsEnvironmentAndHasNoConnections) {
    TVCIEnv *env = nullptr;
    TVCIPool *pool = nullptr;
    ASSERT_EQ(0, TVCIHandleAlloc(nullptr, (void **)&env, 1));
    ASSERT_EQ(0, TVCIHandleAlloc(env, (void **)&pool, 4));
    EXPECT_EQ(pool, env->pool);
    EXPECT_EQ(4u, pool->type);
    EXPECT_EQ(env, pool->env);
    EXPECT_EQ(10, pool->min_conn);
    EXPECT_EQ(1000, pool->max_conn);
    EXPECT_EQ(6000, pool->pool_timeout);
    EXPECT_EQ(0, pool->reserved);
    EXPECT_EQ(0, pool->idle_count);
    EXPECT_EQ(0, pool->busy_count);
    EXPECT_EQ(nullptr, pool->idle.items);
    EXPECT_EQ(nullptr, pool->busy.items);
    EXPECT_STREQ("SYSDBA", pool->attr.user);
    EXPECT_EQ(0, TVCIHandleFree(env));
}

TEST(HandleAlloc, ChildrenStandInTheOrderInWhichTheyWereMade) {
    Tree tree;
    TVCIServer *server = nullptr;
    TVCISession *session = nullptr;
    TVCIStmt *stmt = nullptr;
    ASSERT_EQ(0, TVCIHandleAlloc(tree.env, (void **)&server, 2));
    ASSERT_EQ(0, TVCIHandleAlloc(tree.server, (void **)&session, 3));
    ASSERT_EQ(0, TVCIHandleAlloc(tree.session, (void **)&stmt, 5));
    EXPECT_EQ(&tree.server->link, tree.env->servers.next);
    EXPECT_EQ(&server->link, tree.env->servers.prev);
    EXPECT_EQ(&tree.session->link, tree.server->sessions.next);
    EXPECT_EQ(&session->link, tree.server->sessions.prev);
    EXPECT_EQ(&tree.stmt->link, tree.session->stmts.next);
    EXPECT_EQ(&stmt->link, tree.session->stmts.prev);
}

TEST(HandleAlloc, TypeEightMakesNothing) {
    Tree tree;
    void *out = &out;
    EXPECT_EQ(0, TVCIHandleAlloc(tree.env, &out, 8));
    EXPECT_EQ(0, TVCIHandleAlloc(tree.stmt, &out, 8));
    EXPECT_EQ(&out, out);
    EXPECT_EQ("none", ErrorOf(tree.env));
}

TEST(HandleAlloc, TypesSixAndSevenAreRefusedHereButAcceptedByFree) {
    Tree tree;
    void *out = &out;
    EXPECT_EQ(-2, TVCIHandleAlloc(tree.env, &out, 6));
    EXPECT_EQ(
        "E32103|[Win_x64]alloc handle error,current handle is not on explicit application list,"
        " Unsupported type 6 type ",
        ErrorOf(tree.env));
    EXPECT_EQ(-2, TVCIHandleAlloc(tree.server, &out, 7));
    EXPECT_EQ(
        "E32103|[Win_x64]alloc handle error,current handle is not on explicit application list,"
        " Unsupported type 7 type ",
        ErrorOf(tree.server));
    EXPECT_EQ(&out, out);
    uint32_t handle[4] = {6};
    EXPECT_EQ(0, TVCIHandleFree(handle));
    EXPECT_EQ(6u, handle[0]);
    handle[0] = 7;
    EXPECT_EQ(0, TVCIHandleFree(handle));
    EXPECT_EQ(7u, handle[0]);
}

TEST(HandleAlloc, UnknownTypesAreRefusedWithTheirNumber) {
    Tree tree;
    for (int32_t type : {-1, 0, 9, 10, 11, 20, 50}) {
        void *out = &out;
        EXPECT_EQ(-2, TVCIHandleAlloc(tree.session, &out, type)) << type;
        EXPECT_EQ(&out, out) << type;
        EXPECT_EQ(
            "E32103|[Win_x64]alloc handle error,current handle is not on explicit application "
            "list, Unsupported type " +
                std::to_string(type) + " type ",
            ErrorOf(tree.session));
    }
}

TEST(HandleAlloc, WrongParentIsNamedByItsType) {
    Tree tree;
    TVCIPool *pool = nullptr;
    ASSERT_EQ(0, TVCIHandleAlloc(tree.env, (void **)&pool, 4));
    tree.blocks++;  // the pool's record stays
    struct {
        int32_t type;
        void *parent;
        const char *error;
    } const cases[] = {
        {2, tree.server,
         "E32102|[Win_x64]handle alloc error, parenthandle need env type not 2 type "},
        {2, tree.stmt,
         "E32102|[Win_x64]handle alloc error, parenthandle need env type not 5 type "},
        {4, tree.session,
         "E32102|[Win_x64]handle alloc error, parenthandle need env type not 3 type "},
        {4, pool, "E32102|[Win_x64]handle alloc error, parenthandle need env type not 4 type "},
        {2, tree.session,
         "E32102|[Win_x64]handle alloc error, parenthandle need env type not 3 type "},
        {3, tree.env,
         "E32102|[Win_x64]handle alloc error, parenthandle need Server type not 1 type "},
        {3, tree.session,
         "E32102|[Win_x64]handle alloc error, parenthandle need Server type not 3 type "},
        {3, tree.stmt,
         "E32102|[Win_x64]handle alloc error, parenthandle need Server type not 5 type "},
        {5, tree.env,
         "E32102|[Win_x64]handle alloc error, parenthandle need Session type not 1 type "},
        {5, tree.server,
         "E32102|[Win_x64]handle alloc error, parenthandle need Session type not 2 type "},
        {5, tree.stmt,
         "E32102|[Win_x64]handle alloc error, parenthandle need Session type not 5 type "},
    };
    for (const auto &item : cases) {
        void *out = &out;
        EXPECT_EQ(-1, TVCIHandleAlloc(item.parent, &out, item.type)) << item.error;
        EXPECT_EQ(&out, out) << item.error;
        EXPECT_EQ(item.error, ErrorOf(item.parent));
    }
    ErrInfoFree(&pool->error);
}

TEST(HandleAlloc, FreedParentIsAWrongParentThatKeepsNoError) {
    void *out = &out;
    EXPECT_EQ(-1, TVCIHandleAlloc(dead_handle, &out, 2));
    EXPECT_EQ(-1, TVCIHandleAlloc(dead_handle, &out, 3));
    EXPECT_EQ(-1, TVCIHandleAlloc(dead_handle, &out, 4));
    EXPECT_EQ(-1, TVCIHandleAlloc(dead_handle, &out, 5));
    EXPECT_EQ(-2, TVCIHandleAlloc(dead_handle, &out, 6));
    EXPECT_EQ(&out, out);
    for (uint32_t word : dead_handle) {
        EXPECT_EQ(0u, word);
    }
}

TEST(HandleAlloc, NoMemoryGivesTheAllocationCodeAndLeavesTheParentAsItWas) {
    Tree tree;
    struct {
        int32_t type;
        void *parent;
    } const cases[] = {
        {1, nullptr}, {2, tree.env}, {3, tree.server}, {4, tree.env}, {5, tree.session}};
    for (const auto &item : cases) {
        void *out = &out;
        int64_t blocks = MemLiveBlocks();
        MemFailAt(1);
        EXPECT_EQ(-5, TVCIHandleAlloc(item.parent, &out, item.type)) << item.type;
        MemFailAt(0);
        EXPECT_EQ(&out, out) << item.type;
        EXPECT_EQ(blocks, MemLiveBlocks()) << item.type;
    }
    EXPECT_EQ(tree.env->servers.next, tree.env->servers.prev);
    EXPECT_EQ(tree.server->sessions.next, tree.server->sessions.prev);
    EXPECT_EQ(tree.session->stmts.next, tree.session->stmts.prev);
    EXPECT_EQ(nullptr, tree.env->pool);
}

TEST(HandleAlloc, NoMemoryForAServersPoolMakesNoServer) {
    Tree tree;
    tree.env->use_pool = 1;
    void *out = &out;
    int64_t blocks = MemLiveBlocks();
    MemFailAt(2);
    EXPECT_EQ(-5, TVCIHandleAlloc(tree.env, &out, 2));
    MemFailAt(0);
    EXPECT_EQ(&out, out);
    EXPECT_EQ(blocks, MemLiveBlocks());
    EXPECT_EQ(&tree.server->link, tree.env->servers.prev);
}

TEST(HandleFree, NullHandleIsABadArgument) {
    EXPECT_EQ(-3, TVCIHandleFree(nullptr));
}

TEST(HandleFree, TypesThatAreNotFreedSucceed) {
    for (uint32_t type : {4u, 6u, 7u, 8u, 10u}) {
        uint32_t handle[4] = {type, 1, 2, 3};
        EXPECT_EQ(0, TVCIHandleFree(handle)) << type;
        EXPECT_EQ(type, handle[0]);
    }
}

TEST(HandleFree, OtherTypesAreRefused) {
    for (uint32_t type : {0u, 9u, 11u, 20u, 50u, 0xFFFFFFFFu}) {
        uint32_t handle[4] = {type, 1, 2, 3};
        EXPECT_EQ(-2, TVCIHandleFree(handle)) << type;
    }
    EXPECT_EQ(-2, TVCIHandleFree(dead_handle));
}

TEST(HandleFree, PoolStaysAsItIs) {
    TVCIEnv *env = nullptr;
    TVCIPool *pool = nullptr;
    ASSERT_EQ(0, TVCIHandleAlloc(nullptr, (void **)&env, 1));
    ASSERT_EQ(0, TVCIHandleAlloc(env, (void **)&pool, 4));
    EXPECT_EQ(0, TVCIHandleFree(pool));
    EXPECT_EQ(4u, pool->type);
    EXPECT_EQ(pool, env->pool);
    EXPECT_EQ(0, TVCIHandleFree(env));
    EXPECT_EQ(0, TVCIHandleFree(pool));
    EXPECT_EQ(4u, pool->type);
}

TEST(HandleFree, EachLevelLeavesItsParent) {
    Tree tree;
    EXPECT_EQ(0, TVCIHandleFree(tree.stmt));
    EXPECT_TRUE(ListEmpty(&tree.session->stmts));
    EXPECT_EQ(0, TVCIHandleFree(tree.session));
    EXPECT_TRUE(ListEmpty(&tree.server->sessions));
    EXPECT_EQ(0, TVCIHandleFree(tree.server));
    EXPECT_TRUE(ListEmpty(&tree.env->servers));
}

TEST(HandleFree, MiddleChildLeavesItsNeighboursLinked) {
    Tree tree;
    TVCIStmt *second = nullptr;
    TVCIStmt *third = nullptr;
    ASSERT_EQ(0, TVCIHandleAlloc(tree.session, (void **)&second, 5));
    ASSERT_EQ(0, TVCIHandleAlloc(tree.session, (void **)&third, 5));
    EXPECT_EQ(0, TVCIHandleFree(second));
    EXPECT_EQ(&third->link, tree.stmt->link.next);
    EXPECT_EQ(&tree.stmt->link, third->link.prev);
}

TEST(HandleFree, HoldersOfAWholeTreeLearnThatItIsGone) {
    Tree tree;
    TVCIServer *server = nullptr;
    TVCISession *session = nullptr;
    TVCIStmt *stmt = nullptr;
    ASSERT_EQ(0, TVCIHandleAlloc(tree.env, (void **)&server, 2));
    ASSERT_EQ(0, TVCIHandleAlloc(server, (void **)&session, 3));
    ASSERT_EQ(0, TVCIHandleAlloc(session, (void **)&stmt, 5));
    void *slots[3] = {server, session, stmt};
    server->owner_slot = &slots[0];
    session->owner_slot = &slots[1];
    stmt->owner_slot = &slots[2];
    EXPECT_EQ(0, TVCIHandleFree(server));
    for (void *slot : slots) {
        ASSERT_EQ((void *)dead_handle, slot);
    }
    uint32_t word = 1;
    EXPECT_EQ(-2, TVCIHandleFree(slots[0]));
    EXPECT_EQ(-2, TVCIAttrSet(slots[0], 22, &word, 0));
    EXPECT_EQ(-2, TVCIAttrGet(slots[1], 33, &word, 0));
    EXPECT_EQ(-2, TVCIStmtClose((TVCIStmt *)slots[2], 3));
    EXPECT_EQ(-2, TVCIConnect((TVCISession *)slots[1], "SYSDBA", "SYSDBA"));
    EXPECT_EQ("none", ErrorOf(slots[2]));
}

TEST(HandleFree, HolderOfAnEnvironmentLearnsThatItIsGone) {
    TVCIEnv *env = nullptr;
    ASSERT_EQ(0, TVCIHandleAlloc(nullptr, (void **)&env, 1));
    void *slot = env;
    env->owner_slot = &slot;
    EXPECT_EQ(0, TVCIHandleFree(env));
    EXPECT_EQ((void *)dead_handle, slot);
}

TEST(HandleFree, ErrorsAndTheRecordsTheyReplacedGoWithTheirHandle) {
    Tree tree;
    for (void *handle :
         {(void *)tree.env, (void *)tree.server, (void *)tree.session, (void *)tree.stmt}) {
        ErrInfoRaiseText(handle, "E19884", "first");
        ErrInfoRaiseText(handle, "E19884", "second");
    }
    ErrInfoRetire(&tree.session->error, &tree.session->retired);
    ErrInfoRaiseText(tree.session, "E19884", "third");
}

TEST(HandleFree, AddressListGoesWithItsServer) {
    Tree tree;
    EXPECT_EQ(0, TVCIAttrSet(tree.server, 28, "10.0.0.1,10.0.0.2,10.0.0.3", -1));
}

TEST(HandleFree, NodesOfARefusedAddressListGoWithItsServer) {
    Tree tree;
    EXPECT_EQ(-1, TVCIAttrSet(tree.server, 28, "10.0.0.1,none,10.0.0.3", -1));
}

TEST(HandleFree, SessionClosesTheConnectionItOwns) {
    NativeRig rig;
    rig.Login();
    rig.peer.ExpectEnd();
    EXPECT_EQ(0, TVCIHandleFree(rig.session));
    EXPECT_TRUE(rig.peer.Finish()) << rig.peer.Failure();
}

TEST(HandleFree, SessionClosesItsSecondConnectionToo) {
    int64_t blocks = MemLiveBlocks();
    ScriptedPeer peer;
    {
        NativeRig rig;
        rig.Login();
        peer.Accept();
        peer.Expect(Ascii(DEFAULT_LOGIN_TEXT));
        peer.Send(Hex("'K'"));
        peer.ExpectEnd();
        peer.Start();
        uint32_t port = peer.port();
        ASSERT_EQ(0, TVCIAttrSet(rig.server, 22, &port, 0));
        // The first verdict has made the session speak version 201.
        ASSERT_EQ(0, TVCIAttrSet(rig.session, 41, "301", -1));
        rig.session->lob_conn = TVCISessionLoginAgain(rig.session);
        ASSERT_NE(nullptr, rig.session->lob_conn);
        EXPECT_EQ(0, TVCIHandleFree(rig.session));
        EXPECT_TRUE(peer.Finish()) << peer.Failure();
    }
    EXPECT_EQ(blocks, MemLiveBlocks());
}

TEST(HandleFree, PooledSessionGivesItsConnectionBack) {
    ScriptedPeer peer;
    peer.Accept();
    peer.Expect(Ascii(DEFAULT_LOGIN_TEXT));
    peer.Send(Hex("'K'"));
    peer.ExpectEnd();
    peer.Start();
    TVCIEnv *env = nullptr;
    TVCIServer *server = nullptr;
    TVCISession *session = nullptr;
    uint32_t word = 1;
    ASSERT_EQ(0, TVCIHandleAlloc(nullptr, (void **)&env, 1));
    ASSERT_EQ(0, TVCIAttrSet(env, 2, &word, 0));
    ASSERT_EQ(0, TVCIHandleAlloc(env, (void **)&server, 2));
    ASSERT_EQ(0, TVCIAttrSet(server, 21, "127.0.0.1", -1));
    ASSERT_EQ(0, TVCIAttrSet(server, 24, "SYSTEM", -1));
    word = peer.port();
    ASSERT_EQ(0, TVCIAttrSet(server, 22, &word, 0));
    ASSERT_EQ(0, TVCIHandleAlloc(server, (void **)&session, 3));
    EXPECT_EQ(1, session->from_pool);
    ASSERT_EQ(0, TVCIConnect(session, "SYSDBA", "SYSDBA"));
    Connection *conn = session->conn;
    TVCIPool *pool = server->pool;
    EXPECT_EQ(1, pool->busy_count);
    EXPECT_EQ(0, TVCIHandleFree(session));
    EXPECT_EQ(0, pool->busy_count);
    EXPECT_EQ(1, pool->idle_count);
    ASSERT_EQ(1, pool->idle.count);
    EXPECT_EQ(conn, pool->idle.items[0]);
    EXPECT_NE(0u, conn->sock);
    EXPECT_EQ(0, TVCIHandleFree(env));
    EXPECT_TRUE(peer.Finish()) << peer.Failure();
}

// A server whose environment pools.
struct PooledServer {
    TVCIEnv *env = nullptr;
    TVCIServer *server = nullptr;
    TVCIPool *pool = nullptr;

    PooledServer() {
        uint32_t word = 1;
        EXPECT_EQ(0, TVCIHandleAlloc(nullptr, (void **)&env, 1));
        EXPECT_EQ(0, TVCIAttrSet(env, 2, &word, 0));
        EXPECT_EQ(0, TVCIHandleAlloc(env, (void **)&server, 2));
        pool = server->pool;
    }

    ~PooledServer() {
        EXPECT_EQ(0, TVCIHandleFree(env));
    }

    // Fills a vector of the pool with connections that were never opened, of ports 100, 101, ...
    static void Fill(ConnVector *vector, int32_t *counter, int32_t count) {
        vector->items = (Connection **)MemAlloc((size_t)count * sizeof(Connection *));
        vector->capacity = count;
        for (int32_t index = 0; index < count; index++) {
            vector->items[index] = (Connection *)MemAlloc(sizeof(Connection));
            ConnInit(vector->items[index]);
            vector->items[index]->port = (uint16_t)(100 + index);
        }
        vector->count = count;
        *counter = count;
    }
};

TEST(HandleAlloc, ServerOfAPoolingEnvironmentHasAPoolOfItsOwn) {
    PooledServer rig;
    ASSERT_NE(nullptr, rig.pool);
    EXPECT_EQ(4u, rig.pool->type);
    EXPECT_EQ(rig.env, rig.pool->env);
    EXPECT_EQ(10, rig.pool->min_conn);
    EXPECT_EQ(1000, rig.pool->max_conn);
    EXPECT_EQ(6000, rig.pool->pool_timeout);
    EXPECT_EQ(nullptr, rig.env->pool);
    TVCIServer *second = nullptr;
    ASSERT_EQ(0, TVCIHandleAlloc(rig.env, (void **)&second, 2));
    EXPECT_NE(rig.pool, second->pool);
}

TEST(HandleFree, ServerWithSeveralIdlePoolConnectionsClosesExactlyOneOfThem) {
    PooledServer rig;
    PooledServer::Fill(&rig.pool->idle, &rig.pool->idle_count, 3);
    EXPECT_EQ(0, TVCIHandleFree(rig.server));
    EXPECT_EQ(4u, rig.pool->type);
    EXPECT_EQ(0, rig.pool->idle_count);
    EXPECT_EQ(0, rig.pool->busy_count);
    ASSERT_EQ(2, rig.pool->idle.count);
    EXPECT_EQ(101, rig.pool->idle.items[0]->port);
    EXPECT_EQ(102, rig.pool->idle.items[1]->port);
}

TEST(HandleFree, ServerWithSeveralBusyPoolConnectionsClosesExactlyOneOfThem) {
    PooledServer rig;
    PooledServer::Fill(&rig.pool->busy, &rig.pool->busy_count, 2);
    PooledServer::Fill(&rig.pool->idle, &rig.pool->idle_count, 1);
    EXPECT_EQ(0, TVCIHandleFree(rig.server));
    EXPECT_EQ(0, rig.pool->idle_count);
    EXPECT_EQ(0, rig.pool->idle.count);
    EXPECT_EQ(0, rig.pool->busy_count);
    ASSERT_EQ(1, rig.pool->busy.count);
    EXPECT_EQ(101, rig.pool->busy.items[0]->port);
}

TEST(HandleFree, ServerOfAnEnvironmentThatStoppedPoolingLeavesItsPoolAlone) {
    PooledServer rig;
    PooledServer::Fill(&rig.pool->idle, &rig.pool->idle_count, 2);
    uint32_t word = 0;
    ASSERT_EQ(0, TVCIAttrSet(rig.env, 2, &word, 0));
    EXPECT_EQ(0, TVCIHandleFree(rig.server));
    EXPECT_EQ(2, rig.pool->idle_count);
    ASSERT_EQ(2, rig.pool->idle.count);
    EXPECT_EQ(100, rig.pool->idle.items[0]->port);
}

TEST(HandleFree, ServerMadeBeforePoolingHasNoPoolToRelease) {
    Tree tree;
    uint32_t word = 1;
    ASSERT_EQ(0, TVCIAttrSet(tree.env, 2, &word, 0));
    TVCISession *session = nullptr;
    ASSERT_EQ(0, TVCIHandleAlloc(tree.server, (void **)&session, 3));
    EXPECT_EQ(1, session->from_pool);
    EXPECT_EQ(0, tree.session->from_pool);
    EXPECT_EQ(nullptr, tree.server->pool);
    EXPECT_EQ(0, TVCIHandleFree(tree.server));
}

TEST(ControlFileValues, SessionTakesCharacterSetAndAutoCommit) {
    Tree tree;
    tree.server->has_control_file = 1;
    strcpy(tree.server->ctl_char_set, "UTF8");
    for (int32_t value : {0, 1, 7}) {
        TVCISession *session = nullptr;
        tree.server->ctl_auto_commit = value;
        ASSERT_EQ(0, TVCIHandleAlloc(tree.server, (void **)&session, 3));
        EXPECT_STREQ("UTF8", session->attr.char_set);
        EXPECT_EQ(value != 0 ? 1 : 0, session->attr.auto_commit) << value;
    }
}

TEST(ControlFileValues, StatementTakesItsCursorFlags) {
    Tree tree;
    tree.server->has_control_file = 1;
    struct {
        int32_t value;
        uint8_t use_server_cursor;
        uint8_t fetch_ahead;
    } const cases[] = {{0, 0, 0}, {1, 1, 0}, {2, 0, 0}, {3, 1, 1}, {4, 0, 0}};
    for (const auto &item : cases) {
        TVCIStmt *stmt = nullptr;
        tree.server->ctl_server_cursor = item.value;
        ASSERT_EQ(0, TVCIHandleAlloc(tree.session, (void **)&stmt, 5));
        EXPECT_EQ(item.use_server_cursor, stmt->use_server_cursor) << item.value;
        EXPECT_EQ(item.fetch_ahead, stmt->fetch_ahead) << item.value;
    }
}

TEST(ControlFileValues, WithoutAFileTheDefaultsStay) {
    Tree tree;
    TVCISession *session = nullptr;
    TVCIStmt *stmt = nullptr;
    tree.server->ctl_server_cursor = 3;
    tree.server->ctl_auto_commit = 0;
    strcpy(tree.server->ctl_char_set, "UTF8");
    ASSERT_EQ(0, TVCIHandleAlloc(tree.server, (void **)&session, 3));
    ASSERT_EQ(0, TVCIHandleAlloc(session, (void **)&stmt, 5));
    EXPECT_STREQ("GBK", session->attr.char_set);
    EXPECT_EQ(1, session->attr.auto_commit);
    EXPECT_EQ(0, stmt->use_server_cursor);
    EXPECT_EQ(0, stmt->fetch_ahead);
}

TEST(ControlFileValues, AttributesSetLaterWin) {
    Tree tree;
    tree.server->has_control_file = 1;
    strcpy(tree.server->ctl_char_set, "UTF8");
    TVCISession *session = nullptr;
    ASSERT_EQ(0, TVCIHandleAlloc(tree.server, (void **)&session, 3));
    uint32_t word = 2;
    EXPECT_EQ(0, TVCIAttrSet(session, 33, &word, 0));
    word = 1;
    EXPECT_EQ(0, TVCIAttrSet(session, 38, &word, 0));
    EXPECT_STREQ("GB2312", session->attr.char_set);
    EXPECT_EQ(1, session->attr.auto_commit);
}

TEST(StmtClose, HandleThatIsNoStatementIsRefused) {
    Tree tree;
    EXPECT_EQ(-2, TVCIStmtClose(nullptr, 3));
    EXPECT_EQ(-2, TVCIStmtClose((TVCIStmt *)tree.session, 3));
    EXPECT_EQ(-2, TVCIStmtClose((TVCIStmt *)dead_handle, 99));
}

TEST(StmtClose, ModeOutsideOneToThreeIsABadArgument) {
    Tree tree;
    for (int32_t mode : {-1, 0, 4, 5}) {
        EXPECT_EQ(-3, TVCIStmtClose(tree.stmt, mode)) << mode;
    }
    EXPECT_EQ(5u, tree.stmt->type);
}

TEST(StmtClose, ModesOneToThreeKeepTheHandle) {
    Tree tree;
    for (int32_t mode : {1, 2, 3}) {
        EXPECT_EQ(0, TVCIStmtClose(tree.stmt, mode)) << mode;
        EXPECT_EQ(5u, tree.stmt->type);
    }
}

TEST(GetError, HandleWithoutAnErrorWritesNothing) {
    Tree tree;
    for (void *handle : {(void *)tree.env, (void *)tree.server, (void *)tree.session,
                         (void *)tree.stmt, (void *)dead_handle, (void *)nullptr}) {
        char code[7] = "abcdef";
        char message[4] = "xyz";
        uint32_t length = 99;
        EXPECT_EQ(0, TVCIGetError(handle, code, message, &length));
        EXPECT_STREQ("abcdef", code);
        EXPECT_STREQ("xyz", message);
        EXPECT_EQ(99u, length);
    }
}

TEST(GetError, MessageComesWithoutATerminator) {
    Tree tree;
    ErrInfoRaiseText(tree.session, "E19884", "lost");
    char code[7] = "######";
    char message[6] = "#####";
    uint32_t length = 0;
    EXPECT_EQ(0, TVCIGetError(tree.session, code, message, &length));
    EXPECT_STREQ("E19884", code);
    EXPECT_STREQ("lost#", message);
    EXPECT_EQ(4u, length);
}

TEST(GetError, SessionAndStatementStopAt512Bytes) {
    Tree tree;
    for (void *handle : {(void *)tree.session, (void *)tree.stmt}) {
        for (size_t bytes : {511u, 512u, 513u, 700u}) {
            std::string text(bytes, 'm');
            ErrInfoRaiseText(handle, "E12345", text.c_str());
            char code[7];
            std::vector<char> message(1024, '#');
            uint32_t length = 0;
            EXPECT_EQ(0, TVCIGetError(handle, code, message.data(), &length));
            uint32_t expected = bytes == 511 ? 511 : 512;
            EXPECT_EQ(expected, length);
            EXPECT_EQ('m', message[expected - 1]);
            EXPECT_EQ('#', message[expected]);
        }
    }
}

TEST(GetError, EnvironmentServerAndPoolAreNotLimited) {
    Tree tree;
    TVCIPool *pool = nullptr;
    ASSERT_EQ(0, TVCIHandleAlloc(tree.env, (void **)&pool, 4));
    tree.blocks++;  // the pool's record stays
    std::string text(700, 'm');
    for (void *handle : {(void *)tree.env, (void *)tree.server, (void *)pool}) {
        ErrInfoRaiseText(handle, "E12345", text.c_str());
        char code[7];
        std::vector<char> message(1024, '#');
        uint32_t length = 0;
        EXPECT_EQ(0, TVCIGetError(handle, code, message.data(), &length));
        EXPECT_EQ(700u, length);
        EXPECT_EQ('m', message[699]);
        EXPECT_EQ('#', message[700]);
    }
    ErrInfoFree(&pool->error);
}

TEST(GetError, FailedConnectRemainsReadableUntilTheSessionIsFreed) {
    NativeRig rig;
    rig.peer.Accept();
    rig.peer.Expect(Ascii(DEFAULT_LOGIN_TEXT));
    rig.peer.Send(Hex("'E' 00000014 '[E13601]no such user'"));
    rig.peer.Start();
    EXPECT_EQ(-1, TVCIConnect(rig.session, "SYSDBA", "SYSDBA"));
    EXPECT_EQ("E13601|[E13601]no such user", ErrorOf(rig.session));
    TVCIStmt *stmt = rig.NewStmt();
    uint32_t word = 1;
    EXPECT_EQ(0, TVCIAttrSet(rig.session, 38, &word, 0));
    EXPECT_EQ(0, TVCIDisconnect(rig.session));
    EXPECT_EQ(0, TVCIHandleFree(stmt));
    EXPECT_EQ("E13601|[E13601]no such user", ErrorOf(rig.session));
}

}  // namespace
