// The stream cipher of an enciphered conversation.
//
// Byte 0 of a word is its most significant one throughout.
#include "wire/cipher.h"

#include <bit>
#include <utility>

#include "platform/memory.h"
#include "wire/cipher_tables.h"

constexpr int32_t ROUNDS = 17;
constexpr int32_t ROUND_BYTES = 20;
constexpr int32_t ROUND_SHIFTS = 5;
static_assert(ROUNDS * ROUND_BYTES == CIPHER_BLOCK_BYTES);
static_assert(ROUNDS * ROUND_SHIFTS % CIPHER_REGISTER_WORDS == 0);
// The word behind the key in a loaded register, but for the lengths of key and vector.
constexpr uint32_t LENGTH_WORD = 0x01020300;

static inline uint8_t ByteOf(uint32_t word, int32_t index) {
    return (uint8_t)(word >> (24 - 8 * index));
}

static inline uint32_t WithByte(uint32_t word, int32_t index, uint8_t byte) {
    const int32_t shift = 24 - 8 * index;
    return (word & ~((uint32_t)0xFF << shift)) | (uint32_t)byte << shift;
}

static inline uint32_t LoadBigEndian(const uint8_t *bytes) {
    return (uint32_t)bytes[0] << 24 | (uint32_t)bytes[1] << 16 | (uint32_t)bytes[2] << 8 | bytes[3];
}

static inline void StoreBigEndian(uint8_t *bytes, uint32_t word) {
    const uint32_t stored = __builtin_bswap32(word);
    memcpy(bytes, &stored, sizeof(stored));
}

// The substitution that depends on no key.
static uint32_t FixedSubstitute(uint32_t word) {
    for (int32_t index = 0; index < 4; index++) {
        const uint8_t byte = cipher_sbox_table[ByteOf(word, index)];
        word ^= std::rotl(cipher_qbox_table[byte], 8 * index);
        word = WithByte(word, index, byte);
    }
    return word;
}

// The substitution through the keyed tables, of the word turned left by `turn` bytes.
static inline uint32_t Substitute(const CipherState *cipher, uint32_t word, int32_t turn) {
    const uint32_t turned = std::rotl(word, 8 * turn);
    return cipher->keyed_sbox[0][ByteOf(turned, 0)] ^ cipher->keyed_sbox[1][ByteOf(turned, 1)] ^
           cipher->keyed_sbox[2][ByteOf(turned, 2)] ^ cipher->keyed_sbox[3][ByteOf(turned, 3)];
}

// The pseudo-Hadamard mix: the last word becomes the sum of all, and is then added to each other.
static void MixWords(uint32_t *words, int32_t count) {
    if (count < 1) return;
    uint32_t sum = 0;
    for (int32_t i = 0; i < count; i++) {
        sum += words[i];
    }
    words[count - 1] = sum;
    for (int32_t i = 0; i < count - 1; i++) {
        words[i] += sum;
    }
}

static void SetKey(CipherState *cipher, const uint8_t *key, int32_t key_words) {
    cipher->key_words = key_words;
    for (int32_t i = 0; i < key_words; i++) {
        cipher->mixed_key[i] = FixedSubstitute(LoadBigEndian(key + 4 * i));
    }
    MixWords(cipher->mixed_key, key_words);
    for (int32_t table = 0; table < 4; table++) {
        for (int32_t entry = 0; entry < 256; entry++) {
            uint32_t word = 0;
            uint8_t byte = (uint8_t)entry;
            for (int32_t i = 0; i < key_words; i++) {
                byte = cipher_sbox_table[ByteOf(cipher->mixed_key[i], table) ^ byte];
                word ^= std::rotl(cipher_qbox_table[byte], i + 8 * table);
            }
            cipher->keyed_sbox[table][entry] = WithByte(word, table, byte);
        }
    }
}

// Fills the register: the vector, the key, the word of the lengths, and what the tables make of
// these.
static void LoadRegister(CipherState *cipher, const uint8_t *vector, int32_t vector_words) {
    uint32_t *words = cipher->shift_register;
    int32_t count = 0;
    for (int32_t i = 0; i < vector_words; i++) {
        words[count++] = FixedSubstitute(LoadBigEndian(vector + 4 * i));
    }
    for (int32_t i = 0; i < cipher->key_words; i++) {
        words[count++] = cipher->mixed_key[i];
    }
    words[count++] = (uint32_t)cipher->key_words << 4 | (uint32_t)vector_words | LENGTH_WORD;
    for (int32_t i = 0; count < CIPHER_REGISTER_WORDS; i++, count++) {
        words[count] = Substitute(cipher, words[i] + words[count - 1], 0);
    }
    MixWords(words, CIPHER_REGISTER_WORDS);
}

// The register is not moved: after so many shifts its word `index` stands in this place of the
// array. Both are constants wherever this is used.
static constexpr int32_t Place(int32_t shifts, int32_t index) {
    return (shifts + index) % CIPHER_REGISTER_WORDS;
}

template <int32_t SHIFTS>
[[gnu::always_inline]] static inline void Shift(uint32_t *words) {
    const uint32_t oldest = words[Place(SHIFTS, 0)];
    words[Place(SHIFTS, 0)] = words[Place(SHIFTS, 15)] ^ words[Place(SHIFTS, 4)] ^ oldest << 8 ^
                              cipher_feedback_table[oldest >> 24];
}

[[gnu::always_inline]] static inline void MixFive(uint32_t *a, uint32_t *b, uint32_t *c,
                                                  uint32_t *d, uint32_t *e) {
    *e += *a + *b + *c + *d;
    *a += *e;
    *b += *e;
    *c += *e;
    *d += *e;
}

// One round with the register already shifted SHIFTS times.
template <int32_t SHIFTS>
[[gnu::always_inline]] static inline void Round(const CipherState *cipher, uint32_t *words,
                                                uint8_t *output) {
    Shift<SHIFTS>(words);
    uint32_t a = words[Place(SHIFTS + 1, 16)];
    uint32_t b = words[Place(SHIFTS + 1, 13)];
    uint32_t c = words[Place(SHIFTS + 1, 6)];
    uint32_t d = words[Place(SHIFTS + 1, 1)];
    uint32_t e = words[Place(SHIFTS + 1, 0)];
    MixFive(&a, &b, &c, &d, &e);
    a = Substitute(cipher, a, 0);
    b = Substitute(cipher, b, 1);
    c = Substitute(cipher, c, 2);
    d = Substitute(cipher, d, 3);
    e = Substitute(cipher, e, 0);
    MixFive(&a, &b, &c, &d, &e);
    Shift<SHIFTS + 1>(words);
    Shift<SHIFTS + 2>(words);
    Shift<SHIFTS + 3>(words);
    StoreBigEndian(output, a + words[Place(SHIFTS + 4, 14)]);
    StoreBigEndian(output + 4, b + words[Place(SHIFTS + 4, 12)]);
    StoreBigEndian(output + 8, c + words[Place(SHIFTS + 4, 8)]);
    StoreBigEndian(output + 12, d + words[Place(SHIFTS + 4, 1)]);
    StoreBigEndian(output + 16, e + words[Place(SHIFTS + 4, 0)]);
    Shift<SHIFTS + 4>(words);
}

template <int32_t... ROUND>
[[gnu::always_inline]] static inline void AllRounds(const CipherState *cipher, uint32_t *words,
                                                    uint8_t *output,
                                                    std::integer_sequence<int32_t, ROUND...>) {
    (Round<ROUND * ROUND_SHIFTS>(cipher, words, output + ROUND * ROUND_BYTES), ...);
}

// Makes the next block and begins its keystream.
static void NextBlock(CipherState *cipher) {
    uint32_t words[CIPHER_REGISTER_WORDS];
    memcpy(words, cipher->shift_register, sizeof(words));
    AllRounds(cipher, words, cipher->keystream, std::make_integer_sequence<int32_t, ROUNDS>());
    memcpy(cipher->shift_register, words, sizeof(words));
    for (int32_t use = 1; use < CIPHER_BLOCK_USES; use++) {
        memcpy(cipher->keystream + use * CIPHER_BLOCK_BYTES, cipher->keystream, CIPHER_BLOCK_BYTES);
    }
    cipher->pos = 0;
}

// The whole words of so many bytes, cut at what a record can hold.
static int32_t WholeWords(int32_t bytes) {
    const int32_t words = bytes / 4;
    if (words < 0) return 0;
    return words < CIPHER_KEY_WORDS_MAX ? words : CIPHER_KEY_WORDS_MAX;
}

void CipherStart(CipherState *cipher, const uint8_t *key, int32_t key_bytes, const uint8_t *vector,
                 int32_t vector_bytes) {
    SetKey(cipher, key, WholeWords(key_bytes));
    LoadRegister(cipher, vector, WholeWords(vector_bytes));
    NextBlock(cipher);
}

bool CipherSetup(Connection *conn, const uint8_t *key, int32_t key_bytes) {
    conn->recv_cipher = (CipherState *)MemAlloc(sizeof(CipherState));
    conn->send_cipher = (CipherState *)MemAlloc(sizeof(CipherState));
    if (conn->recv_cipher == NULL || conn->send_cipher == NULL) {
        CipherFree(conn);
        return false;
    }
    CipherStart(conn->recv_cipher, key, key_bytes, NULL, 0);
    // One key and no vector: the two directions start from the same state.
    memcpy(conn->send_cipher, conn->recv_cipher, sizeof(CipherState));
    return true;
}

static void Apply(CipherState *cipher, void *bytes, int32_t length) {
    if (cipher == NULL) return;
    uint8_t *next = (uint8_t *)bytes;
    while (length > 0) {
        const int32_t left = CIPHER_PERIOD_BYTES - cipher->pos;
        const int32_t run = length < left ? length : left;
        CipherXor(next, next, cipher->keystream + cipher->pos, run);
        next += run;
        length -= run;
        cipher->pos += run;
        if (cipher->pos == CIPHER_PERIOD_BYTES) {
            NextBlock(cipher);
        }
    }
}

void CipherApplySend(Connection *conn, void *bytes, int32_t length) {
    Apply(conn->send_cipher, bytes, length);
}

void CipherApplyRecv(Connection *conn, void *bytes, int32_t length) {
    Apply(conn->recv_cipher, bytes, length);
}

void CipherFree(Connection *conn) {
    MemFree(conn->recv_cipher);
    MemFree(conn->send_cipher);
    conn->recv_cipher = NULL;
    conn->send_cipher = NULL;
}
