// Prepare, execute and release: the checks in their order, and what each class of text sends.
#include "oci/stmt.h"

#include <gtest/gtest.h>

#include <climits>

#include "support/stmt_rig.h"

// The result of a select of one INTEGER column.
static Bytes OneIntResult() {
    return Result({Column("A", 5)});
}

TEST(StmtPrepare, ChecksItsArgumentsInOrder) {
    StmtRig rig;
    OCIStmt *stmt = rig.NewStmt();
    EXPECT_EQ(-2, OCIStmtPrepare(nullptr, nullptr, nullptr, 0, 0, 0));
    EXPECT_EQ(-2, OCIStmtPrepare(nullptr, rig.err, nullptr, 0, 0, 0));
    EXPECT_EQ("Parameter stmtp is NULL.", rig.Error());
    EXPECT_EQ(-1, OCIStmtPrepare(stmt, rig.err, nullptr, 0, 0, 0));
    EXPECT_EQ("Parameter stmt is NULL.", rig.Error());
    EXPECT_EQ(-1, OCIStmtPrepare(stmt, rig.err, Text("SELECT 1"), 0, 0, 0));
    EXPECT_EQ("Parameter stmt_len is invalid.", rig.Error());
    EXPECT_EQ(0, stmt->prepared);
}

TEST(StmtPrepare, TextOfTwoGigabytesIsRefused) {
    StmtRig rig;
    OCIStmt *stmt = rig.NewStmt();
    EXPECT_EQ(-1, OCIStmtPrepare(stmt, rig.err, Text("SELECT 1"), 0x80000000u, 0, 0));
    EXPECT_EQ("Parameter stmt_len is invalid.", rig.Error());
    EXPECT_EQ(-1, OCIStmtPrepare(stmt, rig.err, Text("SELECT 1"), UINT32_MAX, 0, 0));
    EXPECT_EQ("Parameter stmt_len is invalid.", rig.Error());
}

TEST(StmtPrepare, ClassComesFromTheFirstWord) {
    struct Case {
        const char *text;
        uint32_t stmt_class;
    };
    const Case cases[] = {
        {"create table t(a int)", CLASS_DDL},
        {"DROP table t", CLASS_DDL},
        {"Alter", CLASS_DDL},
        {"insert into t", CLASS_DML},
        {"UPDATE t", CLASS_DML},
        {"deLETE from t", CLASS_DML},
        {"select 1", CLASS_SELECT},
        {"call p()", CLASS_OTHER},
        {"set x 1", CLASS_OTHER},
        {"commit", CLASS_OTHER},
        {"(select 1)", CLASS_OTHER},
        {"/* c */ select 1", CLASS_OTHER},
        {"-- c\nselect 1", CLASS_OTHER},
        {"select;", CLASS_OTHER},
        {"selec", CLASS_OTHER},
        {"selects 1", CLASS_OTHER},
        {"select\v1", CLASS_OTHER},
    };
    StmtRig rig;
    for (const Case &entry : cases) {
        OCIStmt *stmt = rig.NewStmt();
        // Without a session there is no server to prepare it on.
        EXPECT_EQ(entry.stmt_class == CLASS_DDL ? 0 : -2, rig.PrepareText(stmt, entry.text));
        EXPECT_EQ(entry.stmt_class, stmt->stmt_class) << entry.text;
        EXPECT_EQ(1, stmt->prepared);
    }
}

TEST(StmtPrepare, UpperCaseSelectAndSelectBetweenBlanksAreClass3) {
    StmtRig rig;
    OCIStmt *stmt = rig.NewStmt();
    rig.PrepareText(stmt, "SELECT A FROM T");
    EXPECT_EQ((uint32_t)CLASS_SELECT, stmt->stmt_class);
    stmt->stmt_class = CLASS_OTHER;
    rig.PrepareText(stmt, " \t\r\n select\nA FROM T");
    EXPECT_EQ((uint32_t)CLASS_SELECT, stmt->stmt_class);
    stmt->stmt_class = CLASS_OTHER;
    rig.PrepareText(stmt, "\tselect");
    EXPECT_EQ((uint32_t)CLASS_SELECT, stmt->stmt_class);
}

TEST(StmtPrepare, OnlyTheGivenLengthOfAnUnterminatedTextCounts) {
    StmtRig rig;
    rig.Logon();
    OCIStmt *stmt = rig.NewStmt();
    const OCIText text[] = {'s', 'e', 'l', 'e', 'c', 't', ' ', '1', 'X', 'X'};
    rig.Exchange(Hex("3F 00000017 'PREPARE ST0 AS select 1' 00 00000000"), Ascii("K"));
    EXPECT_EQ(0, OCIStmtPrepare(stmt, rig.err, text, 8, 0, 0));
    EXPECT_EQ((uint32_t)CLASS_SELECT, stmt->stmt_class);
    EXPECT_STREQ("select 1", stmt->text);
    rig.PrepareText(stmt, std::string("create\0 x", 9));
    EXPECT_EQ((uint32_t)CLASS_DDL, stmt->stmt_class);
}

TEST(StmtPrepare, AllBlankTextIsClass0AndStaysTheCallers) {
    StmtRig rig;
    rig.Logon();
    OCIStmt *stmt = rig.NewStmt();
    char *text = new char[6];
    memcpy(text, " \t\r\n ", 6);
    rig.Exchange(Hex("3F 00000014 'PREPARE ST0 AS ' 20 09 0D 0A 20 00 00000000"), Ascii("K"));
    EXPECT_EQ(0, OCIStmtPrepare(stmt, rig.err, Text(text), 5, 0, 0));
    EXPECT_EQ((uint32_t)CLASS_OTHER, stmt->stmt_class);
    EXPECT_STREQ(" \t\r\n ", text);
    delete[] text;
}

TEST(StmtPrepare, FailureLeavesTheStatementPreparedWithoutText) {
    StmtRig rig;
    rig.Logon();
    OCIStmt *stmt = rig.NewStmt();
    rig.Exchange(Hex("3F 0000001E 'PREPARE ST0 AS SELECT A FROM T' 00 00000000"),
                 Hex("'E' 00000012 '[E10049] no such T' 'K'"));
    EXPECT_EQ(-1, rig.PrepareText(stmt, "SELECT A FROM T"));
    EXPECT_EQ("[E10049] no such T", rig.Error());
    EXPECT_EQ(1, stmt->prepared);
    EXPECT_EQ(nullptr, stmt->text);
    EXPECT_EQ((uint32_t)CLASS_SELECT, stmt->stmt_class);
    EXPECT_EQ(0, stmt->bind_count);
    EXPECT_EQ(0, stmt->define_count);
}

TEST(StmtPrepare, PendingStatementHasNothingToPrepareOn) {
    OCIEnv *env = nullptr;
    void *err = nullptr;
    void *stmt = nullptr;
    ASSERT_EQ(0, OCIEnvCreate(&env, 0, nullptr, nullptr, nullptr, nullptr, 0, nullptr));
    ASSERT_EQ(0, OCIHandleAlloc(env, &err, OCI_HTYPE_ERROR, 0, nullptr));
    ASSERT_EQ(0, OCIHandleAlloc(env, &stmt, OCI_HTYPE_STMT, 0, nullptr));
    EXPECT_EQ(-2, OCIStmtPrepare((OCIStmt *)stmt, (OCIError *)err, Text("SELECT 1"), 8, 0, 0));
    EXPECT_EQ("", ErrorOf((OCIError *)err));
    OCIHandleFree(stmt, OCI_HTYPE_STMT);
    OCIHandleFree(err, OCI_HTYPE_ERROR);
    OCIHandleFree(env, OCI_HTYPE_ENV);
}

TEST(StmtPrepare, PreparingAgainDropsBindsAndDefinesAndKeepsTheRest) {
    StmtRig rig;
    rig.Logon();
    OCIStmt *stmt = rig.Prepare("SELECT A FROM T WHERE A=?");
    int32_t value = 7;
    int32_t out[2] = {};
    ASSERT_EQ(0, rig.Bind(stmt, 1, &value, 4, DTY_INT));
    ASSERT_EQ(0, rig.Define(stmt, 1, out, 4, DTY_INT));
    rig.Exchange(FrameArgs("? ST0 ", 1) + Hex("0000 0001 0005 00000004 00000007"),
                 OneIntResult() + Row({Int32(41)}) + Row({Int32(42)}) + Ascii("K"));
    ASSERT_EQ(0, rig.Execute(stmt, 2));
    EXPECT_EQ(42, out[1]);
    EXPECT_EQ(2u, stmt->rows_total);

    rig.Exchange(Hex("3F 0000000F 'DEALLOCATE ST0;' 00 00000000"), Ascii("K"));
    rig.Exchange(Frame("PREPARE ST1 AS SELECT B FROM T"), Ascii("K"));
    ASSERT_EQ(0, rig.PrepareText(stmt, "SELECT B FROM T"));
    EXPECT_EQ(0, stmt->bind_count);
    EXPECT_EQ(nullptr, stmt->binds);
    EXPECT_EQ(0, stmt->define_count);
    EXPECT_EQ(nullptr, stmt->defines);
    EXPECT_EQ(1, stmt->defined);
    EXPECT_EQ(2u, stmt->rows_fetched);
    EXPECT_EQ(2u, stmt->rows_total);

    // No define is left, and the rows go nowhere.
    out[0] = 0;
    rig.Exchange(FrameArgs("? ST1 ", 0), OneIntResult() + Row({Int32(43)}) + Ascii("K"));
    EXPECT_EQ(0, rig.Execute(stmt, 1));
    EXPECT_EQ(0, out[0]);
    EXPECT_EQ(3u, stmt->rows_total);
}

TEST(StmtPrepare, TextReadFromTheStatementCanBePreparedAgain) {
    StmtRig rig;
    rig.Logon();
    OCIStmt *stmt = rig.Prepare("SELECT 1");
    const OCIText *text = nullptr;
    ASSERT_EQ(0, OCIAttrGet(stmt, OCI_HTYPE_STMT, &text, nullptr, OCI_ATTR_STATEMENT, rig.err));
    rig.Exchange(Frame("DEALLOCATE ST0;"), Ascii("K"));
    rig.Exchange(Frame("PREPARE ST1 AS SELECT 1"), Ascii("K"));
    EXPECT_EQ(0, OCIStmtPrepare(stmt, rig.err, text, 8, 0, 0));
    EXPECT_STREQ("SELECT 1", stmt->text);

    EXPECT_EQ(0, rig.PrepareText(stmt, "DROP TABLE T"));
    ASSERT_EQ(0, OCIAttrGet(stmt, OCI_HTYPE_STMT, &text, nullptr, OCI_ATTR_STATEMENT, rig.err));
    EXPECT_EQ(0, OCIStmtPrepare(stmt, rig.err, text, 12, 0, 0));
    EXPECT_STREQ("DROP TABLE T", stmt->ddl_text);
    EXPECT_EQ(nullptr, stmt->text);
}

TEST(StmtExecute, ChecksItsArgumentsInOrder) {
    StmtRig rig;
    rig.Logon();
    OCIStmt *stmt = rig.NewStmt();
    EXPECT_EQ(-2, OCIStmtExecute(nullptr, nullptr, nullptr, 1, 0, nullptr, nullptr, 0));
    EXPECT_EQ(-2, OCIStmtExecute(nullptr, nullptr, rig.err, 1, 0, nullptr, nullptr, 0));
    EXPECT_EQ("Parameter svchp is NULL.", rig.Error());
    EXPECT_EQ(-2, OCIStmtExecute(rig.svc, nullptr, rig.err, 1, 0, nullptr, nullptr, 0));
    EXPECT_EQ("Parameter stmtp is NULL.", rig.Error());
    EXPECT_EQ(-1, OCIStmtExecute(rig.svc, stmt, rig.err, 1, 0, nullptr, nullptr, 0));
    EXPECT_EQ("Execute without preparing.", rig.Error());
}

TEST(StmtExecute, DdlAndDmlNeedIterations) {
    StmtRig rig;
    rig.Logon();
    OCIStmt *ddl = rig.NewStmt();
    ASSERT_EQ(0, rig.PrepareText(ddl, "CREATE TABLE T(A INT)"));
    EXPECT_EQ(-1, rig.Execute(ddl, 0));
    EXPECT_EQ("iters must be greater than 0.", rig.Error());
    OCIStmt *dml = rig.Prepare("DELETE FROM T");
    EXPECT_EQ(-1, rig.Execute(dml, 0));
    EXPECT_EQ("iters must be greater than 0.", rig.Error());
}

TEST(StmtExecute, DdlGoesOutAtExecuteAndNeitherCommitsNorFetches) {
    StmtRig rig;
    rig.Logon();
    OCIStmt *stmt = rig.NewStmt();
    ASSERT_EQ(0, rig.PrepareText(stmt, "CREATE TABLE T(A INT)"));
    EXPECT_STREQ("CREATE TABLE T(A INT)", stmt->ddl_text);
    EXPECT_EQ(nullptr, stmt->text);
    rig.Exchange(Hex("3F 00000015 'CREATE TABLE T(A INT)' 00 00000000"), Ascii("K"));
    EXPECT_EQ(0, rig.Execute(stmt, 1, OCI_COMMIT_ON_SUCCESS));
    EXPECT_EQ(nullptr, stmt->ddl_text);
}

TEST(StmtExecute, DdlRunTwicePassesNoTextTheSecondTime) {
    StmtRig rig;
    rig.Logon();
    OCIStmt *stmt = rig.NewStmt();
    ASSERT_EQ(0, rig.PrepareText(stmt, "DROP TABLE T"));
    rig.Exchange(Frame("DROP TABLE T"), Ascii("K"));
    EXPECT_EQ(0, rig.Execute(stmt, 1));
    EXPECT_EQ(-3, rig.Execute(stmt, 1));
}

TEST(StmtExecute, DdlTextStaysReadableForWhoGotItBefore) {
    StmtRig rig;
    rig.Logon();
    OCIStmt *stmt = rig.NewStmt();
    ASSERT_EQ(0, rig.PrepareText(stmt, "DROP TABLE T"));
    const char *text = nullptr;
    uint32_t bytes = 0;
    ASSERT_EQ(0, OCIAttrGet(stmt, OCI_HTYPE_STMT, &text, &bytes, OCI_ATTR_STATEMENT, rig.err));
    rig.Exchange(Frame("DROP TABLE T"), Ascii("K"));
    EXPECT_EQ(0, rig.Execute(stmt, 1));
    EXPECT_EQ(12u, bytes);
    EXPECT_STREQ("DROP TABLE T", text);
}

TEST(StmtExecute, DdlThatIsRefusedGivesTheNativeCodeAndTheText) {
    StmtRig rig;
    rig.Logon();
    OCIStmt *stmt = rig.NewStmt();
    ASSERT_EQ(0, rig.PrepareText(stmt, "DROP TABLE T"));
    rig.Exchange(Frame("DROP TABLE T"), Refusal("[E17005] in use"));
    EXPECT_EQ(-17, rig.Execute(stmt, 1));
    EXPECT_EQ("[E17005] in use", rig.Error());
}

TEST(StmtExecute, CallIsClass0AndNothingRuns) {
    StmtRig rig;
    rig.Logon();
    OCIStmt *stmt = rig.NewStmt();
    rig.Exchange(Hex("3F 00000017 'PREPARE ST0 AS call p()' 00 00000000"), Ascii("K"));
    ASSERT_EQ(0, rig.PrepareText(stmt, "call p()"));
    EXPECT_EQ((uint32_t)CLASS_OTHER, stmt->stmt_class);
    EXPECT_EQ(0, rig.Execute(stmt, 1));
    EXPECT_EQ(0, rig.Execute(stmt, 0));
}

TEST(StmtExecute, Class0StillCommits) {
    StmtRig rig;
    rig.Logon();
    OCIStmt *stmt = rig.Prepare("call p()");
    rig.Exchange(Hex("3F 00000007 'COMMIT;' 00 00000000"), Ascii("K"));
    EXPECT_EQ(0, rig.Execute(stmt, 1, OCI_COMMIT_ON_SUCCESS));
}

TEST(StmtExecute, InsertWithThreeIterationsReloadsItsBindsEachTime) {
    StmtRig rig;
    rig.Logon();
    OCIStmt *stmt = rig.Prepare("INSERT INTO T VALUES(?)");
    int32_t values[] = {1, -2, 300000};
    ASSERT_EQ(0, rig.Bind(stmt, 1, values, 4, DTY_INT));
    const Bytes frame = Hex("3F 00000006 '? ST0 ' 00 00000001");
    // No name, direction 1, INTEGER of 4 bytes.
    const Bytes head = Hex("0000 0001 0005 00000004");
    // One row inserted, with a bookmark of 2 bytes.
    const Bytes inserted = Hex("'I' 00000002 AABB 'K'");
    rig.Exchange(frame + head + Hex("00000001"), inserted);
    rig.Exchange(frame + head + Hex("FFFFFFFE"), inserted);
    rig.Exchange(frame + head + Hex("000493E0"), inserted);
    EXPECT_EQ(0, rig.Execute(stmt, 3));
}

TEST(StmtExecute, FailedIterationStopsNothingAndOnlyTheLastResultCounts) {
    StmtRig rig;
    rig.Logon();
    OCIStmt *stmt = rig.Prepare("UPDATE T SET A=1");
    const Bytes updated = Hex("'U' 00000001 'K'");
    rig.AnswerExecute(updated);
    rig.AnswerExecute(Refusal("[E13001] twice"));
    rig.AnswerExecute(updated);
    EXPECT_EQ(0, rig.Execute(stmt, 3));
    rig.AnswerExecute(updated);
    rig.AnswerExecute(Refusal("[E13001] twice"));
    EXPECT_EQ(-13, rig.Execute(stmt, 2));
    EXPECT_EQ("[E13001] twice", rig.Error());
}

TEST(StmtExecute, Mode32CommitsOnceBehindAllIterations) {
    StmtRig rig;
    rig.Logon();
    OCIStmt *stmt = rig.Prepare("DELETE FROM T");
    rig.AnswerExecute(Hex("'D' 00000003 'K'"));
    rig.AnswerExecute(Hex("'D' 00000000 'K'"));
    rig.Exchange(Frame("COMMIT;"), Ascii("K"));
    EXPECT_EQ(0, rig.Execute(stmt, 2, OCI_COMMIT_ON_SUCCESS));
}

TEST(StmtExecute, Mode32CommitsAfterAFailureTooAndHidesIt) {
    StmtRig rig;
    rig.Logon();
    OCIStmt *stmt = rig.Prepare("DELETE FROM T");
    rig.AnswerExecute(Refusal("[E13001] twice"));
    rig.Exchange(Frame("COMMIT;"), Ascii("K"));
    EXPECT_EQ(0, rig.Execute(stmt, 1, OCI_COMMIT_ON_SUCCESS));
}

TEST(StmtExecute, NoOtherModeCommits) {
    StmtRig rig;
    rig.Logon();
    OCIStmt *stmt = rig.Prepare("DELETE FROM T");
    rig.AnswerExecute(Hex("'D' 00000003 'K'"));
    EXPECT_EQ(0, rig.Execute(stmt, 1, 33));
}

TEST(StmtExecute, Mode32WithoutASessionPassesTheNativeCodeOn) {
    StmtRig rig;
    rig.Logon();
    OCIStmt *stmt = rig.Prepare("call p()");
    OCISvcCtx *bare = NewHandle<OCISvcCtx>(rig.env, OCI_HTYPE_SVCCTX);
    EXPECT_EQ(-2, OCIStmtExecute(bare, stmt, rig.err, 1, 0, nullptr, nullptr, 32));
    EXPECT_EQ("", rig.Error());
    OCIHandleFree(bare, OCI_HTYPE_SVCCTX);
}

TEST(StmtExecute, SelectRunsOnceCommitsAndThenFetches) {
    StmtRig rig;
    rig.Logon();
    OCIStmt *stmt = rig.Prepare("SELECT A FROM T");
    int32_t values[3] = {};
    uint16_t indicators[3] = {9, 9, 9};
    ASSERT_EQ(0, rig.Define(stmt, 1, values, 4, DTY_INT, indicators));
    rig.AnswerExecute(OneIntResult() + Row({Int32(5)}) + Row({Int32(6)}) + Row({Int32(7)}) +
                      Ascii("K"));
    rig.Exchange(Frame("COMMIT;"), Ascii("K"));
    EXPECT_EQ(0, rig.Execute(stmt, 3, OCI_COMMIT_ON_SUCCESS));
    EXPECT_EQ(5, values[0]);
    EXPECT_EQ(6, values[1]);
    EXPECT_EQ(7, values[2]);
    EXPECT_EQ(0, indicators[0]);
    EXPECT_EQ(3u, stmt->rows_fetched);
}

TEST(StmtExecute, SelectWithoutIterationsFetchesNothing) {
    StmtRig rig;
    rig.Logon();
    OCIStmt *stmt = rig.Prepare("SELECT A FROM T");
    rig.AnswerExecute(OneIntResult() + Row({Int32(5)}) + Ascii("K"));
    EXPECT_EQ(0, rig.Execute(stmt, 0));
    EXPECT_EQ(0u, stmt->rows_total);
}

TEST(StmtExecute, SelectWithIterationsNeedsADefine) {
    StmtRig rig;
    rig.Logon();
    OCIStmt *stmt = rig.Prepare("SELECT A FROM T");
    rig.AnswerExecute(OneIntResult() + Row({Int32(5)}) + Ascii("K"));
    EXPECT_EQ(-1, rig.Execute(stmt, 1));
    EXPECT_EQ("No definition before executing.", rig.Error());
}

TEST(StmtExecute, EmptyResultGives100) {
    StmtRig rig;
    rig.Logon();
    OCIStmt *stmt = rig.Prepare("SELECT A FROM T");
    int32_t value = 3;
    ASSERT_EQ(0, rig.Define(stmt, 1, &value, 4, DTY_INT));
    rig.AnswerExecute(OneIntResult() + Ascii("K"));
    EXPECT_EQ(100, rig.Execute(stmt, 1));
    EXPECT_EQ(3, value);
}

TEST(StmtExecute, DynamicDefineGives99) {
    StmtRig rig;
    rig.Logon();
    OCIStmt *stmt = rig.Prepare("SELECT A FROM T");
    ASSERT_EQ(0, rig.Define(stmt, 1, nullptr, 10, DTY_CHAR, nullptr, nullptr, nullptr,
                            OCI_DYNAMIC_FETCH));
    rig.AnswerExecute(Result({Column("A", 30, 10)}) + Row({Ascii("abc")}) + Ascii("K"));
    EXPECT_EQ(99, rig.Execute(stmt, 1));
}

TEST(StmtExecute, SelectLeavesTheColumnWidthInTheFirstIndicator) {
    StmtRig rig;
    rig.Logon();
    OCIStmt *stmt = rig.Prepare("SELECT A,B,C FROM T");
    int64_t number = 0;
    char text[8];
    char other[8];
    uint16_t indicators[3] = {9, 9, 9};
    ASSERT_EQ(0, rig.Define(stmt, 1, &number, 8, DTY_INT, &indicators[0]));
    ASSERT_EQ(0, rig.Define(stmt, 2, text, 8, DTY_CHAR, &indicators[1]));
    ASSERT_EQ(0, rig.Define(stmt, 3, other, 8, DTY_STR));
    // The third is wider than 16 bits can say.
    rig.AnswerExecute(Result({Column("A", 6), Column("B", 30, 0x10014), Column("C", 30, 10)}) +
                      Ascii("K"));
    EXPECT_EQ(0, rig.Execute(stmt, 0));
    EXPECT_EQ(8, indicators[0]);
    EXPECT_EQ(0x14, indicators[1]);
    EXPECT_EQ(9, indicators[2]);
}

TEST(StmtExecute, IndicatorOfAColumnPastTheLastBecomes0AndTheResultMinus3) {
    StmtRig rig;
    rig.Logon();
    OCIStmt *stmt = rig.Prepare("SELECT A FROM T");
    int32_t values[2] = {};
    uint16_t indicators[2] = {9, 9};
    ASSERT_EQ(0, rig.Define(stmt, 1, &values[0], 4, DTY_INT, &indicators[0]));
    ASSERT_EQ(0, rig.Define(stmt, 7, &values[1], 4, DTY_INT, &indicators[1]));
    rig.AnswerExecute(OneIntResult() + Ascii("K"));
    EXPECT_EQ(-3, rig.Execute(stmt, 0));
    EXPECT_EQ(4, indicators[0]);
    EXPECT_EQ(0, indicators[1]);
}

TEST(StmtExecute, FailedSelectWithIndicatorsAndNoIterationsGivesMinus3) {
    StmtRig rig;
    rig.Logon();
    OCIStmt *stmt = rig.Prepare("SELECT A FROM T");
    int32_t value = 0;
    uint16_t indicator = 9;
    ASSERT_EQ(0, rig.Define(stmt, 1, &value, 4, DTY_INT, &indicator));
    rig.AnswerExecute(Refusal("[E13001] no"));
    EXPECT_EQ(-3, rig.Execute(stmt, 0));
    EXPECT_EQ(0, indicator);
}

TEST(StmtExecute, FailedSelectWithIterationsGivesTheResultOfTheFetch) {
    StmtRig rig;
    rig.Logon();
    OCIStmt *stmt = rig.Prepare("SELECT A FROM T");
    int32_t value = 0;
    uint16_t indicator = 9;
    ASSERT_EQ(0, rig.Define(stmt, 1, &value, 4, DTY_INT, &indicator));
    rig.AnswerExecute(Refusal("[E13001] no"));
    EXPECT_EQ(-1, rig.Execute(stmt, 1));
    EXPECT_EQ("Fetch without execution.", rig.Error());
    EXPECT_EQ(0, indicator);
    EXPECT_EQ(1u, stmt->rows_total);
}

TEST(StmtExecute, FailedSelectWithoutIterationsOrIndicatorsGivesItsOwnResult) {
    StmtRig rig;
    rig.Logon();
    OCIStmt *stmt = rig.Prepare("SELECT A FROM T");
    int32_t value = 0;
    ASSERT_EQ(0, rig.Define(stmt, 1, &value, 4, DTY_INT));
    rig.AnswerExecute(Refusal("[E13001] no"));
    EXPECT_EQ(-13, rig.Execute(stmt, 0));
    EXPECT_EQ("[E13001] no", rig.Error());
}

TEST(StmtExecute, SelectAfterAFailedPrepareIsNotRun) {
    StmtRig rig;
    rig.Logon();
    OCIStmt *stmt = rig.NewStmt();
    rig.Exchange(Frame("PREPARE ST0 AS SELECT A FROM T"), Refusal("[E10049] no"));
    ASSERT_EQ(-1, rig.PrepareText(stmt, "SELECT A FROM T"));
    EXPECT_EQ(-1, rig.Execute(stmt, 0));
    EXPECT_EQ("[E10049] no", rig.Error());
}

TEST(StmtExecute, MissingPieceGives99BeforeAnyNativeCall) {
    StmtRig rig;
    rig.Logon();
    OCIStmt *stmt = rig.Prepare("INSERT INTO T VALUES(?)");
    ASSERT_EQ(0, rig.Bind(stmt, 1, nullptr, 6, DTY_STR, nullptr, OCI_DATA_AT_EXEC));
    EXPECT_EQ(99, rig.Execute(stmt, 1));
    // The piece test stands before the test of the iterations.
    EXPECT_EQ(99, rig.Execute(stmt, 0));

    void *handle = nullptr;
    uint32_t type = 0;
    uint32_t iteration = 9;
    uint32_t index = 9;
    uint8_t in_out = 0;
    uint8_t piece = 9;
    ASSERT_EQ(
        0, OCIStmtGetPieceInfo(stmt, rig.err, &handle, &type, &in_out, &iteration, &index, &piece));
    EXPECT_EQ((uint32_t)OCI_HTYPE_BIND, type);
    EXPECT_EQ(OCI_FIRST_PIECE, piece);
    uint32_t bytes = 2;
    ASSERT_EQ(0, OCIStmtSetPieceInfo(handle, type, rig.err, "ab", &bytes, OCI_FIRST_PIECE, nullptr,
                                     nullptr));
    EXPECT_EQ(99, rig.Execute(stmt, 1));
    bytes = 1;
    ASSERT_EQ(0, OCIStmtSetPieceInfo(handle, type, rig.err, "c", &bytes, OCI_LAST_PIECE, nullptr,
                                     nullptr));
    // The whole value size goes out, zero-filled.
    rig.Exchange(FrameArgs("? ST0 ", 1) + Hex("0000 0001 001E 00000006 'abc' 000000"),
                 Hex("'I' 00000000 'K'"));
    EXPECT_EQ(0, rig.Execute(stmt, 1));
}

TEST(StmtExecute, StatementWhoseSessionIsGoneIsRefused) {
    StmtRig rig;
    rig.Logon();
    OCIStmt *stmt = rig.Prepare("DELETE FROM T");
    rig.ScriptCommand("COMMIT;");
    ASSERT_EQ(0, OCILogoff(rig.svc, rig.err));
    rig.svc = NewHandle<OCISvcCtx>(rig.env, OCI_HTYPE_SVCCTX);
    EXPECT_EQ(-2, rig.Execute(stmt, 1));
    EXPECT_EQ("", rig.Error());
    EXPECT_EQ(-2, rig.PrepareText(stmt, "DELETE FROM T"));
    OCIHandleFree(rig.svc, OCI_HTYPE_SVCCTX);
    rig.svc = nullptr;
}

TEST(StmtRelease, ChecksItsArgumentsInOrder) {
    StmtRig rig;
    EXPECT_EQ(-2, OCIStmtRelease(nullptr, nullptr, nullptr, 0, 0));
    EXPECT_EQ(-2, OCIStmtRelease(nullptr, rig.err, nullptr, 0, 0));
    EXPECT_EQ("Parameter stmtp is NULL.", rig.Error());
}

TEST(StmtRelease, TakesTheServerSideDownAndKeepsTheRecord) {
    StmtRig rig;
    rig.Logon();
    OCIStmt *stmt = rig.Prepare("SELECT A FROM T WHERE A=?");
    int32_t value = 1;
    int32_t out = 0;
    ASSERT_EQ(0, rig.Bind(stmt, 1, &value, 4, DTY_INT));
    ASSERT_EQ(0, rig.Define(stmt, 1, &out, 4, DTY_INT));
    rig.Exchange(Hex("3F 00000011 'DEALLOCATE `ST0`;' 00 00000000"), Ascii("K"));
    EXPECT_EQ(0, OCIStmtRelease(stmt, rig.err, Text("key"), 3, 7));
    EXPECT_EQ(1, stmt->bind_count);
    EXPECT_EQ(1, stmt->define_count);
    EXPECT_EQ(1, stmt->prepared);
    EXPECT_STREQ("SELECT A FROM T WHERE A=?", stmt->text);

    EXPECT_EQ(-1, rig.Execute(stmt, 0));
    EXPECT_EQ(-1, rig.Fetch(stmt, 1));
    EXPECT_EQ("Fetch without execution.", rig.Error());

    rig.Exchange(Frame("PREPARE ST1 AS SELECT A FROM T"), Ascii("K"));
    EXPECT_EQ(0, rig.PrepareText(stmt, "SELECT A FROM T"));
    EXPECT_EQ(0, stmt->bind_count);
}

TEST(StmtRelease, StatementThatWasNeverPreparedSendsNothing) {
    StmtRig rig;
    rig.Logon();
    OCIStmt *stmt = rig.NewStmt();
    EXPECT_EQ(0, OCIStmtRelease(stmt, rig.err, nullptr, 0, 0));
}
