// What a server says while a bulk load is on its way.
#include "bulk/ack_reader.h"

#include "diag/error.h"
#include "platform/memory.h"
#include "platform/wait.h"
#include "stmt/letters.h"
#include "wire/connection.h"

// The reader's states, in `bulk_reader_running`.
enum AckReaderState : uint8_t { READER_ENDED = 0, READER_RUNS = 1, READER_REFUSED = 2 };

// Takes an error's text. False when the connection is lost in front of its end.
static bool ReadError(Connection *conn) {
    conn->bulk_error = 1;
    char *text;
    if (ConnReadString(conn, &text) != 0) return false;
    ErrInfoFromServer(&conn->last_error, text);
    MemFree(text);
    return true;
}

static bool ReadWarning(Connection *conn) {
    char *text;
    if (ConnReadString(conn, &text) != 0) return false;
    MemFree(text);
    return true;
}

// Reads up to the letter that closes the stream, or up to a lost connection, which passes for it.
static void ReadAcknowledgements(Connection *conn) {
    for (uint8_t letter; ConnReadChar(conn, &letter) && letter != MSG_END;) {
        switch (letter) {
            case MSG_ERROR:
                if (!ReadError(conn)) return;
                break;
            case MSG_WARNING:
                if (!ReadWarning(conn)) return;
                break;
            default: break;
        }
    }
}

static void AckReaderEntry(void *argument) {
    Connection *conn = (Connection *)argument;
    ReadAcknowledgements(conn);
    conn->bulk_reader_running.store(READER_ENDED, std::memory_order_release);
}

void AckReaderStart(Connection *conn) {
    conn->bulk_reader_running.store(READER_RUNS, std::memory_order_relaxed);
    if (!ConnStartThread(AckReaderEntry, 0, conn)) {
        conn->bulk_reader_running.store(READER_REFUSED, std::memory_order_relaxed);
    }
}

void AckReaderWait(Connection *conn) {
    if (conn->bulk_reader_running.load(std::memory_order_relaxed) == READER_REFUSED) {
        AckReaderEntry(conn);
    }
    while (conn->bulk_reader_running.load(std::memory_order_acquire) != READER_ENDED) {
        WaitStep(WAIT_BULK_READER);
    }
}
