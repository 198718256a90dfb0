// One accepted socket with its buffers: typed reads and writes in network byte order.
//
// Requests arrive and answers leave through here and nowhere else, so this is also where the stream
// cipher of an enciphered connection stands.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "server/keystream.h"

namespace tavud {

// The peer has gone, or the server is stopping: the connection ends without a word.
struct ConnectionClosed : std::runtime_error {
    ConnectionClosed() : std::runtime_error("connection closed") {}
};

// What arrived is no part of the protocol: the connection ends with a line on stderr.
struct BadFrame : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Borrows the socket, which whoever accepted it closes. Used by one thread.
class Channel {
public:
    explicit Channel(int socket);

    uint8_t ReadByte();
    int16_t ReadInt16();
    int32_t ReadInt32();
    int64_t ReadInt64();
    // Reads exactly `count` bytes. The text grows as bytes arrive, so that a length which nobody
    // follows up with bytes reserves nothing.
    std::string ReadBytes(size_t count);
    // The same without a copy where it can be had: the view lies in `spare` or in the channel, and
    // holds until the next read.
    std::string_view ReadView(size_t count, std::string *spare);
    void SkipBytes(size_t count);

    void WriteByte(uint8_t value);
    void WriteInt32(int32_t value);
    void WriteInt64(int64_t value);
    void WriteBytes(std::string_view bytes);
    // An int32 length and the bytes.
    void WriteText(std::string_view text);
    // For the few bytes that a client takes without deciphering them: they leave as they are, and
    // the keystream stays where it is.
    void WriteBare(std::string_view bytes);
    void Flush();

    // From here on both directions are enciphered, bytes that have already come included. `key` has
    // Keystream::KEY_BYTES bytes. What was written before must have been flushed.
    void StartCipher(std::string_view key);

private:
    void ReceiveMore();
    void SendAll(const char *bytes, size_t count);
    void EncipherOutput();

    int socket_;
    std::vector<uint8_t> input_;
    size_t input_start_ = 0;  // first unread byte: input_start_ <= input_end_ <= input_.size()
    size_t input_end_ = 0;
    std::string output_;       // not yet sent, below OUTPUT_BYTES between two calls
    size_t output_ready_ = 0;  // bytes of it that are in the form in which they are sent
    std::optional<Keystream> input_cipher_;  // both or none
    std::optional<Keystream> output_cipher_;
};

// Network byte order in a text, for values that are put together before they are sent.
void AppendInt16(std::string *bytes, int16_t value);
void AppendInt32(std::string *bytes, int32_t value);
void AppendInt64(std::string *bytes, int64_t value);
// The first `width` bytes, 1 to 8, as a signed integer in network order.
int64_t LoadInteger(std::string_view bytes, size_t width);

}  // namespace tavud
