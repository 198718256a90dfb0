// Large values: storing one in a record, and what a record hands out.
#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>

#include "platform/memory.h"
#include "platform/wait.h"
#include "records/handles.h"
#include "stmt/lob.h"
#include "tavu/tvci.h"
#include "wire/pool.h"

constexpr int32_t LOB_BYTES_MAX = 2146435072;  // a value has fewer

// The session's connection for large values, made by the first thread that needs it. NULL when that
// fails; the session's error tells why.
static Connection *SessionLobConn(TVCISession *session) {
    WaitSemaphore(&session->lob_permit, WAIT_LOB_CONN);
    if (session->lob_conn == NULL) {
        session->lob_conn = TVCISessionLoginAgain(session);
    }
    Connection *conn = session->lob_conn;
    SemaphoreRelease(&session->lob_permit);
    return conn;
}

static int32_t AnnouncedSize(const char *descriptor) {
    const long long size = strtoll(descriptor + DESCRIPTOR_SIZE_OFFSET, NULL, 10);
    return (int32_t)std::clamp<long long>(size, INT32_MIN, INT32_MAX);
}

// Fetches a value that is on the server only. Whatever comes of that, the length is the announced
// one from then on. A record without a session or a whole descriptor has nothing to fetch.
static void LoadRemote(LobRecord *lob, uint8_t loaded) {
    if (lob->session == NULL || lob->descriptor == NULL) return;
    if (strnlen(lob->descriptor, DESCRIPTOR_SIZE_OFFSET) < DESCRIPTOR_SIZE_OFFSET) return;
    Connection *conn = SessionLobConn(lob->session);
    const int32_t announced = AnnouncedSize(lob->descriptor);
    int32_t size = announced;
    if (conn != NULL && FetchLobData(conn, lob->descriptor, &size, &lob->data) == TVCI_SUCCESS) {
        lob->remote = loaded;
    }
    lob->length = announced;
}

int32_t TVCILobGet(LobRecord *lob, int32_t *length_out, void **data_out) {
    if (lob == NULL || (length_out == NULL && data_out == NULL)) return TVCI_INVALID_ARGUMENT;
    bool skips_byte = false;
    if (lob->remote && lob->data == NULL) {
        LoadRemote(lob, LOB_IS_REMOTE);
    } else {
        // Data that are there already begin with a byte that is not handed out, unless TVCILobRead
        // has fetched them.
        skips_byte = lob->remote == LOB_IS_REMOTE && lob->kind != LOB_KIND_GEOMETRY;
    }
    if (length_out != NULL) {
        *length_out = lob->length;
    }
    if (data_out != NULL) {
        *data_out = skips_byte ? lob->data + 1 : lob->data;
    }
    return TVCI_SUCCESS;
}

int32_t TVCILobRead(LobRecord *lob, int32_t offset, int32_t amount, void *buffer,
                    int32_t *read_out) {
    if (lob == NULL || buffer == NULL || offset < 0) return TVCI_INVALID_ARGUMENT;
    int32_t unasked;
    if (read_out == NULL) {
        read_out = &unasked;
    }
    *read_out = 0;
    if (!lob->remote && offset > lob->length) return TVCI_ERROR;
    if (lob->remote && lob->data == NULL) {
        LoadRemote(lob, LOB_IS_REMOTE_READ);
    }
    if (amount < 1) return TVCI_SUCCESS;
    std::memset(buffer, 0, (size_t)amount);
    // A fetch that failed leaves a length and no data.
    if (lob->data == NULL || offset >= lob->length) return TVCI_SUCCESS;
    const int32_t bytes = std::min(lob->length - offset, amount);
    std::memcpy(buffer, lob->data + offset, (size_t)bytes);
    *read_out = bytes;
    return TVCI_SUCCESS;
}

int32_t TVCILobWrite(LobRecord *lob, int32_t length, const void *bytes) {
    if (lob == NULL || bytes == NULL || length < 0) return TVCI_INVALID_ARGUMENT;
    if (length >= LOB_BYTES_MAX) return TVCI_ERROR;
    if (LobOwnsData(lob)) {
        MemFree(lob->data);
    }
    lob->data = NULL;
    lob->length = 0;
    // A byte to spare, for readers that pass over a lead byte.
    uint8_t *data = (uint8_t *)MemAllocRaw((size_t)length + 1);
    if (data == NULL) return TVCI_NO_MEMORY;
    MemExpectFill(data, (size_t)length);
    std::memcpy(data, bytes, (size_t)length);
    data[length] = 0;
    // What names a value in the rows is not the record's to free, and ends with the borrowing.
    if (lob->borrowed) {
        lob->descriptor = NULL;
    }
    lob->borrowed = 0;
    if (lob->remote) {
        lob->remote = LOB_IS_REMOTE;
    }
    lob->data = data;
    lob->length = length;
    return TVCI_SUCCESS;
}
