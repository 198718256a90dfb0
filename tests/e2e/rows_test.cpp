// Results of many sizes, fetched one row at a time and in blocks, every value checked. From 2001
// rows on a background reader fills the result while it is fetched; where the fetch catches up with
// it, the fetch sleeps a second.
#include <cstring>
#include <vector>

#include "e2e/e2e_rig.h"

static constexpr int32_t BLOCK_ROWS = 1000;

// The table holds rows 1 to `rows`; every other value is a function of the row's number.
static std::string MakeTable(Application &app, int64_t rows) {
    std::string table = FreshName("ROWS");
    EXPECT_EQ(OCI_SUCCESS, app.Run("CREATE TABLE " + table +
                                   " (ID INTEGER, BIG BIGINT, REAL8 DOUBLE, WORDS VARCHAR(30), "
                                   "MAYBE VARCHAR(10))"));
    std::string insert = "INSERT INTO " + table +
                         " WITH RECURSIVE N(I) AS (SELECT 1 UNION ALL SELECT I + 1 FROM N" +
                         " WHERE I < " + std::to_string(rows) +
                         ") SELECT I, I * 3000000000, I / 8.0, 'row ' || I, " +
                         "CASE WHEN I % 3 = 0 THEN NULL ELSE 'm' || I END FROM N";
    EXPECT_EQ(OCI_SUCCESS, app.Run(insert)) << app.ErrorText();
    EXPECT_EQ(OCI_SUCCESS, OCITransCommit(app.svc, app.err, 0));
    return table;
}

struct Columns {
    std::vector<int32_t> id;
    std::vector<char> big;
    std::vector<double> real8;
    std::vector<char> words;
    std::vector<char> maybe;

    explicit Columns(size_t rows)
        : id(rows), big(rows * 24), real8(rows), words(rows * 31), maybe(rows * 11) {}
};

static void DefineAll(Application &app, OCIStmt *stmt, Columns &columns) {
    ASSERT_EQ(OCI_SUCCESS, app.Define(stmt, 1, columns.id.data(), 4, DTY_INT));
    ASSERT_EQ(OCI_SUCCESS, app.Define(stmt, 2, columns.big.data(), 24, DTY_STR));
    ASSERT_EQ(OCI_SUCCESS, app.Define(stmt, 3, columns.real8.data(), 8, DTY_DOUBLE));
    ASSERT_EQ(OCI_SUCCESS, app.Define(stmt, 4, columns.words.data(), 31, DTY_STR));
    ASSERT_EQ(OCI_SUCCESS, app.Define(stmt, 5, columns.maybe.data(), 11, DTY_STR));
}

static void CheckRow(const Columns &columns, size_t element, int64_t row) {
    ASSERT_EQ(row, columns.id[element]);
    ASSERT_STREQ(std::to_string(row * 3000000000).c_str(), &columns.big[element * 24]);
    ASSERT_EQ((double)row / 8.0, columns.real8[element]);
    ASSERT_STREQ(("row " + std::to_string(row)).c_str(), &columns.words[element * 31]);
}

class RowCounts : public testing::TestWithParam<int64_t> {};

TEST_P(RowCounts, OneAtATime) {
    Application app;
    int64_t rows = GetParam();
    std::string table = MakeTable(app, rows);
    OCIStmt *stmt = app.NewStmt();
    Columns columns(1);
    ASSERT_EQ(OCI_SUCCESS, app.Prepare(stmt, "SELECT * FROM " + table + " ORDER BY ID"));
    DefineAll(app, stmt, columns);
    ASSERT_EQ(OCI_SUCCESS, app.Execute(stmt, 0)) << app.ErrorText();
    for (int64_t row = 1; row <= rows; row++) {
        columns.maybe[0] = 'x';
        ASSERT_EQ(OCI_SUCCESS, app.Fetch(stmt)) << app.ErrorText();
        CheckRow(columns, 0, row);
        std::string maybe = row % 3 == 0 ? "" : "m" + std::to_string(row);
        ASSERT_STREQ(maybe.c_str(), columns.maybe.data());
    }
    EXPECT_EQ(OCI_NO_DATA, app.Fetch(stmt));
    EXPECT_EQ(OCI_NO_DATA, app.Fetch(stmt));
    EXPECT_EQ(OCI_SUCCESS, OCIHandleFree(stmt, OCI_HTYPE_STMT));
}

TEST_P(RowCounts, InBlocks) {
    Application app;
    int64_t rows = GetParam();
    std::string table = MakeTable(app, rows);
    OCIStmt *stmt = app.NewStmt();
    Columns columns(BLOCK_ROWS);
    ASSERT_EQ(OCI_SUCCESS, app.Prepare(stmt, "SELECT * FROM " + table + " ORDER BY ID"));
    DefineAll(app, stmt, columns);
    ASSERT_EQ(OCI_SUCCESS, app.Execute(stmt, 0)) << app.ErrorText();
    int64_t seen = 0;
    for (int32_t status = OCI_SUCCESS; status == OCI_SUCCESS;) {
        status = app.Fetch(stmt, BLOCK_ROWS);
        uint32_t total = 0;
        ASSERT_EQ(OCI_SUCCESS,
                  OCIAttrGet(stmt, OCI_HTYPE_STMT, &total, nullptr, OCI_ATTR_ROW_COUNT, app.err));
        for (int64_t row = seen; row < total; row++) {
            CheckRow(columns, (size_t)(row - seen), row + 1);
        }
        seen = total;
        ASSERT_TRUE(status == OCI_SUCCESS || status == OCI_NO_DATA) << app.ErrorText();
    }
    EXPECT_EQ(rows, seen);
    EXPECT_EQ(OCI_SUCCESS, OCIHandleFree(stmt, OCI_HTYPE_STMT));
}

INSTANTIATE_TEST_SUITE_P(AroundTheFirstBlock, RowCounts,
                         testing::Values(1, 1999, 2000, 2001, 250000));

TEST(Rows, AnEmptyResultIsTheEndOfTheData) {
    Application app;
    std::string table = FreshName("EMPTY");
    ASSERT_EQ(OCI_SUCCESS, app.Run("CREATE TABLE " + table + " (A INTEGER)"));
    OCIStmt *stmt = app.NewStmt();
    int32_t value = 0;
    ASSERT_EQ(OCI_SUCCESS, app.Prepare(stmt, "SELECT A FROM " + table));
    ASSERT_EQ(OCI_SUCCESS, app.Define(stmt, 1, &value, 4, DTY_INT));
    EXPECT_EQ(OCI_NO_DATA, app.Execute(stmt, 1));
    EXPECT_EQ(OCI_SUCCESS, OCIHandleFree(stmt, OCI_HTYPE_STMT));
}

TEST(Rows, AStatementIsFreedInTheMiddleOfALongResult) {
    Application app;
    std::string table = MakeTable(app, 20000);
    OCIStmt *stmt = app.NewStmt();
    int32_t id = 0;
    ASSERT_EQ(OCI_SUCCESS, app.Prepare(stmt, "SELECT ID FROM " + table + " ORDER BY ID"));
    ASSERT_EQ(OCI_SUCCESS, app.Define(stmt, 1, &id, 4, DTY_INT));
    ASSERT_EQ(OCI_SUCCESS, app.Execute(stmt, 1));
    EXPECT_EQ(1, id);
    EXPECT_EQ(OCI_SUCCESS, OCIHandleFree(stmt, OCI_HTYPE_STMT));
    EXPECT_EQ("20000", app.SelectText("SELECT COUNT(*) FROM " + table));
}

TEST(Rows, ASecondStatementWaitsForTheFirstOnesRows) {
    Application app;
    std::string table = MakeTable(app, 5000);
    OCIStmt *first = app.NewStmt();
    int32_t id = 0;
    ASSERT_EQ(OCI_SUCCESS, app.Prepare(first, "SELECT ID FROM " + table + " ORDER BY ID"));
    ASSERT_EQ(OCI_SUCCESS, app.Define(first, 1, &id, 4, DTY_INT));
    ASSERT_EQ(OCI_SUCCESS, app.Execute(first, 0));
    EXPECT_EQ("5000", app.SelectText("SELECT COUNT(*) FROM " + table));
    for (int32_t row = 1; row <= 5000; row++) {
        ASSERT_EQ(OCI_SUCCESS, app.Fetch(first));
        ASSERT_EQ(row, id);
    }
    EXPECT_EQ(OCI_NO_DATA, app.Fetch(first));
    EXPECT_EQ(OCI_SUCCESS, OCIHandleFree(first, OCI_HTYPE_STMT));
}
