// Bound values on their way to a column and back, in every form that the application can hold.
#include <cstring>

#include "e2e/e2e_rig.h"

// A table of one column, into which values are bound and from which they are read.
class Binds : public testing::Test {
protected:
    void MakeTable(const std::string &declaration) {
        table = FreshName("BINDS");
        ASSERT_EQ(OCI_SUCCESS, app.Run("CREATE TABLE " + table + " (N INTEGER PRIMARY KEY, V " +
                                       declaration + ")"))
            << app.ErrorText();
    }

    // Inserts `rows` elements of an array.
    void Insert(void *values, int32_t size, uint16_t dty, uint32_t rows = 1,
                void *indicators = nullptr) {
        OCIStmt *stmt = app.NewStmt();
        ASSERT_EQ(OCI_SUCCESS, app.Prepare(stmt, "INSERT INTO " + table + " (V) VALUES (?)"));
        ASSERT_EQ(OCI_SUCCESS, app.Bind(stmt, 1, values, size, dty, indicators)) << app.ErrorText();
        ASSERT_EQ(OCI_SUCCESS, app.Execute(stmt, rows)) << app.ErrorText();
        EXPECT_EQ(OCI_SUCCESS, OCIHandleFree(stmt, OCI_HTYPE_STMT));
    }

    // Reads the column into an array, in the order of insertion.
    int32_t Select(void *values, int32_t size, uint16_t dty, uint32_t rows = 1,
                   void *indicators = nullptr, uint32_t *lengths = nullptr) {
        OCIStmt *stmt = app.NewStmt();
        EXPECT_EQ(OCI_SUCCESS, app.Prepare(stmt, "SELECT V FROM " + table + " ORDER BY N"));
        EXPECT_EQ(OCI_SUCCESS, app.Define(stmt, 1, values, size, dty, indicators, lengths));
        const int32_t status = app.Execute(stmt, rows);
        EXPECT_EQ(OCI_SUCCESS, OCIHandleFree(stmt, OCI_HTYPE_STMT));
        return status;
    }

    std::string TextOf(int row) {
        return app.SelectText("SELECT V FROM " + table + " WHERE N = " + std::to_string(row));
    }

    Application app;
    std::string table;
};

TEST_F(Binds, IntegersOfOneByte) {
    MakeTable("TINYINT");
    int8_t out[3] = {-128, 0, 127};
    Insert(out, 1, DTY_INT, 3);
    int8_t in[3] = {1, 1, 1};
    EXPECT_EQ(OCI_SUCCESS, Select(in, 1, DTY_INT, 3));
    EXPECT_EQ(0, memcmp(out, in, sizeof in));
    EXPECT_EQ("-128", TextOf(1));
}

TEST_F(Binds, IntegersOfTwoBytes) {
    MakeTable("SMALLINT");
    int16_t out[3] = {-32768, -1, 32767};
    Insert(out, 2, DTY_INT, 3);
    int16_t in[3] = {1, 1, 1};
    EXPECT_EQ(OCI_SUCCESS, Select(in, 2, DTY_INT, 3));
    EXPECT_EQ(0, memcmp(out, in, sizeof in));
    EXPECT_EQ("-32768", TextOf(1));
}

TEST_F(Binds, IntegersOfFourBytes) {
    MakeTable("INTEGER");
    int32_t out[3] = {INT32_MIN, 0, INT32_MAX};
    Insert(out, 4, DTY_INT, 3);
    int32_t in[3] = {1, 1, 1};
    EXPECT_EQ(OCI_SUCCESS, Select(in, 4, DTY_INT, 3));
    EXPECT_EQ(0, memcmp(out, in, sizeof in));
    EXPECT_EQ("-2147483648", TextOf(1));
}

TEST_F(Binds, IntegersOfEightBytesAreReadFromElementsOfFour) {
    MakeTable("BIGINT");
    int32_t out[3] = {INT32_MIN, -1, INT32_MAX};
    Insert(out, 8, DTY_INT, 3);
    int64_t in[3] = {1, 1, 1};
    EXPECT_EQ(OCI_SUCCESS, Select(in, 8, DTY_INT, 3));
    EXPECT_EQ(-2147483648, in[0]);
    EXPECT_EQ(-1, in[1]);
    EXPECT_EQ(2147483647, in[2]);
}

TEST_F(Binds, FloatsAndDoubles) {
    MakeTable("DOUBLE");
    double doubles[2] = {-1.5e300, 0.1};
    Insert(doubles, 8, DTY_DOUBLE, 2);
    float single = 0.25F;
    Insert(&single, 4, DTY_FLOAT);
    double in[3] = {1, 1, 1};
    EXPECT_EQ(OCI_SUCCESS, Select(in, 8, DTY_DOUBLE, 3));
    EXPECT_EQ(-1.5e300, in[0]);
    EXPECT_EQ(0.1, in[1]);
    EXPECT_EQ(0.25, in[2]);
}

TEST_F(Binds, FloatsOfAFloatColumn) {
    MakeTable("FLOAT");
    float out[2] = {-3.4e38F, 1.1754944e-38F};
    Insert(out, 4, DTY_FLOAT, 2);
    float in[2] = {1, 1};
    EXPECT_EQ(OCI_SUCCESS, Select(in, 4, DTY_FLOAT, 2));
    EXPECT_EQ(out[0], in[0]);
    EXPECT_EQ(out[1], in[1]);
}

TEST_F(Binds, DatesBeforeAndAfter1970) {
    MakeTable("DATETIME");
    OCIDate out[4] = {{1969, 12, 31, 23, 59, 59},
                      {1, 1, 1, 0, 0, 0},
                      {2024, 2, 29, 1, 2, 3},
                      {9999, 12, 31, 23, 59, 59}};
    Insert(out, 8, DTY_DATE, 4);
    EXPECT_EQ("1969-12-31 23:59:59.000", TextOf(1));
    EXPECT_EQ("1-01-01 00:00:00.000", TextOf(2));
    OCIDate in[4] = {};
    uint32_t lengths[4] = {};
    EXPECT_EQ(OCI_SUCCESS, Select(in, 8, DTY_DATE, 4, nullptr, lengths));
    for (int row = 0; row < 4; row++) {
        EXPECT_EQ(out[row].year, in[row].year) << row;
        EXPECT_EQ(out[row].month, in[row].month) << row;
        EXPECT_EQ(out[row].day, in[row].day) << row;
        EXPECT_EQ(out[row].hour, in[row].hour) << row;
        EXPECT_EQ(out[row].minute, in[row].minute) << row;
        EXPECT_EQ(out[row].second, in[row].second) << row;
        EXPECT_EQ(8U, lengths[row]) << row;
    }
}

TEST_F(Binds, ADateOfADateColumnHasNoTime) {
    MakeTable("DATE");
    OCIDate out = {1999, 7, 8, 9, 10, 11};
    Insert(&out, 8, DTY_DATE);
    OCIDate in = {1, 1, 1, 1, 1, 1};
    EXPECT_EQ(OCI_SUCCESS, Select(&in, 8, DTY_DATE));
    EXPECT_EQ(1999, in.year);
    EXPECT_EQ(7, in.month);
    EXPECT_EQ(8, in.day);
    EXPECT_EQ(0, in.hour);
    EXPECT_EQ(0, in.minute);
    EXPECT_EQ(0, in.second);
}

TEST_F(Binds, TextsInElementsOfOneSize) {
    MakeTable("VARCHAR(10)");
    char out[3][11] = {"one", "", "0123456789"};
    Insert(out, 11, DTY_STR, 3);
    char in[3][11] = {"x", "x", "x"};
    int16_t indicators[3] = {9, 9, 9};
    uint32_t lengths[3] = {9, 9, 9};
    EXPECT_EQ(OCI_SUCCESS, Select(in, 11, DTY_STR, 3, indicators, lengths));
    EXPECT_STREQ("0123456789", in[2]);
    EXPECT_EQ(10U, lengths[2]);
    EXPECT_EQ(0, indicators[2]);
    // The empty text comes back as NULL, which is marked in the first element.
    EXPECT_STREQ("", in[0]);
    EXPECT_EQ(-1, indicators[0]);
    EXPECT_EQ(0U, lengths[0]);
    EXPECT_EQ(9, indicators[1]);
    EXPECT_STREQ("x", in[1]);
}

TEST_F(Binds, TextsWithoutATerminator) {
    MakeTable("CHAR(5)");
    Insert(const_cast<char *>("abcdefghij"), 5, DTY_CHAR, 2);
    char in[11] = "..........";
    uint32_t lengths[2] = {};
    EXPECT_EQ(OCI_SUCCESS, Select(in, 5, DTY_CHAR, 2, nullptr, lengths));
    EXPECT_STREQ("abcdefghij", in);
    EXPECT_EQ(5U, lengths[0]);
    EXPECT_EQ(5U, lengths[1]);
}

TEST_F(Binds, LongTexts) {
    MakeTable("VARCHAR");
    std::string out(100000, 'L');
    Insert(out.data(), (int32_t)out.size() + 1, DTY_LONG_STR);
    std::string in(100001, '.');
    EXPECT_EQ(OCI_SUCCESS, Select(in.data(), (int32_t)in.size(), DTY_STR));
    EXPECT_EQ(out, in.substr(0, 100000));
    EXPECT_EQ('\0', in[100000]);
}

TEST_F(Binds, BytesEndAtTheFirstNul) {
    MakeTable("BINARY(8)");
    uint8_t out[2][4] = {{0x80, 0xFF, 0, 0x41}, {1, 2, 3, 4}};
    Insert(out, 4, DTY_BIN, 2);
    Insert(out[1], 4, DTY_BIN_2);
    uint8_t in[3][4] = {};
    uint32_t lengths[3] = {};
    EXPECT_EQ(OCI_SUCCESS, Select(in, 4, DTY_BIN, 3, nullptr, lengths));
    EXPECT_EQ(2U, lengths[0]);
    EXPECT_EQ(0x80, in[0][0]);
    EXPECT_EQ(0xFF, in[0][1]);
    EXPECT_EQ(4U, lengths[1]);
    EXPECT_EQ(0, memcmp(out[1], in[1], 4));
    EXPECT_EQ(0, memcmp(out[1], in[2], 4));
}

TEST_F(Binds, IndicatorsMakeNullsAndLengths) {
    MakeTable("VARCHAR(10)");
    char out[3][8] = {"first", "second", "third"};
    int16_t indicators[3] = {3, -1, 5};
    Insert(out, 8, DTY_STR, 3, indicators);
    EXPECT_EQ("fir", TextOf(1));
    EXPECT_EQ("", TextOf(2));
    EXPECT_EQ("third", TextOf(3));
    EXPECT_EQ("1", app.SelectText("SELECT COUNT(*) FROM " + table + " WHERE V IS NULL"));
}

TEST_F(Binds, NullOfEveryForm) {
    MakeTable("VARCHAR(10)");
    int64_t zero = 0;
    OCIDate date = {2000, 1, 1, 0, 0, 0};
    int16_t null = -1;
    Insert(&zero, 1, DTY_INT, 1, &null);
    Insert(&zero, 4, DTY_INT, 1, &null);
    Insert(&zero, 4, DTY_FLOAT, 1, &null);
    Insert(&zero, 8, DTY_DOUBLE, 1, &null);
    Insert(&date, 8, DTY_DATE, 1, &null);
    Insert(&zero, 8, DTY_STR, 1, &null);
    Insert(&zero, 8, DTY_BIN, 1, &null);
    EXPECT_EQ("7", app.SelectText("SELECT COUNT(*) FROM " + table + " WHERE V IS NULL"));
}

TEST_F(Binds, NumbersOfANumericColumn) {
    MakeTable("NUMERIC(12,2)");
    int32_t whole = -17;
    Insert(&whole, 4, DTY_INT);
    Insert(const_cast<char *>("12345.67"), 9, DTY_STR);
    int32_t integers[2] = {};
    EXPECT_EQ(OCI_SUCCESS, Select(integers, 4, DTY_INT, 2));
    EXPECT_EQ(-17, integers[0]);
    EXPECT_EQ(12345, integers[1]);
    double doubles[2] = {};
    EXPECT_EQ(OCI_SUCCESS, Select(doubles, 8, DTY_DOUBLE, 2));
    EXPECT_EQ(-17.0, doubles[0]);
    EXPECT_EQ(12345.67, doubles[1]);
}

TEST_F(Binds, ABooleanReadAsAnIntegerIsItsLetter) {
    MakeTable("BOOLEAN");
    int32_t out[2] = {1, 0};
    Insert(out, 4, DTY_INT, 2);
    int32_t in[2] = {};
    EXPECT_EQ(OCI_SUCCESS, Select(in, 4, DTY_INT, 2));
    EXPECT_EQ('T', in[0]);
    EXPECT_EQ('F', in[1]);
}

TEST_F(Binds, AWideNumberIsCutToTheElement) {
    MakeTable("INTEGER");
    int32_t out = 0x01020384;
    Insert(&out, 4, DTY_INT);
    int8_t narrow = 0;
    EXPECT_EQ(OCI_SUCCESS, Select(&narrow, 1, DTY_INT));
    EXPECT_EQ(-124, narrow);
}

TEST_F(Binds, ATextThatIsTooLongForTheElementIsCut) {
    MakeTable("VARCHAR(10)");
    Insert(const_cast<char *>("0123456789"), 11, DTY_STR);
    char text[5] = "";
    uint32_t length = 0;
    EXPECT_EQ(OCI_SUCCESS_WITH_INFO, Select(text, 5, DTY_STR, 1, nullptr, &length));
    EXPECT_STREQ("0123", text);
    EXPECT_EQ(4U, length);
    EXPECT_EQ("data truncated.", app.ErrorText());
    char unterminated[6] = ".....";
    EXPECT_EQ(OCI_ERROR, Select(unterminated, 5, DTY_CHAR));
    EXPECT_STREQ("01234", unterminated);
}

TEST_F(Binds, AValueThatDoesNotFitIsRefused) {
    MakeTable("VARCHAR(3)");
    OCIStmt *stmt = app.NewStmt();
    ASSERT_EQ(OCI_SUCCESS, app.Prepare(stmt, "INSERT INTO " + table + " (V) VALUES (:V)"));
    OCIBind *bind = nullptr;
    char text[5] = "abcd";
    ASSERT_EQ(OCI_SUCCESS,
              OCIBindByName(stmt, &bind, app.err, (const OCIText *)":V", 2, text, 5, DTY_STR,
                            nullptr, nullptr, nullptr, 0, nullptr, OCI_DEFAULT));
    EXPECT_EQ(OCI_ERROR, app.Execute(stmt, 1));
    EXPECT_EQ(0U, app.ErrorText().find("[E16001]")) << app.ErrorText();
    // The same statement takes the next value.
    text[3] = '\0';
    EXPECT_EQ(OCI_SUCCESS, app.Execute(stmt, 1)) << app.ErrorText();
    EXPECT_EQ("abc", TextOf(1));
    EXPECT_EQ(OCI_SUCCESS, OCIHandleFree(stmt, OCI_HTYPE_STMT));
}

TEST_F(Binds, AnUnknownDefineFormIsRefused) {
    MakeTable("NUMERIC(5,0)");
    OCIStmt *stmt = app.NewStmt();
    char text[20] = "";
    ASSERT_EQ(OCI_SUCCESS, app.Prepare(stmt, "SELECT V FROM " + table));
    EXPECT_EQ(OCI_ERROR, app.Define(stmt, 1, text, sizeof text, DTY_NUMERIC));
    EXPECT_EQ("Invalid parameter.", app.ErrorText());
    EXPECT_EQ(OCI_SUCCESS, OCIHandleFree(stmt, OCI_HTYPE_STMT));
}
