// Parameters to the wire.
#include "values/encode.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <climits>
#include <cmath>
#include <cstring>
#include <source_location>
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

    // A value of fixed width, without a size.
    template <typename T>
    Parameter &Value(T value) {
        return Raw(&value, sizeof(value));
    }

    Parameter &Raw(const void *value, size_t size) {
        const uint8_t *raw = (const uint8_t *)value;
        return Value(Bytes(raw, raw + size), 0);
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

static Bytes SentRaw(int32_t sql_type, int32_t c_type, const void *value, size_t size) {
    return Parameter(sql_type, c_type).Raw(value, size).Sent();
}

template <typename T>
static Bytes Sent(int32_t sql_type, int32_t c_type, T value) {
    return SentRaw(sql_type, c_type, &value, sizeof(value));
}

static Bytes SentText(int32_t sql_type, const std::string &text) {
    return Parameter(sql_type, TVCI_C_CHAR).Text(text).Sent();
}

static Bytes SentBytes(int32_t sql_type, int32_t c_type, const Bytes &bytes, int32_t length) {
    return Parameter(sql_type, c_type).Value(bytes, (int32_t)bytes.size()).Length(length).Sent();
}

typedef std::source_location Place;

// Plain calls instead of an assertion at every place, for the time that those take to compile.
static void ExpectIs(const Bytes &sent, const char *wanted, Place place = Place::current()) {
    if (sent == Hex(wanted)) return;
    ADD_FAILURE_AT(place.file_name(), (int)place.line())
        << "sent " << HexText(sent) << "\nwanted " << wanted;
}

template <typename T>
static void ExpectSends(int32_t sql_type, int32_t c_type, T value, const char *wanted,
                        Place place = Place::current()) {
    ExpectIs(SentRaw(sql_type, c_type, &value, sizeof(value)), wanted, place);
}

static void ExpectSendsText(int32_t sql_type, const char *text, const char *wanted,
                            Place place = Place::current()) {
    ExpectIs(SentText(sql_type, text), wanted, place);
}

static void ExpectSendsBytes(int32_t sql_type, int32_t c_type, const Bytes &bytes, int32_t length,
                             const char *wanted, Place place = Place::current()) {
    ExpectIs(SentBytes(sql_type, c_type, bytes, length), wanted, place);
}

constexpr char NOTHING[] = "";
constexpr char EMPTY_TEXT[] = "001E 00000000";

TEST(ParamSend, AnUnboundParameterSendsNothing) {
    Parameter parameter(4, TVCI_C_INT);
    parameter.param.bound = 0;
    parameter.param.bind = NULL;
    ExpectIs(parameter.Frame(), NOTHING);
}

TEST(ParamSend, TheNameGoesFirst) {
    Parameter parameter(4, TVCI_C_INT);
    parameter.Value<int32_t>(66051);
    char name[] = "id";
    parameter.param.name = name;
    ExpectIs(parameter.Frame(), "0002 'id' 0001 0005 00000004 00010203");
}

TEST(ParamSend, WithoutANameALengthOf0) {
    ExpectIs(Parameter(4, TVCI_C_INT).Value<int32_t>(66051).Frame(),
             "0000 0001 0005 00000004 00010203");
}

TEST(ParamSend, ANullValueHasItsTypeAndALengthOf0) {
    ExpectIs(Parameter(4, TVCI_C_INT).Value<int32_t>(7).Length(0).Frame(),
             "0000 0001 0005 00000000");
    ExpectSendsBytes(12, TVCI_C_CHAR, Ascii("abc"), 0, "001E 00000000");
}

TEST(ParamSend, AnOutputParameterIsEmpty) {
    Parameter parameter(4, TVCI_C_INT);
    parameter.Value<int32_t>(7).param.kind = 2;
    ExpectIs(parameter.Frame(), "0000 0002 0005 00000000");
}

TEST(ParamSend, AnyOtherDirectionCarriesItsValue) {
    Parameter parameter(2, TVCI_C_TINYINT);
    parameter.Value<int8_t>(7).param.kind = 3;
    ExpectIs(parameter.Frame(), "0000 0003 0003 00000001 07");
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
        ExpectIs(Parameter(sql_type, TVCI_C_CHAR).Text("x").Length(0).Sent(),
                 "001E 00000000 00000000");
    }
}

TEST(ParamSend, LengthOfATextWithoutALengthVariable) {
    ExpectSendsText(12, "abc", "001E 00000003 'abc'");
    ExpectIs(Parameter(12, 2).Value(Ascii("abc"), 2).Sent(), "001E 00000002 'ab'");
    ExpectIs(Parameter(12, 2).Value(Ascii("abc"), 3).Sent(), "001E 00000003 'abc'");
    ExpectSendsText(12, "", EMPTY_TEXT);
}

TEST(ParamSend, LengthOfBytesWithoutALengthVariable) {
    ExpectIs(Parameter(13, 15).Value(Hex("000102"), 3).Sent(), "0021 00000003 000102");
}

TEST(ParamSend, ALengthVariableIsCappedAtTheSizeForTextAndBytes) {
    ExpectSendsBytes(12, TVCI_C_CHAR, Ascii("abc"), 2, "001E 00000002 'ab'");
    ExpectSendsBytes(12, TVCI_C_CHAR, Hex("'abc' 00 'x'"), 0x7FFFFFFF, "001E 00000005 'abc' 0078");
    ExpectSendsBytes(13, TVCI_C_BINARY, Hex("0001"), 0x7FFFFFFF, "0021 00000002 0001");
    ExpectSendsBytes(12, TVCI_C_CHAR, Ascii("abc"), -1, EMPTY_TEXT);
}

TEST(ParamSend, ANegativeLengthOfANumberCountsAsPresent) {
    ExpectIs(Parameter(4, TVCI_C_INT).Value<int32_t>(7).Length(-1).Sent(),
             "0005 00000004 00000007");
    ExpectIs(Parameter(4, TVCI_C_INT).Value<int32_t>(7).Length(0x7FFFFFFF).Sent(),
             "0005 00000004 00000007");
}

TEST(ParamSend, Boolean) {
    const char *const yes = "0005 00000004 00000001";
    const char *const no = "0005 00000004 00000000";
    ExpectSends<uint8_t>(1, TVCI_C_BOOL, 1, yes);
    ExpectSends<uint8_t>(1, TVCI_C_BOOL, 200, yes);
    ExpectSends<uint8_t>(1, TVCI_C_BOOL, 0, no);
    ExpectSends<int8_t>(1, TVCI_C_TINYINT, -1, yes);
    ExpectSends<int8_t>(1, TVCI_C_TINYINT, 0, no);
    ExpectSends<int16_t>(1, TVCI_C_SMALLINT, 256, yes);
    ExpectSends<int16_t>(1, TVCI_C_SMALLINT, 0, no);
    ExpectSends<int32_t>(1, TVCI_C_INT, 65536, yes);
    ExpectSends<int32_t>(1, TVCI_C_INT, 0, no);
    ExpectSends<int64_t>(1, TVCI_C_BIGINT, 1, no);
    ExpectSends<double>(1, TVCI_C_DOUBLE, 1, no);
    for (const char *text : {"t", "T", "true"}) {
        ExpectSendsText(1, text, yes);
    }
    for (const char *text : {"f", "F", "False"}) {
        ExpectSendsText(1, text, no);
    }
    ExpectSendsText(1, "1", "0005 00000004 00000031");
    ExpectSendsText(1, "\xC4", "0005 00000004 000000C4");
}

TEST(ParamSend, BooleanOfTheTextYesIs121) {
    ExpectSendsText(1, "yes", "0005 00000004 00000079");
}

TEST(ParamSend, Tinyint) {
    ExpectSends<int8_t>(2, TVCI_C_TINYINT, -1, "0003 00000001 FF");
    ExpectSends<int16_t>(2, TVCI_C_SMALLINT, 300, "0003 00000001 2C");
    ExpectSends<int32_t>(2, TVCI_C_INT, 0x01020304, "0003 00000001 04");
    ExpectSends<int64_t>(2, TVCI_C_BIGINT, 0x0102030405060708, "0003 00000001 08");
    ExpectSends<float>(2, TVCI_C_FLOAT, -3.9f, "0003 00000001 FD");
    ExpectSends<double>(2, TVCI_C_DOUBLE, 300.5, "0003 00000001 2C");
    ExpectSendsText(2, "7", "0003 00000001 00");
}

TEST(ParamSend, Smallint) {
    ExpectSends<int8_t>(3, TVCI_C_TINYINT, -128, "0004 00000002 FF80");
    ExpectSends<int16_t>(3, TVCI_C_SMALLINT, INT16_MIN, "0004 00000002 8000");
    ExpectSends<int32_t>(3, TVCI_C_INT, 0x01020304, "0004 00000002 0304");
    ExpectSends<int64_t>(3, TVCI_C_BIGINT, 0x0102030405060708, "0004 00000002 0708");
    ExpectSends<float>(3, TVCI_C_FLOAT, -3.9f, "0004 00000002 FFFD");
    ExpectSends<double>(3, TVCI_C_DOUBLE, 70000.9, "0004 00000002 1170");
    ExpectSendsText(3, "7", "0004 00000002 0000");
}

TEST(ParamSend, A16BitBufferUnderAWiderFormIsReadNoFurther) {
    ExpectIs(Parameter(3, TVCI_C_INT).Value(Hex("0201"), 2).Sent(), "0004 00000002 0102");
    ExpectIs(Parameter(3, TVCI_C_BIGINT).Value(Hex("0201"), 2).Sent(), "0004 00000002 0102");
    ExpectIs(Parameter(2, TVCI_C_BIGINT).Value(Hex("02"), 1).Sent(), "0003 00000001 02");
}

TEST(ParamSend, TheFormSaysHowWideANumberIsWhateverItsSize) {
    for (const int32_t size : {-1, 0, 1, 2, 3, 4, 8}) {
        ExpectIs(Parameter(4, TVCI_C_INT).Value(Hex("04030201"), size).Sent(),
                 "0005 00000004 01020304");
        ExpectIs(Parameter(5, TVCI_C_BIGINT).Value(Hex("0807060504030201"), size).Sent(),
                 "0006 00000008 0102030405060708");
        ExpectIs(Parameter(1, TVCI_C_INT).Value(Hex("00000001"), size).Sent(),
                 "0005 00000004 00000001");
        ExpectIs(Parameter(7, TVCI_C_DOUBLE).Value(Hex("000000000000F83F"), size).Sent(),
                 "0009 00000008 3FF8000000000000");
    }
}

TEST(ParamSend, Integer) {
    ExpectSends<int8_t>(4, TVCI_C_TINYINT, -128, "0005 00000004 FFFFFF80");
    ExpectSends<int16_t>(4, TVCI_C_SMALLINT, INT16_MIN, "0005 00000004 FFFF8000");
    ExpectSends<int32_t>(4, TVCI_C_INT, INT32_MIN, "0005 00000004 80000000");
    ExpectSends<int64_t>(4, TVCI_C_BIGINT, 0x0102030405060708, "0005 00000004 05060708");
    ExpectSends<float>(4, TVCI_C_FLOAT, -3.9f, "0005 00000004 FFFFFFFD");
    ExpectSends<double>(4, TVCI_C_DOUBLE, 2147483647.9, "0005 00000004 7FFFFFFF");
    ExpectSendsText(4, "7", "0005 00000004 00000000");
    ExpectSends<uint8_t>(4, TVCI_C_BOOL, 1, "0005 00000004 00000000");
}

TEST(ParamSend, ARealNumberThatDoesNotFitIsTheLowestInteger) {
    for (const double real : {2147483648.0, -2147483649.0, 1e300, -1e300, (double)INFINITY,
                              -(double)INFINITY, (double)NAN}) {
        SCOPED_TRACE(real);
        ExpectSends<double>(4, TVCI_C_DOUBLE, real, "0005 00000004 80000000");
        ExpectSends<double>(3, TVCI_C_DOUBLE, real, "0004 00000002 0000");
    }
    for (const double real : {9223372036854775808.0, -9223372036854777856.0, 1e300, (double)NAN}) {
        ExpectSends<double>(5, TVCI_C_DOUBLE, real, "0006 00000008 8000000000000000");
    }
    ExpectSends<float>(4, TVCI_C_FLOAT, FLT_MAX, "0005 00000004 80000000");
    ExpectSends<double>(4, TVCI_C_DOUBLE, -2147483648.9, "0005 00000004 80000000");
}

TEST(ParamSend, Bigint) {
    ExpectSends<int8_t>(5, TVCI_C_TINYINT, -128, "0006 00000008 FFFFFFFFFFFFFF80");
    ExpectSends<int16_t>(5, 4, INT16_MIN, "0006 00000008 FFFFFFFFFFFF8000");
    ExpectSends<int32_t>(5, TVCI_C_INT, INT32_MIN, "0006 00000008 FFFFFFFF80000000");
    ExpectSends<int64_t>(5, TVCI_C_BIGINT, 0x0102030405060708, "0006 00000008 0102030405060708");
    ExpectSends<float>(5, TVCI_C_FLOAT, -3.9f, "0006 00000008 FFFFFFFFFFFFFFFD");
    ExpectSends<double>(5, 8, 4294967296.7, "0006 00000008 0000000100000000");
    ExpectSendsText(5, "7", "0006 00000008 0000000000000000");
}

TEST(ParamSend, Float) {
    ExpectSends<int8_t>(6, TVCI_C_TINYINT, -128, "0008 00000004 C3000000");
    ExpectSends<int16_t>(6, TVCI_C_SMALLINT, 300, "0008 00000004 43960000");
    ExpectSends<int32_t>(6, TVCI_C_INT, 16777217, "0008 00000004 4B800000");
    ExpectSends<int64_t>(6, TVCI_C_BIGINT, INT64_MIN, "0008 00000004 DF000000");
    ExpectSends<float>(6, TVCI_C_FLOAT, 1.5f, "0008 00000004 3FC00000");
    ExpectSends<uint32_t>(6, TVCI_C_FLOAT, 0x7F800001, "0008 00000004 7F800001");
    ExpectSends<double>(6, TVCI_C_DOUBLE, 0.1, "0008 00000004 3DCCCCCD");
    ExpectSends<double>(6, TVCI_C_DOUBLE, 1e300, "0008 00000004 7F800000");
    ExpectSendsText(6, "7", "0008 00000004 00000000");
}

TEST(ParamSend, Double) {
    ExpectSends<int8_t>(7, TVCI_C_TINYINT, -128, "0009 00000008 C060000000000000");
    ExpectSends<int16_t>(7, TVCI_C_SMALLINT, 300, "0009 00000008 4072C00000000000");
    ExpectSends<int32_t>(7, TVCI_C_INT, 16777217, "0009 00000008 4170000010000000");
    ExpectSends<int64_t>(7, 6, INT64_MIN, "0009 00000008 C3E0000000000000");
    ExpectSends<float>(7, TVCI_C_FLOAT, 1.5f, "0009 00000008 3FF8000000000000");
    ExpectSends<double>(7, TVCI_C_DOUBLE, 0.1, "0009 00000008 3FB999999999999A");
    ExpectSendsText(7, "7", "0009 00000008 0000000000000000");
}

TEST(ParamSend, NumericIsTextWhateverTheForm) {
    ExpectSendsText(8, "12.5", "001E 00000004 '12.5'");
    ExpectIs(Parameter(8, 9).Value(Hex("'12.5' 00"), 0).Sent(), "001E 00000004 '12.5'");
    ExpectIs(Parameter(8, 9).Value(Ascii("12."), 3).Sent(), "001E 00000003 '12.'");
    ExpectSends<int8_t>(8, TVCI_C_TINYINT, -128, "001E 00000004 '-128'");
    ExpectSends<int16_t>(8, TVCI_C_SMALLINT, INT16_MIN, "001E 00000006 '-32768'");
    ExpectSends<int32_t>(8, TVCI_C_INT, INT32_MIN, "001E 0000000B '-2147483648'");
    ExpectSends<int64_t>(8, 6, INT64_MIN, "001E 00000014 '-9223372036854775808'");
    ExpectSends<float>(8, TVCI_C_FLOAT, 1.5f, "001E 00000008 '1.500000'");
    ExpectSends<double>(8, TVCI_C_DOUBLE, -0.1, "001E 00000009 '-0.100000'");
    ExpectSends<DateRec>(8, TVCI_C_DATE, {2024, 3, 1}, "001E 00000001 '0'");
}

TEST(ParamSend, NumericTextIsCutAt63) {
    const Bytes digits = Repeat(Ascii("9"), 63);
    EXPECT_EQ(Hex("001E 0000003F") + digits, SentText(8, std::string(64, '9')));
    EXPECT_EQ(Hex("001E 0000003F") + digits,
              Parameter(8, TVCI_C_NUMERIC).Value(Repeat(Ascii("9"), 64), 0).Sent());
    ExpectSends<double>(8, TVCI_C_DOUBLE, DBL_MAX,
                        "001E 0000003F "
                        "'179769313486231570814527423731704356798070567525844996598917476'");
}

TEST(ParamSend, Date) {
    ExpectSends<DateRec>(9, TVCI_C_DATE, {2024, 3, 1}, "001E 0000000A '2024-03-01'");
    ExpectSends<DateRec>(9, TVCI_C_DATE, {1, 1, 1}, "001E 0000000A '0001-01-01'");
    ExpectSends<DateRec>(9, TVCI_C_DATE, {12345, 3, 1}, "001E 0000000A '12345-03-0'");
    ExpectSends<DateRec>(9, TVCI_C_DATE, {INT32_MIN, INT32_MIN, INT32_MIN},
                         "001E 0000000A '-214748364'");
    ExpectSends<int32_t>(9, TVCI_C_INT, 7, EMPTY_TEXT);
    ExpectSends<DateTimeRec>(9, TVCI_C_DATETIME, {2024, 3, 1, 0, 0, 0, 0}, EMPTY_TEXT);
}

TEST(ParamSend, ADateOfTextIsItsFirst10Bytes) {
    ExpectSendsText(9, "2024-03-01 10:00", "001E 0000000A '2024-03-01'");
}

TEST(ParamSend, AShortDateTextIsFilledUpWithNuls) {
    ExpectIs(Parameter(9, TVCI_C_CHAR).Value(Ascii("2024-3-1"), 8).Sent(),
             "001E 0000000A '2024-3-1' 0000");
}

TEST(ParamSend, Time) {
    ExpectSends<TimeRec>(10, TVCI_C_TIME, {1, 2, 3}, "001E 00000008 '01:02:03'");
    ExpectSends<TimeRec>(10, TVCI_C_TIME, {100, 2, 3}, "001E 00000008 '100:02:0'");
    ExpectSendsText(10, "10:11:12.345", "001E 00000008 '10:11:12'");
    ExpectIs(Parameter(10, TVCI_C_CHAR).Value(Ascii("1:02"), 4).Sent(),
             "001E 00000008 '1:02' 00000000");
    ExpectSends<int32_t>(10, TVCI_C_INT, 7, EMPTY_TEXT);
}

TEST(ParamSend, DateTime) {
    ExpectSends<DateTimeRec>(11, TVCI_C_DATETIME, {2024, 3, 1, 4, 5, 6, 7},
                             "001E 00000017 '2024-03-01 04:05:06.007'");
    ExpectSends<DateTimeRec>(11, TVCI_C_DATETIME, {2024, 3, 1, 4, 5, 6, 123456},
                             "001E 0000001A '2024-03-01 04:05:06.123456'");
    ExpectSendsText(11, "2024-03-01 10:00:00", "001E 00000013 '2024-03-01 10:00:00'");
    ExpectSends<int32_t>(11, TVCI_C_INT, 7, "0021 00000000");
    ExpectSends<DateRec>(11, TVCI_C_DATE, {2024, 3, 1}, "0021 00000000");
}

TEST(ParamSend, ADateTimeOf30CharactersIsCutTo24) {
    ExpectSendsText(11, "2024-03-01 10:00:00.1234567890",
                    "001E 00000018 '2024-03-01 10:00:00.1234'");
}

TEST(ParamSend, ADateTimeOfTheWidestMembersIsSentWhole) {
    const int32_t low = INT32_MIN;
    ExpectSends<DateTimeRec>(11, TVCI_C_DATETIME, {low, low, low, low, low, low, low},
                             "001E 00000053 '-2147483648--2147483648--2147483648 "
                             "-2147483648:-2147483648:-2147483648.-2147483648'");
}

TEST(ParamSend, TextAndBytesGoAsTheyAre) {
    ExpectSendsBytes(12, TVCI_C_CHAR, Hex("410042"), 3, "001E 00000003 410042");
    ExpectSendsBytes(12, TVCI_C_BINARY, Hex("000102"), 3, "001E 00000003 000102");
    ExpectSendsText(13, "abc", "0021 00000003 'abc'");
    ExpectSendsText(14, "abc", "0020 00000003 'abc'");
    ExpectSendsText(15, "abc", "0022 00000003 'abc'");
    ExpectSendsBytes(16, TVCI_C_BINARY, Hex("000102"), 3, "0022 00000003 000102");
    ExpectSendsBytes(12, TVCI_C_NUMERIC, Ascii("123"), 2, "001E 00000002 '12'");
}

TEST(ParamSend, ANumberDeclaredAsTextIsItsFirstByteOrAsManyAsItsLengthSays) {
    ExpectSends<int32_t>(12, TVCI_C_INT, 0x01020304, "001E 00000001 04");
    ExpectIs(Parameter(12, TVCI_C_INT).Value<int32_t>(0x01020304).Length(2).Sent(),
             "001E 00000002 0403");
}

TEST(ParamSend, NoLengthReadsBehindAValue) {
    ExpectIs(Parameter(12, TVCI_C_INT).Value<int32_t>(0x01020304).Length(0x7FFFFFFF).Sent(),
             "001E 00000004 04030201");
    ExpectIs(Parameter(13, TVCI_C_INT).Value(Hex("0403"), 2).Length(0x7FFFFFFF).Sent(),
             "0021 00000002 0403");
    ExpectIs(Parameter(33, 99).Value(Ascii("abc"), 3).Length(0x7FFFFFFF).Sent(),
             "001E 00000003 'abc'");
    const Bytes time = Parameter(16, TVCI_C_TIME).Value<TimeRec>({1, 2, 3}).Length(100).Sent();
    EXPECT_EQ(Hex("0022 0000000C 01000000 02000000 03000000"), time);
}

TEST(ParamSend, DateTimeWithZone) {
    ExpectSends<DateTimeTzRec>(17, 14, {2024, 3, 1, 4, 5, 6, 7, 8, 30},
                               "001E 0000001E '2024-03-01 04:05:06.007 +08:30'");
    ExpectSends<DateTimeTzRec>(17, 14, {2024, 3, 1, 4, 5, 6, 7, -8, 30},
                               "001E 0000001E '2024-03-01 04:05:06.007 -08:30'");
    ExpectSends<DateTimeTzRec>(17, 14, {2024, 3, 1, 4, 5, 6, 7, 0, -30},
                               "001E 0000001E '2024-03-01 04:05:06.007 -00:30'");
    ExpectSends<DateTimeTzRec>(17, 14, {2024, 3, 1, 4, 5, 6, 7, 0, 0},
                               "001E 0000001E '2024-03-01 04:05:06.007 +00:00'");
    ExpectSendsText(17, "2024-03-01 10:00:00.123456 +08:00",
                    "001E 0000001F '2024-03-01 10:00:00.123456 +08:'");
    ExpectSends<DateTimeRec>(17, TVCI_C_DATETIME, {2024, 3, 1, 4, 5, 6, 7}, NOTHING);
    ExpectSends<int32_t>(17, TVCI_C_INT, 7, NOTHING);
}

TEST(ParamSend, TimeWithZone) {
    ExpectSends<TimeTzRec>(18, 12, {1, 2, 3, 8, 30}, "001E 0000000F '01:02:03 +08:30'");
    ExpectSends<TimeTzRec>(18, 12, {1, 2, 3, -8, -30}, "001E 0000000F '01:02:03 -08:30'");
    ExpectSends<TimeTzRec>(18, 12, {1, 2, 3, 0, -30}, "001E 0000000F '01:02:03 -00:30'");
    ExpectSendsText(18, "01:02:03.456789 +08:00", "001E 00000010 '01:02:03.456789 '");
    ExpectSends<TimeRec>(18, TVCI_C_TIME, {1, 2, 3}, NOTHING);
}

TEST(ParamSend, AZoneOfTheLowestNumbersHasItsAbsoluteValue) {
    ExpectSends<TimeTzRec>(18, 12, {1, 2, 3, INT32_MIN, INT32_MIN},
                           "001E 0000001F '01:02:03 -2147483648:2147483648'");
}

TEST(ParamSend, Declaration19SendsNameAndDirectionAlone) {
    Parameter parameter(19, TVCI_C_INT);
    parameter.Value<int32_t>(7);
    char name[] = "id";
    parameter.param.name = name;
    ExpectIs(parameter.Frame(), "0002 'id' 0001");
    ExpectSendsText(19, "abc", NOTHING);
    ExpectSends<IntervalRec>(19, TVCI_C_INTERVAL, {1, 2, 3, 4, 5, 6}, NOTHING);
}

TEST(ParamSend, AnUnknownDeclarationSendsNameAndDirectionAlone) {
    for (const int32_t sql_type : {46, 1000, INT32_MAX}) {
        ExpectSendsText(sql_type, "abc", NOTHING);
        ExpectSends<IntervalDsRec>(sql_type, TVCI_C_INTERVAL_DS, {1, 2, 3, 4, 5}, NOTHING);
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
        SCOPED_TRACE(item.sql_type);
        ExpectSends(item.sql_type, TVCI_C_INTERVAL, record, item.sent);
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
        SCOPED_TRACE(item.sql_type);
        ExpectSends(item.sql_type, TVCI_C_INTERVAL_YM, months, item.from_months);
        ExpectSends(item.sql_type, TVCI_C_INTERVAL_DS, days, item.from_days);
    }
}

TEST(ParamSend, TwoIntervalsTakeText) {
    for (int32_t sql_type = 20; sql_type <= 32; sql_type++) {
        const bool takes_text = sql_type == 26 || sql_type == 27;
        ExpectSendsText(sql_type, "1-02", takes_text ? "001E 00000004 '1-02'" : NOTHING);
        ExpectSends<int32_t>(sql_type, TVCI_C_INT, 7, NOTHING);
    }
    EXPECT_EQ(Hex("001E 0000003F") + Repeat(Ascii("1"), 63), SentText(27, std::string(70, '1')));
    ExpectIs(Parameter(26, 2).Value(Ascii("1-0"), 3).Sent(), "001E 00000003 '1-0'");
}

TEST(ParamSend, AnIntervalOfTheWidestMembersIsSentWhole) {
    const int32_t low = INT32_MIN;
    ExpectSends<IntervalDsRec>(27, TVCI_C_INTERVAL_DS, {low, low, low, low, low},
                               "001E 0000002F '-2147483648 -2147483648:-2147483648:-2147483648'");
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
    ExpectSends(14, TVCI_C_LOB, lob, "0020 00000003 00FF10");
    ExpectSends(15, TVCI_C_LOB, lob, "0022 00000003 00FF10");
    ExpectSends(16, TVCI_C_LOB, lob, "0022 00000003 00FF10");
    ExpectIs(Parameter(16, 40).Value(lob).Length(2).Sent(), "0022 00000002 00FF");
    ExpectIs(Parameter(16, 40).Value(lob).Length(99).Sent(), "0022 00000003 00FF10");
    ExpectIs(Parameter(16, 40).Value(lob).Length(-1).Sent(), "0022 00000000");
}

TEST(ParamSend, AnEmptyOrUnfetchedLargeValueIsANull) {
    Bytes data;
    LobRecord lob = LobOf(data);
    ExpectSends(14, TVCI_C_LOB, lob, "0020 00000000");
    lob.length = 9;
    lob.data = NULL;
    ExpectSends(14, TVCI_C_LOB, lob, "0020 00000000");
    ExpectSends(33, TVCI_C_LOB, lob, "001E 00000000 00000000");
}

TEST(ParamSend, ALargeValueDeclaredAsTextIsItsRecord) {
    Bytes data(200, 7);
    const Bytes sent = Sent(12, TVCI_C_LOB, LobOf(data));
    EXPECT_EQ(54u, sent.size());
    EXPECT_EQ(Hex("001E 00000030 00000000 C8000000"), Bytes(sent.begin(), sent.begin() + 14));
    Parameter sized(12, TVCI_C_LOB);
    sized.Value(LobOf(data)).bind.value_size = 1000;
    EXPECT_EQ(sent, sized.Sent());
}

TEST(ParamSend, Geometry) {
    Bytes data = Hex("00FF1A");
    for (int32_t sql_type = 33; sql_type <= 45; sql_type++) {
        ExpectSendsBytes(sql_type, TVCI_C_BINARY, data, 3, "0021 00000003 00FF1A");
        ExpectSends(sql_type, TVCI_C_LOB, LobOf(data), "001E 00000007 '00FF1A' 00");
        ExpectSendsText(sql_type, "abc", "001E 00000003 'abc'");
        ExpectSends<int32_t>(sql_type, TVCI_C_INT, 7, "001E 00000001 07");
    }
}

TEST(ParamSend, AGeometryWhoseTextIsTooLongForItsLengthIsANull) {
    // The data are never read: the length is looked at first.
    Bytes data = Hex("00FF1A");
    LobRecord lob = LobOf(data);
    lob.length = 0x40000000;
    ExpectSends(33, TVCI_C_LOB, lob, "001E 00000000 00000000");
}

TEST(ParamSend, AGeometryWithoutMemoryIsANullAndNothingLeaks) {
    Bytes data = Hex("00FF1A");
    const int64_t blocks = MemLiveBlocks();
    MemFailAt(1);
    ExpectSends(33, TVCI_C_LOB, LobOf(data), "001E 00000000 00000000");
    EXPECT_TRUE(MemFailed());
    MemFailAt(0);
    Sent(33, TVCI_C_LOB, LobOf(data));
    EXPECT_EQ(blocks, MemLiveBlocks());
}

TEST(ParamSend, AForgottenBufferIsANull) {
    Parameter parameter(12, TVCI_C_CHAR);
    parameter.bind.value_size = 10;
    ExpectIs(parameter.Sent(), EMPTY_TEXT);
    parameter.Length(5);
    ExpectIs(parameter.Sent(), EMPTY_TEXT);
}

TEST(ParamSend, OfAnArrayTheFirstElementIsSentAndNoPointer) {
    Parameter number(4, TVCI_C_INT);
    number.Value(Hex("0100000002000000"), 4).bind.array_rows = 2;
    ExpectIs(number.Sent(), "0005 00000004 00000001");
    for (const int32_t c_type : {2, 9, 12, 14, 15, 40}) {
        Parameter pointers(12, c_type);
        pointers.Value(Bytes(8, 7), 100).bind.array_rows = 1;
        ExpectIs(pointers.Sent(), EMPTY_TEXT);
        pointers.Length(50);
        ExpectIs(pointers.Sent(), EMPTY_TEXT);
    }
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
