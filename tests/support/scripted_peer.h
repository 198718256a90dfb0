// A server on loopback that follows a script, byte for byte, on a thread of its own.
//
// A test says what the client must send and what it gets back. The first thing that differs stops
// the script and closes the connection; Finish() then returns false and Failure() tells what came.
// Every wait ends after 20 seconds with a failure, so that no test hangs for ever.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "support/bytes.h"

class ScriptedPeer {
public:
    ScriptedPeer();
    ~ScriptedPeer();
    ScriptedPeer(const ScriptedPeer &) = delete;
    ScriptedPeer &operator=(const ScriptedPeer &) = delete;

    uint16_t port() const;

    // The steps of the script, appended in order, before or after Start().
    void Accept();                    // waits for a connection; an older one is closed
    void Expect(const Bytes &bytes);  // exactly these bytes come next
    void ExpectAny(size_t count);     // passes over that many bytes
    void Send(const Bytes &bytes);
    void SendInPieces(const Bytes &bytes, const std::vector<size_t> &cuts);
    void SendByteByByte(const Bytes &bytes);
    void Close();                            // the orderly end
    void Reset();                            // the hard one
    void ExpectEnd();                        // the client closes or resets the connection
    void Gate(const std::string &name);      // waits for Open(name)
    void Mark(const std::string &name);      // lets WaitMark(name) go on
    void Run(std::function<void()> action);  // runs the test's own action

    void Start();
    void Open(const std::string &name);
    bool WaitMark(const std::string &name);
    // Waits for the end of the script and closes the connection. False when something differed, or
    // when the client sent a byte that the script did not ask for.
    bool Finish();
    const std::string &Failure() const;

private:
    struct Step {
        std::string what;
        std::function<bool()> run;
    };

    void Append(const std::string &what, std::function<bool()> run);
    void Follow();
    bool Fail(const std::string &text);
    bool ReceiveSome(Bytes *bytes, size_t count);
    bool ReceiveBytes(Bytes *bytes, size_t count);
    bool SendBytes(const uint8_t *bytes, size_t count);
    void CloseConnection(bool reset);
    bool NothingMoreCame();

    uintptr_t listener_;
    uintptr_t connection_;
    uint16_t port_ = 0;
    std::vector<Step> steps_;
    std::thread thread_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::set<std::string> opened_;
    std::set<std::string> marked_;
    bool ending_ = false;
    bool ended_ = false;
    std::string failure_;
};
