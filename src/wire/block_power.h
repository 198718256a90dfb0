// The block transform of the login message: modular powers of blocks of 32 bytes. A number is an
// array of 32-bit digits, the least significant first.
#pragma once

#include <cstdint>

#include "records/connection.h"

constexpr int32_t POWER_BLOCK_BYTES = 32;
constexpr int32_t POWER_BLOCK_DIGITS = 8;
// Room of the working numbers. The product of two numbers and one digit of carry fit into it.
constexpr int32_t POWER_WORK_DIGITS = 102;
constexpr int32_t POWER_DIGITS_MAX = (POWER_WORK_DIGITS - 1) / 2;

// Sets `out` to the power `in` to `exponent`, modulo `modulus`; each has `digit_count` digits, and
// `out` may be `in`. An exponent of 1 gives `in` as it is, not reduced; one of 0 gives the
// remainder of 1. Returns 0; or -1, with `in` as it is in `out`, when the modulus is 0; or -1, with
// nothing written, when the digit count is below 1 or above POWER_DIGITS_MAX.
int32_t RsaBlockPower(uint32_t *out, const uint32_t *in, const uint32_t *exponent,
                      const uint32_t *modulus, int32_t digit_count);

// Transforms the buffer in place under the exponent and modulus that the server sent: every whole
// block of 32 bytes, then the rest filled up with zeros to a block. The buffer has room for
// `length` / 32 + 1 blocks, because that last one is written also when no byte is left for it.
void RsaEncryptBlocks(Connection *conn, uint8_t *buffer, int32_t length);
