// A server on loopback that follows a script, byte for byte.
#include "support/scripted_peer.h"

#include <algorithm>
#include <chrono>

#include "support/net.h"

static constexpr int WAIT_LIMIT_MS = 20000;

ScriptedPeer::ScriptedPeer() {
    NetStart();
    listener_ = NetListen(&port_);
    connection_ = NET_NONE;
}

ScriptedPeer::~ScriptedPeer() {
    Finish();
    CloseConnection(false);
    if (listener_ != NET_NONE) {
        NetClose(listener_, false);
    }
}

uint16_t ScriptedPeer::port() const {
    return port_;
}

const std::string &ScriptedPeer::Failure() const {
    return failure_;
}

bool ScriptedPeer::Fail(const std::string &text) {
    failure_ = text;
    return false;
}

void ScriptedPeer::Append(const std::string &what, std::function<bool()> run) {
    std::lock_guard<std::mutex> guard(mutex_);
    steps_.push_back({what, std::move(run)});
    changed_.notify_all();
}

void ScriptedPeer::Accept() {
    Append("accept", [this] {
        CloseConnection(false);
        connection_ = NetAccept(listener_, WAIT_LIMIT_MS);
        return connection_ != NET_NONE || Fail("no connection came");
    });
}

// Appends what can be received now, at most up to `count` bytes in all.
bool ScriptedPeer::ReceiveSome(Bytes *bytes, size_t count) {
    uint8_t piece[16384];
    if (!NetReadable(connection_, WAIT_LIMIT_MS)) return false;
    const int64_t received =
        NetReceive(connection_, piece, std::min(sizeof piece, count - bytes->size()));
    if (received <= 0) return false;
    bytes->insert(bytes->end(), piece, piece + received);
    return true;
}

bool ScriptedPeer::ReceiveBytes(Bytes *bytes, size_t count) {
    while (bytes->size() < count) {
        if (!ReceiveSome(bytes, count)) return false;
    }
    return true;
}

// The first bytes of a long text are enough for a message.
static std::string Shown(const Bytes &bytes) {
    constexpr size_t SHOWN_BYTES_MAX = 4096;
    if (bytes.size() <= SHOWN_BYTES_MAX) return HexText(bytes);
    return HexText(Bytes(bytes.begin(), bytes.begin() + SHOWN_BYTES_MAX)) + "... (" +
           std::to_string(bytes.size()) + " bytes)";
}

// What came is compared piece by piece, so that a difference shows at once.
void ScriptedPeer::Expect(const Bytes &bytes) {
    Append("expect " + Shown(bytes), [this, bytes] {
        Bytes came;
        while (came.size() < bytes.size()) {
            const auto known = (ptrdiff_t)came.size();
            if (!ReceiveSome(&came, bytes.size())) {
                return Fail("the stream ended after " + Shown(came));
            }
            if (!std::equal(came.begin() + known, came.end(), bytes.begin() + known)) {
                return Fail("came " + Shown(came));
            }
        }
        return true;
    });
}

void ScriptedPeer::ExpectAny(size_t count) {
    Append("expect " + std::to_string(count) + " bytes", [this, count] {
        Bytes came;
        return ReceiveBytes(&came, count) || Fail("the stream ended after " + Shown(came));
    });
}

bool ScriptedPeer::SendBytes(const uint8_t *bytes, size_t count) {
    while (count != 0) {
        int64_t sent = NetSend(connection_, bytes, count);
        if (sent <= 0) return Fail("the client does not take what is sent");
        bytes += sent;
        count -= (size_t)sent;
    }
    return true;
}

void ScriptedPeer::Send(const Bytes &bytes) {
    SendInPieces(bytes, {});
}

void ScriptedPeer::SendInPieces(const Bytes &bytes, const std::vector<size_t> &cuts) {
    Append("send " + std::to_string(bytes.size()) + " bytes", [this, bytes, cuts] {
        size_t start = 0;
        for (size_t cut : cuts) {
            if (!SendBytes(bytes.data() + start, cut - start)) return false;
            start = cut;
            std::this_thread::yield();
        }
        return SendBytes(bytes.data() + start, bytes.size() - start);
    });
}

void ScriptedPeer::SendByteByByte(const Bytes &bytes) {
    std::vector<size_t> cuts;
    for (size_t i = 1; i < bytes.size(); i++) {
        cuts.push_back(i);
    }
    SendInPieces(bytes, cuts);
}

void ScriptedPeer::CloseConnection(bool reset) {
    if (connection_ != NET_NONE) {
        NetClose(connection_, reset);
        connection_ = NET_NONE;
    }
}

void ScriptedPeer::Close() {
    Append("close", [this] {
        CloseConnection(false);
        return true;
    });
}

void ScriptedPeer::Reset() {
    Append("reset", [this] {
        CloseConnection(true);
        return true;
    });
}

void ScriptedPeer::ExpectEnd() {
    Append("expect the end", [this] {
        uint8_t byte;
        if (!NetReadable(connection_, WAIT_LIMIT_MS)) return Fail("the connection stays open");
        if (NetReceive(connection_, &byte, 1) > 0) return Fail("came " + HexText({byte}));
        CloseConnection(false);
        return true;
    });
}

void ScriptedPeer::Gate(const std::string &name) {
    Append("gate " + name, [this, name] {
        std::unique_lock<std::mutex> lock(mutex_);
        bool opened = changed_.wait_for(lock, std::chrono::milliseconds(WAIT_LIMIT_MS),
                                        [&] { return opened_.count(name) != 0; });
        return opened || Fail("nobody opened the gate");
    });
}

void ScriptedPeer::Mark(const std::string &name) {
    Append("mark " + name, [this, name] {
        std::lock_guard<std::mutex> guard(mutex_);
        marked_.insert(name);
        changed_.notify_all();
        return true;
    });
}

void ScriptedPeer::Run(std::function<void()> action) {
    Append("run", [action] {
        action();
        return true;
    });
}

void ScriptedPeer::Open(const std::string &name) {
    std::lock_guard<std::mutex> guard(mutex_);
    opened_.insert(name);
    changed_.notify_all();
}

bool ScriptedPeer::WaitMark(const std::string &name) {
    std::unique_lock<std::mutex> lock(mutex_);
    return changed_.wait_for(lock, std::chrono::milliseconds(WAIT_LIMIT_MS), [&] {
        return marked_.count(name) != 0 || ended_;
    }) && marked_.count(name) != 0;
}

bool ScriptedPeer::NothingMoreCame() {
    uint8_t byte;
    if (connection_ == NET_NONE || !NetReadable(connection_, 0)) return true;
    return NetReceive(connection_, &byte, 1) <= 0 ||
           Fail("after the script came " + HexText({byte}));
}

void ScriptedPeer::Follow() {
    bool good = true;
    for (size_t next = 0; good; next++) {
        std::function<bool()> run;
        std::string what;
        {
            std::unique_lock<std::mutex> lock(mutex_);
            changed_.wait(lock, [&] { return next < steps_.size() || ending_; });
            if (next >= steps_.size()) break;
            run = steps_[next].run;
            what = steps_[next].what;
        }
        good = run();
        if (!good) {
            failure_ = "step " + std::to_string(next) + ", " + what + ": " + failure_;
            CloseConnection(true);
        }
    }
    if (good) {
        NothingMoreCame();
    }
    std::lock_guard<std::mutex> guard(mutex_);
    ended_ = true;
    changed_.notify_all();
}

void ScriptedPeer::Start() {
    thread_ = std::thread([this] { Follow(); });
}

bool ScriptedPeer::Finish() {
    {
        std::lock_guard<std::mutex> guard(mutex_);
        ending_ = true;
        changed_.notify_all();
    }
    if (thread_.joinable()) {
        thread_.join();
    }
    CloseConnection(false);
    return failure_.empty();
}
