// Bounded texts.
#include "platform/text.h"

#include <cstring>

static char LowerAscii(char character) {
    return character >= 'A' && character <= 'Z' ? (char)(character - 'A' + 'a') : character;
}

bool TextCopyBytes(char *target, size_t target_bytes, const char *text, size_t text_bytes) {
    size_t kept = text_bytes < target_bytes ? text_bytes : target_bytes - 1;
    if (kept != 0) {
        memcpy(target, text, kept);
    }
    memset(target + kept, 0, target_bytes - kept);
    return kept == text_bytes;
}

bool TextCopy(char *target, size_t target_bytes, const char *text) {
    return TextCopyBytes(target, target_bytes, text, strlen(text));
}

bool TextEqualNoCase(const char *first, const char *second) {
    while (*first != '\0' && LowerAscii(*first) == LowerAscii(*second)) {
        first++;
        second++;
    }
    return LowerAscii(*first) == LowerAscii(*second);
}

bool TextStartsNoCase(const char *text, const char *prefix) {
    while (*prefix != '\0' && LowerAscii(*text) == LowerAscii(*prefix)) {
        text++;
        prefix++;
    }
    return *prefix == '\0';
}
