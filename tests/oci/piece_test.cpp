// Pieces of binds at execute and of dynamic defines.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "oci/lob.h"
#include "oci/records.h"
#include "platform/memory.h"
#include "support/call_rig.h"

// A statement whose binds and defines the tests make by hand.
class Pieces : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(0, OCIEnvInit(&env_, 0, 0, NULL));
        err_ = NewHandle<OCIError>(env_, OCI_HTYPE_ERROR);
        stmt_ = NewHandle<OCIStmt>(env_, OCI_HTYPE_STMT);
    }

    void TearDown() override {
        OCIHandleFree(stmt_, OCI_HTYPE_STMT);
        OCIHandleFree(err_, OCI_HTYPE_ERROR);
        OCIHandleFree(env_, OCI_HTYPE_ENV);
    }

    OCIBind *AddBind(uint32_t dty, uint32_t value_sz, uint8_t mode) {
        OCIBind *bind = (OCIBind *)MemAlloc(sizeof(OCIBind));
        bind->type = OCI_HTYPE_BIND;
        bind->position = 1;
        bind->dty = dty;
        bind->value_sz = value_sz;
        bind->mode = mode;
        bind->value_ready = mode != OCI_DATA_AT_EXEC;
        bind->stmt = stmt_;
        bind->value_buffer = MemAlloc(value_sz > 1000 ? 8 : (value_sz < 7 ? 8 : value_sz + 1));
        stmt_->binds = (OCIBind **)MemRealloc(stmt_->binds,
                                              (size_t)(stmt_->bind_count + 1) * sizeof(OCIBind *));
        stmt_->binds[stmt_->bind_count++] = bind;
        return bind;
    }

    OCIDefine *AddDefine(uint32_t mode) {
        OCIDefine *define = (OCIDefine *)MemAlloc(sizeof(OCIDefine));
        define->type = OCI_HTYPE_DEFINE;
        define->position = (uint32_t)stmt_->define_count + 1;
        define->dty = DTY_STR;
        define->value_sz = 10;
        define->mode = mode;
        define->piece_done = mode != OCI_DYNAMIC_FETCH;
        define->stmt = stmt_;
        stmt_->defines = (OCIDefine **)MemRealloc(
            stmt_->defines, (size_t)(stmt_->define_count + 1) * sizeof(OCIDefine *));
        stmt_->defines[stmt_->define_count++] = define;
        return define;
    }

    int32_t GetInfo() {
        return OCIStmtGetPieceInfo(stmt_, err_, &handle_, &type_, &in_out_, &iter_, &idx_, &piece_);
    }

    int32_t SetInfo(void *handle, uint32_t type, const std::string &bytes, uint8_t piece) {
        uint32_t length = (uint32_t)bytes.size();
        return OCIStmtSetPieceInfo(handle, type, err_, bytes.data(), &length, piece, NULL, NULL);
    }

    OCIEnv *env_ = NULL;
    OCIError *err_ = NULL;
    OCIStmt *stmt_ = NULL;
    void *handle_ = NULL;
    uint32_t type_ = 77, iter_ = 77, idx_ = 77;
    uint8_t in_out_ = 77, piece_ = 77;
};

TEST_F(Pieces, GetInfoChecksItsArgumentsInOrder) {
    EXPECT_EQ(-2, OCIStmtGetPieceInfo(NULL, err_, NULL, NULL, NULL, NULL, NULL, NULL));
    EXPECT_EQ(-2, OCIStmtGetPieceInfo(stmt_, NULL, NULL, NULL, NULL, NULL, NULL, NULL));
    EXPECT_EQ("", ErrorOf(err_));
    EXPECT_EQ(-1, OCIStmtGetPieceInfo(stmt_, err_, NULL, NULL, NULL, NULL, NULL, NULL));
    EXPECT_EQ("Parameter hndlpp is NULL.", ErrorOf(err_));
    EXPECT_EQ(-1, OCIStmtGetPieceInfo(stmt_, err_, &handle_, NULL, NULL, NULL, NULL, NULL));
    EXPECT_EQ("Parameter typep is NULL.", ErrorOf(err_));
    EXPECT_EQ(-1, OCIStmtGetPieceInfo(stmt_, err_, &handle_, &type_, NULL, NULL, NULL, NULL));
    EXPECT_EQ("Parameter in_outp is NULL.", ErrorOf(err_));
    EXPECT_EQ(-1, OCIStmtGetPieceInfo(stmt_, err_, &handle_, &type_, &in_out_, NULL, NULL, NULL));
    EXPECT_EQ("Parameter iterp is NULL.", ErrorOf(err_));
    EXPECT_EQ(-1, OCIStmtGetPieceInfo(stmt_, err_, &handle_, &type_, &in_out_, &iter_, NULL, NULL));
    EXPECT_EQ("Parameter idxp is NULL.", ErrorOf(err_));
    EXPECT_EQ(-1,
              OCIStmtGetPieceInfo(stmt_, err_, &handle_, &type_, &in_out_, &iter_, &idx_, NULL));
    EXPECT_EQ("Parameter piecep is NULL.", ErrorOf(err_));
}

TEST_F(Pieces, GetInfoWithNothingInNeedGivesItsText) {
    AddBind(DTY_STR, 10, OCI_DEFAULT);
    AddDefine(OCI_DEFAULT);
    EXPECT_EQ(-1, GetInfo());
    EXPECT_EQ("No piece info.", ErrorOf(err_));
    EXPECT_EQ(nullptr, handle_);
}

TEST_F(Pieces, GetInfoNamesTheFirstBindInNeedBeforeAnyDefine) {
    AddDefine(OCI_DYNAMIC_FETCH);
    AddBind(DTY_STR, 10, OCI_DEFAULT);
    OCIBind *done = AddBind(DTY_STR, 10, OCI_DATA_AT_EXEC);
    done->value_ready = 1;
    OCIBind *bind = AddBind(DTY_STR, 10, OCI_DATA_AT_EXEC);
    AddBind(DTY_STR, 10, OCI_DATA_AT_EXEC);
    EXPECT_EQ(0, GetInfo());
    EXPECT_EQ(bind, handle_);
    EXPECT_EQ(20u, type_);
    EXPECT_EQ(1, in_out_);
    EXPECT_EQ(0u, iter_);
    EXPECT_EQ(0u, idx_);
    EXPECT_EQ(1, piece_);
    EXPECT_EQ(0, SetInfo(bind, OCI_HTYPE_BIND, "abc", OCI_FIRST_PIECE));
    EXPECT_EQ(0, GetInfo());
    EXPECT_EQ(bind, handle_);
    EXPECT_EQ(2, piece_);
}

TEST_F(Pieces, GetInfoOfADefineNamesFirstNextAndLast) {
    AddDefine(OCI_DEFAULT);
    OCIDefine *define = AddDefine(OCI_DYNAMIC_FETCH);
    define->value_sz = 10;
    define->length = 7;
    uint32_t piece_bytes = 3;
    EXPECT_EQ(0, GetInfo());
    EXPECT_EQ(define, handle_);
    EXPECT_EQ(6u, type_);
    EXPECT_EQ(2, in_out_);
    EXPECT_EQ(0u, iter_);
    EXPECT_EQ(0u, idx_);
    EXPECT_EQ(1, piece_);
    define->piece_lengthp = &piece_bytes;
    define->piece_offset = 3;
    EXPECT_EQ(0, GetInfo());
    EXPECT_EQ(2, piece_);
    piece_bytes = 4;
    EXPECT_EQ(0, GetInfo());
    EXPECT_EQ(3, piece_) << "3 and 4 reach the 7 of the value";
    define->length = 20;
    piece_bytes = 6;
    EXPECT_EQ(0, GetInfo());
    EXPECT_EQ(2, piece_);
    piece_bytes = 7;
    EXPECT_EQ(0, GetInfo());
    EXPECT_EQ(3, piece_) << "3 and 7 reach the 10 of the define";
    piece_bytes = 0xFFFFFFFF;
    EXPECT_EQ(0, GetInfo());
    EXPECT_EQ(3, piece_) << "the sum does not wrap around";
}

TEST_F(Pieces, SetInfoChecksItsArgumentsInOrder) {
    OCIBind *bind = AddBind(DTY_STR, 10, OCI_DATA_AT_EXEC);
    uint32_t length = 0;
    EXPECT_EQ(-2, OCIStmtSetPieceInfo(NULL, 20, err_, NULL, NULL, 0, NULL, NULL));
    EXPECT_EQ(-2, OCIStmtSetPieceInfo(bind, 20, NULL, NULL, NULL, 0, NULL, NULL));
    EXPECT_EQ("", ErrorOf(err_));
    EXPECT_EQ(-1, OCIStmtSetPieceInfo(bind, 20, err_, NULL, NULL, 0, NULL, NULL));
    EXPECT_EQ("Parameter bufp is NULL.", ErrorOf(err_));
    EXPECT_EQ(-1, OCIStmtSetPieceInfo(bind, 20, err_, "a", NULL, 0, NULL, NULL));
    EXPECT_EQ("Parameter alenp is NULL.", ErrorOf(err_));
    EXPECT_EQ(-1, OCIStmtSetPieceInfo(bind, 20, err_, "a", &length, 0, NULL, NULL));
    EXPECT_EQ("Parameter alenp must be greater than zero.", ErrorOf(err_));
}

TEST_F(Pieces, SetInfoOfAnotherTypeDoesNothing) {
    OCIBind *bind = AddBind(DTY_STR, 10, OCI_DATA_AT_EXEC);
    EXPECT_EQ(0, SetInfo(bind, OCI_HTYPE_STMT, "abc", OCI_LAST_PIECE));
    EXPECT_EQ(0u, bind->piece_length);
    EXPECT_EQ(-2, SetInfo(bind, OCI_HTYPE_DEFINE, "abc", OCI_LAST_PIECE))
        << "a record of another type";
    EXPECT_EQ(nullptr, stmt_->piece_define);
}

TEST_F(Pieces, SetInfoGathersTheBindsPieces) {
    OCIBind *bind = AddBind(DTY_STR, 10, OCI_DATA_AT_EXEC);
    EXPECT_EQ(0, SetInfo(bind, OCI_HTYPE_BIND, "abc", OCI_FIRST_PIECE));
    EXPECT_STREQ("abc", (const char *)bind->value_buffer);
    EXPECT_EQ(0, bind->value_ready);
    EXPECT_EQ(0, SetInfo(bind, OCI_HTYPE_BIND, "de", OCI_LAST_PIECE));
    EXPECT_STREQ("abcde", (const char *)bind->value_buffer);
    EXPECT_EQ(5u, bind->piece_length);
    EXPECT_EQ(1, bind->value_ready);
    EXPECT_EQ(0, bind->actual_length) << "it is never written here";
}

TEST_F(Pieces, SetInfoWithExactlyTheValueSizeInTotalPasses) {
    OCIBind *bind = AddBind(DTY_STR, 10, OCI_DATA_AT_EXEC);
    EXPECT_EQ(0, SetInfo(bind, OCI_HTYPE_BIND, "01234", OCI_FIRST_PIECE));
    EXPECT_EQ(0, SetInfo(bind, OCI_HTYPE_BIND, "56789", OCI_LAST_PIECE));
    EXPECT_STREQ("0123456789", (const char *)bind->value_buffer);
}

TEST_F(Pieces, SetInfoWithMoreThanTheValueSizeHidesItsText) {
    OCIBind *bind = AddBind(DTY_STR, 10, OCI_DATA_AT_EXEC);
    EXPECT_EQ(0, SetInfo(bind, OCI_HTYPE_BIND, "01234", OCI_FIRST_PIECE));
    EXPECT_EQ(-1, SetInfo(bind, OCI_HTYPE_BIND, "567890", OCI_LAST_PIECE));
    EXPECT_EQ(5u, err_->source);
    EXPECT_STREQ("More data was provided than indicated.", err_->message);
    EXPECT_EQ("", ErrorOf(err_)) << "the text is not shown";
    EXPECT_EQ(5u, bind->piece_length);
    EXPECT_EQ(0, bind->value_ready);
    uint32_t length = 0xFFFFFFFF;
    EXPECT_EQ(-1, OCIStmtSetPieceInfo(bind, 20, err_, "x", &length, 2, NULL, NULL))
        << "the sum does not wrap around";
}

TEST_F(Pieces, SetInfoStaysInsideTheBuffersOfFixedTypes) {
    OCIBind *number = AddBind(DTY_INT, 100, OCI_DEFAULT);
    EXPECT_EQ(-1, SetInfo(number, OCI_HTYPE_BIND, "01234", OCI_LAST_PIECE));
    EXPECT_EQ(0, SetInfo(number, OCI_HTYPE_BIND, "0123", OCI_LAST_PIECE));
    OCIBind *odd = AddBind(DTY_STR, 0xFFFFFFFF, OCI_DEFAULT);
    EXPECT_EQ(-1, SetInfo(odd, OCI_HTYPE_BIND, "a", OCI_LAST_PIECE));
}

TEST_F(Pieces, SetInfoOfADefineKeepsThePointersForTheNextFetch) {
    OCIDefine *define = AddDefine(OCI_DYNAMIC_FETCH);
    char buffer[4];
    uint32_t length = 4;
    EXPECT_EQ(0,
              OCIStmtSetPieceInfo(define, OCI_HTYPE_DEFINE, err_, buffer, &length, 0, NULL, NULL));
    EXPECT_EQ(&length, define->piece_lengthp);
    EXPECT_EQ(buffer, define->piece_buffer);
    EXPECT_EQ(define, stmt_->piece_define);
}

TEST_F(Pieces, SetInfoOfALargeValueReachesTheHolderWithTheLastPiece) {
    OCILobLocator *locator = NULL;
    ASSERT_EQ(0, OCIDescriptorAlloc(env_, (void **)&locator, OCI_DTYPE_LOB, 0, NULL));
    OCIBind *bind = AddBind(DTY_BLOB, 10, OCI_DATA_AT_EXEC);
    MemFree(bind->value_buffer);
    bind->value_buffer = locator->native_lob;
    EXPECT_EQ(0, SetInfo(bind, OCI_HTYPE_BIND, "abc", OCI_FIRST_PIECE));
    EXPECT_EQ(0, locator->native_lob->length);
    EXPECT_EQ(0, SetInfo(bind, OCI_HTYPE_BIND, "defg", OCI_LAST_PIECE));
    EXPECT_EQ(7, locator->native_lob->length);
    EXPECT_EQ(0, memcmp("abcdefg", locator->native_lob->data, 7));
    EXPECT_EQ(1, bind->value_ready);
    bind->value_buffer = NULL;
    bind->value_ready = 0;
    EXPECT_EQ(-1, SetInfo(bind, OCI_HTYPE_BIND, "h", OCI_LAST_PIECE));
    EXPECT_EQ("Invalid parameter.", ErrorOf(err_)) << "its locator is gone";
    EXPECT_EQ(0, OCIDescriptorFree(locator, OCI_DTYPE_LOB));
}
