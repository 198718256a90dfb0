// What the tests of the row stream share.
#include "stmt/row_rig.h"

#include <algorithm>
#include <cstring>

#include "diag/error.h"
#include "platform/debug.h"
#include "platform/memory.h"
#include "platform/socket.h"
#include "stmt/rows.h"
#include "tavu/tvci.h"
#include "wire/connection.h"

static RowRig *played = nullptr;

static int64_t PlayReceive(SocketId, void *bytes, size_t count) {
    size_t given = std::min({count, played->input_piece, played->input.size() - played->input_at});
    if (played->input_at < played->input_cut) {
        given = std::min(given, played->input_cut - played->input_at);
    }
    if (given == 0) return 0;
    memcpy(bytes, played->input.data() + played->input_at, given);
    played->input_at += given;
    return (int64_t)given;
}

// Tests that take memory away have the arena tell so; the tests of the arena read what it says.
static void DropDebugText(const char *) {}

RowRig::RowRig()
    : blocks_before(MemLiveBlocks()), conn((Connection *)MemAlloc(sizeof(Connection))) {
    played = this;
    SocketSetHooks(nullptr, PlayReceive);
    DebugSetHook(DropDebugText);
    swap_bytes = 1;
    ConnInit(conn);
    session.type = TVCI_HTYPE_SESSION;
    session.conn = conn;
    conn->owner = &session;
    stmt.type = TVCI_HTYPE_STMT;
    stmt.session = &session;
    stmt.results.next = &stmt.results;
    MutexInit(&stmt.lock);
}

RowRig::~RowRig() {
    MemFailAt(0);
    ReleaseAll();
    MemFree(stmt.column_handles);
    ErrInfoFree(&stmt.err);
    MutexDestroy(&stmt.lock);
    ConnFree(conn);
    MemFree(conn);
    SocketSetHooks(nullptr, nullptr);
    DebugSetHook(nullptr);
    played = nullptr;
    EXPECT_EQ(blocks_before, MemLiveBlocks());
}

void RowRig::Arrive(const Bytes &bytes, size_t piece_bytes) {
    input = bytes;
    input_at = 0;
    input_piece = piece_bytes;
    input_cut = 0;
    conn->recv_fill = 0;
    conn->recv_pos = 0;
    conn->pushback = 0;
}

void RowRig::ArriveCut(const Bytes &bytes, size_t cut) {
    Arrive(bytes);
    input_cut = cut;
}

ResultSet *RowRig::NewResult(const std::vector<int32_t> &types) {
    Bytes list = Int32((int32_t)types.size());
    for (const int32_t type : types) {
        list = list + FieldBytes("C", type);
    }
    Arrive(list);
    ResultSet *result = NewResultSet(&stmt);
    result->kind = RESULT_ROWS;
    EXPECT_EQ(0, ReadFieldList(result));
    return result;
}

void RowRig::ReleaseAll() {
    while (stmt.results.next != &stmt.results) {
        ResultSet *result = (ResultSet *)stmt.results.next;
        stmt.results.next = result->link.next;
        FreeResultSet(result);
        MemFree(result);
    }
}

Bytes RowRig::Unread() const {
    const Bytes buffered(conn->recv_buf + conn->recv_pos, conn->recv_buf + conn->recv_fill);
    return buffered + Bytes(input.begin() + (ptrdiff_t)input_at, input.end());
}

std::string RowRig::Error() {
    if (!ErrInfoPresent(&stmt.err)) return "";
    char code[7];
    char message[256];
    uint32_t length = 0;
    ErrInfoCopy(&stmt.err, code, message, sizeof(message), &length);
    return std::string(code) + ": " + std::string(message, length);
}

Bytes FieldBytes(const std::string &name, int32_t type) {
    return Counted(name) + Int32(type) + Hex("FFFFFFFF 00000000");
}
