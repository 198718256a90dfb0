// The client's side of the enciphered login, written for the tests: blocks, keystreams, a socket.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "server/raw_client.h"
#include "server/turing.h"

namespace tavud_test {

// A key pair whose numbers the tests know, as the text of a key file, and what a server hands out
// of it.
extern const char *const KNOWN_KEY_PAIR;
std::string KnownPublicKey();

// The session key 00 01 02 ... 1f.
std::string CountingKey();

// A login text spread over blocks: 30 bytes and two bytes 07 each, the last with zeros behind it.
std::vector<std::string> SpreadText(std::string_view text);

// Each block to the public exponent. `public_key` is what the server handed out: both numbers.
std::string EncipherBlocks(std::string_view public_key, const std::vector<std::string> &blocks);

// The keystream of CountingKey(), of which the first blocks are written out and the later ones are
// the cipher's own, whose tests know them.
class CountingStream {
public:
    CountingStream();
    // Deciphers or enciphers what comes next.
    std::string Apply(std::string bytes);

private:
    const tavud::Turing::Block &BlockAt(size_t index);

    tavud::Turing cipher_;
    std::vector<tavud::Turing::Block> blocks_;
    size_t position_ = 0;
};

// A client whose session key is CountingKey().
class CipherClient {
public:
    // Connects, asks for the enciphered login and receives the public key.
    explicit CipherClient(uint16_t port);

    const std::string &PublicKey() const {
        return public_key_;
    }
    // Sends the session key and a login text.
    void SendLogin(std::string_view text);
    // Sends these plain blocks, the session key among them, enciphered.
    void SendBlocks(const std::vector<std::string> &blocks);
    // Both, with an answer by protocol 301.
    void LogIn(std::string_view items = " auto_commit = 'off'");

    // What follows the login, under the keystreams.
    void Send(std::string_view plain);
    std::string Receive(size_t count);
    void Expect(std::string_view plain);
    void Ask(std::string_view text, std::string_view answer);

    RawClient raw;
    CountingStream sent;
    CountingStream received;

private:
    std::string public_key_;
};

}  // namespace tavud_test
