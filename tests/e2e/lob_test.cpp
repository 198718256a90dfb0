// Large values from one application to another, through locators, pieces and commits.
#include <algorithm>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "e2e/e2e_rig.h"

namespace {

// Bytes that differ from size to size and have no period that a buffer could hide.
std::string Sample(size_t size) {
    std::mt19937_64 random(size);
    std::string bytes(size + 7, '\0');
    for (size_t i = 0; i < size; i += 8) {
        const uint64_t word = random();
        memcpy(bytes.data() + i, &word, std::min<size_t>(8, bytes.size() - i));
    }
    bytes.resize(size);
    return bytes;
}

int32_t Gather(void *ctxp, const void *bufp, uint32_t len, uint8_t piece) {
    (void)piece;
    ((std::string *)ctxp)->append((const char *)bufp, len);
    return OCI_CONTINUE;
}

// A value that a write callback hands out in pieces of one size.
struct Source {
    const std::string *bytes;
    size_t next;
    size_t piece_bytes;
};

int32_t NextPiece(void *ctxp, void *bufp, uint32_t *lenp, uint8_t *piecep) {
    Source *source = (Source *)ctxp;
    const size_t left = source->bytes->size() - source->next;
    const size_t length = std::min(left, source->piece_bytes);
    memcpy(bufp, source->bytes->data() + source->next, length);
    source->next += length;
    *lenp = (uint32_t)length;
    *piecep = length == left ? OCI_LAST_PIECE : OCI_NEXT_PIECE;
    return OCI_CONTINUE;
}

// A locator of an application, freed before that is.
struct Locator {
    explicit Locator(Application &application) : app(application) {
        void *made = nullptr;
        EXPECT_EQ(OCI_SUCCESS, OCIDescriptorAlloc(app.env, &made, OCI_DTYPE_LOB, 0, nullptr));
        lob = (OCILobLocator *)made;
    }
    ~Locator() {
        EXPECT_EQ(OCI_SUCCESS, OCIDescriptorFree(lob, OCI_DTYPE_LOB));
    }
    Locator(const Locator &) = delete;
    Locator &operator=(const Locator &) = delete;

    int32_t WritePiece(const char *bytes, size_t size, uint32_t amount, uint8_t piece,
                       uint32_t offset = 1) {
        return OCILobWrite(app.svc, app.err, lob, &amount, offset, const_cast<char *>(bytes),
                           (uint32_t)size, piece, nullptr, nullptr, 0, 0);
    }

    void Write(const std::string &bytes) {
        ASSERT_EQ(OCI_SUCCESS,
                  WritePiece(bytes.data(), bytes.size(), (uint32_t)bytes.size(), OCI_ONE_PIECE))
            << app.ErrorText();
    }

    std::string Read(uint32_t bufl = 1 << 20) {
        std::string buffer(bufl, '\0');
        std::string bytes;
        uint32_t amount = 0;
        EXPECT_EQ(OCI_SUCCESS, OCILobRead(app.svc, app.err, lob, &amount, 1, buffer.data(), bufl,
                                          &bytes, Gather, 0, 0))
            << app.ErrorText();
        return bytes;
    }

    Application &app;
    OCILobLocator *lob;
};

}  // namespace

class Lobs : public testing::Test {
protected:
    void SetUp() override {
        table = FreshName("Lobs");
        ASSERT_EQ(OCI_SUCCESS,
                  app.Run("CREATE TABLE " + table + " (ID INTEGER, BODY BLOB, MEMO CLOB)"))
            << app.ErrorText();
        ASSERT_EQ(OCI_SUCCESS,
                  app.Run("INSERT INTO " + table + " VALUES (1, X'6F6C64', 'old memo')"))
            << app.ErrorText();
        ASSERT_EQ(OCI_SUCCESS, OCITransCommit(app.svc, app.err, 0));
    }

    // Selects one column of the row with this number into the locator. The statement is freed by
    // the caller.
    OCIStmt *Select(Application &who, Locator &locator, const std::string &column, uint16_t dty,
                    int id = 1) {
        OCIStmt *stmt = who.NewStmt();
        EXPECT_EQ(OCI_SUCCESS, who.Prepare(stmt, "SELECT " + column + " FROM " + table +
                                                     " WHERE ID = " + std::to_string(id)));
        EXPECT_EQ(OCI_SUCCESS, who.Define(stmt, 1, &locator.lob, 0, dty));
        EXPECT_EQ(OCI_SUCCESS, who.Execute(stmt, 1)) << who.ErrorText();
        return stmt;
    }

    // What another session finds in the column.
    std::string Found(const std::string &column, uint16_t dty = DTY_BLOB, int id = 1) {
        Application other;
        Locator locator(other);
        OCIStmt *stmt = Select(other, locator, column, dty, id);
        const std::string bytes = locator.Read();
        EXPECT_EQ(OCI_SUCCESS, OCIHandleFree(stmt, OCI_HTYPE_STMT));
        return bytes;
    }

    void WriteCommitAndReadBack(size_t size) {
        const std::string bytes = Sample(size);
        Locator locator(app);
        OCIStmt *stmt = Select(app, locator, "BODY", DTY_BLOB);
        EXPECT_EQ("old", locator.Read());
        locator.Write(bytes);
        ASSERT_EQ(OCI_SUCCESS, OCITransCommit(app.svc, app.err, 0)) << app.ErrorText();
        EXPECT_EQ(OCI_SUCCESS, OCIHandleFree(stmt, OCI_HTYPE_STMT));
        const std::string found = Found("BODY");
        EXPECT_EQ(size, found.size());
        EXPECT_TRUE(bytes == found);
        EXPECT_EQ("old memo", Found("MEMO", DTY_CLOB));
    }

    Application app;
    std::string table;
};

TEST_F(Lobs, OneByte) {
    WriteCommitAndReadBack(1);
}

TEST_F(Lobs, AByteLessThanTheLongestBufferedWrite) {
    WriteCommitAndReadBack(2047);
}

TEST_F(Lobs, TheLongestBufferedWrite) {
    WriteCommitAndReadBack(2048);
}

TEST_F(Lobs, AByteMoreThanTheLongestBufferedWrite) {
    WriteCommitAndReadBack(2049);
}

TEST_F(Lobs, TheLongestChunk) {
    WriteCommitAndReadBack(102400);
}

TEST_F(Lobs, AByteMoreThanTheLongestChunk) {
    WriteCommitAndReadBack(102401);
}

TEST_F(Lobs, SixtyFourMebibytes) {
    WriteCommitAndReadBack(64 << 20);
}

TEST_F(Lobs, AValueWrittenByRepeatedCalls) {
    const std::string bytes = Sample(300001);
    Locator locator(app);
    OCIStmt *stmt = Select(app, locator, "BODY", DTY_BLOB);
    const uint32_t amount = 300001;
    ASSERT_EQ(OCI_NEED_DATA, locator.WritePiece(bytes.data(), 100000, amount, OCI_FIRST_PIECE));
    ASSERT_EQ(OCI_NEED_DATA,
              locator.WritePiece(bytes.data() + 100000, 100000, amount, OCI_NEXT_PIECE));
    ASSERT_EQ(OCI_SUCCESS,
              locator.WritePiece(bytes.data() + 200000, 100001, amount, OCI_LAST_PIECE));
    ASSERT_EQ(OCI_SUCCESS, OCITransCommit(app.svc, app.err, 0));
    EXPECT_EQ(OCI_SUCCESS, OCIHandleFree(stmt, OCI_HTYPE_STMT));
    EXPECT_TRUE(bytes == Found("BODY"));
}

TEST_F(Lobs, AValueWrittenByCallbackAtAnOffset) {
    const std::string bytes = Sample(50000);
    Locator locator(app);
    OCIStmt *stmt = Select(app, locator, "BODY", DTY_BLOB);
    std::string buffer = bytes.substr(0, 1000);
    Source source = {&bytes, 1000, 1000};
    uint32_t amount = 50000;
    ASSERT_EQ(OCI_SUCCESS, OCILobWrite(app.svc, app.err, locator.lob, &amount, 101, buffer.data(),
                                       1000, OCI_FIRST_PIECE, &source, NextPiece, 0, 0))
        << app.ErrorText();
    EXPECT_EQ(50100U, amount);
    ASSERT_EQ(OCI_SUCCESS, OCITransCommit(app.svc, app.err, 0));
    EXPECT_EQ(OCI_SUCCESS, OCIHandleFree(stmt, OCI_HTYPE_STMT));
    EXPECT_TRUE(std::string(100, '\0') + bytes == Found("BODY"));
}

TEST_F(Lobs, TwoColumnsOfWhichOneWasWritten) {
    Locator body(app);
    Locator memo(app);
    OCIStmt *stmt = app.NewStmt();
    ASSERT_EQ(OCI_SUCCESS, app.Prepare(stmt, "SELECT BODY, MEMO FROM " + table + " WHERE ID = 1"));
    ASSERT_EQ(OCI_SUCCESS, app.Define(stmt, 1, &body.lob, 0, DTY_BLOB));
    ASSERT_EQ(OCI_SUCCESS, app.Define(stmt, 2, &memo.lob, 0, DTY_CLOB));
    ASSERT_EQ(OCI_SUCCESS, app.Execute(stmt, 1));
    memo.Write("a new memo");
    ASSERT_EQ(OCI_SUCCESS, OCITransCommit(app.svc, app.err, 0));
    // Once more, without a row, which changes nothing.
    ASSERT_EQ(OCI_SUCCESS, OCITransCommit(app.svc, app.err, 0));
    EXPECT_EQ(OCI_SUCCESS, OCIHandleFree(stmt, OCI_HTYPE_STMT));
    EXPECT_EQ("old", Found("BODY"));
    EXPECT_EQ("a new memo", Found("MEMO", DTY_CLOB));
}

TEST_F(Lobs, ALobBehindAnotherColumnIsNotWrittenBack) {
    Locator body(app);
    int32_t id = 0;
    OCIStmt *stmt = app.NewStmt();
    ASSERT_EQ(OCI_SUCCESS, app.Prepare(stmt, "SELECT ID, BODY FROM " + table));
    ASSERT_EQ(OCI_SUCCESS, app.Define(stmt, 1, &id, 4, DTY_INT));
    ASSERT_EQ(OCI_SUCCESS, app.Define(stmt, 2, &body.lob, 0, DTY_BLOB));
    ASSERT_EQ(OCI_SUCCESS, app.Execute(stmt, 1));
    EXPECT_EQ(1, id);
    body.Write("new");
    EXPECT_EQ(OCI_SUCCESS, OCITransCommit(app.svc, app.err, 0)) << "the commit goes on";
    EXPECT_EQ(OCI_SUCCESS, OCIHandleFree(stmt, OCI_HTYPE_STMT));
    EXPECT_EQ("old", Found("BODY"));
}

TEST_F(Lobs, TheEndOfASessionWritesBack) {
    Locator locator(app);
    OCIStmt *stmt = Select(app, locator, "BODY", DTY_BLOB);
    locator.Write("at the end");
    app.Logoff();
    EXPECT_EQ("at the end", Found("BODY"));
    OCIHandleFree(stmt, OCI_HTYPE_STMT);
    ASSERT_EQ(OCI_SUCCESS, app.Logon("SYSDBA", "SYSDBA"));
}

TEST_F(Lobs, ALocatorBoundToAnInsert) {
    const std::string bytes = Sample(100000);
    Locator locator(app);
    OCIStmt *stmt = app.NewStmt();
    ASSERT_EQ(OCI_SUCCESS, app.Prepare(stmt, "INSERT INTO " + table + " (ID, BODY) VALUES (2, ?)"));
    ASSERT_EQ(OCI_SUCCESS, app.Bind(stmt, 1, &locator.lob, 0, DTY_BLOB));
    locator.Write(bytes);
    ASSERT_EQ(OCI_SUCCESS, app.Execute(stmt, 1)) << app.ErrorText();
    EXPECT_EQ(OCI_SUCCESS, OCIHandleFree(stmt, OCI_HTYPE_STMT));
    ASSERT_EQ(OCI_SUCCESS, OCITransCommit(app.svc, app.err, 0));
    EXPECT_TRUE(bytes == Found("BODY", DTY_BLOB, 2));
    EXPECT_EQ("", Found("MEMO", DTY_CLOB, 2)) << "a NULL";
}

TEST_F(Lobs, AValueHandedOverAtExecute) {
    Locator locator(app);
    OCIStmt *stmt = app.NewStmt();
    ASSERT_EQ(OCI_SUCCESS, app.Prepare(stmt, "INSERT INTO " + table + " (ID, BODY) VALUES (3, ?)"));
    OCIBind *bind = nullptr;
    ASSERT_EQ(OCI_SUCCESS, OCIBindByPos(stmt, &bind, app.err, 1, &locator.lob, 10, DTY_BLOB,
                                        nullptr, nullptr, nullptr, 0, nullptr, OCI_DATA_AT_EXEC));
    const char *const pieces[] = {"01", "234", "56789"};
    for (int i = 0; i < 3; i++) {
        ASSERT_EQ(OCI_NEED_DATA, app.Execute(stmt, 1));
        void *handle = nullptr;
        uint32_t type = 0, iteration = 0, index = 0;
        uint8_t in_out = 0, piece = 0;
        ASSERT_EQ(OCI_SUCCESS, OCIStmtGetPieceInfo(stmt, app.err, &handle, &type, &in_out,
                                                   &iteration, &index, &piece));
        EXPECT_EQ(bind, handle);
        EXPECT_EQ(i == 0 ? OCI_FIRST_PIECE : OCI_NEXT_PIECE, piece);
        uint32_t length = (uint32_t)strlen(pieces[i]);
        ASSERT_EQ(OCI_SUCCESS,
                  OCIStmtSetPieceInfo(handle, type, app.err, pieces[i], &length,
                                      i == 2 ? OCI_LAST_PIECE : piece, nullptr, nullptr));
    }
    ASSERT_EQ(OCI_SUCCESS, app.Execute(stmt, 1)) << app.ErrorText();
    EXPECT_EQ(OCI_SUCCESS, OCIHandleFree(stmt, OCI_HTYPE_STMT));
    ASSERT_EQ(OCI_SUCCESS, OCITransCommit(app.svc, app.err, 0));
    EXPECT_EQ("0123456789", Found("BODY", DTY_BLOB, 3));
}

TEST_F(Lobs, AValueFetchedInPieces) {
    OCIStmt *stmt = app.NewStmt();
    ASSERT_EQ(OCI_SUCCESS, app.Prepare(stmt, "SELECT MEMO FROM " + table));
    OCIDefine *define = nullptr;
    ASSERT_EQ(OCI_SUCCESS, OCIDefineByPos(stmt, &define, app.err, 1, nullptr, 100, DTY_STR, nullptr,
                                          nullptr, nullptr, OCI_DYNAMIC_FETCH));
    ASSERT_EQ(OCI_NEED_DATA, app.Execute(stmt, 1));
    std::string text;
    // It is read again for the next piece, so it lives as long as the pieces go on.
    char buffer[3];
    uint32_t length = 0;
    int32_t status = OCI_NEED_DATA;
    while (status == OCI_NEED_DATA) {
        void *handle = nullptr;
        uint32_t type = 0, iteration = 0, index = 0;
        uint8_t in_out = 0, piece = 0;
        ASSERT_EQ(OCI_SUCCESS, OCIStmtGetPieceInfo(stmt, app.err, &handle, &type, &in_out,
                                                   &iteration, &index, &piece));
        length = sizeof buffer;
        ASSERT_EQ(OCI_SUCCESS, OCIStmtSetPieceInfo(handle, type, app.err, buffer, &length, piece,
                                                   nullptr, nullptr));
        status = app.Fetch(stmt);
        text.append(buffer, length);
    }
    EXPECT_EQ(OCI_SUCCESS, status);
    EXPECT_EQ("old memo", text);
    EXPECT_EQ(OCI_SUCCESS, OCIHandleFree(stmt, OCI_HTYPE_STMT));
}
