// The link text: where a server is, in one line.
#pragma once

#include <cstddef>
#include <cstdint>

constexpr size_t LINK_TEXT_BYTES = 128;    // with its terminator
constexpr size_t LINK_ADDRESS_BYTES = 16;  // with its terminator

// A link text taken apart.
struct LinkParts {
    char address[LINK_ADDRESS_BYTES];  // may be empty
    int32_t port;                      // up to 99999
    char database[LINK_TEXT_BYTES];    // may be empty
};

// Parses "address", with ":port" and "/database" behind it in either order, both optional. False
// when the port or the address cannot be one.
bool LinkParse(const char *text, LinkParts *parts);
