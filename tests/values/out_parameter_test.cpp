// Output parameters off the wire into bound variables.
#include <gtest/gtest.h>

#include <cfloat>
#include <cstring>
#include <source_location>

#include "platform/memory.h"
#include "platform/socket.h"
#include "records/handles.h"
#include "records/values.h"
#include "support/bytes.h"
#include "tavu/tvci.h"
#include "values/bind.h"
#include "values/decode.h"
#include "values/matrix.h"
#include "wire/cipher.h"
#include "wire/connection.h"

// A statement with one output parameter, and a connection on which its value lies.
struct OutRig {
    TVCISession session = {};
    TVCIStmt stmt = {};
    Connection conn = {};
    int64_t blocks = MemLiveBlocks();
    int32_t status = 77;
    int32_t length = 77;
    Bytes buffer;

    OutRig() {
        swap_bytes.store(1);
        session.conn = &conn;
        stmt.type = TVCI_HTYPE_STMT;
        stmt.session = &session;
        ListInit(&stmt.binds);
        SocketSetHooks(NULL, [](SocketId, void *, size_t) -> int64_t { return -1; });
    }

    ~OutRig() {
        MemFailAt(0);
        SocketSetHooks(NULL, NULL);
        CipherFree(&conn);
        ParamsFree(&stmt);
        EXPECT_EQ(blocks, MemLiveBlocks());
    }

    void Bind(int32_t c_type, size_t size) {
        buffer.assign(size, 0xEE);
        ASSERT_EQ(0, TVCIBindParam(&stmt, 1, 2, buffer.data(), (int32_t)size, c_type, &status,
                                   &length, 12));
    }

    // Whether the value was read and nothing behind it.
    bool Read(const Bytes &bytes) {
        memcpy(conn.recv_buf, bytes.data(), bytes.size());
        conn.recv_buf[bytes.size()] = 'K';
        conn.recv_fill = (int32_t)bytes.size() + 1;
        conn.recv_pos = 0;
        const bool read = ReadOutParameter(&stmt);
        return read && conn.recv_pos == (int32_t)bytes.size() && conn.recv_fill != 0;
    }

    bool Untouched() const {
        return buffer == Bytes(buffer.size(), 0xEE);
    }
};

typedef std::source_location Place;

// The value of parameter 0: index, type, length and payload.
static Bytes OutValue(int32_t type, const char *payload) {
    const Bytes bytes = Hex(payload);
    return Int32(0) + Int32(type) + Int32((int32_t)bytes.size()) + bytes;
}

static void ExpectOut(const OutRig &rig, int32_t status, int32_t length, const Bytes &buffer,
                      Place place) {
    if (rig.status == status && rig.length == length && rig.buffer == buffer) return;
    ADD_FAILURE_AT(place.file_name(), (int)place.line())
        << "status " << rig.status << ", length " << rig.length << ", " << HexText(rig.buffer)
        << "\nwanted " << status << ", " << length << ", " << HexText(buffer);
}

// A text in a variable of 100 bytes.
static void ExpectText(int32_t type, const char *payload, const char *text,
                       Place place = Place::current()) {
    OutRig rig;
    rig.Bind(TVCI_C_CHAR, 100);
    EXPECT_TRUE(rig.Read(OutValue(type, payload)));
    Bytes wanted = Ascii(text);
    wanted.resize(100);
    ExpectOut(rig, 0, (int32_t)strlen(text), wanted, place);
}

// A value of fixed width, whose length is not told.
template <typename T>
static void ExpectValue(int32_t type, const char *payload, int32_t c_type, T value,
                        Place place = Place::current()) {
    OutRig rig;
    rig.Bind(c_type, sizeof(T));
    EXPECT_TRUE(rig.Read(OutValue(type, payload)));
    const uint8_t *bytes = (const uint8_t *)&value;
    ExpectOut(rig, 0, 77, Bytes(bytes, bytes + sizeof(T)), place);
}

// The same payload in the four integer forms.
static void ExpectIntegers(int32_t type, const char *payload, int8_t tinyint, int16_t smallint,
                           int32_t integer, int64_t bigint, Place place = Place::current()) {
    ExpectValue(type, payload, TVCI_C_TINYINT, tinyint, place);
    ExpectValue(type, payload, TVCI_C_SMALLINT, smallint, place);
    ExpectValue(type, payload, TVCI_C_INT, integer, place);
    ExpectValue(type, payload, TVCI_C_BIGINT, bigint, place);
}

TEST(ReadOutParameter, Boolean) {
    ExpectValue<uint8_t>(2, "'T'", TVCI_C_BOOL, 1);
    ExpectValue<uint8_t>(2, "'F'", TVCI_C_BOOL, 0);
    ExpectValue<uint8_t>(2, "'t'", TVCI_C_BOOL, 0);
    ExpectText(2, "'T'", "TRUE");
    ExpectText(2, "'F'", "FALSE");
    ExpectText(2, "'x'", "UNKNOWN");
    ExpectIntegers(2, "'T'", 84, 84, 84, 84);
    ExpectIntegers(2, "FF", -1, -1, -1, -1);
}

TEST(ReadOutParameter, Tinyint) {
    ExpectText(3, "80", "-128");
    ExpectIntegers(3, "80", -128, -128, -128, -128);
}

TEST(ReadOutParameter, Smallint) {
    ExpectText(4, "8001", "-32767");
    ExpectIntegers(4, "8001", 1, -32767, -32767, -32767);
}

TEST(ReadOutParameter, Integer) {
    ExpectText(5, "80000000", "-2147483648");
    ExpectIntegers(5, "01028304", 4, -31996, 16941828, 16941828);
    ExpectIntegers(5, "FFFFFFFE", -2, -2, -2, -2);
}

TEST(ReadOutParameter, Bigint) {
    ExpectText(6, "8000000000000000", "-9223372036854775808");
    ExpectIntegers(6, "0102030405060708", 8, 0x0708, 0x05060708, 0x0102030405060708);
}

TEST(ReadOutParameter, Numeric) {
    ExpectText(7, "'12.50'", "12.50");
    ExpectValue<float>(7, "'12.50'", TVCI_C_FLOAT, 12.5f);
    ExpectValue<double>(7, "'0.1'", TVCI_C_DOUBLE, 0.1);
    ExpectValue<double>(7, "'none'", TVCI_C_DOUBLE, 0.0);
}

TEST(ReadOutParameter, ALongNumericTextIsWhole) {
    OutRig rig;
    rig.Bind(TVCI_C_CHAR, 200);
    const Bytes digits = Repeat(Ascii("9"), 150);
    EXPECT_TRUE(rig.Read(Int32(0) + Int32(7) + Int32(150) + digits));
    ExpectOut(rig, 0, 150, digits + Bytes(50, 0), Place::current());
}

TEST(ReadOutParameter, NumericInItsFormHas64BytesAtMost) {
    OutRig rig;
    rig.Bind(TVCI_C_NUMERIC, 70);
    EXPECT_TRUE(rig.Read(OutValue(7, "'12.50'")));
    ExpectOut(rig, 0, 77, Ascii("12.50") + Bytes(59, 0) + Bytes(6, 0xEE), Place::current());
    const Bytes digits = Repeat(Ascii("9"), 65);
    EXPECT_TRUE(rig.Read(Int32(0) + Int32(7) + Int32(65) + digits));
    ExpectOut(rig, 0, 77, Repeat(Ascii("9"), 64) + Bytes(6, 0xEE), Place::current());
}

TEST(ReadOutParameter, NumericInASmallVariableIsCutThere) {
    OutRig rig;
    rig.Bind(TVCI_C_NUMERIC, 4);
    EXPECT_TRUE(rig.Read(OutValue(7, "'12.50'")));
    ExpectOut(rig, -2, 77, Ascii("12.5"), Place::current());
    EXPECT_TRUE(rig.Read(OutValue(7, "'1.50'")));
    ExpectOut(rig, 0, 77, Ascii("1.50"), Place::current());
    rig.stmt.params[0].bind->value_size = 0;
    EXPECT_TRUE(rig.Read(OutValue(7, "'7'")));
    ExpectOut(rig, -2, 77, Ascii("1.50"), Place::current());
}

TEST(ReadOutParameter, Float) {
    ExpectText(8, "3FC00000", "1.500000");
    ExpectText(8, "FF7FFFFF", "-340282346638528859811704183484516925440.000000");
    ExpectIntegers(8, "C0790000", -3, -3, -3, -3);
    ExpectIntegers(8, "4F000000", 0, 0, INT32_MIN, 2147483648);
    ExpectValue<float>(8, "3DCCCCCD", TVCI_C_FLOAT, 0.1f);
    ExpectValue<double>(8, "3FC00000", TVCI_C_DOUBLE, 1.5);
}

TEST(ReadOutParameter, Double) {
    ExpectText(9, "3FB999999999999A", "0.1");
    ExpectText(9, "412E848200000000", "1e+06");
    ExpectText(9, "C08C8CCCCCCCCCCD", "-913.6");
    ExpectText(9, "FFEFFFFFFFFFFFFF", "-1.79769e+308");
    ExpectIntegers(9, "40F11700D1B71759", 0x70, 0x1170, 70000, 70000);
    ExpectIntegers(9, "41F0000000000000", 0, 0, INT32_MIN, 4294967296);
    ExpectIntegers(9, "7FF8000000000000", 0, 0, INT32_MIN, INT64_MIN);
    ExpectValue<float>(9, "3FB999999999999A", TVCI_C_FLOAT, 0.1f);
    ExpectValue<double>(9, "3FB999999999999A", TVCI_C_DOUBLE, 0.1);
}

TEST(ReadOutParameter, Date) {
    ExpectText(10, "00000315", "1972-2-29");
    ExpectValue<DateRec>(10, "00000315", TVCI_C_DATE, {1972, 2, 29});
}

TEST(ReadOutParameter, Time) {
    ExpectText(11, "0038CEF8", "1:2:3");
    ExpectValue<TimeRec>(11, "0038CEF8", TVCI_C_TIME, {1, 2, 3});
}

TEST(ReadOutParameter, DateTimeCountsMicroseconds) {
    ExpectText(13, "000000000016E360", "1970-01-01 00:00:01");
    ExpectValue<DateTimeRec>(13, "000000000016E360", 13, {1970, 1, 1, 0, 0, 1, 500000});
    ExpectValue<DateTimeRec>(13, "FFFFFFFFFFFFFFFF", 13, {1969, 12, 31, 23, 59, 59, 999});
    ExpectText(13, "FFFFFFFFFFFFFFFF", "1969-12-31 23:59:59");
}

// The members of a record that no conversion wrote to.
static const int32_t K = KEPT;

TEST(ReadOutParameter, IntervalYear) {
    ExpectText(15, "FFFFFFF9", "-7");
    ExpectValue<IntervalRec>(15, "FFFFFFF9", TVCI_C_INTERVAL, {1, -7, K, K, K, K});
    ExpectValue<IntervalYmRec>(15, "FFFFFFF9", TVCI_C_INTERVAL_YM, {-7, K});
}

TEST(ReadOutParameter, IntervalYearToMonth) {
    ExpectText(16, "FFFFFFF2", "-1--2");
    ExpectValue<IntervalRec>(16, "0000000E", TVCI_C_INTERVAL, {7, 1, 2, K, K, K});
    ExpectValue<IntervalYmRec>(16, "0000000E", TVCI_C_INTERVAL_YM, {1, 2});
}

TEST(ReadOutParameter, IntervalMonth) {
    ExpectText(17, "00000007", "7");
    ExpectValue<IntervalRec>(17, "00000007", TVCI_C_INTERVAL, {2, K, 7, K, K, K});
    ExpectValue<IntervalYmRec>(17, "00000007", TVCI_C_INTERVAL_YM, {K, 7});
}

TEST(ReadOutParameter, IntervalDay) {
    ExpectText(18, "00000007", "7");
    ExpectValue<IntervalRec>(18, "00000007", TVCI_C_INTERVAL, {3, 7, K, K, K, K});
    ExpectValue<IntervalDsRec>(18, "00000007", TVCI_C_INTERVAL_DS, {7, K, K, K, K});
}

TEST(ReadOutParameter, IntervalDayToHour) {
    ExpectText(19, "0000001A", "1 02");
    ExpectValue<IntervalRec>(19, "0000001A", TVCI_C_INTERVAL, {8, 1, 2, K, K, K});
    ExpectValue<IntervalDsRec>(19, "0000001A", TVCI_C_INTERVAL_DS, {1, 2, K, K, K});
}

TEST(ReadOutParameter, IntervalHour) {
    ExpectText(20, "00000007", "7");
    ExpectValue<IntervalRec>(20, "00000007", TVCI_C_INTERVAL, {4, K, 7, K, K, K});
    ExpectValue<IntervalDsRec>(20, "00000007", TVCI_C_INTERVAL_DS, {K, 7, K, K, K});
}

TEST(ReadOutParameter, IntervalDayToMinute) {
    ExpectText(21, "0000061B", "1 02:03");
    ExpectValue<IntervalRec>(21, "0000061B", TVCI_C_INTERVAL, {9, 1, 2, 3, K, K});
    ExpectValue<IntervalDsRec>(21, "0000061B", TVCI_C_INTERVAL_DS, {1, 2, 3, K, K});
}

TEST(ReadOutParameter, IntervalHourToMinute) {
    ExpectText(22, "0000003D", "1:01");
    ExpectValue<IntervalRec>(22, "0000003D", TVCI_C_INTERVAL, {11, K, 1, 1, K, K});
    ExpectValue<IntervalDsRec>(22, "0000003D", TVCI_C_INTERVAL_DS, {K, 1, 1, K, K});
}

TEST(ReadOutParameter, IntervalMinute) {
    ExpectText(23, "00000007", "7");
    ExpectValue<IntervalRec>(23, "00000007", TVCI_C_INTERVAL, {5, K, K, 7, K, K});
    ExpectValue<IntervalDsRec>(23, "00000007", TVCI_C_INTERVAL_DS, {K, K, 7, K, K});
}

// 1 day, 2 hours, 3 minutes, 4 seconds and 5 microseconds.
constexpr char SECONDS_93784[] = "00000015D5F64605";

TEST(ReadOutParameter, IntervalDayToSecond) {
    ExpectText(24, SECONDS_93784, "1 02:03:04");
    ExpectValue<IntervalRec>(24, SECONDS_93784, TVCI_C_INTERVAL, {10, 1, 2, 3, 4, 5});
    ExpectValue<IntervalDsRec>(24, SECONDS_93784, TVCI_C_INTERVAL_DS, {1, 2, 3, 4, 5});
}

TEST(ReadOutParameter, IntervalHourToSecond) {
    ExpectText(25, SECONDS_93784, "26:03:04");
    ExpectValue<IntervalRec>(25, SECONDS_93784, TVCI_C_INTERVAL, {12, K, 26, 3, 4, 5});
    ExpectValue<IntervalDsRec>(25, SECONDS_93784, TVCI_C_INTERVAL_DS, {K, 26, 3, 4, 5});
}

TEST(ReadOutParameter, IntervalMinuteToSecond) {
    ExpectText(26, SECONDS_93784, "1563:04");
    ExpectValue<IntervalRec>(26, SECONDS_93784, TVCI_C_INTERVAL, {13, K, K, 1563, 4, 5});
    ExpectValue<IntervalDsRec>(26, SECONDS_93784, TVCI_C_INTERVAL_DS, {K, K, 1563, 4, 5});
}

TEST(ReadOutParameter, IntervalSecond) {
    ExpectText(27, "FFFFFFFFFFE17B81", "-1");
    ExpectText(27, "7FFFFFFFFFFFFFFF", "9223372036854");
    ExpectValue<IntervalRec>(27, "FFFFFFFFFFE17B81", TVCI_C_INTERVAL, {6, K, K, K, -1, K});
    ExpectValue<IntervalDsRec>(27, "FFFFFFFFFFE17B81", TVCI_C_INTERVAL_DS, {K, K, K, -1, K});
}

TEST(ReadOutParameter, TextAndBytes) {
    for (const int32_t type : {30, 32, 33, 34}) {
        ExpectText(type, "'cabc'", "cabc");
        OutRig rig;
        rig.Bind(TVCI_C_BINARY, 6);
        EXPECT_TRUE(rig.Read(OutValue(type, "00FF10")));
        ExpectOut(rig, 0, 3, Hex("00FF10 000000"), Place::current());
    }
}

TEST(ReadOutParameter, ATextIsAlwaysTerminated) {
    for (const int32_t type : {7, 30, 32, 33, 34}) {
        OutRig rig;
        rig.Bind(TVCI_C_CHAR, 5);
        EXPECT_TRUE(rig.Read(OutValue(type, "'1234'")));
        ExpectOut(rig, 0, 4, Hex("'1234' 00"), Place::current());
        EXPECT_TRUE(rig.Read(OutValue(type, "'12345'")));
        ExpectOut(rig, -2, 1, Hex("'1234' 00"), Place::current());
        EXPECT_TRUE(rig.Read(OutValue(type, "'1234567'")));
        ExpectOut(rig, -2, 3, Hex("'1234' 00"), Place::current());
    }
    OutRig rig;
    rig.Bind(TVCI_C_CHAR, 3);
    EXPECT_TRUE(rig.Read(OutValue(5, "00003039")));
    ExpectOut(rig, -2, 3, Hex("'12' 00"), Place::current());
}

TEST(ReadOutParameter, BytesThatFillTheirVariableAreWhole) {
    OutRig rig;
    rig.Bind(TVCI_C_BINARY, 3);
    EXPECT_TRUE(rig.Read(OutValue(33, "010203")));
    ExpectOut(rig, 0, 3, Hex("010203"), Place::current());
    EXPECT_TRUE(rig.Read(OutValue(33, "0405060708")));
    ExpectOut(rig, -2, 2, Hex("040506"), Place::current());
}

// The forms that each type takes.
static uint64_t FormsOf(int32_t type) {
    if (type == 2) return Types({1, 2, 3, 4, 5, 6});
    if (type >= 3 && type <= 6) return Types({2, 3, 4, 5, 6});
    if (type == 7) return Types({2, 7, 8, 9});
    if (type == 8 || type == 9) return Types({2, 3, 4, 5, 6, 7, 8});
    if (type == 10) return Types({2, 10});
    if (type == 11) return Types({2, 11});
    if (type == 13) return Types({2, 13});
    if (type >= 15 && type <= 17) return Types({2, 21, 28});
    if (type >= 18 && type <= 27) return Types({2, 21, 31});
    if (type == 30 || type == 33) return Types({2, 15});
    if (type == 32 || type == 34) return Types({2, 15, 40});
    return 0;
}

TEST(ReadOutParameter, EveryPairOfFormAndTypeIsReadAndEveryOtherDropped) {
    for (int32_t type = -1; type < 63; type++) {
        for (int32_t c_type = 1; c_type < 46; c_type++) {
            SCOPED_TRACE(testing::Message() << "form " << c_type << ", type " << type);
            OutRig rig;
            rig.Bind(c_type, FormBytes(c_type));
            LobRecord lob = {};
            if (c_type == 40) memcpy(rig.buffer.data(), &lob, sizeof(lob));
            const Bytes before = rig.buffer;
            const size_t width = InlineBytes(type);
            const Bytes payload(width == 0 ? 5 : width, '1');
            EXPECT_TRUE(
                rig.Read(Int32(0) + Int32(type) + Int32((int32_t)payload.size()) + payload));
            const bool listed = type >= 0 && (FormsOf(type) >> c_type & 1) != 0;
            EXPECT_EQ(listed ? 0 : -3, rig.status);
            EXPECT_EQ(!listed, rig.buffer == before);
            EXPECT_EQ(listed && (c_type == 2 || c_type == 15), rig.length != 77);
            if (listed && c_type == 40) {
                memcpy(&lob, rig.buffer.data(), sizeof(lob));
                MemFree(lob.data);
            }
        }
    }
}

TEST(ReadOutParameter, AFormOutsideTheTableIsNone) {
    for (const int32_t c_type : {63, 64, 66, 1000, INT32_MAX}) {
        OutRig rig;
        rig.Bind(c_type, 100);
        EXPECT_TRUE(rig.Read(OutValue(5, "00000001")));
        EXPECT_EQ(-3, rig.status);
        EXPECT_TRUE(rig.Untouched());
    }
}

TEST(ReadOutParameter, ALengthOf0OrLessIsANull) {
    for (const char *length : {"00000000", "FFFFFFFF", "80000000"}) {
        for (const char *type : {"00000005", "0000001E", "0000003F"}) {
            OutRig rig;
            rig.Bind(TVCI_C_INT, 4);
            EXPECT_TRUE(rig.Read(Hex("00000000") + Hex(type) + Hex(length)));
            EXPECT_EQ(-1, rig.status);
            EXPECT_EQ(77, rig.length);
            EXPECT_TRUE(rig.Untouched());
        }
    }
}

TEST(ReadOutParameter, TheTypeSaysHowMuchIsReadOfANumber) {
    OutRig rig;
    rig.Bind(TVCI_C_INT, 4);
    EXPECT_TRUE(rig.Read(Hex("00000000 00000005 00000001 00000007")));
    EXPECT_EQ(0, rig.status);
    EXPECT_EQ(Hex("07000000"), rig.buffer);
}

TEST(ReadOutParameter, ScratchTargetsTakeWhatHasNoPlaceToGo) {
    OutRig rig;
    rig.Bind(TVCI_C_CHAR, 5);
    rig.stmt.params[0].bind->return_code = NULL;
    rig.stmt.params[0].bind->return_length = NULL;
    EXPECT_TRUE(rig.Read(OutValue(30, "'abc'")));
    EXPECT_EQ(Hex("'abc' 0000"), rig.buffer);
    EXPECT_TRUE(rig.Read(OutValue(28, "'abc'")));
    EXPECT_TRUE(rig.Read(OutValue(30, "")));
    EXPECT_EQ(77, rig.status);
    EXPECT_EQ(77, rig.length);
}

TEST(ReadOutParameter, AnIndexThatIsNoParameterDropsTheValueWithoutAStatus) {
    for (const char *index : {"00000001", "7FFFFFFF", "FFFFFFFF", "80000000"}) {
        OutRig rig;
        rig.Bind(TVCI_C_CHAR, 5);
        EXPECT_TRUE(rig.Read(Hex(index) + Hex("0000001E 00000003 'abc'")));
        EXPECT_TRUE(rig.Read(Hex(index) + Hex("00000005 00000008 0000000000000001")));
        EXPECT_TRUE(rig.Read(Hex(index) + Hex("00000005 FFFFFFFF")));
        EXPECT_EQ(77, rig.status);
        EXPECT_TRUE(rig.Untouched());
    }
}

TEST(ReadOutParameter, AParameterWithoutABindOrWithAnArrayDropsTheValue) {
    OutRig rig;
    EXPECT_TRUE(rig.Read(OutValue(30, "'abc'")));
    rig.Bind(TVCI_C_CHAR, 5);
    rig.stmt.params[0].bind->array_rows = 1;
    EXPECT_TRUE(rig.Read(OutValue(30, "'abc'")));
    rig.stmt.params[0].bind->array_rows = 0;
    BindForget(&rig.stmt, rig.buffer.data());
    EXPECT_TRUE(rig.Read(OutValue(30, "'abc'")));
    EXPECT_TRUE(rig.Untouched());
    EXPECT_EQ(77, rig.status);
    BindFree(&rig.stmt.params[0]);
    EXPECT_TRUE(rig.Read(OutValue(30, "'abc'")));
}

TEST(ReadOutParameter, AReadThatFailsWritesNoStatus) {
    const Bytes values[] = {OutValue(30, "'abc'"), OutValue(5, "00000001"), OutValue(4, "0001"),
                            OutValue(6, "0000000000000001"), OutValue(2, "'T'")};
    for (const Bytes &value : values) {
        for (size_t cut = 1; cut < value.size(); cut++) {
            OutRig rig;
            rig.Bind(TVCI_C_CHAR, 5);
            memcpy(rig.conn.recv_buf, value.data(), cut);
            rig.conn.recv_fill = (int32_t)cut;
            EXPECT_FALSE(ReadOutParameter(&rig.stmt)) << cut;
            EXPECT_EQ(77, rig.status);
            EXPECT_EQ(77, rig.length);
            EXPECT_TRUE(rig.Untouched());
        }
    }
}

TEST(ReadOutParameter, WithoutMemoryNoStatusIsWrittenAndTheValueIsNotRead) {
    OutRig rig;
    rig.Bind(TVCI_C_CHAR, 5);
    MemFailAt(1);
    EXPECT_FALSE(rig.Read(OutValue(30, "'abc'")));
    EXPECT_TRUE(MemFailed());
    EXPECT_EQ(12, rig.conn.recv_pos);
    EXPECT_EQ(77, rig.status);
    EXPECT_TRUE(rig.Untouched());
}

// Bytes as they stand on the wire at a place of the keystream of the key 00 to 1F.
static Bytes Enciphered(Bytes plain, size_t place) {
    const Bytes keystream = Hex("38CBD98552349D107312D71ED3854549037E7979CB24924A084546CCF8C85AAF");
    for (size_t i = 0; i < plain.size(); i++) {
        plain[i] = (uint8_t)(plain[i] ^ keystream.at(place + i));
    }
    return plain;
}

static void StartCipher(Connection *conn) {
    const Bytes key = Hex("000102030405060708090A0B0C0D0E0F101112131415161718191A1B1C1D1E1F");
    conn->use_ssl = 1;
    ASSERT_TRUE(CipherSetup(conn, key.data(), 32));
}

TEST(ReadOutParameter, AValueGoesThroughTheKeystream) {
    OutRig rig;
    StartCipher(&rig.conn);
    rig.Bind(TVCI_C_CHAR, 5);
    EXPECT_TRUE(rig.Read(Enciphered(Hex("00000000 0000001E 00000003 'abc'"), 0)));
    ExpectOut(rig, 0, 3, Hex("'abc' 0000"), Place::current());
    EXPECT_TRUE(rig.Read(Enciphered(Hex("00000000 00000005 00000004 0000002A"), 15)));
    ExpectOut(rig, 0, 2, Hex("'42' 000000"), Place::current());
    EXPECT_EQ(31, rig.conn.recv_cipher->pos);
}

TEST(ReadOutParameter, AValueWithoutAVariableDoesNotGoThroughTheKeystream) {
    OutRig rig;
    StartCipher(&rig.conn);
    rig.Bind(TVCI_C_CHAR, 5);
    EXPECT_TRUE(rig.Read(Enciphered(Hex("00000001 0000001E 00000003"), 0) + Ascii("abc")));
    EXPECT_EQ(12, rig.conn.recv_cipher->pos);
    EXPECT_TRUE(rig.Untouched());
}

TEST(ReadOutParameter, AHugeLengthThatNeverComesIsAFailedRead) {
    OutRig rig;
    rig.Bind(TVCI_C_CHAR, 5);
    EXPECT_FALSE(rig.Read(Hex("00000000 0000001E 7FFFFFFF 'abc'")));
    EXPECT_EQ(77, rig.status);
}

// A large value that is bound for output.
struct OutLob {
    OutRig rig;
    LobRecord *lob = TVCILobAlloc();
    int64_t blocks = MemLiveBlocks();

    OutLob() {
        EXPECT_EQ(0,
                  TVCIBindParam(&rig.stmt, 1, 2, lob, 0, TVCI_C_LOB, &rig.status, &rig.length, 14));
    }
    ~OutLob() {
        TVCILobFree(lob);
    }

    void Expect(uint32_t kind, const char *content) {
        EXPECT_EQ(0, rig.status);
        EXPECT_EQ(77, rig.length);
        EXPECT_EQ(kind, lob->kind);
        EXPECT_EQ(Hex(content), Bytes(lob->data, lob->data + lob->length));
        EXPECT_EQ(0, lob->remote);
        EXPECT_EQ(0, lob->borrowed);
        EXPECT_EQ(nullptr, lob->descriptor);
        EXPECT_EQ(nullptr, lob->session);
    }
};

TEST(ReadOutParameter, ALargeObjectRecordTakesTheBytesOver) {
    OutLob out;
    EXPECT_TRUE(out.rig.Read(OutValue(32, "'cabc'")));
    out.Expect(1, "'cabc'");
    EXPECT_TRUE(out.rig.Read(OutValue(34, "00FF")));
    out.Expect(2, "00FF");
}

TEST(ReadOutParameter, ALargeObjectRecordFreesWhatItOwned) {
    OutLob out;
    ASSERT_EQ(0, TVCILobWrite(out.lob, 3, "abc"));
    out.lob->remote = 1;
    out.lob->descriptor = MemCopyText("1234567890123 3");
    const int64_t with_content = MemLiveBlocks();
    EXPECT_TRUE(out.rig.Read(OutValue(32, "'xy'")));
    EXPECT_EQ(with_content - 1, MemLiveBlocks());
    out.Expect(1, "'xy'");
}

TEST(ReadOutParameter, ALargeObjectRecordLeavesWhatItBorrowed) {
    OutLob out;
    char lent[] = "1234567890123 3";
    out.lob->borrowed = 1;
    out.lob->remote = 1;
    out.lob->data = (uint8_t *)lent;
    EXPECT_TRUE(out.rig.Read(OutValue(32, "'xy'")));
    out.Expect(1, "'xy'");
    MemFree(out.lob->data);
    out.lob->borrowed = 1;
    out.lob->remote = 1;
    out.lob->descriptor = lent;
    // Behind a descriptor the data were fetched, and are the record's own.
    out.lob->data = (uint8_t *)MemCopyText("abc");
    EXPECT_TRUE(out.rig.Read(OutValue(32, "'z'")));
    out.Expect(1, "'z'");
}

TEST(ReadOutParameter, TheDescriptorOfALocalRecordIsNobodysToFree) {
    OutLob out;
    char named[] = "1234567890123 3";
    out.lob->descriptor = named;
    EXPECT_TRUE(out.rig.Read(OutValue(32, "'xy'")));
    out.Expect(1, "'xy'");
}
