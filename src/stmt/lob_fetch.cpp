// Large values: the exchange that fetches one by its descriptor.
#include <algorithm>
#include <climits>
#include <cstdio>

#include "platform/memory.h"
#include "platform/wait.h"
#include "stmt/letters.h"
#include "stmt/lob.h"
#include "stmt/rows.h"
#include "tavu/tvci.h"
#include "wire/connection.h"

// Room for the command; the size in it is cut to what is left.
constexpr size_t COMMAND_BYTES = 100;
// A server sends no longer chunk.
constexpr int32_t CHUNK_BYTES_MAX = 102400;

// The value as it arrives. It may turn out longer than announced.
struct Arrival {
    uint8_t *data;     // owned
    int64_t capacity;  // bytes at `data`
    int32_t total;     // bytes that came
};

static bool ReadWord(Connection *conn, int32_t *word) {
    uint32_t value;
    if (!ConnReadInt32(conn, &value)) return false;
    *word = (int32_t)value;
    return true;
}

// Reads the column descriptions, which nobody needs.
static int32_t PassFieldList(Connection *conn) {
    int32_t count;
    if (!ReadWord(conn, &count)) return TVCI_CONNECTION_LOST;
    if (count < 0) return TVCI_NO_MEMORY;
    for (int32_t i = 0; i < count; i++) {
        FieldDesc field;
        const int32_t status = ReadField(conn, &field);
        if (status != TVCI_SUCCESS) return status;
        MemFree(field.table != NULL ? field.table : field.name);
    }
    return TVCI_SUCCESS;
}

// Makes room for `bytes` more, half of the announced size ahead or, for a value that goes on and
// on, as much again.
static bool Grow(Arrival *arrival, int32_t announced, int32_t bytes) {
    const int64_t needed = (int64_t)arrival->total + bytes;
    if (needed <= arrival->capacity) return true;
    if (needed > INT32_MAX) return false;
    const int64_t ahead = std::max<int64_t>(announced / 2, arrival->total);
    uint8_t *grown = (uint8_t *)MemRealloc(arrival->data, (size_t)(needed + ahead));
    if (grown == NULL) return false;
    arrival->data = grown;
    arrival->capacity = needed + ahead;
    return true;
}

static int32_t ReadChunks(Connection *conn, int32_t announced, Arrival *arrival) {
    for (;;) {
        int32_t more;
        if (!ReadWord(conn, &more)) return TVCI_CONNECTION_LOST;
        if (more == 0) return TVCI_SUCCESS;
        int32_t bytes;
        if (!ReadWord(conn, &bytes)) return TVCI_CONNECTION_LOST;
        if (bytes < 0 || bytes > CHUNK_BYTES_MAX) return TVCI_CONNECTION_LOST;
        if (!Grow(arrival, announced, bytes)) return TVCI_NO_MEMORY;
        if (!ConnReadDeciphered(conn, arrival->data + arrival->total, bytes)) {
            return TVCI_CONNECTION_LOST;
        }
        arrival->total += bytes;
    }
}

// An answer of another form is not read to its end: of what follows its first letter, two bytes are
// taken for letters.
static int32_t ReadAnswer(Connection *conn, int32_t announced, Arrival *arrival) {
    uint8_t letter;
    if (!ConnReadChar(conn, &letter)) return TVCI_CONNECTION_LOST;
    if (letter == MSG_ROWS) {
        const int32_t status = PassFieldList(conn);
        if (status != TVCI_SUCCESS) return status;
    }
    if (!ConnReadChar(conn, &letter)) return TVCI_CONNECTION_LOST;
    if (letter == MSG_ROW) {
        const int32_t status = ReadChunks(conn, announced, arrival);
        if (status != TVCI_SUCCESS) return status;
    }
    return ConnReadChar(conn, &letter) ? TVCI_SUCCESS : TVCI_CONNECTION_LOST;
}

int32_t FetchLobData(Connection *conn, const char *descriptor, int32_t *size, uint8_t **data_out) {
    if (*size < 0) return TVCI_NO_MEMORY;
    const int64_t capacity = (int64_t)*size + 1;
    Arrival arrival = {(uint8_t *)MemAlloc((size_t)capacity), capacity, 0};
    if (arrival.data == NULL) return TVCI_NO_MEMORY;
    MemExpectFill(arrival.data, (size_t)capacity);
    char command[COMMAND_BYTES];
    snprintf(command, sizeof(command), "get lob '%.*s'  offset 0 limit %s",
             DESCRIPTOR_IDENTITY_BYTES, descriptor, descriptor + DESCRIPTOR_SIZE_OFFSET);
    WaitSemaphore(&conn->use_semaphore, WAIT_CONN_PERMIT);
    ConnSendCommand(conn, command);
    const int32_t status = ReadAnswer(conn, *size, &arrival);
    SemaphoreRelease(&conn->use_semaphore);
    if (status != TVCI_SUCCESS) {
        MemFree(arrival.data);
        return status;
    }
    *size = arrival.total;
    *data_out = arrival.data;
    return TVCI_SUCCESS;
}
