// A window on the receive buffer: reads a run of typed values with the read position in registers.
//
// While a window is open nothing else may read from the connection, whose own read position is
// behind. What does not lie wholly in the buffer, and the byte that would empty it, goes through
// the connection's readers, so that the state they leave is the same as without a window.
#pragma once

#include "wire/connection.h"

struct ReadWindow {
    Connection *conn;
    const uint8_t *next;  // the first byte not yet read; NULL while nothing can be read in place
    const uint8_t *end;   // behind the last byte received
    bool swap;            // values are reversed between wire and host
};

inline ReadWindow WindowOpen(Connection *conn) {
    ReadWindow window = {conn, NULL, NULL, SwapBytes()};
    if (ConnBuffered(conn) > 0) {
        window.next = conn->recv_buf + conn->recv_pos;
        window.end = conn->recv_buf + conn->recv_fill;
    }
    return window;
}

// Hands the read position back to the connection.
inline void WindowClose(ReadWindow *window) {
    if (window->next != NULL) {
        window->conn->recv_pos = (int32_t)(window->next - window->conn->recv_buf);
    }
}

// The read that the window cannot serve.
inline bool WindowReadThrough(ReadWindow *window, void *target, int32_t length) {
    WindowClose(window);
    const bool read = ConnReadDeciphered(window->conn, target, length);
    *window = WindowOpen(window->conn);
    return read;
}

// The readers; false as soon as the socket fails. ReadChar alone takes a letter that was pushed
// back.
inline bool WindowReadChar(ReadWindow *window, uint8_t *value) {
    if (window->end - window->next > 1) {
        *value = *window->next++;
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
        memcpy(&raw, window->next, sizeof(raw));
        window->next += sizeof(raw);
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
        memcpy(&raw, window->next, sizeof(raw));
        window->next += sizeof(raw);
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
        memcpy(&raw, window->next, sizeof(raw));
        window->next += sizeof(raw);
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
        memcpy(target, window->next, (size_t)length);
        window->next += length;
        return true;
    }
    return WindowReadThrough(window, target, length);
}
