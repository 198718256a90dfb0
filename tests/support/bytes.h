// Bytes written out by hand.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

typedef std::vector<uint8_t> Bytes;

// Reads "3F 00000008 'SELECT 1' 00": hexadecimal digits in pairs, blanks ignored, and ASCII text in
// single quotes, in which two quotes stand for one. Anything else ends the test program.
Bytes Hex(const char *text);

// The bytes of a text without a terminator.
Bytes Ascii(const std::string &text);

Bytes operator+(Bytes first, const Bytes &second);
Bytes Repeat(const Bytes &bytes, size_t times);

// The bytes as hexadecimal digits with their printable characters, for messages.
std::string HexText(const Bytes &bytes);

// A request frame around a command text: "?", the length, the text with its NUL, and the parameter
// word.
Bytes FrameArgs(const std::string &text, uint32_t parameter_word);
Bytes Frame(const std::string &text);

// A 32-bit integer as it goes on the wire.
Bytes Int32(int32_t value);
// A 64-bit integer as it goes on the wire.
Bytes Int64(int64_t value);
// A counted text as it goes on the wire.
Bytes Counted(const std::string &text);
