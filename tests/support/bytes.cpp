// Bytes written out by hand.
#include "support/bytes.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>

static int HexDigit(char character) {
    if (character >= '0' && character <= '9') return character - '0';
    if (character >= 'a' && character <= 'f') return character - 'a' + 10;
    if (character >= 'A' && character <= 'F') return character - 'A' + 10;
    return -1;
}

[[noreturn]] static void RefuseHex(const char *text, const char *at) {
    fprintf(stderr, "malformed bytes \"%s\" at \"%s\"\n", text, at);
    abort();
}

Bytes Hex(const char *text) {
    Bytes bytes;
    const char *at = text;
    while (*at != '\0') {
        if (isspace((unsigned char)*at)) {
            at++;
        } else if (*at == '\'') {
            for (at++; *at != '\0' && (*at != '\'' || at[1] == '\''); at++) {
                bytes.push_back((uint8_t)*at);
                if (*at == '\'') {
                    at++;
                }
            }
            if (*at != '\'') RefuseHex(text, at);
            at++;
        } else {
            int high = HexDigit(*at);
            int low = high < 0 ? -1 : HexDigit(at[1]);
            if (low < 0) RefuseHex(text, at);
            bytes.push_back((uint8_t)(high * 16 + low));
            at += 2;
        }
    }
    return bytes;
}

Bytes Ascii(const std::string &text) {
    return Bytes(text.begin(), text.end());
}

Bytes operator+(Bytes first, const Bytes &second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

Bytes Repeat(const Bytes &bytes, size_t times) {
    Bytes repeated;
    repeated.reserve(bytes.size() * times);
    for (size_t i = 0; i < times; i++) {
        repeated.insert(repeated.end(), bytes.begin(), bytes.end());
    }
    return repeated;
}

std::string HexText(const Bytes &bytes) {
    std::string digits;
    std::string characters;
    for (uint8_t byte : bytes) {
        char pair[4];
        snprintf(pair, sizeof pair, "%02X ", byte);
        digits += pair;
        characters += byte >= 0x20 && byte < 0x7F ? (char)byte : '.';
    }
    return digits + "|" + characters + "|";
}

Bytes Int32(int32_t value) {
    uint32_t bits = (uint32_t)value;
    return Bytes{(uint8_t)(bits >> 24), (uint8_t)(bits >> 16), (uint8_t)(bits >> 8), (uint8_t)bits};
}

Bytes Int64(int64_t value) {
    return Int32((int32_t)((uint64_t)value >> 32)) + Int32((int32_t)value);
}

Bytes Counted(const std::string &text) {
    return Int32((int32_t)text.size()) + Ascii(text);
}

Bytes FrameArgs(const std::string &text, uint32_t parameter_word) {
    return Ascii("?") + Counted(text) + Bytes{0} + Int32((int32_t)parameter_word);
}

Bytes Frame(const std::string &text) {
    return FrameArgs(text, 0);
}
