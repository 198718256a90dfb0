// A window on the receive buffer reads what the connection's own readers read, and leaves the same
// state behind.
#include "wire/read_window.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "wire/cipher.h"
#include "wire/cipher_rig.h"

// Puts bytes into the receive buffer.
static void Buffer(Connection *conn, const Bytes &bytes) {
    std::copy(bytes.begin(), bytes.end(), conn->recv_buf);
    conn->recv_fill = (int32_t)bytes.size();
    conn->recv_pos = 0;
}

// Each kind of read once, then one byte more.
static const char *const VALUES_HEX = "'R' 1234 89ABCDEF 0123456789ABCDEF 'abc' 5A";

static void ExpectValues(Connection *conn) {
    uint8_t letter = 0;
    uint16_t half = 0;
    uint32_t word = 0;
    uint64_t wide = 0;
    char text[4] = {};
    ReadWindow window = WindowOpen(conn);
    ASSERT_TRUE(WindowReadChar(&window, &letter));
    EXPECT_EQ('R', letter);
    ASSERT_TRUE(WindowReadInt16(&window, &half));
    EXPECT_EQ(0x1234, half);
    ASSERT_TRUE(WindowReadInt32(&window, &word));
    EXPECT_EQ(0x89ABCDEFu, word);
    ASSERT_TRUE(WindowReadInt64(&window, &wide));
    EXPECT_EQ(0x0123456789ABCDEFull, wide);
    ASSERT_TRUE(WindowReadBytes(&window, text, 3));
    EXPECT_STREQ("abc", text);
    ASSERT_TRUE(WindowReadChar(&window, &letter));
    EXPECT_EQ(0x5A, letter);
    WindowClose(&window);
}

TEST(ReadWindow, ReadsTheSameWhenCutAtEveryByte) {
    const Bytes values = Hex(VALUES_HEX);
    for (size_t cut = 1; cut < values.size(); cut++) {
        SCOPED_TRACE(cut);
        ConnRig rig;
        PlayedSocket socket;
        socket.Arrive(values, {cut});
        ExpectValues(rig.conn);
        EXPECT_EQ(0, rig.conn->recv_fill);
        EXPECT_EQ(0, rig.conn->recv_pos);
    }
}

TEST(ReadWindow, ReadsTheSameWithTheCipherOnAndNoKeystream) {
    ConnRig rig;
    rig.conn->use_ssl = 1;
    Buffer(rig.conn, Hex(VALUES_HEX));
    ExpectValues(rig.conn);
    EXPECT_EQ(0, rig.conn->recv_fill);
}

TEST(ReadWindow, ReadsTheSameThroughAKeystreamWhenCutAtEveryByte) {
    for (const size_t place : {0, 322, 330, 339, 340, 3381, 3385, 3393, 3399, 3400}) {
        const Bytes values = Enciphered(Hex(VALUES_HEX), place);
        for (size_t cut = 1; cut < values.size(); cut++) {
            SCOPED_TRACE(std::to_string(place) + ", cut before byte " + std::to_string(cut));
            ConnRig rig;
            StartKeystreams(rig.conn);
            PassOver(rig.conn, place);
            PlayedSocket socket;
            socket.Arrive(values, {cut});
            ExpectValues(rig.conn);
            EXPECT_EQ(0, rig.conn->recv_fill);
            EXPECT_EQ(0, rig.conn->recv_pos);
            EXPECT_EQ((place + values.size()) % 3400, (size_t)rig.conn->recv_cipher->pos);
        }
    }
}

TEST(ReadWindow, ReadsTheSameWhereverTheKeystreamIsMadeAnew) {
    for (size_t place = 3380; place <= 3400; place++) {
        SCOPED_TRACE(place);
        ConnRig rig;
        StartKeystreams(rig.conn);
        PassOver(rig.conn, place);
        Buffer(rig.conn, Enciphered(Hex(VALUES_HEX) + Hex("'rest'"), place));
        ExpectValues(rig.conn);
        EXPECT_EQ(19, rig.conn->recv_pos);
        EXPECT_EQ(23, rig.conn->recv_fill);
        EXPECT_EQ((place + 19) % 3400, (size_t)rig.conn->recv_cipher->pos);
    }
}

TEST(ReadWindow, DeciphersATextAcrossTheEndOfAKeystream) {
    for (const size_t place : {3399, 3390, 3300, 2900, 0}) {
        SCOPED_TRACE(place);
        std::string expected;
        for (int i = 0; i < 500; i++) {
            expected += (char)('a' + i % 26);
        }
        ConnRig rig;
        StartKeystreams(rig.conn);
        PassOver(rig.conn, place);
        Buffer(rig.conn, Enciphered(Ascii(expected) + Hex("'Z'"), place));
        ReadWindow window = WindowOpen(rig.conn);
        char text[501] = {};
        EXPECT_TRUE(WindowReadBytes(&window, text, 500));
        WindowClose(&window);
        EXPECT_EQ(expected, text);
        EXPECT_EQ((place + 500) % 3400, (size_t)rig.conn->recv_cipher->pos);
    }
}

TEST(ReadWindow, LeavesTheBufferAsItCameBehindTheBytesThatWereRead) {
    ConnRig rig;
    StartKeystreams(rig.conn);
    const Bytes wire = Enciphered(Hex("'AB' 00000001"), 0);
    Buffer(rig.conn, wire);
    ReadWindow window = WindowOpen(rig.conn);
    uint8_t letter = 0;
    EXPECT_TRUE(WindowReadChar(&window, &letter));
    EXPECT_EQ('A', letter);
    WindowClose(&window);
    EXPECT_EQ(1, rig.conn->recv_pos);
    EXPECT_EQ(1, rig.conn->recv_cipher->pos);
    EXPECT_EQ(wire, Bytes(rig.conn->recv_buf, rig.conn->recv_buf + 6));
}

TEST(ReadWindow, ClosedOverARawReadAndASkipGoesOnInTheKeystream) {
    // As in a row with a bookmark: its letter and length are enciphered, the bookmark is
    // not, and the row's first length follows in the keystream.
    for (const size_t place : {0, 3390, 3395, 3398, 3399}) {
        SCOPED_TRACE(place);
        ConnRig rig;
        StartKeystreams(rig.conn);
        PassOver(rig.conn, place);
        PlayedSocket socket;
        socket.Arrive(Enciphered(Hex("'*' 00000006"), place) + Hex("'marked'") +
                          Enciphered(Hex("00000004 01020304 'R'"), place + 5),
                      {3});
        ReadWindow window = WindowOpen(rig.conn);
        uint8_t letter = 0;
        uint32_t length = 0;
        char raw[5] = {};
        uint32_t value = 0;
        EXPECT_TRUE(WindowReadChar(&window, &letter));
        EXPECT_EQ('*', letter);
        EXPECT_TRUE(WindowReadInt32(&window, &length));
        EXPECT_EQ(6u, length);
        WindowClose(&window);
        EXPECT_TRUE(ConnReadExact(rig.conn, raw, 4));
        EXPECT_STREQ("mark", raw);
        EXPECT_TRUE(ConnSkip(rig.conn, 2));
        window = WindowOpen(rig.conn);
        EXPECT_TRUE(WindowReadInt32(&window, &length));
        EXPECT_EQ(4u, length);
        EXPECT_TRUE(WindowReadInt32(&window, &value));
        EXPECT_EQ(0x01020304u, value);
        EXPECT_TRUE(WindowReadChar(&window, &letter));
        EXPECT_EQ('R', letter);
        WindowClose(&window);
    }
}

TEST(ReadWindow, TakesValuesInHostOrderWhileBytesAreNotSwapped) {
    ConnRig rig;
    Buffer(rig.conn, Hex("3412 EFCDAB89 EFCDAB8967452301 5A"));
    swap_bytes = 0;
    ReadWindow window = WindowOpen(rig.conn);
    swap_bytes = 1;
    uint16_t half = 0;
    uint32_t word = 0;
    uint64_t wide = 0;
    EXPECT_TRUE(WindowReadInt16(&window, &half));
    EXPECT_EQ(0x1234, half);
    EXPECT_TRUE(WindowReadInt32(&window, &word));
    EXPECT_EQ(0x89ABCDEFu, word);
    EXPECT_TRUE(WindowReadInt64(&window, &wide));
    EXPECT_EQ(0x0123456789ABCDEFull, wide);
    WindowClose(&window);
    EXPECT_EQ(14, rig.conn->recv_pos);
}

// The five reads under one signature.
static bool ReadOne(ReadWindow *window, int32_t width) {
    uint8_t letter;
    uint16_t half;
    uint32_t word;
    uint64_t wide;
    char text[3];
    switch (width) {
        case 1: return WindowReadChar(window, &letter);
        case 2: return WindowReadInt16(window, &half);
        case 3: return WindowReadBytes(window, text, 3);
        case 4: return WindowReadInt32(window, &word);
        default: return WindowReadInt64(window, &wide);
    }
}

TEST(ReadWindow, EmptiesTheBufferWithTheLastByte) {
    for (const int32_t width : {1, 2, 3, 4, 8}) {
        SCOPED_TRACE(width);
        ConnRig rig;
        PlayedSocket socket;
        Buffer(rig.conn, Repeat(Hex("77"), (size_t)width));
        ReadWindow window = WindowOpen(rig.conn);
        EXPECT_TRUE(ReadOne(&window, width));
        WindowClose(&window);
        EXPECT_EQ(0, rig.conn->recv_fill);
        EXPECT_EQ(0, rig.conn->recv_pos);
        EXPECT_TRUE(socket.receive_counts.empty());
    }
}

TEST(ReadWindow, LeavesAByteMoreThanIsReadInTheBuffer) {
    for (const int32_t width : {1, 2, 3, 4, 8}) {
        SCOPED_TRACE(width);
        ConnRig rig;
        Buffer(rig.conn, Repeat(Hex("77"), (size_t)width + 1));
        ReadWindow window = WindowOpen(rig.conn);
        EXPECT_TRUE(ReadOne(&window, width));
        WindowClose(&window);
        EXPECT_EQ(width + 1, rig.conn->recv_fill);
        EXPECT_EQ(width, rig.conn->recv_pos);
    }
}

TEST(ReadWindow, FailsWhenTheStreamEndsInsideTheValue) {
    for (const int32_t width : {1, 2, 3, 4, 8}) {
        SCOPED_TRACE(width);
        ConnRig rig;
        PlayedSocket socket;
        Buffer(rig.conn, Repeat(Hex("77"), (size_t)width - 1));
        ReadWindow window = WindowOpen(rig.conn);
        EXPECT_FALSE(ReadOne(&window, width));
        WindowClose(&window);
        EXPECT_EQ(0, rig.conn->recv_fill);
        EXPECT_EQ(0, rig.conn->recv_pos);
    }
}

TEST(ReadWindow, TakesAPushedBackLetterBeforeTheBuffer) {
    ConnRig rig;
    Buffer(rig.conn, Hex("'AB'"));
    rig.conn->pushback = 'R';
    ReadWindow window = WindowOpen(rig.conn);
    uint8_t letter = 0;
    EXPECT_TRUE(WindowReadChar(&window, &letter));
    EXPECT_EQ('R', letter);
    EXPECT_TRUE(WindowReadChar(&window, &letter));
    EXPECT_EQ('A', letter);
    WindowClose(&window);
    EXPECT_EQ(0, rig.conn->pushback);
    EXPECT_EQ(1, rig.conn->recv_pos);
}

TEST(ReadWindow, TakesAPushedBackLetterWithoutTheKeystream) {
    ConnRig rig;
    StartKeystreams(rig.conn);
    Buffer(rig.conn, Enciphered(Hex("'AB'"), 0));
    rig.conn->pushback = 'R';
    ReadWindow window = WindowOpen(rig.conn);
    uint8_t letter = 0;
    EXPECT_TRUE(WindowReadChar(&window, &letter));
    EXPECT_EQ('R', letter);
    EXPECT_TRUE(WindowReadChar(&window, &letter));
    EXPECT_EQ('A', letter);
    WindowClose(&window);
    EXPECT_EQ(0, rig.conn->pushback);
    EXPECT_EQ(1, rig.conn->recv_pos);
    EXPECT_EQ(1, rig.conn->recv_cipher->pos);
}

TEST(ReadWindow, ThatFailsLeavesTheKeystreamWhereItWas) {
    for (const int32_t width : {2, 3, 4, 8}) {
        SCOPED_TRACE(width);
        ConnRig rig;
        StartKeystreams(rig.conn);
        PlayedSocket socket;
        Buffer(rig.conn, Repeat(Hex("77"), (size_t)width - 1));
        ReadWindow window = WindowOpen(rig.conn);
        EXPECT_FALSE(ReadOne(&window, width));
        WindowClose(&window);
        EXPECT_EQ(0, rig.conn->recv_cipher->pos);
    }
}

TEST(ReadWindow, OfNoBytesReadsNothing) {
    ConnRig rig;
    PlayedSocket socket;
    ReadWindow window = WindowOpen(rig.conn);
    EXPECT_TRUE(WindowReadBytes(&window, nullptr, 0));
    WindowClose(&window);
    EXPECT_TRUE(socket.receive_counts.empty());
}
