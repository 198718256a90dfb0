// Requests: the frame of a text with its parameters.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "server/channel.h"

namespace tavud {

// What a parameter is for.
inline constexpr int16_t PARAMETER_INPUT = 1;
inline constexpr int16_t PARAMETER_OUTPUT = 2;

struct Parameter {
    std::string name;  // without a colon; "" for a parameter by position
    int16_t kind = 0;  // PARAMETER_INPUT or PARAMETER_OUTPUT
    int32_t type_id = 0;
    std::string bytes;  // empty for NULL
};

struct Request {
    std::string text;
    std::vector<Parameter> parameters;
    uint32_t array_rows = 0;  // rows of an array execution; else 0
    // Of an array execution, the rows behind the first, whose values are the parameters above.
    std::vector<std::string> array_blocks;
};

// Sets the values of `parameters`, whose names and types are those of an array's first row, to
// those of a later row's block. `typed` says that each value has its type in front. False when the
// block is malformed.
bool ReadArrayBlock(std::string_view block, bool typed, std::vector<Parameter> *parameters);

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
    void ReadArrayBlocks(Request *request);
    size_t ReadLength(const char *what, int64_t bytes_max);

    Channel *channel_;
    // An empty value of a geometry type is sent as an empty text with four zero bytes behind it.
    // Only the bytes that come next tell the two apart.
    bool zeros_may_follow_ = false;
    int64_t value_bytes_left_ = 0;  // what the values of this request may still take
};

}  // namespace tavud
