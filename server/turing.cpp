// The Turing stream cipher of Rose and Hawkes: a key makes an endless row of blocks.
#include "server/turing.h"

#include <algorithm>
#include <bit>
#include <numeric>
#include <span>

#include "server/turing_tables.h"

namespace tavud {

namespace {

constexpr size_t ROUNDS = 17;
// How often the register moves on in one round, and with that in one block: its words then stand
// where they stood before.
constexpr size_t ROUND_STEPS = 5;
constexpr size_t BLOCK_STEPS = ROUNDS * ROUND_STEPS;
constexpr size_t ROUND_WORDS = 5;
constexpr uint32_t LENGTHS_WORD = 0x01020300;

static_assert(Turing::BLOCK_BYTES == ROUNDS * ROUND_WORDS * 4);

// Byte 0 is the most significant.
constexpr uint8_t ByteOf(uint32_t word, unsigned index) {
    return static_cast<uint8_t>(word >> (24 - 8 * (index & 3)));
}

constexpr uint32_t WithByte(uint32_t word, unsigned index, uint8_t byte) {
    const unsigned shift = 24 - 8 * (index & 3);
    return (word & ~(uint32_t{0xFF} << shift)) | uint32_t{byte} << shift;
}

uint32_t LoadWord(std::string_view bytes, size_t word_index) {
    uint32_t word = 0;
    for (size_t i = 0; i < 4; i++) {
        word = word << 8 | static_cast<uint8_t>(bytes[4 * word_index + i]);
    }
    return word;
}

// The substitution without a key, for key words and initial vectors.
uint32_t SubstituteFixed(uint32_t word) {
    for (unsigned i = 0; i < 4; i++) {
        const uint8_t byte = turing_sbox_table[ByteOf(word, i)];
        word ^= std::rotl(turing_qbox_table[byte], static_cast<int>(8 * i));
        word = WithByte(word, i, byte);
    }
    return word;
}

// Spreads each word over all of them.
void Mix(std::span<uint32_t> words) {
    const uint32_t sum = std::accumulate(words.begin(), words.end(), uint32_t{0});
    words.back() = sum;
    for (uint32_t &word : words.first(words.size() - 1)) {
        word += sum;
    }
}

// The five words of a round.
struct Five {
    uint32_t a, b, c, d, e;

    void Mix() {
        e += a + b + c + d;
        a += e;
        b += e;
        c += e;
        d += e;
    }
};

uint8_t *StoreWord(uint32_t word, uint8_t *bytes) {
    for (unsigned i = 0; i < 4; i++) {
        *bytes++ = ByteOf(word, i);
    }
    return bytes;
}

}  // namespace

Turing::Turing(std::string_view key, std::string_view iv) : key_words_(key.size() / 4) {
    for (size_t i = 0; i < key_words_; i++) {
        key_[i] = SubstituteFixed(LoadWord(key, i));
    }
    Mix(std::span(key_).first(key_words_));
    MakeSubstitutions();
    Load(iv);
}

void Turing::MakeSubstitutions() {
    for (unsigned table = 0; table < 4; table++) {
        for (unsigned entry = 0; entry < 256; entry++) {
            uint32_t word = 0;
            auto byte = static_cast<uint8_t>(entry);
            for (unsigned i = 0; i < key_words_; i++) {
                byte = turing_sbox_table[ByteOf(key_[i], table) ^ byte];
                word ^= std::rotl(turing_qbox_table[byte], static_cast<int>(i + 8 * table));
            }
            substitutions_[table][entry] = WithByte(word, table, byte);
        }
    }
}

template <unsigned turn>
uint32_t Turing::Substitute(uint32_t word) const {
    return substitutions_[0][ByteOf(word, turn)] ^ substitutions_[1][ByteOf(word, turn + 1)] ^
           substitutions_[2][ByteOf(word, turn + 2)] ^ substitutions_[3][ByteOf(word, turn + 3)];
}

void Turing::Load(std::string_view iv) {
    const size_t iv_words = iv.size() / 4;
    size_t filled = 0;
    for (; filled < iv_words; filled++) {
        register_[filled] = SubstituteFixed(LoadWord(iv, filled));
    }
    for (size_t i = 0; i < key_words_; i++) {
        register_[filled++] = key_[i];
    }
    register_[filled++] = LENGTHS_WORD | static_cast<uint32_t>(key_words_ << 4 | iv_words);
    for (size_t from = 0; filled < REGISTER_WORDS; from++, filled++) {
        register_[filled] = Substitute<0>(register_[from] + register_[filled - 1]);
    }
    Mix(register_);
}

void Turing::NextBlock(Block *block) {
    // All states of the register during the block, each one word further along this tape.
    std::array<uint32_t, REGISTER_WORDS + BLOCK_STEPS> tape;
    std::copy(register_.begin(), register_.end(), tape.begin());
    for (size_t i = 0; i < BLOCK_STEPS; i++) {
        tape[i + REGISTER_WORDS] =
            tape[i + 15] ^ tape[i + 4] ^ (tape[i] << 8) ^ turing_multiply_table[ByteOf(tape[i], 0)];
    }
    std::copy(tape.end() - REGISTER_WORDS, tape.end(), register_.begin());

    uint8_t *out = block->data();
    for (size_t round = 0; round < ROUNDS; round++) {
        const uint32_t *state = &tape[round * ROUND_STEPS + 1];
        Five five = {state[16], state[13], state[6], state[1], state[0]};
        five.Mix();
        five = {Substitute<0>(five.a), Substitute<1>(five.b), Substitute<2>(five.c),
                Substitute<3>(five.d), Substitute<0>(five.e)};
        five.Mix();
        state += 3;
        out = StoreWord(five.a + state[14], out);
        out = StoreWord(five.b + state[12], out);
        out = StoreWord(five.c + state[8], out);
        out = StoreWord(five.d + state[1], out);
        out = StoreWord(five.e + state[0], out);
    }
}

}  // namespace tavud
