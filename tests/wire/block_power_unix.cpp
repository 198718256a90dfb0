// The block transform against the powers of GMP, for numbers that nobody chose, and what it leaves
// on the stack.
#include <gmp.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "wire/block_power.h"

constexpr int CASES = 120000;
// Digits at which the estimate of a quotient goes wrong, and carries run far.
static const uint32_t edge_digits[] = {0,          1,          2,          0x7FFFFFFF,
                                       0x80000000, 0x80000001, 0xFFFFFFFE, 0xFFFFFFFF};

struct Numbers {
    Numbers() {
        mpz_inits(base, exponent, modulus, power, nullptr);
    }

    ~Numbers() {
        mpz_clears(base, exponent, modulus, power, nullptr);
    }

    Numbers(const Numbers &) = delete;
    Numbers &operator=(const Numbers &) = delete;

    mpz_t base;
    mpz_t exponent;
    mpz_t modulus;
    mpz_t power;
};

// A number of any length up to 256 bits, of random digits or of edge digits.
static void Draw(std::mt19937_64 *random, uint32_t *digits) {
    const uint32_t bits = (uint32_t)((*random)() % 257);
    const bool edges = (*random)() % 2 == 0;
    for (uint32_t i = 0; i < 8; i++) {
        digits[i] = edges ? edge_digits[(*random)() % 8] : (uint32_t)(*random)();
        const uint32_t kept = bits > 32 * i ? bits - 32 * i : 0;
        if (kept < 32) {
            digits[i] &= ((uint32_t)1 << kept) - 1;
        }
    }
}

static void Import(mpz_t number, const uint32_t *digits) {
    mpz_import(number, 8, -1, sizeof(*digits), 0, 0, digits);
}

// Whether the library and GMP find the same power.
static bool Agrees(Numbers *numbers, const uint32_t *base, const uint32_t *exponent,
                   const uint32_t *modulus) {
    Import(numbers->base, base);
    Import(numbers->exponent, exponent);
    Import(numbers->modulus, modulus);
    uint32_t power[8];
    const int32_t result = RsaBlockPower(power, base, exponent, modulus, 8);
    if (mpz_sgn(numbers->modulus) == 0) {
        return result == -1 && std::memcmp(power, base, sizeof(power)) == 0;
    }
    if (mpz_cmp_ui(numbers->exponent, 1) == 0) {
        // The one power that is not reduced.
        return result == 0 && std::memcmp(power, base, sizeof(power)) == 0;
    }
    mpz_powm(numbers->power, numbers->base, numbers->exponent, numbers->modulus);
    uint32_t expected[8] = {};
    mpz_export(expected, nullptr, -1, sizeof(*expected), 0, 0, numbers->power);
    return result == 0 && std::memcmp(power, expected, sizeof(power)) == 0;
}

TEST(RsaBlockPower, AgreesWithGmpOnRandomNumbers) {
    Numbers numbers;
    std::mt19937_64 random(19);
    for (int i = 0; i < CASES; i++) {
        uint32_t base[8];
        uint32_t exponent[8];
        uint32_t modulus[8];
        Draw(&random, base);
        Draw(&random, exponent);
        Draw(&random, modulus);
        if (!Agrees(&numbers, base, exponent, modulus)) {
            gmp_printf("base %Zx exponent %Zx modulus %Zx\n", numbers.base, numbers.exponent,
                       numbers.modulus);
            FAIL() << "case " << i;
        }
    }
}

TEST(RsaBlockPower, AgreesWithGmpOnEveryPairOfEdgeDigits) {
    Numbers numbers;
    const uint32_t two[8] = {2};
    int cases = 0;
    for (const uint32_t top : edge_digits) {
        for (const uint32_t second : edge_digits) {
            for (const uint32_t low : edge_digits) {
                for (int32_t modulus_digits = 1; modulus_digits <= 8; modulus_digits++) {
                    uint32_t base[8] = {low, second, top, low, second, top, second, top};
                    uint32_t modulus[8] = {};
                    for (int32_t i = 0; i < modulus_digits; i++) {
                        modulus[i] = i % 3 == 0 ? top : i % 3 == 1 ? low : second;
                    }
                    EXPECT_TRUE(Agrees(&numbers, base, two, modulus))
                        << top << " " << second << " " << low << " " << modulus_digits;
                    cases++;
                }
            }
        }
    }
    EXPECT_EQ(8 * 8 * 8 * 8, cases);
}

// A transform to be run on a stack that the test can look through.
struct StackRun {
    Connection conn = {};
    uint8_t buffer[64] = {};
};

static void *EncryptOnThisStack(void *argument) {
    StackRun *run = (StackRun *)argument;
    RsaEncryptBlocks(&run->conn, run->buffer, 32);
    return nullptr;
}

// Runs the transform on a thread with this stack.
static void RunOnStack(StackRun *run, std::vector<char> *stack) {
    pthread_attr_t attributes;
    pthread_t thread;
    ASSERT_EQ(0, pthread_attr_init(&attributes));
    ASSERT_EQ(0, pthread_attr_setstack(&attributes, stack->data(), stack->size()));
    ASSERT_EQ(0, pthread_create(&thread, &attributes, EncryptOnThisStack, run));
    ASSERT_EQ(0, pthread_join(thread, nullptr));
    ASSERT_EQ(0, pthread_attr_destroy(&attributes));
}

TEST(RsaEncryptBlocks, LeavesNothingOfABlockOnTheStack) {
    const std::string block = "a session key of thirty-two byte";
    StackRun run;
    std::memcpy(run.buffer, block.data(), 32);
    run.conn.rsa_exponent[0] = 3;
    std::memset(run.conn.rsa_modulus, 0xFF, 32);
    std::vector<char> stack(4 * 1024 * 1024, '\0');
    RunOnStack(&run, &stack);
    // The thread was there.
    EXPECT_LT(std::count(stack.begin(), stack.end(), '\0'), (ptrdiff_t)stack.size());
    for (size_t part = 0; part < block.size(); part += 8) {
        const auto first = block.begin() + (ptrdiff_t)part;
        EXPECT_EQ(stack.end(), std::search(stack.begin(), stack.end(), first, first + 8))
            << "bytes from " << part;
    }
}
