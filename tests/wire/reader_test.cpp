// The receive buffer and the typed readers above it.
#include <gtest/gtest.h>

#include <cstring>

#include "platform/memory.h"
#include "wire/cipher.h"
#include "wire/cipher_rig.h"
#include "wire/connection.h"

// Puts bytes into the receive buffer as if they had been received, the first `taken` of them read.
static void Buffer(Connection *conn, const Bytes &bytes, int32_t taken) {
    std::memcpy(conn->recv_buf, bytes.data(), bytes.size());
    conn->recv_fill = (int32_t)bytes.size();
    conn->recv_pos = taken;
}

// One of each typed reader over these bytes, big-endian.
static const char *const VALUES_HEX =
    "41 1234 89ABCDEF 0123456789ABCDEF C0490FDB 400921FB54442D18 00000003 'abc' 5A";

// Reads what VALUES_HEX stands for.
static void ExpectValues(Connection *conn, const std::string &where) {
    SCOPED_TRACE(where);
    uint8_t letter = 0;
    uint16_t half = 0;
    uint32_t word = 0;
    uint64_t wide = 0;
    float single = 0;
    double whole = 0;
    char *text = nullptr;
    ASSERT_TRUE(ConnReadChar(conn, &letter));
    EXPECT_EQ(0x41, letter);
    ASSERT_TRUE(ConnReadInt16(conn, &half));
    EXPECT_EQ(0x1234, half);
    ASSERT_TRUE(ConnReadInt32(conn, &word));
    EXPECT_EQ(0x89ABCDEFu, word);
    ASSERT_TRUE(ConnReadInt64(conn, &wide));
    EXPECT_EQ(0x0123456789ABCDEFull, wide);
    ASSERT_TRUE(ConnReadFloat(conn, &single));
    EXPECT_EQ(-3.14159274f, single);
    ASSERT_TRUE(ConnReadDouble(conn, &whole));
    EXPECT_EQ(3.141592653589793, whole);
    ASSERT_EQ(0, ConnReadString(conn, &text));
    EXPECT_STREQ("abc", text);
    MemFree(text);
    ASSERT_TRUE(ConnReadChar(conn, &letter));
    EXPECT_EQ(0x5A, letter);
}

TEST(ConnReaders, ReadEveryTypeWhenAllArrivesAtOnce) {
    ConnRig rig;
    PlayedSocket socket;
    socket.Arrive(Hex(VALUES_HEX));
    ExpectValues(rig.conn, "whole");
    EXPECT_EQ((std::vector<size_t>{8192}), socket.receive_counts);
    EXPECT_EQ(0, rig.conn->recv_fill);
    EXPECT_EQ(0, rig.conn->recv_pos);
}

TEST(ConnReaders, ReadTheSameWhenCutAtEveryByte) {
    const Bytes values = Hex(VALUES_HEX);
    for (size_t cut = 1; cut < values.size(); cut++) {
        ConnRig rig;
        PlayedSocket socket;
        socket.Arrive(values, {cut});
        ExpectValues(rig.conn, "cut before byte " + std::to_string(cut));
    }
}

TEST(ConnReaders, ReadTheSameWhenEveryByteComesAlone) {
    ConnRig rig;
    PlayedSocket socket;
    for (const uint8_t byte : Hex(VALUES_HEX)) {
        socket.Arrive({byte});
    }
    ExpectValues(rig.conn, "byte by byte");
    EXPECT_EQ(35u, socket.receive_counts.size());
}

TEST(ConnReaders, ReadTheSameWithTheCipherOnAndNoKeystream) {
    const Bytes values = Hex(VALUES_HEX);
    for (size_t cut = 1; cut < values.size(); cut++) {
        ConnRig rig;
        rig.conn->use_ssl = 1;
        PlayedSocket socket;
        socket.Arrive(values, {cut});
        ExpectValues(rig.conn, "cut before byte " + std::to_string(cut));
    }
}

// The places of a keystream at which VALUES_HEX, 35 bytes, can meet the end of a block or of its
// last use.
static const size_t keystream_places[] = {0,    300,  301,  310,  325,  339, 340,
                                          3360, 3361, 3370, 3385, 3399, 3400};

TEST(ConnReaders, ReadTheSameThroughAKeystreamWhenCutAtEveryByte) {
    for (const size_t place : keystream_places) {
        const Bytes values = Enciphered(Hex(VALUES_HEX), place);
        for (size_t cut = 1; cut < values.size(); cut++) {
            ConnRig rig;
            StartKeystreams(rig.conn);
            PassOver(rig.conn, place);
            PlayedSocket socket;
            socket.Arrive(values, {cut});
            ExpectValues(rig.conn,
                         std::to_string(place) + ", cut before byte " + std::to_string(cut));
            EXPECT_EQ((place + values.size()) % 3400, (size_t)rig.conn->recv_cipher->pos);
            EXPECT_EQ(place % 3400, (size_t)rig.conn->send_cipher->pos);
        }
    }
}

TEST(ConnReaders, ReadEveryPlaceOfAKeystreamThatEndsInsideTheValues) {
    for (size_t place = 3360; place <= 3400; place++) {
        ConnRig rig;
        StartKeystreams(rig.conn);
        PassOver(rig.conn, place);
        PlayedSocket socket;
        socket.Arrive(Enciphered(Hex(VALUES_HEX), place));
        ExpectValues(rig.conn, "at " + std::to_string(place));
    }
}

TEST(ConnReaders, ThatFailLeaveTheKeystreamWhereItWas) {
    ConnRig rig;
    StartKeystreams(rig.conn);
    PlayedSocket socket;
    socket.Arrive(Hex("0102"));
    uint32_t word = 5;
    EXPECT_FALSE(ConnReadInt32(rig.conn, &word));
    EXPECT_EQ(5u, word);
    EXPECT_EQ(0, rig.conn->recv_cipher->pos);
}

TEST(ConnReaders, ReadAKeystreamOnlyWhileTheCipherIsOn) {
    ConnRig rig;
    StartKeystreams(rig.conn);
    rig.conn->use_ssl = 0;
    PlayedSocket socket;
    socket.Arrive(Hex(VALUES_HEX));
    ExpectValues(rig.conn, "cipher off");
    EXPECT_EQ(0, rig.conn->recv_cipher->pos);
}

TEST(ConnReaders, TakeValuesInHostOrderWhileBytesAreNotSwapped) {
    const Bytes values =
        Hex("3412 EFCDAB89 EFCDAB8967452301 DB0F49C0 182D4454FB210940 01000000 'x'");
    for (size_t cut = 1; cut < values.size(); cut++) {
        SCOPED_TRACE(cut);
        ConnRig rig;
        swap_bytes = 0;
        PlayedSocket socket;
        socket.Arrive(values, {cut});
        uint16_t half = 0;
        uint32_t word = 0;
        uint64_t wide = 0;
        float single = 0;
        double whole = 0;
        char *text = nullptr;
        EXPECT_TRUE(ConnReadInt16(rig.conn, &half));
        EXPECT_EQ(0x1234, half);
        EXPECT_TRUE(ConnReadInt32(rig.conn, &word));
        EXPECT_EQ(0x89ABCDEFu, word);
        EXPECT_TRUE(ConnReadInt64(rig.conn, &wide));
        EXPECT_EQ(0x0123456789ABCDEFull, wide);
        EXPECT_TRUE(ConnReadFloat(rig.conn, &single));
        EXPECT_EQ(-3.14159274f, single);
        EXPECT_TRUE(ConnReadDouble(rig.conn, &whole));
        EXPECT_EQ(3.141592653589793, whole);
        EXPECT_EQ(0, ConnReadString(rig.conn, &text));
        EXPECT_STREQ("x", text);
        MemFree(text);
        swap_bytes = 1;
    }
}

// Runs a reader on a stream that ends after `available` bytes and expects it to fail.
template <typename Value>
static void ExpectCutShort(bool (*read)(Connection *, Value *), size_t available) {
    SCOPED_TRACE(std::to_string(available) + " of " + std::to_string(sizeof(Value)));
    ConnRig rig;
    PlayedSocket socket;
    if (available != 0) {
        socket.Arrive(Repeat({0x55}, available));
    }
    Value value = 77;
    EXPECT_FALSE(read(rig.conn, &value));
    EXPECT_EQ((Value)77, value);
}

TEST(ConnReaders, FailWhenTheStreamEndsInsideTheValue) {
    ExpectCutShort<uint8_t>(ConnReadChar, 0);
    for (size_t available = 0; available < 2; available++) {
        ExpectCutShort<uint16_t>(ConnReadInt16, available);
    }
    for (size_t available = 0; available < 4; available++) {
        ExpectCutShort<uint32_t>(ConnReadInt32, available);
        ExpectCutShort<float>(ConnReadFloat, available);
    }
    for (size_t available = 0; available < 8; available++) {
        ExpectCutShort<uint64_t>(ConnReadInt64, available);
        ExpectCutShort<double>(ConnReadDouble, available);
    }
}

TEST(ConnReaders, FailTheSameWhenTheSocketFails) {
    ConnRig rig;
    PlayedSocket socket;
    socket.receive_end = -1;
    socket.Arrive(Hex("0102"));
    uint32_t word = 5;
    EXPECT_FALSE(ConnReadInt32(rig.conn, &word));
    EXPECT_EQ(5u, word);
    // What came before the failure is lost to the stream.
    EXPECT_EQ(0, rig.conn->recv_fill);
}

TEST(ConnReaders, FailOnAClosedSocket) {
    ConnRig rig;
    uint8_t letter = 9;
    EXPECT_FALSE(ConnReadChar(rig.conn, &letter));
    EXPECT_EQ(9, letter);
}

TEST(ConnRecvSome, DeliversWhatIsWantedWhenMoreIsBuffered) {
    ConnRig rig;
    PlayedSocket socket;
    Buffer(rig.conn, Hex("0102030405"), 1);
    uint8_t target[8] = {};
    EXPECT_EQ(3, ConnRecvSome(rig.conn, target, 3));
    EXPECT_EQ(0, std::memcmp("\x02\x03\x04\0", target, 4));
    EXPECT_EQ(5, rig.conn->recv_fill);
    EXPECT_EQ(4, rig.conn->recv_pos);
    EXPECT_TRUE(socket.receive_counts.empty());
}

TEST(ConnRecvSome, EmptiesTheBufferWhenJustWhatIsWantedIsBuffered) {
    ConnRig rig;
    PlayedSocket socket;
    Buffer(rig.conn, Hex("0102030405"), 1);
    uint8_t target[8] = {};
    EXPECT_EQ(4, ConnRecvSome(rig.conn, target, 4));
    EXPECT_EQ(0, std::memcmp("\x02\x03\x04\x05\0", target, 5));
    EXPECT_EQ(0, rig.conn->recv_fill);
    EXPECT_EQ(0, rig.conn->recv_pos);
    EXPECT_TRUE(socket.receive_counts.empty());
}

TEST(ConnRecvSome, DeliversOnlyWhatIsBufferedWhenThatIsLess) {
    ConnRig rig;
    PlayedSocket socket;
    socket.Arrive(Hex("AA"));
    Buffer(rig.conn, Hex("0102"), 1);
    uint8_t target[8] = {};
    EXPECT_EQ(1, ConnRecvSome(rig.conn, target, 4));
    EXPECT_EQ(0x02, target[0]);
    EXPECT_EQ(0, rig.conn->recv_fill);
    EXPECT_EQ(0, rig.conn->recv_pos);
    EXPECT_TRUE(socket.receive_counts.empty());
}

TEST(ConnRecvSome, KeepsTheRestOfAReceive) {
    ConnRig rig;
    PlayedSocket socket;
    socket.Arrive(Hex("0102030405"));
    uint8_t target[8] = {};
    EXPECT_EQ(2, ConnRecvSome(rig.conn, target, 2));
    EXPECT_EQ(5, rig.conn->recv_fill);
    EXPECT_EQ(2, rig.conn->recv_pos);
    EXPECT_EQ((std::vector<size_t>{8192}), socket.receive_counts);
}

TEST(ConnRecvSome, KeepsNothingOfAReceiveOfJustWhatIsWanted) {
    ConnRig rig;
    PlayedSocket socket;
    socket.Arrive(Hex("0102"));
    uint8_t target[8] = {};
    EXPECT_EQ(2, ConnRecvSome(rig.conn, target, 2));
    EXPECT_EQ(0, rig.conn->recv_fill);
    EXPECT_EQ(0, rig.conn->recv_pos);
}

TEST(ConnRecvSome, DeliversAShortReceiveAsItIs) {
    ConnRig rig;
    PlayedSocket socket;
    socket.Arrive(Hex("01"));
    socket.Arrive(Hex("02"));
    uint8_t target[8] = {};
    EXPECT_EQ(1, ConnRecvSome(rig.conn, target, 4));
    EXPECT_EQ(0, rig.conn->recv_fill);
    EXPECT_EQ(1u, socket.receive_counts.size());
}

TEST(ConnRecvSome, LeavesTheCountersAloneWhenTheReceiveFails) {
    for (const int64_t result : {(int64_t)0, (int64_t)-1}) {
        ConnRig rig;
        PlayedSocket socket;
        socket.receive_end = result;
        uint8_t target[8] = {};
        EXPECT_EQ(-1, ConnRecvSome(rig.conn, target, 4));
        EXPECT_EQ(0, rig.conn->recv_fill);
        EXPECT_EQ(0, rig.conn->recv_pos);
    }
}

TEST(ConnReadExact, OfFourWithOneByteBufferedReceivesAgain) {
    ConnRig rig;
    PlayedSocket socket;
    socket.Arrive(Hex("02030405"));
    Buffer(rig.conn, Hex("01"), 0);
    uint8_t target[4] = {};
    EXPECT_TRUE(ConnReadExact(rig.conn, target, 4));
    EXPECT_EQ(0, std::memcmp("\x01\x02\x03\x04", target, 4));
    EXPECT_EQ((std::vector<size_t>{8192}), socket.receive_counts);
    EXPECT_EQ(4, rig.conn->recv_fill);
    EXPECT_EQ(3, rig.conn->recv_pos);
}

TEST(ConnReadExact, OfAllThatIsBufferedEmptiesTheBuffer) {
    ConnRig rig;
    PlayedSocket socket;
    Buffer(rig.conn, Hex("01020304"), 0);
    uint8_t target[4] = {};
    EXPECT_TRUE(ConnReadExact(rig.conn, target, 4));
    EXPECT_EQ(0, std::memcmp("\x01\x02\x03\x04", target, 4));
    EXPECT_EQ(0, rig.conn->recv_fill);
    EXPECT_EQ(0, rig.conn->recv_pos);
    EXPECT_TRUE(socket.receive_counts.empty());
}

TEST(ConnReadExact, TakesALongBodyInReceivesOf8192) {
    ConnRig rig;
    PlayedSocket socket;
    socket.Arrive(Repeat(Hex("C3"), 20000));
    Bytes target(20000, 0);
    EXPECT_TRUE(ConnReadExact(rig.conn, target.data(), 20000));
    EXPECT_EQ(Repeat(Hex("C3"), 20000), target);
    EXPECT_EQ((std::vector<size_t>{8192, 8192, 8192}), socket.receive_counts);
}

TEST(ConnReadExact, LeavesWhatCameBeforeAFailureInTheTarget) {
    ConnRig rig;
    PlayedSocket socket;
    socket.Arrive(Hex("0102"));
    uint8_t target[4] = {};
    EXPECT_FALSE(ConnReadExact(rig.conn, target, 4));
    EXPECT_EQ(0, std::memcmp("\x01\x02\0\0", target, 4));
}

TEST(ConnReadExact, OfNoBytesOrFewerTouchesNothing) {
    for (const int32_t length : {0, -1, INT32_MIN}) {
        ConnRig rig;
        PlayedSocket socket;
        Buffer(rig.conn, Hex("0102"), 0);
        rig.conn->pushback = 'R';
        uint8_t target = 0x77;
        EXPECT_TRUE(ConnReadExact(rig.conn, &target, length));
        EXPECT_EQ(0x77, target);
        EXPECT_EQ('R', rig.conn->pushback);
        EXPECT_EQ(0, rig.conn->recv_pos);
        EXPECT_TRUE(socket.receive_counts.empty());
    }
}

TEST(Pushback, IsReadBeforeTheBuffer) {
    ConnRig rig;
    PlayedSocket socket;
    Buffer(rig.conn, Hex("'AB'"), 0);
    rig.conn->pushback = 'R';
    uint8_t letter = 0;
    EXPECT_TRUE(ConnReadChar(rig.conn, &letter));
    EXPECT_EQ('R', letter);
    EXPECT_EQ(0, rig.conn->pushback);
    EXPECT_TRUE(ConnReadChar(rig.conn, &letter));
    EXPECT_EQ('A', letter);
    EXPECT_TRUE(socket.receive_counts.empty());
}

TEST(Pushback, IsTheFirstByteOfALongerRead) {
    ConnRig rig;
    PlayedSocket socket;
    Buffer(rig.conn, Hex("02030405"), 0);
    rig.conn->pushback = 1;
    uint32_t word = 0;
    EXPECT_TRUE(ConnReadInt32(rig.conn, &word));
    EXPECT_EQ(0x01020304u, word);
    EXPECT_EQ(0, rig.conn->pushback);
    EXPECT_EQ(3, rig.conn->recv_pos);
}

TEST(Pushback, AloneSatisfiesAReadOfOneByte) {
    ConnRig rig;
    PlayedSocket socket;
    rig.conn->pushback = 'R';
    uint8_t letter = 0;
    EXPECT_TRUE(ConnReadExact(rig.conn, &letter, 1));
    EXPECT_EQ('R', letter);
    EXPECT_TRUE(socket.receive_counts.empty());
}

TEST(Pushback, OfZeroIsNone) {
    ConnRig rig;
    PlayedSocket socket;
    socket.Arrive(Hex("'A'"));
    rig.conn->pushback = 0;
    uint8_t letter = 0;
    EXPECT_TRUE(ConnReadChar(rig.conn, &letter));
    EXPECT_EQ('A', letter);
}

TEST(Pushback, IsReturnedUnchangedWithTheCipherOn) {
    ConnRig rig;
    rig.conn->use_ssl = 1;
    PlayedSocket socket;
    Buffer(rig.conn, Hex("'A'"), 0);
    rig.conn->pushback = 'R';
    uint8_t letter = 0;
    EXPECT_TRUE(ConnReadChar(rig.conn, &letter));
    EXPECT_EQ('R', letter);
    EXPECT_EQ(1, rig.conn->recv_fill);
    EXPECT_EQ(0, rig.conn->recv_pos);
}

TEST(Pushback, IsReturnedUnchangedAndLeavesTheKeystreamWhereItWas) {
    ConnRig rig;
    StartKeystreams(rig.conn);
    PlayedSocket socket;
    const Bytes wire = Enciphered(Hex("'AB'"), 0);
    Buffer(rig.conn, wire, 0);
    uint8_t letter = 0;
    EXPECT_TRUE(ConnReadChar(rig.conn, &letter));
    EXPECT_EQ('A', letter);
    EXPECT_EQ(1, rig.conn->recv_cipher->pos);
    rig.conn->pushback = letter;
    letter = 0;
    EXPECT_TRUE(ConnReadChar(rig.conn, &letter));
    EXPECT_EQ('A', letter);
    EXPECT_EQ(1, rig.conn->recv_cipher->pos);
    EXPECT_TRUE(ConnReadChar(rig.conn, &letter));
    EXPECT_EQ('B', letter);
    EXPECT_EQ(2, rig.conn->recv_cipher->pos);
}

TEST(Pushback, ThatAnotherReaderTakesGoesThroughTheKeystreamASecondTime) {
    ConnRig rig;
    StartKeystreams(rig.conn);
    PlayedSocket socket;
    // The keystream begins 38 CB D9 85.
    Buffer(rig.conn, Hex("CBD985 'Z'"), 0);
    rig.conn->pushback = 'R';
    uint32_t word = 0;
    EXPECT_TRUE(ConnReadInt32(rig.conn, &word));
    // 'R' is 52, and 52 XOR 38 is 6A.
    EXPECT_EQ(0x6A000000u, word);
    EXPECT_EQ(4, rig.conn->recv_cipher->pos);
}

TEST(ConnReadExact, DeciphersNothingAndLeavesTheKeystreamWhereItWas) {
    ConnRig rig;
    StartKeystreams(rig.conn);
    PlayedSocket socket;
    socket.Arrive(Enciphered(Hex("'A'"), 0) + Hex("'raw'") + Enciphered(Hex("'B'"), 1));
    uint8_t letter = 0;
    char raw[4] = {};
    EXPECT_TRUE(ConnReadChar(rig.conn, &letter));
    EXPECT_EQ('A', letter);
    EXPECT_TRUE(ConnReadExact(rig.conn, raw, 3));
    EXPECT_STREQ("raw", raw);
    EXPECT_TRUE(ConnReadChar(rig.conn, &letter));
    EXPECT_EQ('B', letter);
}

TEST(ConnTake, HandsOutBytesOnlyWhileTheyLieReadyInTheClear) {
    ConnRig rig;
    Buffer(rig.conn, Hex("0102030405"), 1);
    EXPECT_EQ(4, ConnBuffered(rig.conn));
    EXPECT_EQ(nullptr, ConnTake(rig.conn, 5));
    rig.conn->pushback = 'R';
    EXPECT_EQ(0, ConnBuffered(rig.conn));
    EXPECT_EQ(nullptr, ConnTake(rig.conn, 1));
    rig.conn->pushback = 0;
    rig.conn->use_ssl = 1;
    EXPECT_EQ(0, ConnBuffered(rig.conn));
    EXPECT_EQ(nullptr, ConnTake(rig.conn, 1));
    rig.conn->use_ssl = 0;
    EXPECT_EQ(rig.conn->recv_buf + 1, ConnTake(rig.conn, 3));
    EXPECT_EQ(4, rig.conn->recv_pos);
    EXPECT_EQ(rig.conn->recv_buf + 4, ConnTake(rig.conn, 1));
    EXPECT_EQ(0, rig.conn->recv_fill);
    EXPECT_EQ(0, rig.conn->recv_pos);
    EXPECT_EQ(nullptr, ConnTake(rig.conn, 1));
}

TEST(ConnReadString, OfLengthZeroIsABlockWithItsTerminatorOnly) {
    ConnRig rig;
    PlayedSocket socket;
    socket.Arrive(Hex("00000000 'Z'"));
    char *text = nullptr;
    EXPECT_EQ(0, ConnReadString(rig.conn, &text));
    ASSERT_NE(nullptr, text);
    EXPECT_STREQ("", text);
    MemFree(text);
    EXPECT_EQ(4, rig.conn->recv_pos);
}

TEST(ConnReadString, KeepsWhatStandsBehindANulInside) {
    ConnRig rig;
    PlayedSocket socket;
    socket.Arrive(Hex("00000003 61 00 62"));
    char *text = nullptr;
    EXPECT_EQ(0, ConnReadString(rig.conn, &text));
    ASSERT_NE(nullptr, text);
    EXPECT_EQ(0, std::memcmp("a\0b\0", text, 4));
    MemFree(text);
}

TEST(ConnReadString, OfANegativeLengthReadsNoFurther) {
    for (const char *length : {"FFFFFFFF", "80000000"}) {
        ConnRig rig;
        PlayedSocket socket;
        socket.Arrive(Hex(length) + Hex("'Z'"));
        char stale = 'x';
        char *text = &stale;
        EXPECT_EQ(-5, ConnReadString(rig.conn, &text));
        EXPECT_EQ(nullptr, text);
        EXPECT_EQ(4, rig.conn->recv_pos);
    }
}

TEST(ConnReadString, ThatCannotBeHeldReadsNoFurther) {
    ConnRig rig;
    PlayedSocket socket;
    socket.Arrive(Hex("00000003 'abc'"));
    char stale = 'x';
    char *text = &stale;
    MemFailAt(1);
    EXPECT_EQ(-5, ConnReadString(rig.conn, &text));
    MemFailAt(0);
    EXPECT_EQ(nullptr, text);
    EXPECT_EQ(4, rig.conn->recv_pos);
}

TEST(ConnReadString, OfAHugeLengthFailsWithTheStream) {
    const int64_t blocks = MemLiveBlocks();
    {
        ConnRig rig;
        PlayedSocket socket;
        socket.Arrive(Hex("7FFFFFFF 'only this'"));
        char stale = 'x';
        char *text = &stale;
        const int32_t result = ConnReadString(rig.conn, &text);
        // -5 where the system refuses a block of 2 GB.
        EXPECT_TRUE(result == -4 || result == -5) << result;
        EXPECT_EQ(nullptr, text);
    }
    EXPECT_EQ(blocks, MemLiveBlocks());
}

TEST(ConnReadString, DeciphersItsLengthAndItsText) {
    std::string expected;
    for (int i = 0; i < 3500; i++) {
        expected += (char)('a' + i % 26);
    }
    ConnRig rig;
    StartKeystreams(rig.conn);
    PlayedSocket socket;
    // 3500 bytes reach from the first block into the second.
    socket.Arrive(Enciphered(Hex("00000DAC") + Ascii(expected), 0), {1000});
    char *text = nullptr;
    EXPECT_EQ(0, ConnReadString(rig.conn, &text));
    ASSERT_NE(nullptr, text);
    EXPECT_EQ(expected, text);
    MemFree(text);
    EXPECT_EQ(104, rig.conn->recv_cipher->pos);
}

TEST(ConnReadString, FailsWhenTheStreamEndsAnywhereInside) {
    const Bytes whole = Hex("00000003 'abc'");
    for (size_t available = 0; available < whole.size(); available++) {
        SCOPED_TRACE(available);
        const int64_t blocks = MemLiveBlocks();
        {
            ConnRig rig;
            PlayedSocket socket;
            if (available != 0) {
                socket.Arrive(Bytes(whole.begin(), whole.begin() + (ptrdiff_t)available));
            }
            char stale = 'x';
            char *text = &stale;
            EXPECT_EQ(-4, ConnReadString(rig.conn, &text));
            EXPECT_EQ(nullptr, text);
        }
        EXPECT_EQ(blocks, MemLiveBlocks());
    }
}

TEST(ConnSkip, PassesOverBytesInBoundedPieces) {
    ConnRig rig;
    PlayedSocket socket;
    socket.Arrive(Repeat(Hex("C3"), 100000) + Hex("'Z'"));
    EXPECT_TRUE(ConnSkip(rig.conn, 100000));
    uint8_t letter = 0;
    EXPECT_TRUE(ConnReadChar(rig.conn, &letter));
    EXPECT_EQ('Z', letter);
}

TEST(ConnSkip, OfNoBytesOrFewerReadsNothing) {
    ConnRig rig;
    PlayedSocket socket;
    EXPECT_TRUE(ConnSkip(rig.conn, 0));
    EXPECT_TRUE(ConnSkip(rig.conn, -1));
    EXPECT_TRUE(ConnSkip(rig.conn, INT32_MIN));
    EXPECT_TRUE(socket.receive_counts.empty());
}

TEST(ConnSkip, FailsWhenTheStreamEnds) {
    ConnRig rig;
    PlayedSocket socket;
    socket.Arrive(Repeat(Hex("C3"), 5000));
    EXPECT_FALSE(ConnSkip(rig.conn, INT32_MAX));
}

TEST(ConnSkip, LeavesTheKeystreamWhereItWas) {
    ConnRig rig;
    StartKeystreams(rig.conn);
    PlayedSocket socket;
    socket.Arrive(Enciphered(Hex("'A'"), 0) + Repeat(Hex("C3"), 5000) + Enciphered(Hex("'B'"), 1));
    uint8_t letter = 0;
    EXPECT_TRUE(ConnReadChar(rig.conn, &letter));
    EXPECT_EQ('A', letter);
    EXPECT_TRUE(ConnSkip(rig.conn, 5000));
    EXPECT_EQ(1, rig.conn->recv_cipher->pos);
    EXPECT_TRUE(ConnReadChar(rig.conn, &letter));
    EXPECT_EQ('B', letter);
}
