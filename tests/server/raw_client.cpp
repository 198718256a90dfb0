// What the server's tests talk with: bytes as text, a bare socket, and a server to connect to.
#include "server/raw_client.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>

#include <gtest/gtest.h>

namespace tavud_test {

namespace {

// Longer answers are not printed when they are not what was expected.
constexpr size_t PRINTED_BYTES_MAX = 4096;

int Digit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    ADD_FAILURE() << "not a hexadecimal digit: " << c;
    return 0;
}

tavud::Options OptionsOf(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"--port", "0"});
    return tavud::ParseOptions(arguments);
}

}  // namespace

std::string FourBytes(uint32_t value) {
    std::string bytes;
    for (int shift = 24; shift >= 0; shift -= 8) {
        bytes.push_back(static_cast<char>(value >> shift & 0xFF));
    }
    return bytes;
}

std::string Wire(std::string_view written) {
    std::string bytes;
    for (size_t i = 0; i < written.size(); i++) {
        if (written[i] == ' ') continue;
        if (written[i] == '\'') {
            const size_t close = written.find('\'', i + 1);
            bytes += written.substr(i + 1, close - i - 1);
            i = close;
        } else {
            bytes.push_back(static_cast<char>(Digit(written[i]) * 16 + Digit(written[i + 1])));
            i++;
        }
    }
    return bytes;
}

std::string Frame(std::string_view text) {
    return Frame(text, 0, "");
}

std::string Frame(std::string_view text, uint32_t parameter_word, std::string_view parameters) {
    std::string bytes = "?" + FourBytes(static_cast<uint32_t>(text.size())) + std::string(text);
    bytes.push_back('\0');
    return bytes + FourBytes(parameter_word) + std::string(parameters);
}

std::string LoginText(std::string_view items) {
    return "login database = SYSTEM user='SYSDBA' password='SYSDBA' encryptor = '' "
           "char_set = 'GBK' time_zone = 'GTM+08:00' iso_level = '2'" +
           std::string(items) + " version = '301'";
}

RawClient::RawClient(uint16_t port) : socket_(socket(AF_INET, SOCK_STREAM, 0)) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const timeval patience = {30, 0};
    setsockopt(socket_, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof(patience));
    if (connect(socket_, reinterpret_cast<sockaddr *>(&address), sizeof(address)) != 0) {
        ADD_FAILURE() << "cannot connect to port " << port;
    }
}

RawClient::~RawClient() {
    Close();
}

void RawClient::Close() {
    if (socket_ >= 0) close(socket_);
    socket_ = -1;
}

void RawClient::Send(std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t sent = send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (sent <= 0) return;  // the peer has closed, which the next read tells
        bytes.remove_prefix(static_cast<size_t>(sent));
    }
}

std::string RawClient::Receive(size_t count) {
    std::string bytes(count, '\0');
    size_t filled = 0;
    while (filled < count) {
        const ssize_t got = recv(socket_, bytes.data() + filled, count - filled, 0);
        if (got <= 0) break;
        filled += static_cast<size_t>(got);
    }
    bytes.resize(filled);
    return bytes;
}

std::string RawClient::ReceiveToEnd() {
    std::string bytes;
    for (std::string more = Receive(1); !more.empty(); more = Receive(1)) {
        bytes += more;
    }
    return bytes;
}

void RawClient::Expect(std::string_view bytes) {
    const std::string received = Receive(bytes.size());
    if (bytes.size() <= PRINTED_BYTES_MAX) {
        EXPECT_EQ(std::string(bytes), received);
        return;
    }
    const auto differing =
        std::mismatch(bytes.begin(), bytes.end(), received.begin(), received.end());
    EXPECT_TRUE(bytes == received) << "first difference at byte " << differing.first - bytes.begin()
                                   << " of " << bytes.size() << ", received " << received.size();
}

void RawClient::ExpectEnd() {
    EXPECT_EQ("", Receive(1));
}

void RawClient::Ask(std::string_view text, std::string_view answer) {
    SCOPED_TRACE(std::string(text));
    Send(Frame(text));
    Expect(answer);
}

std::string RawClient::AskRefused(std::string_view text) {
    SCOPED_TRACE(std::string(text));
    Send(Frame(text));
    return ReceiveRefusal();
}

std::string RawClient::ReceiveRefusal() {
    const std::string letter = Receive(1);
    EXPECT_EQ("E", letter);
    if (letter != "E") return "";
    const std::string refusal = ReceiveText();
    Expect("K");
    return refusal;
}

std::string RawClient::ReceiveText() {
    uint32_t length = 0;
    for (const char byte : Receive(4)) {
        length = length << 8 | static_cast<uint8_t>(byte);
    }
    return Receive(length);
}

void RawClient::LogIn(std::string_view items) {
    Send(LoginText(items));
    Expect(Wire("'N' 0000012d 'K'"));
}

RunningServer::RunningServer(const std::vector<std::string> &arguments)
    : stop_event_(eventfd(0, EFD_CLOEXEC)), server_(OptionsOf(arguments)) {
    thread_ = std::thread([this] { server_.Run(stop_event_); });
}

RunningServer::~RunningServer() {
    Stop();
    close(stop_event_);
}

void RunningServer::Stop() {
    if (!thread_.joinable()) return;
    eventfd_write(stop_event_, 1);
    thread_.join();
}

std::string Inserted(std::string_view bookmark) {
    return Wire("'I' 000000") + std::string(1, static_cast<char>(bookmark.size())) +
           std::string(bookmark) + "K";
}

std::string Updated(uint8_t rows) {
    return Wire("'U' 000000") + std::string(1, static_cast<char>(rows)) + "K";
}

std::string Deleted(uint8_t rows) {
    return Wire("'D' 000000") + std::string(1, static_cast<char>(rows)) + "K";
}

}  // namespace tavud_test
