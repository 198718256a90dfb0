// Defines: the checks in their order, the table of types, and what the native layer gets.
#include <gtest/gtest.h>

#include "oci/stmt.h"
#include "platform/memory.h"
#include "records/statement.h"
#include "support/stmt_rig.h"

// A select of one column, prepared as ST0.
struct DefineRig : StmtRig {
    OCIStmt *stmt = nullptr;

    DefineRig() {
        Logon();
        stmt = Prepare("SELECT A FROM T");
    }

    const TVCIStmt *Native() {
        return stmt->native_stmt;
    }

    // Scripts an execution with one row of one column, and fetches that row.
    int32_t FetchOne(const Bytes &column, const Bytes &value) {
        AnswerExecute(Result({column}) + Row({value}) + Ascii("K"));
        return Execute(stmt, 1);
    }
};

static int32_t DefineByPos(OCIStmt *stmt, OCIDefine **define, OCIError *err, uint32_t position,
                           void *values, int32_t value_sz, int dty, uint32_t mode = 0) {
    return OCIDefineByPos(stmt, define, err, position, values, value_sz, (uint16_t)dty, nullptr,
                          nullptr, nullptr, mode);
}

TEST(Define, ChecksItsArgumentsInOrder) {
    StmtRig rig;
    OCIStmt *stmt = rig.NewStmt();
    OCIDefine *define = nullptr;
    EXPECT_EQ(-2, DefineByPos(nullptr, nullptr, nullptr, 0, nullptr, -1, DTY_INT));
    EXPECT_EQ(-2, DefineByPos(nullptr, nullptr, rig.err, 0, nullptr, -1, DTY_INT));
    EXPECT_EQ("Parameter stmtp is NULL.", rig.Error());
    EXPECT_EQ(-2, DefineByPos(stmt, nullptr, rig.err, 0, nullptr, -1, DTY_INT));
    EXPECT_EQ("Parameter defnp is NULL.", rig.Error());
    EXPECT_EQ(-1, DefineByPos(stmt, &define, rig.err, 0, nullptr, -1, DTY_INT));
    EXPECT_EQ("Parameter position is invalid.", rig.Error());
    for (int dty : {2, 5, 7, 8, 9, 13, 1000, 1003, 1004, 1005, 40}) {
        rig.err->message[0] = '\0';
        EXPECT_EQ(-1, DefineByPos(stmt, &define, rig.err, 1, nullptr, -1, dty));
        EXPECT_EQ("Parameter value_sz is invalid.", rig.Error());
    }
    EXPECT_EQ(0, stmt->define_count);
    EXPECT_EQ(nullptr, define);
}

TEST(Define, BeforeThePrepareNothingIsNative) {
    StmtRig rig;
    rig.Logon();
    OCIStmt *stmt = rig.NewStmt();
    int32_t value = 0;
    EXPECT_EQ(0, rig.Define(stmt, 1, &value, 4, DTY_INT));
    EXPECT_EQ(1, stmt->define_count);
    EXPECT_EQ(0, stmt->defined);
    EXPECT_EQ(0, stmt->native_stmt->bound_column_count);
    // Not even a type that has no buffer is noticed.
    EXPECT_EQ(0, rig.Define(stmt, 2, &value, 4, DTY_NUMERIC));
}

TEST(Define, FillsTheRecord) {
    DefineRig rig;
    char values[3][10];
    uint16_t indicators[3];
    uint32_t lengths[3];
    int32_t return_code = 0;
    OCIDefine *define = nullptr;
    ASSERT_EQ(0, OCIDefineByPos(rig.stmt, &define, rig.err, 3, values, 10, DTY_STR, indicators,
                                lengths, &return_code, 0));
    ASSERT_EQ(1, rig.stmt->define_count);
    EXPECT_EQ(define, rig.stmt->defines[0]);
    EXPECT_EQ((uint32_t)OCI_HTYPE_DEFINE, define->type);
    EXPECT_EQ(3u, define->position);
    EXPECT_EQ(values, define->valuep);
    EXPECT_NE(nullptr, define->value_buffer);
    EXPECT_EQ((uint32_t)DTY_STR, define->dty);
    EXPECT_EQ(10, define->value_sz);
    EXPECT_EQ(indicators, define->indp);
    EXPECT_EQ(lengths, define->rlenp);
    EXPECT_EQ(0u, define->mode);
    EXPECT_EQ(1, define->piece_done);
    EXPECT_EQ(rig.stmt, define->stmt);
    EXPECT_EQ(1, rig.stmt->defined);
    EXPECT_EQ(5u, rig.err->source);

    ASSERT_EQ(0, DefineByPos(rig.stmt, &define, rig.err, 4, values, 10, DTY_STR, 2));
    EXPECT_EQ(2u, define->mode);
    EXPECT_EQ(0, define->piece_done);
}

TEST(Define, NativeDefineGetsTheCTypesOfTheTable) {
    struct Case {
        int dty;
        int32_t value_sz;
        int32_t c_type;
    };
    const Case cases[] = {
        {DTY_CHAR, 10, 2},  {DTY_INT, 1, 3},   {DTY_INT, 2, 4},  {DTY_INT, 4, 5},
        {DTY_INT, 8, 6},    {DTY_INT, 3, 5},   {DTY_INT, 16, 5}, {DTY_FLOAT, 4, 7},
        {DTY_DOUBLE, 8, 8}, {DTY_DATE, 8, 13}, {DTY_STR, 10, 2}, {DTY_BIN, 10, 15},
    };
    DefineRig rig;
    char values[16];
    for (const Case &entry : cases) {
        ASSERT_EQ(0, rig.Define(rig.stmt, 2, values, entry.value_sz, entry.dty)) << entry.dty;
        ASSERT_EQ(1, rig.Native()->bound_column_count);
        const DefineRecord *native = &rig.Native()->bound_columns[0];
        EXPECT_EQ(1, native->column);
        EXPECT_EQ(entry.c_type, native->c_type) << entry.dty;
        EXPECT_EQ(entry.value_sz, native->buffer_size);
        EXPECT_EQ(rig.stmt->defines[0]->value_buffer, native->buffer);
        EXPECT_EQ(&rig.stmt->defines[0]->length, native->return_length);
    }
    OCILobLocator *locator = rig.NewLocator();
    for (int dty : {DTY_BLOB, DTY_CLOB}) {
        ASSERT_EQ(0, rig.Define(rig.stmt, 2, &locator, -1, dty));
        EXPECT_EQ(40, rig.Native()->bound_columns[0].c_type);
        EXPECT_EQ(locator->native_lob, rig.Native()->bound_columns[0].buffer);
    }
}

TEST(Define, TypeWithoutABufferIsAnInvalidParameter) {
    DefineRig rig;
    char values[8];
    for (int dty : {DTY_NUMERIC, DTY_BIN_2, DTY_LONG_STR, 0, 1, 3, 4, 6, 10, 15, 40, 1006, 65535}) {
        rig.err->message[0] = '\0';
        EXPECT_EQ(-1, rig.Define(rig.stmt, 1, values, 8, dty)) << dty;
        EXPECT_EQ("Invalid parameter.", rig.Error());
    }
    // Its record stays.
    EXPECT_EQ(1, rig.stmt->define_count);
    EXPECT_EQ(0, rig.stmt->defined);
    EXPECT_EQ(0, rig.Native()->bound_column_count);
}

TEST(Define, SizeZeroSucceedsWithoutANativeDefine) {
    DefineRig rig;
    char values[8];
    ASSERT_EQ(0, rig.Define(rig.stmt, 1, values, 0, DTY_CHAR));
    EXPECT_EQ(1, rig.stmt->defined);
    EXPECT_EQ(nullptr, rig.stmt->defines[0]->value_buffer);
    EXPECT_EQ(0, rig.Native()->bound_column_count);
    for (int dty : {DTY_INT, DTY_FLOAT, DTY_DOUBLE, DTY_NUMERIC, DTY_DATE, DTY_STR, DTY_BIN, 77}) {
        EXPECT_EQ(0, rig.Define(rig.stmt, 1, values, 0, dty)) << dty;
        EXPECT_EQ(0, rig.Native()->bound_column_count);
    }
    // The LOB type of the native layer is asked whatever the size.
    EXPECT_EQ(-1, rig.Define(rig.stmt, 1, values, 0, 40));
    EXPECT_EQ("Invalid parameter.", rig.Error());
}

TEST(Define, PendingStatementPassesTheNativeCodeOn) {
    StmtRig rig;
    OCIStmt *stmt = rig.NewStmt();
    ASSERT_EQ(-2, rig.PrepareText(stmt, "SELECT A FROM T"));
    int32_t value = 0;
    EXPECT_EQ(-2, rig.Define(stmt, 1, &value, 4, DTY_INT));
    EXPECT_EQ(0, stmt->defined);
    EXPECT_EQ(1, stmt->define_count);
}

TEST(Define, PositionAboveTheLargestIsAnInvalidParameter) {
    DefineRig rig;
    int32_t value = 0;
    EXPECT_EQ(-1, rig.Define(rig.stmt, 0x80000000u, &value, 4, DTY_INT));
    EXPECT_EQ("Invalid parameter.", rig.Error());
}

TEST(Define, DefiningAgainKeepsTheRecordAndTheCallersPointer) {
    DefineRig rig;
    int32_t number = 0;
    char text[10] = {};
    OCIDefine *define = nullptr;
    ASSERT_EQ(0, DefineByPos(rig.stmt, &define, rig.err, 1, &number, 4, DTY_INT));
    OCIDefine *record = define;
    define = nullptr;
    ASSERT_EQ(0, DefineByPos(rig.stmt, &define, rig.err, 1, text, 10, DTY_STR));
    EXPECT_EQ(nullptr, define);
    EXPECT_EQ(1, rig.stmt->define_count);
    EXPECT_EQ(record, rig.stmt->defines[0]);
    EXPECT_EQ((uint32_t)DTY_STR, record->dty);
    EXPECT_EQ(0, rig.FetchOne(Column("A", 5), Int32(1234)));
    EXPECT_STREQ("1234", text);
    EXPECT_EQ(0, number);
}

TEST(Define, DefiningAgainWithSizeZeroLeavesNoNativeDefine) {
    DefineRig rig;
    char text[10] = "old";
    uint32_t length = 9;
    ASSERT_EQ(0, rig.Define(rig.stmt, 1, text, 10, DTY_CHAR));
    ASSERT_EQ(0, rig.Define(rig.stmt, 1, text, 0, DTY_CHAR, nullptr, &length));
    EXPECT_EQ(0, rig.Native()->bound_column_count);
    EXPECT_EQ(0, rig.FetchOne(Column("A", 30, 10), Ascii("abc")));
    EXPECT_STREQ("old", text);
    EXPECT_EQ(0u, length);
}

TEST(Define, RefusedRedefinitionLeavesNoNativeDefine) {
    DefineRig rig;
    char text[10] = "old";
    ASSERT_EQ(0, rig.Define(rig.stmt, 1, text, 10, DTY_CHAR));
    EXPECT_EQ(-1, rig.Define(rig.stmt, 1, text, 10, DTY_NUMERIC));
    EXPECT_EQ(0, rig.FetchOne(Column("A", 30, 10), Ascii("abc")));
    EXPECT_STREQ("old", text);
}

TEST(Define, DefiningAgainBetweenFetchesTakesTheNewArray) {
    DefineRig rig;
    int32_t first = 0;
    int64_t second = 0;
    ASSERT_EQ(0, rig.Define(rig.stmt, 1, &first, 4, DTY_INT));
    rig.AnswerExecute(Result({Column("A", 5)}) + Row({Int32(1)}) + Row({Int32(2)}) + Ascii("K"));
    ASSERT_EQ(0, rig.Execute(rig.stmt, 1));
    ASSERT_EQ(0, rig.Define(rig.stmt, 1, &second, 8, DTY_INT));
    EXPECT_EQ(0, rig.Fetch(rig.stmt, 1));
    EXPECT_EQ(1, first);
    EXPECT_EQ(2, second);
}

TEST(Define, ReturnCodeIsTheStatusOfTheLastValue) {
    DefineRig rig;
    char text[3][4] = {};
    int32_t return_code = 77;
    ASSERT_EQ(0, rig.Define(rig.stmt, 1, text, 4, DTY_CHAR, nullptr, nullptr, &return_code));
    rig.AnswerExecute(Result({Column("A", 30, 10)}) + Row({Ascii("abc")}) + Row({Ascii("abcdef")}) +
                      Row({Bytes()}) + Ascii("K"));
    EXPECT_EQ(0, rig.Execute(rig.stmt, 1));
    EXPECT_EQ(0, return_code);
    EXPECT_EQ(-1, rig.Fetch(rig.stmt, 1));
    EXPECT_EQ(-2, return_code);
    EXPECT_EQ(0, rig.Fetch(rig.stmt, 1));
    EXPECT_EQ(-1, return_code);
    return_code = 77;
    EXPECT_EQ(100, rig.Fetch(rig.stmt, 1));
    EXPECT_EQ(77, return_code);
}

TEST(Define, ReturnCodeSaysThatThereIsNoConversion) {
    DefineRig rig;
    int32_t value = 6;
    int32_t return_code = 77;
    ASSERT_EQ(0, rig.Define(rig.stmt, 1, &value, 4, DTY_INT, nullptr, nullptr, &return_code));
    EXPECT_EQ(0, rig.FetchOne(Column("A", 30, 10), Ascii("abc")));
    EXPECT_EQ(-3, return_code);
}

TEST(Define, ReturnCodeOfADefineThatIsNotNativeStays) {
    DefineRig rig;
    char text[4];
    int32_t return_code = 77;
    int32_t refused_code = 77;
    ASSERT_EQ(0, rig.Define(rig.stmt, 1, text, 0, DTY_CHAR, nullptr, nullptr, &return_code));
    ASSERT_EQ(-1, rig.Define(rig.stmt, 2, text, 4, DTY_NUMERIC, nullptr, nullptr, &refused_code));
    EXPECT_EQ(0, rig.FetchOne(Column("A", 30, 10), Ascii("abc")));
    EXPECT_EQ(77, return_code);
    EXPECT_EQ(77, refused_code);
}

TEST(DefineLob, MissingLocatorIsAnInvalidParameter) {
    DefineRig rig;
    OCILobLocator *locator = nullptr;
    for (int dty : {DTY_BLOB, DTY_CLOB}) {
        EXPECT_EQ(-1, rig.Define(rig.stmt, 1, &locator, 0, dty));
        EXPECT_EQ("Invalid parameter.", rig.Error());
        EXPECT_EQ(-1, rig.Define(rig.stmt, 1, nullptr, 0, dty));
    }
    EXPECT_EQ(0, rig.stmt->define_count);
}

TEST(DefineLob, NullEmptiesTheLocatorsHolderAndNothingElseIsWritten) {
    DefineRig rig;
    OCILobLocator *locator = rig.NewLocator();
    uint32_t bytes = 3;
    char data[] = "abc";
    ASSERT_EQ(0, OCILobWrite(rig.svc, rig.err, locator, &bytes, 1, data, 3, OCI_ONE_PIECE, nullptr,
                             nullptr, 0, 0));
    ASSERT_EQ(3, locator->native_lob->length);
    uint16_t indicators[1] = {9};
    uint32_t length = 9;
    int32_t return_code = 9;
    ASSERT_EQ(0, rig.Define(rig.stmt, 1, &locator, 0, DTY_CLOB, indicators, &length, &return_code));
    EXPECT_EQ(0, rig.FetchOne(Column("A", 32, 100), Bytes()));
    EXPECT_EQ(0, locator->native_lob->length);
    // The indicator has the column's width from the execution.
    EXPECT_EQ(100, indicators[0]);
    EXPECT_EQ(9u, length);
    EXPECT_EQ(-1, return_code);
}

TEST(DefineLob, FreedLocatorIsSkippedByTheFetch) {
    DefineRig rig;
    OCILobLocator *locator = rig.NewLocator();
    ASSERT_EQ(0, rig.Define(rig.stmt, 1, &locator, 0, DTY_BLOB));
    ASSERT_EQ(0, OCIDescriptorFree(locator, OCI_DTYPE_LOB));
    rig.locators.clear();
    EXPECT_EQ(0, rig.Native()->bound_column_count);
    EXPECT_EQ(0, rig.FetchOne(Column("A", 34, 100), Ascii("bytes")));
}

TEST(DefineLob, RedefinitionAndFreedStatementLeaveTheLocatorAlone) {
    DefineRig rig;
    OCILobLocator *locator = rig.NewLocator();
    OCILobLocator *other = rig.NewLocator();
    int32_t number = 0;
    ASSERT_EQ(0, rig.Define(rig.stmt, 1, &locator, 0, DTY_BLOB));
    ASSERT_EQ(0, rig.Define(rig.stmt, 1, &number, 4, DTY_INT));
    ASSERT_EQ(0, rig.Define(rig.stmt, 2, &other, 0, DTY_BLOB));
    rig.Exchange(Frame("DEALLOCATE `ST0`;"), Ascii("K"));
    ASSERT_EQ(0, OCIHandleFree(rig.stmt, OCI_HTYPE_STMT));
    rig.stmts.clear();
    EXPECT_EQ(0, locator->native_lob->length);
    EXPECT_EQ(0, other->native_lob->length);
}

TEST(Define, FailedAllocationIsReportedAndLeavesTheStatementUsable) {
    DefineRig rig;
    int32_t value = 0;
    for (uint64_t n = 1;; n++) {
        MemFailAt(n);
        int32_t result = rig.Define(rig.stmt, 1, &value, 4, DTY_INT);
        bool failed = MemFailed();
        MemFailAt(0);
        if (!failed) {
            EXPECT_EQ(0, result);
            break;
        }
        EXPECT_TRUE(result == -1 || result == -5) << "allocation " << n << " gives " << result;
    }
    EXPECT_EQ(0, rig.FetchOne(Column("A", 5), Int32(1234)));
    EXPECT_EQ(1234, value);
}
