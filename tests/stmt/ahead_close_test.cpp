// Cursors with fetching ahead that are closed, run again or cut off before their end.
#include <gtest/gtest.h>

#include <cstdlib>

#include "stmt/ahead_rig.h"
#include "stmt/prepare.h"

TEST(AheadClose, BeforeTheFirstFetch) {
    AheadRig rig;
    rig.Open();
    rig.ScriptClose();
    EXPECT_EQ(0, TVCIHandleFree(rig.stmt));
    EXPECT_EQ(0, rig.Waits(WAIT_AHEAD_TURN));
}

// Fetches a row and closes the statement while the reader's block is on its way.
static void CloseWithABlockUnderWay(AheadRig *rig) {
    rig->Open();
    rig->Script(Hex(FETCH_0), Block(0, 2000));
    rig->peer.Expect(Hex(FETCH_0));
    rig->peer.Gate("block");
    rig->peer.Send(Block(2000, 2000));
    rig->FetchRows(0, 0);
    rig->ScriptClose();
    rig->OpenAt(WAIT_AHEAD_RELEASE, "block");
    EXPECT_EQ(0, TVCIStmtClose(rig->stmt, 3));
    EXPECT_LT(0, rig->Waits(WAIT_AHEAD_RELEASE));
}

TEST(AheadClose, WaitsForTheBlockThatIsUnderWay) {
    AheadRig rig;
    CloseWithABlockUnderWay(&rig);
    EXPECT_EQ(nullptr, rig.stmt->ahead_result);
    EXPECT_EQ(nullptr, rig.Result(0));
    // The reader goes on sleeping, until a later cursor of the statement comes to its end.
    EXPECT_EQ(2, AheadStateOf(rig.stmt));
    EXPECT_EQ(2, rig.stmt->ahead->holders.load());
    rig.Script(Hex("3F 00000010 'PREPARE ST1 AS X' 00 00000000"), Hex(ONE_FIELD) + Hex("'K'"));
    ASSERT_EQ(0, TVCIPrepare(rig.stmt, "X", -1));
    EXPECT_EQ(0, TVCIDefineColumn(rig.stmt, 1, &rig.number, 4, TVCI_C_INT, nullptr, nullptr));
    rig.Script(Hex("3F 0000001F 'DECLARE ST1_CUR CURSOR FOR ST1;' 00 00000000"), Hex("'K'"));
    rig.Script(Hex("3F 0000000D 'OPEN ST1_CUR;' 00 00000000"), Hex(ONE_FIELD) + Hex("'K'"));
    ASSERT_EQ(0, TVCIExecute(rig.stmt));
    rig.Script(Hex(FETCH_1), Block(0, 1));
    rig.FetchRows(0, 0);
    EXPECT_EQ(100, TVCIFetch(rig.stmt));
    EXPECT_TRUE(rig.ReadersEnd());
}

TEST(AheadClose, InTheMiddleOfABlockWithTheNextOneThere) {
    AheadRig rig;
    rig.Open();
    rig.Script(Hex(FETCH_0), Block(0, 2000));
    rig.Script(Hex(FETCH_0), Block(2000, 2000));
    rig.FetchRows(0, 999);
    ASSERT_TRUE(rig.AwaitState(2));
    rig.Script(Hex(CLOSE_0), Hex("'K'"));
    rig.Execute();
    EXPECT_EQ(0, rig.Waits(WAIT_AHEAD_RELEASE));
    EXPECT_EQ(2, rig.stmt->ahead->holders.load());
    rig.EndReaders();
}

TEST(AheadClose, ACursorThatIsRunAgainHasTwoReadersAndEachRowOnce) {
    AheadRig rig;
    rig.Open();
    rig.Script(Hex(FETCH_0), Block(0, 2000));
    rig.Script(Hex(FETCH_0), Block(2000, 2000));
    rig.FetchRows(0, 0);
    ASSERT_TRUE(rig.AwaitState(2));
    rig.Script(Hex(CLOSE_0), Hex("'K'"));
    rig.Execute();
    rig.ScriptBlocks(20001);
    rig.FetchRows(0, 0);
    EXPECT_EQ(3, rig.stmt->ahead->holders.load());
    rig.FetchRows(1, 20000);
    EXPECT_EQ(100, TVCIFetch(rig.stmt));
    EXPECT_TRUE(rig.ReadersEnd());
    EXPECT_EQ(100, TVCIFetch(rig.stmt));
}

TEST(AheadClose, ManyCursorsClosedEarlyLeaveTheirReadersToTheLast) {
    constexpr int32_t CURSORS = 10;
    AheadRig rig;
    rig.Open();
    for (int32_t i = 0; i < CURSORS; i++) {
        rig.Script(Hex(FETCH_0), Block(0, 2000));
        rig.Script(Hex(FETCH_0), Block(2000, 1));
        rig.FetchRows(0, 0);
        ASSERT_TRUE(rig.AwaitState(2));
        EXPECT_EQ(2 + i, rig.stmt->ahead->holders.load());
        rig.Script(Hex(CLOSE_0), Hex("'K'"));
        rig.Execute();
    }
    rig.ScriptBlocks(10000);
    rig.FetchRows(0, 9999);
    EXPECT_EQ(100, TVCIFetch(rig.stmt));
    EXPECT_TRUE(rig.ReadersEnd());
}

// A statement that is prepared again or freed with its block under way.
TEST(AheadClose, PreparingAgainWaitsForTheBlockThatIsUnderWay) {
    AheadRig rig;
    rig.Open();
    rig.Script(Hex(FETCH_0), Block(0, 2000));
    rig.peer.Expect(Hex(FETCH_0));
    rig.peer.Gate("block");
    rig.peer.Send(Block(2000, 2000));
    rig.FetchRows(0, 0);
    rig.Script(Hex("3F 0000000F 'DEALLOCATE ST0;' 00 00000000"), Hex("'K'"));
    rig.OpenAt(WAIT_AHEAD_RELEASE, "block");
    DeallocatePrepared(rig.stmt);
    EXPECT_LT(0, rig.Waits(WAIT_AHEAD_RELEASE));
    rig.Script(Hex("3F 00000010 'PREPARE ST1 AS X' 00 00000000"), Hex(ONE_FIELD) + Hex("'K'"));
    ASSERT_EQ(0, TVCIPrepare(rig.stmt, "X", -1));
    rig.Script(Hex(CLOSE_0), Hex("'K'"));
    rig.Script(Hex("3F 0000001F 'DECLARE ST0_CUR CURSOR FOR ST1;' 00 00000000"), Hex("'K'"));
    rig.Script(Hex(OPEN_0), Hex(ONE_FIELD) + Hex("'K'"));
    ASSERT_EQ(0, TVCIExecute(rig.stmt));
    rig.Script(Hex(FETCH_0), Block(0, 1));
    rig.FetchRows(0, 0);
    EXPECT_TRUE(rig.ReadersEnd());
}

// Ends this process well once the reader has gone through so many more steps of its wait.
static void EndAfterSteps(const WaitControl &control, int32_t steps) {
    const int32_t until = control.Waits(WAIT_AHEAD_TURN) + steps;
    if (Await([&] { return control.Waits(WAIT_AHEAD_TURN) >= until; })) {
        std::_Exit(0);
    }
    std::_Exit(1);
}

// Frees this handle with the reader's block under way or there, and everything else behind it.
enum FreedHandle { FREED_STMT, FREED_SESSION, FREED_SERVER, FREED_ENV };

static void FreeWithABlock(FreedHandle handle, bool under_way) {
    auto *rig = new AheadRig;
    rig->Open();
    rig->Script(Hex(FETCH_0), Block(0, 2000));
    rig->peer.Expect(Hex(FETCH_0));
    rig->peer.Gate("block");
    rig->peer.Send(Block(2000, 2000));
    rig->FetchRows(0, 0);
    rig->ScriptClose();
    if (under_way) {
        rig->OpenAt(WAIT_AHEAD_RELEASE, "block");
    } else {
        rig->peer.Open("block");
        if (!rig->AwaitState(2)) std::_Exit(2);
    }
    void *handles[] = {rig->stmt, rig->session, rig->server, rig->env};
    if (TVCIHandleFree(handles[handle]) != 0) std::_Exit(3);
    for (int next = handle + 1; next <= FREED_ENV; next++) {
        if (TVCIHandleFree(handles[next]) != 0) std::_Exit(4);
    }
    if (!rig->peer.Finish()) std::_Exit(5);
    EndAfterSteps(*rig, 100);
}

TEST(AheadClose, ReaderSleepsOnWhenItsHandlesAreFreed) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    for (int handle = FREED_STMT; handle <= FREED_ENV; handle++) {
        EXPECT_EXIT(FreeWithABlock((FreedHandle)handle, true), testing::ExitedWithCode(0), "")
            << handle;
        EXPECT_EXIT(FreeWithABlock((FreedHandle)handle, false), testing::ExitedWithCode(0), "")
            << handle;
    }
}

// Leaves a process in the orderly way, with a reader asleep and all handles freed. What the reader
// holds is one block, which is no leak while it sleeps.
static void ExitBesideASleepingReader() {
    const int64_t blocks = MemLiveBlocks();
    {
        AheadRig rig;
        rig.Open();
        rig.Script(Hex(FETCH_0), Block(0, 2000));
        rig.Script(Hex(FETCH_0), Block(2000, 2000));
        rig.FetchRows(0, 0);
        if (!rig.AwaitState(2)) std::_Exit(2);
        rig.ScriptClose();
        if (TVCIHandleFree(rig.stmt) != 0) std::_Exit(3);
    }
    std::exit(MemLiveBlocks() == blocks + 1 ? 0 : 4);
}

TEST(AheadClose, ReaderThatSleepsOnHoldsOneBlockAndLetsTheProcessEnd) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(ExitBesideASleepingReader(), testing::ExitedWithCode(0), "");
}

// A reader in the time that it takes: it looks at its state once a second.
static void SleepThreeSeconds() {
    CursorRig rig(CURSOR_AHEAD);
    rig.Open();
    rig.Script(Hex(FETCH_0), Block(0, 2000));
    rig.Script(Hex(FETCH_0), Block(2000, 2000));
    rig.FetchRows(0, 0);
    if (!Await([&] { return AheadStateOf(rig.stmt) == 2; })) std::_Exit(2);
    rig.ScriptClose();
    if (TVCIHandleFree(rig.stmt) != 0) std::_Exit(3);
    static std::atomic<int32_t> steps;
    WaitSetHook([](WaitPoint point) { steps += point == WAIT_AHEAD_TURN; });
    const auto start = std::chrono::steady_clock::now();
    if (!Await([] { return steps.load() == 3; })) std::_Exit(4);
    const auto passed = std::chrono::steady_clock::now() - start;
    // Three steps take two whole sleeps at the least.
    std::_Exit(passed >= std::chrono::milliseconds(2 * POLL_STEP_MS) ? 0 : 5);
}

TEST(AheadClose, ReaderThatSleepsOnLooksOnceASecond) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(SleepThreeSeconds(), testing::ExitedWithCode(0), "");
}

// A direct execution right behind the end of a block: it holds the connection and waits for the
// reader, who waits for the connection.
static void ExecDirectBehindABlock() {
    auto *rig = new AheadRig;
    rig->Open();
    rig->HoldReader();
    rig->Script(Hex(FETCH_0), Block(0, 2000));
    rig->Script(Hex(FETCH_0), Block(2000, 2000));
    rig->FetchRows(0, 0);
    if (!rig->AwaitHeldReader()) std::_Exit(2);
    rig->FetchRows(1, 2000);
    std::thread watcher([rig] {
        if (!Await([rig] { return rig->Waits(WAIT_AHEAD_RELEASE) > 0; })) std::_Exit(3);
        rig->LetReaderGo();
        if (!Await([rig] { return rig->Waits(WAIT_CONN_PERMIT) > 0; })) std::_Exit(4);
        // Both wait, and go on waiting.
        const int32_t until = rig->Waits(WAIT_AHEAD_RELEASE) + 1000;
        if (!Await([&] { return rig->Waits(WAIT_AHEAD_RELEASE) >= until; })) std::_Exit(5);
        std::_Exit(AheadStateOf(rig->stmt) == 1 ? WaitStatus(WAIT_AHEAD_RELEASE) : 6);
    });
    TVCIExecDirect(rig->stmt, "X", -1);
    watcher.join();
}

TEST(AheadClose, DirectExecutionBetweenABlockAndTheNextWaitsForTheReaderAndTheReaderForIt) {
    EXPECT_WAITS_FOR_EVER(ExecDirectBehindABlock(), WAIT_AHEAD_RELEASE);
}

TEST(AheadDisconnect, LetsTheReaderFinishItsBlock) {
    AheadRig rig;
    rig.Open();
    rig.Script(Hex(FETCH_0), Block(0, 2000));
    rig.peer.Expect(Hex(FETCH_0));
    rig.peer.Gate("block");
    rig.peer.Send(Block(2000, 2000));
    rig.peer.ExpectEnd();
    rig.FetchRows(0, 0);
    ASSERT_TRUE(Await([&] { return !rig.PermitIsFree(); }));
    rig.OpenAt(WAIT_CONN_FREE, "block");
    EXPECT_EQ(0, TVCIDisconnect(rig.session));
    EXPECT_LT(0, rig.Waits(WAIT_CONN_FREE));
    // The block is good; the reader finds no connection for another one.
    rig.FetchRows(1, 3999);
    EXPECT_EQ(100, TVCIFetch(rig.stmt));
    EXPECT_TRUE(rig.ReadersEnd());
    EXPECT_EQ(7, AheadStateOf(rig.stmt));
}

TEST(AheadDisconnect, TakesTheTurnFromAReaderThatHasNotBegun) {
    AheadRig rig;
    rig.Open();
    rig.HoldReader();
    rig.Script(Hex(FETCH_0), Block(0, 2000));
    rig.Script(Hex(FETCH_0), Block(2000, 2000));
    rig.peer.ExpectEnd();
    rig.FetchRows(0, 0);
    ASSERT_TRUE(rig.AwaitHeldReader());
    rig.FetchRows(1, 2000);
    EXPECT_EQ(3, AheadStateOf(rig.stmt));
    EXPECT_EQ(0, TVCIDisconnect(rig.session));
    EXPECT_EQ(7, AheadStateOf(rig.stmt));
    rig.LetReaderGo();
    EXPECT_TRUE(rig.ReadersEnd());
    rig.FetchRows(2001, 3999);
    EXPECT_EQ(100, TVCIFetch(rig.stmt));
    EXPECT_EQ(0, TVCIHandleFree(rig.stmt));
}

TEST(AheadDisconnect, BlockThatWaitsStays) {
    AheadRig rig;
    rig.Open();
    rig.Script(Hex(FETCH_0), Block(0, 2000));
    rig.Script(Hex(FETCH_0), Block(2000, 2000));
    rig.peer.ExpectEnd();
    rig.FetchRows(0, 0);
    ASSERT_TRUE(rig.AwaitState(2));
    EXPECT_EQ(0, TVCIDisconnect(rig.session));
    rig.FetchRows(1, 3999);
    EXPECT_EQ(100, TVCIFetch(rig.stmt));
    EXPECT_TRUE(rig.ReadersEnd());
}

// Takes the place of the socket while it lives: each request is answered with a full block, at
// once.
struct EndlessCursor {
    EndlessCursor() {
        block = Block(0, 2000);
        next = block.size();
        SocketSetHooks(Send, Receive);
    }
    ~EndlessCursor() {
        SocketSetHooks(nullptr, nullptr);
    }

private:
    static int64_t Send(SocketId, const void *, size_t count) {
        next = 0;
        return (int64_t)count;
    }
    static int64_t Receive(SocketId, void *target, size_t count) {
        const size_t part = std::min(count, block.size() - next);
        std::copy_n(block.data() + next, part, (uint8_t *)target);
        next += part;
        return (int64_t)part;
    }
    // Whoever has the connection's permit has these.
    inline static Bytes block;
    inline static size_t next;
};

TEST(AheadDisconnect, InAnyMomentOfTheReader) {
    for (int32_t rows = 1; rows < 6000; rows += 197) {
        AheadRig rig;
        rig.Open();
        EndlessCursor endless;
        for (int32_t i = 0; i < rows; i++) {
            ASSERT_EQ(0, TVCIFetch(rig.stmt));
        }
        EXPECT_EQ(0, TVCIDisconnect(rig.session));
        int32_t left = 0;
        while (TVCIFetch(rig.stmt) == 0) {
            left++;
        }
        // What was there of this block, and all or nothing of the next.
        EXPECT_EQ(0, (rows + left) % 2000) << rows;
        EXPECT_GT(4000, left) << rows;
        EXPECT_TRUE(rig.ReadersEnd());
    }
}

// Closes and runs again, and frees at last, in any moment of the readers.
static void CloseInAnyMoment() {
    auto *rig = new AheadRig;
    rig->Open();
    auto *endless = new EndlessCursor;
    for (int32_t rows = 1; rows < 8000; rows += 397) {
        for (int32_t i = 0; i < rows; i++) {
            if (TVCIFetch(rig->stmt) != 0) std::_Exit(2);
        }
        ReleaseResults(rig->stmt);
        rig->stmt->current = NewResultSet(rig->stmt);
        rig->stmt->current->kind = RESULT_ROWS;
    }
    delete endless;
    rig->ScriptClose();
    if (TVCIHandleFree(rig->env) != 0) std::_Exit(3);
    EndAfterSteps(*rig, 100);
}

TEST(AheadClose, InAnyMomentOfTheReaders) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(CloseInAnyMoment(), testing::ExitedWithCode(0), "");
}

// A session on a connection that a pool lends.
struct PooledRig : AheadRig {
    TVCIServer *pooled = nullptr;
    TVCISession *first = nullptr;
    TVCISession *second = nullptr;

    PooledRig() {
        uint32_t port = peer.port();
        int32_t on = 1;
        peer.ExpectEnd();
        EXPECT_EQ(0, TVCIHandleFree(session));
        EXPECT_EQ(0, TVCIAttrSet(env, 2, &on, 0));
        EXPECT_EQ(0, TVCIHandleAlloc(env, (void **)&pooled, TVCI_HTYPE_SERVER));
        EXPECT_EQ(0, TVCIAttrSet(pooled, 21, "127.0.0.1", -1));
        EXPECT_EQ(0, TVCIAttrSet(pooled, 22, &port, -1));
        EXPECT_EQ(0, TVCIAttrSet(pooled, 24, "SYSTEM", -1));
        EXPECT_EQ(0, TVCIHandleAlloc(pooled, (void **)&first, TVCI_HTYPE_SESSION));
        EXPECT_EQ(0, TVCIHandleAlloc(pooled, (void **)&second, TVCI_HTYPE_SESSION));
        peer.Accept();
        Script(Ascii(DEFAULT_LOGIN_TEXT), Hex("'K'"));
        EXPECT_EQ(0, TVCIConnect(first, "SYSDBA", "SYSDBA"));
        session = first;
        stmt = NewStmt();
        SetMode(CURSOR_AHEAD);
    }
};

TEST(AheadDisconnect, ConnectionGoesBackToItsPoolBehindTheBlock) {
    PooledRig rig;
    rig.Open();
    rig.Script(Hex(FETCH_0), Block(0, 2000));
    rig.peer.Expect(Hex(FETCH_0));
    rig.peer.Gate("block");
    rig.peer.Send(Block(2000, 2000));
    rig.FetchRows(0, 0);
    ASSERT_TRUE(Await([&] { return !rig.PermitIsFree(); }));
    rig.OpenAt(WAIT_CONN_FREE, "block");
    EXPECT_EQ(0, TVCIDisconnect(rig.first));
    EXPECT_EQ(0, TVCIConnect(rig.second, "SYSDBA", "SYSDBA"));
    rig.Script(Hex("3F 00000007 'COMMIT;' 00 00000000"), Hex("'K'"));
    EXPECT_EQ(0, TVCICommit(rig.second));
    rig.FetchRows(1, 3999);
    EXPECT_EQ(100, TVCIFetch(rig.stmt));
    EXPECT_TRUE(rig.ReadersEnd());
    rig.Script(Hex("3F 00000007 'COMMIT;' 00 00000000"), Hex("'K'"));
    EXPECT_EQ(0, TVCICommit(rig.second));
}

TEST(AheadDisconnect, PooledConnectionOfACursorComesBackWhenLost) {
    PooledRig rig;
    rig.Open();
    rig.Script(Hex(FETCH_0), Block(0, 2000));
    rig.peer.Expect(Hex(FETCH_0));
    rig.peer.Close();
    rig.ScriptSecondLogin();
    rig.FetchRows(0, 1999);
    EXPECT_EQ(100, TVCIFetch(rig.stmt));
    EXPECT_TRUE(rig.ReadersEnd());
    rig.WaitReader();
    rig.Script(Hex("3F 00000007 'COMMIT;' 00 00000000"), Hex("'K'"));
    EXPECT_EQ(0, TVCICommit(rig.first));
}
