// Column descriptors and every attribute that an application reads.
#include <gtest/gtest.h>

#include "oci/stmt.h"
#include "support/stmt_rig.h"

// A select that has run: ID INTEGER, T.NAME CHAR(10) with the alias N, PRICE NUMERIC(10,2),
// V VARCHAR(20) with the flag 2, and the rowid.
struct DescribeRig : StmtRig {
    OCIStmt *stmt = nullptr;

    static Bytes Columns() {
        return Result({Column("ID", 5), Column("T.NAME%N", 30, 10),
                       Column("PRICE", 7, (10 << 16) | 2), Column("V", 30, 20, 1024 | 2)});
    }

    DescribeRig() {
        Logon();
        stmt = Prepare("SELECT * FROM T");
        AnswerExecute(Columns() + Ascii("K"));
        EXPECT_EQ(0, Execute(stmt, 0));
    }

    OCIParam *Param(uint32_t position) {
        void *param = nullptr;
        EXPECT_EQ(0, OCIParamGet(stmt, OCI_HTYPE_STMT, err, &param, position));
        return (OCIParam *)param;
    }

    // Reads a word of a column and expects this code and size.
    uint32_t Word(uint32_t position, uint32_t attribute, int32_t code, uint32_t size) {
        uint32_t word = 0xABABABAB;
        uint32_t bytes = 77;
        EXPECT_EQ(code,
                  OCIAttrGet(Param(position), OCI_DTYPE_PARAM, &word, &bytes, attribute, err));
        EXPECT_EQ(size, bytes);
        return word;
    }

    // Reads a text of a column through the descriptor's own buffer.
    std::string Name(uint32_t position, uint32_t attribute) {
        const char *text = nullptr;
        uint32_t bytes = 77;
        OCIParam *param = Param(position);
        EXPECT_EQ(0, OCIAttrGet(param, OCI_DTYPE_PARAM, &text, &bytes, attribute, err));
        EXPECT_EQ(param->name, text);
        EXPECT_EQ(strlen(text), bytes);
        return text;
    }
};

TEST(ParamGet, ChecksItsArgumentsInOrder) {
    StmtRig rig;
    OCIStmt *stmt = rig.NewStmt();
    void *param = nullptr;
    EXPECT_EQ(-2, OCIParamGet(nullptr, 0, nullptr, nullptr, 0));
    EXPECT_EQ(-2, OCIParamGet(nullptr, 0, rig.err, nullptr, 0));
    EXPECT_EQ("Parameter hndlp is NULL.", rig.Error());
    EXPECT_EQ(-2, OCIParamGet(rig.err, 0, rig.err, nullptr, 0));
    EXPECT_EQ("Parameter parmdpp is NULL.", rig.Error());
    rig.err->message[0] = '\0';
    EXPECT_EQ(-2, OCIParamGet(stmt, OCI_DTYPE_PARAM, rig.err, &param, 1));
    EXPECT_EQ(-2, OCIParamGet(rig.err, OCI_HTYPE_STMT, rig.err, &param, 1));
    EXPECT_EQ("", rig.Error());
    EXPECT_EQ(nullptr, param);
}

TEST(ParamGet, PositionPastTheLastColumnGives100AndADescriptor) {
    DescribeRig rig;
    void *param = nullptr;
    EXPECT_EQ(100, OCIParamGet(rig.stmt, OCI_HTYPE_STMT, rig.err, &param, 6));
    ASSERT_NE(nullptr, param);
    EXPECT_EQ(param, rig.stmt->param);
    EXPECT_EQ((uint32_t)OCI_DTYPE_PARAM, ((OCIParam *)param)->type);
    EXPECT_EQ(nullptr, ((OCIParam *)param)->native_column);
    // It has no attributes.
    uint32_t word = 5;
    uint32_t bytes = 7;
    EXPECT_EQ(-3, OCIAttrGet(param, OCI_DTYPE_PARAM, &word, &bytes, OCI_ATTR_DATA_SIZE, rig.err));
    EXPECT_EQ(5u, word);
    EXPECT_EQ(4u, bytes);
    const char *name = nullptr;
    EXPECT_EQ(-3, OCIAttrGet(param, OCI_DTYPE_PARAM, &name, &bytes, OCI_ATTR_NAME, rig.err));
    EXPECT_STREQ("", name);
    EXPECT_EQ(0u, bytes);
}

TEST(ParamGet, PositionZeroHasNoDescriptor) {
    DescribeRig rig;
    void *param = nullptr;
    for (uint32_t position : {0u, 4001u, UINT32_MAX}) {
        rig.err->message[0] = '\0';
        EXPECT_EQ(-1, OCIParamGet(rig.stmt, OCI_HTYPE_STMT, rig.err, &param, position));
        EXPECT_EQ("There is no descriptor at this position.", rig.Error());
    }
    EXPECT_EQ(nullptr, param);
    EXPECT_EQ(nullptr, rig.stmt->param);
    EXPECT_EQ(100, OCIParamGet(rig.stmt, OCI_HTYPE_STMT, rig.err, &param, 4000));
}

TEST(ParamGet, BeforeExecutionTheStatementIsNotExecuted) {
    StmtRig rig;
    rig.Logon();
    OCIStmt *stmt = rig.Prepare("SELECT A FROM T");
    void *param = nullptr;
    EXPECT_EQ(-1, OCIParamGet(stmt, OCI_HTYPE_STMT, rig.err, &param, 1));
    EXPECT_EQ("Statement handle is not executed.", rig.Error());
    EXPECT_EQ(nullptr, param);
}

TEST(ParamGet, PendingStatementPassesTheNativeCodeOnWithADescriptor) {
    StmtRig rig;
    OCIStmt *stmt = rig.NewStmt();
    void *param = nullptr;
    EXPECT_EQ(-2, OCIParamGet(stmt, OCI_HTYPE_STMT, rig.err, &param, 1));
    EXPECT_NE(nullptr, param);
    EXPECT_EQ(param, stmt->param);
    EXPECT_EQ("", rig.Error());
}

TEST(ParamGet, ColumnsDescribedByThePrepareAreThereBeforeExecution) {
    StmtRig rig;
    rig.Logon();
    OCIStmt *stmt = rig.NewStmt();
    // 'A' with the columns A and ROWID, '$' with no parameters, 'K'.
    rig.Exchange(Hex("3F 0000001E 'PREPARE ST0 AS SELECT A FROM T' 00 00000000"),
                 Hex("'A' 00000002"
                     "00000001 'A' 00000005 FFFFFFFF 00000000"
                     "00000005 'ROWID' 0000002D 00000008 00000000"
                     "'$' 00000000 'K'"));
    ASSERT_EQ(0, rig.PrepareText(stmt, "SELECT A FROM T"));
    uint32_t count = 0;
    uint32_t bytes = 0;
    EXPECT_EQ(0, OCIAttrGet(stmt, OCI_HTYPE_STMT, &count, &bytes, OCI_ATTR_PARAM_COUNT, rig.err));
    EXPECT_EQ(1u, count);
    void *param = nullptr;
    ASSERT_EQ(0, OCIParamGet(stmt, OCI_HTYPE_STMT, rig.err, &param, 1));
    const char *name = nullptr;
    EXPECT_EQ(0, OCIAttrGet(param, OCI_DTYPE_PARAM, &name, nullptr, OCI_ATTR_NAME, rig.err));
    EXPECT_STREQ("A", name);
}

TEST(ParamGet, OlderDescriptorsStayAndOutliveTheirStatement) {
    DescribeRig rig;
    OCIParam *first = rig.Param(1);
    OCIParam *second = rig.Param(2);
    EXPECT_NE(first, second);
    EXPECT_EQ(second, rig.stmt->param);
    const char *name = nullptr;
    EXPECT_EQ(0, OCIAttrGet(first, OCI_DTYPE_PARAM, &name, nullptr, OCI_ATTR_NAME, rig.err));
    EXPECT_STREQ("ID", name);

    rig.Exchange(Frame("DEALLOCATE `ST0`;"), Ascii("K"));
    EXPECT_EQ(0, OCIHandleFree(rig.stmt, OCI_HTYPE_STMT));
    rig.stmts.clear();
    name = nullptr;
    EXPECT_EQ(-3, OCIAttrGet(first, OCI_DTYPE_PARAM, &name, nullptr, OCI_ATTR_NAME, rig.err));
    EXPECT_STREQ("ID", name);
}

TEST(ParamGet, DescriptorOfAnEarlierExecutionIsRefused) {
    DescribeRig rig;
    OCIParam *param = rig.Param(1);
    rig.AnswerExecute(DescribeRig::Columns() + Ascii("K"));
    ASSERT_EQ(0, rig.Execute(rig.stmt, 0));
    uint32_t width = 9;
    EXPECT_EQ(-3, OCIAttrGet(param, OCI_DTYPE_PARAM, &width, nullptr, OCI_ATTR_DATA_SIZE, rig.err));
    EXPECT_EQ(9u, width);
    EXPECT_EQ(4u, rig.Word(1, OCI_ATTR_DATA_SIZE, 0, 4));
}

TEST(AttrGet, ChecksItsArgumentsInOrder) {
    StmtRig rig;
    uint32_t value = 0;
    EXPECT_EQ(-2, OCIAttrGet(nullptr, 5, nullptr, nullptr, 0, nullptr));
    EXPECT_EQ(-2, OCIAttrGet(nullptr, 5, nullptr, nullptr, 0, rig.err));
    EXPECT_EQ("Parameter trgthndlp is NULL.", rig.Error());
    EXPECT_EQ(-2, OCIAttrGet(rig.err, 5, nullptr, nullptr, 0, rig.err));
    EXPECT_EQ("Parameter attributep is NULL.", rig.Error());
    rig.err->message[0] = '\0';
    for (uint32_t type : {2u, 3u, 5u, 6u, 10u, 11u, 20u}) {
        EXPECT_EQ(-2, OCIAttrGet(rig.err, type, &value, nullptr, 61, rig.err)) << type;
    }
    for (uint32_t type : {0u, 1u, 4u, 7u, 8u, 12u, 50u, 99u}) {
        EXPECT_EQ(-1, OCIAttrGet(rig.err, type, &value, nullptr, 61, rig.err)) << type;
    }
    EXPECT_EQ("", rig.Error());
}

TEST(AttrGet, PositionOfBindsAndDefines) {
    StmtRig rig;
    rig.Logon();
    OCIStmt *stmt = rig.Prepare("SELECT A FROM T WHERE A=? AND B=?");
    OCIBind *bind = nullptr;
    OCIDefine *define = nullptr;
    int32_t value = 0;
    ASSERT_EQ(0, OCIBindByPos(stmt, &bind, rig.err, 2, &value, 4, DTY_INT, nullptr, nullptr,
                              nullptr, 0, nullptr, 0));
    ASSERT_EQ(0, OCIDefineByPos(stmt, &define, rig.err, 7, &value, 4, DTY_INT, nullptr, nullptr,
                                nullptr, 0));
    uint32_t position = 0;
    uint32_t bytes = 77;
    EXPECT_EQ(
        0, OCIAttrGet(bind, OCI_HTYPE_BIND, &position, &bytes, OCI_ATTR_HANDLE_POSITION, rig.err));
    EXPECT_EQ(2u, position);
    EXPECT_EQ(0, OCIAttrGet(define, OCI_HTYPE_DEFINE, &position, &bytes, OCI_ATTR_HANDLE_POSITION,
                            rig.err));
    EXPECT_EQ(7u, position);
    EXPECT_EQ(77u, bytes);
    EXPECT_EQ(-1, OCIAttrGet(bind, OCI_HTYPE_BIND, &position, &bytes, 190, rig.err));
    EXPECT_EQ(-1, OCIAttrGet(define, OCI_HTYPE_DEFINE, &position, &bytes, 62, rig.err));
    EXPECT_EQ(-2, OCIAttrGet(define, OCI_HTYPE_BIND, &position, &bytes, 191, rig.err));
}

TEST(AttrGet, ServiceContextNamesItsServerAndSession) {
    StmtRig rig;
    rig.Logon();
    void *value = &rig;
    uint32_t bytes = 77;
    EXPECT_EQ(0, OCIAttrGet(rig.svc, OCI_HTYPE_SVCCTX, &value, &bytes, OCI_ATTR_ENV, rig.err));
    EXPECT_EQ(nullptr, value);
    EXPECT_EQ(0, OCIAttrGet(rig.svc, OCI_HTYPE_SVCCTX, &value, &bytes, OCI_ATTR_SERVER, rig.err));
    EXPECT_EQ((void *)rig.svc->server, value);
    EXPECT_EQ((uint32_t)OCI_HTYPE_SERVER, *(uint32_t *)value);
    EXPECT_EQ(0, OCIAttrGet(rig.svc, OCI_HTYPE_SVCCTX, &value, &bytes, OCI_ATTR_SESSION, rig.err));
    EXPECT_EQ((void *)rig.svc->session, value);
    EXPECT_EQ((uint32_t)OCI_HTYPE_SESSION, *(uint32_t *)value);
    EXPECT_EQ(77u, bytes);
    EXPECT_EQ(-1, OCIAttrGet(rig.svc, OCI_HTYPE_SVCCTX, &value, &bytes, 20, rig.err));
}

TEST(AttrGet, ServerHasNoAttribute) {
    StmtRig rig;
    rig.Logon();
    uint32_t value = 5;
    EXPECT_EQ(-1, OCIAttrGet(rig.svc->server, OCI_HTYPE_SERVER, &value, nullptr, 6, rig.err));
    EXPECT_EQ(5u, value);
}

TEST(AttrGet, UserOfASession) {
    StmtRig rig;
    rig.Logon();
    const char *user = nullptr;
    uint32_t bytes = 0;
    OCISession *session = rig.svc->session;
    EXPECT_EQ(0, OCIAttrGet(session, OCI_HTYPE_SESSION, &user, &bytes, OCI_ATTR_USERNAME, rig.err));
    EXPECT_STREQ("scott", user);
    EXPECT_EQ(5u, bytes);
    EXPECT_EQ(0, OCIAttrGet(session, OCI_HTYPE_SESSION, &user, nullptr, 31, rig.err));
    EXPECT_EQ(-1, OCIAttrGet(session, OCI_HTYPE_SESSION, &user, &bytes, 32, rig.err));
}

TEST(AttrGet, EmptyUserIsANullPointer) {
    StmtRig rig;
    OCISession *session = NewHandle<OCISession>(rig.env, OCI_HTYPE_SESSION);
    const char *user = "x";
    uint32_t bytes = 77;
    EXPECT_EQ(0, OCIAttrGet(session, OCI_HTYPE_SESSION, &user, &bytes, OCI_ATTR_USERNAME, rig.err));
    EXPECT_EQ(nullptr, user);
    EXPECT_EQ(0u, bytes);
    OCIHandleFree(session, OCI_HTYPE_SESSION);
}

TEST(AttrGet, UserOf128BytesRunsOnIntoThePasswordAndNoFurther) {
    StmtRig rig;
    OCISession *session = NewHandle<OCISession>(rig.env, OCI_HTYPE_SESSION);
    memset(session->user, 'u', sizeof session->user);
    memset(session->password, 'p', sizeof session->password);
    session->logged_on = 1;
    const char *user = nullptr;
    uint32_t bytes = 0;
    EXPECT_EQ(0, OCIAttrGet(session, OCI_HTYPE_SESSION, &user, &bytes, OCI_ATTR_USERNAME, rig.err));
    EXPECT_EQ(256u, bytes);
    session->password[3] = '\0';
    EXPECT_EQ(0, OCIAttrGet(session, OCI_HTYPE_SESSION, &user, &bytes, OCI_ATTR_USERNAME, rig.err));
    EXPECT_EQ(131u, bytes);
    session->logged_on = 0;
    OCIHandleFree(session, OCI_HTYPE_SESSION);
}

TEST(AttrGet, RowCountersOfAStatement) {
    StmtRig rig;
    rig.Logon();
    OCIStmt *stmt = rig.Prepare("SELECT A FROM T");
    stmt->rows_total = 70000;
    stmt->rows_fetched = 5;
    uint32_t value = 0;
    uint32_t bytes = 77;
    EXPECT_EQ(0, OCIAttrGet(stmt, OCI_HTYPE_STMT, &value, &bytes, OCI_ATTR_ROW_COUNT, rig.err));
    EXPECT_EQ(70000u, value);
    EXPECT_EQ(0, OCIAttrGet(stmt, OCI_HTYPE_STMT, &value, &bytes, OCI_ATTR_ROWS_FETCHED, rig.err));
    EXPECT_EQ(5u, value);
    EXPECT_EQ(77u, bytes);
}

TEST(AttrGet, TextOfAStatement) {
    StmtRig rig;
    rig.Logon();
    OCIStmt *stmt = rig.NewStmt();
    const char *text = "x";
    uint32_t bytes = 77;
    EXPECT_EQ(0, OCIAttrGet(stmt, OCI_HTYPE_STMT, &text, &bytes, OCI_ATTR_STATEMENT, rig.err));
    EXPECT_EQ(nullptr, text);
    EXPECT_EQ(0u, bytes);

    rig.Exchange(Frame("PREPARE ST0 AS SELECT 1"), Ascii("K"));
    ASSERT_EQ(0, rig.PrepareText(stmt, "SELECT 1"));
    EXPECT_EQ(0, OCIAttrGet(stmt, OCI_HTYPE_STMT, &text, &bytes, OCI_ATTR_STATEMENT, rig.err));
    EXPECT_STREQ("SELECT 1", text);
    EXPECT_EQ(8u, bytes);
    EXPECT_EQ(0, OCIAttrGet(stmt, OCI_HTYPE_STMT, &text, nullptr, OCI_ATTR_STATEMENT, rig.err));

    ASSERT_EQ(0, rig.PrepareText(stmt, "DROP TABLE T"));
    EXPECT_EQ(0, OCIAttrGet(stmt, OCI_HTYPE_STMT, &text, &bytes, OCI_ATTR_STATEMENT, rig.err));
    EXPECT_STREQ("DROP TABLE T", text);
    EXPECT_EQ(12u, bytes);

    rig.Exchange(Frame("DROP TABLE T"), Ascii("K"));
    ASSERT_EQ(0, rig.Execute(stmt, 1));
    EXPECT_EQ(0, OCIAttrGet(stmt, OCI_HTYPE_STMT, &text, &bytes, OCI_ATTR_STATEMENT, rig.err));
    EXPECT_EQ(nullptr, text);
    EXPECT_EQ(0u, bytes);
}

TEST(AttrGet, ColumnCountIsLoweredWithASizeAndRawWithout) {
    DescribeRig rig;
    uint32_t count = 0;
    uint32_t bytes = 77;
    EXPECT_EQ(0,
              OCIAttrGet(rig.stmt, OCI_HTYPE_STMT, &count, &bytes, OCI_ATTR_PARAM_COUNT, rig.err));
    EXPECT_EQ(4u, count);
    EXPECT_EQ(4u, bytes);
    EXPECT_EQ(0,
              OCIAttrGet(rig.stmt, OCI_HTYPE_STMT, &count, nullptr, OCI_ATTR_PARAM_COUNT, rig.err));
    EXPECT_EQ(5u, count);
}

TEST(AttrGet, ColumnCountWithoutAResult) {
    StmtRig rig;
    rig.Logon();
    OCIStmt *stmt = rig.Prepare("SELECT A FROM T");
    uint32_t count = 7;
    uint32_t bytes = 77;
    EXPECT_EQ(0, OCIAttrGet(stmt, OCI_HTYPE_STMT, &count, nullptr, OCI_ATTR_PARAM_COUNT, rig.err));
    EXPECT_EQ(0u, count);
    EXPECT_EQ(0, OCIAttrGet(stmt, OCI_HTYPE_STMT, &count, &bytes, OCI_ATTR_PARAM_COUNT, rig.err));
    EXPECT_EQ(0xFFFFFFFFu, count);
    EXPECT_EQ(4u, bytes);
}

TEST(AttrGet, OtherStatementAttributesAreNative) {
    StmtRig rig;
    rig.Logon();
    OCIStmt *stmt = rig.Prepare("SELECT A FROM T");
    uint32_t word = 7;
    uint32_t bytes = 77;
    // Without a result every code reads 0.
    EXPECT_EQ(0, OCIAttrGet(stmt, OCI_HTYPE_STMT, &word, &bytes, 999, rig.err));
    EXPECT_EQ(0u, word);
    EXPECT_EQ(0u, bytes);
    for (uint32_t attribute : {42u, 63u, 64u}) {
        word = 7;
        EXPECT_EQ(0, OCIAttrGet(stmt, OCI_HTYPE_STMT, &word, nullptr, attribute, rig.err));
        EXPECT_EQ(0u, word) << attribute;
    }
    rig.AnswerExecute(Result({Column("A", 5)}) + Row({Int32(1)}) + Row({Int32(2)}) + Ascii("K"));
    ASSERT_EQ(0, rig.Execute(stmt, 0));
    EXPECT_EQ(0, OCIAttrGet(stmt, OCI_HTYPE_STMT, &word, nullptr, 64, rig.err));
    EXPECT_EQ(2u, word);
    EXPECT_EQ(-6, OCIAttrGet(stmt, OCI_HTYPE_STMT, &word, nullptr, 999, rig.err));
    EXPECT_EQ(-2, OCIAttrGet(rig.NewStmt(), OCI_HTYPE_SESSION, &word, nullptr, 999, rig.err));
}

TEST(AttrGet, AffectedRowsOfAnUpdate) {
    StmtRig rig;
    rig.Logon();
    OCIStmt *stmt = rig.Prepare("UPDATE T SET A=1");
    rig.AnswerExecute(Hex("'U' 00000009 'K'"));
    ASSERT_EQ(0, rig.Execute(stmt, 1));
    uint32_t word = 0;
    EXPECT_EQ(0, OCIAttrGet(stmt, OCI_HTYPE_STMT, &word, nullptr, 63, rig.err));
    EXPECT_EQ(9u, word);
}

TEST(AttrGet, PendingStatementPassesTheNativeCodeOn) {
    StmtRig rig;
    OCIStmt *stmt = rig.NewStmt();
    uint32_t word = 7;
    EXPECT_EQ(-3, OCIAttrGet(stmt, OCI_HTYPE_STMT, &word, nullptr, 64, rig.err));
    EXPECT_EQ(-3, OCIAttrGet(stmt, OCI_HTYPE_STMT, &word, nullptr, 61, rig.err));
    EXPECT_EQ(7u, word);
}

TEST(AttrGet, ColumnNameAndTypeNameComeThroughTheDescriptor) {
    DescribeRig rig;
    EXPECT_EQ("ID", rig.Name(1, OCI_ATTR_NAME));
    EXPECT_EQ("NAME", rig.Name(2, OCI_ATTR_NAME));
    EXPECT_EQ("ROWID", rig.Name(5, OCI_ATTR_NAME));
    EXPECT_EQ("INTEGER", rig.Name(1, OCI_ATTR_TYPE_NAME));
    EXPECT_EQ("CHAR(10)", rig.Name(2, OCI_ATTR_TYPE_NAME));
    EXPECT_EQ("NUMERIC(10,2)", rig.Name(3, OCI_ATTR_TYPE_NAME));
    EXPECT_EQ("VARCHAR(20)", rig.Name(4, OCI_ATTR_TYPE_NAME));
}

TEST(AttrGet, ColumnNameOverItsRoomIsCut) {
    StmtRig rig;
    rig.Logon();
    OCIStmt *stmt = rig.Prepare("SELECT * FROM T");
    rig.AnswerExecute(Result({Column(std::string(200, 'n'), 5)}) + Ascii("K"));
    ASSERT_EQ(0, rig.Execute(stmt, 0));
    void *param = nullptr;
    ASSERT_EQ(0, OCIParamGet(stmt, OCI_HTYPE_STMT, rig.err, &param, 1));
    const char *name = nullptr;
    uint32_t bytes = 0;
    EXPECT_EQ(0, OCIAttrGet(param, OCI_DTYPE_PARAM, &name, &bytes, OCI_ATTR_NAME, rig.err));
    EXPECT_EQ(std::string(127, 'n'), name);
    EXPECT_EQ(127u, bytes);
}

TEST(AttrGet, ColumnTypeHasSize2AndWidthSize4) {
    DescribeRig rig;
    // What lies behind the two bytes is the application's.
    EXPECT_EQ(0xABAB0005u, rig.Word(1, OCI_ATTR_DATA_TYPE, 0, 2));
    EXPECT_EQ(0xABAB0002u, rig.Word(2, OCI_ATTR_DATA_TYPE, 0, 2));
    EXPECT_EQ(0xABAB0009u, rig.Word(3, OCI_ATTR_DATA_TYPE, 0, 2));
    EXPECT_EQ(4u, rig.Word(1, OCI_ATTR_DATA_SIZE, 0, 4));
    EXPECT_EQ(10u, rig.Word(2, OCI_ATTR_DATA_SIZE, 0, 4));
    EXPECT_EQ(20u, rig.Word(4, OCI_ATTR_DATA_SIZE, 0, 4));
}

TEST(AttrGet, OtherColumnAttributesKeepTheNativeLength) {
    DescribeRig rig;
    char alias[128] = {};
    uint32_t bytes = 77;
    EXPECT_EQ(0, OCIAttrGet(rig.Param(2), OCI_DTYPE_PARAM, alias, &bytes, OCI_ATTR_ALIAS, rig.err));
    EXPECT_STREQ("N", alias);
    EXPECT_EQ(1u, bytes);
    EXPECT_EQ(10u, rig.Word(2, OCI_ATTR_DISP_SIZE, 0, 0));
    EXPECT_EQ(1u, rig.Word(2, 56, 0, 4));
    EXPECT_EQ(0u, rig.Word(1, 57, 0, 4));
    EXPECT_EQ(10u, rig.Word(3, OCI_ATTR_PRECISION, 0, 4));
    EXPECT_EQ(2u, rig.Word(3, OCI_ATTR_SCALE, 0, 4));
    EXPECT_EQ(0xABABABABu, rig.Word(1, OCI_ATTR_PRECISION, -9, 0));
    EXPECT_EQ(0xABABABABu, rig.Word(1, OCI_ATTR_SCALE, -9, 0));
    EXPECT_EQ(1u, rig.Word(4, 60, 0, 4));
    EXPECT_EQ(0xABABABABu, rig.Word(1, 61, 0, 0));
    EXPECT_EQ(4u, rig.Word(1, OCI_ATTR_EXTERNAL_TYPE, 0, 0));
    EXPECT_EQ(1u, rig.Word(4, 66, 0, 4));
    EXPECT_EQ(0xABABABABu, rig.Word(1, 999, -6, 0));
}
