// Large value locators: reads and writes in one piece, by callback and by repeated calls.
#include "oci/lob.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "oci/handles.h"
#include "oci/record_links.h"
#include "oci/stmt.h"
#include "platform/memory.h"
#include "support/call_rig.h"

namespace {

constexpr char LESS[] = "While writing into a LOB, less data was provided than indicated.";
constexpr char MORE[] = "While writing into a LOB, more data was provided than indicated.";

// What a read callback saw, and what it answers.
struct Reader {
    std::string pieces;  // "1:abc 2:def 3:g"
    int32_t calls = 0;
    int32_t stop_at_call = 0;  // the call that answers `stop_with`; 0: none
    int32_t stop_with = OCI_SUCCESS;
    OCILobLocator *rewrite = NULL;  // freed of its value at the first call
};

int32_t ReadPiece(void *ctxp, const void *bufp, uint32_t len, uint8_t piece) {
    Reader *reader = (Reader *)ctxp;
    reader->calls++;
    reader->pieces += (reader->calls == 1 ? "" : " ") + std::to_string(piece) + ":" +
                      std::string((const char *)bufp, len);
    if (reader->rewrite != NULL) {
        TVCILobWrite(reader->rewrite->native_lob, 2, "XY");
        reader->rewrite->data = NULL;
        reader->rewrite = NULL;
    }
    return reader->calls == reader->stop_at_call ? reader->stop_with : OCI_CONTINUE;
}

// The pieces that a write callback provides.
struct Writer {
    struct Piece {
        std::string bytes;
        uint8_t piece;
        int32_t answer;
    };
    std::vector<Piece> pieces;
    size_t calls = 0;
};

int32_t WritePiece(void *ctxp, void *bufp, uint32_t *lenp, uint8_t *piecep) {
    Writer *writer = (Writer *)ctxp;
    const Writer::Piece &piece = writer->pieces.at(writer->calls++);
    memcpy(bufp, piece.bytes.data(), piece.bytes.size());
    *lenp = (uint32_t)piece.bytes.size();
    *piecep = piece.piece;
    return piece.answer;
}

}  // namespace

class Lob : public testing::Test {
protected:
    void SetUp() override {
        blocks_ = MemLiveBlocks();
        ASSERT_EQ(0, OCIEnvInit(&env_, 0, 0, NULL));
        err_ = NewHandle<OCIError>(env_, OCI_HTYPE_ERROR);
        svc_ = NewHandle<OCISvcCtx>(env_, OCI_HTYPE_SVCCTX);
        server_ = NewHandle<OCIServer>(env_, OCI_HTYPE_SERVER);
        session_ = NewHandle<OCISession>(env_, OCI_HTYPE_SESSION);
        stmt_ = NewHandle<OCIStmt>(env_, OCI_HTYPE_STMT);
        ASSERT_EQ(0, OCIDescriptorAlloc(env_, (void **)&lob_, OCI_DTYPE_LOB, 0, NULL));
    }

    void TearDown() override {
        MemFailAt(0);
        OCIDescriptorFree(lob_, OCI_DTYPE_LOB);
        OCIHandleFree(stmt_, OCI_HTYPE_STMT);
        OCIHandleFree(session_, OCI_HTYPE_SESSION);
        OCIHandleFree(server_, OCI_HTYPE_SERVER);
        OCIHandleFree(svc_, OCI_HTYPE_SVCCTX);
        OCIHandleFree(err_, OCI_HTYPE_ERROR);
        OCIHandleFree(env_, OCI_HTYPE_ENV);
        EXPECT_EQ(blocks_, MemLiveBlocks());
    }

    std::string Error() const {
        return ErrorOf(err_);
    }

    int32_t Write(const std::string &bytes, uint32_t *amtp, uint32_t offset, uint8_t piece,
                  Writer *writer = NULL) {
        char buffer[256];
        memcpy(buffer, bytes.data(), bytes.size());
        return OCILobWrite(svc_, err_, lob_, amtp, offset, buffer, (uint32_t)bytes.size(), piece,
                           writer, writer != NULL ? WritePiece : NULL, 0, 0);
    }

    void WriteAll(const std::string &bytes) {
        uint32_t amount = (uint32_t)bytes.size();
        ASSERT_EQ(0, Write(bytes, &amount, 1, OCI_ONE_PIECE));
    }

    int32_t Read(uint32_t bufl, uint32_t offset, Reader *reader, uint32_t *amtp) {
        memset(buffer_, 'z', sizeof(buffer_));
        return OCILobRead(svc_, err_, lob_, amtp, offset, buffer_, bufl, reader,
                          reader != NULL ? ReadPiece : NULL, 0, 0);
    }

    std::string Held() const {
        const LobRecord *lob = lob_->native_lob;
        return std::string((const char *)lob->data, (size_t)lob->length);
    }

    OCIEnv *env_ = NULL;
    OCIError *err_ = NULL;
    OCISvcCtx *svc_ = NULL;
    OCIServer *server_ = NULL;
    OCISession *session_ = NULL;
    OCIStmt *stmt_ = NULL;
    OCILobLocator *lob_ = NULL;
    char buffer_[64];
    int64_t blocks_ = 0;
};

TEST_F(Lob, CreateTemporaryDoesNothing) {
    EXPECT_EQ(0, OCILobCreateTemporary(NULL, NULL, NULL, 0, 0, 0, 0, 0));
}

TEST_F(Lob, ReadChecksItsArgumentsInOrder) {
    uint32_t amount = 7;
    EXPECT_EQ(-2, OCILobRead(NULL, err_, lob_, &amount, 0, NULL, 0, NULL, NULL, 0, 0));
    EXPECT_EQ(-2, OCILobRead(svc_, NULL, lob_, &amount, 0, NULL, 0, NULL, NULL, 0, 0));
    EXPECT_EQ(-2, OCILobRead(svc_, err_, NULL, &amount, 0, NULL, 0, NULL, NULL, 0, 0));
    EXPECT_EQ("", Error());
    EXPECT_EQ(-1, OCILobRead(svc_, err_, lob_, NULL, 0, NULL, 0, NULL, NULL, 0, 0));
    EXPECT_EQ("Parameter offset must be greater than zero.", Error());
    EXPECT_EQ(-1, OCILobRead(svc_, err_, lob_, NULL, 1, NULL, 0, NULL, NULL, 0, 0));
    EXPECT_EQ("Parameter bufp is invalid.", Error());
    EXPECT_EQ(-1, OCILobRead(svc_, err_, lob_, NULL, 1, buffer_, 0, NULL, NULL, 0, 0));
    EXPECT_EQ("Parameter bufl must be greater than zero.", Error());
}

TEST_F(Lob, ReadWithoutACallbackOnAFreshLocatorGivesNothing) {
    uint32_t amount = 7;
    EXPECT_EQ(0, Read(10, 1, NULL, &amount));
    EXPECT_EQ(0u, amount);
    EXPECT_EQ('z', buffer_[0]);
}

TEST_F(Lob, ReadWithoutACallbackAfterAWriteGivesNothing) {
    WriteAll("abcdef");
    uint32_t amount = 7;
    EXPECT_EQ(0, Read(10, 1, NULL, &amount));
    EXPECT_EQ(0u, amount);
}

TEST_F(Lob, ReadWithoutACallbackTakesTheEndOfWhatACallbackReadFound) {
    WriteAll("abcdef");
    Reader reader;
    uint32_t amount = 0;
    EXPECT_EQ(0, Read(10, 1, &reader, &amount));
    EXPECT_EQ("3:abcdef", reader.pieces);
    EXPECT_EQ(0, Read(10, 5, NULL, &amount));
    EXPECT_EQ(6u, amount);
    EXPECT_EQ(0, memcmp(buffer_, "abcdefzz", 8)) << "the offset plays no part";
    EXPECT_EQ(0, Read(6, 1, NULL, &amount));
    EXPECT_EQ(6u, amount);
    EXPECT_EQ(0, Read(4, 1, NULL, &amount));
    EXPECT_EQ(4u, amount);
    EXPECT_EQ(0, memcmp(buffer_, "cdefzz", 6));
    EXPECT_EQ(0, Read(4, 1, NULL, NULL)) << "an amount is not needed";
    WriteAll("new");
    EXPECT_EQ(0, Read(10, 1, NULL, &amount));
    EXPECT_EQ(0u, amount) << "what was found is dropped with the value";
}

TEST_F(Lob, ReadByCallbackCutsTheValue) {
    WriteAll("abcdefg");
    struct Case {
        uint32_t bufl, offset;
        const char *pieces;
        uint32_t amount;
    };
    const Case cases[] = {
        {3, 1, "1:abc 2:def 3:g", 7},
        {7, 1, "3:abcdefg", 7},
        {8, 1, "3:abcdefg", 7},
        {6, 1, "1:abcdef 3:g", 7},
        {3, 2, "1:bcd 3:efg", 7},
        {3, 5, "3:efg", 3},
        {3, 7, "3:g", 1},
        {3, 8, "3:", 0},
        {3, 9, "3:", 0},
        {3, 0xFFFFFFFF, "3:", 0},
    };
    for (const Case &one : cases) {
        Reader reader;
        uint32_t amount = 99;
        EXPECT_EQ(0, Read(one.bufl, one.offset, &reader, &amount));
        EXPECT_EQ(one.pieces, reader.pieces) << one.bufl << " from " << one.offset;
        EXPECT_EQ(one.amount, amount) << one.bufl << " from " << one.offset;
    }
}

TEST_F(Lob, ReadByACallbackThatReturns0AtTheFirstPieceFailsWithWhatWasDelivered) {
    WriteAll("abcdefg");
    Reader reader;
    reader.stop_at_call = 1;
    uint32_t amount = 99;
    EXPECT_EQ(-1, Read(3, 1, &reader, &amount));
    EXPECT_EQ("1:abc", reader.pieces);
    EXPECT_EQ(3u, amount);
    EXPECT_EQ(3u, lob_->position);
}

TEST_F(Lob, ReadByACallbackThatStopsLaterFails) {
    WriteAll("abcdefg");
    uint32_t amount = 99;
    Reader second;
    second.stop_at_call = 2;
    EXPECT_EQ(-1, Read(3, 1, &second, &amount));
    EXPECT_EQ(6u, amount);
    Reader last;
    last.stop_at_call = 3;
    EXPECT_EQ(-1, Read(3, 1, &last, &amount)) << "success at the last piece is not to go on";
    EXPECT_EQ(7u, amount);
    Reader only;
    only.stop_at_call = 1;
    EXPECT_EQ(-1, Read(9, 1, &only, &amount));
    EXPECT_EQ(7u, amount);
}

TEST_F(Lob, ReadByACallbackThatChangesTheValueReachesNoFreedByte) {
    WriteAll("abcdefg");
    Reader reader;
    reader.rewrite = lob_;
    uint32_t amount = 99;
    EXPECT_EQ(0, Read(3, 1, &reader, &amount));
    EXPECT_EQ("1:abc 3:", reader.pieces);
}

TEST_F(Lob, WriteChecksItsArgumentsInOrder) {
    uint32_t amount = 0;
    uint32_t one = 1;
    char byte = 'x';
    EXPECT_EQ(-2, OCILobWrite(svc_, NULL, lob_, NULL, 0, NULL, 0, 4, NULL, NULL, 0, 0));
    EXPECT_EQ(-2, OCILobWrite(NULL, err_, lob_, NULL, 0, NULL, 0, 4, NULL, NULL, 0, 0));
    EXPECT_EQ(-2, OCILobWrite(svc_, err_, NULL, NULL, 0, NULL, 0, 4, NULL, NULL, 0, 0));
    EXPECT_EQ("", Error());
    EXPECT_EQ(-1, OCILobWrite(svc_, err_, lob_, NULL, 0, NULL, 0, 4, NULL, NULL, 0, 0));
    EXPECT_EQ("Parameter amtp is invalid.", Error());
    ErrorClear(err_);
    EXPECT_EQ(-1, OCILobWrite(svc_, err_, lob_, &amount, 0, NULL, 0, 4, NULL, NULL, 0, 0));
    EXPECT_EQ("Parameter amtp is invalid.", Error());
    EXPECT_EQ(-1, OCILobWrite(svc_, err_, lob_, &one, 0, NULL, 0, 4, NULL, NULL, 0, 0));
    EXPECT_EQ("Parameter offset is invalid.", Error());
    EXPECT_EQ(-1, OCILobWrite(svc_, err_, lob_, &one, 1, NULL, 0, 4, NULL, NULL, 0, 0));
    EXPECT_EQ("Parameter bufp is invalid.", Error());
    EXPECT_EQ(-1, OCILobWrite(svc_, err_, lob_, &one, 1, &byte, 0, 4, NULL, NULL, 0, 0));
    EXPECT_EQ("Parameter buflen is invalid.", Error());
    EXPECT_EQ(-1, OCILobWrite(svc_, err_, lob_, &one, 1, &byte, 1, 4, NULL, NULL, 0, 0));
    EXPECT_EQ("Parameter piece is invalid.", Error());
    EXPECT_EQ(0, stmt_->lob_dirty);
}

TEST_F(Lob, WriteOfOnePieceAtOffset4Of10BytesStores13Bytes) {
    uint32_t amount = 10;
    EXPECT_EQ(0, Write("0123456789", &amount, 4, OCI_ONE_PIECE));
    EXPECT_EQ(std::string(3, '\0') + "0123456789", Held());
    EXPECT_EQ(13u, lob_->length);
    EXPECT_EQ(10u, amount);
    EXPECT_EQ(1, stmt_->lob_dirty);
}

TEST_F(Lob, WriteOfOnePieceTakesTheAmountAndKeepsNothingOlder) {
    WriteAll("older and longer");
    uint32_t amount = 3;
    EXPECT_EQ(0, Write("abcdef", &amount, 1, OCI_ONE_PIECE));
    EXPECT_EQ("abc", Held());
}

TEST_F(Lob, WriteOfOnePieceWithLessThanTheAmountGivesTheLessDataText) {
    uint32_t amount = 4;
    EXPECT_EQ(-1, Write("abc", &amount, 1, OCI_ONE_PIECE));
    EXPECT_EQ(LESS, Error());
    EXPECT_EQ(0, stmt_->lob_dirty);
}

TEST_F(Lob, WriteBeyond32BitsIsRefusedAsAFailedAllocation) {
    uint32_t amount = 2;
    EXPECT_EQ(-1, Write("ab", &amount, 0xFFFFFFFF, OCI_ONE_PIECE));
    EXPECT_EQ(-1, Write("ab", &amount, 0xFFFFFFFF, OCI_FIRST_PIECE));
    EXPECT_EQ("", Error());
    EXPECT_EQ(nullptr, lob_->data);
}

TEST_F(Lob, WriteWithoutMemoryIsMinus1) {
    uint32_t amount = 2;
    for (uint8_t piece = OCI_ONE_PIECE; piece <= OCI_FIRST_PIECE; piece++) {
        MemFailAt(1);
        EXPECT_EQ(-1, Write("ab", &amount, 1, piece));
        EXPECT_TRUE(MemFailed());
    }
    EXPECT_EQ(0, stmt_->lob_dirty);
}

TEST_F(Lob, WriteWithoutAStatementMarksNone) {
    EXPECT_EQ(0, OCIHandleFree(stmt_, OCI_HTYPE_STMT));
    WriteAll("abc");
    EXPECT_EQ("abc", Held());
    stmt_ = NewHandle<OCIStmt>(env_, OCI_HTYPE_STMT);
    EXPECT_EQ(0, stmt_->lob_dirty);
}

TEST_F(Lob, WriteByRepeatedCallsGathersThePieces) {
    uint32_t amount = 8;
    EXPECT_EQ(99, Write("abc", &amount, 3, OCI_FIRST_PIECE));
    EXPECT_EQ(3u, amount);
    EXPECT_EQ(10u, lob_->length);
    EXPECT_EQ(5u, lob_->position);
    EXPECT_EQ(99, Write("de", &amount, 1, OCI_NEXT_PIECE));
    EXPECT_EQ(2u, amount);
    EXPECT_EQ(0, stmt_->lob_dirty);
    EXPECT_EQ(0, Write("fghij", &amount, 1, OCI_LAST_PIECE)) << "what does not fit is cut";
    EXPECT_EQ(10u, amount);
    EXPECT_EQ(std::string(2, '\0') + "abcdefgh", Held());
    EXPECT_EQ(0u, lob_->length);
    EXPECT_EQ(0u, lob_->position);
    EXPECT_EQ(nullptr, lob_->data);
    EXPECT_EQ(1, stmt_->lob_dirty);
}

TEST_F(Lob, ReadWithoutACallbackBetweenThePiecesGivesWhatIsStaged) {
    uint32_t amount = 5;
    EXPECT_EQ(99, Write("abc", &amount, 1, OCI_FIRST_PIECE));
    EXPECT_EQ(0, Read(10, 1, NULL, &amount));
    EXPECT_EQ(5u, amount) << "of the whole value, whose missing bytes are zero";
    EXPECT_EQ(0, memcmp(buffer_, "abc\0\0z", 6));
    EXPECT_EQ(0, Write("de", &amount, 1, OCI_LAST_PIECE));
    EXPECT_EQ("abcde", Held());
}

TEST_F(Lob, WriteOfANextPieceWithNoFirstGivesThePieceInfoText) {
    uint32_t amount = 8;
    EXPECT_EQ(-1, Write("abc", &amount, 1, OCI_NEXT_PIECE));
    EXPECT_EQ("The piece info is invalid.", Error());
    ErrorClear(err_);
    EXPECT_EQ(-1, Write("abc", &amount, 1, OCI_LAST_PIECE));
    EXPECT_EQ("The piece info is invalid.", Error());
    WriteAll("abc");
    EXPECT_EQ(3u, lob_->length);
    EXPECT_EQ(-1, Write("d", &amount, 1, OCI_NEXT_PIECE)) << "a length without a staging buffer";
    EXPECT_EQ("The piece info is invalid.", Error());
}

TEST_F(Lob, WriteOfAPieceIsCountedBeforeItsStagingBufferIsMissed) {
    WriteAll("abc");
    EXPECT_EQ(3u, lob_->length);
    uint32_t amount = 8;
    EXPECT_EQ(-1, Write("def", &amount, 1, OCI_NEXT_PIECE));
    EXPECT_EQ(MORE, Error());
    EXPECT_EQ(-1, Write("de", &amount, 1, OCI_LAST_PIECE));
    EXPECT_EQ(LESS, Error());
    EXPECT_EQ(-1, Write("def", &amount, 1, OCI_LAST_PIECE));
    EXPECT_EQ("The piece info is invalid.", Error());
    EXPECT_EQ(8u, amount);
    EXPECT_EQ("abc", Held());
}

TEST_F(Lob, WriteOfANextPieceThatExactlyFillsTheValueFailsWithTheMoreDataText) {
    uint32_t amount = 5;
    EXPECT_EQ(99, Write("abc", &amount, 1, OCI_FIRST_PIECE));
    EXPECT_EQ(-1, Write("de", &amount, 1, OCI_NEXT_PIECE));
    EXPECT_EQ(MORE, Error());
    EXPECT_EQ(0, Write("de", &amount, 1, OCI_LAST_PIECE)) << "only a last piece may do that";
    EXPECT_EQ("abcde", Held());
}

TEST_F(Lob, WriteOfALastPieceThatLeavesAGapFailsWithTheLessDataText) {
    uint32_t amount = 9;
    EXPECT_EQ(99, Write("abc", &amount, 1, OCI_FIRST_PIECE));
    EXPECT_EQ(-1, Write("de", &amount, 1, OCI_LAST_PIECE));
    EXPECT_EQ(LESS, Error());
    EXPECT_EQ(99, Write("de", &amount, 1, OCI_NEXT_PIECE)) << "the staging buffer stays in place";
    EXPECT_EQ(0, Write("fghi", &amount, 1, OCI_LAST_PIECE));
    EXPECT_EQ("abcdefghi", Held());
}

TEST_F(Lob, WriteOfAFirstPieceLargerThanTheValueIsCut) {
    uint32_t amount = 2;
    EXPECT_EQ(99, Write("abcdef", &amount, 1, OCI_FIRST_PIECE));
    EXPECT_EQ(6u, amount);
    EXPECT_EQ(-1, Write("x", &amount, 1, OCI_NEXT_PIECE));
    EXPECT_EQ(MORE, Error());
    EXPECT_EQ(0, Write("x", &amount, 1, OCI_LAST_PIECE));
    EXPECT_EQ(2u, amount);
    EXPECT_EQ("ab", Held());
}

TEST_F(Lob, AnUnfinishedWriteIsKeptByTheEnvironment) {
    uint32_t amount = 9;
    EXPECT_EQ(99, Write("abc", &amount, 1, OCI_FIRST_PIECE));
    amount = 4;
    EXPECT_EQ(99, Write("xy", &amount, 1, OCI_FIRST_PIECE)) << "a retry starts anew";
    EXPECT_NE(nullptr, env_->lost_blocks);
    EXPECT_EQ(0, Write("zw", &amount, 1, OCI_LAST_PIECE));
    EXPECT_EQ("xyzw", Held());
    amount = 4;
    EXPECT_EQ(99, Write("ab", &amount, 1, OCI_FIRST_PIECE));
    EXPECT_EQ(0, OCIDescriptorFree(lob_, OCI_DTYPE_LOB));
    EXPECT_NE(nullptr, env_->lost_blocks->next);
    ASSERT_EQ(0, OCIDescriptorAlloc(env_, (void **)&lob_, OCI_DTYPE_LOB, 0, NULL));
}

TEST_F(Lob, AWriteOrACallbackReadBetweenThePiecesEndsThem) {
    uint32_t amount = 9;
    EXPECT_EQ(99, Write("abc", &amount, 1, OCI_FIRST_PIECE));
    WriteAll("a value");
    EXPECT_EQ(-1, Write("d", &amount, 1, OCI_NEXT_PIECE));
    EXPECT_EQ("The piece info is invalid.", Error());
    amount = 9;
    EXPECT_EQ(99, Write("abc", &amount, 1, OCI_FIRST_PIECE));
    Reader reader;
    EXPECT_EQ(0, Read(20, 1, &reader, &amount));
    EXPECT_EQ("3:a value", reader.pieces);
    EXPECT_EQ(-1, Write("d", &amount, 1, OCI_LAST_PIECE));
    EXPECT_EQ("The piece info is invalid.", Error());
}

TEST_F(Lob, WriteByCallbackTakesAllPiecesInOneCall) {
    for (uint8_t piece = 1; piece <= 3; piece++) {
        Writer writer;
        writer.pieces = {{"cd", 2, OCI_CONTINUE}, {"e", 2, OCI_CONTINUE}, {"fgh", 3, 0}};
        uint32_t amount = 7;
        stmt_->lob_dirty = 0;
        EXPECT_EQ(0, Write("ab", &amount, 2, piece, &writer)) << Error();
        EXPECT_EQ(3u, writer.calls);
        EXPECT_EQ(std::string(1, '\0') + "abcdefg", Held()) << "whatever the piece says";
        EXPECT_EQ(8u, amount);
        EXPECT_EQ(8u, lob_->length) << "it stays set";
        EXPECT_EQ(0u, lob_->position);
        EXPECT_EQ(nullptr, lob_->data);
        EXPECT_EQ(1, stmt_->lob_dirty);
    }
}

TEST_F(Lob, WriteByACallbackThatStopsEarlyCommitsWhatItHas) {
    Writer writer;
    writer.pieces = {{"cd", 2, OCI_SUCCESS}};
    uint32_t amount = 6;
    EXPECT_EQ(0, Write("ab", &amount, 1, OCI_FIRST_PIECE, &writer));
    EXPECT_EQ(std::string("abcd\0\0", 6), Held()) << "bytes never provided are zero";
    EXPECT_EQ(6u, amount);
}

TEST_F(Lob, WriteByACallbackThatWritesAnotherValueReachesNoFreedByte) {
    struct Handles {
        OCISvcCtx *svc;
        OCIError *err;
        OCILobLocator *lob;
    } handles = {svc_, err_, lob_};
    auto rewrite = [](void *ctxp, void *bufp, uint32_t *lenp, uint8_t *piecep) -> int32_t {
        const Handles *other = (const Handles *)ctxp;
        char bytes[] = "another";
        uint32_t amount = 7;
        EXPECT_EQ(0, OCILobWrite(other->svc, other->err, other->lob, &amount, 1, bytes, 7,
                                 OCI_ONE_PIECE, NULL, NULL, 0, 0));
        memcpy(bufp, "cdefgh", 6);
        *lenp = 6;
        *piecep = OCI_LAST_PIECE;
        return OCI_CONTINUE;
    };
    char buffer[8] = "ab";
    uint32_t amount = 8;
    EXPECT_EQ(-1, OCILobWrite(svc_, err_, lob_, &amount, 1, buffer, 2, OCI_FIRST_PIECE, &handles,
                              rewrite, 0, 0));
    EXPECT_EQ("The piece info is invalid.", Error());
    EXPECT_EQ("another", Held());
}

TEST_F(Lob, WriteByCallbackRefusesBadPieces) {
    struct Case {
        Writer::Piece piece;
        const char *text;
    };
    const Case cases[] = {
        {{"c", 1, OCI_CONTINUE}, "Parameter piece is invalid."},
        {{"c", 0, OCI_CONTINUE}, "Parameter piece is invalid."},
        {{"c", 4, 0}, "Parameter piece is invalid."},
        {{"cdef", 2, OCI_CONTINUE}, MORE},
        {{"cdefgh", 2, 0}, MORE},
        {{"cde", 3, 0}, LESS},
    };
    for (const Case &one : cases) {
        Writer writer;
        writer.pieces = {one.piece};
        uint32_t amount = 6;
        EXPECT_EQ(-1, Write("ab", &amount, 1, OCI_FIRST_PIECE, &writer));
        EXPECT_EQ(one.text, Error());
        EXPECT_EQ(2u, amount);
        EXPECT_EQ(1, lob_->staging) << "the staging buffer stays in place";
    }
    EXPECT_EQ(0, stmt_->lob_dirty);
}

TEST_F(Lob, ALocatorThatIsFreedIsForgottenByBindsAndDefines) {
    OCIDefine *define = NULL;
    ASSERT_EQ(0, OCIDefineByPos(stmt_, &define, err_, 1, &lob_, 0, DTY_BLOB, NULL, NULL, NULL, 0))
        << Error();
    EXPECT_EQ(lob_->native_lob, define->value_buffer);
    OCILobLocator *other = NULL;
    ASSERT_EQ(0, OCIDescriptorAlloc(env_, (void **)&other, OCI_DTYPE_LOB, 0, NULL));
    EXPECT_EQ(0, OCIDescriptorFree(other, OCI_DTYPE_LOB));
    EXPECT_EQ(lob_->native_lob, define->value_buffer);
    EXPECT_EQ(0, OCIDescriptorFree(lob_, OCI_DTYPE_LOB));
    EXPECT_EQ(nullptr, define->value_buffer);
    EXPECT_EQ(nullptr, NameRecord(&define->locator_name));
    ASSERT_EQ(0, OCIDescriptorAlloc(env_, (void **)&lob_, OCI_DTYPE_LOB, 0, NULL));
}

TEST_F(Lob, AStatementThatIsFreedBeforeItsLocatorNamesItNoMore) {
    OCIDefine *define = NULL;
    ASSERT_EQ(0, OCIDefineByPos(stmt_, &define, err_, 1, &lob_, 0, DTY_BLOB, NULL, NULL, NULL, 0));
    EXPECT_EQ(0, OCIHandleFree(stmt_, OCI_HTYPE_STMT));
    EXPECT_TRUE(ListEmpty(&lob_->link.names));
    stmt_ = NewHandle<OCIStmt>(env_, OCI_HTYPE_STMT);
}
