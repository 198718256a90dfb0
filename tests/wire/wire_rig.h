// What the tests of one connection share: a record, a socket below the buffers that a test plays
// itself, and session records that point at a peer.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

#include "records/handles.h"
#include "support/bytes.h"

// A connection record with big-endian values on the wire.
struct ConnRig {
    ConnRig();
    ~ConnRig();
    ConnRig(const ConnRig &) = delete;
    ConnRig &operator=(const ConnRig &) = delete;

    Connection *conn;
};

// Takes the place of the system's send and receive while it lives; one at a time. Each receive
// gives the next of `pieces` that is not used up; behind the last the stream has ended.
struct PlayedSocket {
    PlayedSocket();
    ~PlayedSocket();
    PlayedSocket(const PlayedSocket &) = delete;
    PlayedSocket &operator=(const PlayedSocket &) = delete;

    // Lets the receives give `bytes` cut before the offsets.
    void Arrive(const Bytes &bytes, std::initializer_list<size_t> cuts = {});

    std::vector<Bytes> pieces;
    std::vector<size_t> receive_counts;  // the bytes asked for, call by call
    int64_t receive_end = 0;             // what a receive behind the last piece returns
    std::vector<Bytes> sent;             // the bytes of each send
    std::vector<int64_t> send_results;   // used up from the front; then what was asked for
};

// A server record and a session record of it, made by hand, and their teardown.
struct SessionRig {
    explicit SessionRig(uint16_t port);
    ~SessionRig();
    SessionRig(const SessionRig &) = delete;
    SessionRig &operator=(const SessionRig &) = delete;

    // Appends an address to the server's list, as attribute 28 does.
    void AddAddress(const char *text);
    // The addresses of the list with their positions, and the count of its head:
    // "127.0.0.2@0 127.0.0.1@1 count 2".
    std::string ListText() const;

    TVCIServer server = {};
    TVCISession session = {};
};

// Makes a session record of the server. Its teardown is TearDownSession.
void SetUpSession(TVCISession *session, TVCIServer *server);
void TearDownSession(TVCISession *session);

// Code and message of a record, "E19884: can't connect to server"; "" when there is none.
std::string ErrorText(ErrInfo *const *slot);

// A port of 127.0.0.1 at which nobody listens.
uint16_t PortOfNobody();

// The first bytes of what is not yet sent.
Bytes Unsent(const Connection *conn);
