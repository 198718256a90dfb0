// A development server in a process of its own, which the tests start and end.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <vector>

// Runs until it is killed or goes out of scope, and not longer than the thread that started it.
class TavudProcess {
public:
    // Port 0 lets the system choose. `options` are further ones of the command line.
    TavudProcess(const std::string &address, uint16_t port,
                 const std::vector<std::string> &options = {});
    ~TavudProcess();
    TavudProcess(const TavudProcess &) = delete;
    TavudProcess &operator=(const TavudProcess &) = delete;

    // False when it could not have its port.
    bool Listens() const;
    uint16_t port() const;
    // Ends it at once. When this returns nobody listens at its port any more, and the connections
    // that it had are closed.
    void Kill();
    // Kills it and starts another one at the same address and port.
    void Restart(const std::vector<std::string> &options = {});
    // The connections that it has accepted since it was started, those of this call left out. Only
    // for a server on 127.0.0.1.
    int64_t ConnectionCount();

private:
    void Start(uint16_t port, const std::vector<std::string> &options);
    void Spawn(uint16_t port, const std::vector<std::string> &options);

    std::string address_;
    int output_ = -1;  // its standard output and error, to read from
    int errors_ = -1;
    pid_t process_ = -1;
    uint16_t port_ = 0;
    int64_t probes_ = 0;
    std::string folder_;  // for its temporary files
};
