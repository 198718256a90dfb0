// Metadata: what a statement says of its result, and a column of itself.
#include "client/metadata.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <string>

#include "client/tree.h"
#include "platform/wait.h"
#include "stmt/rows.h"
#include "values/types.h"

namespace {

// A statement with one result: 3 columns announced, 7 rows stored, 5 affected.
struct Described {
    Tree tree;
    ResultSet *result;

    Described() {
        result = NewResultSet(tree.stmt);
        EXPECT_NE(nullptr, result);
        result->kind = RESULT_ROWS;
        result->field_count = 3;
        result->fields = (FieldDesc *)MemAlloc(3 * sizeof(FieldDesc));
        result->store.row_count = 7;
        result->affected = 5;
    }

    void Execute() {
        tree.stmt->current = result;
        tree.stmt->rows_complete = 1;
    }
};

// The 8 bytes at `value` after a get, which began as 0x1111111111111111.
uint64_t StmtBytes(TVCIStmt *stmt, int32_t attribute, int32_t expected) {
    uint64_t value = 0x1111111111111111;
    EXPECT_EQ(expected, TVCIAttrGet(stmt, attribute, &value, 0)) << attribute;
    return value;
}

constexpr uint64_t UNTOUCHED = 0x1111111111111111;
constexpr uint64_t ZERO_WORD = 0x1111111100000000;

TEST(StmtMetadata, WithoutAResultEveryCodeReadsAsA32BitZero) {
    Tree tree;
    for (int32_t attribute : {61, 62, 63, 64, 0, 1, 41, 43, 60, 65, 999}) {
        EXPECT_EQ(ZERO_WORD, StmtBytes(tree.stmt, attribute, 0)) << attribute;
    }
}

TEST(StmtMetadata, WithoutAResultCodes61And64ReadZeroAndRaiseNoError) {
    Tree tree;
    EXPECT_EQ(ZERO_WORD, StmtBytes(tree.stmt, 64, 0));
    EXPECT_EQ(ZERO_WORD, StmtBytes(tree.stmt, 61, 0));
    EXPECT_EQ("none", ErrorOf(tree.stmt));
}

TEST(StmtMetadata, WithoutAResultCode42IsAnswered) {
    Tree tree;
    int32_t mode = 2;
    ASSERT_EQ(0, TVCIAttrSet(tree.stmt, 42, &mode, 0));
    EXPECT_EQ(0x1111111100000002u, StmtBytes(tree.stmt, 42, 0));
}

TEST(StmtMetadata, ExecutedResultIsAnswered) {
    Described rig;
    rig.Execute();
    EXPECT_EQ(0x1111111100000003u, StmtBytes(rig.tree.stmt, 61, 0));
    EXPECT_EQ(0x1111111100000005u, StmtBytes(rig.tree.stmt, 63, 0));
    EXPECT_EQ(0x1111111100000007u, StmtBytes(rig.tree.stmt, 64, 0));
}

TEST(StmtMetadata, RowCountIsA64BitWord) {
    Described rig;
    rig.Execute();
    EXPECT_EQ(7u, StmtBytes(rig.tree.stmt, 62, 0));
    rig.result->store.row_count = 0x123456789LL;
    EXPECT_EQ(0x123456789u, StmtBytes(rig.tree.stmt, 62, 0));
    EXPECT_EQ(0x1111111123456789u, StmtBytes(rig.tree.stmt, 64, 0));
    rig.result->store.row_count = 0;
}

TEST(StmtMetadata, WithAResultOtherCodesAreUnknown) {
    Described rig;
    rig.Execute();
    for (int32_t attribute : {0, 41, 43, 60, 65, 999}) {
        EXPECT_EQ(UNTOUCHED, StmtBytes(rig.tree.stmt, attribute, -6)) << attribute;
    }
    EXPECT_EQ("none", ErrorOf(rig.tree.stmt));
}

TEST(StmtMetadata, DescribedResultCountsBeforeItIsExecuted) {
    Described rig;
    EXPECT_EQ(0x1111111100000003u, StmtBytes(rig.tree.stmt, 61, 0));
    EXPECT_EQ(0x1111111100000007u, StmtBytes(rig.tree.stmt, 64, 0));
    EXPECT_EQ(UNTOUCHED, StmtBytes(rig.tree.stmt, 63, 0));
    rig.tree.stmt->rows_complete = 1;
    EXPECT_EQ(0x1111111100000005u, StmtBytes(rig.tree.stmt, 63, 0));
}

TEST(StmtMetadata, RowsOfADescribedResultAreNotWaitedFor) {
    Described rig;
    EXPECT_EQ(ZERO_WORD, StmtBytes(rig.tree.stmt, 62, 0));
}

TEST(StmtMetadata, TheResultBeingReadIsTheOneThatIsDescribed) {
    Described rig;
    ResultSet *second = NewResultSet(rig.tree.stmt);
    ASSERT_NE(nullptr, second);
    second->affected = 9;
    rig.tree.stmt->current = second;
    rig.tree.stmt->rows_complete = 1;
    EXPECT_EQ(ZERO_WORD, StmtBytes(rig.tree.stmt, 61, 0));
    EXPECT_EQ(0x1111111100000009u, StmtBytes(rig.tree.stmt, 63, 0));
}

TEST(StmtMetadata, AffectedRowsAreLeftAloneWhileRowsArrive) {
    Described rig;
    rig.Execute();
    rig.tree.stmt->rows_complete = 0;
    EXPECT_EQ(UNTOUCHED, StmtBytes(rig.tree.stmt, 63, 0));
}

// The wait of the row count, seen from outside: each step is counted, and the rows are complete
// before step `complete_at`, if it is not 0.
std::atomic<int> steps;
int complete_at;
TVCIStmt *waiting_stmt;

void CountStep(WaitPoint point) {
    EXPECT_EQ(WAIT_ROW_COUNT, point);
    steps++;
    waiting_stmt->current->store.row_count++;
    if (steps == complete_at) {
        waiting_stmt->rows_complete = 1;
    }
}

TEST(StmtMetadata, RowCountWaitsForTheReader) {
    Described rig;
    rig.Execute();
    rig.tree.stmt->rows_complete = 0;
    waiting_stmt = rig.tree.stmt;
    steps = 0;
    complete_at = 1;
    WaitSetHook(CountStep);
    auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(8u, StmtBytes(rig.tree.stmt, 62, 0));
    auto waited = std::chrono::steady_clock::now() - start;
    WaitSetHook(nullptr);
    EXPECT_EQ(1, steps);
    EXPECT_GE(waited, std::chrono::milliseconds(POLL_STEP_MS));
    rig.result->store.row_count = 0;
}

TEST(StmtMetadata, CompleteRowCountDoesNotWait) {
    Described rig;
    rig.Execute();
    waiting_stmt = rig.tree.stmt;
    steps = 0;
    complete_at = 0;
    WaitSetHook(CountStep);
    EXPECT_EQ(7u, StmtBytes(rig.tree.stmt, 62, 0));
    WaitSetHook(nullptr);
    EXPECT_EQ(0, steps);
}

TEST(StmtMetadata, RowCountThatStaysIncompleteAfter30WaitsIsStoredAsItStands) {
    Described rig;
    rig.Execute();
    rig.tree.stmt->rows_complete = 0;
    waiting_stmt = rig.tree.stmt;
    steps = 0;
    complete_at = 0;
    WaitSetHook(CountStep);
    WaitSkipSleeps(true);
    EXPECT_EQ(37u, StmtBytes(rig.tree.stmt, 62, -14));
    WaitSkipSleeps(false);
    WaitSetHook(nullptr);
    EXPECT_EQ(30, steps);
    rig.tree.stmt->rows_complete = 1;
    rig.result->store.row_count = 0;
}

// One column of a result and its handle.
struct Column {
    char name[300] = "AMOUNT";
    char attribute[300] = "NET";
    FieldDesc field = {};
    ColumnHandle handle = {10, 1, nullptr};

    explicit Column(int32_t type, int32_t size = -1, int32_t flags = 0) {
        field.name = name;
        field.type = type;
        field.size = size;
        field.flags = flags;
        handle.field = &field;
    }
};

constexpr int32_t NO_LENGTH = -77;

// A word of a column; the length must end as `expected_length`, NO_LENGTH for one left alone.
int32_t ColumnWord(Column &column, int32_t attribute, int32_t expected_length) {
    int32_t words[2] = {-77, -77};
    int32_t length = NO_LENGTH;
    EXPECT_EQ(0, TVCIGetResultAttr(&column.handle, 10, words, &length, attribute)) << attribute;
    EXPECT_EQ(expected_length, length) << attribute;
    EXPECT_EQ(-77, words[1]) << attribute;
    int32_t again[2] = {-77, -77};
    EXPECT_EQ(0, TVCIGetResultAttr(&column.handle, 10, again, nullptr, attribute)) << attribute;
    EXPECT_EQ(words[0], again[0]) << attribute;
    return words[0];
}

std::string ColumnText(Column &column, int32_t attribute) {
    char text[COLUMN_TEXT_BYTES + 1];
    memset(text, '#', sizeof(text));
    int32_t length = NO_LENGTH;
    EXPECT_EQ(0, TVCIGetResultAttr(&column.handle, 10, text, &length, attribute)) << attribute;
    EXPECT_EQ('#', text[COLUMN_TEXT_BYTES]);
    EXPECT_EQ((size_t)length, strlen(text)) << attribute;
    if (length + 1 < COLUMN_TEXT_BYTES) {
        EXPECT_EQ('#', text[length + 1]) << "bytes behind the terminator were written";
    }
    return text;
}

int32_t ColumnRefusal(Column &column, int32_t attribute) {
    int32_t word = -77;
    int32_t length = NO_LENGTH;
    int32_t result = TVCIGetResultAttr(&column.handle, 10, &word, &length, attribute);
    EXPECT_EQ(-77, word) << attribute;
    EXPECT_EQ(NO_LENGTH, length) << attribute;
    return result;
}

TEST(ColumnMetadata, NameIsCopiedWithItsTerminator) {
    Column column(TYPE_INTEGER);
    EXPECT_EQ("AMOUNT", ColumnText(column, 50));
    column.name[0] = '\0';
    EXPECT_EQ("", ColumnText(column, 50));
}

TEST(ColumnMetadata, NameOver127BytesIsCutAndTheLengthSays127) {
    Column column(TYPE_INTEGER);
    memset(column.name, 'n', 250);
    EXPECT_EQ(std::string(127, 'n'), ColumnText(column, 50));
    column.name[128] = '\0';
    EXPECT_EQ(std::string(127, 'n'), ColumnText(column, 50));
    column.name[127] = '\0';
    EXPECT_EQ(std::string(127, 'n'), ColumnText(column, 50));
    column.name[126] = '\0';
    EXPECT_EQ(std::string(126, 'n'), ColumnText(column, 50));
}

TEST(ColumnMetadata, ModeWordIsTheDefaultForm) {
    Column column(TYPE_INTEGER);
    column.field.app_type = 5;
    EXPECT_EQ(5, ColumnWord(column, 51, NO_LENGTH));
}

TEST(ColumnMetadata, AliasStandsInForTheNameWhereThereIsOne) {
    Column column(TYPE_INTEGER);
    EXPECT_EQ("AMOUNT", ColumnText(column, 52));
    column.field.attribute = column.attribute;
    EXPECT_EQ("NET", ColumnText(column, 52));
    EXPECT_EQ("AMOUNT", ColumnText(column, 50));
    memset(column.attribute, 'a', 250);
    EXPECT_EQ(std::string(127, 'a'), ColumnText(column, 52));
}

TEST(ColumnMetadata, DisplayWidths) {
    struct {
        int32_t type;
        int32_t size;
        int32_t width;
    } const cases[] = {
        {TYPE_CHAR, 20, 20},
        {TYPE_CHAR, 0, 65536},
        {TYPE_CHAR, -1, 65536},
        {TYPE_EMPTY, 99, 16},
        {TYPE_NULL, 99, 16},
        {TYPE_BOOLEAN, 99, 1},
        {TYPE_TINYINT, 99, 1},
        {TYPE_SMALLINT, 99, 2},
        {TYPE_INTEGER, 99, 4},
        {TYPE_BIGINT, 99, 8},
        {TYPE_NUMERIC, 99, 40},
        {TYPE_FLOAT, 99, 4},
        {TYPE_DOUBLE, 99, 8},
        {TYPE_DATE, 99, 40},
        {TYPE_TIME, 99, 40},
        {TYPE_TIME_TZ, 99, 40},
        {TYPE_DATETIME, 99, 28},
        {TYPE_DATETIME_TZ, 99, 40},
        {TYPE_INTERVAL_YEAR, 99, 40},
        {TYPE_INTERVAL_SECOND, 99, 40},
        {TYPE_ROWVERSION, 99, 40},
        {TYPE_GUID, 99, 40},
        {31, 99, 99},
        {TYPE_CLOB, 99, 99},
        {TYPE_BINARY, 99, 65536},
        {TYPE_BLOB, -1, -1},
        {TYPE_ROWID, 0, 0},
        {TYPE_RASTER, 12, 12},
    };
    for (const auto &item : cases) {
        Column column(item.type, item.size);
        EXPECT_EQ(item.width, ColumnWord(column, 53, NO_LENGTH)) << item.type;
        EXPECT_EQ(item.width, ColumnWord(column, 54, NO_LENGTH)) << item.type;
    }
}

TEST(ColumnMetadata, CharColumnOfOneReadsChar) {
    Column column(TYPE_CHAR, 1);
    EXPECT_EQ("CHAR", ColumnText(column, 55));
}

TEST(ColumnMetadata, CharColumnOfTenReadsCharWithItsLength) {
    Column column(TYPE_CHAR, 10);
    EXPECT_EQ("CHAR(10)", ColumnText(column, 55));
    column.field.size = 0;
    EXPECT_EQ("CHAR(0)", ColumnText(column, 55));
}

TEST(ColumnMetadata, CharColumnWithFlag1024ReadsVarchar) {
    Column column(TYPE_CHAR, 10, 1024);
    EXPECT_EQ("VARCHAR(10)", ColumnText(column, 55));
    column.field.size = 1;
    EXPECT_EQ("VARCHAR(1)", ColumnText(column, 55));
    column.field.flags = 1024 + 2;
    EXPECT_EQ("VARCHAR(1)", ColumnText(column, 55));
}

TEST(ColumnMetadata, CharColumnWithoutALengthReadsVarchar) {
    Column column(TYPE_CHAR, -1);
    EXPECT_EQ("VARCHAR", ColumnText(column, 55));
    column.field.flags = 1024;
    EXPECT_EQ("VARCHAR", ColumnText(column, 55));
}

TEST(ColumnMetadata, NumericColumnReadsPrecisionAndScale) {
    Column column(TYPE_NUMERIC, 12 * 65536 + 3);
    EXPECT_EQ("NUMERIC(12,3)", ColumnText(column, 55));
    column.field.size = 0;
    EXPECT_EQ("NUMERIC(0,0)", ColumnText(column, 55));
}

TEST(ColumnMetadata, NumericColumnWithoutALengthHasTheBareName) {
    Column column(TYPE_NUMERIC, -1);
    EXPECT_EQ("NUMERIC", ColumnText(column, 55));
}

TEST(ColumnMetadata, OtherColumnsReadTheirTypeName) {
    struct {
        int32_t type;
        const char *name;
    } const cases[] = {{TYPE_BOOLEAN, "BOOLEAN"},
                       {TYPE_BIGINT, "BIGINT"},
                       {TYPE_TIME_TZ, "TIME WITH TIME ZONE"},
                       {TYPE_INTERVAL_MINUTE_SECOND, "INTERVAL MINUTE TO SECOND"},
                       {TYPE_BINARY, "BINARY"},
                       {TYPE_STREAM, "STREM"},
                       {31, ""}};
    for (const auto &item : cases) {
        Column column(item.type, 10, 1024);
        EXPECT_EQ(item.name, ColumnText(column, 55));
    }
}

TEST(ColumnMetadata, TextModeIsModeTwo) {
    Column column(TYPE_CHAR);
    for (int32_t mode : {0, 1, 2, 3, 40}) {
        column.field.app_type = mode;
        EXPECT_EQ(mode == 2 ? 1 : 0, ColumnWord(column, 56, 4)) << mode;
    }
}

TEST(ColumnMetadata, Code57TellsCharColumns) {
    Column text(TYPE_CHAR);
    EXPECT_EQ(1, ColumnWord(text, 57, 4));
    Column number(TYPE_BIGINT);
    EXPECT_EQ(0, ColumnWord(number, 57, 4));
}

TEST(ColumnMetadata, PrecisionIsOfNumericColumnsOnly) {
    Column column(TYPE_NUMERIC, 12 * 65536 + 3);
    EXPECT_EQ(12, ColumnWord(column, 58, 4));
    column.field.size = -1;
    EXPECT_EQ(-1, ColumnWord(column, 58, 4));
    for (int32_t type : {TYPE_INTEGER, TYPE_DOUBLE, TYPE_CHAR, TYPE_BINARY, TYPE_BLOB}) {
        Column other(type, 10);
        EXPECT_EQ(-9, ColumnRefusal(other, 58)) << type;
    }
}

TEST(ColumnMetadata, ScaleIsOfNumericColumnsAndLengthOfTextAndBinary) {
    Column numeric(TYPE_NUMERIC, 12 * 65536 + 3);
    EXPECT_EQ(3, ColumnWord(numeric, 59, 4));
    numeric.field.size = -1;
    EXPECT_EQ(65535, ColumnWord(numeric, 59, 4));
    Column text(TYPE_CHAR, 65540);
    EXPECT_EQ(65540, ColumnWord(text, 59, 4));
    Column binary(TYPE_BINARY, -1);
    EXPECT_EQ(-1, ColumnWord(binary, 59, 4));
    for (int32_t type : {TYPE_INTEGER, TYPE_DOUBLE, TYPE_CLOB, TYPE_BLOB, TYPE_ROWID}) {
        Column other(type, 10);
        EXPECT_EQ(-9, ColumnRefusal(other, 59)) << type;
    }
}

TEST(ColumnMetadata, Flags2And1024HaveTheirCodes) {
    struct {
        int32_t flags;
        int32_t flag_2;
        int32_t flag_1024;
    } const cases[] = {{0, 0, 0}, {1, 0, 0}, {2, 1, 0}, {4, 0, 0}, {1024, 0, 1}, {1027, 1, 1}};
    for (const auto &item : cases) {
        Column column(TYPE_CHAR, 10, item.flags);
        EXPECT_EQ(item.flag_2, ColumnWord(column, 60, 4)) << item.flags;
        EXPECT_EQ(item.flag_1024, ColumnWord(column, 66, 4)) << item.flags;
    }
}

TEST(ColumnMetadata, Codes61To64AnswerNothing) {
    Column column(TYPE_CHAR, 10);
    for (int32_t attribute : {61, 62, 63, 64}) {
        EXPECT_EQ(0, ColumnRefusal(column, attribute)) << attribute;
    }
}

TEST(ColumnMetadata, ExternalTypeCodeComesFromTheCatalogue) {
    struct {
        int32_t type;
        int32_t code;
    } const cases[] = {{TYPE_BOOLEAN, 1}, {TYPE_INTEGER, 4}, {TYPE_NUMERIC, 8},
                       {TYPE_CHAR, 12},   {TYPE_BLOB, 16},   {TYPE_RASTER, 45}};
    for (const auto &item : cases) {
        Column column(item.type);
        EXPECT_EQ(item.code, ColumnWord(column, 65, NO_LENGTH)) << item.type;
    }
}

TEST(ColumnMetadata, OtherCodesAreUnknown) {
    Column column(TYPE_CHAR, 10);
    for (int32_t attribute : {-1, 0, 42, 49, 67, 1000}) {
        EXPECT_EQ(-6, ColumnRefusal(column, attribute)) << attribute;
    }
}

}  // namespace
