// One connection: typed reads and writes over the buffered socket.
//
// The reads that rows consist of are inline: while a value lies wholly in the receive buffer, in
// the clear and with no letter pushed back, reading it is a copy out of the buffer. Everything else
// goes through ConnReadExactSlow and ConnReadDeciphered, which receive, decipher and take back the
// letter.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "records/connection.h"

// While 1, multi-byte values are big-endian on the wire. Set when an environment is made, never
// cleared. Every writer stores the same value, and a value that is read early is the same either
// way, so that relaxed loads and stores are enough.
extern std::atomic<uint8_t> swap_bytes;

// Fills a zeroed record with the state of a connection that was never opened, its semaphore with
// one permit. False for NULL.
bool ConnInit(Connection *conn);

// Closes the socket, if there is one, and connects a new one to `ip` and `port`, with no time limit
// of its own. False when that fails; the socket is closed then. The buffers stay as they are:
// unread bytes of the old socket are served first.
bool ConnOpenSocket(Connection *conn);

// Waits without limit until no request runs, then releases what the record owns, not the record.
// False for NULL.
bool ConnFree(Connection *conn);

// Fills in the defaults of a login.
void ConnAttrInit(ConnAttr *attr);

// Closes the socket, if there is one.
void ConnCloseSocket(Connection *conn);

// Delivers at most `wanted` bytes, at least 1, in one step: what the buffer holds, or what one
// receive of up to RECV_BUFFER_BYTES brings. Returns the bytes delivered, or -1 when the receive
// failed. Knows nothing of the pushed-back letter.
int32_t ConnRecvSome(Connection *conn, void *target, int32_t wanted);

// What the inline readers do when the common case does not hold; not called otherwise.
bool ConnReadExactSlow(Connection *conn, void *target, int32_t length);
bool ConnReadCharSlow(Connection *conn, uint8_t *value);

// Reads `length` bytes and deciphers them when the cipher is on.
bool ConnReadDeciphered(Connection *conn, void *target, int32_t length);

// The bytes that ConnTake can hand out before the next receive; 0 while a letter is pushed back or
// the cipher is on.
inline int32_t ConnBuffered(const Connection *conn) {
    if ((conn->pushback | conn->use_ssl) != 0) return 0;
    return conn->recv_fill - conn->recv_pos;
}

// Takes the next `length` bytes (at least 1) where they lie in the receive buffer. NULL, with
// nothing taken, when they are not all there in the clear. The bytes hold until the next read that
// receives, and a read of a byte more than is buffered does.
inline const uint8_t *ConnTake(Connection *conn, int32_t length) {
    const int32_t buffered = ConnBuffered(conn);
    if (buffered < length) return NULL;
    const uint8_t *bytes = conn->recv_buf + conn->recv_pos;
    if (buffered == length) {
        // The last byte empties the buffer at once, not the next read.
        conn->recv_fill = 0;
        conn->recv_pos = 0;
    } else {
        conn->recv_pos += length;
    }
    return bytes;
}

// Reads raw bytes, none of them deciphered. All or nothing but for the stream: what came before a
// failure is lost. A length below 1 reads nothing.
inline bool ConnReadExact(Connection *conn, void *target, int32_t length) {
    const int32_t buffered = conn->recv_fill - conn->recv_pos;
    if (length < 1 || conn->pushback != 0 || buffered <= length) {
        return ConnReadExactSlow(conn, target, length);
    }
    memcpy(target, conn->recv_buf + conn->recv_pos, (size_t)length);
    conn->recv_pos += length;
    return true;
}

inline bool SwapBytes(void) {
    return swap_bytes.load(std::memory_order_relaxed) != 0;
}

// The typed readers; false as soon as the socket fails, with `*value` as it was.
inline bool ConnReadChar(Connection *conn, uint8_t *value) {
    const uint8_t *bytes = ConnTake(conn, 1);
    if (bytes == NULL) return ConnReadCharSlow(conn, value);
    *value = *bytes;
    return true;
}

inline bool ConnReadInt16(Connection *conn, uint16_t *value) {
    uint16_t raw;
    const uint8_t *bytes = ConnTake(conn, 2);
    if (bytes != NULL) {
        memcpy(&raw, bytes, sizeof(raw));
    } else if (!ConnReadDeciphered(conn, &raw, 2)) {
        return false;
    }
    *value = SwapBytes() ? __builtin_bswap16(raw) : raw;
    return true;
}

inline bool ConnReadInt32(Connection *conn, uint32_t *value) {
    uint32_t raw;
    const uint8_t *bytes = ConnTake(conn, 4);
    if (bytes != NULL) {
        memcpy(&raw, bytes, sizeof(raw));
    } else if (!ConnReadDeciphered(conn, &raw, 4)) {
        return false;
    }
    *value = SwapBytes() ? __builtin_bswap32(raw) : raw;
    return true;
}

inline bool ConnReadInt64(Connection *conn, uint64_t *value) {
    uint64_t raw;
    const uint8_t *bytes = ConnTake(conn, 8);
    if (bytes != NULL) {
        memcpy(&raw, bytes, sizeof(raw));
    } else if (!ConnReadDeciphered(conn, &raw, 8)) {
        return false;
    }
    *value = SwapBytes() ? __builtin_bswap64(raw) : raw;
    return true;
}

inline bool ConnReadFloat(Connection *conn, float *value) {
    uint32_t bits;
    if (!ConnReadInt32(conn, &bits)) return false;
    memcpy(value, &bits, sizeof(bits));
    return true;
}

inline bool ConnReadDouble(Connection *conn, double *value) {
    uint64_t bits;
    if (!ConnReadInt64(conn, &bits)) return false;
    memcpy(value, &bits, sizeof(bits));
    return true;
}

// Reads a counted text into a new block with a NUL behind it, which the caller frees. Returns 0, -4
// when the socket failed, -5 when the block cannot be had or the length is negative; `*text` is
// NULL then, and with -5 nothing behind the length has been read.
int32_t ConnReadString(Connection *conn, char **text);

// Reads `length` bytes and throws them away, without deciphering: skipped bytes do not move the
// keystream. A length below 1 reads nothing.
bool ConnSkip(Connection *conn, int32_t length);

// Writes bytes, through the buffer when they are at most SEND_BYPASS_BYTES. Returns 0; what the
// send of the buffered bytes returned, -1 on failure, when the bytes went past the buffer; -1 when
// there is no memory to encipher them in. A failed send on the way of a small write is not
// reported.
int32_t ConnWrite(Connection *conn, const void *bytes, int32_t length);
void ConnWriteInt16(Connection *conn, uint16_t value);
void ConnWriteInt32(Connection *conn, uint32_t value);
void ConnWriteInt64(Connection *conn, uint64_t value);
void ConnWriteFloat(Connection *conn, float value);
void ConnWriteDouble(Connection *conn, double value);

// Sends what the buffer holds, if anything, and empties it in any case. Returns 0, or -1 when the
// send failed.
int32_t ConnFlush(Connection *conn);

// Sends one command text in its frame, with no parameters, and flushes.
void ConnSendCommand(Connection *conn, const char *text);

// Writes the frame of a command with `count` parameters to follow; does not flush. Returns 0, or -1
// when the write of the text failed; the count is not written then.
int32_t ConnSendCommandArgs(Connection *conn, const char *text, int32_t count);

// Starts a detached background thread. Returns false when the system refuses it.
bool ConnStartThread(void (*entry)(void *argument), size_t stack_bytes, void *argument);
