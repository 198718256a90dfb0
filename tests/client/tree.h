// A tree of native handles for tests, and what its errors tell.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "platform/memory.h"
#include "records/handles.h"
#include "records/statement.h"
#include "tavu/tvci.h"

// One handle of each level. The destructor frees the tree and expects that no block is left.
struct Tree {
    int64_t blocks = MemLiveBlocks();
    TVCIEnv *env = nullptr;
    TVCIServer *server = nullptr;
    TVCISession *session = nullptr;
    TVCIStmt *stmt = nullptr;

    Tree() {
        EXPECT_EQ(0, TVCIHandleAlloc(nullptr, (void **)&env, 1));
        EXPECT_EQ(0, TVCIHandleAlloc(env, (void **)&server, 2));
        EXPECT_EQ(0, TVCIHandleAlloc(server, (void **)&session, 3));
        EXPECT_EQ(0, TVCIHandleAlloc(session, (void **)&stmt, 5));
    }

    ~Tree() {
        EXPECT_EQ(0, TVCIHandleFree(env));
        EXPECT_EQ(blocks, MemLiveBlocks());
    }
};

// Code and message of a handle's error, as "E32102|text"; "none" when the call wrote nothing.
inline std::string ErrorOf(void *handle) {
    char code[7] = "";
    char message[1024] = "";
    uint32_t length = 4711;
    EXPECT_EQ(0, TVCIGetError(handle, code, message, &length));
    if (length == 4711) return "none";
    return std::string(code) + "|" + std::string(message, length);
}
