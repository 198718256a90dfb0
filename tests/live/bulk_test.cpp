// Bulk loads into a server that has its own idea of the stream: what arrives is read back as rows.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "live/live_rig.h"
#include "platform/wait.h"

static constexpr int32_t COLUMNS = 5;
// Of the largest load. Watched by the thread sanitizer a million takes three minutes.
#ifdef __SANITIZE_THREAD__
static constexpr int32_t MANY_ROWS = 200000;
#else
static constexpr int32_t MANY_ROWS = 1000000;
#endif
// Of a load that takes more than one buffer of 8 MiB.
static constexpr int32_t TWO_BUFFERS_ROWS = 160000;

// The values of row `i`, of which each can be told from its number: an integer, a product beyond
// its 32 bits, a fraction, a text of changing length, and a day from 1970 to 2079, which every
// seventh row lacks.
struct Row {
    int32_t number;
    int64_t product;
    double eighth;
    std::string text;
    int32_t day;  // from 1970-01-01
    bool has_day;
};

static Row RowOf(int32_t i) {
    Row row = {};
    row.number = (int32_t)(2000000000 - INT64_C(4000) * i);
    row.product = (i - 500000) * INT64_C(10000000019);
    row.eighth = (i - 300000) * 0.125;
    row.text = "row " + std::to_string(i) + std::string((size_t)(i % 13), '-');
    row.day = i % 40000;
    row.has_day = i % 7 != 0;
    return row;
}

// The rows of one load: their values back to back and the length of each.
struct Rows {
    std::string data;
    std::vector<int32_t> lengths;

    void Add(const std::string &value) {
        data += value;
        lengths.push_back((int32_t)value.size());
    }
    void AddNull() {
        lengths.push_back(-1);
    }
    // A number as it goes on the wire: its low bytes, the highest of them first.
    void AddNumber(uint64_t number, int bytes) {
        for (int shift = bytes * 8 - 8; shift >= 0; shift -= 8) {
            data += (char)(uint8_t)(number >> shift);
        }
        lengths.push_back(bytes);
    }
    void AddRow(const Row &row) {
        uint64_t bits;
        memcpy(&bits, &row.eighth, sizeof bits);
        AddNumber((uint64_t)row.number, 4);
        AddNumber((uint64_t)row.product, 8);
        AddNumber(bits, 8);
        Add(row.text);
        if (row.has_day) {
            AddNumber((uint64_t)row.day, 4);
        } else {
            AddNull();
        }
    }
};

static Rows RowsUpTo(int32_t count) {
    Rows rows;
    rows.data.reserve((size_t)count * 48);
    rows.lengths.reserve((size_t)count * COLUMNS);
    for (int32_t i = 0; i < count; i++) {
        rows.AddRow(RowOf(i));
    }
    return rows;
}

// A server with a table for such rows, and a statement. Polls do not sleep.
struct BulkLive {
    TavudProcess server;
    LiveClient client;
    TVCISession *session = nullptr;
    TVCIStmt *stmt = nullptr;

    explicit BulkLive(bool enciphered = false)
        : server("127.0.0.1", 0,
                 enciphered ? std::vector<std::string>{"--ssl"} : std::vector<std::string>()),
          client(server.port()) {
        WaitSkipSleeps(true);
        WaitSetHook([](WaitPoint) { std::this_thread::yield(); });
        if (enciphered) {
            client.UseCipher();
        }
        session = client.Connected();
        EXPECT_EQ(0, TVCIHandleAlloc(session, (void **)&stmt, TVCI_HTYPE_STMT));
        EXPECT_EQ(0, RunText(session,
                             "create table T (A integer, B bigint, C double, D varchar(40), "
                             "E date)"));
    }
    ~BulkLive() {
        WaitSetHook(nullptr);
        WaitSkipSleeps(false);
    }

    int32_t Load(const Rows &rows, int32_t load_mode, uint8_t reindex = 0,
                 const char *table = "T") {
        return TVCIExecLoadFlat(stmt, rows.data.data(), rows.lengths.data(),
                                (int32_t)rows.lengths.size() / COLUMNS, COLUMNS, table, 1, 1,
                                load_mode, reindex);
    }
    int32_t Import(const Rows &rows, int32_t load_mode, uint32_t use_mode, uint8_t reindex = 0) {
        return TVCIExecImportFlat(stmt, rows.data.data(), rows.lengths.data(),
                                  (int32_t)rows.lengths.size() / COLUMNS, COLUMNS, "T", load_mode,
                                  use_mode, reindex);
    }
    std::string Count() {
        return Ask(session, "select count(*) from T");
    }
};

// The day of a date, counted from 1970-01-01 as on paper: whole years, whole months, days.
static int32_t DayNumber(const DateTimeRec &date) {
    static const int32_t days_before_month[] = {0,   31,  59,  90,  120, 151,
                                                181, 212, 243, 273, 304, 334};
    const int32_t year = date.year;
    const bool is_leap = year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
    const int32_t past = year - 1;
    const int32_t leap_day = is_leap && date.month > 2 ? 1 : 0;
    return past * 365 + past / 4 - past / 100 + past / 400 - 719162 +
           days_before_month[date.month - 1] + leap_day + date.day - 1;
}

// Reads the next row of "select * from T" into the form of RowOf.
static bool FetchRow(TVCIStmt *stmt, Row *row) {
    if (TVCIFetch(stmt) != 0) return false;
    char text[41] = "";
    DateTimeRec day = {};
    *row = {};
    EXPECT_EQ(0, TVCIGetData(stmt, 1, TVCI_C_INT, &row->number, sizeof row->number, nullptr));
    EXPECT_EQ(0, TVCIGetData(stmt, 2, TVCI_C_BIGINT, &row->product, sizeof row->product, nullptr));
    EXPECT_EQ(0, TVCIGetData(stmt, 3, TVCI_C_DOUBLE, &row->eighth, sizeof row->eighth, nullptr));
    EXPECT_EQ(0, TVCIGetData(stmt, 4, TVCI_C_CHAR, text, sizeof text, nullptr));
    const int32_t day_state = TVCIGetData(stmt, 5, TVCI_C_DATE, &day, sizeof day, nullptr);
    row->text = text;
    row->has_day = day_state != -1;
    row->day = row->has_day ? DayNumber(day) : 0;
    return true;
}

static bool AreEqual(const Row &read, const Row &sent) {
    return read.number == sent.number && read.product == sent.product &&
           read.eighth == sent.eighth && read.text == sent.text && read.has_day == sent.has_day &&
           (!sent.has_day || read.day == sent.day);
}

// Expects the rows from 0 up to `count`, in that order and no others.
static void ExpectRowsUpTo(TVCIStmt *stmt, int32_t count) {
    ASSERT_EQ(0, TVCIExecDirect(stmt, "select A, B, C, D, E from T order by rowid", -1));
    Row read;
    int32_t rows = 0;
    int32_t wrong_rows = 0;
    while (wrong_rows < 10 && FetchRow(stmt, &read)) {
        const bool good = AreEqual(read, RowOf(rows));
        EXPECT_TRUE(good) << "row " << rows << ": " << read.number << ", " << read.product << ", "
                          << read.eighth << ", " << read.text << ", " << read.day;
        rows++;
        wrong_rows += good ? 0 : 1;
    }
    EXPECT_EQ(count, rows);
}

TEST(BulkLiveTest, AMillionRowsArriveWithoutAWrongValue) {
    BulkLive live;
    const Rows rows = RowsUpTo(MANY_ROWS);
    ASSERT_EQ(0, live.Load(rows, 1)) << ErrorOf(live.stmt);
    ExpectRowsUpTo(live.stmt, MANY_ROWS);
}

// Several buffers of 8 MiB, enciphered while the answers are deciphered.
TEST(BulkLiveTest, RowsArriveOverAnEncipheredSession) {
    BulkLive live(true);
    const Rows rows = RowsUpTo(TWO_BUFFERS_ROWS);
    ASSERT_GT(rows.data.size() + rows.lengths.size() * 4, (size_t)8388608);
    ASSERT_EQ(0, live.Load(rows, 1)) << ErrorOf(live.stmt);
    ASSERT_NE(nullptr, live.session->conn->send_cipher);
    ExpectRowsUpTo(live.stmt, TWO_BUFFERS_ROWS);
    Rows refused = RowsUpTo(1000);
    refused.data[0] = 'x';
    refused.lengths[0] = 3;
    refused.lengths[3] += 1;
    EXPECT_EQ(-1, live.Import(refused, 1, 1));
    EXPECT_EQ("E16001: [E16001]column A got 3 bytes that are no INTEGER (row 1)",
              ErrorOf(live.stmt));
    EXPECT_EQ("160000", live.Count());
}

TEST(BulkLiveTest, ImportAddsOrReplacesInEveryMode) {
    BulkLive live;
    const Rows ten = RowsUpTo(10);
    const Rows four = RowsUpTo(4);
    for (uint32_t use_mode = 1; use_mode <= 2; use_mode++) {
        EXPECT_EQ(0, RunText(live.session, "delete from T"));
        EXPECT_EQ(0, live.Import(ten, 0, use_mode)) << ErrorOf(live.stmt);
        ExpectRowsUpTo(live.stmt, 10);
        EXPECT_EQ(0, live.Import(four, 1, use_mode)) << ErrorOf(live.stmt);
        EXPECT_EQ("14", live.Count());
        EXPECT_EQ(0, live.Import(four, 0, use_mode)) << ErrorOf(live.stmt);
        EXPECT_EQ("18", live.Count());
        EXPECT_EQ(0, live.Import(four, 2, use_mode)) << ErrorOf(live.stmt);
        ExpectRowsUpTo(live.stmt, 4);
    }
}

TEST(BulkLiveTest, LoadAddsOrReplaces) {
    BulkLive live;
    EXPECT_EQ(0, live.Load(RowsUpTo(10), 1)) << ErrorOf(live.stmt);
    EXPECT_EQ(0, live.Load(RowsUpTo(4), 1)) << ErrorOf(live.stmt);
    EXPECT_EQ("14", live.Count());
    EXPECT_EQ(0, live.Load(RowsUpTo(7), 2)) << ErrorOf(live.stmt);
    ExpectRowsUpTo(live.stmt, 7);
}

TEST(BulkLiveTest, LengthsMayComeRowByRow) {
    BulkLive live;
    const Rows rows = RowsUpTo(1000);
    std::vector<const int32_t *> pointers;
    for (size_t row = 0; row < 1000; row++) {
        pointers.push_back(rows.lengths.data() + row * COLUMNS);
    }
    EXPECT_EQ(0, TVCIExecLoad(live.stmt, rows.data.data(), pointers.data(), 1000, COLUMNS, "T", 2,
                              3, 1, 0))
        << ErrorOf(live.stmt);
    ExpectRowsUpTo(live.stmt, 1000);
    EXPECT_EQ(0, TVCIExecImport(live.stmt, rows.data.data(), pointers.data(), 1000, COLUMNS, "T", 2,
                                1, 0))
        << ErrorOf(live.stmt);
    ExpectRowsUpTo(live.stmt, 1000);
}

// Longer than the buffer that rows are gathered in, between two short rows.
TEST(BulkLiveTest, AValueOf9000000BytesArrivesWhole) {
    BulkLive live;
    EXPECT_EQ(0, RunText(live.session, "create table L (A integer, B blob)"));
    std::string large;
    for (uint32_t i = 0, state = 1; i < 9000000; i++) {
        state = state * 1664525 + 1013904223;
        large += (char)(uint8_t)(state >> 24);
    }
    Rows rows;
    rows.AddNumber(1, 4);
    rows.Add("in front");
    rows.AddNumber(2, 4);
    rows.Add(large);
    rows.AddNumber(3, 4);
    rows.Add("behind");
    ASSERT_EQ(0, TVCIExecLoadFlat(live.stmt, rows.data.data(), rows.lengths.data(), 3, 2, "L", 1, 1,
                                  1, 0))
        << ErrorOf(live.stmt);
    ASSERT_EQ(0, TVCIExecDirect(live.stmt, "select B from L order by A", -1));
    for (const std::string &value : {std::string("in front"), large, std::string("behind")}) {
        std::string read(9000001, '\0');
        int32_t length = 0;
        ASSERT_EQ(0, TVCIFetch(live.stmt));
        EXPECT_EQ(0, TVCIGetData(live.stmt, 1, TVCI_C_BINARY, read.data(), (int32_t)read.size(),
                                 &length));
        read.resize((size_t)length);
        EXPECT_TRUE(read == value) << "value of " << value.size() << " bytes";
    }
    EXPECT_EQ(100, TVCIFetch(live.stmt));
}

// The server refuses the row while tens of megabytes are still to come, and takes nothing.
TEST(BulkLiveTest, ARefusedRowUndoesTheLoadAndTellsItsNumber) {
    BulkLive live;
    EXPECT_EQ(0, live.Load(RowsUpTo(4), 1));
    Rows rows = RowsUpTo(1000);
    rows.AddNumber(1, 4);
    rows.AddNumber(2, 3);
    rows.AddNull();
    rows.AddNull();
    rows.AddNull();
    for (int32_t i = 0; i < 300000; i++) {
        rows.AddRow(RowOf(i));
    }
    const char *refusal = "E16001: [E16001]column B got 3 bytes that are no BIGINT (row 1001)";
    EXPECT_EQ(-1, live.Load(rows, 1));
    EXPECT_EQ(refusal, ErrorOf(live.stmt));
    ExpectRowsUpTo(live.stmt, 4);
    // What REPLACE took away is there again, and the REINDEX changes nothing in the result.
    EXPECT_EQ(-1, live.Import(rows, 2, 1, 1));
    EXPECT_EQ(refusal, ErrorOf(live.stmt));
    ExpectRowsUpTo(live.stmt, 4);
    EXPECT_EQ(0, live.Load(RowsUpTo(6), 2));
    ExpectRowsUpTo(live.stmt, 6);
}

TEST(BulkLiveTest, AnImportOfMode2LeavesRefusedRowsOut) {
    BulkLive live;
    Rows rows = RowsUpTo(10);
    for (int32_t i = 0; i < 30; i++) {
        rows.AddNumber(1, 4);
        rows.AddNumber(2, 3);
        rows.AddNull();
        rows.AddNull();
        rows.AddNull();
    }
    EXPECT_EQ(0, live.Import(rows, 1, 2)) << ErrorOf(live.stmt);
    ExpectRowsUpTo(live.stmt, 10);
}

TEST(BulkLiveTest, ReindexLeavesTheSessionInStep) {
    BulkLive live;
    EXPECT_EQ(0, RunText(live.session, "create unique index T_A on T (A)"));
    EXPECT_EQ(0, live.Load(RowsUpTo(1000), 1, 1)) << ErrorOf(live.stmt);
    EXPECT_EQ("1000", live.Count());
    EXPECT_EQ(0, live.Import(RowsUpTo(500), 2, 1, 1)) << ErrorOf(live.stmt);
    ExpectRowsUpTo(live.stmt, 500);
    EXPECT_EQ("row 7-------", Ask(live.session, "select D from T where A = 1999972000"));
    // Half of the rows are there: their load is undone, and the index is as it was.
    EXPECT_EQ(-1, live.Load(RowsUpTo(1000), 1, 1));
    EXPECT_EQ("E13001", ErrorOf(live.stmt).substr(0, 6));
    EXPECT_EQ("500", live.Count());
}

// Nobody reads what the server says behind a command that it refuses, so nothing may follow on that
// connection: its permit stays taken.
TEST(BulkLiveTest, ARefusedCommandTellsWhyAndKeepsTheConnection) {
    BulkLive live;
    EXPECT_EQ(-1, live.Load(RowsUpTo(1), 1, 0, "NOT_THERE"));
    EXPECT_EQ("E5001: [E5001]no such table: NOT_THERE", ErrorOf(live.stmt));
    Semaphore *permit = &live.session->conn->use_semaphore;
    const bool is_free = SemaphoreTryTake(permit);
    EXPECT_FALSE(is_free);
    // The tear-down would wait for ever.
    SemaphoreRelease(permit);
}
