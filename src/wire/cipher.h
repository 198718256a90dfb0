// The stream cipher of an enciphered conversation: one keystream for each direction, both from the
// key of the login. The generator is the Turing cipher of Rose and Hawkes in its block form.
#pragma once

#include <cstdint>
#include <cstring>

#include "records/connection.h"

// Words of a key, and of an initialisation vector: with the word of their lengths they fill the
// register.
constexpr int32_t CIPHER_KEY_WORDS_MAX = 8;
constexpr int32_t CIPHER_REGISTER_WORDS = 2 * CIPHER_KEY_WORDS_MAX + 1;
// What the generator puts out at a time: 17 rounds of 20 bytes, behind which the words of its
// register stand in their places again.
constexpr int32_t CIPHER_BLOCK_BYTES = 340;
// How often a block is used before the next one is made. The server counts the same way.
constexpr int32_t CIPHER_BLOCK_USES = 10;
constexpr int32_t CIPHER_PERIOD_BYTES = CIPHER_BLOCK_BYTES * CIPHER_BLOCK_USES;

// The keystream of one direction.
struct CipherState {
    int32_t key_words;                         // words of mixed_key in use
    uint32_t mixed_key[CIPHER_KEY_WORDS_MAX];  // the key after its schedule
    uint32_t shift_register[CIPHER_REGISTER_WORDS];
    uint32_t keyed_sbox[4][256];
    int32_t pos;                             // the next byte of keystream: 0 to 3399
    uint8_t keystream[CIPHER_PERIOD_BYTES];  // the block ten times over, so that a run of bytes
                                             // never wraps at the end of one
};

// Keys a keystream and makes its first block. Lengths are in bytes, rounded down to words of 4 and
// cut at CIPHER_KEY_WORDS_MAX.
void CipherStart(CipherState *cipher, const uint8_t *key, int32_t key_bytes, const uint8_t *vector,
                 int32_t vector_bytes);

// Makes both keystreams, from one key and an empty vector; the connection has none yet. False when
// memory is short: there is none then.
bool CipherSetup(Connection *conn, const uint8_t *key, int32_t key_bytes);

// XORs the send keystream into the bytes; no keystream, no change.
void CipherApplySend(Connection *conn, void *bytes, int32_t length);

// XORs the receive keystream into the bytes; no keystream, no change.
void CipherApplyRecv(Connection *conn, void *bytes, int32_t length);

// Frees both keystreams and clears the pointers.
void CipherFree(Connection *conn);

// Stores `source` XOR `keystream` in `target`, which may be `source`.
inline void CipherXor(uint8_t *target, const uint8_t *source, const uint8_t *keystream,
                      int32_t length) {
    int32_t done = 0;
    for (; length - done >= 8; done += 8) {
        uint64_t word;
        uint64_t key_word;
        memcpy(&word, source + done, sizeof(word));
        memcpy(&key_word, keystream + done, sizeof(key_word));
        word ^= key_word;
        memcpy(target + done, &word, sizeof(word));
    }
    for (; done < length; done++) {
        target[done] = (uint8_t)(source[done] ^ keystream[done]);
    }
}
