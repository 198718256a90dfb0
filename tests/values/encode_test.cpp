// Parameters to the wire.
#include "values/encode.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <climits>
#include <cmath>
#include <cstring>
#include <string>

#include "platform/memory.h"
#include "records/values.h"
#include "support/bytes.h"
#include "support/scripted_peer.h"
#include "tavu/tvci.h"
#include "wire/connection.h"

// One parameter of kind 1 without a name, and what goes out for it.
struct Parameter {
    BindRecord bind = {};
    ParamRecord param = {};
    int32_t length = 0;
    Bytes bytes;  // the bound value, in a block of exactly its size

    Parameter(int32_t sql_type, int32_t c_type) {
        param.bound = 1;
        param.kind = 1;
        param.sql_type = sql_type;
        param.bind = &bind;
        bind.c_type = c_type;
    }

    Parameter &Value(const Bytes &value, int32_t size) {
        bytes = value;
        bind.value = bytes.data();
        bind.value_size = size;
        return *this;
    }

    template <typename T>
    Parameter &Value(T value) {
        Bytes raw(sizeof(value));
        memcpy(raw.data(), &value, sizeof(value));
        return Value(raw, 0);
    }

    Parameter &Text(const std::string &text) {
        return Value(Ascii(text) + Bytes{0}, (int32_t)text.size() + 1);
    }

    Parameter &Length(int32_t value) {
        length = value;
        bind.return_length = &length;
        return *this;
    }

    // All bytes that are written.
    Bytes Frame() {
        swap_bytes.store(1);
        static Connection conn;
        conn.send_fill = 0;
        ParamSend(&conn, &param);
        return Bytes(conn.send_buf, conn.send_buf + conn.send_fill);
    }

    // The bytes behind name and direction.
    Bytes Sent() {
        const Bytes frame = Frame();
        EXPECT_EQ(Hex("0000 0001"), Bytes(frame.begin(), frame.begin() + 4));
        return Bytes(frame.begin() + 4, frame.end());
    }
};

template <typename T>
static Bytes Sent(int32_t sql_type, int32_t c_type, T value) {
    return Parameter(sql_type, c_type).Value(value).Sent();
}

static Bytes SentText(int32_t sql_type, const std::string &text) {
    return Parameter(sql_type, TVCI_C_CHAR).Text(text).Sent();
}

static Bytes SentBytes(int32_t sql_type, int32_t c_type, const Bytes &bytes, int32_t length) {
    return Parameter(sql_type, c_type).Value(bytes, (int32_t)bytes.size()).Length(length).Sent();
}

static const Bytes NOTHING;
static const Bytes EMPTY_TEXT = Hex("001E 00000000");

TEST(ParamSend, AnUnboundParameterSendsNothing) {
    Parameter parameter(4, TVCI_C_INT);
    parameter.param.bound = 0;
    parameter.param.bind = NULL;
    EXPECT_EQ(NOTHING, parameter.Frame());
}

TEST(ParamSend, TheNameGoesFirst) {
    Parameter parameter(4, TVCI_C_INT);
    parameter.Value<int32_t>(66051);
    char name[] = "id";
    parameter.param.name = name;
    EXPECT_EQ(Hex("0002 'id' 0001 0005 00000004 00010203"), parameter.Frame());
}

TEST(ParamSend, WithoutANameALengthOf0) {
    EXPECT_EQ(Hex("0000 0001 0005 00000004 00010203"),
              Parameter(4, TVCI_C_INT).Value<int32_t>(66051).Frame());
}

TEST(ParamSend, ANullValueHasItsTypeAndALengthOf0) {
    EXPECT_EQ(Hex("0000 0001 0005 00000000"),
              Parameter(4, TVCI_C_INT).Value<int32_t>(7).Length(0).Frame());
    EXPECT_EQ(Hex("001E 00000000"), SentBytes(12, TVCI_C_CHAR, Ascii("abc"), 0));
}

TEST(ParamSend, AnOutputParameterIsEmpty) {
    Parameter parameter(4, TVCI_C_INT);
    parameter.Value<int32_t>(7).param.kind = 2;
    EXPECT_EQ(Hex("0000 0002 0005 00000000"), parameter.Frame());
}

TEST(ParamSend, AnyOtherDirectionCarriesItsValue) {
    Parameter parameter(2, TVCI_C_TINYINT);
    parameter.Value<int8_t>(7).param.kind = 3;
    EXPECT_EQ(Hex("0000 0003 0003 00000001 07"), parameter.Frame());
}

TEST(ParamSend, TheTypeOfANullByItsDeclaration) {
    const std::vector<std::pair<std::vector<int32_t>, const char *>> rows = {
        {{1}, "0005"},
        {{2}, "0003"},
        {{3}, "0004"},
        {{4}, "0005"},
        {{5}, "0006"},
        {{6}, "0008"},
        {{7}, "0009"},
        {{8, 9, 10, 11, 12, 20, 21, 22, 23, 24, 25, 26, 27, 28, 29, 30, 31, 32}, "001E"},
        {{13}, "0021"},
        {{14}, "0020"},
        {{15, 16}, "0022"},
        {{17, 18, 19, 46, 47, 1000}, "0021"},
    };
    for (const auto &[sql_types, type] : rows) {
        for (const int32_t sql_type : sql_types) {
            EXPECT_EQ(Hex(type) + Hex("00000000"),
                      Parameter(sql_type, TVCI_C_INT).Value<int32_t>(7).Length(0).Sent())
                << sql_type;
        }
    }
}

TEST(ParamSend, ANullGeometryHasACountOf0Before) {
    for (int32_t sql_type = 33; sql_type <= 45; sql_type++) {
        EXPECT_EQ(Hex("001E 00000000 00000000"),
                  Parameter(sql_type, TVCI_C_CHAR).Text("x").Length(0).Sent());
    }
}

TEST(ParamSend, LengthOfATextWithoutALengthVariable) {
    EXPECT_EQ(Hex("001E 00000003 'abc'"), SentText(12, "abc"));
    EXPECT_EQ(Hex("001E 00000002 'ab'"), Parameter(12, 2).Value(Ascii("abc"), 2).Sent());
    EXPECT_EQ(Hex("001E 00000003 'abc'"), Parameter(12, 2).Value(Ascii("abc"), 3).Sent());
    EXPECT_EQ(EMPTY_TEXT, SentText(12, ""));
}

TEST(ParamSend, LengthOfBytesWithoutALengthVariable) {
    EXPECT_EQ(Hex("0021 00000003 000102"), Parameter(13, 15).Value(Hex("000102"), 3).Sent());
}

TEST(ParamSend, ALengthVariableIsCappedAtTheSizeForTextAndBytes) {
    EXPECT_EQ(Hex("001E 00000002 'ab'"), SentBytes(12, TVCI_C_CHAR, Ascii("abc"), 2));
    EXPECT_EQ(Hex("001E 00000005 'abc' 0078"),
              SentBytes(12, TVCI_C_CHAR, Hex("'abc' 00 'x'"), 0x7FFFFFFF));
    EXPECT_EQ(Hex("0021 00000002 0001"), SentBytes(13, TVCI_C_BINARY, Hex("0001"), 0x7FFFFFFF));
    EXPECT_EQ(EMPTY_TEXT, SentBytes(12, TVCI_C_CHAR, Ascii("abc"), -1));
}

TEST(ParamSend, ANegativeLengthOfANumberCountsAsPresent) {
    EXPECT_EQ(Hex("0005 00000004 00000007"),
              Parameter(4, TVCI_C_INT).Value<int32_t>(7).Length(-1).Sent());
    EXPECT_EQ(Hex("0005 00000004 00000007"),
              Parameter(4, TVCI_C_INT).Value<int32_t>(7).Length(0x7FFFFFFF).Sent());
}

TEST(ParamSend, Boolean) {
    const Bytes yes = Hex("0005 00000004 00000001");
    const Bytes no = Hex("0005 00000004 00000000");
    EXPECT_EQ(yes, Sent<uint8_t>(1, TVCI_C_BOOL, 1));
    EXPECT_EQ(yes, Sent<uint8_t>(1, TVCI_C_BOOL, 200));
    EXPECT_EQ(no, Sent<uint8_t>(1, TVCI_C_BOOL, 0));
    EXPECT_EQ(yes, Sent<int8_t>(1, TVCI_C_TINYINT, -1));
    EXPECT_EQ(no, Sent<int8_t>(1, TVCI_C_TINYINT, 0));
    EXPECT_EQ(yes, Sent<int16_t>(1, TVCI_C_SMALLINT, 256));
    EXPECT_EQ(no, Sent<int16_t>(1, TVCI_C_SMALLINT, 0));
    EXPECT_EQ(yes, Sent<int32_t>(1, TVCI_C_INT, 65536));
    EXPECT_EQ(no, Sent<int32_t>(1, TVCI_C_INT, 0));
    EXPECT_EQ(no, Sent<int64_t>(1, TVCI_C_BIGINT, 1));
    EXPECT_EQ(no, Sent<double>(1, TVCI_C_DOUBLE, 1));
    for (const char *text : {"t", "T", "true"}) {
        EXPECT_EQ(yes, SentText(1, text));
    }
    for (const char *text : {"f", "F", "False"}) {
        EXPECT_EQ(no, SentText(1, text));
    }
    EXPECT_EQ(Hex("0005 00000004 00000031"), SentText(1, "1"));
    EXPECT_EQ(Hex("0005 00000004 000000C4"), SentText(1, "\xC4"));
}

TEST(ParamSend, BooleanOfTheTextYesIs121) {
    EXPECT_EQ(Hex("0005 00000004 00000079"), SentText(1, "yes"));
}

TEST(ParamSend, Tinyint) {
    EXPECT_EQ(Hex("0003 00000001 FF"), Sent<int8_t>(2, TVCI_C_TINYINT, -1));
    EXPECT_EQ(Hex("0003 00000001 2C"), Sent<int16_t>(2, TVCI_C_SMALLINT, 300));
    EXPECT_EQ(Hex("0003 00000001 04"), Sent<int32_t>(2, TVCI_C_INT, 0x01020304));
    EXPECT_EQ(Hex("0003 00000001 08"), Sent<int64_t>(2, TVCI_C_BIGINT, 0x0102030405060708));
    EXPECT_EQ(Hex("0003 00000001 FD"), Sent<float>(2, TVCI_C_FLOAT, -3.9f));
    EXPECT_EQ(Hex("0003 00000001 2C"), Sent<double>(2, TVCI_C_DOUBLE, 300.5));
    EXPECT_EQ(Hex("0003 00000001 00"), SentText(2, "7"));
}

TEST(ParamSend, Smallint) {
    EXPECT_EQ(Hex("0004 00000002 FF80"), Sent<int8_t>(3, TVCI_C_TINYINT, -128));
    EXPECT_EQ(Hex("0004 00000002 8000"), Sent<int16_t>(3, TVCI_C_SMALLINT, INT16_MIN));
    EXPECT_EQ(Hex("0004 00000002 0304"), Sent<int32_t>(3, TVCI_C_INT, 0x01020304));
    EXPECT_EQ(Hex("0004 00000002 0708"), Sent<int64_t>(3, TVCI_C_BIGINT, 0x0102030405060708));
    EXPECT_EQ(Hex("0004 00000002 FFFD"), Sent<float>(3, TVCI_C_FLOAT, -3.9f));
    EXPECT_EQ(Hex("0004 00000002 1170"), Sent<double>(3, TVCI_C_DOUBLE, 70000.9));
    EXPECT_EQ(Hex("0004 00000002 0000"), SentText(3, "7"));
}

TEST(ParamSend, A16BitBufferUnderThe32BitFormIsReadNoFurther) {
    EXPECT_EQ(Hex("0004 00000002 0102"), Parameter(3, TVCI_C_INT).Value(Hex("0201"), 2).Sent());
    EXPECT_EQ(Hex("0005 00000004 FFFFFFFE"), Parameter(4, TVCI_C_INT).Value(Hex("FEFF"), 2).Sent());
    EXPECT_EQ(Hex("0006 00000008 0000000000000007"),
              Parameter(5, TVCI_C_BIGINT).Value(Hex("07000000"), 4).Sent());
    EXPECT_EQ(Hex("0005 00000004 00000001"), Parameter(1, TVCI_C_INT).Value(Hex("07"), 1).Sent());
}

TEST(ParamSend, AnOddSizeDoesNotNarrowANumber) {
    EXPECT_EQ(Hex("0005 00000004 01020304"),
              Parameter(4, TVCI_C_INT).Value(Hex("04030201"), 3).Sent());
    EXPECT_EQ(Hex("0009 00000008 3FF8000000000000"),
              Parameter(7, TVCI_C_DOUBLE).Value(Hex("000000000000F83F"), 4).Sent());
}

TEST(ParamSend, Integer) {
    EXPECT_EQ(Hex("0005 00000004 FFFFFF80"), Sent<int8_t>(4, TVCI_C_TINYINT, -128));
    EXPECT_EQ(Hex("0005 00000004 FFFF8000"), Sent<int16_t>(4, TVCI_C_SMALLINT, INT16_MIN));
    EXPECT_EQ(Hex("0005 00000004 80000000"), Sent<int32_t>(4, TVCI_C_INT, INT32_MIN));
    EXPECT_EQ(Hex("0005 00000004 05060708"), Sent<int64_t>(4, TVCI_C_BIGINT, 0x0102030405060708));
    EXPECT_EQ(Hex("0005 00000004 FFFFFFFD"), Sent<float>(4, TVCI_C_FLOAT, -3.9f));
    EXPECT_EQ(Hex("0005 00000004 7FFFFFFF"), Sent<double>(4, TVCI_C_DOUBLE, 2147483647.9));
    EXPECT_EQ(Hex("0005 00000004 00000000"), SentText(4, "7"));
    EXPECT_EQ(Hex("0005 00000004 00000000"), Sent<uint8_t>(4, TVCI_C_BOOL, 1));
}

TEST(ParamSend, ARealNumberThatDoesNotFitIsTheLowestInteger) {
    for (const double real : {2147483648.0, -2147483649.0, 1e300, -1e300, (double)INFINITY,
                              -(double)INFINITY, (double)NAN}) {
        EXPECT_EQ(Hex("0005 00000004 80000000"), Sent<double>(4, TVCI_C_DOUBLE, real)) << real;
        EXPECT_EQ(Hex("0004 00000002 0000"), Sent<double>(3, TVCI_C_DOUBLE, real)) << real;
    }
    for (const double real : {9223372036854775808.0, -9223372036854777856.0, 1e300, (double)NAN}) {
        EXPECT_EQ(Hex("0006 00000008 8000000000000000"), Sent<double>(5, TVCI_C_DOUBLE, real));
    }
    EXPECT_EQ(Hex("0005 00000004 80000000"), Sent<float>(4, TVCI_C_FLOAT, FLT_MAX));
    EXPECT_EQ(Hex("0005 00000004 80000000"), Sent<double>(4, TVCI_C_DOUBLE, -2147483648.9));
}

TEST(ParamSend, Bigint) {
    EXPECT_EQ(Hex("0006 00000008 FFFFFFFFFFFFFF80"), Sent<int8_t>(5, TVCI_C_TINYINT, -128));
    EXPECT_EQ(Hex("0006 00000008 FFFFFFFFFFFF8000"), Sent<int16_t>(5, 4, INT16_MIN));
    EXPECT_EQ(Hex("0006 00000008 FFFFFFFF80000000"), Sent<int32_t>(5, TVCI_C_INT, INT32_MIN));
    EXPECT_EQ(Hex("0006 00000008 0102030405060708"),
              Sent<int64_t>(5, TVCI_C_BIGINT, 0x0102030405060708));
    EXPECT_EQ(Hex("0006 00000008 FFFFFFFFFFFFFFFD"), Sent<float>(5, TVCI_C_FLOAT, -3.9f));
    EXPECT_EQ(Hex("0006 00000008 0000000100000000"), Sent<double>(5, 8, 4294967296.7));
    EXPECT_EQ(Hex("0006 00000008 0000000000000000"), SentText(5, "7"));
}

TEST(ParamSend, Float) {
    EXPECT_EQ(Hex("0008 00000004 C3000000"), Sent<int8_t>(6, TVCI_C_TINYINT, -128));
    EXPECT_EQ(Hex("0008 00000004 43960000"), Sent<int16_t>(6, TVCI_C_SMALLINT, 300));
    EXPECT_EQ(Hex("0008 00000004 4B800000"), Sent<int32_t>(6, TVCI_C_INT, 16777217));
    EXPECT_EQ(Hex("0008 00000004 DF000000"), Sent<int64_t>(6, TVCI_C_BIGINT, INT64_MIN));
    EXPECT_EQ(Hex("0008 00000004 3FC00000"), Sent<float>(6, TVCI_C_FLOAT, 1.5f));
    EXPECT_EQ(Hex("0008 00000004 7F800001"), Sent<uint32_t>(6, TVCI_C_FLOAT, 0x7F800001));
    EXPECT_EQ(Hex("0008 00000004 3DCCCCCD"), Sent<double>(6, TVCI_C_DOUBLE, 0.1));
    EXPECT_EQ(Hex("0008 00000004 7F800000"), Sent<double>(6, TVCI_C_DOUBLE, 1e300));
    EXPECT_EQ(Hex("0008 00000004 00000000"), SentText(6, "7"));
}

TEST(ParamSend, Double) {
    EXPECT_EQ(Hex("0009 00000008 C060000000000000"), Sent<int8_t>(7, TVCI_C_TINYINT, -128));
    EXPECT_EQ(Hex("0009 00000008 4072C00000000000"), Sent<int16_t>(7, TVCI_C_SMALLINT, 300));
    EXPECT_EQ(Hex("0009 00000008 4170000010000000"), Sent<int32_t>(7, TVCI_C_INT, 16777217));
    EXPECT_EQ(Hex("0009 00000008 C3E0000000000000"), Sent<int64_t>(7, 6, INT64_MIN));
    EXPECT_EQ(Hex("0009 00000008 3FF8000000000000"), Sent<float>(7, TVCI_C_FLOAT, 1.5f));
    EXPECT_EQ(Hex("0009 00000008 3FB999999999999A"), Sent<double>(7, TVCI_C_DOUBLE, 0.1));
    EXPECT_EQ(Hex("0009 00000008 0000000000000000"), SentText(7, "7"));
}

TEST(ParamSend, NumericIsTextWhateverTheForm) {
    EXPECT_EQ(Hex("001E 00000004 '12.5'"), SentText(8, "12.5"));
    EXPECT_EQ(Hex("001E 00000004 '12.5'"), Parameter(8, 9).Value(Hex("'12.5' 00"), 0).Sent());
    EXPECT_EQ(Hex("001E 00000003 '12.'"), Parameter(8, 9).Value(Ascii("12."), 3).Sent());
    EXPECT_EQ(Hex("001E 00000004 '-128'"), Sent<int8_t>(8, TVCI_C_TINYINT, -128));
    EXPECT_EQ(Hex("001E 00000006 '-32768'"), Sent<int16_t>(8, TVCI_C_SMALLINT, INT16_MIN));
    EXPECT_EQ(Hex("001E 0000000B '-2147483648'"), Sent<int32_t>(8, TVCI_C_INT, INT32_MIN));
    EXPECT_EQ(Hex("001E 00000014 '-9223372036854775808'"), Sent<int64_t>(8, 6, INT64_MIN));
    EXPECT_EQ(Hex("001E 00000008 '1.500000'"), Sent<float>(8, TVCI_C_FLOAT, 1.5f));
    EXPECT_EQ(Hex("001E 00000009 '-0.100000'"), Sent<double>(8, TVCI_C_DOUBLE, -0.1));
    EXPECT_EQ(Hex("001E 00000001 '0'"), Sent<DateRec>(8, TVCI_C_DATE, {2024, 3, 1}));
}

TEST(ParamSend, NumericTextIsCutAt63) {
    const Bytes digits = Repeat(Ascii("9"), 63);
    EXPECT_EQ(Hex("001E 0000003F") + digits, SentText(8, std::string(64, '9')));
    EXPECT_EQ(Hex("001E 0000003F") + digits,
              Parameter(8, TVCI_C_NUMERIC).Value(Repeat(Ascii("9"), 64), 0).Sent());
    EXPECT_EQ(Hex("001E 0000003F "
                  "'179769313486231570814527423731704356798070567525844996598917476'"),
              Sent<double>(8, TVCI_C_DOUBLE, DBL_MAX));
}

TEST(ParamSend, Date) {
    EXPECT_EQ(Hex("001E 0000000A '2024-03-01'"), Sent<DateRec>(9, TVCI_C_DATE, {2024, 3, 1}));
    EXPECT_EQ(Hex("001E 0000000A '0001-01-01'"), Sent<DateRec>(9, TVCI_C_DATE, {1, 1, 1}));
    EXPECT_EQ(Hex("001E 0000000A '12345-03-0'"), Sent<DateRec>(9, TVCI_C_DATE, {12345, 3, 1}));
    EXPECT_EQ(Hex("001E 0000000A '-214748364'"),
              Sent<DateRec>(9, TVCI_C_DATE, {INT32_MIN, INT32_MIN, INT32_MIN}));
    EXPECT_EQ(EMPTY_TEXT, Sent<int32_t>(9, TVCI_C_INT, 7));
    EXPECT_EQ(EMPTY_TEXT, Sent<DateTimeRec>(9, TVCI_C_DATETIME, {2024, 3, 1, 0, 0, 0, 0}));
}

TEST(ParamSend, ADateOfTextIsItsFirst10Bytes) {
    EXPECT_EQ(Hex("001E 0000000A '2024-03-01'"), SentText(9, "2024-03-01 10:00"));
}

TEST(ParamSend, AShortDateTextIsFilledUpWithNuls) {
    EXPECT_EQ(Hex("001E 0000000A '2024-3-1' 0000"),
              Parameter(9, TVCI_C_CHAR).Value(Ascii("2024-3-1"), 8).Sent());
}

TEST(ParamSend, Time) {
    EXPECT_EQ(Hex("001E 00000008 '01:02:03'"), Sent<TimeRec>(10, TVCI_C_TIME, {1, 2, 3}));
    EXPECT_EQ(Hex("001E 00000008 '100:02:0'"), Sent<TimeRec>(10, TVCI_C_TIME, {100, 2, 3}));
    EXPECT_EQ(Hex("001E 00000008 '10:11:12'"), SentText(10, "10:11:12.345"));
    EXPECT_EQ(Hex("001E 00000008 '1:02' 00000000"),
              Parameter(10, TVCI_C_CHAR).Value(Ascii("1:02"), 4).Sent());
    EXPECT_EQ(EMPTY_TEXT, Sent<int32_t>(10, TVCI_C_INT, 7));
}

TEST(ParamSend, DateTime) {
    EXPECT_EQ(Hex("001E 00000017 '2024-03-01 04:05:06.007'"),
              Sent<DateTimeRec>(11, TVCI_C_DATETIME, {2024, 3, 1, 4, 5, 6, 7}));
    EXPECT_EQ(Hex("001E 0000001A '2024-03-01 04:05:06.123456'"),
              Sent<DateTimeRec>(11, TVCI_C_DATETIME, {2024, 3, 1, 4, 5, 6, 123456}));
    EXPECT_EQ(Hex("001E 00000013 '2024-03-01 10:00:00'"), SentText(11, "2024-03-01 10:00:00"));
    EXPECT_EQ(Hex("0021 00000000"), Sent<int32_t>(11, TVCI_C_INT, 7));
    EXPECT_EQ(Hex("0021 00000000"), Sent<DateRec>(11, TVCI_C_DATE, {2024, 3, 1}));
}

TEST(ParamSend, ADateTimeOf30CharactersIsCutTo24) {
    EXPECT_EQ(Hex("001E 00000018 '2024-03-01 10:00:00.1234'"),
              SentText(11, "2024-03-01 10:00:00.1234567890"));
}

TEST(ParamSend, ADateTimeOfTheWidestMembersIsSentWhole) {
    const int32_t low = INT32_MIN;
    EXPECT_EQ(Hex("001E 00000053 '-2147483648--2147483648--2147483648 "
                  "-2147483648:-2147483648:-2147483648.-2147483648'"),
              Sent<DateTimeRec>(11, TVCI_C_DATETIME, {low, low, low, low, low, low, low}));
}

TEST(ParamSend, TextAndBytesGoAsTheyAre) {
    EXPECT_EQ(Hex("001E 00000003 410042"), SentBytes(12, TVCI_C_CHAR, Hex("410042"), 3));
    EXPECT_EQ(Hex("001E 00000003 000102"), SentBytes(12, TVCI_C_BINARY, Hex("000102"), 3));
    EXPECT_EQ(Hex("0021 00000003 'abc'"), SentText(13, "abc"));
    EXPECT_EQ(Hex("0020 00000003 'abc'"), SentText(14, "abc"));
    EXPECT_EQ(Hex("0022 00000003 'abc'"), SentText(15, "abc"));
    EXPECT_EQ(Hex("0022 00000003 000102"), SentBytes(16, TVCI_C_BINARY, Hex("000102"), 3));
    EXPECT_EQ(Hex("001E 00000002 '12'"), SentBytes(12, TVCI_C_NUMERIC, Ascii("123"), 2));
}

TEST(ParamSend, ANumberDeclaredAsTextIsItsFirstByteOrAsManyAsItsLengthSays) {
    EXPECT_EQ(Hex("001E 00000001 04"), Sent<int32_t>(12, TVCI_C_INT, 0x01020304));
    EXPECT_EQ(Hex("001E 00000002 0403"),
              Parameter(12, TVCI_C_INT).Value<int32_t>(0x01020304).Length(2).Sent());
}

TEST(ParamSend, NoLengthReadsBehindAValue) {
    EXPECT_EQ(Hex("001E 00000004 04030201"),
              Parameter(12, TVCI_C_INT).Value<int32_t>(0x01020304).Length(0x7FFFFFFF).Sent());
    EXPECT_EQ(Hex("0021 00000002 0403"),
              Parameter(13, TVCI_C_INT).Value(Hex("0403"), 2).Length(0x7FFFFFFF).Sent());
    EXPECT_EQ(Hex("001E 00000003 'abc'"),
              Parameter(33, 99).Value(Ascii("abc"), 3).Length(0x7FFFFFFF).Sent());
    const Bytes time = Parameter(16, TVCI_C_TIME).Value<TimeRec>({1, 2, 3}).Length(100).Sent();
    EXPECT_EQ(Hex("0022 0000000C 01000000 02000000 03000000"), time);
}

TEST(ParamSend, DateTimeWithZone) {
    EXPECT_EQ(Hex("001E 0000001E '2024-03-01 04:05:06.007 +08:30'"),
              Sent<DateTimeTzRec>(17, 14, {2024, 3, 1, 4, 5, 6, 7, 8, 30}));
    EXPECT_EQ(Hex("001E 0000001E '2024-03-01 04:05:06.007 -08:30'"),
              Sent<DateTimeTzRec>(17, 14, {2024, 3, 1, 4, 5, 6, 7, -8, 30}));
    EXPECT_EQ(Hex("001E 0000001E '2024-03-01 04:05:06.007 -00:30'"),
              Sent<DateTimeTzRec>(17, 14, {2024, 3, 1, 4, 5, 6, 7, 0, -30}));
    EXPECT_EQ(Hex("001E 0000001E '2024-03-01 04:05:06.007 +00:00'"),
              Sent<DateTimeTzRec>(17, 14, {2024, 3, 1, 4, 5, 6, 7, 0, 0}));
    EXPECT_EQ(Hex("001E 0000001F '2024-03-01 10:00:00.123456 +08:'"),
              SentText(17, "2024-03-01 10:00:00.123456 +08:00"));
    EXPECT_EQ(NOTHING, Sent<DateTimeRec>(17, TVCI_C_DATETIME, {2024, 3, 1, 4, 5, 6, 7}));
    EXPECT_EQ(NOTHING, Sent<int32_t>(17, TVCI_C_INT, 7));
}

TEST(ParamSend, TimeWithZone) {
    EXPECT_EQ(Hex("001E 0000000F '01:02:03 +08:30'"), Sent<TimeTzRec>(18, 12, {1, 2, 3, 8, 30}));
    EXPECT_EQ(Hex("001E 0000000F '01:02:03 -08:30'"), Sent<TimeTzRec>(18, 12, {1, 2, 3, -8, -30}));
    EXPECT_EQ(Hex("001E 0000000F '01:02:03 -00:30'"), Sent<TimeTzRec>(18, 12, {1, 2, 3, 0, -30}));
    EXPECT_EQ(Hex("001E 00000010 '01:02:03.456789 '"), SentText(18, "01:02:03.456789 +08:00"));
    EXPECT_EQ(NOTHING, Sent<TimeRec>(18, TVCI_C_TIME, {1, 2, 3}));
}

TEST(ParamSend, AZoneOfTheLowestNumbersHasItsAbsoluteValue) {
    EXPECT_EQ(Hex("001E 0000001F '01:02:03 -2147483648:2147483648'"),
              Sent<TimeTzRec>(18, 12, {1, 2, 3, INT32_MIN, INT32_MIN}));
}

TEST(ParamSend, Declaration19SendsNameAndDirectionAlone) {
    Parameter parameter(19, TVCI_C_INT);
    parameter.Value<int32_t>(7);
    char name[] = "id";
    parameter.param.name = name;
    EXPECT_EQ(Hex("0002 'id' 0001"), parameter.Frame());
    EXPECT_EQ(NOTHING, SentText(19, "abc"));
    EXPECT_EQ(NOTHING, Sent<IntervalRec>(19, TVCI_C_INTERVAL, {1, 2, 3, 4, 5, 6}));
}

TEST(ParamSend, AnUnknownDeclarationSendsNameAndDirectionAlone) {
    for (const int32_t sql_type : {46, 1000, INT32_MAX}) {
        EXPECT_EQ(NOTHING, SentText(sql_type, "abc"));
        EXPECT_EQ(NOTHING, Sent<IntervalDsRec>(sql_type, TVCI_C_INTERVAL_DS, {1, 2, 3, 4, 5}));
    }
}

TEST(ParamSend, IntervalsFromTheTaggedRecord) {
    const IntervalRec record = {0, 11, 2, 3, 4, 5};
    const struct {
        int32_t sql_type;
        const char *sent;
    } cases[] = {
        {20, "001E 00000002 '11'"},    {21, "001E 00000001 '2'"},
        {22, "001E 00000002 '11'"},    {23, "001E 00000001 '2'"},
        {24, "001E 00000001 '3'"},     {25, "001E 00000001 '4'"},
        {26, "001E 00000005 '11-02'"}, {27, "001E 0000000A '11 2:03:04'"},
        {28, "001E 00000005 '11 02'"}, {29, "001E 00000007 '11 2:03'"},
        {30, "001E 00000004 '2:03'"},  {31, "001E 00000007 '2:03:04'"},
        {32, "001E 00000004 '3:04'"},
    };
    for (const auto &item : cases) {
        EXPECT_EQ(Hex(item.sent), Sent(item.sql_type, TVCI_C_INTERVAL, record)) << item.sql_type;
    }
}

TEST(ParamSend, IntervalsFromTheUntaggedRecords) {
    const IntervalYmRec months = {-11, -2};
    const IntervalDsRec days = {11, 2, 3, 4, 5};
    const struct {
        int32_t sql_type;
        const char *from_months;
        const char *from_days;
    } cases[] = {
        {20, "001E 00000003 '-11'", ""},    {21, "001E 00000002 '-2'", ""},
        {22, "", "001E 00000002 '11'"},     {23, "", "001E 00000001 '2'"},
        {24, "", "001E 00000001 '3'"},      {25, "", "001E 00000001 '4'"},
        {26, "001E 00000006 '-11--2'", ""}, {27, "", "001E 0000000A '11 2:03:04'"},
        {28, "", "001E 00000005 '11 02'"},  {29, "", "001E 00000007 '11 2:03'"},
        {30, "", "001E 00000004 '2:03'"},   {31, "", "001E 00000007 '2:03:04'"},
        {32, "", "001E 00000004 '3:04'"},
    };
    for (const auto &item : cases) {
        EXPECT_EQ(Hex(item.from_months), Sent(item.sql_type, TVCI_C_INTERVAL_YM, months))
            << item.sql_type;
        EXPECT_EQ(Hex(item.from_days), Sent(item.sql_type, TVCI_C_INTERVAL_DS, days))
            << item.sql_type;
    }
}

TEST(ParamSend, TwoIntervalsTakeText) {
    for (int32_t sql_type = 20; sql_type <= 32; sql_type++) {
        const bool takes_text = sql_type == 26 || sql_type == 27;
        EXPECT_EQ(takes_text ? Hex("001E 00000004 '1-02'") : NOTHING, SentText(sql_type, "1-02"));
        EXPECT_EQ(NOTHING, Sent<int32_t>(sql_type, TVCI_C_INT, 7));
    }
    EXPECT_EQ(Hex("001E 0000003F") + Repeat(Ascii("1"), 63), SentText(27, std::string(70, '1')));
    EXPECT_EQ(Hex("001E 00000003 '1-0'"), Parameter(26, 2).Value(Ascii("1-0"), 3).Sent());
}

TEST(ParamSend, AnIntervalOfTheWidestMembersIsSentWhole) {
    const int32_t low = INT32_MIN;
    EXPECT_EQ(Hex("001E 0000002F '-2147483648 -2147483648:-2147483648:-2147483648'"),
              Sent<IntervalDsRec>(27, TVCI_C_INTERVAL_DS, {low, low, low, low, low}));
}

// A large value of the application around bytes that it owns.
static LobRecord LobOf(Bytes &data) {
    LobRecord lob = {};
    lob.length = (int32_t)data.size();
    lob.data = data.data();
    return lob;
}

TEST(ParamSend, ALargeValueSendsItsData) {
    Bytes data = Hex("00FF10");
    const LobRecord lob = LobOf(data);
    EXPECT_EQ(Hex("0020 00000003 00FF10"), Sent(14, TVCI_C_LOB, lob));
    EXPECT_EQ(Hex("0022 00000003 00FF10"), Sent(15, TVCI_C_LOB, lob));
    EXPECT_EQ(Hex("0022 00000003 00FF10"), Sent(16, TVCI_C_LOB, lob));
    EXPECT_EQ(Hex("0022 00000002 00FF"), Parameter(16, 40).Value(lob).Length(2).Sent());
    EXPECT_EQ(Hex("0022 00000003 00FF10"), Parameter(16, 40).Value(lob).Length(99).Sent());
    EXPECT_EQ(Hex("0022 00000000"), Parameter(16, 40).Value(lob).Length(-1).Sent());
}

TEST(ParamSend, AnEmptyOrUnfetchedLargeValueIsANull) {
    Bytes data;
    LobRecord lob = LobOf(data);
    EXPECT_EQ(Hex("0020 00000000"), Sent(14, TVCI_C_LOB, lob));
    lob.length = 9;
    lob.data = NULL;
    EXPECT_EQ(Hex("0020 00000000"), Sent(14, TVCI_C_LOB, lob));
    EXPECT_EQ(Hex("001E 00000000 00000000"), Sent(33, TVCI_C_LOB, lob));
}

TEST(ParamSend, ALargeValueDeclaredAsTextIsItsRecord) {
    Bytes data(200, 7);
    const Bytes sent = Sent(12, TVCI_C_LOB, LobOf(data));
    EXPECT_EQ(54u, sent.size());
    EXPECT_EQ(Hex("001E 00000030 00000000 C8000000"), Bytes(sent.begin(), sent.begin() + 14));
}

TEST(ParamSend, Geometry) {
    Bytes data = Hex("00FF1A");
    for (int32_t sql_type = 33; sql_type <= 45; sql_type++) {
        EXPECT_EQ(Hex("0021 00000003 00FF1A"), SentBytes(sql_type, TVCI_C_BINARY, data, 3));
        EXPECT_EQ(Hex("001E 00000007 '00FF1A' 00"), Sent(sql_type, TVCI_C_LOB, LobOf(data)));
        EXPECT_EQ(Hex("001E 00000003 'abc'"), SentText(sql_type, "abc"));
        EXPECT_EQ(Hex("001E 00000001 07"), Sent<int32_t>(sql_type, TVCI_C_INT, 7));
    }
}

TEST(ParamSend, AGeometryWithoutMemoryIsANullAndNothingLeaks) {
    Bytes data = Hex("00FF1A");
    const int64_t blocks = MemLiveBlocks();
    MemFailAt(1);
    EXPECT_EQ(Hex("001E 00000000 00000000"), Sent(33, TVCI_C_LOB, LobOf(data)));
    EXPECT_TRUE(MemFailed());
    MemFailAt(0);
    Sent(33, TVCI_C_LOB, LobOf(data));
    EXPECT_EQ(blocks, MemLiveBlocks());
}

TEST(ParamSend, AForgottenBufferIsANull) {
    Parameter parameter(12, TVCI_C_CHAR);
    parameter.bind.value_size = 10;
    EXPECT_EQ(EMPTY_TEXT, parameter.Sent());
    parameter.Length(5);
    EXPECT_EQ(EMPTY_TEXT, parameter.Sent());
}

TEST(ParamSend, WhatPassesTheBufferArrivesInOrder) {
    ScriptedPeer peer;
    peer.Accept();
    peer.Expect(Hex("FFFF") + Repeat(Ascii("n"), 65535) + Hex("0001 001E 00000BB8") +
                Repeat(Ascii("v"), 3000));
    peer.Start();
    static Connection conn;
    ASSERT_TRUE(ConnInit(&conn));
    const uint8_t loopback[] = {127, 0, 0, 1};
    memcpy(&conn.ip, loopback, sizeof(loopback));
    conn.port = peer.port();
    ASSERT_TRUE(ConnOpenSocket(&conn));
    swap_bytes.store(1);
    Parameter parameter(12, TVCI_C_CHAR);
    parameter.Value(Repeat(Ascii("v"), 3000), 3000);
    // The length word has 16 bits, so that a longer name is cut.
    std::string name(65540, 'n');
    parameter.param.name = name.data();
    ParamSend(&conn, &parameter.param);
    EXPECT_EQ(0, ConnFlush(&conn));
    EXPECT_TRUE(peer.Finish()) << peer.Failure();
    ConnFree(&conn);
}

TEST(BytesToHex, UpperCaseDigitsHighOnesFirst) {
    const uint8_t bytes[] = {0x00, 0x1A, 0xF0, 0xFF};
    char *text = BytesToHex(bytes, 4);
    EXPECT_STREQ("001AF0FF", text);
    MemFree(text);
}

TEST(BytesToHex, NothingGivesNull) {
    EXPECT_EQ(NULL, BytesToHex(NULL, 4));
    EXPECT_EQ(NULL, BytesToHex("", 0));
    EXPECT_EQ(NULL, BytesToHex("", -1));
    MemFailAt(1);
    EXPECT_EQ(NULL, BytesToHex("a", 1));
    MemFailAt(0);
}
