// Large values by descriptor: native sessions against the development server, whole values and
// threads that read at once.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "records/values.h"
#include "tavu/tvci.h"

namespace {

std::string Sample(size_t size) {
    std::mt19937_64 random(size);
    std::string bytes;
    bytes.reserve(size + 8);
    while (bytes.size() < size) {
        const uint64_t word = random();
        bytes.append((const char *)&word, sizeof(word));
    }
    bytes.resize(size);
    return bytes;
}

// A session that gets descriptors for values of more than 2048 bytes, and a table of its own.
class Descriptors : public testing::Test {
protected:
    void SetUp() override {
        const char *port_text = getenv("TAVU_TEST_PORT");
        ASSERT_NE(nullptr, port_text);
        const uint32_t port = (uint32_t)atoi(port_text);
        const uint32_t on = 1;
        ASSERT_EQ(0, TVCIHandleAlloc(nullptr, (void **)&env, TVCI_HTYPE_ENV));
        ASSERT_EQ(0, TVCIHandleAlloc(env, (void **)&server, TVCI_HTYPE_SERVER));
        ASSERT_EQ(0, TVCIAttrSet(server, 21, "127.0.0.1", -1));
        ASSERT_EQ(0, TVCIAttrSet(server, 22, &port, -1));
        ASSERT_EQ(0, TVCIAttrSet(server, 24, "SYSTEM", -1));
        ASSERT_EQ(0, TVCIHandleAlloc(server, (void **)&session, TVCI_HTYPE_SESSION));
        ASSERT_EQ(0, TVCIAttrSet(session, 40, &on, -1));
        ASSERT_EQ(0, TVCIConnect(session, "SYSDBA", "SYSDBA"));
        stmt = NewStmt();
        Run("DROP TABLE IF EXISTS DESCRIPTORS");
        Run("CREATE TABLE DESCRIPTORS (ID INTEGER, BODY BLOB)");
    }

    void TearDown() override {
        Run("DROP TABLE DESCRIPTORS");
        EXPECT_EQ(0, TVCIHandleFree(env));
    }

    TVCIStmt *NewStmt() {
        TVCIStmt *made = nullptr;
        EXPECT_EQ(0, TVCIHandleAlloc(session, (void **)&made, TVCI_HTYPE_STMT));
        return made;
    }

    void Run(const char *sql) {
        ASSERT_EQ(0, TVCIExecDirect(stmt, sql, -1)) << sql;
    }

    void Insert(int32_t id, const std::string &bytes) {
        LobRecord *lob = TVCILobAlloc();
        TVCIStmt *insert = NewStmt();
        ASSERT_EQ(0, TVCILobWrite(lob, (int32_t)bytes.size(), bytes.data()));
        ASSERT_EQ(0, TVCIPrepare(insert, "INSERT INTO DESCRIPTORS VALUES (?, ?)", -1));
        ASSERT_EQ(0, TVCIBindParam(insert, 1, 1, &id, 4, TVCI_C_INT, nullptr, nullptr, 4));
        ASSERT_EQ(0, TVCIBindParam(insert, 2, 1, lob, 0, TVCI_C_LOB, nullptr, nullptr, 16));
        ASSERT_EQ(0, TVCIExecute(insert));
        EXPECT_EQ(0, TVCIHandleFree(insert));
        EXPECT_EQ(0, TVCILobFree(lob));
    }

    // Selects the value with this number into a holder.
    void Select(int32_t id, LobRecord *lob) {
        const std::string sql = "SELECT BODY FROM DESCRIPTORS WHERE ID = " + std::to_string(id);
        ASSERT_EQ(0, TVCIExecDirect(stmt, sql.c_str(), -1));
        ASSERT_EQ(0, TVCIDefineColumn(stmt, 1, lob, 0, TVCI_C_LOB, nullptr, nullptr));
        ASSERT_EQ(0, TVCIFetch(stmt));
    }

    void WriteAndGet(size_t size) {
        const std::string bytes = Sample(size);
        Insert(1, bytes);
        LobRecord *lob = TVCILobAlloc();
        Select(1, lob);
        EXPECT_NE(nullptr, lob->descriptor);
        EXPECT_EQ(nullptr, lob->data);
        int32_t length = 0;
        void *data = nullptr;
        EXPECT_EQ(0, TVCILobGet(lob, &length, &data));
        ASSERT_EQ((int32_t)size, length);
        EXPECT_EQ(0, memcmp(bytes.data(), data, size));
        EXPECT_EQ(0, TVCILobFree(lob));
    }

    TVCIEnv *env = nullptr;
    TVCIServer *server = nullptr;
    TVCISession *session = nullptr;
    TVCIStmt *stmt = nullptr;
};

std::string ReadWhole(LobRecord *lob, size_t size) {
    std::string bytes(size, '\0');
    int32_t read = 0;
    EXPECT_EQ(0, TVCILobRead(lob, 0, (int32_t)size, bytes.data(), &read));
    bytes.resize((size_t)read);
    return bytes;
}

}  // namespace

TEST_F(Descriptors, TheShortestValueThatHasOne) {
    WriteAndGet(2049);
}

TEST_F(Descriptors, OneWholeChunk) {
    WriteAndGet(102400);
}

TEST_F(Descriptors, AByteMoreThanAChunk) {
    WriteAndGet(102401);
}

TEST_F(Descriptors, SixtyFourMebibytes) {
    WriteAndGet(64 << 20);
}

TEST_F(Descriptors, ShorterValuesComeInTheirRows) {
    for (const size_t size : {1, 2047, 2048}) {
        const std::string bytes = Sample(size);
        Insert((int32_t)size, bytes);
        LobRecord *lob = TVCILobAlloc();
        Select((int32_t)size, lob);
        EXPECT_EQ(nullptr, lob->descriptor);
        EXPECT_EQ(bytes, ReadWhole(lob, size + 10));
        EXPECT_EQ(0, TVCILobFree(lob));
    }
}

TEST_F(Descriptors, ThreadsOfOneSessionReadAtOnce) {
    constexpr int32_t VALUES = 8;
    std::vector<LobRecord *> lobs;
    for (int32_t i = 0; i < VALUES; i++) {
        Insert(i, Sample(300000 + (size_t)i));
    }
    Run("SELECT BODY FROM DESCRIPTORS ORDER BY ID");
    for (int32_t i = 0; i < VALUES; i++) {
        lobs.push_back(TVCILobAlloc());
        ASSERT_EQ(0, TVCIDefineColumn(stmt, 1, lobs.back(), 0, TVCI_C_LOB, nullptr, nullptr));
        ASSERT_EQ(0, TVCIFetch(stmt));
    }
    std::vector<std::thread> threads;
    for (size_t i = 0; i < VALUES; i++) {
        threads.emplace_back(
            [i, &lobs] { EXPECT_EQ(Sample(300000 + i), ReadWhole(lobs[i], 400000)) << i; });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    for (LobRecord *lob : lobs) {
        EXPECT_EQ(0, TVCILobFree(lob));
    }
}
