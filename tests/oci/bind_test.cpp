// Binds: the checks in their order, the tables of types, and the bytes of each load.
#include <gtest/gtest.h>

#include "oci/stmt.h"
#include "platform/memory.h"
#include "records/statement.h"
#include "support/stmt_rig.h"

static const Bytes INSERTED = Hex("'I' 00000000 'K'");

// An insert with one question mark, prepared as ST0.
struct BindRig : StmtRig {
    OCIStmt *stmt = nullptr;

    BindRig() {
        Logon();
        stmt = Prepare("INSERT INTO T VALUES(?)");
    }

    // Scripts the execution with these parameter bytes.
    void Sends(const Bytes &parameters, uint32_t count = 1) {
        Exchange(FrameArgs("? ST0 ", count) + parameters, INSERTED);
    }

    // Binds, and executes as often as there are expected parameters.
    void BindAndRun(void *values, int32_t value_sz, int dty, const std::vector<Bytes> &expected,
                    void *indicators = nullptr) {
        ASSERT_EQ(0, Bind(stmt, 1, values, value_sz, dty, indicators)) << Error();
        for (const Bytes &bytes : expected) {
            Sends(bytes);
        }
        EXPECT_EQ(0, Execute(stmt, (uint32_t)expected.size()));
    }
};

static int32_t BindByPos(OCIStmt *stmt, OCIBind **bind, OCIError *err, uint32_t position,
                         void *values, int32_t value_sz, uint16_t dty, uint32_t mode = 0) {
    return OCIBindByPos(stmt, bind, err, position, values, value_sz, dty, nullptr, nullptr, nullptr,
                        0, nullptr, mode);
}

static int32_t BindByName(OCIStmt *stmt, OCIBind **bind, OCIError *err, const char *name,
                          void *values, int32_t value_sz, uint16_t dty, uint32_t mode = 0) {
    return OCIBindByName(stmt, bind, err, Text(name), 1, values, value_sz, dty, nullptr, nullptr,
                         nullptr, 0, nullptr, mode);
}

TEST(BindByPos, ChecksItsArgumentsInOrder) {
    StmtRig rig;
    OCIStmt *stmt = rig.NewStmt();
    OCIBind *bind = nullptr;
    int32_t value = 0;
    EXPECT_EQ(-2, BindByPos(nullptr, nullptr, nullptr, 0, nullptr, 4, DTY_INT));
    EXPECT_EQ(-2, BindByPos(nullptr, nullptr, rig.err, 0, nullptr, 4, DTY_INT));
    EXPECT_EQ("Parameter stmtp is NULL.", rig.Error());
    EXPECT_EQ(-2, BindByPos(stmt, nullptr, rig.err, 0, nullptr, 4, DTY_INT));
    EXPECT_EQ("Parameter bindp is NULL.", rig.Error());
    EXPECT_EQ(-1, BindByPos(stmt, &bind, rig.err, 0, nullptr, 4, DTY_INT));
    EXPECT_EQ("Invalid placeholder/position.", rig.Error());
    ASSERT_EQ(0, rig.PrepareText(stmt, "CREATE TABLE T(A INT)"));
    EXPECT_EQ(-2, BindByPos(stmt, &bind, rig.err, 0, nullptr, 4, DTY_INT));
    EXPECT_EQ("Parameter valuep is NULL.", rig.Error());
    EXPECT_EQ(-1, BindByPos(stmt, &bind, rig.err, 0, &value, 4, DTY_INT, OCI_DATA_AT_EXEC));
    EXPECT_EQ("The data type provided is not supported.", rig.Error());
    EXPECT_EQ(0, stmt->bind_count);
    EXPECT_EQ(nullptr, bind);
}

TEST(BindByName, ChecksItsArgumentsInOrder) {
    StmtRig rig;
    OCIStmt *stmt = rig.NewStmt();
    OCIBind *bind = nullptr;
    EXPECT_EQ(-2, BindByName(nullptr, nullptr, nullptr, nullptr, nullptr, 4, DTY_INT));
    EXPECT_EQ(-2, BindByName(nullptr, nullptr, rig.err, nullptr, nullptr, 4, DTY_INT));
    EXPECT_EQ("Parameter stmtp is NULL.", rig.Error());
    EXPECT_EQ(-2, BindByName(stmt, nullptr, rig.err, nullptr, nullptr, 4, DTY_INT));
    EXPECT_EQ("Parameter bindp is NULL.", rig.Error());
    EXPECT_EQ(-1, BindByName(stmt, &bind, rig.err, nullptr, nullptr, 4, DTY_INT));
    EXPECT_EQ("Invalid placeholder/position.", rig.Error());
    ASSERT_EQ(0, rig.PrepareText(stmt, "CREATE TABLE T(A INT)"));
    EXPECT_EQ(-2, BindByName(stmt, &bind, rig.err, nullptr, nullptr, 4, DTY_INT));
    EXPECT_EQ("Parameter valuep is NULL.", rig.Error());
    EXPECT_EQ(-1, BindByName(stmt, &bind, rig.err, nullptr, nullptr, 4, DTY_INT, 2));
    EXPECT_EQ("The data type provided is not supported.", rig.Error());
}

TEST(Bind, DataAtExecuteOfAnIntegerIsNotSupported) {
    BindRig rig;
    int32_t value = 0;
    for (int dty : {5, 7, 8, 9, 13, 1003, 1004, 1005, 4}) {
        rig.err->message[0] = '\0';
        EXPECT_EQ(-1, rig.Bind(rig.stmt, 1, &value, 4, dty, nullptr, OCI_DATA_AT_EXEC)) << dty;
        EXPECT_EQ("The data type provided is not supported.", rig.Error());
    }
    EXPECT_EQ(0, rig.stmt->bind_count);
}

TEST(Bind, DataAtExecuteNeedsNoValue) {
    BindRig rig;
    ASSERT_EQ(0, rig.Bind(rig.stmt, 1, nullptr, 10, DTY_CHAR, nullptr, OCI_DATA_AT_EXEC));
    OCIBind *bind = rig.stmt->binds[0];
    EXPECT_EQ(nullptr, bind->valuep);
    EXPECT_EQ(2, bind->mode);
    EXPECT_EQ(0, bind->value_ready);
    EXPECT_EQ(0u, bind->piece_length);
    EXPECT_EQ(10, bind->actual_length);
    ASSERT_EQ(0, rig.Bind(rig.stmt, 1, nullptr, 10, DTY_STR, nullptr, OCI_DATA_AT_EXEC));
}

TEST(Bind, FillsTheRecord) {
    BindRig rig;
    int32_t value = 0;
    int16_t indicator = 0;
    OCIBind *bind = nullptr;
    ASSERT_EQ(0, OCIBindByPos(rig.stmt, &bind, rig.err, 1, &value, 4, DTY_INT, &indicator, nullptr,
                              nullptr, 0, nullptr, 0));
    ASSERT_EQ(1, rig.stmt->bind_count);
    EXPECT_EQ(bind, rig.stmt->binds[0]);
    EXPECT_EQ((uint32_t)OCI_HTYPE_BIND, bind->type);
    EXPECT_EQ(1u, bind->position);
    EXPECT_EQ(nullptr, bind->name);
    EXPECT_EQ(&value, bind->valuep);
    EXPECT_EQ(&indicator, bind->indp);
    EXPECT_EQ(4, bind->actual_length);
    EXPECT_EQ(4u, bind->value_sz);
    EXPECT_EQ((uint32_t)DTY_INT, bind->dty);
    EXPECT_EQ(0, bind->mode);
    EXPECT_EQ(1, bind->value_ready);
    EXPECT_EQ(rig.stmt, bind->stmt);
}

TEST(Bind, GoodBindClearsTheErrorHandle) {
    BindRig rig;
    int32_t value = 0;
    EXPECT_EQ(-1, rig.Bind(rig.stmt, 5, &value, 4, DTY_INT));
    EXPECT_NE("", rig.Error());
    EXPECT_EQ(0, rig.Bind(rig.stmt, 1, &value, 4, DTY_INT));
    EXPECT_EQ("", rig.Error());
    EXPECT_EQ(8u, rig.err->source);
    EXPECT_EQ(nullptr, rig.err->source_handle.record);
}

TEST(Bind, PositionOutsideTheTextIsInvalidAndLeavesTheRecord) {
    BindRig rig;
    int32_t value = 0;
    OCIBind *bind = nullptr;
    for (uint32_t position : {0u, 2u, UINT32_MAX}) {
        EXPECT_EQ(-1, BindByPos(rig.stmt, &bind, rig.err, position, &value, 4, DTY_INT));
        EXPECT_EQ("Parameter position is invalid.", rig.Error());
        EXPECT_EQ(bind, rig.stmt->binds[rig.stmt->bind_count - 1]);
    }
    EXPECT_EQ(3, rig.stmt->bind_count);
    // Position 0 names no record: it always makes another.
    EXPECT_EQ(-1, BindByPos(rig.stmt, &bind, rig.err, 0, &value, 4, DTY_INT));
    EXPECT_EQ(4, rig.stmt->bind_count);
}

TEST(Bind, PositionZeroDoesNotTouchABindByName) {
    StmtRig rig;
    rig.Logon();
    OCIStmt *stmt = rig.Prepare("INSERT INTO T VALUES(:a)");
    int32_t value = 9;
    ASSERT_EQ(0, rig.BindName(stmt, ":a", &value, 4, DTY_INT));
    EXPECT_EQ(-1, rig.Bind(stmt, 0, &value, 4, DTY_INT));
    EXPECT_EQ(2, stmt->bind_count);
    rig.Exchange(FrameArgs("? ST0 ", 1) + Hex("0001 'a' 0001 0005 00000004 00000009"), INSERTED);
    EXPECT_EQ(0, rig.Execute(stmt, 1));
}

TEST(Bind, WhatTheNativeLayerRefusesIsAnInvalidParameter) {
    BindRig rig;
    char value[8] = "abc";
    // Types without an SqlType; texts without a size.
    for (int dty : {0, 1, 3, 6, 10, 15, 40, 1006, 65535}) {
        EXPECT_EQ(-1, rig.Bind(rig.stmt, 1, value, 4, dty)) << dty;
        EXPECT_EQ("Invalid parameter.", rig.Error());
    }
    for (int dty : {2, 1000, 1003, 1004, 1005}) {
        EXPECT_EQ(-1, rig.Bind(rig.stmt, 1, value, 0, dty)) << dty;
        EXPECT_EQ("Invalid parameter.", rig.Error());
        EXPECT_EQ(-1, rig.Bind(rig.stmt, 1, value, -7, dty)) << dty;
        EXPECT_EQ("Invalid parameter.", rig.Error());
    }
    EXPECT_EQ(1, rig.stmt->bind_count);
    EXPECT_EQ(-1, rig.BindName(rig.stmt, "a", value, 0, DTY_CHAR));
    EXPECT_EQ("Invalid parameter.", rig.Error());
}

TEST(Bind, NameThatIsNotInTheTextDoesNotExist) {
    StmtRig rig;
    rig.Logon();
    OCIStmt *stmt = rig.Prepare("INSERT INTO T VALUES(:a)");
    int32_t value = 0;
    EXPECT_EQ(-1, rig.BindName(stmt, ":b", &value, 4, DTY_INT));
    EXPECT_EQ("Placeholder does not exist.", rig.Error());
    EXPECT_EQ(-1, rig.BindName(stmt, ":A", &value, 4, DTY_INT));
    EXPECT_EQ("Placeholder does not exist.", rig.Error());
    EXPECT_EQ(-1, rig.BindName(stmt, "::a", &value, 4, DTY_INT));
    EXPECT_EQ("Placeholder does not exist.", rig.Error());
    EXPECT_EQ(3, stmt->bind_count);
}

TEST(Bind, MissingPlaceholderIsAnInvalidParameter) {
    BindRig rig;
    int32_t value = 0;
    EXPECT_EQ(-1, rig.BindName(rig.stmt, nullptr, &value, 4, DTY_INT));
    EXPECT_EQ("Invalid parameter.", rig.Error());
    EXPECT_EQ(1, rig.stmt->bind_count);
    EXPECT_EQ(nullptr, rig.stmt->binds[0]->name);
}

TEST(Bind, PendingStatementPassesTheNativeCodeOn) {
    StmtRig rig;
    OCIStmt *stmt = rig.NewStmt();
    ASSERT_EQ(-2, rig.PrepareText(stmt, "INSERT INTO T VALUES(?)"));
    int32_t value = 0;
    EXPECT_EQ(-2, rig.Bind(stmt, 1, &value, 4, DTY_INT));
    EXPECT_EQ(-2, rig.BindName(stmt, "a", &value, 4, DTY_INT));
    EXPECT_EQ(2, stmt->bind_count);
}

TEST(Bind, NameWithItsColonAndWithoutMakeTwoBindsOfOneParameter) {
    StmtRig rig;
    rig.Logon();
    OCIStmt *stmt = rig.Prepare("INSERT INTO T VALUES(:a)");
    int32_t first = 1;
    int32_t second = 2;
    ASSERT_EQ(0, rig.BindName(stmt, ":a", &first, 4, DTY_INT));
    ASSERT_EQ(0, rig.BindName(stmt, "a", &second, 4, DTY_INT));
    ASSERT_EQ(2, stmt->bind_count);
    EXPECT_STREQ(":a", stmt->binds[0]->name);
    EXPECT_STREQ("a", stmt->binds[1]->name);
    EXPECT_EQ(0u, stmt->binds[0]->position);
    // The later of the two is the parameter's.
    rig.Exchange(Hex("3F 00000006 '? ST0 ' 00 00000001 0001 'a' 0001 0005 00000004 00000002"),
                 INSERTED);
    EXPECT_EQ(0, rig.Execute(stmt, 1));
    // Bound again under its first spelling it is the first record's.
    ASSERT_EQ(0, rig.BindName(stmt, ":a", &first, 4, DTY_INT));
    EXPECT_EQ(2, stmt->bind_count);
    rig.Exchange(FrameArgs("? ST0 ", 1) + Hex("0001 'a' 0001 0005 00000004 00000001"), INSERTED);
    EXPECT_EQ(0, rig.Execute(stmt, 1));
}

TEST(Bind, RebindingAPositionReplacesTheRecordAndKeepsItsPlace) {
    StmtRig rig;
    rig.Logon();
    OCIStmt *stmt = rig.Prepare("INSERT INTO T VALUES(?,?)");
    int32_t number = 1;
    char text[8] = "xyz";
    ASSERT_EQ(0, rig.Bind(stmt, 1, &number, 4, DTY_INT));
    ASSERT_EQ(0, rig.Bind(stmt, 2, &number, 4, DTY_INT));
    OCIBind *record = stmt->binds[0];
    OCIBind *bind = nullptr;
    ASSERT_EQ(0, BindByPos(stmt, &bind, rig.err, 1, text, 8, DTY_STR));
    EXPECT_EQ(2, stmt->bind_count);
    EXPECT_EQ(record, bind);
    EXPECT_EQ(record, stmt->binds[0]);
    EXPECT_EQ((uint32_t)DTY_STR, record->dty);
    EXPECT_EQ(8u, record->value_sz);
    rig.Exchange(FrameArgs("? ST0 ", 2) + Hex("0000 0001 001E 00000003 'xyz'"
                                              "0000 0001 0005 00000004 00000001"),
                 INSERTED);
    EXPECT_EQ(0, rig.Execute(stmt, 1));
}

TEST(Bind, RefusedRebindLeavesAParameterWithoutValue) {
    BindRig rig;
    int32_t value = 5;
    ASSERT_EQ(0, rig.Bind(rig.stmt, 1, &value, 4, DTY_INT));
    EXPECT_EQ(-1, rig.Bind(rig.stmt, 1, &value, 4, 3));
    rig.Sends(Hex("0000 0001 0005 00000000"));
    EXPECT_EQ(0, rig.Execute(rig.stmt, 1));
}

TEST(Bind, UnboundParameterIsCountedAndSendsNothing) {
    StmtRig rig;
    rig.Logon();
    OCIStmt *stmt = rig.Prepare("INSERT INTO T VALUES(?,?)");
    int32_t value = 5;
    ASSERT_EQ(0, rig.Bind(stmt, 2, &value, 4, DTY_INT));
    rig.Exchange(FrameArgs("? ST0 ", 2) + Hex("0000 0001 0005 00000004 00000005"), INSERTED);
    EXPECT_EQ(0, rig.Execute(stmt, 1));
}

TEST(Bind, SqlTypesByDataType) {
    EXPECT_EQ(12, BindSqlType(DTY_CHAR, 10));
    EXPECT_EQ(2, BindSqlType(DTY_INT, 1));
    EXPECT_EQ(3, BindSqlType(DTY_INT, 2));
    EXPECT_EQ(4, BindSqlType(DTY_INT, 4));
    EXPECT_EQ(5, BindSqlType(DTY_INT, 8));
    EXPECT_EQ(4, BindSqlType(DTY_INT, 3));
    EXPECT_EQ(4, BindSqlType(DTY_INT, 0));
    EXPECT_EQ(6, BindSqlType(DTY_FLOAT, 4));
    EXPECT_EQ(7, BindSqlType(DTY_DOUBLE, 8));
    EXPECT_EQ(8, BindSqlType(DTY_NUMERIC, 10));
    EXPECT_EQ(11, BindSqlType(DTY_DATE, 8));
    EXPECT_EQ(12, BindSqlType(DTY_STR, 10));
    EXPECT_EQ(16, BindSqlType(DTY_BLOB, 0));
    EXPECT_EQ(14, BindSqlType(DTY_CLOB, 0));
    EXPECT_EQ(13, BindSqlType(DTY_BIN, 10));
    EXPECT_EQ(13, BindSqlType(DTY_BIN_2, 10));
    EXPECT_EQ(12, BindSqlType(DTY_LONG_STR, 10));
    EXPECT_EQ(0, BindSqlType(6, 8));
}

TEST(Bind, NativeBindGetsTheCTypesOfTheTable) {
    struct Case {
        uint16_t dty;
        int32_t value_sz;
        int32_t c_type;
    };
    const Case cases[] = {
        {DTY_CHAR, 4, 2},    {DTY_INT, 1, 3},      {DTY_INT, 2, 5},   {DTY_INT, 4, 5},
        {DTY_INT, 8, 6},     {DTY_INT, 3, 5},      {DTY_FLOAT, 4, 7}, {DTY_DOUBLE, 8, 8},
        {DTY_NUMERIC, 4, 9}, {DTY_DATE, 8, 13},    {DTY_STR, 4, 2},   {DTY_BIN, 4, 15},
        {DTY_BIN_2, 4, 15},  {DTY_LONG_STR, 4, 2},
    };
    BindRig rig;
    uint64_t values[4] = {};
    for (const Case &entry : cases) {
        ASSERT_EQ(0, rig.Bind(rig.stmt, 1, values, entry.value_sz, entry.dty)) << entry.dty;
        const ParamRecord *param = &rig.stmt->native_stmt->params[0];
        EXPECT_EQ(entry.c_type, param->bind->c_type) << entry.dty;
        EXPECT_EQ(entry.value_sz, param->bind->value_size) << entry.dty;
        EXPECT_EQ(BindSqlType(entry.dty, entry.value_sz), param->sql_type);
        EXPECT_EQ(1, param->kind);
        EXPECT_EQ(rig.stmt->binds[0]->value_buffer, param->bind->value);
        EXPECT_EQ(&rig.stmt->binds[0]->actual_length, param->bind->return_length);
    }
    OCILobLocator *locator = rig.NewLocator();
    ASSERT_EQ(0, rig.Bind(rig.stmt, 1, &locator, 0, DTY_CLOB));
    EXPECT_EQ(40, rig.stmt->native_stmt->params[0].bind->c_type);
    EXPECT_EQ(locator->native_lob, rig.stmt->native_stmt->params[0].bind->value);
}

TEST(Bind, ReturnCodeGoesToTheNativeBind) {
    BindRig rig;
    int32_t value = 0;
    int32_t return_code = 0;
    OCIBind *bind = nullptr;
    ASSERT_EQ(0, OCIBindByPos(rig.stmt, &bind, rig.err, 1, &value, 4, DTY_INT, nullptr, nullptr,
                              &return_code, 0, nullptr, 0));
    EXPECT_EQ(&return_code, rig.stmt->native_stmt->params[0].bind->return_code);
}

TEST(BindLoad, IntegersOfOneByte) {
    BindRig rig;
    uint8_t values[] = {1, 0xFF};
    rig.BindAndRun(values, 1, DTY_INT,
                   {Hex("0000 0001 0003 00000001 01"), Hex("0000 0001 0003 00000001 FF")});
    EXPECT_EQ(1, rig.stmt->binds[0]->actual_length);
}

TEST(BindLoad, IntegersOfTwoBytes) {
    BindRig rig;
    int16_t values[] = {0x1234, -2};
    rig.BindAndRun(values, 2, DTY_INT,
                   {Hex("0000 0001 0004 00000002 1234"), Hex("0000 0001 0004 00000002 FFFE")});
    EXPECT_EQ(2, rig.stmt->binds[0]->actual_length);
}

TEST(BindLoad, IntegersOfFourBytes) {
    BindRig rig;
    int32_t values[] = {0x12345678, INT32_MIN};
    rig.BindAndRun(
        values, 4, DTY_INT,
        {Hex("0000 0001 0005 00000004 12345678"), Hex("0000 0001 0005 00000004 80000000")});
    EXPECT_EQ(4, rig.stmt->binds[0]->actual_length);
}

TEST(BindLoad, IntegersOfEightBytesAreReadAs32BitElements) {
    BindRig rig;
    int32_t values[] = {7, -2};
    rig.BindAndRun(values, 8, DTY_INT,
                   {Hex("0000 0001 0006 00000008 0000000000000007"),
                    Hex("0000 0001 0006 00000008 FFFFFFFFFFFFFFFE")});
    EXPECT_EQ(8, rig.stmt->binds[0]->actual_length);
}

TEST(BindLoad, IntegersOfAnyOtherSizeAreReadAs32BitElements) {
    for (int32_t value_sz : {0, 3, 16, -1}) {
        BindRig rig;
        int32_t values[] = {7, -2};
        rig.BindAndRun(
            values, value_sz, DTY_INT,
            {Hex("0000 0001 0005 00000004 00000007"), Hex("0000 0001 0005 00000004 FFFFFFFE")});
    }
}

TEST(BindLoad, Floats) {
    BindRig rig;
    float values[] = {1.5f, -0.25f};
    rig.BindAndRun(
        values, 4, DTY_FLOAT,
        {Hex("0000 0001 0008 00000004 3FC00000"), Hex("0000 0001 0008 00000004 BE800000")});
}

TEST(BindLoad, Doubles) {
    BindRig rig;
    double values[] = {1.5, -0.25};
    rig.BindAndRun(values, 8, DTY_DOUBLE,
                   {Hex("0000 0001 0009 00000008 3FF8000000000000"),
                    Hex("0000 0001 0009 00000008 BFD0000000000000")});
}

TEST(BindLoad, NumericIsNeverLoaded) {
    BindRig rig;
    char values[] = "12.5";
    rig.BindAndRun(values, 5, DTY_NUMERIC, {Hex("0000 0001 001E 00000000")});
}

TEST(BindLoad, DatesLieEightBytesApart) {
    BindRig rig;
    OCIDate values[2] = {
        {2024, 2, 29, 10, 20, 30},
        {-5, 12, 1, 0, 0, 9},
    };
    static_assert(sizeof(OCIDate) == 8);
    rig.BindAndRun(values, 8, DTY_DATE,
                   {Hex("0000 0001 001E 00000017 '2024-02-29 10:20:30.000'"),
                    Hex("0000 0001 001E 00000017 '-005-12-01 00:00:09.000'")});
    EXPECT_EQ(8, rig.stmt->binds[0]->actual_length);
}

TEST(BindLoad, TextsEndAtTheirNul) {
    for (int dty : {DTY_CHAR, DTY_STR, DTY_LONG_STR}) {
        BindRig rig;
        char values[2][6] = {"abc", "defgh"};
        rig.BindAndRun(
            values, 6, dty,
            {Hex("0000 0001 001E 00000003 'abc'"), Hex("0000 0001 001E 00000005 'defgh'")});
        EXPECT_EQ(5, rig.stmt->binds[0]->actual_length);
    }
}

TEST(BindLoad, TextsWithoutATerminatorEndWithTheirElement) {
    BindRig rig;
    char values[] = {'a', 'b', 'c', 'd', 'e', 'f', 'g', 'h', 'i', 'j'};
    rig.BindAndRun(
        values, 5, DTY_CHAR,
        {Hex("0000 0001 001E 00000005 'abcde'"), Hex("0000 0001 001E 00000005 'fghij'")});
}

TEST(BindLoad, BinaryValuesStopAtTheirFirstNul) {
    for (int dty : {DTY_BIN, DTY_BIN_2}) {
        BindRig rig;
        uint8_t values[2][4] = {
            {1, 2, 0, 4},
            {9, 8, 0xFF, 0xFE},
        };
        rig.BindAndRun(
            values, 4, dty,
            {Hex("0000 0001 0021 00000002 0102"), Hex("0000 0001 0021 00000004 0908FFFE")});
    }
}

TEST(BindLoad, EmptyTextIsNull) {
    BindRig rig;
    char value[4] = "";
    rig.BindAndRun(value, 4, DTY_STR, {Hex("0000 0001 001E 00000000")});
}

TEST(BindLoad, IndicatorMinus1GivesLength0) {
    BindRig rig;
    int32_t values[] = {5, 6};
    int16_t indicators[] = {-1, 1};
    rig.BindAndRun(values, 4, DTY_INT,
                   {Hex("0000 0001 0005 00000000"), Hex("0000 0001 0005 00000004 00000006")},
                   indicators);
    EXPECT_EQ(1, rig.stmt->binds[0]->actual_length);
    indicators[0] = -1;
    BindsLoad(rig.stmt, 0);
    EXPECT_EQ(0, rig.stmt->binds[0]->actual_length);
}

TEST(BindLoad, Indicator0GivesTheGreatestLengthAndTheWholeElement) {
    BindRig rig;
    // The text of the second row is shorter, and the tail of the first goes out with it.
    char values[2][10] = {"abcdefg", "xyz"};
    int16_t indicators[] = {0, 0};
    rig.BindAndRun(values, 10, DTY_CHAR,
                   {Hex("0000 0001 001E 0000000A 'abcdefg' 000000"),
                    Hex("0000 0001 001E 0000000A 'xyz' 00 'efg' 000000")},
                   indicators);
    EXPECT_EQ(2147483647, rig.stmt->binds[0]->actual_length);
}

TEST(BindLoad, Indicator5GivesLength5) {
    BindRig rig;
    char values[2][10] = {"abc", "abcdefgh"};
    int16_t indicators[] = {5, 5};
    rig.BindAndRun(
        values, 10, DTY_STR,
        {Hex("0000 0001 001E 00000005 'abc' 0000"), Hex("0000 0001 001E 00000005 'abcde'")},
        indicators);
    EXPECT_EQ(5, rig.stmt->binds[0]->actual_length);
}

TEST(BindLoad, IndicatorBelowMinus1IsNullForATextAndTheValueForANumber) {
    {
        BindRig rig;
        char value[4] = "abc";
        int16_t indicator = -2;
        rig.BindAndRun(value, 4, DTY_CHAR, {Hex("0000 0001 001E 00000000")}, &indicator);
        EXPECT_EQ(-2, rig.stmt->binds[0]->actual_length);
    }
    BindRig rig;
    int32_t value = 3;
    int16_t indicator = -2;
    rig.BindAndRun(&value, 4, DTY_INT, {Hex("0000 0001 0005 00000004 00000003")}, &indicator);
}

TEST(BindLoad, DataAtExecuteIsNotLoaded) {
    BindRig rig;
    char value[8] = "abc";
    int16_t indicator = -1;
    ASSERT_EQ(0, rig.Bind(rig.stmt, 1, value, 8, DTY_STR, &indicator, OCI_DATA_AT_EXEC));
    uint32_t bytes = 8;
    ASSERT_EQ(0, OCIStmtSetPieceInfo(rig.stmt->binds[0], OCI_HTYPE_BIND, rig.err, "12345678",
                                     &bytes, OCI_LAST_PIECE, nullptr, nullptr));
    rig.Sends(Hex("0000 0001 001E 00000008 '12345678'"));
    EXPECT_EQ(0, rig.Execute(rig.stmt, 1));
}

static void WriteLob(StmtRig *rig, OCILobLocator *locator, const char *text) {
    uint32_t bytes = (uint32_t)strlen(text);
    ASSERT_EQ(0, OCILobWrite(rig->svc, rig->err, locator, &bytes, 1, (void *)text, bytes,
                             OCI_ONE_PIECE, nullptr, nullptr, 0, 0));
}

TEST(BindLob, OnlyTheFirstLocatorSuppliesDataAndEachItsLength) {
    BindRig rig;
    OCILobLocator *locators[2] = {rig.NewLocator(), rig.NewLocator()};
    WriteLob(&rig, locators[0], "abcdef");
    WriteLob(&rig, locators[1], "xyz");
    rig.BindAndRun(locators, 0, DTY_BLOB,
                   {Hex("0000 0001 0022 00000006 'abcdef'"), Hex("0000 0001 0022 00000003 'abc'")});
}

TEST(BindLob, CharacterLobHasItsOwnType) {
    BindRig rig;
    OCILobLocator *locator = rig.NewLocator();
    WriteLob(&rig, locator, "abc");
    int16_t indicator = 0;
    rig.BindAndRun(&locator, -1, DTY_CLOB, {Hex("0000 0001 0020 00000003 'abc'")}, &indicator);
}

TEST(BindLob, MissingLocatorIsAnInvalidParameter) {
    BindRig rig;
    OCILobLocator *locator = nullptr;
    EXPECT_EQ(-1, rig.Bind(rig.stmt, 1, &locator, 0, DTY_BLOB));
    EXPECT_EQ("Invalid parameter.", rig.Error());
    EXPECT_EQ(-1, rig.Bind(rig.stmt, 1, nullptr, 0, DTY_BLOB, nullptr, OCI_DATA_AT_EXEC));
    EXPECT_EQ("Invalid parameter.", rig.Error());
    EXPECT_EQ(-1, rig.Bind(rig.stmt, 1, &locator, 0, DTY_CLOB, nullptr, OCI_DATA_AT_EXEC));
    EXPECT_EQ("Invalid parameter.", rig.Error());
}

TEST(BindLob, FreedLocatorLeavesANull) {
    BindRig rig;
    OCILobLocator *locator = rig.NewLocator();
    WriteLob(&rig, locator, "abc");
    ASSERT_EQ(0, rig.Bind(rig.stmt, 1, &locator, 0, DTY_BLOB));
    ASSERT_EQ(0, OCIDescriptorFree(locator, OCI_DTYPE_LOB));
    rig.locators.clear();
    EXPECT_EQ(nullptr, rig.stmt->binds[0]->value_buffer);
    rig.Sends(Hex("0000 0001 0022 00000000"));
    EXPECT_EQ(0, rig.Execute(rig.stmt, 1));
}

TEST(BindLob, OneLocatorMayServeTwoParameters) {
    StmtRig rig;
    rig.Logon();
    OCIStmt *stmt = rig.Prepare("INSERT INTO T VALUES(?,?)");
    OCILobLocator *locator = rig.NewLocator();
    WriteLob(&rig, locator, "abc");
    int32_t number = 7;
    ASSERT_EQ(0, rig.Bind(stmt, 1, &locator, 0, DTY_BLOB));
    ASSERT_EQ(0, rig.Bind(stmt, 2, &locator, 0, DTY_BLOB));
    ASSERT_EQ(0, rig.Bind(stmt, 1, &number, 4, DTY_INT));
    rig.Exchange(FrameArgs("? ST0 ", 2) + Hex("0000 0001 0005 00000004 00000007"
                                              "0000 0001 0022 00000003 'abc'"),
                 INSERTED);
    EXPECT_EQ(0, rig.Execute(stmt, 1));
    ASSERT_EQ(0, OCIDescriptorFree(locator, OCI_DTYPE_LOB));
    rig.locators.clear();
    rig.Exchange(FrameArgs("? ST0 ", 2) + Hex("0000 0001 0005 00000004 00000007"
                                              "0000 0001 0022 00000000"),
                 INSERTED);
    EXPECT_EQ(0, rig.Execute(stmt, 1));
}

TEST(BindLob, RebindingLeavesTheLocatorToTheApplication) {
    BindRig rig;
    OCILobLocator *locator = rig.NewLocator();
    WriteLob(&rig, locator, "abc");
    int32_t number = 7;
    ASSERT_EQ(0, rig.Bind(rig.stmt, 1, &locator, 0, DTY_BLOB));
    ASSERT_EQ(0, rig.Bind(rig.stmt, 1, &number, 4, DTY_INT));
    ASSERT_EQ(0, OCIDescriptorFree(locator, OCI_DTYPE_LOB));
    rig.locators.clear();
    rig.Sends(Hex("0000 0001 0005 00000004 00000007"));
    EXPECT_EQ(0, rig.Execute(rig.stmt, 1));
}

TEST(BindLob, PiecesReachTheLocatorAtTheLastOne) {
    BindRig rig;
    OCILobLocator *locator = rig.NewLocator();
    ASSERT_EQ(0, rig.Bind(rig.stmt, 1, &locator, 6, DTY_CLOB, nullptr, OCI_DATA_AT_EXEC));
    OCIBind *bind = rig.stmt->binds[0];
    uint32_t bytes = 3;
    ASSERT_EQ(0, OCIStmtSetPieceInfo(bind, OCI_HTYPE_BIND, rig.err, "abc", &bytes, OCI_FIRST_PIECE,
                                     nullptr, nullptr));
    EXPECT_EQ(99, rig.Execute(rig.stmt, 1));
    ASSERT_EQ(0, OCIStmtSetPieceInfo(bind, OCI_HTYPE_BIND, rig.err, "def", &bytes, OCI_LAST_PIECE,
                                     nullptr, nullptr));
    rig.Sends(Hex("0000 0001 0020 00000006 'abcdef'"));
    EXPECT_EQ(0, rig.Execute(rig.stmt, 1));
    // Bound again, what had gathered is gone.
    ASSERT_EQ(0, rig.Bind(rig.stmt, 1, &locator, 6, DTY_CLOB, nullptr, OCI_DATA_AT_EXEC));
    EXPECT_EQ(nullptr, bind->pieces);
    EXPECT_EQ(99, rig.Execute(rig.stmt, 1));
}

// Runs `make` with each of its allocations failing in turn, and ends when none fails any more.
template <typename Make>
static void FailEachAllocation(Make make) {
    for (uint64_t n = 1;; n++) {
        MemFailAt(n);
        int32_t result = make();
        bool failed = MemFailed();
        MemFailAt(0);
        if (!failed) {
            EXPECT_EQ(0, result);
            return;
        }
        EXPECT_TRUE(result == -1 || result == -5) << "allocation " << n << " gives " << result;
    }
}

TEST(Bind, FailedAllocationIsReportedAndLeavesTheStatementUsable) {
    StmtRig rig;
    rig.Logon();
    OCIStmt *stmt = rig.Prepare("INSERT INTO T VALUES(:a)");
    int32_t value = 4;
    FailEachAllocation([&] { return rig.BindName(stmt, ":a", &value, 4, DTY_INT); });
    rig.Exchange(FrameArgs("? ST0 ", 1) + Hex("0001 'a' 0001 0005 00000004 00000004"), INSERTED);
    EXPECT_EQ(0, rig.Execute(stmt, 1));
}
