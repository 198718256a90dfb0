// Native handles that talk to development servers which the test has started.
#pragma once

#include <gtest/gtest.h>

#include <deque>
#include <string>
#include <vector>

#include "live/tavud_process.h"
#include "records/handles.h"
#include "records/statement.h"
#include "tavu/tvci.h"

// What a session says whose lost connection came back, with a timeout of 0.
inline const char *const CAME_BACK =
    "E19886: connection not used long till timeout ,server cut the connection, now reconnect ok, "
    "you can resend the command again! \n";
inline const char *const CANNOT_CONNECT = "E19884: can't connect to server";

// An environment with one server handle.
class LiveClient {
public:
    explicit LiveClient(uint16_t port, const char *address = "127.0.0.1");
    ~LiveClient();
    LiveClient(const LiveClient &) = delete;
    LiveClient &operator=(const LiveClient &) = delete;

    // Puts a server handle with a pool in the place of the one that was there.
    void UsePool();
    // Puts a server handle with these addresses in the place of the one that was there. Its first
    // connection goes to the address at `first_position`.
    void UseList(const char *addresses, int32_t first_position);
    // Makes sessions log on in the enciphered form from here on.
    void UseCipher();

    TVCISession *NewSession();
    // A session that is logged on as SYSDBA.
    TVCISession *Connected();
    // The addresses of the list with their positions, and the count of its head:
    // "127.0.0.2@0 127.0.0.1@1 count 2".
    std::string List();

    TVCIEnv *env = nullptr;
    TVCIServer *server = nullptr;

private:
    void MakeServer(const char *address);

    uint16_t port_;
    bool enciphered_ = false;
};

int32_t Connect(TVCISession *session, const char *password = "SYSDBA");
// Runs a text once and returns what the call does.
int32_t RunText(TVCISession *session, const std::string &sql);
// The first column of the first row as text. "(-24)" when the call returns that, "(no row)".
std::string Ask(TVCISession *session, const std::string &sql);
// Code and text of a handle, "E19884: can't connect to server"; ": " when there is none.
std::string ErrorOf(void *handle);

// Three servers, on 127.0.0.1, 127.0.0.2 and 127.0.0.3 with one port number, whose names are "A",
// "B" and "C".
class Trio {
public:
    explicit Trio(const std::vector<std::string> &options = {});

    uint16_t port() const;
    void Kill(char name);
    // Starts a server once more. It has no name then.
    void Restart(char name);

private:
    bool TryStart(const std::vector<std::string> &options);

    std::vector<std::string> options_;
    std::deque<TavudProcess> servers_;
};

inline const char *const TRIO_LIST = "127.0.0.1,127.0.0.2,127.0.0.3;";

// The name of the server that the session is connected to.
std::string Who(TVCISession *session);
