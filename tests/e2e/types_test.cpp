// Every declared column type: stored from a literal, described, and read as text; and the refusal
// of what does not fit.
#include <cstring>
#include <vector>

#include "e2e/e2e_rig.h"

struct TypeCase {
    const char *declaration;
    const char *type_text;                                      // attribute 55
    uint16_t app_type;                                          // attribute 51
    uint32_t width;                                             // attribute 53
    std::vector<std::pair<const char *, const char *>> values;  // a literal, and the text read back
};

static const TypeCase type_table[] = {
    {"BOOLEAN", "BOOLEAN", 1, 1, {{"TRUE", "TRUE"}, {"FALSE", "FALSE"}, {"1", "TRUE"}}},
    {"TINYINT", "TINYINT", 3, 1, {{"0", "0"}, {"-1", "-1"}, {"-128", "-128"}, {"127", "127"}}},
    {"SMALLINT", "SMALLINT", 4, 2, {{"0", "0"}, {"-32768", "-32768"}, {"32767", "32767"}}},
    {"INTEGER",
     "INTEGER",
     5,
     4,
     {{"0", "0"}, {"-2147483648", "-2147483648"}, {"2147483647", "2147483647"}}},
    {"INT", "INTEGER", 5, 4, {{"-1", "-1"}}},
    {"BIGINT",
     "BIGINT",
     6,
     8,
     {{"-9223372036854775808", "-9223372036854775808"},
      {"9223372036854775807", "9223372036854775807"}}},
    {"NUMERIC(10,2)",
     "NUMERIC(10,2)",
     9,
     40,
     {{"'12345678.91'", "12345678.91"}, {"'-0.25'", "-0.25"}, {"'1.005'", "1.01"}}},
    {"DECIMAL(5,0)", "NUMERIC(5,0)", 9, 40, {{"'-99999'", "-99999"}, {"12.5", "13"}}},
    {"NUMERIC",
     "NUMERIC",
     9,
     40,
     {{"'12345678901234567890.123456789'", "12345678901234567890.123456789"}}},
    {"FLOAT", "FLOAT", 7, 4, {{"1.5", "1.500000"}, {"-0.25", "-0.250000"}, {"0", "0.000000"}}},
    {"REAL", "FLOAT", 7, 4, {{"2", "2.000000"}}},
    {"DOUBLE",
     "DOUBLE",
     8,
     8,
     {{"0.1", "0.100000000000000"},
      {"-1.5", "-1.500000000000000"},
      {"1e15", "1000000000000000.000000"}}},
    {"DOUBLE PRECISION", "DOUBLE", 8, 8, {{"12", "12.00000000000000"}}},
    {"DATE",
     "DATE",
     10,
     40,
     {{"'2024-03-01'", "2024-3-1"},
      {"'1969-12-31'", "1969-12-31"},
      {"'0001-01-01'", "1-1-1"},
      {"'9999-12-31'", "9999-12-31"}}},
    {"TIME",
     "TIME",
     11,
     40,
     {{"'10:20:30'", "10:20:30"}, {"'00:00:00'", "0:0:0"}, {"'23:59:59.999'", "23:59:59"}}},
    {"TIME WITH TIME ZONE",
     "TIME WITH TIME ZONE",
     12,
     40,
     {{"'13:30:00 +05:30'", "13:30:00 +5:00"}, {"'08:00:00'", "8:00:00 +0:00"}}},
    {"DATETIME",
     "DATETIME",
     13,
     28,
     {{"'2024-03-01 10:20:30.456'", "2024-03-01 10:20:30.456"},
      {"'1970-01-01'", "1970-01-01 00:00:00.000"},
      {"'1969-12-31 23:59:59'", "1969-12-31 23:59:59.000"},
      {"'9999-12-31 23:59:59'", "9999-12-31 23:59:59.000"}}},
    {"TIMESTAMP", "DATETIME", 13, 28, {{"'2000-02-29T01:02:03'", "2000-02-29 01:02:03.000"}}},
    {"DATETIME WITH TIME ZONE",
     "DATETIME WITH TIME ZONE",
     14,
     40,
     {{"'1969-12-31 19:00:00 -05:00'", "1969-12-31 19:00:00 -5:00"},
      {"'2024-03-01 00:30:00 +08'", "2024-03-01 00:30:00 +8:00"}}},
    {"INTERVAL YEAR", "INTERVAL YEAR", 21, 40, {{"'7'", "7"}, {"'-7'", "-7"}}},
    {"INTERVAL YEAR TO MONTH",
     "INTERVAL YEAR TO MONTH",
     28,
     40,
     {{"'3-04'", "3-04"}, {"'-1-02'", "-1--2"}}},
    {"INTERVAL MONTH", "INTERVAL MONTH", 21, 40, {{"'-5'", "-5"}}},
    {"INTERVAL DAY", "INTERVAL DAY", 21, 40, {{"'12'", "12"}}},
    {"INTERVAL DAY TO HOUR", "INTERVAL DAY TO HOUR", 21, 40, {{"'1 02'", "1 02"}}},
    {"INTERVAL HOUR", "INTERVAL HOUR", 21, 40, {{"'100'", "100"}}},
    {"INTERVAL DAY TO MINUTE", "INTERVAL DAY TO MINUTE", 21, 40, {{"'1 2:03'", "1 02:03"}}},
    {"INTERVAL HOUR TO MINUTE", "INTERVAL HOUR TO MINUTE", 21, 40, {{"'2:03'", "2:03"}}},
    {"INTERVAL MINUTE", "INTERVAL MINUTE", 21, 40, {{"'90'", "90"}}},
    {"INTERVAL DAY TO SECOND",
     "INTERVAL DAY TO SECOND",
     31,
     40,
     {{"'1 2:03:04'", "1 2:03:04"}, {"'0 0:00:59.9'", "0 0:00:59"}}},
    {"INTERVAL HOUR TO SECOND", "INTERVAL HOUR TO SECOND", 21, 40, {{"'1:02:03'", "1:02:03"}}},
    {"INTERVAL MINUTE TO SECOND", "INTERVAL MINUTE TO SECOND", 21, 40, {{"'2:03'", "2:03"}}},
    {"INTERVAL SECOND", "INTERVAL SECOND", 21, 40, {{"'90'", "90"}, {"'-90'", "-90"}}},
    {"GUID",
     "GUID",
     2,
     40,
     {{"'0123456789abcdef0123456789ABCDEF'", "01234567-89AB-CDEF-0123-456789ABCDEF"}}},
    {"CHAR(4)", "CHAR(4)", 2, 4, {{"'ab'", "ab"}, {"'abcd'", "abcd"}, {"'it''s'", "it's"}}},
    {"CHAR", "CHAR", 2, 1, {{"'a'", "a"}}},
    {"VARCHAR(4)", "VARCHAR(4)", 2, 4, {{"'abcd'", "abcd"}, {"17", "17"}}},
    {"VARCHAR2(6)", "VARCHAR(6)", 2, 6, {{"'a\\b'", "a\\b"}}},
    {"VARCHAR", "VARCHAR", 2, 65536, {{"'as long as it likes'", "as long as it likes"}}},
    {"CLOB", "CLOB", 40, 0xFFFFFFFF, {{"'a large text'", "a large text"}}},
    {"BINARY(3)", "BINARY", 15, 65536, {{"x'414243'", "ABC"}}},
    {"VARBINARY(8)", "BINARY", 15, 65536, {{"'hi'", "hi"}}},
    {"BLOB", "BLOB", 40, 0xFFFFFFFF, {{"x'4142'", "AB"}}},
    // The bytes of a row version have no text, and no other form either.
    {"ROWVERSION", "ROWVERSION", 2, 40, {{"x'0102'", ""}}},
};

class EveryType : public testing::TestWithParam<TypeCase> {
protected:
    void SetUp() override {
        table = FreshName("TYPES");
        ASSERT_EQ(OCI_SUCCESS, app.Run("CREATE TABLE " + table + " (N INTEGER, V " +
                                       GetParam().declaration + ")"))
            << app.ErrorText();
    }

    void Insert(int number, const std::string &literal) {
        ASSERT_EQ(OCI_SUCCESS, app.Run("INSERT INTO " + table + " VALUES (" +
                                       std::to_string(number) + ", " + literal + ")"))
            << literal << ": " << app.ErrorText();
    }

    Application app;
    std::string table;
};

TEST_P(EveryType, LiteralsComeBackAsText) {
    const TypeCase &type = GetParam();
    int number = 0;
    for (const auto &value : type.values) {
        Insert(++number, value.first);
    }
    OCIStmt *stmt = app.NewStmt();
    char text[64] = "";
    ASSERT_EQ(OCI_SUCCESS, app.Prepare(stmt, "SELECT V FROM " + table + " ORDER BY N"));
    ASSERT_EQ(OCI_SUCCESS, app.Define(stmt, 1, text, sizeof text, DTY_STR));
    ASSERT_EQ(OCI_SUCCESS, app.Execute(stmt, 0)) << app.ErrorText();
    for (const auto &value : type.values) {
        memset(text, 'x', sizeof text);
        ASSERT_EQ(OCI_SUCCESS, app.Fetch(stmt)) << app.ErrorText();
        EXPECT_STREQ(value.second, text) << value.first;
    }
    EXPECT_EQ(OCI_NO_DATA, app.Fetch(stmt));
    EXPECT_EQ(OCI_SUCCESS, OCIHandleFree(stmt, OCI_HTYPE_STMT));
}

TEST_P(EveryType, IsDescribed) {
    const TypeCase &type = GetParam();
    OCIStmt *stmt = app.NewStmt();
    ASSERT_EQ(OCI_SUCCESS, app.Prepare(stmt, "SELECT N, V FROM " + table));
    void *column = nullptr;
    ASSERT_EQ(OCI_SUCCESS, OCIParamGet(stmt, OCI_HTYPE_STMT, app.err, &column, 2));
    const char *text = nullptr;
    uint32_t length = 0;
    EXPECT_EQ(OCI_SUCCESS,
              OCIAttrGet(column, OCI_DTYPE_PARAM, &text, &length, OCI_ATTR_NAME, app.err));
    EXPECT_STREQ("V", text);
    EXPECT_EQ(1U, length);
    EXPECT_EQ(OCI_SUCCESS,
              OCIAttrGet(column, OCI_DTYPE_PARAM, &text, &length, OCI_ATTR_TYPE_NAME, app.err));
    EXPECT_STREQ(type.type_text, text);
    EXPECT_EQ(strlen(type.type_text), length);
    uint16_t app_type = 0;
    EXPECT_EQ(OCI_SUCCESS,
              OCIAttrGet(column, OCI_DTYPE_PARAM, &app_type, &length, OCI_ATTR_DATA_TYPE, app.err));
    EXPECT_EQ(type.app_type, app_type);
    EXPECT_EQ(2U, length);
    uint32_t width = 0;
    EXPECT_EQ(OCI_SUCCESS,
              OCIAttrGet(column, OCI_DTYPE_PARAM, &width, &length, OCI_ATTR_DATA_SIZE, app.err));
    EXPECT_EQ(type.width, width);
    EXPECT_EQ(4U, length);
    uint32_t columns = 0;
    EXPECT_EQ(OCI_SUCCESS,
              OCIAttrGet(stmt, OCI_HTYPE_STMT, &columns, &length, OCI_ATTR_PARAM_COUNT, app.err));
    EXPECT_EQ(2U, columns);
    EXPECT_EQ(OCI_SUCCESS, OCIHandleFree(stmt, OCI_HTYPE_STMT));
}

TEST_P(EveryType, NullIsMarkedInTheIndicator) {
    Insert(1, "NULL");
    OCIStmt *stmt = app.NewStmt();
    char text[16] = "untouched";
    int16_t indicator = 7;
    uint32_t length = 7;
    ASSERT_EQ(OCI_SUCCESS, app.Prepare(stmt, "SELECT V FROM " + table));
    ASSERT_EQ(OCI_SUCCESS, app.Define(stmt, 1, text, sizeof text, DTY_STR, &indicator, &length));
    ASSERT_EQ(OCI_SUCCESS, app.Execute(stmt, 1)) << app.ErrorText();
    EXPECT_STREQ("", text);
    EXPECT_EQ(-1, indicator);
    EXPECT_EQ(0U, length);
    EXPECT_EQ(OCI_SUCCESS, OCIHandleFree(stmt, OCI_HTYPE_STMT));
}

static std::string CaseName(const testing::TestParamInfo<TypeCase> &type) {
    std::string name = type.param.declaration;
    for (char &character : name) {
        if (!isalnum((unsigned char)character)) {
            character = '_';
        }
    }
    return name;
}

INSTANTIATE_TEST_SUITE_P(Declared, EveryType, testing::ValuesIn(type_table), CaseName);

class Precision : public testing::Test {
protected:
    void SetUp() override {
        const std::string table = FreshName("PRECISION");
        ASSERT_EQ(OCI_SUCCESS,
                  app.Run("CREATE TABLE " + table + " (A NUMERIC(12,3), B CHAR(9), C DOUBLE)"));
        stmt = app.NewStmt();
        ASSERT_EQ(OCI_SUCCESS, app.Prepare(stmt, "SELECT A, B, C FROM " + table));
    }

    void TearDown() override {
        EXPECT_EQ(OCI_SUCCESS, OCIHandleFree(stmt, OCI_HTYPE_STMT));
    }

    int32_t Get(uint32_t position, uint32_t attribute, int32_t *value) {
        void *column = nullptr;
        EXPECT_EQ(OCI_SUCCESS, OCIParamGet(stmt, OCI_HTYPE_STMT, app.err, &column, position));
        return OCIAttrGet(column, OCI_DTYPE_PARAM, value, nullptr, attribute, app.err);
    }

    Application app;
    OCIStmt *stmt = nullptr;
};

TEST_F(Precision, OfANumericHasItsDigitsAndItsScale) {
    int32_t value = 0;
    EXPECT_EQ(OCI_SUCCESS, Get(1, OCI_ATTR_PRECISION, &value));
    EXPECT_EQ(12, value);
    EXPECT_EQ(OCI_SUCCESS, Get(1, OCI_ATTR_SCALE, &value));
    EXPECT_EQ(3, value);
}

TEST_F(Precision, OfATextIsItsLengthAsTheScaleAlone) {
    int32_t value = 0;
    EXPECT_EQ(-9, Get(2, OCI_ATTR_PRECISION, &value));
    EXPECT_EQ(OCI_SUCCESS, Get(2, OCI_ATTR_SCALE, &value));
    EXPECT_EQ(9, value);
}

TEST_F(Precision, OfADoubleIsNotToBeHad) {
    int32_t value = 0;
    EXPECT_EQ(-9, Get(3, OCI_ATTR_PRECISION, &value));
    EXPECT_EQ(-9, Get(3, OCI_ATTR_SCALE, &value));
}

struct MisfitCase {
    const char *name;
    const char *declaration;
    const char *literal;
};

static const MisfitCase misfit_table[] = {
    {"BOOLEAN", "BOOLEAN", "2"},
    {"TINYINT", "TINYINT", "128"},
    {"SMALLINT", "SMALLINT", "-32769"},
    {"INTEGER", "INTEGER", "2147483648"},
    {"BIGINT", "BIGINT", "'9223372036854775808'"},
    {"NUMERIC", "NUMERIC(4,1)", "'1000.0'"},
    {"FLOAT", "FLOAT", "1e39"},
    {"DOUBLE", "DOUBLE", "'much'"},
    {"DATE", "DATE", "'2023-02-29'"},
    {"TIME", "TIME", "'24:00'"},
    {"TIME_TZ", "TIME WITH TIME ZONE", "'10:00 +16:00'"},
    {"DATETIME", "DATETIME", "'2024-03-01 25:00'"},
    {"DATETIME_TZ", "DATETIME WITH TIME ZONE", "'soon'"},
    {"INTERVAL", "INTERVAL YEAR TO MONTH", "'1-12'"},
    {"CHAR", "CHAR(4)", "'abcde'"},
    {"VARCHAR", "VARCHAR(4)", "'abcde'"},
    {"BINARY", "BINARY(2)", "x'010203'"},
    {"ROWVERSION", "ROWVERSION", "x'010203040506070809'"},
    {"GUID", "GUID", "'0123'"},
};

class Misfit : public testing::TestWithParam<MisfitCase> {};

TEST_P(Misfit, IsRefusedWithTheServersWords) {
    Application app;
    const std::string table = FreshName("MISFIT");
    ASSERT_EQ(OCI_SUCCESS,
              app.Run("CREATE TABLE " + table + " (V " + GetParam().declaration + ")"));
    OCIStmt *stmt = app.NewStmt();
    const std::string insert =
        "INSERT INTO " + table + " VALUES (" + std::string(GetParam().literal) + ")";
    ASSERT_EQ(OCI_SUCCESS, app.Prepare(stmt, insert)) << app.ErrorText();
    EXPECT_EQ(OCI_ERROR, app.Execute(stmt, 1));
    EXPECT_EQ(0U, app.ErrorText().find("[E16001]")) << app.ErrorText();
    EXPECT_EQ(OCI_SUCCESS, OCIHandleFree(stmt, OCI_HTYPE_STMT));
    EXPECT_EQ("0", app.SelectText("SELECT COUNT(*) FROM " + table));
}

INSTANTIATE_TEST_SUITE_P(Declared, Misfit, testing::ValuesIn(misfit_table),
                         [](const testing::TestParamInfo<MisfitCase> &misfit) {
                             return std::string(misfit.param.name);
                         });
