// A statement with a server cursor, and the exchanges of one.
#pragma once

#include <chrono>
#include <thread>

#include "stmt/stmt_rig.h"

inline const char *const DECLARE_0 = "3F 0000001F 'DECLARE ST0_CUR CURSOR FOR ST0;' 00 00000000";
inline const char *const OPEN_0 = "3F 0000000D 'OPEN ST0_CUR;' 00 00000000";
inline const char *const FETCH_0 = "3F 00000018 'FETCH 2000 FROM ST0_CUR;' 00 00000000";
inline const char *const FETCH_1 = "3F 00000018 'FETCH 2000 FROM ST1_CUR;' 00 00000000";
inline const char *const CLOSE_0 = "3F 00000010 'CLOSE `ST0_CUR`;' 00 00000000";
inline const char *const DEALLOCATE_0 = "3F 00000011 'DEALLOCATE `ST0`;' 00 00000000";

// What the server answers to a FETCH that finds `count` rows, from `first` on.
inline Bytes Block(int32_t first, int32_t count) {
    return Hex(ONE_FIELD) + IntRows(first, count) + Hex("'K'");
}

// Statement attribute 42.
enum CursorMode { CURSOR_NONE = 0, CURSOR_PLAIN = 1, CURSOR_AHEAD = 2 };

struct CursorRig : StmtRig {
    int32_t number = -1;  // the value of the last row that was fetched

    explicit CursorRig(CursorMode mode) {
        SetMode(mode);
    }

    void SetMode(int32_t mode) {
        EXPECT_EQ(0, TVCIAttrSet(stmt, 42, &mode, 0));
    }

    // Prepares "X" as ST0, and the answer declares a cursor.
    void PrepareCursor() {
        Script(Hex("3F 00000010 'PREPARE ST0 AS X' 00 00000000"), Hex(ONE_FIELD) + Hex("'K'"));
        ASSERT_EQ(0, TVCIPrepare(stmt, "X", -1));
        EXPECT_EQ(0, TVCIDefineColumn(stmt, 1, &number, 4, TVCI_C_INT, nullptr, nullptr));
    }

    // Declares and opens the cursor of the prepared statement.
    void Execute() {
        Script(Hex(DECLARE_0), Hex("'K'"));
        Script(Hex(OPEN_0), Hex(ONE_FIELD) + Hex("'K'"));
        ASSERT_EQ(0, TVCIExecute(stmt));
    }

    void Open() {
        PrepareCursor();
        Execute();
    }

    // Scripts the FETCHes of a cursor of `count` rows, the last of which finds none.
    void ScriptBlocks(int32_t count) {
        for (int32_t first = 0; first < count; first += 2000) {
            Script(Hex(FETCH_0), Block(first, std::min(2000, count - first)));
        }
        Script(Hex(FETCH_0), Block(0, 0));
    }

    // Fetches rows first to last, which hold their own numbers.
    void FetchRows(int32_t first, int32_t last) {
        for (int32_t i = first; i <= last; i++) {
            ASSERT_EQ(0, TVCIFetch(stmt)) << i;
            ASSERT_EQ(i, number);
        }
    }

    void ScriptClose() {
        Script(Hex(CLOSE_0), Hex("'K'"));
        Script(Hex(DEALLOCATE_0), Hex("'K'"));
    }
};

// Waits, for at most 20 seconds, until the condition holds.
template <typename Condition>
bool Await(Condition condition) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        std::this_thread::yield();
    }
    return true;
}
