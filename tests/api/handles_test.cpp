// Environment, handles, errors, logon and transactions, as an application calls them.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "support/call_rig.h"

TEST(ApiHandles, EnvInitWithoutASlotReturnsMinus1AndEnvCreateMinus2) {
    EXPECT_EQ(-1, OCIEnvInit(nullptr, 0, 0, nullptr));
    EXPECT_EQ(-2, OCIEnvCreate(nullptr, 0, nullptr, nullptr, nullptr, nullptr, 0, nullptr));
}

TEST(ApiHandles, AllocOfType1ReturnsMinus2AndOfType4Minus1) {
    OCIEnv *env = nullptr;
    ASSERT_EQ(0, OCIEnvInit(&env, 0, 0, nullptr));
    void *handle = nullptr;
    EXPECT_EQ(-2, OCIHandleAlloc(env, &handle, 1, 0, nullptr));
    EXPECT_EQ(-1, OCIHandleAlloc(env, &handle, 4, 0, nullptr));
    EXPECT_EQ(-2, OCIHandleAlloc(nullptr, &handle, OCI_HTYPE_ERROR, 0, nullptr));
    EXPECT_EQ(-2, OCIHandleFree(nullptr, OCI_HTYPE_ERROR));
    EXPECT_EQ(-2, OCIHandleFree(env, OCI_HTYPE_ERROR));
    EXPECT_EQ(0, OCIHandleFree(env, OCI_HTYPE_ENV));
}

TEST(ApiHandles, UserMemoryIsZeroedAndLivesAsLongAsTheEnvironment) {
    OCIEnv *env = nullptr;
    void *first = nullptr;
    ASSERT_EQ(0, OCIEnvInit(&env, 0, 64, &first));
    OCIError *err = nullptr;
    void *second = nullptr;
    ASSERT_EQ(0,
              OCIHandleAlloc(env, reinterpret_cast<void **>(&err), OCI_HTYPE_ERROR, 64, &second));
    const char zeros[64] = {};
    EXPECT_EQ(0, memcmp(first, zeros, sizeof(zeros)));
    EXPECT_EQ(0, memcmp(second, zeros, sizeof(zeros)));
    EXPECT_EQ(0, OCIHandleFree(err, OCI_HTYPE_ERROR));
    memset(second, 1, 64);
    EXPECT_EQ(0, OCIHandleFree(env, OCI_HTYPE_ENV));
}

TEST(ApiHandles, APendingStatementIsFreedWithMinus3) {
    OCIEnv *env = nullptr;
    ASSERT_EQ(0, OCIEnvInit(&env, 0, 0, nullptr));
    OCIStmt *stmt = NewHandle<OCIStmt>(env, OCI_HTYPE_STMT);
    EXPECT_EQ(-3, OCIHandleFree(stmt, OCI_HTYPE_STMT));
    EXPECT_EQ(0, OCIHandleFree(env, OCI_HTYPE_ENV));
}

TEST(ApiHandles, ALocatorIsADescriptorAndNoHandle) {
    OCIEnv *env = nullptr;
    ASSERT_EQ(0, OCIEnvInit(&env, 0, 0, nullptr));
    void *locator = nullptr;
    EXPECT_EQ(-2, OCIHandleAlloc(nullptr, &locator, OCI_DTYPE_LOB, 0, nullptr));
    EXPECT_EQ(-1, OCIHandleAlloc(env, &locator, OCI_DTYPE_LOB, 0, nullptr));
    EXPECT_EQ(-1, OCIDescriptorAlloc(nullptr, &locator, OCI_DTYPE_LOB, 0, nullptr));
    EXPECT_EQ(-2, OCIDescriptorAlloc(env, &locator, OCI_DTYPE_PARAM, 0, nullptr));
    EXPECT_EQ(0, OCIDescriptorAlloc(env, &locator, OCI_DTYPE_LOB, 0, nullptr));
    EXPECT_EQ(0, OCIDescriptorFree(locator, OCI_DTYPE_LOB));
    EXPECT_EQ(0, OCIHandleFree(env, OCI_HTYPE_ENV));
}

TEST(ApiErrors, GetFollowsItsOrderOfChecks) {
    CallRig rig;
    rig.peer.Start();
    OCIText text[16] = "kept";
    int32_t code = 4711;
    EXPECT_EQ(-2, OCIErrorGet(nullptr, 1, nullptr, &code, text, 16, OCI_HTYPE_ERROR));
    EXPECT_EQ(0, OCIErrorGet(rig.env, 1, nullptr, &code, nullptr, 16, OCI_HTYPE_ERROR));
    EXPECT_EQ(-2, OCIErrorGet(rig.env, 1, nullptr, &code, text, 16, OCI_HTYPE_ERROR));
    EXPECT_EQ(100, OCIErrorGet(rig.err, 2, nullptr, &code, text, 16, OCI_HTYPE_ERROR));
    EXPECT_EQ(-1, OCIErrorGet(rig.err, 1, nullptr, &code, text, 0, OCI_HTYPE_ERROR));
    EXPECT_STREQ("kept", reinterpret_cast<char *>(text));
    EXPECT_EQ(0, OCIErrorGet(rig.err, 1, nullptr, &code, text, 16, OCI_HTYPE_ERROR));
    EXPECT_STREQ("", reinterpret_cast<char *>(text));
    EXPECT_EQ(4711, code);
    EXPECT_EQ("", ErrorOf(rig.env, OCI_HTYPE_ENV));
}

TEST(ApiSession, LogonWorkAndLogoff) {
    CallRig rig;
    rig.peer.Accept();
    rig.peer.Expect(
        Hex("'login database = SYSTEM user=''scott'' password=''tiger'' encryptor = '''' "
            "char_set = ''GBK'' time_zone = ''GTM+08:00'' iso_level = ''2'' "
            "auto_commit = ''off'' return_rowid=true version = ''301'''"));
    rig.peer.Send(Hex("'K'"));
    rig.peer.Expect(Hex("'?' 00000009 'ROLLBACK;' 00 00000000"));
    rig.peer.Send(Hex("'K'"));
    rig.peer.Expect(Hex("'?' 00000007 'COMMIT;' 00 00000000"));
    rig.peer.Send(Hex("'K'"));
    rig.peer.ExpectEnd();
    rig.peer.Start();
    ASSERT_EQ(0, rig.Logon("scott", 5, "tiger", 5)) << rig.Error();
    EXPECT_EQ(0, OCITransRollback(rig.svc, rig.err, 0));
    EXPECT_EQ(0, OCITransDetach(nullptr, nullptr, 0));
    EXPECT_EQ(0, OCILogoff(rig.svc, rig.err));
}

TEST(ApiSession, ARefusedLogonShowsTheServersText) {
    CallRig rig;
    // An error of 20 bytes: the code in brackets, then the text.
    rig.ScriptLogin(CallLoginText("scott", "wrong"), "'E' 00000014 '[E18007]bad password'");
    rig.peer.Start();
    EXPECT_EQ(-1, rig.Logon("scott", 5, "wrong", 5));
    EXPECT_EQ("[E18007]bad password", rig.Error());
    EXPECT_EQ(0, OCIHandleFree(rig.svc, OCI_HTYPE_SVCCTX));
}

TEST(ApiSession, AStatementMayBeFreedAfterTheLogoff) {
    CallRig rig;
    rig.Logon();
    OCIStmt *stmt = NewHandle<OCIStmt>(rig.env, OCI_HTYPE_STMT);
    rig.ScriptCommand("COMMIT;");
    EXPECT_EQ(0, OCILogoff(rig.svc, rig.err));
    EXPECT_EQ(-2, OCIHandleFree(stmt, OCI_HTYPE_STMT));
}
