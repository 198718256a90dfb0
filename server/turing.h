// The Turing stream cipher of Rose and Hawkes: a key makes an endless row of blocks.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace tavud {

class Turing {
public:
    static constexpr size_t BLOCK_BYTES = 340;
    static constexpr size_t KEY_BYTES_MAX = 32;
    using Block = std::array<uint8_t, BLOCK_BYTES>;

    // `key` and `iv` are whole words of 4 bytes; the key has 4 to KEY_BYTES_MAX bytes, the initial
    // vector 0 to 16.
    explicit Turing(std::string_view key, std::string_view iv = "");

    // The next bytes of the cipher's output.
    void NextBlock(Block *block);

private:
    static constexpr size_t REGISTER_WORDS = 17;
    static constexpr size_t KEY_WORDS_MAX = KEY_BYTES_MAX / 4;

    void MakeSubstitutions();
    void Load(std::string_view iv);
    // The word through the keyed substitutions, its byte `turn` first, counted from the top one.
    template <unsigned turn>
    uint32_t Substitute(uint32_t word) const;

    std::array<uint32_t, KEY_WORDS_MAX> key_ = {};
    size_t key_words_;
    std::array<std::array<uint32_t, 256>, 4> substitutions_ = {};
    std::array<uint32_t, REGISTER_WORDS> register_ = {};  // the oldest word first
};

}  // namespace tavud
