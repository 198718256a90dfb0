// The listening socket and the threads behind it, one for each connection.
#pragma once

#include <atomic>
#include <cstdint>
#include <list>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>

#include "server/database.h"
#include "server/key_pair.h"
#include "server/options.h"

namespace tavud {

struct ServerFailure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

class Server {
public:
    // Opens the database and listens. Throws ServerFailure, BadKey or DatabaseFailure.
    explicit Server(const Options &options);
    ~Server();
    Server(const Server &) = delete;
    Server &operator=(const Server &) = delete;

    uint16_t Port() const {
        return port_;
    }

    // Serves until `stop_descriptor` becomes readable, then ends all connections and their threads.
    void Run(int stop_descriptor);

private:
    struct Connection {
        int socket = -1;
        uint64_t number = 0;
        std::string peer;
        std::atomic<bool> ended = false;
        std::thread thread;
    };

    void Accept();
    void Serve(Connection *connection);
    void ReapEnded();
    void EndAll();

    Options options_;
    std::optional<KeyPair> key_pair_;  // nothing: the enciphered login is refused
    Database database_;
    int listener_ = -1;
    int ended_event_ = -1;  // becomes readable when a connection has ended
    uint16_t port_ = 0;
    uint64_t next_number_ = 1;
    std::atomic<bool> stopping_ = false;
    std::list<Connection> connections_;  // touched by the accepting thread only
};

}  // namespace tavud
