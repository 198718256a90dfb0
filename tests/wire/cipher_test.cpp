// The keystreams: known outputs, where a block is used again, and what moves a position.
#include "wire/cipher.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "platform/memory.h"
#include "wire/cipher_rig.h"

// 20 bytes of a keystream's own output: the blocks one behind the other, each taken once.
static Bytes Output(Connection *conn, size_t offset) {
    Bytes output;
    while (output.size() < offset + 20) {
        Bytes period(3400, 0);
        CipherApplyRecv(conn, period.data(), 3400);
        output.insert(output.end(), period.begin(), period.begin() + 340);
    }
    return Bytes(output.begin() + (ptrdiff_t)offset, output.begin() + (ptrdiff_t)offset + 20);
}

static void ExpectOutput(const Bytes &key, size_t offset, const char *hex) {
    SCOPED_TRACE(offset);
    ConnRig rig;
    ASSERT_TRUE(CipherSetup(rig.conn, key.data(), (int32_t)key.size()));
    EXPECT_EQ(Hex(hex), Output(rig.conn, offset));
}

TEST(CipherStart, GivesTheOutputsThatTheAuthorsPublished) {
    for (const auto &[offset, hex] :
         {std::pair<size_t, const char *>{0, "696626BBDC6E09F6DA9ABAB5B56C14878246DF18"},
          std::pair<size_t, const char *>{9999, "5DA88CED8AA655BA7808EFF8CF3263C075E4403C"}}) {
        SCOPED_TRACE(offset);
        ConnRig rig;
        rig.conn->recv_cipher = (CipherState *)MemAlloc(sizeof(CipherState));
        CipherStart(rig.conn->recv_cipher, Ascii("test key 128bits").data(), 16,
                    Hex("00000000").data(), 4);
        EXPECT_EQ(Hex(hex), Output(rig.conn, offset));
    }
}

TEST(CipherSetup, OfTheCountingKeyGivesItsOutput) {
    ExpectOutput(CountingKey(), 0, "38CBD98552349D107312D71ED3854549037E7979");
    ExpectOutput(CountingKey(), 320, "9C21ABA17AA283978B7986ED4362BC2019138FE4");
    ExpectOutput(CountingKey(), 340, "C88C944A2EA91F91638E6BABF2888846D5A8D293");
    ExpectOutput(CountingKey(), 680, "EF17FBACDB667EB6C9DA3D1E903F964EBEDE3399");
    ExpectOutput(CountingKey(), 3400, "962D4209BE16FB707BBEA72A3307B4F749267B81");
    ExpectOutput(CountingKey(), 6800, "8021A250853B214DC269138EDC7C30740CE685BD");
}

TEST(CipherSetup, OfAllOnesGivesItsOutput) {
    const Bytes key = Repeat(Hex("FF"), 32);
    ExpectOutput(key, 0, "7CA0DFFCAD9F564924242CDE95879B70DCABFE34");
    ExpectOutput(key, 340, "3FABFAC52FB3AF60F88EEC69DAE086AFF0664C0A");
    ExpectOutput(key, 3400, "9DAC58D866021449700D9D23467A68CAE01C845C");
}

TEST(CipherSetup, OfAllZerosGivesItsOutput) {
    const Bytes key(32, 0);
    ExpectOutput(key, 0, "E78FB2FB995AA5486183FEAFD5ABFAB76E7F7EE1");
    ExpectOutput(key, 340, "2FD0E318345EB4E877898A40F460CB85B360EA5D");
    ExpectOutput(key, 3400, "D0B282636227A9DEC59D7CCBCD3B5E6502511959");
}

// The first 20 bytes of the keystream of a key of so many bytes.
static Bytes FirstOutput(const Bytes &key, int32_t key_bytes) {
    ConnRig rig;
    EXPECT_TRUE(CipherSetup(rig.conn, key.data(), key_bytes));
    return Output(rig.conn, 0);
}

TEST(CipherSetup, RoundsTheKeyLengthDownToWords) {
    const Bytes key = Ascii("test key 128bits") + Hex("010203");
    for (const int32_t key_bytes : {16, 17, 18, 19}) {
        SCOPED_TRACE(key_bytes);
        EXPECT_EQ(Hex("28CC4B49B7686B9BDDC4BA78F68FEE90504FCDF8"), FirstOutput(key, key_bytes));
    }
}

TEST(CipherSetup, CutsAKeyAt32Bytes) {
    const Bytes key = CountingKey() + Hex("2021222324252627");
    for (const int32_t key_bytes : {32, 33, 35, 36, 40, INT32_MAX}) {
        SCOPED_TRACE(key_bytes);
        EXPECT_EQ(Hex("38CBD98552349D107312D71ED3854549037E7979"), FirstOutput(key, key_bytes));
    }
}

TEST(CipherSetup, OfLessThanAWordUsesNoKey) {
    for (const int32_t key_bytes : {3, 1, 0, -1, -4, INT32_MIN}) {
        SCOPED_TRACE(key_bytes);
        EXPECT_EQ(Hex("42A6B922EC35FC7709EAE8CA0F6AA212DFBC0D6C"),
                  FirstOutput(Hex("010203"), key_bytes));
    }
}

TEST(CipherSetup, WithoutMemoryForEitherKeystreamMakesNone) {
    for (const uint64_t failing : {1, 2}) {
        SCOPED_TRACE(failing);
        ConnRig rig;
        const int64_t blocks = MemLiveBlocks();
        MemFailAt(failing);
        EXPECT_FALSE(CipherSetup(rig.conn, CountingKey().data(), 32));
        EXPECT_TRUE(MemFailed());
        MemFailAt(0);
        EXPECT_EQ(nullptr, rig.conn->recv_cipher);
        EXPECT_EQ(nullptr, rig.conn->send_cipher);
        EXPECT_EQ(blocks, MemLiveBlocks());
    }
}

TEST(CipherFree, ReleasesBothKeystreamsAndMayComeTwice) {
    ConnRig rig;
    const int64_t blocks = MemLiveBlocks();
    StartKeystreams(rig.conn);
    EXPECT_EQ(blocks + 2, MemLiveBlocks());
    CipherFree(rig.conn);
    EXPECT_EQ(blocks, MemLiveBlocks());
    EXPECT_EQ(nullptr, rig.conn->recv_cipher);
    EXPECT_EQ(nullptr, rig.conn->send_cipher);
    CipherFree(rig.conn);
}

// The two directions under one signature.
typedef void (*Apply)(Connection *conn, void *bytes, int32_t length);
static const Apply directions[] = {CipherApplySend, CipherApplyRecv};

// The keystream of a direction from its start, taken in calls of `piece` bytes.
static Bytes Keystream(Apply apply, size_t count, size_t piece) {
    ConnRig rig;
    StartKeystreams(rig.conn);
    Bytes bytes(count, 0);
    for (size_t done = 0; done < count; done += piece) {
        apply(rig.conn, bytes.data() + done, (int32_t)std::min(piece, count - done));
    }
    return bytes;
}

static Bytes Part(const Bytes &bytes, size_t position, size_t count) {
    return Bytes(bytes.begin() + (ptrdiff_t)position,
                 bytes.begin() + (ptrdiff_t)(position + count));
}

// The bytes around the places where a block is used again or replaced.
static void ExpectPlaces(const Bytes &stream) {
    // The first block, its end, and its start again.
    EXPECT_EQ(Hex("38CBD985"), Part(stream, 0, 4));
    EXPECT_EQ(Hex("19138FE4 38CBD985"), Part(stream, 336, 8));
    EXPECT_EQ(Hex("19138FE4 38CBD985"), Part(stream, 676, 8));
    // Its tenth use ends, and the second block begins.
    EXPECT_EQ(Hex("19138FE4 C88C944A"), Part(stream, 3396, 8));
    EXPECT_EQ(Hex("C88C944A"), Part(stream, 3740, 4));
    EXPECT_EQ(Hex("EF17FBAC"), Part(stream, 6800, 4));
    // The tenth block ends, and the eleventh begins.
    EXPECT_EQ(CountingKeystream(33990, 10), Part(stream, 33990, 10));
    EXPECT_EQ(Hex("962D4209 BE16FB70"), Part(stream, 34000, 8));
    EXPECT_EQ(Hex("962D4209"), Part(stream, 34340, 4));
}

TEST(CipherApply, UsesEachBlockTenTimes) {
    for (const Apply apply : directions) {
        ExpectPlaces(Keystream(apply, 34400, 34400));
    }
}

TEST(CipherApply, GivesTheSameInPiecesOfAnySize) {
    const Bytes whole = Keystream(CipherApplyRecv, 34400, 34400);
    for (const Apply apply : directions) {
        for (const size_t piece : {1, 2, 3, 5, 7, 8, 9, 31, 339, 340, 341, 3399, 3400, 3401}) {
            SCOPED_TRACE(piece);
            EXPECT_EQ(whole, Keystream(apply, 34400, piece));
        }
    }
}

TEST(CipherApply, OfOneByteAtEachPlaceIsThatByteOfTheBlock) {
    for (const Apply apply : directions) {
        for (const auto &[position, key_byte] :
             {std::pair<int32_t, uint8_t>{339, 0xE4}, std::pair<int32_t, uint8_t>{340, 0x38},
              std::pair<int32_t, uint8_t>{3399, 0xE4}, std::pair<int32_t, uint8_t>{3400, 0xC8},
              std::pair<int32_t, uint8_t>{34000, 0x96}}) {
            SCOPED_TRACE(position);
            ConnRig rig;
            StartKeystreams(rig.conn);
            Bytes passed((size_t)position);
            apply(rig.conn, passed.data(), position);
            uint8_t byte = 0x5A;
            apply(rig.conn, &byte, 1);
            EXPECT_EQ(0x5A ^ key_byte, byte);
        }
    }
}

TEST(CipherApply, StandsAtZeroBehind3400Bytes) {
    ConnRig rig;
    StartKeystreams(rig.conn);
    Bytes bytes(3400, 0);
    CipherApplyRecv(rig.conn, bytes.data(), 3399);
    EXPECT_EQ(3399, rig.conn->recv_cipher->pos);
    CipherApplyRecv(rig.conn, bytes.data(), 1);
    EXPECT_EQ(0, rig.conn->recv_cipher->pos);
    CipherApplyRecv(rig.conn, bytes.data(), 340);
    EXPECT_EQ(340, rig.conn->recv_cipher->pos);
}

TEST(CipherApply, MovesEachDirectionAlone) {
    ConnRig rig;
    StartKeystreams(rig.conn);
    Bytes sent(3403, 0);
    CipherApplySend(rig.conn, sent.data(), 3403);
    EXPECT_EQ(3, rig.conn->send_cipher->pos);
    EXPECT_EQ(0, rig.conn->recv_cipher->pos);
    Bytes received(4, 0);
    CipherApplyRecv(rig.conn, received.data(), 4);
    EXPECT_EQ(Hex("38CBD985"), received);
    CipherApplySend(rig.conn, sent.data(), 1);
    EXPECT_EQ(0x4A ^ 0x38, sent[0]);
}

TEST(CipherApply, TwiceFromTheStartGivesTheBytesBack) {
    ConnRig rig;
    StartKeystreams(rig.conn);
    Bytes bytes = Repeat(Ascii("to and fro "), 1000);
    CipherApplySend(rig.conn, bytes.data(), 11000);
    EXPECT_NE(Repeat(Ascii("to and fro "), 1000), bytes);
    CipherApplyRecv(rig.conn, bytes.data(), 11000);
    EXPECT_EQ(Repeat(Ascii("to and fro "), 1000), bytes);
}

TEST(CipherApply, OfNoBytesOrFewerMovesNothing) {
    ConnRig rig;
    StartKeystreams(rig.conn);
    for (const int32_t length : {0, -1, INT32_MIN}) {
        uint8_t byte = 0x5A;
        CipherApplyRecv(rig.conn, &byte, length);
        EXPECT_EQ(0x5A, byte);
        EXPECT_EQ(0, rig.conn->recv_cipher->pos);
    }
}

TEST(CipherApply, WithoutAKeystreamChangesNothing) {
    ConnRig rig;
    rig.conn->use_ssl = 1;
    Bytes bytes = Ascii("clear");
    CipherApplyRecv(rig.conn, bytes.data(), 5);
    CipherApplySend(rig.conn, bytes.data(), 5);
    EXPECT_EQ(Ascii("clear"), bytes);
}

TEST(CipherXor, TakesAnyLengthAtAnyAddress) {
    const Bytes source = Repeat(Hex("0F1E2D3C4B5A6978"), 8);
    const Bytes key = Repeat(Hex("F0F0F0F00F0F0F0F"), 8);
    const Bytes expected = Repeat(Hex("FFEEDDCC44556677"), 8);
    for (size_t start = 0; start < 8; start++) {
        for (size_t length = 0; length <= 40; length++) {
            Bytes target(64, 0xA5);
            CipherXor(target.data() + 1, source.data() + start, key.data() + start,
                      (int32_t)length);
            EXPECT_EQ(Part(expected, start, length), Part(target, 1, length));
            EXPECT_EQ(0xA5, target[0]);
            EXPECT_EQ(0xA5, target[length + 1]);
        }
    }
}
