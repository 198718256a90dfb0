// The keystream over one direction of an enciphered connection.
#include "server/keystream.h"

#include <algorithm>
#include <cstring>

namespace tavud {

namespace {

// A word at a time, which is several times as fast as bytes.
void Xor(uint8_t *bytes, const uint8_t *stream, size_t count) {
    for (; count >= sizeof(uint64_t); count -= sizeof(uint64_t)) {
        uint64_t word = 0;
        uint64_t mask = 0;
        std::memcpy(&word, bytes, sizeof(word));
        std::memcpy(&mask, stream, sizeof(mask));
        word ^= mask;
        std::memcpy(bytes, &word, sizeof(word));
        bytes += sizeof(word);
        stream += sizeof(word);
    }
    for (; count > 0; count--) {
        *bytes++ ^= *stream++;
    }
}

}  // namespace

Keystream::Keystream(std::string_view key) : cipher_(key) {
    cipher_.NextBlock(&block_);
}

void Keystream::Apply(uint8_t *bytes, size_t count) {
    while (count > 0) {
        const size_t run = std::min(count, Turing::BLOCK_BYTES - next_);
        Xor(bytes, block_.data() + next_, run);
        bytes += run;
        count -= run;
        next_ += run;
        if (next_ < Turing::BLOCK_BYTES) return;
        next_ = 0;
        if (++uses_ < BLOCK_USES) continue;
        uses_ = 0;
        cipher_.NextBlock(&block_);
    }
}

}  // namespace tavud
