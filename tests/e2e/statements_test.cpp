// Statements over their life: executed again, prepared again, released, several at once.
#include "e2e/e2e_rig.h"

class Statements : public testing::Test {
protected:
    void SetUp() override {
        table = FreshName("STATEMENTS");
        ASSERT_EQ(OCI_SUCCESS, app.Run("CREATE TABLE " + table + " (A INTEGER, B VARCHAR(10))"));
        ASSERT_EQ(OCI_SUCCESS,
                  app.Run("INSERT INTO " + table + " VALUES (1, 'one'), (2, 'two'), (3, 'three')"));
        stmt = app.NewStmt();
    }

    void TearDown() override {
        EXPECT_EQ(OCI_SUCCESS, OCIHandleFree(stmt, OCI_HTYPE_STMT));
    }

    Application app;
    std::string table;
    OCIStmt *stmt = nullptr;
};

TEST_F(Statements, ASelectIsExecutedAgainWithAnotherValue) {
    int32_t key = 1;
    char text[11] = "";
    ASSERT_EQ(OCI_SUCCESS, app.Prepare(stmt, "SELECT B FROM " + table + " WHERE A = ?"));
    ASSERT_EQ(OCI_SUCCESS, app.Bind(stmt, 1, &key, 4, DTY_INT));
    ASSERT_EQ(OCI_SUCCESS, app.Define(stmt, 1, text, sizeof text, DTY_STR));
    EXPECT_EQ(OCI_SUCCESS, app.Execute(stmt, 1)) << app.ErrorText();
    EXPECT_STREQ("one", text);
    key = 3;
    EXPECT_EQ(OCI_SUCCESS, app.Execute(stmt, 1)) << app.ErrorText();
    EXPECT_STREQ("three", text);
    key = 4;
    EXPECT_EQ(OCI_NO_DATA, app.Execute(stmt, 1));
    key = 2;
    EXPECT_EQ(OCI_SUCCESS, app.Execute(stmt, 1)) << app.ErrorText();
    EXPECT_STREQ("two", text);
}

TEST_F(Statements, AStatementIsPreparedAgainWithAnotherText) {
    int32_t number = 0;
    ASSERT_EQ(OCI_SUCCESS, app.Prepare(stmt, "SELECT A FROM " + table + " WHERE B = 'two'"));
    ASSERT_EQ(OCI_SUCCESS, app.Define(stmt, 1, &number, 4, DTY_INT));
    EXPECT_EQ(OCI_SUCCESS, app.Execute(stmt, 1)) << app.ErrorText();
    EXPECT_EQ(2, number);
    char text[11] = "";
    ASSERT_EQ(OCI_SUCCESS, app.Prepare(stmt, "SELECT B FROM " + table + " WHERE A = 1"));
    ASSERT_EQ(OCI_SUCCESS, app.Define(stmt, 1, text, sizeof text, DTY_STR));
    EXPECT_EQ(OCI_SUCCESS, app.Execute(stmt, 1)) << app.ErrorText();
    EXPECT_STREQ("one", text);
    EXPECT_EQ(2, number);
    ASSERT_EQ(OCI_SUCCESS, app.Prepare(stmt, "DELETE FROM " + table + " WHERE A = 3"));
    EXPECT_EQ(OCI_SUCCESS, app.Execute(stmt, 1)) << app.ErrorText();
    EXPECT_EQ("2", app.SelectText("SELECT COUNT(*) FROM " + table));
}

TEST_F(Statements, ATextThatIsRefusedLeavesTheHandleUsable) {
    EXPECT_EQ(OCI_ERROR, app.Prepare(stmt, "SELECT UNHEARD FROM " + table));
    EXPECT_EQ("[E5002]no such column: UNHEARD", app.ErrorText());
    int32_t number = 0;
    ASSERT_EQ(OCI_SUCCESS, app.Prepare(stmt, "SELECT MAX(A) FROM " + table));
    ASSERT_EQ(OCI_SUCCESS, app.Define(stmt, 1, &number, 4, DTY_INT));
    EXPECT_EQ(OCI_SUCCESS, app.Execute(stmt, 1)) << app.ErrorText();
    EXPECT_EQ(3, number);
}

TEST_F(Statements, AReleasedOneIsNotExecutedAndCanBePreparedAgain) {
    int32_t number = 0;
    ASSERT_EQ(OCI_SUCCESS, app.Prepare(stmt, "SELECT A FROM " + table + " ORDER BY A"));
    ASSERT_EQ(OCI_SUCCESS, app.Define(stmt, 1, &number, 4, DTY_INT));
    ASSERT_EQ(OCI_SUCCESS, app.Execute(stmt, 1)) << app.ErrorText();
    EXPECT_EQ(OCI_SUCCESS, OCIStmtRelease(stmt, app.err, nullptr, 0, OCI_DEFAULT));
    EXPECT_EQ(OCI_ERROR, app.Fetch(stmt));
    EXPECT_EQ("Fetch without execution.", app.ErrorText());
    EXPECT_EQ(OCI_ERROR, app.Execute(stmt, 0));
    ASSERT_EQ(OCI_SUCCESS, app.Prepare(stmt, "SELECT A FROM " + table + " WHERE A = 2"));
    ASSERT_EQ(OCI_SUCCESS, app.Define(stmt, 1, &number, 4, DTY_INT));
    EXPECT_EQ(OCI_SUCCESS, app.Execute(stmt, 1)) << app.ErrorText();
    EXPECT_EQ(2, number);
}

TEST_F(Statements, SeveralAreFetchedInTurn) {
    OCIStmt *other = app.NewStmt();
    int32_t number = 0;
    char text[11] = "";
    ASSERT_EQ(OCI_SUCCESS, app.Prepare(stmt, "SELECT A FROM " + table + " ORDER BY A"));
    ASSERT_EQ(OCI_SUCCESS, app.Prepare(other, "SELECT B FROM " + table + " ORDER BY A DESC"));
    ASSERT_EQ(OCI_SUCCESS, app.Define(stmt, 1, &number, 4, DTY_INT));
    ASSERT_EQ(OCI_SUCCESS, app.Define(other, 1, text, sizeof text, DTY_STR));
    ASSERT_EQ(OCI_SUCCESS, app.Execute(stmt, 0)) << app.ErrorText();
    ASSERT_EQ(OCI_SUCCESS, app.Execute(other, 0)) << app.ErrorText();
    const char *const words[] = {"three", "two", "one"};
    for (int32_t row = 1; row <= 3; row++) {
        EXPECT_EQ(OCI_SUCCESS, app.Fetch(stmt));
        EXPECT_EQ(row, number);
        EXPECT_EQ(OCI_SUCCESS, app.Fetch(other));
        EXPECT_STREQ(words[row - 1], text);
    }
    EXPECT_EQ(OCI_NO_DATA, app.Fetch(stmt));
    EXPECT_EQ(OCI_NO_DATA, app.Fetch(other));
    EXPECT_EQ(OCI_SUCCESS, OCIHandleFree(other, OCI_HTYPE_STMT));
}

TEST_F(Statements, ManyHandlesAreOpenAtOnce) {
    constexpr int32_t COUNT = 50;
    OCIStmt *stmts[COUNT];
    int32_t numbers[COUNT] = {};
    for (int32_t i = 0; i < COUNT; i++) {
        stmts[i] = app.NewStmt();
        ASSERT_EQ(OCI_SUCCESS, app.Prepare(stmts[i], "SELECT " + std::to_string(i) + " FROM " +
                                                         table + " WHERE A = 1"));
        ASSERT_EQ(OCI_SUCCESS, app.Define(stmts[i], 1, &numbers[i], 4, DTY_INT));
    }
    for (int32_t i = COUNT - 1; i >= 0; i--) {
        ASSERT_EQ(OCI_SUCCESS, app.Execute(stmts[i], 1)) << app.ErrorText();
    }
    for (int32_t i = 0; i < COUNT; i++) {
        EXPECT_EQ(i, numbers[i]);
        EXPECT_EQ(OCI_SUCCESS, OCIHandleFree(stmts[i], OCI_HTYPE_STMT));
    }
}

TEST_F(Statements, TextOfAnotherKindIsPreparedAndNotRun) {
    EXPECT_EQ(OCI_SUCCESS, app.Prepare(stmt, "/* a remark first */ DELETE FROM " + table))
        << app.ErrorText();
    EXPECT_EQ(OCI_SUCCESS, app.Execute(stmt, 1));
    EXPECT_EQ("3", app.SelectText("SELECT COUNT(*) FROM " + table));
}

TEST_F(Statements, TheExpressionOfASelectIsNamedByItsAlias) {
    ASSERT_EQ(OCI_SUCCESS, app.Prepare(stmt, "SELECT A AS NUMBER, A + 1 AS NEXT FROM " + table));
    void *column = nullptr;
    const char *text = nullptr;
    uint32_t length = 0;
    // The name of a column stays its own; the alias is an attribute beside it.
    ASSERT_EQ(OCI_SUCCESS, OCIParamGet(stmt, OCI_HTYPE_STMT, app.err, &column, 1));
    ASSERT_EQ(OCI_SUCCESS,
              OCIAttrGet(column, OCI_DTYPE_PARAM, &text, &length, OCI_ATTR_NAME, app.err));
    EXPECT_STREQ("A", text);
    char alias[128] = "";
    ASSERT_EQ(OCI_SUCCESS,
              OCIAttrGet(column, OCI_DTYPE_PARAM, alias, &length, OCI_ATTR_ALIAS, app.err));
    EXPECT_STREQ("NUMBER", alias);
    ASSERT_EQ(OCI_SUCCESS, OCIParamGet(stmt, OCI_HTYPE_STMT, app.err, &column, 2));
    ASSERT_EQ(OCI_SUCCESS,
              OCIAttrGet(column, OCI_DTYPE_PARAM, &text, &length, OCI_ATTR_NAME, app.err));
    EXPECT_STREQ("NEXT", text);
}
