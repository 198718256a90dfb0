// Native handles that point at a scripted peer, for tests of what lies below the call interface.
#pragma once

#include <gtest/gtest.h>

#include "support/scripted_peer.h"
#include "tavu/tvci.h"

// What a session with the default attributes sends to log on.
inline const char *const DEFAULT_LOGIN_TEXT =
    "login database = SYSTEM user='SYSDBA' password='SYSDBA' encryptor = '' char_set = 'GBK' "
    "time_zone = 'GTM+08:00' iso_level = '2' auto_commit = 'on' version = '301'";

struct NativeRig {
    ScriptedPeer peer;
    TVCIEnv *env = nullptr;
    TVCIServer *server = nullptr;
    TVCISession *session = nullptr;

    NativeRig() {
        uint32_t port = peer.port();
        EXPECT_EQ(0, TVCIHandleAlloc(nullptr, (void **)&env, TVCI_HTYPE_ENV));
        EXPECT_EQ(0, TVCIHandleAlloc(env, (void **)&server, TVCI_HTYPE_SERVER));
        EXPECT_EQ(0, TVCIAttrSet(server, 21, "127.0.0.1", -1));
        EXPECT_EQ(0, TVCIAttrSet(server, 22, &port, -1));
        EXPECT_EQ(0, TVCIAttrSet(server, 24, "SYSTEM", -1));
        EXPECT_EQ(0, TVCIHandleAlloc(server, (void **)&session, TVCI_HTYPE_SESSION));
    }

    ~NativeRig() {
        EXPECT_TRUE(peer.Finish()) << peer.Failure();
        TVCIHandleFree(env);
    }

    // Scripts a login that is accepted, starts the peer and connects.
    void Login() {
        peer.Accept();
        peer.Expect(Ascii(DEFAULT_LOGIN_TEXT));
        peer.Send(Hex("'K'"));
        peer.Start();
        ASSERT_EQ(0, TVCIConnect(session, "SYSDBA", "SYSDBA"));
    }

    TVCIStmt *NewStmt() {
        TVCIStmt *stmt = nullptr;
        EXPECT_EQ(0, TVCIHandleAlloc(session, (void **)&stmt, TVCI_HTYPE_STMT));
        return stmt;
    }
};
