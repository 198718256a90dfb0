// The stream cipher against known output, and the keystream that the wire makes of it.
#include "server/turing.h"

#include <algorithm>
#include <set>
#include <string>

#include <gtest/gtest.h>

#include "server/keystream.h"
#include "server/raw_client.h"
#include "server/turing_tables.h"

namespace tavud_test {
namespace {

// Output of the cipher itself, one fresh block after another.
std::string Output(const std::string &key, const std::string &iv, size_t offset) {
    tavud::Turing cipher(key, iv);
    std::string output;
    while (output.size() < offset + 20) {
        tavud::Turing::Block block;
        cipher.NextBlock(&block);
        output.append(block.begin(), block.end());
    }
    return output.substr(offset, 20);
}

const std::string COUNTING_KEY =
    Wire("000102030405060708090a0b0c0d0e0f101112131415161718191a1b1c1d1e1f");

TEST(Turing, PublishedOutputOfA16ByteKeyWithAnInitialVector) {
    const std::string iv(4, '\0');
    EXPECT_EQ(Wire("696626bbdc6e09f6da9abab5b56c14878246df18"), Output("test key 128bits", iv, 0));
    EXPECT_EQ(Wire("5da88ced8aa655ba7808eff8cf3263c075e4403c"),
              Output("test key 128bits", iv, 9999));
}

TEST(Turing, OutputOfTheCountingKey) {
    EXPECT_EQ(Wire("38cbd98552349d107312d71ed3854549037e7979"), Output(COUNTING_KEY, "", 0));
    EXPECT_EQ(Wire("9c21aba17aa283978b7986ed4362bc2019138fe4"), Output(COUNTING_KEY, "", 320));
    EXPECT_EQ(Wire("c88c944a2ea91f91638e6babf2888846d5a8d293"), Output(COUNTING_KEY, "", 340));
    EXPECT_EQ(Wire("ef17fbacdb667eb6c9da3d1e903f964ebede3399"), Output(COUNTING_KEY, "", 680));
    EXPECT_EQ(Wire("962d4209be16fb707bbea72a3307b4f749267b81"), Output(COUNTING_KEY, "", 3400));
    EXPECT_EQ(Wire("8021a250853b214dc269138edc7c30740ce685bd"), Output(COUNTING_KEY, "", 6800));
}

TEST(Turing, OutputOfAKeyOfOnes) {
    const std::string key(32, '\xFF');
    EXPECT_EQ(Wire("7ca0dffcad9f564924242cde95879b70dcabfe34"), Output(key, "", 0));
    EXPECT_EQ(Wire("3fabfac52fb3af60f88eec69dae086aff0664c0a"), Output(key, "", 340));
    EXPECT_EQ(Wire("9dac58d866021449700d9d23467a68cae01c845c"), Output(key, "", 3400));
}

TEST(Turing, OutputOfAKeyOfZeros) {
    const std::string key(32, '\0');
    EXPECT_EQ(Wire("e78fb2fb995aa5486183feafd5abfab76e7f7ee1"), Output(key, "", 0));
    EXPECT_EQ(Wire("2fd0e318345eb4e877898a40f460cb85b360ea5d"), Output(key, "", 340));
    EXPECT_EQ(Wire("d0b282636227a9dec59d7ccbcd3b5e6502511959"), Output(key, "", 3400));
}

TEST(TuringTables, TheBytesAreAPermutation) {
    const std::set<uint8_t> bytes(tavud::turing_sbox_table.begin(), tavud::turing_sbox_table.end());
    EXPECT_EQ(256U, bytes.size());
}

TEST(TuringTables, MultiplyingIsLinear) {
    const auto &table = tavud::turing_multiply_table;
    EXPECT_EQ(0xD02B4367U, table[1]);
    for (size_t one = 0; one < 256; one++) {
        for (size_t bit = 1; bit < 256; bit <<= 1) {
            EXPECT_EQ(table[one] ^ table[bit], table[one ^ bit]) << one << " " << bit;
        }
    }
}

// The first `count` bytes of the keystream, taken in pieces of `piece_bytes`.
std::string Stream(size_t count, size_t piece_bytes) {
    tavud::Keystream keystream(COUNTING_KEY);
    std::string stream(count, '\0');
    for (size_t at = 0; at < count; at += piece_bytes) {
        keystream.Apply(reinterpret_cast<uint8_t *>(stream.data()) + at,
                        std::min(piece_bytes, count - at));
    }
    return stream;
}

TEST(Keystream, OneBlockServesTenTimes) {
    const std::string stream = Stream(3401, 3401);
    EXPECT_EQ(Wire("38cbd98552349d107312d71ed3854549037e7979"), stream.substr(0, 20));
    EXPECT_EQ(Wire("9c21aba17aa283978b7986ed4362bc2019138fe4"), stream.substr(320, 20));
    for (size_t at = 340; at < 3400; at += 340) {
        EXPECT_EQ(stream.substr(0, 340), stream.substr(at, 340)) << at;
    }
    EXPECT_EQ('\xE4', stream[339]);
    EXPECT_EQ('\x38', stream[340]);
    EXPECT_EQ('\xE4', stream[3399]);
    EXPECT_EQ('\xC8', stream[3400]);
}

TEST(Keystream, BlocksFollowAtEach3400Bytes) {
    const std::string stream = Stream(68020, 68020);
    EXPECT_EQ(Wire("c88c944a2ea91f91638e6babf2888846d5a8d293"), stream.substr(3400, 20));
    EXPECT_EQ(Wire("c88c944a2ea91f91638e6babf2888846d5a8d293"), stream.substr(6460, 20));
    EXPECT_EQ(Wire("ef17fbacdb667eb6c9da3d1e903f964ebede3399"), stream.substr(6800, 20));
    EXPECT_EQ(Wire("962d4209be16fb707bbea72a3307b4f749267b81"), stream.substr(34000, 20));
    EXPECT_EQ(Wire("8021a250853b214dc269138edc7c30740ce685bd"), stream.substr(68000, 20));
}

TEST(Keystream, PiecesOfAnySizeGiveTheSameStream) {
    const std::string whole = Stream(10300, 10300);
    for (const size_t piece : {1, 3, 7, 8, 9, 85, 339, 340, 341, 1000, 3399, 3400, 3401}) {
        EXPECT_EQ(whole, Stream(10300, piece)) << piece;
    }
}

TEST(Keystream, ApplyingItToBytesIsAnExclusiveOr) {
    tavud::Keystream keystream(COUNTING_KEY);
    std::string bytes = Wire("ffffffff 00000000 'abcd'");
    keystream.Apply(reinterpret_cast<uint8_t *>(bytes.data()), bytes.size());
    EXPECT_EQ(Wire("c734267a 52349d10 1270b47a"), bytes);
}

TEST(Keystream, ACopyGoesOnByItself) {
    tavud::Keystream one(COUNTING_KEY);
    tavud::Keystream other = one;
    std::string bytes(3400, '\0');
    one.Apply(reinterpret_cast<uint8_t *>(bytes.data()), bytes.size());
    uint8_t byte = 0;
    other.Apply(&byte, 1);
    EXPECT_EQ(0x38, byte);
    byte = 0;
    one.Apply(&byte, 1);
    EXPECT_EQ(0xC8, byte);
}

}  // namespace
}  // namespace tavud_test
