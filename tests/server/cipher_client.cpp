// The client's side of the enciphered login, written for the tests: blocks, keystreams, a socket.
#include "server/cipher_client.h"

#include <algorithm>
#include <numeric>

#include <gmp.h>
#include <gtest/gtest.h>

namespace tavud_test {

namespace {

constexpr size_t BLOCK_BYTES = 32;
constexpr size_t CHUNK_BYTES = 30;
constexpr size_t STREAM_BLOCK_BYTES = 340;
// Positions that one block of the stream serves.
constexpr size_t STREAM_BLOCK_REACH = 3400;

// Bytes 0 to 1019 that the cipher puts out under CountingKey().
const char *const counting_stream_blocks[] = {
    "38cbd98552349d107312d71ed3854549037e7979cb24924a084546ccf8c85aaf5ccbb1d1cf6b4646"
    "1a86e2225355929211d73d4cad01baed2fe739826ce3d80b7acb39cd85a1fec8d49d209156292d0c"
    "29d5484914d03aa7936f3e090bd802c401dd06b65f8a28728742c64e86c666756fd8c07e31eb3960"
    "adc8de0d6d66f07065fa62e171a137acd2f88e872ad7d08ce31ee31e5141c922ec057e64547740c5"
    "e7507862e53acdff40f2a6b0cd8118b110f0e69e21eee91747d2563d151c511145de02ba214e8f0b"
    "83f655a3a28ce0a40be5007a3d1d948fb18b3ca0b45dd34f8128d73575dbd3aa252b25e16fd37821"
    "1dd425131677c36892e48480c74b49a8643d329e3df1042031530febbce6de336ebd506e1388747d"
    "f6a91c1cb092b32f25e2b244f724f84870e4557b025b1ee02336e86e799545ca7f43ca0130c489a7"
    "9c21aba17aa283978b7986ed4362bc2019138fe4",

    "c88c944a2ea91f91638e6babf2888846d5a8d293971cf73e5f3be650fd81ad26cc736555fff759f9"
    "77ed184298dae0288ffe744f9545ff8547a4b278a701ca70908c133e0fadb588e7f0fea8e80d3d04"
    "a8db5fb8555b45901e4e6b8e9708137e9955c3a174e6683342522ce7186bf0d631266be39858062c"
    "70711af600de5638710aecfd81dfb69bbf62c6f944ecc064f748d5bc39217894d255831069879791"
    "87392f78a88a431a0bf603a033923e829d0669ef2de86fe6f55f38b2bb0f352559c514e25986b9e3"
    "12dcc7990f1fb8d73f3b83102f291473771342417524f2fa2c185842c5c0221dbe839c2f75bc2a76"
    "72d2978909b59287783da0f07ca589b17fb9f7387f359196a51f9f8f9ec443e54873391aad80f6b0"
    "67bfdfb96747af567ebe355fa4b6d55766c1f5c6378f25cd8f1f2a4c071e6442de86e86f7ee4dcf5"
    "f3a797f47d37a4390edfee3cb151aefdfdf47bc9",

    "ef17fbacdb667eb6c9da3d1e903f964ebede33991a0c24e88cbd09c49f71388dd0cd144aa5bde85a"
    "e04addd40009f63f54940b9932f7eb7aefdf2327acdca8622a90e9ad993525438f03b74d770427db"
    "aadea73380443f7776f29b30220f6bf4633fde6e5318d2d1a0a63b2b336abad52dbc695e530c3e61"
    "f2e4bfb0c011350abc6c979e6619b1228cd1be5ec511cf9e8ee6ce2ab1f071d5d8ef82c7a41834a5"
    "4122c198db8a1982f16f22b1ede48f4d76bc6c0faedec4e6e98c5d77393531f8e9ed00f50bc6246e"
    "ddbbf10a5bbb623efae7852b30d0233ea99b8902899e5254a63d5f50c1a1f91d43a599ba6eb5c2e1"
    "eed9fad033da0e00c1833415da70ab6d818587d350af65ab09a2e682102f91e1fdd9a46988ef1e09"
    "621da2df0a25126982bfc4059c7bdc59757ae586349da95d360552ef33db1e9817f5f26a680c0372"
    "8673ba5ef15c70029944156ef332b440a568831e",
};

// A number for GMP, least significant byte first.
class Number {
public:
    explicit Number(std::string_view bytes = "") {
        mpz_init(value);
        mpz_import(value, bytes.size(), -1, 1, 0, 0, bytes.data());
    }
    ~Number() {
        mpz_clear(value);
    }
    Number(const Number &) = delete;
    Number &operator=(const Number &) = delete;

    mpz_t value;
};

}  // namespace

const char *const KNOWN_KEY_PAIR =
    "exponent 10001\n"
    "prime e68bb4337008f5bcf806b54418dd70fd\n"
    "prime fa11c1efc0100146796ebea655115bef\n";

std::string KnownPublicKey() {
    return Wire(
        "0100010000000000000000000000000000000000000000000000000000000000"
        "336bb36fb0a6a231909a5133b5f6e220c85af62022dee40f1765126fe86b34e1");
}

std::string CountingKey() {
    std::string key(BLOCK_BYTES, '\0');
    std::iota(key.begin(), key.end(), '\0');
    return key;
}

std::vector<std::string> SpreadText(std::string_view text) {
    std::vector<std::string> blocks;
    for (; text.size() >= CHUNK_BYTES; text.remove_prefix(CHUNK_BYTES)) {
        blocks.push_back(std::string(text.substr(0, CHUNK_BYTES)) + "\x07\x07");
    }
    blocks.emplace_back(text);
    blocks.back().resize(BLOCK_BYTES, '\0');
    return blocks;
}

std::string EncipherBlocks(std::string_view public_key, const std::vector<std::string> &blocks) {
    const Number exponent(public_key.substr(0, BLOCK_BYTES));
    const Number modulus(public_key.substr(BLOCK_BYTES));
    std::string message;
    for (const std::string &block : blocks) {
        const Number plain(block);
        Number power;
        mpz_powm(power.value, plain.value, exponent.value, modulus.value);
        std::string bytes(BLOCK_BYTES, '\0');
        mpz_export(bytes.data(), nullptr, -1, 1, 0, 0, power.value);
        message += bytes;
    }
    return message;
}

CountingStream::CountingStream() : cipher_(CountingKey()) {}

const tavud::Turing::Block &CountingStream::BlockAt(size_t index) {
    while (blocks_.size() <= index) {
        tavud::Turing::Block block;
        cipher_.NextBlock(&block);
        if (blocks_.size() < std::size(counting_stream_blocks)) {
            const std::string written = Wire(counting_stream_blocks[blocks_.size()]);
            std::copy(written.begin(), written.end(), block.begin());
        }
        blocks_.push_back(block);
    }
    return blocks_[index];
}

std::string CountingStream::Apply(std::string bytes) {
    for (char &byte : bytes) {
        const tavud::Turing::Block &block = BlockAt(position_ / STREAM_BLOCK_REACH);
        byte = static_cast<char>(byte ^ block[position_ % STREAM_BLOCK_BYTES]);
        position_++;
    }
    return bytes;
}

CipherClient::CipherClient(uint16_t port) : raw(port) {
    raw.Send("~ssl~");
    public_key_ = raw.Receive(2 * BLOCK_BYTES);
    EXPECT_EQ(2 * BLOCK_BYTES, public_key_.size());
    public_key_.resize(2 * BLOCK_BYTES, '\x01');
}

void CipherClient::SendLogin(std::string_view text) {
    std::vector<std::string> blocks = SpreadText(text);
    blocks.insert(blocks.begin(), CountingKey());
    SendBlocks(blocks);
}

void CipherClient::SendBlocks(const std::vector<std::string> &blocks) {
    raw.Send(EncipherBlocks(public_key_, blocks));
}

void CipherClient::LogIn(std::string_view items) {
    SendLogin(LoginText(items));
    Expect(Wire("'N' 0000012d 'K'"));
}

void CipherClient::Send(std::string_view plain) {
    raw.Send(sent.Apply(std::string(plain)));
}

std::string CipherClient::Receive(size_t count) {
    return received.Apply(raw.Receive(count));
}

void CipherClient::Expect(std::string_view plain) {
    EXPECT_EQ(std::string(plain), Receive(plain.size()));
}

void CipherClient::Ask(std::string_view text, std::string_view answer) {
    SCOPED_TRACE(std::string(text));
    Send(Frame(text));
    Expect(answer);
}

}  // namespace tavud_test
