// Decimal numbers as texts: bringing them to the digits of their column, and comparing them.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace tavud {

// Turns a decimal number, with or without sign, point and exponent, into its stored text. `size` is
// that of a NUMERIC column: with one, the text has exactly the declared digits behind the point,
// rounded half away from zero; with NO_SIZE the digits stay as they are. False when the text is no
// number or has too many digits.
bool NormaliseDecimal(std::string_view text, int32_t size, std::string *stored);

// Below 0, 0 or above 0. A text that is no number sorts behind all numbers.
int CompareDecimal(std::string_view one, std::string_view other);

}  // namespace tavud
