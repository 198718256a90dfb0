// Array execution and output parameters against a server that reads and writes their bytes with
// code of its own, in both protocol versions.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "live/live_rig.h"

// The arrays of one request: an integer, a wide one, a fraction, a text, a date and bytes. Every
// fifth row has no text, every seventh no bytes.
struct Arrays {
    std::vector<int32_t> small;
    std::vector<int64_t> large;
    std::vector<double> real;
    std::vector<DateRec> day;
    std::vector<std::string> words;
    std::vector<const char *> texts;
    std::vector<int32_t> text_lengths;
    std::vector<const char *> binaries;
    std::vector<int32_t> binary_lengths;
    std::vector<int32_t> given;

    explicit Arrays(int32_t rows) {
        for (int32_t row = 0; row < rows; row++) {
            small.push_back(row * 7 - 1000);
            large.push_back(row * INT64_C(123456789012));
            real.push_back(row * 0.25);
            day.push_back({2000 + row % 30, 1 + row % 12, 1 + row % 28});
            words.push_back("word " + std::to_string(row) + std::string((size_t)(row % 50), '+'));
            given.push_back(1);
        }
        for (int32_t row = 0; row < rows; row++) {
            const std::string &word = words[(size_t)row];
            texts.push_back(word.c_str());
            text_lengths.push_back(row % 5 == 4 ? 0 : (int32_t)word.size());
            binaries.push_back(word.c_str());
            binary_lengths.push_back(row % 7 == 6 ? 0 : 4);
        }
    }

    void BindTo(TVCIStmt *stmt) {
        const int32_t rows = (int32_t)small.size();
        Bind(stmt, 1, rows, small.data(), TVCI_C_INT, given.data(), 4);
        Bind(stmt, 2, rows, large.data(), TVCI_C_BIGINT, given.data(), 5);
        Bind(stmt, 3, rows, real.data(), TVCI_C_DOUBLE, given.data(), 7);
        Bind(stmt, 4, rows, texts.data(), TVCI_C_CHAR, text_lengths.data(), 12);
        Bind(stmt, 5, rows, day.data(), TVCI_C_DATE, given.data(), 9);
        Bind(stmt, 6, rows, binaries.data(), TVCI_C_BINARY, binary_lengths.data(), 13);
    }

private:
    static void Bind(TVCIStmt *stmt, int32_t position, int32_t rows, void *values, int32_t c_type,
                     int32_t *lengths, int32_t sql_type) {
        EXPECT_EQ(0, TVCIBindParamArray(stmt, position, 6, 1, rows, values, 100, c_type, nullptr,
                                        lengths, sql_type));
    }
};

struct LiveArrays : testing::TestWithParam<const char *> {
    TavudProcess server{"127.0.0.1", 0, {"--protocol", GetParam()}};
    LiveClient client{server.port()};
    TVCISession *session = client.Connected();

    TVCIStmt *NewStmt() {
        TVCIStmt *stmt = nullptr;
        EXPECT_EQ(0, TVCIHandleAlloc(session, (void **)&stmt, TVCI_HTYPE_STMT));
        return stmt;
    }

    std::string AskRow(int32_t row, const std::string &columns) {
        return Ask(session, "SELECT " + columns +
                                " FROM target WHERE a = " + std::to_string(row * 7 - 1000));
    }
};

INSTANTIATE_TEST_SUITE_P(, LiveArrays, testing::Values("201", "301"),
                         [](const testing::TestParamInfo<const char *> &instance) {
                             return std::string("Protocol") + instance.param;
                         });

TEST_P(LiveArrays, ArriveRowByRow) {
    EXPECT_STREQ(GetParam(), session->attr.version);
    EXPECT_EQ(0, RunText(session,
                         "CREATE TABLE target (a INTEGER, b BIGINT, c DOUBLE, d VARCHAR(100), "
                         "e DATE, f BINARY(10))"));
    for (int32_t rows : {1, 2, 10000}) {
        SCOPED_TRACE(rows);
        EXPECT_EQ(0, RunText(session, "DELETE FROM target"));
        Arrays arrays(rows);
        TVCIStmt *stmt = NewStmt();
        arrays.BindTo(stmt);
        ASSERT_EQ(0, TVCIExecDirectBatch(stmt, "INSERT INTO target VALUES (?,?,?,?,?,?)", -1))
            << ErrorOf(stmt);
        EXPECT_EQ(0, TVCIHandleFree(stmt));
        EXPECT_EQ(std::to_string(rows), Ask(session, "SELECT COUNT(*) FROM target"));
        // What the rows add up to, by arithmetic.
        const int64_t n = rows - 1;
        EXPECT_EQ(std::to_string(n * (n + 1) / 2 * 7 - 1000 * rows),
                  Ask(session, "SELECT SUM(a) FROM target"));
        EXPECT_EQ(std::to_string(n * (n + 1) / 2 * INT64_C(123456789012)),
                  Ask(session, "SELECT SUM(b) FROM target"));
        EXPECT_EQ(std::to_string(rows / 5),
                  Ask(session, "SELECT COUNT(*) FROM target WHERE d IS NULL"));
        EXPECT_EQ(std::to_string(rows / 7),
                  Ask(session, "SELECT COUNT(*) FROM target WHERE f IS NULL"));
        EXPECT_EQ("word 0", AskRow(0, "d"));
    }
    EXPECT_EQ("word 9998" + std::string(48, '+'), AskRow(9998, "d"));
    EXPECT_EQ("2008-03-03", AskRow(9998, "e"));
    EXPECT_EQ("word", AskRow(9998, "f"));
    EXPECT_EQ("2499.500000000000", AskRow(9998, "c"));
}

TEST_P(LiveArrays, OutputParametersComeBack) {
    TVCIStmt *stmt = NewStmt();
    int64_t quotient = 0;
    int32_t remainder = 0;
    int32_t codes[2] = {77, 77};
    const char *call = "CALL TAVUD_DIVIDE(23, 5, ?, ?)";
    EXPECT_EQ(0, TVCIPrepare(stmt, call, -1)) << ErrorOf(stmt);
    EXPECT_EQ(0, TVCIBindParam(stmt, 1, 2, &quotient, 8, TVCI_C_BIGINT, &codes[0], nullptr, 5));
    EXPECT_EQ(0, TVCIBindParam(stmt, 2, 2, &remainder, 4, TVCI_C_INT, &codes[1], nullptr, 5));
    EXPECT_EQ(0, TVCIExecute(stmt)) << ErrorOf(stmt);
    EXPECT_EQ(4, quotient);
    EXPECT_EQ(3, remainder);
    EXPECT_EQ(0, codes[0]);
    EXPECT_EQ(0, codes[1]);
    EXPECT_EQ(0, TVCIHandleFree(stmt));
}
