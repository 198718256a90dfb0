// The key pair of the enciphered login: whoever has the two public numbers can encipher blocks that
// the server alone reads.
#include "server/key_pair.h"

#include <fcntl.h>
#include <sys/random.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <utility>

namespace tavud {

namespace {

constexpr size_t MODULUS_BITS = KeyPair::BLOCK_BYTES * 8;
constexpr size_t PRIME_BITS = MODULUS_BITS / 2;
constexpr size_t PRIME_BYTES = PRIME_BITS / 8;
constexpr unsigned FRESH_EXPONENT = 65537;
constexpr int PRIME_TEST_ROUNDS = 25;
constexpr int HEXADECIMAL = 16;
// Three lines are far below it; a longer file is none of ours and is not understood.
constexpr size_t FILE_BYTES_MAX = 1024;

constexpr const char *EXPONENT_WORD = "exponent";
constexpr const char *PRIME_WORD = "prime";

size_t BitsOf(const mpz_class &number) {
    return mpz_sizeinbase(number.get_mpz_t(), 2);
}

mpz_class NumberOf(std::string_view bytes) {
    mpz_class number;
    mpz_import(number.get_mpz_t(), bytes.size(), -1, 1, 0, 0, bytes.data());
    return number;
}

std::string BytesOf(const mpz_class &number) {
    std::string bytes(KeyPair::BLOCK_BYTES, '\0');
    mpz_export(bytes.data(), nullptr, -1, 1, 0, 0, number.get_mpz_t());
    return bytes;
}

mpz_class Power(const mpz_class &base, const mpz_class &exponent, const mpz_class &modulus) {
    mpz_class power;
    mpz_powm(power.get_mpz_t(), base.get_mpz_t(), exponent.get_mpz_t(), modulus.get_mpz_t());
    return power;
}

std::optional<mpz_class> Inverse(const mpz_class &number, const mpz_class &modulus) {
    mpz_class inverse;
    if (mpz_invert(inverse.get_mpz_t(), number.get_mpz_t(), modulus.get_mpz_t()) == 0) {
        return std::nullopt;
    }
    return inverse;
}

bool IsPrime(const mpz_class &number) {
    return mpz_probab_prime_p(number.get_mpz_t(), PRIME_TEST_ROUNDS) != 0;
}

// With the two top bits set, so that the product of two of them has its top bit set.
mpz_class MakePrime() {
    std::array<char, PRIME_BYTES> random;
    if (getrandom(random.data(), random.size(), 0) != static_cast<ssize_t>(random.size())) {
        throw BadKey("the system gives no random bytes");
    }
    mpz_class number = NumberOf({random.data(), random.size()});
    mpz_setbit(number.get_mpz_t(), PRIME_BITS - 1);
    mpz_setbit(number.get_mpz_t(), PRIME_BITS - 2);
    mpz_nextprime(number.get_mpz_t(), number.get_mpz_t());
    return number;
}

// "word number", as one line of a key file.
mpz_class ReadNumber(std::istream *text, const char *word) {
    std::string name;
    std::string digits;
    *text >> name >> digits;
    mpz_class number;
    const bool sound = name == word && digits.size() <= MODULUS_BITS / 4 &&
                       digits.find_first_not_of("0123456789abcdef") == std::string::npos &&
                       number.set_str(digits, HEXADECIMAL) == 0;
    if (!sound) throw BadKey(std::string("a line \"") + word + " NUMBER\" was expected");
    return number;
}

[[noreturn]] void FailOnFile(const char *action, const std::string &file) {
    const int failure = errno;
    throw BadKey(std::string("cannot ") + action + " key file " + file + ": " +
                 std::strerror(failure));
}

// Nothing when there is no such file.
std::optional<std::string> ReadFile(const std::string &file) {
    const int descriptor = open(file.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0 && errno == ENOENT) return std::nullopt;
    if (descriptor < 0) FailOnFile("read", file);
    std::string text(FILE_BYTES_MAX, '\0');
    const ssize_t length = read(descriptor, text.data(), text.size());
    const int failure = errno;
    close(descriptor);
    errno = failure;
    if (length < 0) FailOnFile("read", file);
    text.resize(static_cast<size_t>(length));
    return text;
}

// The file appears whole, under its name, or not at all. One that is there already stays.
void WriteFile(const std::string &file, const std::string &text) {
    std::string temporary = file + ".XXXXXX";
    const int descriptor = mkstemp(temporary.data());
    if (descriptor < 0) FailOnFile("make", file);
    const ssize_t written = write(descriptor, text.data(), text.size());
    close(descriptor);
    const bool made = written == static_cast<ssize_t>(text.size()) &&
                      (link(temporary.c_str(), file.c_str()) == 0 || errno == EEXIST);
    const int failure = errno;
    unlink(temporary.c_str());
    errno = failure;
    if (!made) FailOnFile("make", file);
}

}  // namespace

KeyPair::KeyPair(mpz_class exponent, mpz_class prime, mpz_class other_prime)
    : exponent_(std::move(exponent)),
      prime_(std::move(prime)),
      other_prime_(std::move(other_prime)),
      modulus_(prime_ * other_prime_) {
    if (!IsPrime(prime_) || !IsPrime(other_prime_) || prime_ == other_prime_) {
        throw BadKey("two different primes are needed");
    }
    if (BitsOf(modulus_) != MODULUS_BITS) {
        throw BadKey("the product of the primes has " + std::to_string(BitsOf(modulus_)) +
                     " bits, not " + std::to_string(MODULUS_BITS));
    }
    const std::optional<mpz_class> first = Inverse(exponent_, prime_ - 1);
    const std::optional<mpz_class> second = Inverse(exponent_, other_prime_ - 1);
    if (!first || !second) throw BadKey("the exponent has no counterpart for these primes");
    prime_exponent_ = *first;
    other_prime_exponent_ = *second;
    other_prime_inverse_ = Inverse(other_prime_, prime_).value();
}

KeyPair KeyPair::Make() {
    const mpz_class exponent = FRESH_EXPONENT;
    for (;;) {
        const mpz_class prime = MakePrime();
        const mpz_class other_prime = MakePrime();
        const mpz_class modulus = prime * other_prime;
        if (prime == other_prime || BitsOf(modulus) != MODULUS_BITS) continue;
        if (!Inverse(exponent, prime - 1) || !Inverse(exponent, other_prime - 1)) continue;
        return KeyPair(exponent, prime, other_prime);
    }
}

KeyPair KeyPair::Parse(std::string_view text) {
    std::istringstream stream{std::string(text)};
    const mpz_class exponent = ReadNumber(&stream, EXPONENT_WORD);
    const mpz_class prime = ReadNumber(&stream, PRIME_WORD);
    const mpz_class other_prime = ReadNumber(&stream, PRIME_WORD);
    if (!(stream >> std::ws).eof()) throw BadKey("more than three lines");
    return KeyPair(exponent, prime, other_prime);
}

KeyPair KeyPair::Load(const std::string &file) {
    std::optional<std::string> text = ReadFile(file);
    if (!text) {
        WriteFile(file, Make().Text());
        text = ReadFile(file);
        if (!text) FailOnFile("read", file);
    }
    try {
        return Parse(*text);
    } catch (const BadKey &bad) {
        throw BadKey("key file " + file + ": " + bad.what());
    }
}

std::string KeyPair::Text() const {
    const auto line = [](const char *word, const mpz_class &number) {
        return std::string(word) + " " + number.get_str(HEXADECIMAL) + "\n";
    };
    return line(EXPONENT_WORD, exponent_) + line(PRIME_WORD, prime_) +
           line(PRIME_WORD, other_prime_);
}

std::string KeyPair::Exponent() const {
    return BytesOf(exponent_);
}

std::string KeyPair::Modulus() const {
    return BytesOf(modulus_);
}

std::optional<std::string> KeyPair::Decipher(std::string_view block) const {
    const mpz_class number = NumberOf(block);
    if (number >= modulus_) return std::nullopt;
    const mpz_class plain = Power(number, prime_exponent_, prime_);
    const mpz_class other_plain = Power(number, other_prime_exponent_, other_prime_);
    mpz_class factor = (plain - other_plain) * other_prime_inverse_;
    mpz_mod(factor.get_mpz_t(), factor.get_mpz_t(), prime_.get_mpz_t());
    return BytesOf(other_plain + factor * other_prime_);
}

}  // namespace tavud
