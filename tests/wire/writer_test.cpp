// The send buffer, the typed writers and the command frames.
#include <gtest/gtest.h>

#include "platform/memory.h"
#include "wire/cipher.h"
#include "wire/cipher_rig.h"
#include "wire/connection.h"

// Puts a number of buffered bytes in front of a test.
static void Fill(Connection *conn, int32_t bytes) {
    const Bytes filling = Repeat(Hex("F1"), (size_t)bytes);
    for (int32_t start = 0; start < bytes; start += 2000) {
        ConnWrite(conn, filling.data(), bytes - start < 2000 ? bytes - start : 2000);
    }
    ASSERT_EQ(bytes, conn->send_fill);
}

TEST(ConnWrite, Of2048BytesGoesThroughTheBuffer) {
    ConnRig rig;
    PlayedSocket socket;
    const Bytes bytes = Repeat(Hex("A5"), 2048);
    EXPECT_EQ(0, ConnWrite(rig.conn, bytes.data(), 2048));
    EXPECT_TRUE(socket.sent.empty());
    EXPECT_EQ(bytes, Unsent(rig.conn));
}

TEST(ConnWrite, Of2049BytesBypassesTheBuffer) {
    ConnRig rig;
    PlayedSocket socket;
    const Bytes bytes = Repeat(Hex("A5"), 2049);
    Fill(rig.conn, 3);
    EXPECT_EQ(3, ConnWrite(rig.conn, bytes.data(), 2049));
    ASSERT_EQ(2u, socket.sent.size());
    EXPECT_EQ(Hex("F1F1F1"), socket.sent[0]);
    EXPECT_EQ(bytes, socket.sent[1]);
    EXPECT_EQ(0, rig.conn->send_fill);
}

TEST(ConnWrite, BypassingAnEmptyBufferSendsZeroBytesFirst) {
    ConnRig rig;
    PlayedSocket socket;
    const Bytes bytes = Repeat(Hex("A5"), 5000);
    EXPECT_EQ(0, ConnWrite(rig.conn, bytes.data(), 5000));
    ASSERT_EQ(2u, socket.sent.size());
    EXPECT_EQ(Bytes(), socket.sent[0]);
    EXPECT_EQ(bytes, socket.sent[1]);
}

TEST(ConnWrite, FillingTheBufferTo4095SendsNothing) {
    ConnRig rig;
    PlayedSocket socket;
    Fill(rig.conn, 4090);
    EXPECT_EQ(0, ConnWrite(rig.conn, "12345", 5));
    EXPECT_TRUE(socket.sent.empty());
    EXPECT_EQ(4095, rig.conn->send_fill);
}

TEST(ConnWrite, SendsTheBufferFirstWhenItWouldReach4096) {
    ConnRig rig;
    PlayedSocket socket;
    Fill(rig.conn, 4090);
    EXPECT_EQ(0, ConnWrite(rig.conn, "123456", 6));
    ASSERT_EQ(1u, socket.sent.size());
    EXPECT_EQ(Repeat(Hex("F1"), 4090), socket.sent[0]);
    EXPECT_EQ(Hex("'123456'"), Unsent(rig.conn));
}

TEST(ConnWrite, DoesNotReportAFailedSendOnTheWayOfASmallWrite) {
    ConnRig rig;
    PlayedSocket socket;
    Fill(rig.conn, 4095);
    socket.send_results = {-1};
    EXPECT_EQ(0, ConnWrite(rig.conn, "x", 1));
    EXPECT_EQ(1u, socket.sent.size());
    EXPECT_EQ(Hex("'x'"), Unsent(rig.conn));
}

TEST(ConnWrite, ReportsAFailedSendAheadOfALargeWrite) {
    ConnRig rig;
    PlayedSocket socket;
    const Bytes bytes = Repeat(Hex("A5"), 2049);
    Fill(rig.conn, 3);
    socket.send_results = {-1};
    EXPECT_EQ(-1, ConnWrite(rig.conn, bytes.data(), 2049));
    EXPECT_EQ(1u, socket.sent.size());
    EXPECT_EQ(0, rig.conn->send_fill);
}

TEST(ConnWrite, DoesNotReportAFailedSendOfTheLargeBytesThemselves) {
    ConnRig rig;
    PlayedSocket socket;
    const Bytes bytes = Repeat(Hex("A5"), 2049);
    socket.send_results = {0, -1};
    EXPECT_EQ(0, ConnWrite(rig.conn, bytes.data(), 2049));
    EXPECT_EQ(2u, socket.sent.size());
}

TEST(ConnWrite, TakesAShortSendAsWhole) {
    ConnRig rig;
    PlayedSocket socket;
    const Bytes bytes = Repeat(Hex("A5"), 3000);
    Fill(rig.conn, 9);
    socket.send_results = {2, 100};
    EXPECT_EQ(2, ConnWrite(rig.conn, bytes.data(), 3000));
    EXPECT_EQ(2u, socket.sent.size());
    Fill(rig.conn, 9);
    socket.send_results = {4};
    EXPECT_EQ(0, ConnFlush(rig.conn));
    EXPECT_EQ(3u, socket.sent.size());
    EXPECT_EQ(0, rig.conn->send_fill);
}

TEST(ConnWrite, OfNoBytesOrFewerTouchesNothing) {
    ConnRig rig;
    PlayedSocket socket;
    EXPECT_EQ(0, ConnWrite(rig.conn, nullptr, 0));
    EXPECT_EQ(0, ConnWrite(rig.conn, "abc", -1));
    EXPECT_EQ(0, ConnWrite(rig.conn, "abc", INT32_MIN));
    EXPECT_EQ(0, rig.conn->send_fill);
    EXPECT_TRUE(socket.sent.empty());
}

TEST(ConnWrite, WithAKeystreamFollowsTheSameCases) {
    ConnRig rig;
    StartKeystreams(rig.conn);
    PlayedSocket socket;
    const Bytes bytes = Repeat(Hex("A5"), 2049);
    Fill(rig.conn, 4090);
    EXPECT_EQ(0, ConnWrite(rig.conn, "123456", 6));
    ASSERT_EQ(1u, socket.sent.size());
    EXPECT_EQ(Enciphered(Repeat(Hex("F1"), 4090), 0), socket.sent[0]);
    EXPECT_EQ(Enciphered(Hex("'123456'"), 4090), Unsent(rig.conn));
    const int64_t blocks = MemLiveBlocks();
    EXPECT_EQ(6, ConnWrite(rig.conn, bytes.data(), 2049));
    EXPECT_EQ(blocks, MemLiveBlocks());
    ASSERT_EQ(3u, socket.sent.size());
    EXPECT_EQ(Enciphered(Hex("'123456'"), 4090), socket.sent[1]);
    EXPECT_EQ(Enciphered(bytes, 4096), socket.sent[2]);
    // The caller's bytes are as they were.
    EXPECT_EQ(Repeat(Hex("A5"), 2049), bytes);
}

TEST(ConnWrite, WithAKeystreamOf2048BytesGoesThroughTheBuffer) {
    ConnRig rig;
    StartKeystreams(rig.conn);
    PlayedSocket socket;
    const Bytes bytes = Repeat(Hex("A5"), 2048);
    MemFailAt(1);
    EXPECT_EQ(0, ConnWrite(rig.conn, bytes.data(), 2048));
    EXPECT_FALSE(MemFailed());
    MemFailAt(0);
    EXPECT_TRUE(socket.sent.empty());
    EXPECT_EQ(Enciphered(bytes, 0), Unsent(rig.conn));
}

TEST(ConnWrite, WithAKeystreamEnciphersInTheOrderOfTheWire) {
    // Small writes, a large one and a small one again: more than a buffer, and into a second block.
    ConnRig rig;
    StartKeystreams(rig.conn);
    PlayedSocket socket;
    Bytes plain;
    for (size_t size = 1; size <= 80; size++) {
        const Bytes bytes = Repeat({(uint8_t)size}, size);
        EXPECT_EQ(0, ConnWrite(rig.conn, bytes.data(), (int32_t)size));
        plain = plain + bytes;
    }
    const Bytes large = Repeat(Hex("A5"), 3000);
    ConnWrite(rig.conn, large.data(), 3000);
    plain = plain + large;
    ConnWriteInt32(rig.conn, 7);
    plain = plain + Hex("00000007");
    EXPECT_EQ(0, ConnFlush(rig.conn));
    Bytes wire;
    for (const Bytes &sent : socket.sent) {
        wire = wire + sent;
    }
    ASSERT_EQ(6244u, plain.size());
    EXPECT_EQ(Enciphered(plain, 0), wire);
    EXPECT_EQ(2844, rig.conn->send_cipher->pos);
    EXPECT_EQ(0, rig.conn->recv_cipher->pos);
}

TEST(ConnWrite, WithAKeystreamReachesPosition34000) {
    ConnRig rig;
    StartKeystreams(rig.conn);
    PlayedSocket socket;
    const Bytes zeros(33998, 0);
    ConnWrite(rig.conn, zeros.data(), 33998);
    ConnWriteInt32(rig.conn, 0);
    EXPECT_EQ(CountingKeystream(33998, 4), Unsent(rig.conn));
    EXPECT_EQ(Hex("962D"), Bytes(rig.conn->send_buf + 2, rig.conn->send_buf + 4));
}

TEST(ConnWrite, WithAKeystreamMovesItAlsoWhenTheSendFails) {
    ConnRig rig;
    StartKeystreams(rig.conn);
    PlayedSocket socket;
    Fill(rig.conn, 4095);
    socket.send_results = {-1};
    EXPECT_EQ(0, ConnWrite(rig.conn, "x", 1));
    EXPECT_EQ(Enciphered(Hex("'x'"), 4095), Unsent(rig.conn));
}

TEST(ConnWrite, WithAKeystreamKeepsTheCopyOfALargeWriteThatMetALostConnection) {
    const int64_t blocks = MemLiveBlocks();
    {
        ConnRig rig;
        StartKeystreams(rig.conn);
        PlayedSocket socket;
        const Bytes bytes = Repeat(Hex("A5"), 2049);
        socket.send_results = {-1, -1};
        const int64_t blocks_before = MemLiveBlocks();
        EXPECT_EQ(-1, ConnWrite(rig.conn, bytes.data(), 2049));
        EXPECT_EQ(-1, ConnWrite(rig.conn, bytes.data(), 2049));
        EXPECT_EQ(2u, socket.sent.size());
        EXPECT_EQ(blocks_before + 2, MemLiveBlocks());
    }
    EXPECT_EQ(blocks, MemLiveBlocks());
}

TEST(ConnWrite, WithAKeystreamFailsWhenALargeWriteCannotBeCopied) {
    ConnRig rig;
    StartKeystreams(rig.conn);
    PlayedSocket socket;
    const Bytes bytes = Repeat(Hex("A5"), 2049);
    MemFailAt(1);
    EXPECT_EQ(-1, ConnWrite(rig.conn, bytes.data(), 2049));
    MemFailAt(0);
    EXPECT_TRUE(socket.sent.empty());
    EXPECT_EQ(0, rig.conn->send_cipher->pos);
}

TEST(ConnWrite, EnciphersAlsoWhileTheFlagIsOff) {
    ConnRig rig;
    StartKeystreams(rig.conn);
    rig.conn->use_ssl = 0;
    EXPECT_EQ(0, ConnWrite(rig.conn, "abc", 3));
    EXPECT_EQ(Enciphered(Hex("'abc'"), 0), Unsent(rig.conn));
}

TEST(ConnWrite, TestsTheKeystreamAndNotTheFlag) {
    ConnRig rig;
    rig.conn->use_ssl = 1;
    PlayedSocket socket;
    const Bytes bytes = Repeat(Hex("A5"), 2049);
    // Without a keystream no copy is made, so that none can fail.
    MemFailAt(1);
    EXPECT_EQ(0, ConnWrite(rig.conn, bytes.data(), 2049));
    EXPECT_FALSE(MemFailed());
    MemFailAt(0);
    EXPECT_EQ(2u, socket.sent.size());
}

TEST(ConnFlush, OfAnEmptyBufferSendsNothing) {
    ConnRig rig;
    PlayedSocket socket;
    EXPECT_EQ(0, ConnFlush(rig.conn));
    EXPECT_TRUE(socket.sent.empty());
}

TEST(ConnFlush, SendsTheBufferInOneCall) {
    ConnRig rig;
    PlayedSocket socket;
    ConnWrite(rig.conn, "abc", 3);
    ConnWriteInt32(rig.conn, 5);
    EXPECT_EQ(0, ConnFlush(rig.conn));
    EXPECT_EQ((std::vector<Bytes>{Hex("'abc' 00000005")}), socket.sent);
    EXPECT_EQ(0, rig.conn->send_fill);
}

TEST(ConnFlush, EmptiesTheBufferAlsoWhenTheSendFails) {
    ConnRig rig;
    PlayedSocket socket;
    ConnWrite(rig.conn, "abc", 3);
    socket.send_results = {-1};
    EXPECT_EQ(-1, ConnFlush(rig.conn));
    EXPECT_EQ(0, rig.conn->send_fill);
}

TEST(ConnFlush, FailsOnAClosedSocket) {
    ConnRig rig;
    ConnWrite(rig.conn, "abc", 3);
    EXPECT_EQ(-1, ConnFlush(rig.conn));
    EXPECT_EQ(0, rig.conn->send_fill);
}

static void WriteOneOfEach(Connection *conn) {
    ConnWriteInt16(conn, 0x1234);
    ConnWriteInt32(conn, 0x89ABCDEF);
    ConnWriteInt64(conn, 0x0123456789ABCDEF);
    ConnWriteFloat(conn, -3.14159274f);
    ConnWriteDouble(conn, 3.141592653589793);
}

TEST(ConnWriters, WriteBigEndian) {
    ConnRig rig;
    WriteOneOfEach(rig.conn);
    EXPECT_EQ(Hex("1234 89ABCDEF 0123456789ABCDEF C0490FDB 400921FB54442D18"), Unsent(rig.conn));
}

TEST(ConnWriters, WriteTheSameThroughAKeystream) {
    const Bytes plain = Hex("1234 89ABCDEF 0123456789ABCDEF C0490FDB 400921FB54442D18");
    for (size_t place = 3370; place <= 3400; place++) {
        SCOPED_TRACE(place);
        ConnRig rig;
        StartKeystreams(rig.conn);
        PassOver(rig.conn, place);
        WriteOneOfEach(rig.conn);
        EXPECT_EQ(Enciphered(plain, place), Unsent(rig.conn));
    }
}

TEST(ConnWriters, WriteInHostOrderWhileBytesAreNotSwapped) {
    ConnRig rig;
    swap_bytes = 0;
    WriteOneOfEach(rig.conn);
    swap_bytes = 1;
    EXPECT_EQ(Hex("3412 EFCDAB89 EFCDAB8967452301 DB0F49C0 182D4454FB210940"), Unsent(rig.conn));
}

TEST(ConnSendCommand, FramesTheTextWithItsTerminatorUncounted) {
    ConnRig rig;
    PlayedSocket socket;
    ConnSendCommand(rig.conn, "SELECT 1");
    EXPECT_EQ((std::vector<Bytes>{Hex("'?' 00000008 'SELECT 1' 00 00000000")}), socket.sent);
    EXPECT_EQ(0, rig.conn->send_fill);
}

TEST(ConnSendCommand, OfAnEmptyTextStillFramesItsTerminator) {
    ConnRig rig;
    PlayedSocket socket;
    ConnSendCommand(rig.conn, "");
    EXPECT_EQ((std::vector<Bytes>{Hex("'?' 00000000 00 00000000")}), socket.sent);
}

TEST(ConnSendCommand, OfALongTextSendsItPastTheBuffer) {
    ConnRig rig;
    PlayedSocket socket;
    const std::string text(3000, 'x');
    ConnSendCommand(rig.conn, text.c_str());
    ASSERT_EQ(3u, socket.sent.size());
    EXPECT_EQ(Hex("'?' 00000BB8"), socket.sent[0]);
    EXPECT_EQ(Repeat(Hex("'x'"), 3000) + Hex("00"), socket.sent[1]);
    EXPECT_EQ(Hex("00000000"), socket.sent[2]);
}

TEST(ConnSendCommand, EnciphersTheWholeFrame) {
    ConnRig rig;
    StartKeystreams(rig.conn);
    PlayedSocket socket;
    ConnSendCommand(rig.conn, "SELECT 1");
    ConnSendCommand(rig.conn, "A");
    EXPECT_EQ((std::vector<Bytes>{Enciphered(Hex("'?' 00000008 'SELECT 1' 00 00000000"), 0),
                                  Enciphered(Hex("'?' 00000001 'A' 00 00000000"), 18)}),
              socket.sent);
}

TEST(ConnSendCommandArgs, WritesTheCountAndDoesNotFlush) {
    ConnRig rig;
    PlayedSocket socket;
    EXPECT_EQ(0, ConnSendCommandArgs(rig.conn, "SELECT ?", 3));
    EXPECT_TRUE(socket.sent.empty());
    EXPECT_EQ(Hex("'?' 00000008 'SELECT ?' 00 00000003"), Unsent(rig.conn));
}

TEST(ConnSendCommandArgs, WritesACountBelowOneAsZero) {
    for (const int32_t count : {0, -1, INT32_MIN}) {
        ConnRig rig;
        PlayedSocket socket;
        EXPECT_EQ(0, ConnSendCommandArgs(rig.conn, "A", count));
        EXPECT_EQ(Hex("'?' 00000001 'A' 00 00000000"), Unsent(rig.conn));
    }
}

TEST(ConnSendCommandArgs, FailsWithTheWriteOfTheTextAndLeavesNothingBehind) {
    ConnRig rig;
    PlayedSocket socket;
    socket.send_results = {-1};
    EXPECT_EQ(-1, ConnSendCommandArgs(rig.conn, std::string(3000, 'x').c_str(), 1));
    EXPECT_EQ(1u, socket.sent.size());
    EXPECT_EQ(0, rig.conn->send_fill);
}

TEST(ConnSendCommandArgs, ReturnsZeroWhenALongTextWasSentBehindBufferedBytes) {
    ConnRig rig;
    PlayedSocket socket;
    EXPECT_EQ(0, ConnSendCommandArgs(rig.conn, std::string(3000, 'x').c_str(), 1));
    EXPECT_EQ(Hex("00000001"), Unsent(rig.conn));
}
