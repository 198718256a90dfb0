// Handles made and freed from several threads at once.
#include <gtest/gtest.h>

#include <functional>
#include <thread>
#include <vector>

#include "client/tree.h"

namespace {

constexpr int THREADS = 4;
constexpr int ROUNDS = 200;

void RunTogether(const std::function<void(int)> &work) {
    std::vector<std::thread> threads;
    for (int index = 0; index < THREADS; index++) {
        threads.emplace_back(work, index);
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
}

// Fails a get and a set on the handle and reads the error that is left.
void FailOn(void *handle) {
    int32_t word = 0;
    EXPECT_EQ(-6, TVCIAttrSet(handle, 999, &word, 0));
    char code[7];
    char message[512];
    uint32_t length = 0;
    EXPECT_EQ(0, TVCIGetError(handle, code, message, &length));
    EXPECT_NE(0u, length);
}

TEST(HandleThreads, StatementsUnderDifferentSessions) {
    Tree tree;
    TVCISession *sessions[THREADS] = {};
    for (TVCISession *&session : sessions) {
        ASSERT_EQ(0, TVCIHandleAlloc(tree.server, (void **)&session, 3));
    }
    RunTogether([&sessions](int index) {
        for (int round = 0; round < ROUNDS; round++) {
            TVCIStmt *first = nullptr;
            TVCIStmt *second = nullptr;
            ASSERT_EQ(0, TVCIHandleAlloc(sessions[index], (void **)&first, 5));
            ASSERT_EQ(0, TVCIHandleAlloc(sessions[index], (void **)&second, 5));
            FailOn(first);
            EXPECT_EQ(0, TVCIHandleFree(first));
            EXPECT_EQ(0, TVCIHandleFree(second));
        }
    });
    for (TVCISession *session : sessions) {
        EXPECT_TRUE(ListEmpty(&session->stmts));
    }
}

TEST(HandleThreads, SessionsUnderOneServer) {
    Tree tree;
    RunTogether([&tree](int) {
        for (int round = 0; round < ROUNDS; round++) {
            TVCISession *session = nullptr;
            TVCIStmt *stmt = nullptr;
            ASSERT_EQ(0, TVCIHandleAlloc(tree.server, (void **)&session, 3));
            ASSERT_EQ(0, TVCIHandleAlloc(session, (void **)&stmt, 5));
            FailOn(session);
            EXPECT_EQ(0, TVCIHandleFree(session));
        }
    });
    EXPECT_EQ(&tree.session->link, tree.server->sessions.next);
    EXPECT_EQ(&tree.session->link, tree.server->sessions.prev);
}

TEST(HandleThreads, StatementsUnderOneSession) {
    Tree tree;
    RunTogether([&tree](int) {
        for (int round = 0; round < ROUNDS; round++) {
            TVCIStmt *stmt = nullptr;
            ASSERT_EQ(0, TVCIHandleAlloc(tree.session, (void **)&stmt, 5));
            EXPECT_EQ(0, TVCIHandleFree(stmt));
        }
    });
    EXPECT_EQ(&tree.stmt->link, tree.session->stmts.next);
    EXPECT_EQ(&tree.stmt->link, tree.session->stmts.prev);
}

TEST(HandleThreads, WholeTreesWithAddressLists) {
    int64_t blocks = MemLiveBlocks();
    RunTogether([](int) {
        for (int round = 0; round < ROUNDS; round++) {
            TVCIEnv *env = nullptr;
            TVCIServer *server = nullptr;
            TVCISession *session = nullptr;
            ASSERT_EQ(0, TVCIHandleAlloc(nullptr, (void **)&env, 1));
            ASSERT_EQ(0, TVCIHandleAlloc(env, (void **)&server, 2));
            ASSERT_EQ(0, TVCIAttrSet(server, 28, "10.0.0.1,10.0.0.2", -1));
            ASSERT_EQ(0, TVCIHandleAlloc(server, (void **)&session, 3));
            EXPECT_EQ(0, TVCIHandleFree(env));
        }
    });
    EXPECT_EQ(blocks, MemLiveBlocks());
}

}  // namespace
