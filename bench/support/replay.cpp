// A server that replays one prepared result.
#include "support/replay.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sched.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <thread>

#include "wire/block_power.h"
#include "wire/cipher.h"

static void Must(bool good, const char *what) {
    if (good) return;
    perror(what);
    exit(1);
}

int64_t NowNs() {
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * 1000000000LL + now.tv_nsec;
}

int64_t CpuNs() {
    rusage used;
    getrusage(RUSAGE_SELF, &used);
    return (used.ru_utime.tv_sec + used.ru_stime.tv_sec) * 1000000000LL +
           (used.ru_utime.tv_usec + used.ru_stime.tv_usec) * 1000LL;
}

std::string WireInt32(int32_t value) {
    std::string bytes;
    for (int shift = 24; shift >= 0; shift -= 8) {
        bytes += (char)((uint32_t)value >> shift);
    }
    return bytes;
}

std::string WireInt64(int64_t value) {
    return WireInt32((int32_t)(value >> 32)) + WireInt32((int32_t)value);
}

std::string WireDouble(double value) {
    int64_t bits;
    memcpy(&bits, &value, sizeof bits);
    return WireInt64(bits);
}

std::string WireText(const std::string &text) {
    return WireInt32((int32_t)text.size()) + text;
}

std::string ReplayFrame(const std::string &text) {
    return "?" + WireText(text) + std::string(1, '\0') + WireInt32(0);
}

// The two numbers of a key pair, the second of which undoes what the first did, and their modulus.
static const uint32_t SHORT_EXPONENT[POWER_BLOCK_DIGITS] = {65537};
static const uint32_t LONG_EXPONENT[POWER_BLOCK_DIGITS] = {
    0xD10CCFE1, 0xA18D2094, 0x390DC80D, 0x7F90CFDE, 0x8E306B33, 0x7865C0D4, 0x28D414A8, 0x87F5AAE3};
static const uint32_t MODULUS[POWER_BLOCK_DIGITS] = {
    0xFD227BD7, 0x3198C3D4, 0x02C22B1D, 0x3C99923A, 0xDA5ED8FC, 0xF5831312, 0x36880CDD, 0xB16617A7};

// One connection, seen from the server.
struct Peer {
    int socket;
    Connection *cipher;  // owned; its two keystreams, or NULL while nothing is enciphered
};

static bool ReceiveAll(const Peer &peer, void *bytes, size_t count) {
    if (recv(peer.socket, bytes, count, MSG_WAITALL) != (ssize_t)count) return false;
    if (peer.cipher != NULL) {
        CipherApplyRecv(peer.cipher, bytes, (int32_t)count);
    }
    return true;
}

static bool SendAll(const Peer &peer, const char *bytes, size_t count) {
    while (count != 0) {
        ssize_t sent = send(peer.socket, bytes, count, MSG_NOSIGNAL);
        if (sent <= 0) return false;
        bytes += sent;
        count -= (size_t)sent;
    }
    return true;
}

// The bytes as they go out.
static std::string Enciphered(const Peer &peer, std::string bytes) {
    if (peer.cipher != NULL) {
        CipherApplySend(peer.cipher, bytes.data(), (int32_t)bytes.size());
    }
    return bytes;
}

static bool SendText(const Peer &peer, const std::string &bytes) {
    const std::string out = Enciphered(peer, bytes);
    return SendAll(peer, out.data(), out.size());
}

// The login text has no length of its own: it ends with the version item.
static bool ReadRestOfLogin(const Peer &peer, std::string text) {
    char byte;
    while (text.find("version = '") == std::string::npos || text.back() != '\'' ||
           text.rfind("version = '") + 11 == text.size()) {
        if (!ReceiveAll(peer, &byte, 1)) return false;
        text += byte;
    }
    return true;
}

static bool ReadBlock(const Peer &peer, const uint32_t *secret, uint32_t *block) {
    uint32_t received[POWER_BLOCK_DIGITS];
    return ReceiveAll(peer, received, sizeof received) &&
           RsaBlockPower(block, received, secret, MODULUS, POWER_BLOCK_DIGITS) == 0;
}

// Reads the session key and the blocks of the text behind it, all but the last of which end in two
// bytes of 7.
static bool ReadEncipheredLogin(Peer *peer, ReplayKey key) {
    const bool is_short = key == REPLAY_EXPONENT_17_BITS;
    const uint32_t *open = is_short ? SHORT_EXPONENT : LONG_EXPONENT;
    const uint32_t *secret = is_short ? LONG_EXPONENT : SHORT_EXPONENT;
    if (!SendAll(*peer, (const char *)open, POWER_BLOCK_BYTES)) return false;
    if (!SendAll(*peer, (const char *)MODULUS, POWER_BLOCK_BYTES)) return false;
    uint32_t session_key[POWER_BLOCK_DIGITS];
    uint32_t block[POWER_BLOCK_DIGITS];
    if (!ReadBlock(*peer, secret, session_key)) return false;
    do {
        if (!ReadBlock(*peer, secret, block)) return false;
    } while (block[POWER_BLOCK_DIGITS - 1] >> 16 == 0x0707);
    peer->cipher = (Connection *)calloc(1, sizeof(Connection));
    return CipherSetup(peer->cipher, (const uint8_t *)session_key, sizeof session_key);
}

static bool ReadLogin(Peer *peer, ReplayKey key) {
    char head[5];
    if (!ReceiveAll(*peer, head, sizeof head)) return false;
    const std::string text(head, sizeof head);
    return text == "~ssl~" ? ReadEncipheredLogin(peer, key) : ReadRestOfLogin(*peer, text);
}

// Reads bytes away and adds them to a sum.
static bool ReadAway(const Peer &peer, size_t count, uint64_t *sum) {
    uint8_t bytes[65536];
    while (count != 0) {
        const ssize_t received =
            recv(peer.socket, bytes, count < sizeof bytes ? count : sizeof bytes, 0);
        if (received <= 0) return false;
        uint64_t part = 0;
        for (ssize_t i = 0; i < received; i++) {
            part += bytes[i];
        }
        *sum += part;
        count -= (size_t)received;
    }
    return true;
}

static bool ReadRequest(const Peer &peer, const ReplayResult &result, ReplayClock *clock,
                        std::string *text) {
    uint8_t head[5];
    if (!ReceiveAll(peer, head, sizeof head) || head[0] != '?') return false;
    size_t length = ((size_t)head[1] << 24) | ((size_t)head[2] << 16) | ((size_t)head[3] << 8) |
                    (size_t)head[4];
    text->resize(length + 5);
    if (!ReceiveAll(peer, text->data(), length + 5)) return false;
    bool has_parameters = text->compare(length + 1, 4, std::string(4, '\0')) != 0;
    text->resize(length);
    return !has_parameters || ReadAway(peer, result.parameter_bytes, &clock->parameter_sum);
}

static bool SendRows(const Peer &peer, const ReplayResult &result, ReplayClock *clock) {
    const size_t first = result.first_block_bytes;
    std::string copy;
    const std::string *rows = &result.rows;
    std::string field_list = Enciphered(peer, result.field_list);
    if (peer.cipher != NULL) {
        copy = Enciphered(peer, result.rows);
        rows = &copy;
    }
    if (!SendAll(peer, field_list.data(), field_list.size())) return false;
    if (!SendAll(peer, rows->data(), first)) return false;
    clock->first_block_sent_ns = NowNs();
    return SendAll(peer, rows->data() + first, rows->size() - first) && SendText(peer, "K");
}

// Sends the next block of a cursor, of which there have been `*blocks`.
static bool SendBlock(const Peer &peer, const ReplayResult &result, size_t *blocks) {
    size_t start = 0;
    size_t end = 0;
    if (*blocks < result.block_ends.size()) {
        start = *blocks == 0 ? 0 : result.block_ends[*blocks - 1];
        end = result.block_ends[*blocks];
        (*blocks)++;
    }
    return SendText(peer, result.field_list) &&
           SendAll(peer, result.rows.data() + start, end - start) && SendText(peer, "K");
}

// Answers the command and the word that opens the stream, and takes the rows.
static bool TakeStream(const Peer &peer, size_t stream_bytes, ReplayClock *clock) {
    char opening[8];
    return SendText(peer, "K") && ReceiveAll(peer, opening, sizeof opening) &&
           SendText(peer, WireInt64(0)) && ReadAway(peer, stream_bytes, &clock->stream_sum) &&
           SendText(peer, "K");
}

static void Serve(Peer *peer, const ReplayResult &result, ReplayKey key, ReplayClock *clock) {
    if (!ReadLogin(peer, key) || !SendText(*peer, "K")) return;
    std::string text;
    size_t cursor_blocks = 0;
    while (ReadRequest(*peer, result, clock, &text)) {
        bool sent;
        if (text.compare(0, 8, "PREPARE ") == 0) {
            sent = SendText(*peer, result.field_list + "K");
        } else if (text.compare(0, 2, "? ") == 0 || text.compare(0, 6, "SELECT") == 0) {
            sent = SendRows(*peer, result, clock);
        } else if (text.compare(0, 5, "OPEN ") == 0) {
            cursor_blocks = 0;
            sent = SendText(*peer, result.field_list + "K");
        } else if (text.compare(0, 6, "FETCH ") == 0) {
            sent = SendBlock(*peer, result, &cursor_blocks);
        } else if (text.compare(0, 8, "get lob ") == 0) {
            sent = SendText(*peer, result.large_value);
        } else if (text.compare(0, 5, "LOAD ") == 0) {
            sent = TakeStream(*peer, result.stream_bytes, clock);
        } else {
            sent = SendText(*peer, "K");
        }
        if (!sent) return;
    }
}

static void ServeToTheEnd(int socket, const ReplayResult &result, ReplayKey key,
                          ReplayClock *clock) {
    int on = 1;
    setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    Peer peer = {socket, NULL};
    Serve(&peer, result, key, clock);
    close(socket);
    if (peer.cipher != NULL) {
        CipherFree(peer.cipher);
        free(peer.cipher);
    }
}

static void PinTo(int core) {
    cpu_set_t cores;
    CPU_ZERO(&cores);
    CPU_SET(core, &cores);
    sched_setaffinity(0, sizeof cores, &cores);
}

Replay ReplayStart(const ReplayResult &result, ReplayKey key) {
    int listener = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    Must(bind(listener, (sockaddr *)&address, sizeof address) == 0, "bind");
    Must(listen(listener, 128) == 0, "listen");
    socklen_t address_bytes = sizeof address;
    getsockname(listener, (sockaddr *)&address, &address_bytes);
    void *shared =
        mmap(NULL, sizeof(ReplayClock), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    Must(shared != MAP_FAILED, "mmap");
    pid_t process = fork();
    Must(process >= 0, "fork");
    if (process == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);  // a client that fails leaves no server behind
        PinTo((int)sysconf(_SC_NPROCESSORS_ONLN) - 1);
        for (;;) {
            int connection = accept(listener, NULL, NULL);
            if (connection < 0) _exit(1);
            std::thread(ServeToTheEnd, connection, std::cref(result), key, (ReplayClock *)shared)
                .detach();
        }
    }
    close(listener);
    return {process, ntohs(address.sin_port), (const ReplayClock *)shared};
}

int ReplayConnect(const Replay &replay) {
    const int connection = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(replay.port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    Must(connect(connection, (sockaddr *)&address, sizeof address) == 0, "connect");
    const int on = 1;
    setsockopt(connection, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    const std::string login = "login version = '301'";
    char verdict;
    Must(send(connection, login.data(), login.size(), 0) == (ssize_t)login.size(), "send");
    Must(recv(connection, &verdict, 1, 0) == 1, "recv");
    return connection;
}

void ReplayStop(Replay *replay) {
    kill(replay->process, SIGKILL);
    waitpid(replay->process, NULL, 0);
    munmap((void *)replay->clock, sizeof(ReplayClock));
}
