// The key pair of the enciphered login: its numbers, deciphering, and its file.
#include "server/key_pair.h"

#include <sys/stat.h>

#include <fstream>
#include <iterator>
#include <latch>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "server/cipher_client.h"
#include "server/raw_client.h"
#include "server/temporary_folder.h"

namespace tavud_test {
namespace {

using tavud::KeyPair;

std::string ReadAll(const std::string &file) {
    std::ifstream stream(file);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

void WriteAll(const std::string &file, const std::string &text) {
    std::ofstream(file) << text;
}

// What is said of a key file's text that cannot be used, or "".
std::string Complaint(const std::string &text) {
    try {
        KeyPair::Parse(text);
    } catch (const tavud::BadKey &bad) {
        return bad.what();
    }
    return "";
}

std::string LoadComplaint(const std::string &file) {
    try {
        KeyPair::Load(file);
    } catch (const tavud::BadKey &bad) {
        return bad.what();
    }
    return "";
}

struct KnownPower {
    const char *plain;
    const char *power;
};

// Powers to 10001 hexadecimal modulo the known modulus, worked out elsewhere.
const KnownPower known_powers[] = {
    {"0000000000000000000000000000000000000000000000000000000000000000",
     "0000000000000000000000000000000000000000000000000000000000000000"},
    {"0100000000000000000000000000000000000000000000000000000000000000",
     "0100000000000000000000000000000000000000000000000000000000000000"},
    {"000102030405060708090a0b0c0d0e0f101112131415161718191a1b1c1d1e1f",
     "d093ee89ca486a8ba90a7805e3da43bcbd0463fc0e7c57fc5a40708777c31819"},
    {"3100000000000000000000000000000000000000000000000000000000000000",
     "d0f807feda02c0853e53fe164c82f94d8c92ff9d8d30c3dfae4bec28a632eb14"},
    {"ffffffffffffffffffffffffffffffffffffffffffffffffffffffffffffff7f",
     "c7a0cff873119f7762c6296c0d03e4717224595d6c5b61ad3b24ea14c3027089"},
    {"316bb36fb0a6a231909a5133b5f6e220c85af62022dee40f1765126fe86b34e1",
     "033cca57e77c267d50562c9a0d39b34e22582bfb73dcf2ba118b84a57c4fde77"},
    {"326bb36fb0a6a231909a5133b5f6e220c85af62022dee40f1765126fe86b34e1",
     "326bb36fb0a6a231909a5133b5f6e220c85af62022dee40f1765126fe86b34e1"},
};

TEST(KeyPair, TheKnownPairHandsOutItsNumbersLeastByteFirst) {
    const KeyPair pair = KeyPair::Parse(KNOWN_KEY_PAIR);
    EXPECT_EQ(Wire("0100010000000000000000000000000000000000000000000000000000000000"),
              pair.Exponent());
    EXPECT_EQ(Wire("336bb36fb0a6a231909a5133b5f6e220c85af62022dee40f1765126fe86b34e1"),
              pair.Modulus());
}

TEST(KeyPair, DeciphersKnownPowers) {
    const KeyPair pair = KeyPair::Parse(KNOWN_KEY_PAIR);
    for (const KnownPower &known : known_powers) {
        EXPECT_EQ(Wire(known.plain), pair.Decipher(Wire(known.power))) << known.plain;
    }
}

TEST(KeyPair, DeciphersAPowerToAFullLengthExponent) {
    const KeyPair pair = KeyPair::Parse(
        "exponent 65666768696a6b6c6d6e6f707172737475767778797a7b7c7d7e7f8081828387\n"
        "prime e68bb4337008f5bcf806b54418dd70fd\nprime fa11c1efc0100146796ebea655115bef\n");
    EXPECT_EQ(Wire("87838281807f7e7d7c7b7a797877767574737271706f6e6d6c6b6a6968676665"),
              pair.Exponent());
    EXPECT_EQ(
        Wire("000102030405060708090a0b0c0d0e0f101112131415161718191a1b1c1d1e1f"),
        pair.Decipher(Wire("2210f28a6270d521cef7a0c452168367c85804bbdf9e1c23c66fd342c6c2d630")));
}

TEST(KeyPair, AnExponentOfOneLeavesBlocksAsTheyAre) {
    const KeyPair pair = KeyPair::Parse(
        "exponent 1\nprime e68bb4337008f5bcf806b54418dd70fd\n"
        "prime fa11c1efc0100146796ebea655115bef\n");
    EXPECT_EQ(std::string(32, '\x5A'), pair.Decipher(std::string(32, '\x5A')));
}

TEST(KeyPair, ABlockThatIsNotBelowTheModulusIsNone) {
    const KeyPair pair = KeyPair::Parse(KNOWN_KEY_PAIR);
    EXPECT_EQ(
        std::nullopt,
        pair.Decipher(Wire("336bb36fb0a6a231909a5133b5f6e220c85af62022dee40f1765126fe86b34e1")));
    EXPECT_EQ(std::nullopt, pair.Decipher(std::string(32, '\xFF')));
}

TEST(KeyPair, FreshPairsDifferAndReadWhatTheirPublicKeyMakes) {
    const std::vector<std::string> plain = {
        std::string(32, '\0'),
        CountingKey(),
        std::string(31, '\xFF') + "\x7F",
        std::string(30, '\xFF') + "\x07\x07",
        "x" + std::string(31, '\0'),
    };
    std::string modulus_before;
    for (int i = 0; i < 20; i++) {
        const KeyPair pair = KeyPair::Make();
        ASSERT_EQ(32U, pair.Modulus().size());
        EXPECT_NE(0, pair.Modulus()[31] & 0x80);
        EXPECT_NE(modulus_before, pair.Modulus());
        modulus_before = pair.Modulus();
        const std::string message = EncipherBlocks(pair.Exponent() + pair.Modulus(), plain);
        for (size_t block = 0; block < plain.size(); block++) {
            EXPECT_EQ(plain[block], pair.Decipher(message.substr(32 * block, 32)));
        }
    }
}

TEST(KeyPair, ItsTextMakesTheSamePair) {
    EXPECT_EQ(KNOWN_KEY_PAIR, KeyPair::Parse(KNOWN_KEY_PAIR).Text());
    const KeyPair pair = KeyPair::Make();
    const KeyPair again = KeyPair::Parse(pair.Text());
    EXPECT_EQ(pair.Modulus(), again.Modulus());
    EXPECT_EQ(pair.Exponent(), again.Exponent());
    const std::string message = EncipherBlocks(pair.Exponent() + pair.Modulus(), {CountingKey()});
    EXPECT_EQ(CountingKey(), again.Decipher(message));
}

TEST(KeyPair, ATextThatIsNoneIsRefused) {
    const std::string prime = "prime e68bb4337008f5bcf806b54418dd70fd\n";
    const std::string other = "prime fa11c1efc0100146796ebea655115bef\n";
    EXPECT_EQ("", Complaint("exponent 10001\n" + prime + other));
    const std::string no_exponent = "a line \"exponent NUMBER\" was expected";
    const std::string no_prime = "a line \"prime NUMBER\" was expected";
    EXPECT_EQ(no_exponent, Complaint(""));
    EXPECT_EQ(no_exponent, Complaint("exponent"));
    EXPECT_EQ(no_exponent, Complaint("exponent -3\n" + prime + other));
    EXPECT_EQ(no_exponent, Complaint("exponent " + std::string(65, '1') + "\n" + prime + other));
    EXPECT_EQ(no_exponent, Complaint(prime + other));
    EXPECT_EQ(no_prime, Complaint("exponent 10001\n" + prime));
    EXPECT_EQ(no_prime, Complaint("exponent 10001\nprime 0x11\n" + other));
    EXPECT_EQ("more than three lines", Complaint("exponent 10001\n" + prime + other + other));
    const std::string not_primes = "two different primes are needed";
    EXPECT_EQ(not_primes, Complaint("exponent 10001\n" + prime + prime));
    EXPECT_EQ(not_primes, Complaint("exponent 10001\n" + prime + "prime 10\n"));
    EXPECT_EQ(not_primes, Complaint("exponent 10001\nprime 0\n" + other));
    EXPECT_EQ("the product of the primes has 132 bits, not 256",
              Complaint("exponent 10001\n" + prime + "prime d\n"));
    const std::string no_counterpart = "the exponent has no counterpart for these primes";
    EXPECT_EQ(no_counterpart, Complaint("exponent 2\n" + prime + other));
    EXPECT_EQ(no_counterpart, Complaint("exponent 0\n" + prime + other));
}

TEST(KeyFile, IsMadeWhenItDoesNotExistAndKeptAfterwards) {
    const TemporaryFolder folder;
    const std::string file = folder.File("key");
    const KeyPair made = KeyPair::Load(file);
    EXPECT_EQ(1U, folder.FileCount());
    struct stat status = {};
    ASSERT_EQ(0, stat(file.c_str(), &status));
    EXPECT_EQ(0600U, status.st_mode & 0777);
    const std::string text = ReadAll(file);
    EXPECT_EQ(made.Text(), text);
    EXPECT_EQ(made.Modulus(), KeyPair::Load(file).Modulus());
    EXPECT_EQ(text, ReadAll(file));
}

TEST(KeyFile, OneThatIsThereIsLoaded) {
    const TemporaryFolder folder;
    const std::string file = folder.File("key");
    WriteAll(file, KNOWN_KEY_PAIR);
    const KeyPair pair = KeyPair::Load(file);
    EXPECT_EQ(KnownPublicKey(), pair.Exponent() + pair.Modulus());
}

TEST(KeyFile, SeveralThatMakeItAtOnceLoadTheSame) {
    // Whether two of them really meet is chance; in twenty rounds some do.
    for (int round = 0; round < 20; round++) {
        const TemporaryFolder folder;
        const std::string file = folder.File("key");
        std::vector<std::string> moduli(4);
        std::latch all_started(4);
        std::vector<std::thread> threads;
        for (std::string &modulus : moduli) {
            threads.emplace_back([&file, &modulus, &all_started] {
                all_started.arrive_and_wait();
                modulus = KeyPair::Load(file).Modulus();
            });
        }
        for (std::thread &thread : threads) {
            thread.join();
        }
        EXPECT_EQ(std::vector<std::string>(4, KeyPair::Load(file).Modulus()), moduli);
        EXPECT_EQ(1U, folder.FileCount());
    }
}

TEST(KeyFile, WhatCannotBeUsedIsToldWithItsName) {
    const TemporaryFolder folder;
    const std::string file = folder.File("key");
    WriteAll(file, "");
    EXPECT_EQ("key file " + file + ": a line \"exponent NUMBER\" was expected",
              LoadComplaint(file));
    EXPECT_EQ("", ReadAll(file));
    const std::string nowhere = folder.File("no/such/folder");
    EXPECT_EQ("cannot make key file " + nowhere + ": No such file or directory",
              LoadComplaint(nowhere));
    const std::string here = folder.File(".");
    EXPECT_EQ("cannot read key file " + here + ": Is a directory", LoadComplaint(here));
}

}  // namespace
}  // namespace tavud_test
