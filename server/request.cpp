// Requests: the frame of a text with its parameters.
#include "server/request.h"

#include "server/types.h"

namespace tavud {

namespace {

constexpr uint8_t REQUEST_LETTER = '?';
// Sent by clients that take a long row stream in blocks. Rows are never held back here, so it asks
// for nothing.
constexpr uint8_t GO_ON_LETTER = '.';

constexpr int64_t TEXT_BYTES_MAX = 64 * 1024 * 1024;
constexpr int64_t NAME_BYTES_MAX = 1024;
// All values of one request together.
constexpr int64_t VALUES_BYTES_MAX = 512 * 1024 * 1024;
constexpr uint32_t COUNT_MASK = 0xFFFF;

std::string Hexadecimal(uint8_t letter) {
    constexpr char digits[] = "0123456789abcdef";
    return std::string("0x") + digits[letter >> 4] + digits[letter & 15];
}

}  // namespace

size_t RequestReader::ReadLength(const char *what, int64_t bytes_max) {
    const int32_t length = channel_->ReadInt32();
    if (length < 0 || length > bytes_max) {
        throw BadFrame(std::string(what) + " of " + std::to_string(length) + " bytes, limit " +
                       std::to_string(bytes_max));
    }
    return static_cast<size_t>(length);
}

// The name's length, past the zero bytes that may belong to the parameter before. A parameter
// without a name goes on with its kind, which is never 0, so four zero bytes can only be that tail.
size_t RequestReader::ReadNameLength(int16_t *kind) {
    int16_t name_bytes = channel_->ReadInt16();
    if (name_bytes == 0) {
        *kind = channel_->ReadInt16();
        if (*kind != 0 || !zeros_may_follow_) return 0;
        name_bytes = channel_->ReadInt16();
        if (name_bytes == 0) {
            *kind = channel_->ReadInt16();
            return 0;
        }
    }
    if (name_bytes < 0 || name_bytes > NAME_BYTES_MAX) {
        throw BadFrame("parameter name of " + std::to_string(name_bytes) + " bytes, limit " +
                       std::to_string(NAME_BYTES_MAX));
    }
    return static_cast<size_t>(name_bytes);
}

Parameter RequestReader::ReadParameter() {
    Parameter parameter;
    const size_t name_bytes = ReadNameLength(&parameter.kind);
    if (name_bytes != 0) {
        parameter.name = channel_->ReadBytes(name_bytes);
        if (parameter.name[0] == ':') parameter.name.erase(0, 1);
        parameter.kind = channel_->ReadInt16();
    }
    if (parameter.kind != PARAMETER_INPUT && parameter.kind != PARAMETER_OUTPUT) {
        throw BadFrame("parameter of kind " + std::to_string(parameter.kind));
    }
    parameter.type_id = channel_->ReadInt16();
    const size_t value_bytes = ReadLength("parameter value", value_bytes_left_);
    value_bytes_left_ -= static_cast<int64_t>(value_bytes);
    parameter.bytes = channel_->ReadBytes(value_bytes);
    zeros_may_follow_ = parameter.type_id == TYPE_CHAR && value_bytes == 0;
    return parameter;
}

uint8_t RequestReader::ReadLetter() {
    uint8_t letter = channel_->ReadByte();
    if (letter == 0 && zeros_may_follow_) {
        channel_->SkipBytes(3);
        letter = channel_->ReadByte();
    }
    while (letter == GO_ON_LETTER) {
        letter = channel_->ReadByte();
    }
    zeros_may_follow_ = false;
    return letter;
}

// The rows behind the first are one counted block each.
void RequestReader::ReadArrayBlocks(Request *request) {
    for (uint32_t row = 1; row < request->array_rows; row++) {
        const size_t block_bytes = ReadLength("block of an array row", value_bytes_left_);
        value_bytes_left_ -= static_cast<int64_t>(block_bytes);
        request->array_blocks.push_back(channel_->ReadBytes(block_bytes));
        zeros_may_follow_ = false;
    }
}

Request RequestReader::Read() {
    Request request;
    const uint8_t letter = ReadLetter();
    if (letter != REQUEST_LETTER) {
        throw BadFrame("request begins with " + Hexadecimal(letter));
    }
    request.text = channel_->ReadBytes(ReadLength("request text", TEXT_BYTES_MAX));
    if (channel_->ReadByte() != 0) throw BadFrame("request text without its terminator");
    if (request.text.find('\0') != std::string::npos) {
        throw BadFrame("request text with a terminator inside");
    }
    const auto word = static_cast<uint32_t>(channel_->ReadInt32());
    const uint32_t count = word & COUNT_MASK;
    request.array_rows = word >> 16;
    value_bytes_left_ = VALUES_BYTES_MAX;
    for (uint32_t i = 0; i < count; i++) {
        request.parameters.push_back(ReadParameter());
    }
    if (count > 0) ReadArrayBlocks(&request);
    return request;
}

bool ReadArrayBlock(std::string_view block, bool typed, std::vector<Parameter> *parameters) {
    const size_t head_bytes = typed ? 5 : 4;
    for (Parameter &parameter : *parameters) {
        if (block.size() < head_bytes) return false;
        if (typed) {
            parameter.type_id = static_cast<uint8_t>(block[0]);
            block.remove_prefix(1);
        }
        const int64_t value_bytes = LoadInteger(block, 4);
        block.remove_prefix(4);
        if (value_bytes < 0 || value_bytes > static_cast<int64_t>(block.size())) return false;
        parameter.bytes = block.substr(0, static_cast<size_t>(value_bytes));
        block.remove_prefix(static_cast<size_t>(value_bytes));
    }
    return block.empty();
}

}  // namespace tavud
