// The block transform of the login message.
#include "wire/block_power.h"

#include <bit>
#include <cstring>

#include "platform/wipe.h"

constexpr int32_t DIGIT_BITS = 32;
constexpr uint64_t DIGIT_RANGE = (uint64_t)1 << DIGIT_BITS;

// What one power works with. Wiped after use: the numbers come from the session's key.
struct PowerWork {
    int32_t digit_count;
    int32_t divisor_digits;              // without the zero digits on top
    int32_t divisor_shift;               // bits by which the modulus was shifted
    uint32_t divisor[POWER_DIGITS_MAX];  // the modulus, its highest bit at the top of a digit
    uint32_t base[POWER_DIGITS_MAX];
    uint32_t result[POWER_DIGITS_MAX];
    uint32_t product[POWER_WORK_DIGITS];  // a product, then its remainder
};

// The digits without the zero digits on top.
static int32_t SignificantDigits(const uint32_t *number, int32_t digit_count) {
    while (digit_count > 0 && number[digit_count - 1] == 0) {
        digit_count--;
    }
    return digit_count;
}

// Shifts a number left by less than a digit. Returns what leaves it on top.
static uint32_t ShiftLeft(uint32_t *number, int32_t digit_count, int32_t bits) {
    uint32_t carry = 0;
    for (int32_t i = 0; i < digit_count; i++) {
        const uint64_t shifted = (uint64_t)number[i] << bits | carry;
        number[i] = (uint32_t)shifted;
        carry = (uint32_t)(shifted >> DIGIT_BITS);
    }
    return carry;
}

// Shifts a number right by less than a digit.
static void ShiftRight(uint32_t *number, int32_t digit_count, int32_t bits) {
    uint32_t above = 0;
    for (int32_t i = digit_count - 1; i >= 0; i--) {
        const uint64_t pair = (uint64_t)above << DIGIT_BITS | number[i];
        above = number[i];
        number[i] = (uint32_t)(pair >> bits);
    }
}

// Subtracts the greatest multiple of `divisor` from `rest`, which has one digit more and is less
// than the divisor shifted up by a digit (Knuth, algorithm D, one step). The quotient's digit is
// estimated from the top digits; a second digit of the divisor leaves it at most one too great.
static void DivideStep(uint32_t *rest, const uint32_t *divisor, int32_t divisor_digits) {
    const uint32_t top = divisor[divisor_digits - 1];
    const uint64_t pair = (uint64_t)rest[divisor_digits] << DIGIT_BITS | rest[divisor_digits - 1];
    uint64_t quotient = pair / top;
    uint64_t pair_rest = pair % top;
    if (divisor_digits > 1) {
        const uint64_t second = divisor[divisor_digits - 2];
        const uint32_t third = rest[divisor_digits - 2];
        while (pair_rest < DIGIT_RANGE &&
               (quotient >= DIGIT_RANGE || quotient * second > (pair_rest << DIGIT_BITS | third))) {
            quotient--;
            pair_rest += top;
        }
    }
    uint64_t borrow = 0;
    for (int32_t i = 0; i < divisor_digits; i++) {
        const uint64_t taken = quotient * divisor[i] + borrow;
        borrow = (taken >> DIGIT_BITS) + (rest[i] < (uint32_t)taken ? 1 : 0);
        rest[i] -= (uint32_t)taken;
    }
    const bool too_much = rest[divisor_digits] < borrow;
    rest[divisor_digits] -= (uint32_t)borrow;
    if (too_much) {
        uint64_t carry = 0;
        for (int32_t i = 0; i < divisor_digits; i++) {
            carry += (uint64_t)rest[i] + divisor[i];
            rest[i] = (uint32_t)carry;
            carry >>= DIGIT_BITS;
        }
        rest[divisor_digits] += (uint32_t)carry;
    }
}

// Stores the product modulo the divisor as the result.
static void ReduceProduct(PowerWork *work) {
    uint32_t *product = work->product;
    const int32_t product_digits = 2 * work->digit_count;
    product[product_digits] = ShiftLeft(product, product_digits, work->divisor_shift);
    for (int32_t i = product_digits - work->divisor_digits; i >= 0; i--) {
        DivideStep(product + i, work->divisor, work->divisor_digits);
    }
    ShiftRight(product, work->divisor_digits, work->divisor_shift);
    memcpy(work->result, product, (size_t)work->digit_count * sizeof(uint32_t));
}

// Multiplies the result by a number of as many digits.
static void MultiplyResult(PowerWork *work, const uint32_t *factor) {
    const int32_t digit_count = work->digit_count;
    uint32_t *product = work->product;
    memset(product, 0, (size_t)digit_count * sizeof(uint32_t));
    for (int32_t i = 0; i < digit_count; i++) {
        uint64_t carry = 0;
        for (int32_t j = 0; j < digit_count; j++) {
            carry += (uint64_t)work->result[i] * factor[j] + product[i + j];
            product[i + j] = (uint32_t)carry;
            carry >>= DIGIT_BITS;
        }
        product[i + digit_count] = (uint32_t)carry;
    }
    ReduceProduct(work);
}

static void SetDivisor(PowerWork *work, const uint32_t *modulus, int32_t modulus_digits) {
    work->divisor_digits = modulus_digits;
    work->divisor_shift = std::countl_zero(modulus[modulus_digits - 1]);
    memcpy(work->divisor, modulus, (size_t)modulus_digits * sizeof(uint32_t));
    ShiftLeft(work->divisor, modulus_digits, work->divisor_shift);
}

// Raises the base to the exponent, from the exponent's highest bit down.
static void RaiseToPower(PowerWork *work, const uint32_t *exponent) {
    const int32_t exponent_digits = SignificantDigits(exponent, work->digit_count);
    if (exponent_digits == 0) {
        memset(work->product, 0, sizeof(work->product));
        work->product[0] = 1;
        ReduceProduct(work);
        return;
    }
    const int32_t bits =
        exponent_digits * DIGIT_BITS - std::countl_zero(exponent[exponent_digits - 1]);
    for (int32_t bit = bits - 2; bit >= 0; bit--) {
        MultiplyResult(work, work->result);
        if ((exponent[bit / DIGIT_BITS] >> bit % DIGIT_BITS & 1) != 0) {
            MultiplyResult(work, work->base);
        }
    }
}

int32_t RsaBlockPower(uint32_t *out, const uint32_t *in, const uint32_t *exponent,
                      const uint32_t *modulus, int32_t digit_count) {
    if (digit_count < 1 || digit_count > POWER_DIGITS_MAX) return -1;
    const size_t number_bytes = (size_t)digit_count * sizeof(uint32_t);
    const int32_t modulus_digits = SignificantDigits(modulus, digit_count);
    if (modulus_digits == 0) {
        memmove(out, in, number_bytes);
        return -1;
    }
    PowerWork work;
    work.digit_count = digit_count;
    SetDivisor(&work, modulus, modulus_digits);
    memcpy(work.base, in, number_bytes);
    memcpy(work.result, in, number_bytes);
    RaiseToPower(&work, exponent);
    memcpy(out, work.result, number_bytes);
    Wipe(&work, sizeof(work));
    return 0;
}

// The bytes of a block are the bytes of its digits: both systems are little-endian.
static void TransformBlock(const Connection *conn, uint8_t *block) {
    uint32_t digits[POWER_BLOCK_DIGITS];
    uint32_t exponent[POWER_BLOCK_DIGITS];
    uint32_t modulus[POWER_BLOCK_DIGITS];
    memcpy(digits, block, POWER_BLOCK_BYTES);
    memcpy(exponent, conn->rsa_exponent, POWER_BLOCK_BYTES);
    memcpy(modulus, conn->rsa_modulus, POWER_BLOCK_BYTES);
    RsaBlockPower(digits, digits, exponent, modulus, POWER_BLOCK_DIGITS);
    memcpy(block, digits, POWER_BLOCK_BYTES);
    Wipe(digits, sizeof(digits));
}

void RsaEncryptBlocks(Connection *conn, uint8_t *buffer, int32_t length) {
    for (; length >= POWER_BLOCK_BYTES; length -= POWER_BLOCK_BYTES) {
        TransformBlock(conn, buffer);
        buffer += POWER_BLOCK_BYTES;
    }
    memset(buffer + length, 0, (size_t)(POWER_BLOCK_BYTES - length));
    TransformBlock(conn, buffer);
}
