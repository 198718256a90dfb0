// The listening socket and the threads behind it, one for each connection.
#include "server/server.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <iostream>
#include <sstream>
#include <system_error>

#include "server/channel.h"
#include "server/session.h"

namespace tavud {

namespace {

constexpr int WAITING_CONNECTIONS_MAX = 128;
// Each has a thread and a database handle; beyond this a new one is closed at once.
constexpr size_t CONNECTIONS_MAX = 1000;

[[noreturn]] void Fail(const std::string &what) {
    throw ServerFailure(what + ": " + std::strerror(errno));
}

// One write for each line, so that lines of several threads do not mix.
void Log(const std::string &line) {
    std::cerr << "tavud: " + line + "\n" << std::flush;
}

int Listen(const Options &options, uint16_t *port) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(options.port);
    if (inet_pton(AF_INET, options.bind_address.c_str(), &address.sin_addr) != 1) {
        throw ServerFailure("\"" + options.bind_address + "\" is no IPv4 address");
    }
    const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (listener < 0) Fail("cannot make a socket");
    const int on = 1;
    setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on));
    socklen_t length = sizeof(address);
    auto *generic = reinterpret_cast<sockaddr *>(&address);
    if (bind(listener, generic, length) != 0 || listen(listener, WAITING_CONNECTIONS_MAX) != 0 ||
        getsockname(listener, generic, &length) != 0) {
        const int failure = errno;
        close(listener);
        errno = failure;
        Fail("cannot listen on " + options.bind_address + " port " + std::to_string(options.port));
    }
    *port = ntohs(address.sin_port);
    return listener;
}

std::optional<KeyPair> KeyPairOf(const Options &options) {
    if (!options.cipher) return std::nullopt;
    return options.key_file.empty() ? KeyPair::Make() : KeyPair::Load(options.key_file);
}

std::string PeerName(const sockaddr_in &address) {
    char text[INET_ADDRSTRLEN] = "";
    inet_ntop(AF_INET, &address.sin_addr, text, sizeof(text));
    return std::string(text) + ":" + std::to_string(ntohs(address.sin_port));
}

}  // namespace

Server::Server(const Options &options)
    : options_(options), key_pair_(KeyPairOf(options)), database_(options.database_file) {
    listener_ = Listen(options_, &port_);
    ended_event_ = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (ended_event_ < 0) {
        close(listener_);
        Fail("cannot make an event");
    }
}

Server::~Server() {
    EndAll();
    close(listener_);
    close(ended_event_);
}

void Server::Run(int stop_descriptor) {
    pollfd polled[3] = {
        {stop_descriptor, POLLIN, 0},
        {ended_event_,    POLLIN, 0},
        {listener_,       POLLIN, 0},
    };
    for (;;) {
        if (poll(polled, 3, -1) < 0 && errno != EINTR) Fail("cannot wait for connections");
        if (polled[0].revents != 0) break;
        if (polled[1].revents != 0) ReapEnded();
        if (polled[2].revents != 0) Accept();
    }
    EndAll();
}

void Server::Accept() {
    sockaddr_in address = {};
    socklen_t length = sizeof(address);
    const int socket =
        accept4(listener_, reinterpret_cast<sockaddr *>(&address), &length, SOCK_CLOEXEC);
    if (socket < 0) {
        if (errno != EINTR && errno != ECONNABORTED) {
            Log(std::string("cannot accept a connection: ") + std::strerror(errno));
            // Without descriptors the listener stays readable; a connection that ends frees one.
            pollfd ended = {ended_event_, POLLIN, 0};
            poll(&ended, 1, 100);
        }
        return;
    }
    if (connections_.size() >= CONNECTIONS_MAX) {
        Log("too many connections, " + PeerName(address) + " is closed");
        close(socket);
        return;
    }
    const int on = 1;
    setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on));
    Connection &connection = connections_.emplace_back();
    connection.socket = socket;
    connection.number = next_number_++;
    connection.peer = PeerName(address);
    try {
        connection.thread = std::thread(&Server::Serve, this, &connection);
    } catch (const std::system_error &failure) {
        Log(std::string("cannot start a thread: ") + failure.what());
        close(socket);
        connections_.pop_back();
    }
}

void Server::Serve(Connection *connection) {
    try {
        Channel channel(connection->socket);
        const KeyPair *key_pair = key_pair_ ? &*key_pair_ : nullptr;
        Session session(&channel, options_, key_pair, database_, &stopping_);
        session.Run();
    } catch (const ConnectionClosed &) {
        // The usual end of a connection.
    } catch (const BadFrame &bad) {
        Log("connection " + std::to_string(connection->number) + " from " + connection->peer +
            ": bad frame: " + bad.what());
    } catch (const std::exception &failure) {
        Log("connection " + std::to_string(connection->number) + " from " + connection->peer +
            ": " + failure.what());
    }
    // The peer sees the end now; the descriptor stays until the thread has been joined, so that
    // nobody else gets its number.
    shutdown(connection->socket, SHUT_RDWR);
    connection->ended = true;
    const uint64_t one = 1;
    if (write(ended_event_, &one, sizeof(one)) < 0) Log("an ended connection was not noticed");
}

void Server::ReapEnded() {
    uint64_t count = 0;
    if (read(ended_event_, &count, sizeof(count)) < 0 && errno != EAGAIN) Fail("cannot read");
    connections_.remove_if([](Connection &connection) {
        if (!connection.ended) return false;
        connection.thread.join();
        close(connection.socket);
        return true;
    });
}

void Server::EndAll() {
    stopping_ = true;
    for (Connection &connection : connections_) {
        shutdown(connection.socket, SHUT_RDWR);
    }
    for (Connection &connection : connections_) {
        connection.thread.join();
        close(connection.socket);
    }
    connections_.clear();
}

}  // namespace tavud
