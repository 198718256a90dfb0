// Requests: the frame of a text with its parameters.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "server/channel.h"

namespace tavud {

struct Parameter {
    std::string name;  // without a colon; "" for a parameter by position
    int16_t kind = 0;  // 1 input, 2 output
    int32_t type_id = 0;
    std::string bytes;  // empty for NULL
};

struct Request {
    std::string text;
    std::vector<Parameter> parameters;
    uint32_t array_rows = 0;  // rows of an array execution, whose values are not kept; else 0
};

// Reads the requests of one connection, one after the other.
class RequestReader {
public:
    explicit RequestReader(Channel *channel) : channel_(channel) {}

    // Waits for the next request. Throws ConnectionClosed or BadFrame.
    Request Read();

private:
    uint8_t ReadLetter();
    size_t ReadNameLength(int16_t *kind);
    Parameter ReadParameter();
    void SkipArrayRows(uint32_t rows);
    size_t ReadLength(const char *what, int64_t bytes_max);

    Channel *channel_;
    // An empty value of a geometry type is sent as an empty text with four zero bytes behind it.
    // Only the bytes that come next tell the two apart.
    bool zeros_may_follow_ = false;
    int64_t value_bytes_left_ = 0;  // what the values of this request may still take
};

}  // namespace tavud
