// A server that replays one prepared result, in a process of its own and on a core of its own, so
// that what the client uses can be told from what the server uses. It has a thread for each
// connection.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <sys/types.h>
#include <vector>

// What the server writes down for the client to see.
struct ReplayClock {
    int64_t first_block_sent_ns;  // when the last byte of the 2000th row was handed to the system
    uint64_t parameter_sum;       // of the parameter bytes that came, before they were answered
    uint64_t stream_sum;          // of the bytes of loads that came, before they were answered
};

struct Replay {
    pid_t process;
    uint16_t port;
    const ReplayClock *clock;  // shared memory
};

// The result to replay.
struct ReplayResult {
    std::string field_list;          // with its 'A'
    std::string rows;                // 'R' and a row, as often as there are rows
    size_t first_block_bytes;        // of `rows`, up to the end of the 2000th row
    size_t parameter_bytes;          // that follow each request with parameters
    std::vector<size_t> block_ends;  // of `rows`, behind every 2000th row and the last, for cursors
    std::string large_value;         // the whole answer to a get lob
    size_t stream_bytes;             // of the rows of each load with the end of their stream
};

// What the client calculates with in an enciphered login: its cost goes by the exponent's length.
enum ReplayKey { REPLAY_EXPONENT_17_BITS, REPLAY_EXPONENT_256_BITS };

// Starts the server. It accepts any login, plain or enciphered, answers a PREPARE with the field
// list, the execution of a prepared name and any text that begins with "SELECT" with the result,
// the opening of a cursor with the field list, each FETCH with the next 2000 rows, takes the stream
// of a LOAD and throws it away, and answers anything else with 'K', when the parameters have come.
// On an enciphered connection the result is enciphered before its first byte is sent, so that it
// departs as fast as a plain one.
Replay ReplayStart(const ReplayResult &result, ReplayKey key = REPLAY_EXPONENT_17_BITS);
void ReplayStop(Replay *replay);

// Connects and logs on by hand; the program ends when that fails.
int ReplayConnect(const Replay &replay);

// The request bytes of a command.
std::string ReplayFrame(const std::string &text);

// Values as they go on the wire.
std::string WireInt32(int32_t value);
std::string WireInt64(int64_t value);
std::string WireDouble(double value);
std::string WireText(const std::string &text);  // counted

int64_t NowNs();
// User and system time that this process has used.
int64_t CpuNs();
