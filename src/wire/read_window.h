// A window on the receive buffer: reads a run of typed values with the read position in registers.
//
// While a window is open nothing else may read from the connection, whose own read position is
// behind, and the position in its keystream too. What does not lie wholly in the buffer, and the
// byte that would empty it, goes through the connection's readers, so that the state they leave is
// the same as without a window. With the cipher on, the window ends where the keystream has to be
// made anew, if that comes first; a byte is deciphered when it is read, not before.
#pragma once

#include "wire/cipher.h"
#include "wire/connection.h"

struct ReadWindow {
    Connection *conn;
    const uint8_t *next;  // the first byte not yet read; NULL while nothing can be read in place
    const uint8_t *end;   // behind the last byte of the window
    const uint8_t *keystream;  // what deciphers `next`; NULL: bytes are in the clear
    bool swap;                 // values are reversed between wire and host
};

// Opens a window on bytes that have to be deciphered, if there are any.
inline void WindowOpenEnciphered(ReadWindow *window) {
    Connection *conn = window->conn;
    const CipherState *cipher = conn->recv_cipher;
    if (cipher == NULL || conn->pushback != 0 || conn->recv_fill == 0) return;
    const int32_t buffered = conn->recv_fill - conn->recv_pos;
    const int32_t keystream_left = CIPHER_PERIOD_BYTES - cipher->pos;
    window->keystream = cipher->keystream + cipher->pos;
    window->next = conn->recv_buf + conn->recv_pos;
    window->end = window->next + (buffered < keystream_left ? buffered : keystream_left);
}

inline ReadWindow WindowOpen(Connection *conn) {
    ReadWindow window = {conn, NULL, NULL, NULL, SwapBytes()};
    if (conn->use_ssl == 1) {
        WindowOpenEnciphered(&window);
    } else if (ConnBuffered(conn) > 0) {
        window.next = conn->recv_buf + conn->recv_pos;
        window.end = conn->recv_buf + conn->recv_fill;
    }
    return window;
}

// Hands the read position back to the connection.
inline void WindowClose(ReadWindow *window) {
    if (window->next == NULL) return;
    Connection *conn = window->conn;
    conn->recv_pos = (int32_t)(window->next - conn->recv_buf);
    if (window->keystream != NULL) {
        conn->recv_cipher->pos = (int32_t)(window->keystream - conn->recv_cipher->keystream);
    }
}

// The read that the window cannot serve.
inline bool WindowReadThrough(ReadWindow *window, void *target, int32_t length) {
    WindowClose(window);
    const bool read = ConnReadDeciphered(window->conn, target, length);
    *window = WindowOpen(window->conn);
    return read;
}

// Takes a value that lies wholly in the window, in the order of the wire.
template <typename Value>
inline Value WindowTake(ReadWindow *window) {
    Value value;
    memcpy(&value, window->next, sizeof(value));
    window->next += sizeof(value);
    if (window->keystream != NULL) {
        Value key;
        memcpy(&key, window->keystream, sizeof(key));
        window->keystream += sizeof(key);
        value = (Value)(value ^ key);
    }
    return value;
}

// The readers; false as soon as the socket fails. ReadChar alone takes a letter that was pushed
// back.
inline bool WindowReadChar(ReadWindow *window, uint8_t *value) {
    if (window->end - window->next > 1) {
        *value = *window->next++;
        if (window->keystream != NULL) {
            *value ^= *window->keystream++;
        }
        return true;
    }
    WindowClose(window);
    const bool read = ConnReadCharSlow(window->conn, value);
    *window = WindowOpen(window->conn);
    return read;
}

inline bool WindowReadInt16(ReadWindow *window, uint16_t *value) {
    uint16_t raw;
    if (window->end - window->next > 2) {
        raw = WindowTake<uint16_t>(window);
    } else {
        uint16_t received;
        if (!WindowReadThrough(window, &received, 2)) return false;
        raw = received;
    }
    *value = window->swap ? __builtin_bswap16(raw) : raw;
    return true;
}

inline bool WindowReadInt32(ReadWindow *window, uint32_t *value) {
    uint32_t raw;
    if (window->end - window->next > 4) {
        raw = WindowTake<uint32_t>(window);
    } else {
        uint32_t received;
        if (!WindowReadThrough(window, &received, 4)) return false;
        raw = received;
    }
    *value = window->swap ? __builtin_bswap32(raw) : raw;
    return true;
}

inline bool WindowReadInt64(ReadWindow *window, uint64_t *value) {
    uint64_t raw;
    if (window->end - window->next > 8) {
        raw = WindowTake<uint64_t>(window);
    } else {
        uint64_t received;
        if (!WindowReadThrough(window, &received, 8)) return false;
        raw = received;
    }
    *value = window->swap ? __builtin_bswap64(raw) : raw;
    return true;
}

// Reads bytes and deciphers them when the cipher is on.
inline bool WindowReadBytes(ReadWindow *window, void *target, int32_t length) {
    if (window->end - window->next > length) {
        if (window->keystream != NULL) {
            CipherXor((uint8_t *)target, window->next, window->keystream, length);
            window->keystream += length;
        } else {
            memcpy(target, window->next, (size_t)length);
        }
        window->next += length;
        return true;
    }
    return WindowReadThrough(window, target, length);
}
