// Decimal numbers as texts: bringing them to the digits of their column, and comparing them.
#include "server/decimal.h"

#include <algorithm>
#include <cstddef>

#include "server/types.h"

namespace tavud {

namespace {

// A number is 0.d1d2d3... times ten to the power `point`, with d1 not zero unless it is zero.
struct Decimal {
    bool negative = false;
    std::string digits;  // empty for zero
    int64_t point = 0;   // digits in front of the decimal point
    int64_t behind = 0;  // digits behind the point as written, for numbers without a scale
};

// Exponents beyond this lie outside every column and would only make long texts.
constexpr int64_t EXPONENT_MAX = 400;

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

bool TakeExponent(std::string_view text, int64_t *exponent) {
    *exponent = 0;
    if (text.empty()) return true;
    if (text[0] != 'e' && text[0] != 'E') return false;
    text.remove_prefix(1);
    const bool negative = !text.empty() && text[0] == '-';
    if (!text.empty() && (text[0] == '-' || text[0] == '+')) text.remove_prefix(1);
    if (text.empty() || !std::all_of(text.begin(), text.end(), IsDigit)) return false;
    for (const char c : text) {
        *exponent = std::min(*exponent * 10 + (c - '0'), EXPONENT_MAX + 1);
    }
    if (negative) *exponent = -*exponent;
    return true;
}

std::string_view TrimBlanks(std::string_view text) {
    while (!text.empty() && text.front() == ' ') {
        text.remove_prefix(1);
    }
    while (!text.empty() && text.back() == ' ') {
        text.remove_suffix(1);
    }
    return text;
}

bool ParseDecimal(std::string_view text, Decimal *number) {
    text = TrimBlanks(text);
    if (!text.empty() && (text[0] == '-' || text[0] == '+')) {
        number->negative = text[0] == '-';
        text.remove_prefix(1);
    }
    size_t at = 0;
    bool any = false;
    bool behind_point = false;
    for (; at < text.size() && (IsDigit(text[at]) || (text[at] == '.' && !behind_point)); at++) {
        if (text[at] == '.') {
            behind_point = true;
            continue;
        }
        any = true;
        number->digits.push_back(text[at]);
        if (behind_point) {
            number->behind++;
        } else {
            number->point++;
        }
    }
    int64_t exponent = 0;
    if (!any || !TakeExponent(text.substr(at), &exponent)) return false;
    if (exponent > EXPONENT_MAX || exponent < -EXPONENT_MAX) return false;
    number->point += exponent;
    number->behind = std::max<int64_t>(0, number->behind - exponent);
    const size_t zeros = std::min(number->digits.find_first_not_of('0'), number->digits.size());
    number->digits.erase(0, zeros);
    number->point -= static_cast<int64_t>(zeros);
    if (number->digits.empty()) {
        number->negative = false;
        number->point = 0;
    }
    return true;
}

// Cuts the number to `behind` digits behind the point, rounding half away from zero.
void RoundDecimal(int64_t behind, Decimal *number) {
    const int64_t kept = number->point + behind;
    if (kept >= static_cast<int64_t>(number->digits.size())) return;
    const bool up = kept >= 0 && number->digits[static_cast<size_t>(kept)] >= '5';
    number->digits.resize(static_cast<size_t>(std::max<int64_t>(0, kept)));
    if (!up) {
        if (number->digits.find_first_not_of('0') == std::string::npos) *number = Decimal{};
        return;
    }
    size_t at = number->digits.size();
    while (at > 0 && number->digits[at - 1] == '9') {
        number->digits[--at] = '0';
    }
    if (at > 0) {
        number->digits[at - 1]++;
    } else {
        number->digits.insert(0, 1, '1');
        number->point++;
    }
}

std::string DecimalText(const Decimal &number, int64_t behind) {
    std::string text = number.negative ? "-" : "";
    const auto digit = [&](int64_t place) {
        const bool inside = place >= 0 && place < static_cast<int64_t>(number.digits.size());
        return inside ? number.digits[static_cast<size_t>(place)] : '0';
    };
    if (number.point <= 0) text += '0';
    for (int64_t place = 0; place < number.point; place++) {
        text += digit(place);
    }
    if (behind > 0) text += '.';
    for (int64_t place = number.point; place < number.point + behind; place++) {
        text += digit(place);
    }
    return text;
}

}  // namespace

bool NormaliseDecimal(std::string_view text, int32_t size, std::string *stored) {
    Decimal number;
    if (!ParseDecimal(text, &number)) return false;
    if (size == NO_SIZE) {
        const int64_t in_front = std::max<int64_t>(number.point, 0);
        if (in_front + number.behind > NUMERIC_DIGITS_MAX) return false;
        *stored = DecimalText(number, number.behind);
        return true;
    }
    const int64_t behind = size & 0xFFFF;
    RoundDecimal(behind, &number);
    if (number.point > (size >> 16) - behind) return false;
    *stored = DecimalText(number, behind);
    return true;
}

int CompareDecimal(std::string_view one, std::string_view other) {
    Decimal a;
    Decimal b;
    const bool a_sound = ParseDecimal(one, &a);
    const bool b_sound = ParseDecimal(other, &b);
    if (!a_sound || !b_sound) {
        if (a_sound != b_sound) return a_sound ? -1 : 1;
        return one.compare(other);
    }
    if (a.negative != b.negative) return a.negative ? -1 : 1;
    const int sign = a.negative ? -1 : 1;
    if (a.digits.empty() || b.digits.empty()) {
        return sign * (static_cast<int>(!a.digits.empty()) - static_cast<int>(!b.digits.empty()));
    }
    if (a.point != b.point) return a.point < b.point ? -sign : sign;
    const size_t width = std::max(a.digits.size(), b.digits.size());
    a.digits.resize(width, '0');
    b.digits.resize(width, '0');
    return sign * a.digits.compare(b.digits);
}

}  // namespace tavud
