// A whole conversation of an application through the library's exports: log on, create, insert from
// arrays, select into arrays, commit, log off. Every byte of both directions is written out.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "support/stmt_rig.h"

// How the peer's answers travel.
enum Delivery { AT_ONCE, BYTE_BY_BYTE };

class Conversation : public testing::TestWithParam<Delivery> {
protected:
    void Exchange(const Bytes &request, const Bytes &answer) {
        rig.peer.Expect(request);
        if (GetParam() == AT_ONCE) {
            rig.peer.Send(answer);
        } else {
            rig.peer.SendByteByByte(answer);
        }
    }

    void ScriptInsert();
    void ScriptSelect();
    void ScriptAll();
    void Insert(OCIStmt *stmt);
    void Select(OCIStmt *query);

    StmtRig rig;
};

// Two parameters, and one execution for each element of the arrays: name, direction, type, length
// and value of each parameter. Every execution inserts a row, whose bookmark comes back.
void Conversation::ScriptInsert() {
    Exchange(Hex("3F 0000002A 'PREPARE ST0 AS INSERT INTO T VALUES(:a,:b)' 00 00000000"),
             // The server describes the parameters by their names and three words each.
             Hex("'$' 00000002"
                 "00000001 'a' 00000001 00000005 00000000"
                 "00000001 'b' 00000001 0000001E 0000000A 'K'"));
    Exchange(Hex("3F 00000006 '? ST0 ' 00 00000002"
                 "0001 'a' 0001 0005 00000004 00000001"
                 "0001 'b' 0001 001E 00000003 'one'"),
             Hex("'I' 00000004 00000001 'K'"));
    Exchange(Hex("3F 00000006 '? ST0 ' 00 00000002"
                 "0001 'a' 0001 0005 00000004 FFFFFFFE"
                 "0001 'b' 0001 001E 00000000"),
             Hex("'I' 00000004 00000002 'K'"));
    Exchange(Hex("3F 00000006 '? ST0 ' 00 00000002"
                 "0001 'a' 0001 0005 00000004 00000003"
                 "0001 'b' 0001 001E 00000005 'three'"),
             Hex("'I' 00000004 00000003 'K'"));
}

// The select is described when it is prepared, and again with its rows. The rowid comes last.
void Conversation::ScriptSelect() {
    Exchange(Hex("3F 00000020 'PREPARE ST1 AS SELECT A,B FROM T' 00 00000000"),
             Hex("'A' 00000003"
                 "00000001 'A' 00000005 FFFFFFFF 00000000"
                 "00000003 'T.B' 0000001E 0000000A 00000000"
                 "00000005 'ROWID' 0000002D 00000008 00000000"
                 "'$' 00000000 'K'"));
    Exchange(Hex("3F 00000006 '? ST1 ' 00 00000000"),
             Hex("'A' 00000003"
                 "00000001 'A' 00000005 FFFFFFFF 00000000"
                 "00000003 'T.B' 0000001E 0000000A 00000000"
                 "00000005 'ROWID' 0000002D 00000008 00000000"
                 "'R' 00000004 00000001 00000003 'one' 00000008 'AAAA0001' "
                 "'R' 00000004 FFFFFFFE 00000000 00000008 'AAAA0002' "
                 "'W' 00000010 '[W00001] careful' "
                 "'R' 00000004 00000003 00000005 'three' 00000008 'AAAA0003' 'K'"));
}

void Conversation::ScriptAll() {
    rig.peer.Accept();
    Exchange(Ascii("login database = SYSTEM user='scott' password='tiger' encryptor = '' "
                   "char_set = 'GBK' time_zone = 'GTM+08:00' iso_level = '2' "
                   "auto_commit = 'off' return_rowid=true version = '301'"),
             Hex("'K'"));
    // A definition goes out when it is executed, by its text.
    Exchange(Hex("3F 00000021 'CREATE TABLE T(A INT, B CHAR(10))' 00 00000000"), Hex("'K'"));
    ScriptInsert();
    Exchange(Hex("3F 00000007 'COMMIT;' 00 00000000"), Hex("'K'"));
    ScriptSelect();
    Exchange(Hex("3F 00000011 'DEALLOCATE `ST1`;' 00 00000000"), Hex("'K'"));
    Exchange(Hex("3F 00000011 'DEALLOCATE `ST0`;' 00 00000000"), Hex("'K'"));
    // The end of the session commits.
    Exchange(Hex("3F 00000007 'COMMIT;' 00 00000000"), Hex("'K'"));
    rig.peer.ExpectEnd();
    rig.peer.Start();
}

void Conversation::Insert(OCIStmt *stmt) {
    int32_t numbers[3] = {1, -2, 3};
    char texts[3][6] = {"one", "two", "three"};
    int16_t present[3] = {3, -1, 5};
    ASSERT_EQ(OCI_SUCCESS, rig.BindName(stmt, ":a", numbers, 4, DTY_INT)) << rig.Error();
    ASSERT_EQ(OCI_SUCCESS, rig.BindName(stmt, ":b", texts, 6, DTY_STR, present)) << rig.Error();
    ASSERT_EQ(OCI_SUCCESS, rig.Execute(stmt, 3)) << rig.Error();
}

void Conversation::Select(OCIStmt *query) {
    int32_t a[4] = {};
    char b[4][11];
    uint32_t lengths[4] = {9, 9, 9, 9};
    uint16_t nulls[4] = {9, 9, 9, 9};
    ASSERT_EQ(OCI_SUCCESS, rig.Define(query, 1, a, 4, DTY_INT));
    ASSERT_EQ(OCI_SUCCESS, rig.Define(query, 2, b, 11, DTY_STR, nulls, lengths));
    ASSERT_EQ(OCI_SUCCESS, rig.Execute(query, 1)) << rig.Error();
    EXPECT_EQ(1, a[0]);
    EXPECT_STREQ("one", b[0]);
    EXPECT_EQ(3u, lengths[0]);
    EXPECT_EQ(0, nulls[0]);

    EXPECT_EQ(OCI_SUCCESS, rig.Fetch(query, 1));
    EXPECT_EQ(-2, a[0]);
    EXPECT_STREQ("", b[0]);
    EXPECT_EQ(0u, lengths[0]);
    EXPECT_EQ(0xFFFF, nulls[0]);

    EXPECT_EQ(OCI_NO_DATA, rig.Fetch(query, 4));
    EXPECT_EQ(3, a[0]);
    EXPECT_STREQ("three", b[0]);
    EXPECT_EQ(5u, lengths[0]);
}

TEST_P(Conversation, FromLogonToLogoff) {
    ScriptAll();
    ASSERT_EQ(OCI_SUCCESS, rig.CallRig::Logon("scott", 5, "tiger", 5)) << rig.Error();

    OCIStmt *stmt = NewHandle<OCIStmt>(rig.env, OCI_HTYPE_STMT);
    ASSERT_EQ(OCI_SUCCESS, rig.PrepareText(stmt, "CREATE TABLE T(A INT, B CHAR(10))"));
    ASSERT_EQ(OCI_SUCCESS, rig.Execute(stmt, 1)) << rig.Error();
    // Both kinds of marker in one text are refused before anything is sent.
    EXPECT_EQ(OCI_ERROR, rig.PrepareText(stmt, "INSERT INTO T VALUES(:a,?)"));
    ASSERT_EQ(OCI_SUCCESS, rig.PrepareText(stmt, "INSERT INTO T VALUES(:a,:b)")) << rig.Error();
    Insert(stmt);
    ASSERT_EQ(OCI_SUCCESS, OCITransCommit(rig.svc, rig.err, 0)) << rig.Error();

    OCIStmt *query = NewHandle<OCIStmt>(rig.env, OCI_HTYPE_STMT);
    ASSERT_EQ(OCI_SUCCESS, rig.PrepareText(query, "SELECT A,B FROM T")) << rig.Error();
    uint32_t count = 0;
    uint32_t size = 0;
    EXPECT_EQ(OCI_SUCCESS,
              OCIAttrGet(query, OCI_HTYPE_STMT, &count, &size, OCI_ATTR_PARAM_COUNT, rig.err));
    EXPECT_EQ(2u, count);
    void *column = nullptr;
    ASSERT_EQ(OCI_SUCCESS, OCIParamGet(query, OCI_HTYPE_STMT, rig.err, &column, 2));
    const char *name = nullptr;
    EXPECT_EQ(OCI_SUCCESS,
              OCIAttrGet(column, OCI_DTYPE_PARAM, &name, &size, OCI_ATTR_NAME, rig.err));
    EXPECT_STREQ("B", name);
    Select(query);
    uint32_t rows = 0;
    EXPECT_EQ(OCI_SUCCESS,
              OCIAttrGet(query, OCI_HTYPE_STMT, &rows, nullptr, OCI_ATTR_ROW_COUNT, rig.err));
    EXPECT_EQ(3u, rows);
    // What the server said between the rows is there to read.
    EXPECT_EQ("[W00001] careful", rig.Error());

    EXPECT_EQ(OCI_SUCCESS, OCIHandleFree(query, OCI_HTYPE_STMT));
    EXPECT_EQ(OCI_SUCCESS, OCIHandleFree(stmt, OCI_HTYPE_STMT));
    EXPECT_EQ(OCI_SUCCESS, OCILogoff(rig.svc, rig.err));
    rig.svc = nullptr;
}

INSTANTIATE_TEST_SUITE_P(Deliveries, Conversation, testing::Values(AT_ONCE, BYTE_BY_BYTE),
                         [](const testing::TestParamInfo<Delivery> &delivery) {
                             return delivery.param == AT_ONCE ? "AtOnce" : "ByteByByte";
                         });

// The bind or define that wants a piece.
struct PieceInfo {
    void *handle = nullptr;
    uint32_t type = 0;
    uint32_t iteration = 9;
    uint32_t index = 9;
    uint8_t in_out = 9;
    uint8_t piece = 9;

    PieceInfo(StmtRig *rig, OCIStmt *stmt) {
        EXPECT_EQ(OCI_SUCCESS, OCIStmtGetPieceInfo(stmt, rig->err, &handle, &type, &in_out,
                                                   &iteration, &index, &piece));
    }
};

TEST(ConversationPieces, ValueGoesOutInPieces) {
    StmtRig rig;
    rig.Logon();
    OCIStmt *insert = rig.Prepare("INSERT INTO T VALUES(?)");
    ASSERT_EQ(OCI_SUCCESS, rig.Bind(insert, 1, nullptr, 8, DTY_CHAR, nullptr, OCI_DATA_AT_EXEC));
    EXPECT_EQ(OCI_NEED_DATA, rig.Execute(insert, 1));
    uint32_t bytes = 4;
    PieceInfo first(&rig, insert);
    EXPECT_EQ((uint32_t)OCI_HTYPE_BIND, first.type);
    EXPECT_EQ(OCI_FIRST_PIECE, first.piece);
    ASSERT_EQ(OCI_SUCCESS, OCIStmtSetPieceInfo(first.handle, first.type, rig.err, "abcd", &bytes,
                                               OCI_FIRST_PIECE, nullptr, nullptr));
    EXPECT_EQ(OCI_NEED_DATA, rig.Execute(insert, 1));
    PieceInfo next(&rig, insert);
    EXPECT_EQ(OCI_NEXT_PIECE, next.piece);
    ASSERT_EQ(OCI_SUCCESS, OCIStmtSetPieceInfo(next.handle, next.type, rig.err, "efgh", &bytes,
                                               OCI_LAST_PIECE, nullptr, nullptr));
    rig.Exchange(Hex("3F 00000006 '? ST0 ' 00 00000001 0000 0001 001E 00000008 'abcdefgh'"),
                 Hex("'I' 00000000 'K'"));
    EXPECT_EQ(OCI_SUCCESS, rig.Execute(insert, 1));
}

TEST(ConversationPieces, ValueComesInInPieces) {
    StmtRig rig;
    rig.Logon();
    OCIStmt *query = rig.Prepare("SELECT A FROM T");
    ASSERT_EQ(OCI_SUCCESS, rig.Define(query, 1, nullptr, 20, DTY_CHAR, nullptr, nullptr, nullptr,
                                      OCI_DYNAMIC_FETCH));
    rig.AnswerExecute(Result({Column("A", 30, 20)}) + Row({Ascii("abcdefgh")}) + Ascii("K"));
    int32_t result = rig.Execute(query, 1);
    std::string value;
    // The library reads the length of the last piece through its address, for the next round.
    uint32_t bytes = 0;
    while (result == OCI_NEED_DATA) {
        PieceInfo info(&rig, query);
        EXPECT_EQ((uint32_t)OCI_HTYPE_DEFINE, info.type);
        char buffer[3];
        bytes = sizeof buffer;
        ASSERT_EQ(OCI_SUCCESS, OCIStmtSetPieceInfo(info.handle, info.type, rig.err, buffer, &bytes,
                                                   info.piece, nullptr, nullptr));
        result = rig.Fetch(query, 1);
        value.append(buffer, bytes);
    }
    EXPECT_EQ(OCI_SUCCESS, result);
    EXPECT_EQ("abcdefgh", value);
    EXPECT_EQ(OCI_NO_DATA, rig.Fetch(query, 1));
}

TEST(ConversationErrors, RefusalsAreReadFromTheStatementThatMetThem) {
    StmtRig rig;
    rig.Logon();
    OCIStmt *stmt = rig.Prepare("DELETE FROM T");
    rig.AnswerExecute(Refusal("[E13001] still referenced"));
    EXPECT_EQ(-13, rig.Execute(stmt, 1));
    EXPECT_EQ("[E13001] still referenced", rig.Error());
    rig.AnswerExecute(Refusal("[E17005] locked"));
    EXPECT_EQ(-17, rig.Execute(stmt, 1));
    EXPECT_EQ("[E17005] locked", rig.Error());
    rig.AnswerExecute(Refusal("[E10000] other"));
    EXPECT_EQ(-1, rig.Execute(stmt, 1));
    EXPECT_EQ("[E10000] other", rig.Error());
    // A check of the library itself leaves its own text.
    EXPECT_EQ(-1, rig.Execute(stmt, 0));
    EXPECT_EQ("iters must be greater than 0.", rig.Error());
    // After a success the statement's older text is still there.
    rig.AnswerExecute(Hex("'D' 00000002 'K'"));
    EXPECT_EQ(0, rig.Execute(stmt, 1));
    EXPECT_EQ("[E10000] other", rig.Error());
}
