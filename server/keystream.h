// The keystream over one direction of an enciphered connection.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "server/turing.h"

namespace tavud {

// Each block of the cipher serves ten times over before the next one: the wire has it so.
class Keystream {
public:
    static constexpr size_t KEY_BYTES = 32;
    static constexpr unsigned BLOCK_USES = 10;

    // `key` has KEY_BYTES bytes.
    explicit Keystream(std::string_view key);

    // Exclusive-ors the next `count` bytes of the stream into these. The same call enciphers and
    // deciphers.
    void Apply(uint8_t *bytes, size_t count);

private:
    Turing cipher_;
    Turing::Block block_;
    size_t next_ = 0;    // byte of the block: next_ < Turing::BLOCK_BYTES
    unsigned uses_ = 0;  // how often the block has been used up: uses_ < BLOCK_USES
};

}  // namespace tavud
