// One connection: its life, the receive buffer behind the inline readers, and the buffered writer.
#include "wire/connection.h"

#include "diag/error.h"
#include "platform/memory.h"
#include "platform/text.h"
#include "platform/thread.h"
#include "platform/wait.h"
#include "wire/cipher.h"

constexpr int64_t MINUTE_MS = 60000;
// Piece in which unwanted bytes are read away.
constexpr int32_t SKIP_PIECE_BYTES = 1024;

std::atomic<uint8_t> swap_bytes;

bool ConnInit(Connection *conn) {
    if (conn == NULL) return false;
    conn->owner = NULL;
    SemaphoreInit(&conn->use_semaphore, 0);
    SemaphoreRelease(&conn->use_semaphore);
    conn->next_stmt_id = 0;
    conn->status = 2;
    conn->ip = 0;
    conn->port = DEFAULT_PORT;
    memset(conn->database, 0, sizeof(conn->database));
    conn->timeout = 0;
    conn->sock = 0;
    conn->use_ssl = 0;
    conn->recv_cipher = NULL;
    conn->send_cipher = NULL;
    conn->pushback = 0;
    conn->send_fill = 0;
    conn->auto_reconnect = 1;
    conn->recv_fill = 0;
    conn->recv_pos = 0;
    memset(conn->send_buf, 0, sizeof(conn->send_buf));
    return true;
}

bool ConnOpenSocket(Connection *conn) {
    ConnCloseSocket(conn);
    SocketId sock = SocketOpen();
    SocketSetOptions(sock, conn->timeout > 0 ? conn->timeout * MINUTE_MS : 0);
    if (!SocketConnect(sock, conn->ip, conn->port)) {
        SocketClose(sock);
        return false;
    }
    SocketSetLinger(sock);
    conn->sock = sock;
    return true;
}

static void FreeUnsentCopies(Connection *conn) {
    while (conn->unsent_copies != NULL) {
        UnsentCopy *copy = conn->unsent_copies;
        conn->unsent_copies = copy->next;
        MemFree(copy);
    }
}

bool ConnFree(Connection *conn) {
    if (conn == NULL) return false;
    WaitSemaphore(&conn->use_semaphore, WAIT_CONN_FREE);
    ConnCloseSocket(conn);
    CipherFree(conn);
    FreeUnsentCopies(conn);
    ErrInfoFree(&conn->last_error);
    SemaphoreRelease(&conn->use_semaphore);
    SemaphoreDestroy(&conn->use_semaphore);
    return true;
}

void ConnAttrInit(ConnAttr *attr) {
    memset(attr, 0, sizeof(*attr));
    TextCopy(attr->user, sizeof(attr->user), "SYSDBA");
    TextCopy(attr->password, sizeof(attr->password), "SYSDBA");
    TextCopy(attr->char_set, sizeof(attr->char_set), "GBK");
    // Spelled as the server receives it.
    TextCopy(attr->time_zone, sizeof(attr->time_zone), "GTM+08:00");
    TextCopy(attr->iso_level, sizeof(attr->iso_level), "2");
    TextCopy(attr->version, sizeof(attr->version), "301");
    attr->auto_commit = 1;
    attr->reconnect = 1;
}

void ConnCloseSocket(Connection *conn) {
    if (conn->sock != 0) {
        SocketClose(conn->sock);
        conn->sock = 0;
    }
}

// Copies out of the receive buffer: all that is left when that is no more than wanted.
static int32_t TakeBuffered(Connection *conn, void *target, int32_t wanted) {
    int32_t buffered = conn->recv_fill - conn->recv_pos;
    if (buffered > wanted) {
        memcpy(target, conn->recv_buf + conn->recv_pos, (size_t)wanted);
        conn->recv_pos += wanted;
        return wanted;
    }
    memcpy(target, conn->recv_buf + conn->recv_pos, (size_t)buffered);
    conn->recv_fill = 0;
    conn->recv_pos = 0;
    return buffered;
}

int32_t ConnRecvSome(Connection *conn, void *target, int32_t wanted) {
    if (conn->recv_fill == 0) {
        int64_t received = SocketReceive(conn->sock, conn->recv_buf, RECV_BUFFER_BYTES);
        if (received < 1) return -1;
        conn->recv_fill = (int32_t)received;
        conn->recv_pos = 0;
    }
    return TakeBuffered(conn, target, wanted);
}

bool ConnReadExactSlow(Connection *conn, void *target, int32_t length) {
    if (length < 1) return true;
    uint8_t *bytes = (uint8_t *)target;
    if (conn->pushback != 0) {
        *bytes = conn->pushback;
        conn->pushback = 0;
        bytes++;
        length--;
    }
    while (length > 0) {
        int32_t delivered = ConnRecvSome(conn, bytes, length);
        if (delivered < 1) return false;
        bytes += delivered;
        length -= delivered;
    }
    return true;
}

bool ConnReadDeciphered(Connection *conn, void *target, int32_t length) {
    if (!ConnReadExact(conn, target, length)) return false;
    if (conn->use_ssl == 1) {
        CipherApplyRecv(conn, target, length);
    }
    return true;
}

bool ConnReadCharSlow(Connection *conn, uint8_t *value) {
    // A letter that was pushed back has been through the keystream already.
    bool deciphered = conn->pushback != 0;
    uint8_t letter = 0;
    if (!ConnReadExact(conn, &letter, 1)) return false;
    if (conn->use_ssl == 1 && !deciphered) {
        CipherApplyRecv(conn, &letter, 1);
    }
    *value = letter;
    return true;
}

int32_t ConnReadString(Connection *conn, char **text) {
    *text = NULL;
    uint32_t wire_length;
    if (!ConnReadInt32(conn, &wire_length)) return -4;
    int32_t length = (int32_t)wire_length;
    if (length < 0) return -5;
    char *block = (char *)MemAllocRaw((size_t)length + 1);
    if (block == NULL) return -5;
    if (!ConnReadDeciphered(conn, block, length)) {
        MemFree(block);
        return -4;
    }
    block[length] = '\0';
    *text = block;
    return 0;
}

bool ConnSkip(Connection *conn, int32_t length) {
    uint8_t unwanted[SKIP_PIECE_BYTES];
    while (length > 0) {
        int32_t piece = length < SKIP_PIECE_BYTES ? length : SKIP_PIECE_BYTES;
        if (!ConnReadExact(conn, unwanted, piece)) return false;
        length -= piece;
    }
    return true;
}

// Sends what the buffer holds, a send of 0 bytes if it holds nothing, and empties it.
static int64_t SendBuffered(Connection *conn) {
    int64_t sent = SocketSend(conn->sock, conn->send_buf, (size_t)conn->send_fill);
    conn->send_fill = 0;
    return sent;
}

// Sends the buffered bytes, then the bytes themselves, whose own result shows on the next read
// only.
static int32_t SendPastBuffer(Connection *conn, const void *bytes, int32_t length) {
    int64_t sent = SendBuffered(conn);
    if (sent == -1) return -1;
    SocketSend(conn->sock, bytes, (size_t)length);
    return (int32_t)sent;
}

// The caller's bytes stay as they are: what goes out is an enciphered copy. When the connection
// turns out to be lost before the copy was sent, the copy stays with the record.
static int32_t SendEncipheredPastBuffer(Connection *conn, const void *bytes, int32_t length) {
    UnsentCopy *copy = (UnsentCopy *)MemAllocRaw(sizeof(UnsentCopy) + (size_t)length);
    if (copy == NULL) return -1;
    void *enciphered = copy + 1;
    memcpy(enciphered, bytes, (size_t)length);
    CipherApplySend(conn, enciphered, length);
    int32_t result = SendPastBuffer(conn, enciphered, length);
    if (result == -1) {
        copy->next = conn->unsent_copies;
        conn->unsent_copies = copy;
    } else {
        MemFree(copy);
    }
    return result;
}

int32_t ConnWrite(Connection *conn, const void *bytes, int32_t length) {
    if (length < 1) return 0;
    // What is written is enciphered when there is a keystream, whatever `use_ssl` says.
    bool encipher = conn->send_cipher != NULL;
    if (length > SEND_BYPASS_BYTES) {
        return encipher ? SendEncipheredPastBuffer(conn, bytes, length)
                        : SendPastBuffer(conn, bytes, length);
    }
    if (conn->send_fill + length >= SEND_BUFFER_BYTES) {
        SendBuffered(conn);
    }
    uint8_t *room = conn->send_buf + conn->send_fill;
    memcpy(room, bytes, (size_t)length);
    if (encipher) {
        CipherApplySend(conn, room, length);
    }
    conn->send_fill += length;
    return 0;
}

void ConnWriteInt16(Connection *conn, uint16_t value) {
    uint16_t wire = SwapBytes() ? __builtin_bswap16(value) : value;
    ConnWrite(conn, &wire, sizeof(wire));
}

void ConnWriteInt32(Connection *conn, uint32_t value) {
    uint32_t wire = SwapBytes() ? __builtin_bswap32(value) : value;
    ConnWrite(conn, &wire, sizeof(wire));
}

void ConnWriteInt64(Connection *conn, uint64_t value) {
    uint64_t wire = SwapBytes() ? __builtin_bswap64(value) : value;
    ConnWrite(conn, &wire, sizeof(wire));
}

void ConnWriteFloat(Connection *conn, float value) {
    uint32_t bits;
    memcpy(&bits, &value, sizeof(bits));
    ConnWriteInt32(conn, bits);
}

void ConnWriteDouble(Connection *conn, double value) {
    uint64_t bits;
    memcpy(&bits, &value, sizeof(bits));
    ConnWriteInt64(conn, bits);
}

int32_t ConnFlush(Connection *conn) {
    if (conn->send_fill == 0) return 0;
    return SendBuffered(conn) == -1 ? -1 : 0;
}

// Writes the frame up to its last word. Returns what the write of the text returned.
static int32_t WriteCommandText(Connection *conn, const char *text) {
    size_t text_bytes = strlen(text);
    ConnWrite(conn, "?", 1);
    ConnWriteInt32(conn, (uint32_t)text_bytes);
    // The length does not count the terminator, which travels all the same.
    return ConnWrite(conn, text, (int32_t)(text_bytes + 1));
}

void ConnSendCommand(Connection *conn, const char *text) {
    WriteCommandText(conn, text);
    ConnWriteInt32(conn, 0);
    ConnFlush(conn);
}

int32_t ConnSendCommandArgs(Connection *conn, const char *text, int32_t count) {
    if (WriteCommandText(conn, text) == -1) return -1;
    ConnWriteInt32(conn, count < 1 ? 0 : (uint32_t)count);
    return 0;
}

bool ConnStartThread(void (*entry)(void *argument), size_t stack_bytes, void *argument) {
    return ThreadStart(entry, stack_bytes, argument);
}
