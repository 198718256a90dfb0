// The key pair of the enciphered login: whoever has the two public numbers can encipher blocks that
// the server alone reads.
#pragma once

#include <cstddef>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include <gmpxx.h>

namespace tavud {

// A key file that cannot be read, written or used.
struct BadKey : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// May be used by several threads at once.
class KeyPair {
public:
    // A block and both public numbers: 256 bits, the least significant byte first.
    static constexpr size_t BLOCK_BYTES = 32;

    // A fresh one, different each time.
    static KeyPair Make();
    // The one that a key file's text describes. Throws BadKey.
    static KeyPair Parse(std::string_view text);
    // The one in the file, which is made when it does not exist; of several programs that make it
    // at once, one wins and all load the same. Throws BadKey.
    static KeyPair Load(const std::string &file);

    // The text of a key file, of which Parse makes an equal pair.
    std::string Text() const;
    // Both of BLOCK_BYTES bytes. The modulus has its top bit set.
    std::string Exponent() const;
    std::string Modulus() const;
    // The plain form of a block of BLOCK_BYTES bytes. Nothing when the block is not below the
    // modulus, which no enciphered block is.
    std::optional<std::string> Decipher(std::string_view block) const;

private:
    KeyPair(mpz_class exponent, mpz_class prime, mpz_class other_prime);

    mpz_class exponent_;
    mpz_class prime_;
    mpz_class other_prime_;
    mpz_class modulus_;
    // The private exponent is kept as its remainders for the two primes, which makes deciphering
    // several times as fast.
    mpz_class prime_exponent_;
    mpz_class other_prime_exponent_;
    mpz_class other_prime_inverse_;  // modulo the first prime
};

}  // namespace tavud
