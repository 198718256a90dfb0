// Selects that run through a server cursor, which the control file switches on.
#include <gtest/gtest.h>

#include <algorithm>
#include <thread>

#include "oci/records.h"
#include "platform/wait.h"
#include "records/handles.h"
#include "records/statement.h"
#include "support/stmt_rig.h"
#include "tavu/tvci.h"

constexpr uint32_t ARRAY_ROWS = 1000;

// Values of the control file's server cursor.
enum ControlValue { CONTROL_OFF = 0, CONTROL_ON = 1, CONTROL_WITH_ASYNC = 3 };

struct CursorRig : StmtRig {
    OCIStmt *stmt = nullptr;
    int32_t numbers[ARRAY_ROWS] = {};
    uint16_t indicators[ARRAY_ROWS] = {};

    explicit CursorRig(ControlValue value) {
        WaitSkipSleeps(true);
        WaitSetHook([](WaitPoint) { std::this_thread::yield(); });
        Logon();
        TVCIServer *server = svc->server->native_server;
        server->has_control_file = 1;
        server->ctl_server_cursor = value;
    }
    ~CursorRig() {
        // The reader is through, so that nobody steps on without sleeping.
        AwaitReader();
        WaitSetHook(nullptr);
        WaitSkipSleeps(false);
    }

    static Bytes Columns() {
        return Result({Column("A", 5)});
    }

    static Bytes Block(int32_t first, int32_t count) {
        Bytes rows;
        for (int32_t i = first; i < first + count; i++) {
            rows = std::move(rows) + Row({Int32(i)});
        }
        return Columns() + rows + Ascii("K");
    }

    void PrepareSelect() {
        stmt = NewStmt();
        Exchange(Frame("PREPARE ST0 AS SELECT A FROM T"), Columns() + Ascii("K"));
        ASSERT_EQ(OCI_SUCCESS, PrepareText(stmt, "SELECT A FROM T"));
    }

    void OpenCursor() {
        PrepareSelect();
        ASSERT_EQ(OCI_SUCCESS, Define(stmt, 1, numbers, 4, DTY_INT, indicators));
        Exchange(Frame("DECLARE ST0_CUR CURSOR FOR ST0;"), Ascii("K"));
        Exchange(Frame("OPEN ST0_CUR;"), Columns() + Ascii("K"));
        ASSERT_EQ(OCI_SUCCESS, OCIStmtExecute(svc, stmt, err, 0, 0, nullptr, nullptr, 0))
            << Error();
    }

    void ScriptBlocks(int32_t count) {
        for (int32_t first = 0; first < count; first += 2000) {
            Exchange(Frame("FETCH 2000 FROM ST0_CUR;"),
                     Block(first, std::min(2000, count - first)));
        }
        Exchange(Frame("FETCH 2000 FROM ST0_CUR;"), Block(0, 0));
    }

    void AwaitReader() {
        const TVCIStmt *native = stmt == nullptr ? nullptr : stmt->native_stmt;
        if (native == nullptr || native->type != TVCI_HTYPE_STMT) return;
        if (native->ahead == nullptr) return;
        while (native->ahead->holders.load() != 1) {
            std::this_thread::yield();
        }
    }
};

TEST(ServerCursor, IsOffUnlessTheControlFileSaysSo) {
    CursorRig rig(CONTROL_OFF);
    rig.PrepareSelect();
    EXPECT_EQ(OCI_SUCCESS, rig.Define(rig.stmt, 1, rig.numbers, 4, DTY_INT));
    rig.AnswerExecute(rig.Block(0, 3));
    EXPECT_EQ(OCI_NO_DATA, rig.Execute(rig.stmt, ARRAY_ROWS));
    EXPECT_EQ(2, rig.numbers[2]);
}

static void FetchThroughCursor(ControlValue value) {
    CursorRig rig(value);
    rig.OpenCursor();
    rig.ScriptBlocks(4001);
    for (int32_t first = 0; first < 4000; first += (int32_t)ARRAY_ROWS) {
        ASSERT_EQ(OCI_SUCCESS, rig.Fetch(rig.stmt, ARRAY_ROWS)) << first;
        for (int32_t i = 0; i < (int32_t)ARRAY_ROWS; i++) {
            ASSERT_EQ(first + i, rig.numbers[i]);
        }
    }
    EXPECT_EQ(OCI_NO_DATA, rig.Fetch(rig.stmt, ARRAY_ROWS));
    EXPECT_EQ(4000, rig.numbers[0]);
    uint32_t total = 0;
    EXPECT_EQ(OCI_SUCCESS,
              OCIAttrGet(rig.stmt, OCI_HTYPE_STMT, &total, nullptr, OCI_ATTR_ROW_COUNT, rig.err));
    EXPECT_EQ(4001u, total);
    rig.AwaitReader();
    // Logging off ends the connection before the handles.
    rig.Exchange(Frame("COMMIT;"), Ascii("K"));
    rig.peer.ExpectEnd();
    EXPECT_EQ(OCI_SUCCESS, OCILogoff(rig.svc, rig.err));
    rig.svc = nullptr;
}

TEST(ServerCursor, FillsArraysAcrossItsBlocks) {
    FetchThroughCursor(CONTROL_ON);
}

TEST(ServerCursor, FillsArraysAcrossBlocksThatAreFetchedAhead) {
    FetchThroughCursor(CONTROL_WITH_ASYNC);
}

TEST(ServerCursor, DescribesItsColumnsBeforeTheFirstFetch) {
    CursorRig rig(CONTROL_ON);
    rig.OpenCursor();
    void *param = nullptr;
    ASSERT_EQ(OCI_SUCCESS, OCIParamGet(rig.stmt, OCI_HTYPE_STMT, rig.err, &param, 1));
    OCIText *name = nullptr;
    uint32_t name_bytes = 0;
    EXPECT_EQ(OCI_SUCCESS,
              OCIAttrGet(param, OCI_DTYPE_PARAM, &name, &name_bytes, OCI_ATTR_NAME, rig.err));
    EXPECT_STREQ("A", (const char *)name);
    rig.Exchange(Frame("FETCH 2000 FROM ST0_CUR;"), rig.Block(0, 1));
    EXPECT_EQ(OCI_SUCCESS, rig.Fetch(rig.stmt, 1));
    // The descriptor went with the result that the first block replaced.
    EXPECT_EQ(-3, OCIAttrGet(param, OCI_DTYPE_PARAM, &name, &name_bytes, OCI_ATTR_NAME, rig.err));
}

TEST(ServerCursor, RefusedFetchIsTheEndAndItsTextIsThere) {
    CursorRig rig(CONTROL_ON);
    rig.OpenCursor();
    rig.Exchange(Frame("FETCH 2000 FROM ST0_CUR;"), Refusal("[E15004]gone"));
    EXPECT_EQ(OCI_NO_DATA, rig.Fetch(rig.stmt, 1));
    EXPECT_EQ("[E15004]gone", rig.Error());
    EXPECT_EQ(OCI_ERROR, rig.Fetch(rig.stmt, 1));
    EXPECT_EQ("Fetch without execution.", rig.Error());
}

TEST(ServerCursor, LogoffWithABlockFetchedAheadLeavesNothingInUse) {
    CursorRig rig(CONTROL_WITH_ASYNC);
    rig.OpenCursor();
    rig.Exchange(Frame("FETCH 2000 FROM ST0_CUR;"), rig.Block(0, 2000));
    rig.Exchange(Frame("FETCH 2000 FROM ST0_CUR;"), rig.Block(0, 0));
    rig.Exchange(Frame("COMMIT;"), Ascii("K"));
    rig.peer.ExpectEnd();
    ASSERT_EQ(OCI_SUCCESS, rig.Fetch(rig.stmt, 1));
    rig.AwaitReader();
    EXPECT_EQ(OCI_SUCCESS, OCILogoff(rig.svc, rig.err));
    rig.svc = nullptr;
}
