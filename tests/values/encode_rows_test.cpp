// Parameters of an array execution to the wire.
#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <source_location>
#include <string>

#include "platform/debug.h"
#include "platform/memory.h"
#include "platform/socket.h"
#include "records/handles.h"
#include "records/values.h"
#include "support/bytes.h"
#include "tavu/tvci.h"
#include "values/bind.h"
#include "values/encode.h"
#include "wire/connection.h"

// A statement with array binds, and all that goes to the socket for it.
struct ArrayRig {
    TVCISession session = {};
    TVCIStmt stmt = {};
    Connection conn = {};
    int64_t blocks = MemLiveBlocks();

    explicit ArrayRig(const char *version = "301") {
        swap_bytes.store(1);
        strcpy(session.attr.version, version);
        stmt.type = TVCI_HTYPE_STMT;
        stmt.session = &session;
        ListInit(&stmt.binds);
        sent.clear();
        traced.clear();
        SocketSetHooks(TakeSent, NULL);
        DebugSetHook([](const char *text) { traced += text; });
    }

    ~ArrayRig() {
        MemFailAt(0);
        DebugSetHook(NULL);
        SocketSetHooks(NULL, NULL);
        ParamsFree(&stmt);
        EXPECT_EQ(blocks, MemLiveBlocks());
    }

    // Binds an array to one of `count` parameters.
    void Bind(int32_t position, int32_t count, int32_t rows, int32_t c_type, const void *value,
              int32_t *lengths, int32_t value_size = 100, int32_t sql_type = 12) {
        ASSERT_EQ(0, TVCIBindParamArray(&stmt, position, count, 1, rows, (void *)value, value_size,
                                        c_type, NULL, lengths, sql_type));
    }

    Bytes Send() {
        sent.clear();
        ParamSendRows(&conn, &stmt);
        ConnFlush(&conn);
        return sent;
    }

    static int64_t TakeSent(SocketId, const void *bytes, size_t count) {
        const uint8_t *first = (const uint8_t *)bytes;
        sent.insert(sent.end(), first, first + count);
        return (int64_t)count;
    }

    inline static Bytes sent;
    inline static std::string traced;
};

typedef std::source_location Place;

static void ExpectBytes(const Bytes &sent, const Bytes &wanted, Place place = Place::current()) {
    if (sent == wanted) return;
    ADD_FAILURE_AT(place.file_name(), (int)place.line())
        << "sent " << HexText(sent) << "\nwanted " << HexText(wanted);
}

// One parameter without a name whose array has two elements: what goes out for the first row, and
// for the second row in either form.
static void ExpectRows(int32_t c_type, int32_t sql_type, const void *array, int32_t first_length,
                       int32_t second_length, const char *first_row, const char *typed_row,
                       const char *untyped_row, Place place = Place::current()) {
    for (const bool typed : {true, false}) {
        for (int32_t rows = 1; rows <= 2; rows++) {
            int32_t lengths[] = {first_length, second_length};
            ArrayRig rig(typed ? "301" : "201");
            rig.Bind(1, 1, rows, c_type, array, lengths, 100, sql_type);
            Bytes wanted = Hex(first_row);
            if (rows == 2) wanted = wanted + Hex(typed ? typed_row : untyped_row);
            ExpectBytes(rig.Send(), wanted, place);
        }
    }
}

TEST(ParamSendRows, Booleans) {
    ExpectRows(TVCI_C_BOOL, 1, "\x01\x02", 1, 1, "0000 0001 0005 00000004 00000001",
               "00000009 05 00000004 00000000", "00000008 00000004 00000000");
    for (const char *array : {"FT", "ft", "01"}) {
        ExpectRows(TVCI_C_BOOL, 1, array, 1, 1, "0000 0001 0005 00000004 00000000",
                   "00000009 05 00000004 00000001", "00000008 00000004 00000001");
    }
}

TEST(ParamSendRows, Texts) {
    const char *const texts[] = {"abc", "de"};
    for (const int32_t c_type : {TVCI_C_CHAR, TVCI_C_NUMERIC, TVCI_C_TIME_TZ, TVCI_C_DATETIME_TZ}) {
        ExpectRows(c_type, 12, texts, 3, 2, "0000 0001 001E 00000003 'abc'",
                   "00000007 1E 00000002 'de'", "00000006 00000002 'de'");
    }
}

TEST(ParamSendRows, BytesOfAnyValue) {
    const char *const values[] = {"\x00\xFF\x10", "\x00"};
    ExpectRows(TVCI_C_BINARY, 13, values, 3, 1, "0000 0001 0021 00000003 00FF10",
               "00000006 21 00000001 00", "00000005 00000001 00");
}

TEST(ParamSendRows, Tinyints) {
    const int8_t values[] = {-1, 7};
    ExpectRows(TVCI_C_TINYINT, 2, values, 1, 1, "0000 0001 0003 00000001 FF",
               "00000006 03 00000001 07", "00000005 00000001 07");
}

TEST(ParamSendRows, Smallints) {
    const int16_t values[] = {0x0102, -2};
    ExpectRows(TVCI_C_SMALLINT, 3, values, 1, 1, "0000 0001 0004 00000002 0102",
               "00000007 04 00000002 FFFE", "00000006 00000002 FFFE");
}

TEST(ParamSendRows, Integers) {
    const int32_t values[] = {0x01020304, INT32_MIN};
    ExpectRows(TVCI_C_INT, 4, values, 1, 1, "0000 0001 0005 00000004 01020304",
               "00000009 05 00000004 80000000", "00000008 00000004 80000000");
}

TEST(ParamSendRows, Bigints) {
    const int64_t values[] = {0x0102030405060708, -1};
    ExpectRows(TVCI_C_BIGINT, 5, values, 1, 1, "0000 0001 0006 00000008 0102030405060708",
               "0000000D 06 00000008 FFFFFFFFFFFFFFFF", "0000000C 00000008 FFFFFFFFFFFFFFFF");
}

TEST(ParamSendRows, Floats) {
    const float values[] = {1.5f, -2.0f};
    ExpectRows(TVCI_C_FLOAT, 6, values, 1, 1, "0000 0001 0008 00000004 3FC00000",
               "00000009 08 00000004 C0000000", "00000008 00000004 C0000000");
}

TEST(ParamSendRows, Doubles) {
    const double values[] = {0.1, -2.0};
    ExpectRows(TVCI_C_DOUBLE, 7, values, 1, 1, "0000 0001 0009 00000008 3FB999999999999A",
               "0000000D 09 00000008 C000000000000000", "0000000C 00000008 C000000000000000");
}

TEST(ParamSendRows, Dates) {
    const DateRec values[] = {{2024, 3, 1}, {1, 12, 31}};
    ExpectRows(TVCI_C_DATE, 9, values, 1, 1, "0000 0001 001E 0000000A '2024-03-01'",
               "0000000F 1E 0000000A '0001-12-31'", "0000000E 0000000A '0001-12-31'");
}

TEST(ParamSendRows, Times) {
    const TimeRec values[] = {{1, 2, 3}, {23, 59, 60}};
    ExpectRows(TVCI_C_TIME, 10, values, 1, 1, "0000 0001 001E 00000008 '01:02:03'",
               "0000000D 1E 00000008 '23:59:60'", "0000000C 00000008 '23:59:60'");
}

TEST(ParamSendRows, DateTimesWithoutTheirFraction) {
    const DateTimeRec values[] = {{2024, 3, 1, 4, 5, 6, 789}, {9999, 12, 31, 23, 59, 59, 0}};
    ExpectRows(TVCI_C_DATETIME, 11, values, 1, 1, "0000 0001 001E 00000013 '2024-03-01 04:05:06'",
               "00000018 1E 00000013 '9999-12-31 23:59:59'",
               "00000017 00000013 '9999-12-31 23:59:59'");
}

TEST(ParamSendRows, DatesOfUnusualMembersAreCutToTheirWidth) {
    const DateRec dates[] = {{12345, 3, 1}, {-1, 100, INT32_MIN}};
    ExpectRows(TVCI_C_DATE, 9, dates, 1, 1, "0000 0001 001E 0000000A '12345-03-0'",
               "0000000F 1E 0000000A '-001-100--'", "0000000E 0000000A '-001-100--'");
    const TimeRec times[] = {{100, 2, 3}, {1, -2, 3}};
    ExpectRows(TVCI_C_TIME, 10, times, 1, 1, "0000 0001 001E 00000008 '100:02:0'",
               "0000000D 1E 00000008 '01:-2:03'", "0000000C 00000008 '01:-2:03'");
    const DateTimeRec both[] = {{2024, 3, 1, 4, 5, 600, 0}, {INT32_MIN, 1, 1, 1, 1, 1, 1}};
    ExpectRows(TVCI_C_DATETIME, 11, both, 1, 1, "0000 0001 001E 00000013 '2024-03-01 04:05:60'",
               "00000018 1E 00000013 '-2147483648-01-01 0'",
               "00000017 00000013 '-2147483648-01-01 0'");
}

TEST(ParamSendRows, LargeValues) {
    uint8_t first_data[] = {0x00, 0xFF, 0x10};
    uint8_t second_data[] = {0xAA};
    LobRecord first = {};
    LobRecord second = {};
    first.data = first_data;
    first.length = 3;
    second.data = second_data;
    second.length = 1;
    const LobRecord *const values[] = {&first, &second};
    // Any length that is not 0 means: the record's own.
    ExpectRows(TVCI_C_LOB, 14, values, 99, -1, "0000 0001 0020 00000003 00FF10",
               "00000006 20 00000001 AA", "00000005 00000001 AA");
    for (const int32_t sql_type : {12, 15, 16, 33}) {
        ExpectRows(TVCI_C_LOB, sql_type, values, 1, 1, "0000 0001 0022 00000003 00FF10",
                   "00000006 22 00000001 AA", "00000005 00000001 AA");
    }
}

TEST(ParamSendRows, ALengthOf0IsANullOfEveryForm) {
    const struct {
        int32_t c_type;
        const char *first_row;
        const char *typed_row;
    } cases[] = {
        {1, "0000 0001 0005 00000000", "00000005 05 00000000"},
        {2, "0000 0001 001E 00000000", "00000005 1E 00000000"},
        {3, "0000 0001 0003 00000000", "00000005 03 00000000"},
        {4, "0000 0001 0004 00000000", "00000005 04 00000000"},
        {5, "0000 0001 0005 00000000", "00000005 05 00000000"},
        {6, "0000 0001 0006 00000000", "00000005 06 00000000"},
        {7, "0000 0001 0008 00000000", "00000005 08 00000000"},
        {8, "0000 0001 0009 00000000", "00000005 09 00000000"},
        {9, "0000 0001 001E 00000000", "00000005 1E 00000000"},
        {10, "0000 0001 001E 00000000", "00000005 1E 00000000"},
        {11, "0000 0001 001E 00000000", "00000005 1E 00000000"},
        {12, "0000 0001 001E 00000000", "00000005 1E 00000000"},
        {13, "0000 0001 001E 00000000", "00000005 1E 00000000"},
        {14, "0000 0001 001E 00000000", "00000005 1E 00000000"},
        {15, "0000 0001 0021 00000000", "00000005 21 00000000"},
        {40, "0000 0001 0022 00000000", "00000005 22 00000000"},
    };
    // No element is looked at: the array is smaller than two of them.
    const Bytes array(1, 7);
    for (const auto &item : cases) {
        SCOPED_TRACE(item.c_type);
        ExpectRows(item.c_type, 12, array.data(), 0, 0, item.first_row, item.typed_row,
                   "00000004 00000000");
    }
}

TEST(ParamSendRows, OnlyTheFirstRowHasNames) {
    ArrayRig rig;
    int32_t numbers[] = {1, 2, 3};
    const char *texts[] = {"a", "b", "c"};
    int32_t lengths[] = {1, 0, 1};
    ASSERT_EQ(0, TVCIBindParamArrayByName(&rig.stmt, "id", 2, 1, 3, numbers, 4, 5, NULL, NULL, 4));
    ASSERT_EQ(0,
              TVCIBindParamArrayByName(&rig.stmt, "txt", 2, 1, 3, texts, 9, 2, NULL, lengths, 12));
    ExpectBytes(rig.Send(), Hex("0002 'id' 0001 0005 00000004 00000001 "
                                "0003 'txt' 0001 001E 00000001 'a' "
                                "0000000E 05 00000004 00000002 1E 00000000 "
                                "0000000F 05 00000004 00000003 1E 00000001 'c'"));
}

TEST(ParamSendRows, AnUnboundParameterSendsNothing) {
    ArrayRig rig;
    const int8_t values[] = {1, 2};
    rig.Bind(2, 3, 2, TVCI_C_TINYINT, values, NULL);
    ExpectBytes(rig.Send(), Hex("0000 0001 0003 00000001 01  00000006 03 00000001 02"));
}

TEST(ParamSendRows, WithoutABoundParameterNoRowIsSent) {
    ArrayRig rig;
    rig.stmt.array_rows = 3;
    ExpectBytes(rig.Send(), Bytes());
}

TEST(ParamSendRows, NoRowsSendNothing) {
    ArrayRig rig;
    const int8_t value = 1;
    rig.Bind(1, 1, 0, TVCI_C_TINYINT, &value, NULL);
    ExpectBytes(rig.Send(), Bytes());
}

TEST(ParamSendRows, AVersionOfExactly201SendsNoTypesInLaterRows) {
    const int8_t values[] = {1, 2};
    for (const char *version : {"", "2", "200", "2010", "301", "0201"}) {
        ArrayRig rig(version);
        rig.Bind(1, 1, 2, TVCI_C_TINYINT, values, NULL);
        ExpectBytes(rig.Send(), Hex("0000 0001 0003 00000001 01  00000006 03 00000001 02"));
    }
}

TEST(ParamSendRows, WithoutTheSwapFlagNumbersGoInTheOrderOfTheHost) {
    ArrayRig rig;
    swap_bytes.store(0);
    const int32_t values[] = {1, 2};
    rig.Bind(1, 1, 2, TVCI_C_INT, values, NULL);
    ExpectBytes(rig.Send(), Hex("0000 0100 0500 04000000 01000000 09000000 05 04000000 02000000"));
    swap_bytes.store(1);
}

TEST(ParamSendRows, WithoutLengthsTextsEndAtTheirNulOrTheirSize) {
    ArrayRig rig;
    const char *texts[] = {"abcdef", "g"};
    rig.Bind(1, 2, 2, TVCI_C_CHAR, texts, NULL, 4);
    rig.Bind(2, 2, 2, TVCI_C_NUMERIC, texts, NULL, 0);
    ExpectBytes(rig.Send(), Hex("0000 0001 001E 00000004 'abcd' 0000 0001 001E 00000006 'abcdef' "
                                "0000000C 1E 00000001 'g' 1E 00000001 'g'"));
}

TEST(ParamSendRows, WithoutLengthsBytesHaveTheirSize) {
    ArrayRig rig;
    const char *values[] = {"\x00\x01\x02", "\x03\x04\x05"};
    rig.Bind(1, 1, 2, TVCI_C_BINARY, values, NULL, 2);
    ExpectBytes(rig.Send(), Hex("0000 0001 0021 00000002 0001  00000007 21 00000002 0304"));
}

TEST(ParamSendRows, ANullPointerIsANull) {
    const void *const values[] = {NULL, NULL};
    for (const int32_t c_type : {2, 9, 12, 14}) {
        ExpectRows(c_type, 12, values, 5, 5, "0000 0001 001E 00000000", "00000005 1E 00000000",
                   "00000004 00000000");
    }
    ExpectRows(15, 13, values, 5, 5, "0000 0001 0021 00000000", "00000005 21 00000000",
               "00000004 00000000");
    ExpectRows(40, 14, values, 5, 5, "0000 0001 0020 00000000", "00000005 20 00000000",
               "00000004 00000000");
    ArrayRig rig;
    rig.Bind(1, 1, 1, TVCI_C_CHAR, values, NULL);
    ExpectBytes(rig.Send(), Hex("0000 0001 001E 00000000"));
}

TEST(ParamSendRows, ALargeValueThatWasNeverFetchedIsANull) {
    LobRecord lob = {};
    lob.length = 9;
    const LobRecord *const values[] = {&lob, &lob};
    ExpectRows(40, 16, values, 1, 1, "0000 0001 0022 00000000", "00000005 22 00000000",
               "00000004 00000000");
}

TEST(ParamSendRows, ANegativeLengthIsANullForTextsAndAValueForNumbers) {
    const char *const texts[] = {"abc", "de"};
    ExpectRows(2, 12, texts, -1, INT32_MIN, "0000 0001 001E 00000000", "00000005 1E 00000000",
               "00000004 00000000");
    const int8_t values[] = {1, 2};
    ExpectRows(3, 2, values, -1, INT32_MIN, "0000 0001 0003 00000001 01", "00000006 03 00000001 02",
               "00000005 00000001 02");
}

TEST(ParamSendRows, ARowThatAnArrayDoesNotHaveIsANull) {
    ArrayRig rig;
    const Bytes short_array(2, 7);
    int32_t short_lengths[] = {1, 1};
    const int8_t long_array[] = {1, 2, 3};
    rig.Bind(1, 2, 2, TVCI_C_TINYINT, short_array.data(), short_lengths);
    rig.Bind(2, 2, 3, TVCI_C_TINYINT, long_array, NULL);
    ExpectBytes(rig.Send(), Hex("0000 0001 0003 00000001 07 0000 0001 0003 00000001 01 "
                                "0000000C 03 00000001 07 03 00000001 02 "
                                "0000000B 03 00000000 03 00000001 03"));
}

TEST(ParamSendRows, AnArrayOfNoRowsHasNoElement) {
    ArrayRig rig;
    const int8_t none = 9;
    const int8_t values[] = {1, 2};
    rig.Bind(1, 2, 0, TVCI_C_TINYINT, &none, NULL);
    rig.Bind(2, 2, 2, TVCI_C_TINYINT, values, NULL);
    ExpectBytes(rig.Send(), Hex("0000 0001 0003 00000000 0000 0001 0003 00000001 01 "
                                "0000000B 03 00000000 03 00000001 02"));
}

TEST(ParamSendRows, ABindOfOneValueIsAnArrayOfOneNumberOrOfNoPointers) {
    ArrayRig rig;
    const int8_t values[] = {1, 2};
    int8_t number = 9;
    char text[] = "abcdefgh";
    rig.Bind(1, 3, 2, TVCI_C_TINYINT, values, NULL);
    ASSERT_EQ(0, TVCIBindParam(&rig.stmt, 2, 1, &number, 1, TVCI_C_TINYINT, NULL, NULL, 2));
    ASSERT_EQ(0, TVCIBindParam(&rig.stmt, 3, 1, text, 9, TVCI_C_CHAR, NULL, NULL, 12));
    ExpectBytes(rig.Send(), Hex("0000 0001 0003 00000001 01 0000 0001 0003 00000001 09 "
                                "0000 0001 001E 00000000 "
                                "00000010 03 00000001 02 03 00000000 1E 00000000"));
}

TEST(ParamSendRows, AForgottenBufferIsANull) {
    ArrayRig rig;
    const int8_t values[] = {1, 2};
    rig.Bind(1, 1, 2, TVCI_C_TINYINT, values, NULL);
    BindForget(&rig.stmt, values);
    ExpectBytes(rig.Send(), Hex("0000 0001 0003 00000000 00000005 03 00000000"));
}

TEST(ParamSendRows, AFormWithoutElementsIsTracedAndEndsTheFrame) {
    for (const int32_t c_type : {16, 20, 21, 28, 31, 39, 41, INT_MAX}) {
        ArrayRig rig;
        const int8_t values[100] = {1, 2};
        ASSERT_EQ(0, TVCIBindParamArrayByName(&rig.stmt, "a", 3, 1, 2, (void *)values, 4, 3, NULL,
                                              NULL, 4));
        ASSERT_EQ(0, TVCIBindParamArrayByName(&rig.stmt, "b", 3, 1, 2, (void *)values, 4, c_type,
                                              NULL, NULL, 4));
        ASSERT_EQ(0, TVCIBindParamArrayByName(&rig.stmt, "c", 3, 1, 2, (void *)values, 4, 3, NULL,
                                              NULL, 4));
        ExpectBytes(rig.Send(), Hex("0001 'a' 0001 0003 00000001 01 0001 'b' 0001"));
        EXPECT_EQ("no deal with type :" + std::to_string(c_type) + "\n", ArrayRig::traced);
    }
}

// A text of `length` letters, and the length word of a row around it.
static Bytes LongText(int32_t length) {
    return Hex("1E") + Int32(length) + Bytes((size_t)length, 'x');
}

TEST(ParamSendRows, ARowAcross65536BytesGrowsItsBuffer) {
    for (const int32_t length : {65513, 65531, 65532, 131067, 131068, 1000000}) {
        SCOPED_TRACE(length);
        ArrayRig rig;
        const std::string text((size_t)length, 'x');
        const char *texts[] = {"a", text.c_str(), "b"};
        int32_t lengths[] = {1, length, 1};
        rig.Bind(1, 1, 3, TVCI_C_CHAR, texts, lengths);
        const Bytes wanted = Hex("0000 0001 001E 00000001 'a'") + Int32(length + 5) +
                             LongText(length) + Hex("00000006 1E 00000001 'b'");
        EXPECT_TRUE(rig.Send() == wanted);
        const size_t bytes = length <= 65531 ? 65536u : length <= 131067 ? 131072u : 1048576u;
        EXPECT_EQ(length == 131068 ? 262144u : bytes, rig.stmt.row_buffer_bytes);
    }
}

TEST(ParamSendRows, TheContentsMoveWhenTheBufferGrows) {
    ArrayRig rig;
    const std::string text(40000, 'x');
    const char *texts[] = {"a", text.c_str()};
    int32_t lengths[] = {1, 40000};
    const int32_t numbers[] = {1, 0x01020304};
    rig.Bind(1, 4, 2, TVCI_C_INT, numbers, NULL);
    rig.Bind(2, 4, 2, TVCI_C_CHAR, texts, lengths);
    rig.Bind(3, 4, 2, TVCI_C_CHAR, texts, lengths);
    rig.Bind(4, 4, 2, TVCI_C_INT, numbers, NULL);
    const Bytes number = Hex("0000 0001 0005 00000004 00000001");
    const Bytes letter = Hex("0000 0001 001E 00000001 'a'");
    EXPECT_TRUE(rig.Send() == number + letter + letter + number + Int32(80028) +
                                  Hex("05 00000004 01020304") + LongText(40000) + LongText(40000) +
                                  Hex("05 00000004 01020304"));
    EXPECT_EQ(131072u, rig.stmt.row_buffer_bytes);
}

TEST(ParamSendRows, FewerThan23BytesLeftDoubleTheBuffer) {
    for (const int32_t left : {22, 23}) {
        ArrayRig rig;
        const int32_t length = 65536 - 5 - left;
        const std::string text((size_t)length, 'x');
        const char *texts[] = {"a", text.c_str()};
        int32_t lengths[] = {1, length};
        const int8_t numbers[] = {1, 2};
        rig.Bind(1, 2, 2, TVCI_C_CHAR, texts, lengths);
        rig.Bind(2, 2, 2, TVCI_C_TINYINT, numbers, NULL);
        EXPECT_TRUE(rig.Send() == Hex("0000 0001 001E 00000001 'a' 0000 0001 0003 00000001 01") +
                                      Int32(length + 11) + LongText(length) +
                                      Hex("03 00000001 02"));
        EXPECT_EQ(left == 22 ? 131072u : 65536u, rig.stmt.row_buffer_bytes);
    }
}

TEST(ParamSendRows, ADateTimeAndItsTypeFitNoMarginOf23Bytes) {
    ArrayRig rig;
    const int32_t length = 65536 - 5 - 23;
    const std::string text((size_t)length, 'x');
    const char *texts[] = {"a", text.c_str()};
    int32_t lengths[] = {1, length};
    const DateTimeRec moments[] = {{2024, 3, 1, 4, 5, 6, 0}, {2024, 3, 1, 4, 5, 7, 0}};
    rig.Bind(1, 2, 2, TVCI_C_CHAR, texts, lengths);
    rig.Bind(2, 2, 2, TVCI_C_DATETIME, moments, NULL);
    EXPECT_TRUE(rig.Send() ==
                Hex("0000 0001 001E 00000001 'a' 0000 0001 001E 00000013 '2024-03-01 04:05:06'") +
                    Int32(length + 29) + LongText(length) +
                    Hex("1E 00000013 '2024-03-01 04:05:07'"));
}

TEST(ParamSendRows, TheBufferNeverShrinksAndIsUsedAgain) {
    ArrayRig rig;
    const std::string text(70000, 'x');
    const char *texts[] = {"a", text.c_str(), "b"};
    int32_t lengths[] = {1, 70000, 1};
    rig.Bind(1, 1, 3, TVCI_C_CHAR, texts, lengths);
    rig.Send();
    const int64_t blocks = MemLiveBlocks();
    MemFailAt(1);
    rig.Send();
    EXPECT_FALSE(MemFailed());
    EXPECT_EQ(blocks, MemLiveBlocks());
    EXPECT_EQ(131072u, rig.stmt.row_buffer_bytes);
}

TEST(ParamSendRows, WithoutMemoryToBeginWithNothingIsSent) {
    ArrayRig rig;
    const int8_t values[] = {1, 2};
    rig.Bind(1, 1, 2, TVCI_C_TINYINT, values, NULL);
    MemFailAt(1);
    ExpectBytes(rig.Send(), Bytes());
    EXPECT_TRUE(MemFailed());
}

TEST(ParamSendRows, WithoutMemoryToGrowTheRowsBeforeWereSentAndNoneBehind) {
    ArrayRig rig;
    const std::string text(70000, 'x');
    const char *texts[] = {"a", "b", text.c_str(), "c"};
    int32_t lengths[] = {1, 1, 70000, 1};
    rig.Bind(1, 1, 4, TVCI_C_CHAR, texts, lengths);
    MemFailAt(2);
    ExpectBytes(rig.Send(), Hex("0000 0001 001E 00000001 'a' 00000006 1E 00000001 'b'"));
    EXPECT_TRUE(MemFailed());
    EXPECT_EQ(65536u, rig.stmt.row_buffer_bytes);
}

TEST(ParamSendRows, ARowBeyondWhatItsCountCanTellEndsTheRows) {
    ArrayRig rig;
    const char *texts[] = {"a", "never read: its length is checked first"};
    int32_t lengths[] = {1, INT32_MAX};
    rig.Bind(1, 1, 2, TVCI_C_CHAR, texts, lengths);
    ExpectBytes(rig.Send(), Hex("0000 0001 001E 00000001 'a'"));
}

// A reader of what was sent, for the rows that are too many to be written out.
struct SentReader {
    const Bytes &bytes;
    size_t next = 0;

    uint32_t Number(size_t width) {
        uint32_t number = 0;
        for (size_t i = 0; i < width; i++) {
            number = number << 8 | bytes.at(next++);
        }
        return number;
    }
    std::string Text(size_t length) {
        std::string text;
        for (size_t i = 0; i < length; i++) {
            text += (char)bytes.at(next++);
        }
        return text;
    }
};

constexpr int32_t MANY_ROWS = 10000;

// Rows of an INTEGER, a text that is a NULL in every seventh row, and a DATE.
static void CheckManyRows(bool typed) {
    static int32_t numbers[MANY_ROWS];
    static std::string texts[MANY_ROWS];
    static const char *pointers[MANY_ROWS];
    static int32_t lengths[MANY_ROWS];
    static DateRec dates[MANY_ROWS];
    for (int32_t row = 0; row < MANY_ROWS; row++) {
        numbers[row] = row * 7919;
        texts[row] = "row " + std::to_string(row);
        pointers[row] = texts[row].c_str();
        lengths[row] = row % 7 == 6 ? 0 : (int32_t)texts[row].size();
        dates[row] = {1000 + row % 9000, 1 + row % 12, 1 + row % 28};
    }
    ArrayRig rig(typed ? "301" : "201");
    rig.Bind(1, 3, MANY_ROWS, TVCI_C_INT, numbers, NULL);
    rig.Bind(2, 3, MANY_ROWS, TVCI_C_CHAR, pointers, lengths);
    rig.Bind(3, 3, MANY_ROWS, TVCI_C_DATE, dates, NULL);
    const Bytes sent = rig.Send();
    SentReader reader = {sent};
    for (uint32_t row = 0; row < MANY_ROWS; row++) {
        SCOPED_TRACE(row);
        size_t end = 0;
        if (row > 0) {
            end = reader.Number(4);
            end += reader.next;
        }
        const std::string text = row % 7 == 6 ? "" : "row " + std::to_string(row);
        for (const char column : {'n', 't', 'd'}) {
            const uint32_t type = column == 'n' ? 5 : 30;
            if (row == 0) {
                ASSERT_EQ(0u, reader.Number(2));
                ASSERT_EQ(1u, reader.Number(2));
                ASSERT_EQ(type, reader.Number(2));
            } else if (typed) {
                ASSERT_EQ(type, reader.Number(1));
            }
            const uint32_t length = reader.Number(4);
            if (column == 'n') {
                ASSERT_EQ(4u, length);
                ASSERT_EQ(row * 7919, reader.Number(4));
            } else if (column == 't') {
                ASSERT_EQ(text, reader.Text(length));
            } else {
                ASSERT_EQ(10u, length);
                ASSERT_EQ(1000 + row % 9000, (uint32_t)std::stoi(reader.Text(4)));
                ASSERT_EQ("-", reader.Text(1));
                ASSERT_EQ(1 + row % 12, (uint32_t)std::stoi(reader.Text(2)));
                ASSERT_EQ("-", reader.Text(1));
                ASSERT_EQ(1 + row % 28, (uint32_t)std::stoi(reader.Text(2)));
            }
        }
        if (row > 0) {
            ASSERT_EQ(end, reader.next);
        }
    }
    EXPECT_EQ(sent.size(), reader.next);
}

TEST(ParamSendRows, TenThousandRowsWithTypes) {
    CheckManyRows(true);
}

TEST(ParamSendRows, TenThousandRowsWithoutTypes) {
    CheckManyRows(false);
}
