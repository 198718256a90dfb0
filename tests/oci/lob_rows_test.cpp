// Large values that lie in the rows of a statement: reading them through locators while the rows
// are there, and when they are not.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "oci/handles.h"
#include "oci/lob.h"
#include "oci/records.h"
#include "oci/stmt.h"
#include "platform/memory.h"
#include "platform/wait.h"
#include "records/handles.h"
#include "support/stmt_rig.h"

namespace {

int32_t Gather(void *ctxp, const void *bufp, uint32_t len, uint8_t piece) {
    std::string *pieces = (std::string *)ctxp;
    *pieces += std::to_string(piece) + ":" + std::string((const char *)bufp, len) + " ";
    return OCI_CONTINUE;
}

struct RowsRig : StmtRig {
    OCIStmt *stmt = nullptr;
    OCILobLocator *lob = nullptr;

    RowsRig() {
        Logon();
    }

    void Select(int dty = DTY_BLOB) {
        stmt = Prepare("SELECT L FROM T");
        lob = NewLocator();
        ASSERT_EQ(0, Define(stmt, 1, &lob, 0, dty)) << Error();
    }

    static Bytes Rows(const std::vector<Bytes> &values, int32_t type = 34) {
        Bytes answer = Result({Column("L", type)});
        for (const Bytes &value : values) {
            answer = answer + Row({value});
        }
        return answer + Ascii("K");
    }

    // Executes ST0, and fetches the first row.
    void Run(const std::vector<Bytes> &values, int32_t type = 34) {
        AnswerExecute(Rows(values, type));
        ASSERT_EQ(0, Execute(stmt, 1)) << Error();
    }

    void SelectOne(const std::string &value) {
        Select();
        Run({Ascii(value)});
    }

    // What a callback read gives, piece by piece.
    std::string Read(OCILobLocator *locator, uint32_t bufl = 64, uint32_t offset = 1) {
        char buffer[64];
        std::string pieces;
        uint32_t amount = 0;
        EXPECT_EQ(
            0, OCILobRead(svc, err, locator, &amount, offset, buffer, bufl, &pieces, Gather, 0, 0));
        return pieces;
    }

    // What the call without a callback gives.
    std::string ReadAtHand(OCILobLocator *locator) {
        char buffer[64];
        uint32_t amount = 77;
        EXPECT_EQ(0, OCILobRead(svc, err, locator, &amount, 1, buffer, sizeof(buffer), nullptr,
                                nullptr, 0, 0));
        return std::string(buffer, amount);
    }

    void Write(OCILobLocator *locator, const std::string &bytes) {
        std::string copy = bytes;
        uint32_t amount = (uint32_t)copy.size();
        ASSERT_EQ(0, OCILobWrite(svc, err, locator, &amount, 1, copy.data(), amount, OCI_ONE_PIECE,
                                 nullptr, nullptr, 0, 0));
    }
};

}  // namespace

TEST(LobRows, AFetchedValueIsReadByCallbackAndThenAtHand) {
    RowsRig rig;
    rig.SelectOne("abcdefg");
    EXPECT_EQ("", rig.ReadAtHand(rig.lob)) << "a fetch alone gives nothing at hand";
    EXPECT_EQ("1:abc 2:def 3:g ", rig.Read(rig.lob, 3));
    EXPECT_EQ("3:efg ", rig.Read(rig.lob, 3, 5));
    EXPECT_EQ("abcdefg", rig.ReadAtHand(rig.lob));
}

TEST(LobRows, AnyBytesAndAClob) {
    RowsRig rig;
    rig.Select(DTY_CLOB);
    rig.Run({Hex("00 'c' FF 00 'x' 00")}, 32);
    EXPECT_EQ("3:" + std::string("\0c\xFF\0x\0", 6) + " ", rig.Read(rig.lob));
}

TEST(LobRows, TheNextRowTakesThePlaceOfTheOneBefore) {
    RowsRig rig;
    rig.Select();
    rig.Run({Ascii("first"), Ascii("second"), Bytes(), Ascii("4")});
    EXPECT_EQ("3:first ", rig.Read(rig.lob));
    EXPECT_EQ(0, rig.Fetch(rig.stmt, 1));
    EXPECT_EQ("", rig.ReadAtHand(rig.lob)) << "what was at hand was the row before";
    EXPECT_EQ("3:second ", rig.Read(rig.lob));
    EXPECT_EQ(0, rig.Fetch(rig.stmt, 1));
    EXPECT_EQ("3: ", rig.Read(rig.lob)) << "a NULL";
    EXPECT_EQ(0, rig.Fetch(rig.stmt, 1));
    EXPECT_EQ("3:4 ", rig.Read(rig.lob));
    EXPECT_EQ(100, rig.Fetch(rig.stmt, 1));
    EXPECT_EQ("3:4 ", rig.Read(rig.lob)) << "behind the last row its value is still there";
}

TEST(LobRows, ALocatorKeepsItsRowWhenItsColumnIsDefinedAnew) {
    RowsRig rig;
    rig.Select();
    rig.Run({Ascii("first"), Ascii("second")});
    OCILobLocator *second = rig.NewLocator();
    ASSERT_EQ(0, rig.Define(rig.stmt, 1, &second, 0, DTY_BLOB));
    EXPECT_EQ(0, rig.Fetch(rig.stmt, 1));
    EXPECT_EQ("3:first ", rig.Read(rig.lob));
    EXPECT_EQ("3:second ", rig.Read(second));
}

TEST(LobRows, AValueWhoseRowsWereReleasedIsEmpty) {
    enum Release { EXECUTED, PREPARED, CLOSED, FREED, LOGGED_OFF };
    for (const int release : {EXECUTED, PREPARED, CLOSED, FREED, LOGGED_OFF}) {
        RowsRig rig;
        rig.SelectOne("abc");
        EXPECT_EQ("3:abc ", rig.Read(rig.lob));
        OCISvcCtx *svc = NewHandle<OCISvcCtx>(rig.env, OCI_HTYPE_SVCCTX);
        switch (release) {
            case EXECUTED:
                rig.AnswerExecute(RowsRig::Rows({}));
                EXPECT_EQ(100, rig.Execute(rig.stmt, 1));
                break;
            case PREPARED:
                rig.ScriptCommand("DEALLOCATE ST0;");
                rig.ScriptCommand("PREPARE ST1 AS DELETE FROM T");
                EXPECT_EQ(0, rig.PrepareText(rig.stmt, "DELETE FROM T"));
                break;
            case CLOSED:
                rig.ScriptCommand("DEALLOCATE `ST0`;");
                EXPECT_EQ(0, OCIStmtRelease(rig.stmt, rig.err, nullptr, 0, 0));
                break;
            case FREED:
                rig.ScriptCommand("DEALLOCATE `ST0`;");
                EXPECT_EQ(0, OCIHandleFree(rig.stmt, OCI_HTYPE_STMT));
                rig.stmts.clear();
                break;
            default:
                rig.ScriptCommand("COMMIT;");
                EXPECT_EQ(0, OCILogoff(rig.svc, rig.err));
                rig.svc = nullptr;
                break;
        }
        OCISvcCtx *logged_on = rig.svc;
        rig.svc = svc;
        EXPECT_EQ("", rig.ReadAtHand(rig.lob)) << release;
        EXPECT_EQ("3: ", rig.Read(rig.lob)) << release;
        EXPECT_EQ(0, rig.lob->native_lob->borrowed);
        rig.svc = logged_on;
        EXPECT_EQ(0, OCIHandleFree(svc, OCI_HTYPE_SVCCTX));
    }
}

TEST(LobRows, ACallbackMayReleaseTheRowsThatItIsReadFrom) {
    RowsRig rig;
    rig.SelectOne("abcdefg");
    rig.ScriptCommand("DEALLOCATE `ST0`;");
    struct Context {
        RowsRig *rig;
        std::string pieces;
    } context = {&rig, ""};
    auto release = [](void *ctxp, const void *bufp, uint32_t len, uint8_t piece) -> int32_t {
        Context *seen = (Context *)ctxp;
        seen->pieces += std::to_string(piece) + ":" + std::string((const char *)bufp, len) + " ";
        OCIStmtRelease(seen->rig->stmt, seen->rig->err, nullptr, 0, 0);
        return OCI_CONTINUE;
    };
    char buffer[3];
    EXPECT_EQ(
        0, OCILobRead(rig.svc, rig.err, rig.lob, nullptr, 1, buffer, 3, &context, release, 0, 0));
    EXPECT_EQ("1:abc 3: ", context.pieces);
}

TEST(LobRows, WhatALocatorOwnedIsFreedWhenARowComesInItsPlace) {
    RowsRig rig;
    rig.Select();
    rig.Run({Ascii("1"), Ascii("2"), Bytes(), Ascii("4")});
    const int64_t blocks = MemLiveBlocks();
    rig.Write(rig.lob, "written");
    EXPECT_EQ(blocks + 1, MemLiveBlocks());
    EXPECT_EQ(0, rig.Fetch(rig.stmt, 1));
    EXPECT_EQ(blocks, MemLiveBlocks());
    EXPECT_EQ("3:2 ", rig.Read(rig.lob));
    rig.Write(rig.lob, "written");
    EXPECT_EQ(0, rig.Fetch(rig.stmt, 1));
    EXPECT_EQ("3: ", rig.Read(rig.lob)) << "a NULL has the length 0";
    EXPECT_EQ(blocks + 1, MemLiveBlocks()) << "and leaves the bytes";
    EXPECT_EQ(0, rig.Fetch(rig.stmt, 1));
    EXPECT_EQ(blocks, MemLiveBlocks());
    rig.Write(rig.lob, "written");
    EXPECT_EQ(100, rig.Fetch(rig.stmt, 1));
    EXPECT_EQ("3:written ", rig.Read(rig.lob));
}

TEST(LobRows, AColumnThatIsNoLargeValueLeavesTheLocatorAsItWas) {
    RowsRig rig;
    rig.Select();
    rig.Write(rig.lob, "written");
    rig.Run({Hex("00000007")}, 5);
    EXPECT_EQ("3:written ", rig.Read(rig.lob));
}

TEST(LobRows, OneLocatorOfTwoColumnsHoldsTheSecond) {
    RowsRig rig;
    rig.stmt = rig.Prepare("SELECT A, B FROM T");
    rig.lob = rig.NewLocator();
    ASSERT_EQ(0, rig.Define(rig.stmt, 1, &rig.lob, 0, DTY_BLOB));
    ASSERT_EQ(0, rig.Define(rig.stmt, 2, &rig.lob, 0, DTY_BLOB));
    const Bytes columns = Result({Column("A", 34), Column("B", 34)});
    rig.AnswerExecute(columns + Row({Ascii("a"), Ascii("b")}) + Row({Ascii("c"), Bytes()}) +
                      Row({Bytes(), Ascii("d")}) + Ascii("K"));
    rig.Write(rig.lob, "written");
    EXPECT_EQ(0, rig.Execute(rig.stmt, 1));
    EXPECT_EQ("3:b ", rig.Read(rig.lob));
    const int64_t blocks = MemLiveBlocks();
    rig.Write(rig.lob, "written");
    EXPECT_EQ(0, rig.Fetch(rig.stmt, 1));
    EXPECT_EQ("3: ", rig.Read(rig.lob)) << "whose NULL cuts the first";
    rig.Write(rig.lob, "written");
    EXPECT_EQ(0, rig.Fetch(rig.stmt, 1));
    EXPECT_EQ("3:d ", rig.Read(rig.lob));
    EXPECT_EQ(blocks, MemLiveBlocks()) << "what was written is freed, once";
}

TEST(LobRows, AValueFromTheStatementsOwnRowsIsSentWithItsNextExecution) {
    RowsRig rig;
    rig.stmt = rig.Prepare("SELECT L FROM T WHERE L <> ?");
    rig.lob = rig.NewLocator();
    ASSERT_EQ(0, rig.Define(rig.stmt, 1, &rig.lob, 0, DTY_BLOB));
    ASSERT_EQ(0, rig.Bind(rig.stmt, 1, &rig.lob, 0, DTY_BLOB));
    const Bytes request = FrameArgs("? ST0 ", 1) + Hex("0000 0001 0022");
    rig.Exchange(request + Counted(""), RowsRig::Rows({Ascii("from a row")}));
    EXPECT_EQ(0, rig.Execute(rig.stmt, 1));
    // It is the locator's length that is sent, and a read sets it.
    EXPECT_EQ("3:from a row ", rig.Read(rig.lob));
    rig.Exchange(request + Counted("from a row"), RowsRig::Rows({}));
    EXPECT_EQ(100, rig.Execute(rig.stmt, 1));
    EXPECT_EQ("3:from a row ", rig.Read(rig.lob)) << "the locator has a copy";
}

TEST(LobRows, AValueFromOtherRowsIsSentWhileTheyAreThere) {
    RowsRig rig;
    rig.SelectOne("from a row");
    OCIStmt *insert = rig.Prepare("INSERT INTO T VALUES(?)", 1);
    ASSERT_EQ(0, rig.Bind(insert, 1, &rig.lob, 0, DTY_BLOB));
    const Bytes request = FrameArgs("? ST1 ", 1) + Hex("0000 0001 0022");
    EXPECT_EQ("3:from a row ", rig.Read(rig.lob));
    rig.Exchange(request + Counted("from a row"), Hex("'U' 00000001 'K'"));
    EXPECT_EQ(0, rig.Execute(insert, 1));
    EXPECT_EQ(1, rig.lob->native_lob->borrowed) << "without a copy";
    rig.AnswerExecute(RowsRig::Rows({}));
    EXPECT_EQ(100, rig.Execute(rig.stmt, 1));
    rig.Exchange(request + Counted(""), Hex("'U' 00000001 'K'"));
    EXPECT_EQ(0, rig.Execute(insert, 1)) << "a NULL, once they are gone";
}

TEST(LobRows, AnExecutionThatCannotCopyItsParameterFails) {
    RowsRig rig;
    rig.stmt = rig.Prepare("SELECT L FROM T WHERE L <> ?");
    rig.lob = rig.NewLocator();
    ASSERT_EQ(0, rig.Define(rig.stmt, 1, &rig.lob, 0, DTY_BLOB));
    ASSERT_EQ(0, rig.Bind(rig.stmt, 1, &rig.lob, 0, DTY_BLOB));
    const Bytes request = FrameArgs("? ST0 ", 1) + Hex("0000 0001 0022");
    rig.Exchange(request + Counted(""), RowsRig::Rows({Ascii("from a row")}));
    EXPECT_EQ(0, rig.Execute(rig.stmt, 1));
    MemFailAt(1);
    EXPECT_EQ(-1, rig.Execute(rig.stmt, 1));
    EXPECT_TRUE(MemFailed());
    MemFailAt(0);
    EXPECT_EQ("3:from a row ", rig.Read(rig.lob)) << "nothing was sent, nothing released";
}

namespace {

// A session that gets descriptors, and the server of its second connection.
struct DescriptorRig : RowsRig {
    ScriptedPeer lob_peer;

    DescriptorRig() {
        TVCISession *session = SvcNativeSession(svc);
        const uint32_t on = 1;
        EXPECT_EQ(0, TVCIAttrSet(session, 40, &on, -1));
        session->server->port = lob_peer.port();
        lob_peer.Accept();
        lob_peer.Expect(
            Ascii("login database = SYSTEM user='scott' password='tiger' encryptor = '' "
                  "char_set = 'GBK' time_zone = 'GTM+08:00' iso_level = '2' auto_commit = 'off' "
                  "lob_ret=descriptor return_rowid=true version = '201'"));
        lob_peer.Send(Ascii("K"));
    }

    ~DescriptorRig() {
        EXPECT_TRUE(lob_peer.Finish()) << lob_peer.Failure();
    }

    void ScriptValue(const std::string &identity, const std::string &bytes) {
        lob_peer.Expect(
            Frame("get lob '" + identity + "'  offset 0 limit " + std::to_string(bytes.size())));
        lob_peer.Send(Hex("'A' 00000001 00000001 'L' 00000022 FFFFFFFF 00000000 'R' 00000001") +
                      Counted(bytes) + Hex("00000000 'K'"));
    }
};

}  // namespace

TEST(LobRows, AValueBehindADescriptorIsReadOverTheSecondConnection) {
    DescriptorRig rig;
    rig.ScriptValue("AAAAAAAAAAAAA", "hello");
    rig.ScriptValue("BBBBBBBBBBBBB", "goodbye");
    rig.lob_peer.Start();
    rig.Select();
    rig.Run({Ascii("AAAAAAAAAAAAA:5"), Ascii("BBBBBBBBBBBBB:7"), Ascii("bin row")});
    const int64_t blocks = MemLiveBlocks();
    EXPECT_EQ("1:hel 3:lo ", rig.Read(rig.lob, 3));
    EXPECT_EQ("hello", rig.ReadAtHand(rig.lob));
    EXPECT_EQ(0, rig.Fetch(rig.stmt, 1));
    EXPECT_EQ("3:goodbye ", rig.Read(rig.lob));
    EXPECT_EQ(0, rig.Fetch(rig.stmt, 1));
    // The connection's record and its buffers; what was fetched went with its rows.
    EXPECT_EQ(blocks + 1, MemLiveBlocks());
    EXPECT_EQ("3:n row" + std::string(1, '\0') + " ", rig.Read(rig.lob))
        << "content in its place loses a byte more than its tag";
}

TEST(LobRows, AValueThatCannotBeFetchedIsEmpty) {
    DescriptorRig rig;
    rig.lob_peer.Expect(Frame("get lob 'AAAAAAAAAAAAA'  offset 0 limit 5"));
    rig.lob_peer.Close();
    rig.lob_peer.Start();
    rig.Select();
    rig.Run({Ascii("AAAAAAAAAAAAA:5")});
    EXPECT_EQ("3: ", rig.Read(rig.lob));
    EXPECT_EQ("", rig.ReadAtHand(rig.lob));
}

TEST(LobRows, ADescriptorWhoseRowsAreGoneIsNotAskedFor) {
    DescriptorRig rig;
    rig.Select();
    rig.Run({Ascii("AAAAAAAAAAAAA:5")});
    rig.ScriptCommand("DEALLOCATE `ST0`;");
    EXPECT_EQ(0, OCIStmtRelease(rig.stmt, rig.err, nullptr, 0, 0));
    EXPECT_EQ("3: ", rig.Read(rig.lob));
    EXPECT_EQ(nullptr, SvcNativeSession(rig.svc)->lob_conn);
}

TEST(LobRows, ADescriptorThatOutlivesItsSessionIsNotAskedFor) {
    DescriptorRig rig;
    rig.stmt = rig.Prepare("SELECT L FROM T WHERE L <> ?");
    rig.lob = rig.NewLocator();
    ASSERT_EQ(0, rig.Define(rig.stmt, 1, &rig.lob, 0, DTY_BLOB));
    ASSERT_EQ(0, rig.Bind(rig.stmt, 1, &rig.lob, 0, DTY_BLOB));
    const Bytes request = FrameArgs("? ST0 ", 1) + Hex("0000 0001 0022");
    rig.Exchange(request + Counted(""), RowsRig::Rows({Ascii("AAAAAAAAAAAAA:5")}));
    EXPECT_EQ(0, rig.Execute(rig.stmt, 1));
    rig.Exchange(request + Counted(""), RowsRig::Rows({}));
    EXPECT_EQ(100, rig.Execute(rig.stmt, 1));
    const LobRecord *lob = rig.lob->native_lob;
    EXPECT_STREQ("AAAAAAAAAAAAA:5", lob->descriptor) << "the locator has a copy";
    EXPECT_EQ(0, lob->borrowed);
    rig.ScriptCommand("COMMIT;");
    EXPECT_EQ(0, OCILogoff(rig.svc, rig.err));
    rig.svc = NewHandle<OCISvcCtx>(rig.env, OCI_HTYPE_SVCCTX);
    EXPECT_EQ("3: ", rig.Read(rig.lob));
    EXPECT_EQ(nullptr, lob->session);
    EXPECT_EQ(0, OCIHandleFree(rig.svc, OCI_HTYPE_SVCCTX));
    rig.svc = nullptr;
}

TEST(LobRows, AGeometryIsItsBytes) {
    RowsRig rig;
    rig.Select();
    rig.Run({Ascii("00ff4A")}, 48);
    EXPECT_EQ("3:" + std::string("\0\xFFJ", 3) + " ", rig.Read(rig.lob));
    EXPECT_EQ("3:" + std::string("\0\xFFJ", 3) + " ", rig.Read(rig.lob)) << "all of them again";
}

TEST(LobRows, ARowOfAUsedCursorBlockIsEmptyOnceTheNextBlockIsThere) {
    RowsRig rig;
    const int32_t ahead = 2;
    rig.stmt = rig.NewStmt();
    EXPECT_EQ(0, TVCIAttrSet(rig.stmt->native_stmt, 42, &ahead, 0));
    const Bytes field_list = Result({Column("L", 34)});
    rig.Exchange(Frame("PREPARE ST0 AS SELECT L FROM T"), field_list + Ascii("K"));
    ASSERT_EQ(0, rig.PrepareText(rig.stmt, "SELECT L FROM T"));
    rig.lob = rig.NewLocator();
    ASSERT_EQ(0, rig.Define(rig.stmt, 1, &rig.lob, 0, DTY_BLOB));
    rig.ScriptCommand("DECLARE ST0_CUR CURSOR FOR ST0;");
    rig.Exchange(Frame("OPEN ST0_CUR;"), field_list + Ascii("K"));
    ASSERT_EQ(0, rig.Execute(rig.stmt, 0));
    const Bytes fetch = Frame("FETCH 2000 FROM ST0_CUR;");
    rig.Exchange(fetch, field_list + Repeat(Row({Ascii("first block")}), 2000) + Ascii("K"));
    rig.Exchange(fetch, field_list + Row({Ascii("second")}) + Ascii("K"));
    rig.Exchange(fetch, field_list + Ascii("K"));
    WaitSkipSleeps(true);
    ASSERT_EQ(0, rig.Fetch(rig.stmt, 1));
    OCILobLocator *later = rig.NewLocator();
    ASSERT_EQ(0, rig.Define(rig.stmt, 1, &later, 0, DTY_BLOB));
    ASSERT_EQ(0, rig.Fetch(rig.stmt, 1999));
    EXPECT_EQ("3:first block ", rig.Read(rig.lob));
    EXPECT_EQ("3:first block ", rig.Read(later));
    OCILobLocator *last = rig.NewLocator();
    ASSERT_EQ(0, rig.Define(rig.stmt, 1, &last, 0, DTY_BLOB));
    ASSERT_EQ(0, rig.Fetch(rig.stmt, 1));
    EXPECT_EQ("3:second ", rig.Read(last));
    EXPECT_EQ("3: ", rig.Read(rig.lob));
    EXPECT_EQ("3: ", rig.Read(later));
    EXPECT_EQ(100, rig.Fetch(rig.stmt, 1));
    EXPECT_EQ("3:second ", rig.Read(last));
    WaitSkipSleeps(false);
}

TEST(LobRows, ThreadsThatLoseStagingBuffersShareTheListOfTheirEnvironment) {
    constexpr int THREADS = 4;
    constexpr int LOST = 200;
    OCIEnv *env = nullptr;
    ASSERT_EQ(0, OCIEnvInit(&env, 0, 0, NULL));
    auto lose = [env] {
        OCIError *err = NewHandle<OCIError>(env, OCI_HTYPE_ERROR);
        OCISvcCtx *svc = NewHandle<OCISvcCtx>(env, OCI_HTYPE_SVCCTX);
        for (int i = 0; i < LOST; i++) {
            void *locator = nullptr;
            EXPECT_EQ(0, OCIDescriptorAlloc(env, &locator, OCI_DTYPE_LOB, 0, NULL));
            uint32_t amount = 9;
            char piece[] = "abc";
            EXPECT_EQ(99, OCILobWrite(svc, err, (OCILobLocator *)locator, &amount, 1, piece, 3,
                                      OCI_FIRST_PIECE, NULL, NULL, 0, 0));
            EXPECT_EQ(0, OCIDescriptorFree(locator, OCI_DTYPE_LOB));
        }
        OCIHandleFree(svc, OCI_HTYPE_SVCCTX);
        OCIHandleFree(err, OCI_HTYPE_ERROR);
    };
    std::vector<std::thread> threads;
    for (int i = 0; i < THREADS; i++) {
        threads.emplace_back(lose);
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    int kept = 0;
    for (const LostBlock *block = env->lost_blocks; block != NULL; block = block->next) {
        kept++;
    }
    EXPECT_EQ(THREADS * LOST, kept);
    EXPECT_EQ(0, OCIHandleFree(env, OCI_HTYPE_ENV));
}
