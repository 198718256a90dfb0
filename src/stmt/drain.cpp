// Reading a response for nobody. No statement takes part, so nothing is kept of it, not even the
// texts of its errors.
#include "stmt/drain.h"

#include "platform/memory.h"
#include "records/result.h"
#include "stmt/letters.h"
#include "stmt/prepare.h"
#include "stmt/response_items.h"
#include "stmt/rows.h"
#include "tavu/tvci.h"
#include "values/types.h"
#include "wire/connection.h"

// What the client writes to let the server go on with a paused row stream.
static const char GO_ON = '.';

static int32_t DrainText(Connection *conn) {
    char *text;
    const int32_t status = ConnReadString(conn, &text);
    MemFree(text);
    return status;
}

// A value of that type, announced with `length`: what is not there is NULL, and fixed widths ignore
// the length.
static bool DrainValue(Connection *conn, int32_t type, int32_t length) {
    if (length < 1) return true;
    const int32_t width = TypeFixedSize(type);
    return DiscardDeciphered(conn, width < EXTERNAL_SLOT_BYTES ? width : length);
}

static int32_t DrainRow(Connection *conn, uint8_t letter, const FieldDesc *fields, int32_t count) {
    uint32_t length;
    if (letter == MSG_MARKED_ROW) {
        // Bookmarks of rows never go through the cipher.
        if (!ConnReadInt32(conn, &length)) return TVCI_CONNECTION_LOST;
        if (!ConnSkip(conn, (int32_t)length)) return TVCI_CONNECTION_LOST;
    }
    for (int32_t column = 0; column < count; column++) {
        if (!ConnReadInt32(conn, &length)) return TVCI_CONNECTION_LOST;
        if (!DrainValue(conn, fields[column].type, (int32_t)length)) return TVCI_CONNECTION_LOST;
    }
    return TVCI_SUCCESS;
}

// Reads rows until another letter comes, which is pushed back.
static int32_t DrainRows(Connection *conn, const FieldDesc *fields, int32_t count) {
    int32_t status = TVCI_SUCCESS;
    while (status == TVCI_SUCCESS) {
        uint8_t letter;
        if (!ConnReadChar(conn, &letter)) return TVCI_CONNECTION_LOST;
        switch (letter) {
            case MSG_ROW:
            case MSG_MARKED_ROW: status = DrainRow(conn, letter, fields, count); break;
            case MSG_ERROR:
            case MSG_ERROR_OTHER:
            case MSG_MESSAGE:
            case MSG_WARNING: status = DrainText(conn); break;
            default: conn->pushback = letter; return TVCI_SUCCESS;
        }
    }
    return status;
}

static int32_t DrainResult(Connection *conn) {
    int32_t count;
    FieldDesc *fields;
    int32_t status = ReadFields(conn, &count, &fields);
    if (status != TVCI_SUCCESS) return status;
    ConnWrite(conn, &GO_ON, sizeof(GO_ON));
    ConnFlush(conn);
    status = DrainRows(conn, fields, count);
    FieldsFree(fields, count);
    return status;
}

// Reads `words` integers, the last of which is a length that as many bytes follow.
static int32_t DrainCounted(Connection *conn, int32_t words, bool is_deciphered) {
    uint32_t word = 0;
    for (int32_t words_left = words; words_left > 0; words_left--) {
        if (!ConnReadInt32(conn, &word)) return TVCI_CONNECTION_LOST;
    }
    const bool came =
        is_deciphered ? DiscardDeciphered(conn, (int32_t)word) : ConnSkip(conn, (int32_t)word);
    return came ? TVCI_SUCCESS : TVCI_CONNECTION_LOST;
}

static int32_t DrainOutParameter(Connection *conn) {
    uint32_t index;
    uint32_t type;
    uint32_t length;
    const bool came = ConnReadInt32(conn, &index) && ConnReadInt32(conn, &type) &&
                      ConnReadInt32(conn, &length) &&
                      DrainValue(conn, (int32_t)type, (int32_t)length);
    return came ? TVCI_SUCCESS : TVCI_CONNECTION_LOST;
}

static int32_t DrainWord(Connection *conn) {
    uint32_t word;
    return ConnReadInt32(conn, &word) ? TVCI_SUCCESS : TVCI_CONNECTION_LOST;
}

static int32_t DrainItem(Connection *conn, uint8_t letter) {
    switch (letter) {
        case MSG_ROWS: return DrainResult(conn);
        case MSG_DELETED:
        case MSG_UPDATED: return DrainWord(conn);
        case MSG_INSERTED: return DrainCounted(conn, 1, true);
        case MSG_DATA: return DrainCounted(conn, 2, false);
        case MSG_OUT_PARAMETER: return DrainOutParameter(conn);
        case MSG_ERROR:
        case MSG_ERROR_OTHER:
        case MSG_MESSAGE:
        case MSG_WARNING: return DrainText(conn);
        case MSG_PARAMETER_DESCS: return ReadParamDescs(conn);
        default: return TVCI_SUCCESS;
    }
}

int32_t DrainResponse(Connection *conn) {
    int32_t status = TVCI_SUCCESS;
    while (status == TVCI_SUCCESS) {
        uint8_t letter;
        if (!ConnReadChar(conn, &letter)) return TVCI_CONNECTION_LOST;
        if (letter == MSG_END) return TVCI_SUCCESS;
        status = DrainItem(conn, letter);
    }
    return status;
}
