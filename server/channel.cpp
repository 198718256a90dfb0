// One accepted socket with its buffers: typed reads and writes in network byte order.
#include "server/channel.h"

#include <sys/socket.h>
#include <sys/types.h>

#include <algorithm>
#include <cerrno>

namespace tavud {

namespace {

constexpr size_t INPUT_BYTES = 65536;
constexpr size_t OUTPUT_BYTES = 65536;

template <typename Unsigned>
void AppendUnsigned(std::string *bytes, Unsigned value) {
    for (size_t shift = sizeof(Unsigned) * 8; shift > 0; shift -= 8) {
        bytes->push_back(static_cast<char>((value >> (shift - 8)) & 0xFF));
    }
}

}  // namespace

Channel::Channel(int socket) : socket_(socket), input_(INPUT_BYTES) {
    output_.reserve(OUTPUT_BYTES);
}

// Called when all that has come has been read.
void Channel::ReceiveMore() {
    input_start_ = 0;
    input_end_ = 0;
    ssize_t received = recv(socket_, input_.data(), input_.size(), 0);
    while (received < 0 && errno == EINTR) {
        received = recv(socket_, input_.data(), input_.size(), 0);
    }
    if (received <= 0) throw ConnectionClosed();
    input_end_ = static_cast<size_t>(received);
    if (input_cipher_) input_cipher_->Apply(input_.data(), input_end_);
}

void Channel::SendAll(const char *bytes, size_t count) {
    while (count > 0) {
        const ssize_t sent = send(socket_, bytes, count, MSG_NOSIGNAL);
        if (sent < 0) {
            if (errno == EINTR) continue;
            throw ConnectionClosed();
        }
        bytes += sent;
        count -= static_cast<size_t>(sent);
    }
}

uint8_t Channel::ReadByte() {
    if (input_start_ == input_end_) ReceiveMore();
    return input_[input_start_++];
}

int16_t Channel::ReadInt16() {
    const uint8_t high = ReadByte();
    const uint8_t low = ReadByte();
    return static_cast<int16_t>(static_cast<uint16_t>(high << 8 | low));
}

int32_t Channel::ReadInt32() {
    std::string spare;
    return static_cast<int32_t>(LoadInteger(ReadView(4, &spare), 4));
}

int64_t Channel::ReadInt64() {
    std::string spare;
    return LoadInteger(ReadView(8, &spare), 8);
}

std::string Channel::ReadBytes(size_t count) {
    std::string bytes;
    while (bytes.size() < count) {
        if (input_start_ == input_end_) {
            bytes.push_back(static_cast<char>(ReadByte()));
            continue;
        }
        const size_t ready = std::min(count - bytes.size(), input_end_ - input_start_);
        bytes.append(reinterpret_cast<const char *>(input_.data()) + input_start_, ready);
        input_start_ += ready;
    }
    return bytes;
}

std::string_view Channel::ReadView(size_t count, std::string *spare) {
    if (input_end_ - input_start_ < count) {
        *spare = ReadBytes(count);
        return *spare;
    }
    const auto *start = reinterpret_cast<const char *>(input_.data()) + input_start_;
    input_start_ += count;
    return {start, count};
}

void Channel::SkipBytes(size_t count) {
    std::string spare;
    while (count > 0) {
        const size_t step = std::min(count, INPUT_BYTES);
        ReadView(step, &spare);
        count -= step;
    }
}

void Channel::WriteByte(uint8_t value) {
    output_.push_back(static_cast<char>(value));
    if (output_.size() >= OUTPUT_BYTES) Flush();
}

void Channel::WriteInt32(int32_t value) {
    AppendInt32(&output_, value);
    if (output_.size() >= OUTPUT_BYTES) Flush();
}

void Channel::WriteInt64(int64_t value) {
    AppendInt64(&output_, value);
    if (output_.size() >= OUTPUT_BYTES) Flush();
}

void Channel::WriteBytes(std::string_view bytes) {
    if (bytes.size() >= OUTPUT_BYTES && !output_cipher_) {
        Flush();
        SendAll(bytes.data(), bytes.size());
        return;
    }
    // The caller's bytes stay as they are, so what is to be enciphered is copied, a piece at a
    // time.
    while (bytes.size() >= OUTPUT_BYTES) {
        output_.append(bytes.substr(0, OUTPUT_BYTES));
        bytes.remove_prefix(OUTPUT_BYTES);
        Flush();
    }
    output_.append(bytes);
    if (output_.size() >= OUTPUT_BYTES) Flush();
}

void Channel::WriteText(std::string_view text) {
    WriteInt32(static_cast<int32_t>(text.size()));
    WriteBytes(text);
}

void Channel::WriteBare(std::string_view bytes) {
    EncipherOutput();
    output_.append(bytes);
    output_ready_ = output_.size();
    if (output_.size() >= OUTPUT_BYTES) Flush();
}

void Channel::Flush() {
    EncipherOutput();
    SendAll(output_.data(), output_.size());
    output_.clear();
    output_ready_ = 0;
}

void Channel::StartCipher(std::string_view key) {
    input_cipher_.emplace(key);
    output_cipher_ = input_cipher_;
    input_cipher_->Apply(input_.data() + input_start_, input_end_ - input_start_);
}

// Answers are enciphered in long runs, at the latest when they leave.
void Channel::EncipherOutput() {
    if (output_cipher_) {
        output_cipher_->Apply(reinterpret_cast<uint8_t *>(output_.data()) + output_ready_,
                              output_.size() - output_ready_);
    }
    output_ready_ = output_.size();
}

void AppendInt16(std::string *bytes, int16_t value) {
    AppendUnsigned(bytes, static_cast<uint16_t>(value));
}

void AppendInt32(std::string *bytes, int32_t value) {
    AppendUnsigned(bytes, static_cast<uint32_t>(value));
}

void AppendInt64(std::string *bytes, int64_t value) {
    AppendUnsigned(bytes, static_cast<uint64_t>(value));
}

int64_t LoadInteger(std::string_view bytes, size_t width) {
    uint64_t value = (static_cast<uint8_t>(bytes[0]) & 0x80) != 0 ? ~uint64_t{0} : 0;
    for (size_t i = 0; i < width; i++) {
        value = value << 8 | static_cast<uint8_t>(bytes[i]);
    }
    return static_cast<int64_t>(value);
}

}  // namespace tavud
