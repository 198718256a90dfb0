// Texts in fixed arrays: bounded copies that always terminate, and comparison without regard to
// case.
#pragma once

#include <cstddef>

// Copies the text into `target` of `target_bytes` bytes, cut to fit and always terminated; the rest
// of the array is zeroed. Returns false when the text was cut.
bool TextCopy(char *target, size_t target_bytes, const char *text);

// The same for `text_bytes` bytes that need no terminator.
bool TextCopyBytes(char *target, size_t target_bytes, const char *text, size_t text_bytes);

// Compares two texts without regard to the case of ASCII letters.
bool TextEqualNoCase(const char *first, const char *second);

// Whether a text begins with `prefix`, without regard to the case of ASCII letters.
bool TextStartsNoCase(const char *text, const char *prefix);
