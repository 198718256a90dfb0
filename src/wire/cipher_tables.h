// The fixed tables of the stream cipher, as published.
#pragma once

#include <cstdint>

extern const uint8_t cipher_sbox_table[256];
extern const uint32_t cipher_qbox_table[256];
// The feedback of the shift register, by the byte that is shifted out.
extern const uint32_t cipher_feedback_table[256];
