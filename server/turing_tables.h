// The fixed tables of the Turing stream cipher, as its authors published them.
#pragma once

#include <array>
#include <cstdint>

namespace tavud {

// A permutation of the bytes.
extern const std::array<uint8_t, 256> turing_sbox_table;
// A word that depends on every bit of its index.
extern const std::array<uint32_t, 256> turing_qbox_table;
// What the top byte of a register word adds when the word is multiplied.
extern const std::array<uint32_t, 256> turing_multiply_table;

}  // namespace tavud
