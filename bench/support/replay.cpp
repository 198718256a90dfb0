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

static constexpr size_t BLOCK_ROWS = 2000;

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

static bool ReceiveAll(int connection, void *bytes, size_t count) {
    return recv(connection, bytes, count, MSG_WAITALL) == (ssize_t)count;
}

static bool SendAll(int connection, const char *bytes, size_t count) {
    while (count != 0) {
        ssize_t sent = send(connection, bytes, count, MSG_NOSIGNAL);
        if (sent <= 0) return false;
        bytes += sent;
        count -= (size_t)sent;
    }
    return true;
}

static bool SendText(int connection, const std::string &bytes) {
    return SendAll(connection, bytes.data(), bytes.size());
}

// The login text has no length of its own: it ends with the version item.
static bool ReadLogin(int connection) {
    std::string text;
    char byte;
    while (text.find("version = '") == std::string::npos || text.back() != '\'' ||
           text.rfind("version = '") + 11 == text.size()) {
        if (!ReceiveAll(connection, &byte, 1)) return false;
        text += byte;
    }
    return true;
}

// Reads away what follows a request with parameters.
static bool ReadParameters(int connection, size_t count, ReplayClock *clock) {
    static uint8_t bytes[65536];
    while (count != 0) {
        ssize_t received = recv(connection, bytes, count < sizeof bytes ? count : sizeof bytes, 0);
        if (received <= 0) return false;
        for (ssize_t i = 0; i < received; i++) {
            clock->parameter_sum += bytes[i];
        }
        count -= (size_t)received;
    }
    return true;
}

static bool ReadRequest(int connection, const ReplayResult &result, ReplayClock *clock,
                        std::string *text) {
    uint8_t head[5];
    if (!ReceiveAll(connection, head, sizeof head) || head[0] != '?') return false;
    size_t length = ((size_t)head[1] << 24) | ((size_t)head[2] << 16) | ((size_t)head[3] << 8) |
                    (size_t)head[4];
    text->resize(length + 5);
    if (!ReceiveAll(connection, text->data(), length + 5)) return false;
    bool has_parameters = text->compare(length + 1, 4, std::string(4, '\0')) != 0;
    text->resize(length);
    return !has_parameters || ReadParameters(connection, result.parameter_bytes, clock);
}

static bool SendRows(int connection, const ReplayResult &result, ReplayClock *clock) {
    size_t first = result.first_block_bytes;
    if (!SendText(connection, result.field_list)) return false;
    if (!SendAll(connection, result.rows.data(), first)) return false;
    clock->first_block_sent_ns = NowNs();
    return SendAll(connection, result.rows.data() + first, result.rows.size() - first) &&
           SendText(connection, "K");
}

// Sends the rows of a cursor behind the first `*sent` bytes.
static bool SendBlock(int connection, const ReplayResult &result, size_t *sent) {
    size_t bytes = std::min(result.rows.size() - *sent, BLOCK_ROWS * result.row_bytes);
    const char *rows = result.rows.data() + *sent;
    *sent += bytes;
    return SendText(connection, result.field_list) && SendAll(connection, rows, bytes) &&
           SendText(connection, "K");
}

static void Serve(int connection, const ReplayResult &result, ReplayClock *clock) {
    if (!ReadLogin(connection) || !SendText(connection, "K")) return;
    std::string text;
    size_t cursor_sent = 0;
    while (ReadRequest(connection, result, clock, &text)) {
        bool sent;
        if (text.compare(0, 8, "PREPARE ") == 0) {
            sent = SendText(connection, result.field_list + "K");
        } else if (text.compare(0, 2, "? ") == 0) {
            sent = SendRows(connection, result, clock);
        } else if (text.compare(0, 5, "OPEN ") == 0) {
            cursor_sent = 0;
            sent = SendText(connection, result.field_list + "K");
        } else if (text.compare(0, 6, "FETCH ") == 0) {
            sent = SendBlock(connection, result, &cursor_sent);
        } else if (text.compare(0, 8, "get lob ") == 0) {
            sent = SendText(connection, result.large_value);
        } else {
            sent = SendText(connection, "K");
        }
        if (!sent) return;
    }
}

static void PinTo(int core) {
    cpu_set_t cores;
    CPU_ZERO(&cores);
    CPU_SET(core, &cores);
    sched_setaffinity(0, sizeof cores, &cores);
}

Replay ReplayStart(const ReplayResult &result) {
    int listener = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    Must(bind(listener, (sockaddr *)&address, sizeof address) == 0, "bind");
    Must(listen(listener, 4) == 0, "listen");
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
        signal(SIGCHLD, SIG_IGN);  // what serves a connection is not waited for
        for (;;) {
            int connection = accept(listener, NULL, NULL);
            if (connection < 0) _exit(1);
            int on = 1;
            setsockopt(connection, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
            // Each connection has a process of its own: a session may have two at once.
            if (fork() == 0) {
                prctl(PR_SET_PDEATHSIG, SIGKILL);
                Serve(connection, result, (ReplayClock *)shared);
                _exit(0);
            }
            close(connection);
        }
    }
    close(listener);
    return {process, ntohs(address.sin_port), (const ReplayClock *)shared};
}

void ReplayStop(Replay *replay) {
    kill(replay->process, SIGKILL);
    waitpid(replay->process, NULL, 0);
    munmap((void *)replay->clock, sizeof(ReplayClock));
}
