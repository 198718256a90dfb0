// A statement that fetches ahead, with its reader in the test's hand.
#pragma once

#include <array>
#include <atomic>
#include <condition_variable>
#include <mutex>
#include <string>

#include "stmt/cursor_rig.h"
#include "stmt/execute.h"
#include "stmt/fetch_ahead.h"
#include "stmt/rows.h"

// While it lives, polling waits do not sleep, waits are counted, and the reader can be held where
// it waits for its turn. Without that the threads meet no lock here, which would order them where
// the library must.
class WaitControl {
public:
    WaitControl() {
        for (std::atomic<int32_t> &count : counts) {
            count = 0;
        }
        is_held = false;
        opening_point = WAIT_POINT_COUNT;
        WaitSkipSleeps(true);
        WaitSetHook(OnWait);
    }
    ~WaitControl() {
        LetReaderGo();
        WaitSetHook(nullptr);
        WaitSkipSleeps(false);
    }

    int32_t Waits(WaitPoint point) const {
        return counts[point].load(std::memory_order_relaxed);
    }

    void HoldReader() {
        std::lock_guard<std::mutex> guard(mutex);
        is_held = true;
    }

    void LetReaderGo() {
        std::lock_guard<std::mutex> guard(mutex);
        is_held = false;
        changed.notify_all();
    }

protected:
    inline static std::mutex mutex;
    inline static std::condition_variable changed;
    inline static std::atomic<bool> is_held;
    inline static ScriptedPeer *opening_peer;
    inline static std::string opening_gate;
    inline static std::atomic<int> opening_point;

private:
    static void OnWait(WaitPoint point) {
        counts[point].fetch_add(1, std::memory_order_relaxed);
        if (point == opening_point.load(std::memory_order_acquire)) {
            opening_peer->Open(opening_gate);
        }
        if (point == WAIT_AHEAD_TURN && is_held.load(std::memory_order_relaxed)) {
            std::unique_lock<std::mutex> lock(mutex);
            changed.wait(lock, [] { return !is_held.load(std::memory_order_relaxed); });
        }
        std::this_thread::yield();
    }

    inline static std::array<std::atomic<int32_t>, WAIT_POINT_COUNT> counts;
};

// Waits until nobody but the statement holds what the readers share.
inline bool AwaitReaders(const TVCIStmt *stmt) {
    return stmt->ahead == nullptr || Await([stmt] { return stmt->ahead->holders.load() == 1; });
}

struct AheadRig : WaitControl, CursorRig {
    AheadRig() : CursorRig(CURSOR_AHEAD) {}

    // Opens a gate of the peer as soon as anybody waits here.
    void OpenAt(WaitPoint point, const std::string &gate) {
        opening_peer = &peer;
        opening_gate = gate;
        opening_point.store(point, std::memory_order_release);
    }

    bool AwaitState(int32_t state) {
        return Await([this, state] { return AheadStateOf(stmt) == state; });
    }

    // Waits until the reader, which is to be held, has fetched its first block and is held.
    bool AwaitHeldReader() {
        return AwaitState(2) && Await([this] { return Waits(WAIT_AHEAD_TURN) > 0; });
    }

    bool ReadersEnd() {
        return AwaitReaders(stmt);
    }

    // Ends the readers of cursors that were closed early with a cursor of one row.
    void EndReaders() {
        if (stmt->cursor_open) {
            Script(Hex(CLOSE_0), Hex("'K'"));
        }
        Execute();
        Script(Hex(FETCH_0), Block(0, 1));
        FetchRows(0, 0);
        EXPECT_TRUE(ReadersEnd());
    }
};

// One more statement of the session that fetches ahead.
struct AheadStatement {
    AheadRig *rig;
    std::string name;
    TVCIStmt *stmt;
    int32_t number = -1;

    AheadStatement(AheadRig *with_rig, const std::string &with_name)
        : rig(with_rig), name(with_name), stmt(with_rig->NewStmt()) {
        int32_t mode = CURSOR_AHEAD;
        EXPECT_EQ(0, TVCIAttrSet(stmt, 42, &mode, 0));
        EXPECT_EQ(0, TVCIDefineColumn(stmt, 1, &number, 4, TVCI_C_INT, nullptr, nullptr));
    }

    void Open() {
        rig->Script(Frame("PREPARE " + name + " AS Y"), Hex(ONE_FIELD) + Hex("'K'"));
        ASSERT_EQ(0, TVCIPrepare(stmt, "Y", -1));
        rig->Script(Frame("DECLARE " + name + "_CUR CURSOR FOR " + name + ";"), Hex("'K'"));
        rig->Script(Frame("OPEN " + name + "_CUR;"), Hex(ONE_FIELD) + Hex("'K'"));
        ASSERT_EQ(0, TVCIExecute(stmt));
    }

    void FetchRows(int32_t first, int32_t last) {
        for (int32_t i = first; i <= last; i++) {
            ASSERT_EQ(0, TVCIFetch(stmt)) << i;
            ASSERT_EQ(i, number);
        }
    }

    bool AwaitState(int32_t state) {
        return Await([this, state] { return AheadStateOf(stmt) == state; });
    }

    bool ReadersEnd() {
        return AwaitReaders(stmt);
    }
};
