// Server cursors against a server that keeps cursors of its own: every row once and in order,
// however many blocks of 2000 they are.
#include <gtest/gtest.h>

#include <string>

#include "live/live_rig.h"
#include "platform/wait.h"

// What attribute 42 says.
constexpr uint32_t CURSOR = 1;
constexpr uint32_t CURSOR_AHEAD = 2;

// A statement that walks the numbers 1 to `last` of the table, through a cursor.
struct Walk {
    TVCIStmt *stmt = nullptr;
    int32_t number = 0;
    int32_t next = 1;
    int32_t last;

    Walk(TVCISession *session, int32_t last_number, uint32_t cursor) : last(last_number) {
        const std::string sql =
            "SELECT n FROM numbers WHERE n <= " + std::to_string(last) + " ORDER BY n";
        EXPECT_EQ(0, TVCIHandleAlloc(session, (void **)&stmt, TVCI_HTYPE_STMT));
        EXPECT_EQ(0, TVCIAttrSet(stmt, 42, &cursor, -1));
        EXPECT_EQ(0, TVCIPrepare(stmt, sql.c_str(), -1)) << ErrorOf(stmt);
        EXPECT_EQ(0, TVCIExecute(stmt)) << ErrorOf(stmt);
        EXPECT_EQ(0, TVCIDefineColumn(stmt, 1, &number, 4, TVCI_C_INT, nullptr, nullptr));
    }

    ~Walk() {
        EXPECT_EQ(0, TVCIHandleFree(stmt));
    }

    // Fetches up to `rows` further numbers. False at the end or at the first that is wrong.
    bool Go(int32_t rows) {
        for (int32_t row = 0; row < rows; row++) {
            const int32_t status = TVCIFetch(stmt);
            if (status == TVCI_NO_DATA && next == last + 1) return false;
            EXPECT_EQ(0, status) << "at " << next;
            EXPECT_EQ(next, number);
            if (status != 0 || number != next) return false;
            next++;
        }
        return true;
    }

    void GoToTheEnd() {
        EXPECT_FALSE(Go(INT32_MAX));
        EXPECT_EQ(last + 1, next);
        EXPECT_EQ(TVCI_NO_DATA, TVCIFetch(stmt));
    }
};

struct LiveCursor : testing::TestWithParam<uint32_t> {
    TavudProcess server{"127.0.0.1", 0};
    LiveClient client{server.port()};
    TVCISession *session = client.Connected();

    LiveCursor() {
        // The hand-over of a block is polled for once in a second, which is not the point here.
        WaitSkipSleeps(true);
        EXPECT_EQ(0, RunText(session, "CREATE TABLE numbers (n INTEGER)"));
        EXPECT_EQ(0,
                  RunText(session,
                          "INSERT INTO numbers WITH RECURSIVE counter(n) AS (VALUES(1) UNION ALL "
                          "SELECT n + 1 FROM counter WHERE n < 100000) SELECT n FROM counter"));
    }

    ~LiveCursor() override {
        WaitSkipSleeps(false);
    }
};

INSTANTIATE_TEST_SUITE_P(, LiveCursor, testing::Values(CURSOR, CURSOR_AHEAD),
                         [](const testing::TestParamInfo<uint32_t> &instance) {
                             return instance.param == CURSOR ? "BlockByBlock" : "FetchingAhead";
                         });

TEST_P(LiveCursor, GivesEveryRowOnceAndInOrder) {
    for (int32_t rows : {0, 1, 1999, 2000, 2001, 4000, 100000}) {
        SCOPED_TRACE(rows);
        Walk walk(session, rows, GetParam());
        walk.GoToTheEnd();
    }
}

TEST_P(LiveCursor, LetsTwoStatementsOfASessionTakeTurns) {
    Walk first(session, 9000, GetParam());
    Walk second(session, 7000, GetParam());
    for (int32_t turn = 0; turn < 10; turn++) {
        first.Go(701);
        second.Go(499);
        EXPECT_EQ("100000", Ask(session, "SELECT MAX(n) FROM numbers"));
    }
    first.GoToTheEnd();
    second.GoToTheEnd();
}

TEST_P(LiveCursor, MayBeClosedEarly) {
    for (int32_t rows : {0, 1, 1999, 2000, 2001, 5000}) {
        SCOPED_TRACE(rows);
        Walk walk(session, 50000, GetParam());
        EXPECT_TRUE(walk.Go(rows));
        EXPECT_EQ(0, TVCIStmtClose(walk.stmt, 1));
    }
    EXPECT_EQ("100000", Ask(session, "SELECT COUNT(*) FROM numbers"));
}

TEST_P(LiveCursor, WorksOverAnEncipheredConnection) {
    TavudProcess other("127.0.0.1", 0, {"--ssl"});
    LiveClient enciphered(other.port());
    enciphered.UseCipher();
    TVCISession *secret = enciphered.Connected();
    EXPECT_EQ(0, RunText(secret, "CREATE TABLE numbers (n INTEGER)"));
    EXPECT_EQ(0, RunText(secret,
                         "INSERT INTO numbers WITH RECURSIVE counter(n) AS (VALUES(1) UNION ALL "
                         "SELECT n + 1 FROM counter WHERE n < 6000) SELECT n FROM counter"));
    Walk walk(secret, 6000, GetParam());
    walk.GoToTheEnd();
}
