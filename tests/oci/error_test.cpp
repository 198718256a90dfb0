// The error handle and OCIErrorGet.
#include <gtest/gtest.h>

#include <csignal>
#include <cstring>
#include <string>

#include "diag/error.h"
#include "oci/handles.h"
#include "oci/record_links.h"
#include "support/call_rig.h"

// A chain of handles without a connection; each native handle can be given an error.
class Errors : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(0, OCIEnvInit(&env_, 0, 0, NULL));
        err_ = NewHandle<OCIError>(env_, OCI_HTYPE_ERROR);
        svc_ = NewHandle<OCISvcCtx>(env_, OCI_HTYPE_SVCCTX);
        server_ = NewHandle<OCIServer>(env_, OCI_HTYPE_SERVER);
        session_ = NewHandle<OCISession>(env_, OCI_HTYPE_SESSION);
        stmt_ = NewHandle<OCIStmt>(env_, OCI_HTYPE_STMT);
    }

    void TearDown() override {
        OCIHandleFree(stmt_, OCI_HTYPE_STMT);
        OCIHandleFree(session_, OCI_HTYPE_SESSION);
        OCIHandleFree(server_, OCI_HTYPE_SERVER);
        OCIHandleFree(svc_, OCI_HTYPE_SVCCTX);
        OCIHandleFree(err_, OCI_HTYPE_ERROR);
        OCIHandleFree(env_, OCI_HTYPE_ENV);
    }

    OCIEnv *env_ = NULL;
    OCIError *err_ = NULL;
    OCISvcCtx *svc_ = NULL;
    OCIServer *server_ = NULL;
    OCISession *session_ = NULL;
    OCIStmt *stmt_ = NULL;
};

TEST_F(Errors, GetChecksItsArgumentsInOrder) {
    OCIText text[8] = "kept";
    EXPECT_EQ(-2, OCIErrorGet(NULL, 2, NULL, NULL, NULL, 0, 7));
    EXPECT_EQ(0, OCIErrorGet(err_, 2, NULL, NULL, NULL, 0, 7));
    EXPECT_EQ(-2, OCIErrorGet(err_, 2, NULL, NULL, text, 0, 7));
    EXPECT_EQ(-2, OCIErrorGet(err_, 2, NULL, NULL, text, 0, OCI_HTYPE_ENV));
    EXPECT_EQ(-2, OCIErrorGet(env_, 2, NULL, NULL, text, 0, OCI_HTYPE_ERROR));
    EXPECT_EQ(-2, OCIErrorGet(svc_, 2, NULL, NULL, text, 0, OCI_HTYPE_SVCCTX));
    EXPECT_EQ(100, OCIErrorGet(err_, 2, NULL, NULL, text, 0, OCI_HTYPE_ERROR));
    EXPECT_EQ(100, OCIErrorGet(err_, 0, NULL, NULL, text, 0, OCI_HTYPE_ERROR));
    EXPECT_EQ(-1, OCIErrorGet(err_, 1, NULL, NULL, text, 0, OCI_HTYPE_ERROR));
    EXPECT_STREQ("kept", (const char *)text);
}

TEST_F(Errors, GetWithoutABufferReturns0EvenForARecordOfTheWrongType) {
    EXPECT_EQ(0, OCIErrorGet(stmt_, 1, NULL, NULL, NULL, 100, OCI_HTYPE_ERROR));
}

TEST_F(Errors, GetOfRecord2Returns100AndKeepsTheCode) {
    OCIText text[8] = "kept";
    OCIText state[6] = "state";
    int32_t code = 4711;
    ErrorText(err_, "some text");
    EXPECT_EQ(100, OCIErrorGet(err_, 2, state, &code, text, 8, OCI_HTYPE_ERROR));
    EXPECT_EQ(4711, code);
    EXPECT_EQ(0, OCIErrorGet(err_, 1, state, &code, text, 8, OCI_HTYPE_ERROR));
    EXPECT_EQ(4711, code) << "not of record 1 either";
    EXPECT_STREQ("state", (const char *)state);
}

TEST_F(Errors, GetOnAHandleThatNeverSawAFailureGivesTheEmptyText) {
    OCIText text[4];
    memset(text, 0x5A, sizeof(text));
    EXPECT_EQ(0, OCIErrorGet(err_, 1, NULL, NULL, text, 4, OCI_HTYPE_ERROR));
    EXPECT_EQ(0, memcmp(text, "\0\0\0", 4)) << "exactly bufsiz bytes are written";
}

TEST_F(Errors, GetOnAnEnvironmentGivesTheEmptyText) {
    EXPECT_EQ("", ErrorOf(env_, OCI_HTYPE_ENV));
}

TEST_F(Errors, GetCopiesExactlyTheSizeAskedFor) {
    ErrorText(err_, "a longer text than fits");
    OCIText text[10];
    memset(text, 0x5A, sizeof(text));
    EXPECT_EQ(0, OCIErrorGet(err_, 1, NULL, NULL, text, 8, OCI_HTYPE_ERROR));
    EXPECT_EQ(0, memcmp(text, "a longerZZ", 10)) << "no terminator is put behind a cut text";
    ErrorText(err_, "b");
    EXPECT_EQ(0, OCIErrorGet(err_, 1, NULL, NULL, text, 8, OCI_HTYPE_ERROR));
    EXPECT_EQ(0, memcmp(text, "b\0longerZZ", 10)) << "the older text stands behind the newer one";
}

TEST_F(Errors, GetOfMoreThan512BytesIsFilledWithZeros) {
    memset(err_->message, 'm', sizeof(err_->message));
    err_->source = ERROR_OF_RECORD;
    std::string text(602, 'Z');
    EXPECT_EQ(0, OCIErrorGet(err_, 1, NULL, NULL, (OCIText *)text.data(), 600, OCI_HTYPE_ERROR));
    EXPECT_EQ(std::string(512, 'm') + std::string(88, '\0') + "ZZ", text);
}

TEST_F(Errors, GetReadsTheSessionsErrorWhenItIsCalled) {
    ErrorFromSession(err_, session_);
    EXPECT_EQ("", ErrorOf(err_));
    ErrInfoRaiseText(session_->native_session, "E00001", "the first");
    EXPECT_EQ("the first", ErrorOf(err_));
    ErrInfoRaiseText(session_->native_session, "E00002", "the second");
    EXPECT_EQ("the second", ErrorOf(err_));
}

TEST_F(Errors, GetReadsTheStatementsError) {
    ErrorFromStmt(err_, stmt_);
    ErrInfoRaiseText(session_->native_session, "E00001", "the session's");
    ErrInfoRaiseText(stmt_->native_stmt, "E00002", "the statement's");
    EXPECT_EQ("the statement's", ErrorOf(err_));
}

TEST_F(Errors, AMessageOf511BytesIsRead) {
    ErrorFromSession(err_, session_);
    ErrInfoRaiseText(session_->native_session, "E00001", std::string(511, 'm').c_str());
    EXPECT_EQ(std::string(511, 'm'), ErrorOf(err_));
}

typedef Errors ErrorsDeathTest;

TEST_F(ErrorsDeathTest, AMessageOf512BytesEndsTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    ErrorFromSession(err_, session_);
    ErrInfoRaiseText(session_->native_session, "E00001", std::string(512, 'm').c_str());
    EXPECT_DEATH(ErrorOf(err_), "^$") << "and nothing is printed";
    ErrInfoRaiseText(session_->native_session, "E00001", std::string(5000, 'm').c_str());
    EXPECT_DEATH(ErrorOf(err_), "^$");
}

TEST_F(Errors, ASourceWithNoLiveNativeHandleReadsAsNoError) {
    OCISession *pending = NULL;
    OCIEnv *other = NULL;
    ASSERT_EQ(0, OCIEnvInit(&other, 0, 0, NULL));
    pending = NewHandle<OCISession>(other, OCI_HTYPE_SESSION);
    ErrorFromSession(err_, pending);
    EXPECT_EQ("", ErrorOf(err_)) << "pending";
    EXPECT_EQ(-3, OCIHandleFree(pending, OCI_HTYPE_SESSION));
    EXPECT_EQ("", ErrorOf(err_)) << "freed";
    EXPECT_EQ(0, OCIHandleFree(other, OCI_HTYPE_ENV));
    ErrorFromSession(err_, NULL);
    EXPECT_EQ(ERROR_OF_SESSION, err_->source);
    EXPECT_EQ("", ErrorOf(err_)) << "none";
    ErrInfoRaiseText(session_->native_session, "E00001", "text");
    ErrorFromSession(err_, session_);
    EXPECT_EQ(0, OCIHandleFree(server_, OCI_HTYPE_SERVER));
    EXPECT_EQ("", ErrorOf(err_)) << "dead below";
    server_ = NULL;
}

TEST_F(Errors, AStatementSourceOverASessionReadsTheSession) {
    ErrInfoRaiseText(session_->native_session, "E00001", "the session's");
    ErrorFromSession(err_, session_);
    err_->source = ERROR_OF_STMT;
    EXPECT_EQ("the session's", ErrorOf(err_));
}

TEST_F(Errors, ClearLeavesAnEmptyTextAndNoHandle) {
    ErrorFromStmt(err_, stmt_);
    ErrorText(err_, "text");
    EXPECT_EQ(stmt_, err_->source_handle.record) << "a text alone keeps the handle";
    ErrorClear(err_);
    EXPECT_EQ(ERROR_OF_RECORD, err_->source);
    EXPECT_EQ(nullptr, err_->source_handle.record);
    EXPECT_EQ("", ErrorOf(err_));
}

TEST_F(Errors, ATextIsCutAtItsField) {
    ErrorText(err_, std::string(600, 't').c_str());
    OCIText text[512];
    EXPECT_EQ(0, OCIErrorGet(err_, 1, NULL, NULL, text, 512, OCI_HTYPE_ERROR));
    EXPECT_EQ(std::string(511, 't'), (const char *)text);
}
