// What the server's tests talk with: bytes as text, a bare socket, and a server to connect to.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "server/server.h"

namespace tavud_test {

// Bytes written out: hexadecimal digits, text between single quotes, blanks in between ignored.
// Wire("45 00000002 'no'") is the letter E, a length of 2 and two letters.
std::string Wire(std::string_view written);

// An integer as it goes on the wire, for lengths and counts that are not written out.
std::string FourBytes(uint32_t value);

// A request's frame without parameters, and with `count` of them whose bytes follow.
std::string Frame(std::string_view text);
std::string Frame(std::string_view text, uint32_t parameter_word, std::string_view parameters);

// A login text with its items between the isolation level and the version.
std::string LoginText(std::string_view items);

// A socket with no knowledge of the protocol. Reads that get nothing for half a minute fail.
class RawClient {
public:
    explicit RawClient(uint16_t port);
    ~RawClient();
    RawClient(const RawClient &) = delete;
    RawClient &operator=(const RawClient &) = delete;

    void Send(std::string_view bytes);
    // Up to `count` bytes; fewer when the peer closes before.
    std::string Receive(size_t count);
    // All that comes until the peer closes.
    std::string ReceiveToEnd();
    // Expects exactly these bytes next.
    void Expect(std::string_view bytes);
    void ExpectEnd();
    // Sends a text without parameters and expects this answer.
    void Ask(std::string_view text, std::string_view answer);
    // Sends a text and reads the answer 'E', text, 'K'; gives the text, or "" for another answer.
    std::string AskRefused(std::string_view text);
    std::string ReceiveRefusal();

    // Reads one text with its length in front.
    std::string ReceiveText();

    // Logs in and expects to be accepted by protocol 301.
    void LogIn(std::string_view items = " auto_commit = 'off'");
    void Close();

private:
    int socket_;
};

// A server in this process, on a port that the system chose, over a database of its own.
class RunningServer {
public:
    explicit RunningServer(const std::vector<std::string> &arguments = {});
    ~RunningServer();
    RunningServer(const RunningServer &) = delete;
    RunningServer &operator=(const RunningServer &) = delete;

    uint16_t Port() const {
        return server_.Port();
    }
    // Ends it and waits for that.
    void Stop();

private:
    int stop_event_;
    tavud::Server server_;
    std::thread thread_;
};

// The answers that most statements give.
inline const std::string DONE = "K";
std::string Inserted(std::string_view bookmark);
std::string Updated(uint8_t rows);
std::string Deleted(uint8_t rows);

}  // namespace tavud_test
