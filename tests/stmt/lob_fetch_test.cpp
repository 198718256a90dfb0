// Large values behind descriptors: the second connection of a session and the exchange on it.
#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "records/values.h"
#include "stmt/lob.h"
#include "stmt/stmt_rig.h"
#include "wire/cipher.h"
#include "wire/connection.h"
#include "wire/pool.h"

namespace {

const char *const FIVE_BYTES = "0123456789ABC:5";
const char *const COMMAND = "get lob '0123456789ABC'  offset 0 limit 5";
// The column description in front of every value: one column, named L, of TypeId 34.
const char *const FIELDS = "'A' 00000001 00000001 'L' 00000022 FFFFFFFF 00000000";
const char *const HELLO = "'R' 00000001 00000005 'hello' 00000000 'K'";

Bytes HelloAnswer() {
    return Hex(FIELDS) + Hex(HELLO);
}

// A session whose server has moved to the port of another peer since it logged on, so that the
// second connection is scripted apart from the first.
struct LobRig : StmtRig {
    ScriptedPeer lob_peer;

    LobRig() {
        uint32_t port = lob_peer.port();
        EXPECT_EQ(0, TVCIAttrSet(server, 22, &port, -1));
    }

    ~LobRig() {
        EXPECT_TRUE(lob_peer.Finish()) << lob_peer.Failure();
    }

    void ScriptLogin() {
        lob_peer.Accept();
        lob_peer.Expect(Ascii(SECOND_LOGIN_TEXT));
        lob_peer.Send(Hex("'K'"));
    }

    // Scripts the login and one exchange, and starts the peer.
    void ScriptAnswer(const Bytes &answer, const char *command = COMMAND) {
        ScriptLogin();
        lob_peer.Expect(Frame(command));
        lob_peer.Send(answer);
        lob_peer.Start();
    }

    // A record with a descriptor of its own, as rows bring it.
    LobRecord *NewLob(const char *descriptor = FIVE_BYTES, uint32_t kind = LOB_KIND_BLOB) {
        LobRecord *lob = TVCILobAlloc();
        lobs.emplace_back(lob, TVCILobFree);
        lob->kind = kind;
        lob->length = (int32_t)strlen(descriptor);
        lob->remote = 1;
        lob->descriptor = MemCopyText(descriptor);
        lob->session = session;
        return lob;
    }

    bool LobPermitIsFree() {
        Semaphore *permit = &session->lob_conn->use_semaphore;
        if (!SemaphoreTryTake(permit)) return false;
        const bool only_one = !SemaphoreTryTake(permit);
        SemaphoreRelease(permit);
        return only_one;
    }

    // Logs the second connection on, for tests that call FetchLobData themselves.
    Connection *OpenSecond() {
        ScriptLogin();
        lob_peer.Start();
        session->lob_conn = TVCISessionLoginAgain(session);
        EXPECT_NE(nullptr, session->lob_conn);
        return session->lob_conn;
    }

    std::vector<std::unique_ptr<LobRecord, int32_t (*)(LobRecord *)>> lobs;
};

// What TVCILobGet hands out.
std::string Got(LobRecord *lob) {
    int32_t length = -77;
    void *data = nullptr;
    EXPECT_EQ(0, TVCILobGet(lob, &length, &data));
    if (data == nullptr) return "length " + std::to_string(length) + " and nothing";
    return std::string((const char *)data, (size_t)length);
}

// What TVCILobRead copies of a value from its start.
std::string ReadAll(LobRecord *lob) {
    char buffer[64];
    int32_t read = -77;
    EXPECT_EQ(0, TVCILobRead(lob, 0, sizeof(buffer), buffer, &read));
    return std::string(buffer, (size_t)read);
}

}  // namespace

TEST(LobFetch, TheCommandIsTheseBytesOnAConnectionOfItsOwn) {
    LobRig rig;
    rig.ScriptLogin();
    rig.lob_peer.Expect(
        Hex("3F 00000029 'get lob ''0123456789ABC''  offset 0 limit 5' 00 00000000"));
    rig.lob_peer.Send(
        Hex("'A' 00000001 00000001 'L' 00000022 FFFFFFFF 00000000 "
            "'R' 00000001 00000005 'hello' 00000000 'K'"));
    rig.lob_peer.Start();
    LobRecord *lob = rig.NewLob();
    EXPECT_EQ("hello", Got(lob));
    EXPECT_EQ(5, lob->length);
    EXPECT_NE(rig.session->conn, rig.session->lob_conn);
    EXPECT_TRUE(rig.LobPermitIsFree());
}

TEST(LobFetch, AValueIsFetchedOnceAndTheConnectionIsKeptForTheNext) {
    LobRig rig;
    rig.ScriptLogin();
    for (int i = 0; i < 2; i++) {
        rig.lob_peer.Expect(Frame(COMMAND));
        rig.lob_peer.Send(HelloAnswer());
    }
    rig.lob_peer.Start();
    LobRecord *first = rig.NewLob();
    EXPECT_EQ("hello", Got(first));
    const Connection *conn = rig.session->lob_conn;
    EXPECT_EQ("hello", ReadAll(first)) << "from the copy";
    EXPECT_EQ("hello", ReadAll(rig.NewLob())) << "another value, the second exchange";
    EXPECT_EQ(conn, rig.session->lob_conn);
}

TEST(LobFetch, GetPassesOverALeadByteFromTheSecondTimeOn) {
    LobRig rig;
    rig.ScriptAnswer(HelloAnswer());
    LobRecord *lob = rig.NewLob();
    EXPECT_EQ("hello", Got(lob));
    EXPECT_EQ(std::string("ello\0", 5), Got(lob));
    EXPECT_EQ(std::string("ello\0", 5), Got(lob));
    EXPECT_EQ("hello", ReadAll(lob)) << "a read never does";
}

TEST(LobFetch, GetPassesOverNoByteOfAGeometry) {
    LobRig rig;
    rig.ScriptAnswer(HelloAnswer());
    LobRecord *lob = rig.NewLob(FIVE_BYTES, LOB_KIND_GEOMETRY);
    EXPECT_EQ("hello", Got(lob));
    EXPECT_EQ("hello", Got(lob));
}

TEST(LobFetch, GetPassesOverNoByteOfAValueThatReadHasLoaded) {
    LobRig rig;
    rig.ScriptAnswer(HelloAnswer());
    LobRecord *lob = rig.NewLob();
    EXPECT_EQ("hello", ReadAll(lob));
    EXPECT_EQ("hello", Got(lob));
    EXPECT_EQ("hello", Got(lob));
    EXPECT_EQ(0, TVCILobWrite(lob, 5, "other"));
    EXPECT_EQ(std::string("ther\0", 5), Got(lob)) << "which a written one was not";
}

TEST(LobFetch, ReadLoadsTheWholeValueForAPiece) {
    LobRig rig;
    rig.ScriptAnswer(HelloAnswer());
    LobRecord *lob = rig.NewLob();
    char buffer[4] = "zzz";
    int32_t read = 0;
    EXPECT_EQ(0, TVCILobRead(lob, 1, 3, buffer, &read));
    EXPECT_EQ(3, read);
    EXPECT_STREQ("ell", buffer);
    EXPECT_EQ(0, TVCILobRead(lob, 5, 3, buffer, &read));
    EXPECT_EQ(0, read);
    EXPECT_EQ(0, TVCILobRead(lob, 1000, 3, buffer, &read)) << "beyond a remote value";
    EXPECT_EQ(0, read);
    EXPECT_EQ('\0', buffer[0]);
}

TEST(LobFetch, ADescriptorAnnouncingSize0AsksForLimit0AndGivesATargetOf1Byte) {
    LobRig rig;
    rig.ScriptAnswer(Hex(FIELDS) + Hex("'R' 00000000 'K'"),
                     "get lob '0123456789ABC'  offset 0 limit 0");
    LobRecord *lob = rig.NewLob("0123456789ABC:0");
    EXPECT_EQ("", Got(lob));
    ASSERT_NE(nullptr, lob->data);
    EXPECT_EQ(0, lob->data[0]);
    EXPECT_EQ("", Got(lob)) << "without another exchange";
}

TEST(LobFetch, ADescriptorOfFourteenCharactersAnnouncesNothing) {
    LobRig rig;
    rig.ScriptAnswer(Hex(FIELDS) + Hex("'R' 00000000 'K'"),
                     "get lob '0123456789ABC'  offset 0 limit ");
    EXPECT_EQ("", Got(rig.NewLob("0123456789ABC:")));
}

TEST(LobFetch, AShorterDescriptorIsNotAskedFor) {
    LobRig rig;
    rig.lob_peer.Start();
    LobRecord *lob = rig.NewLob("0123456789ABC");
    EXPECT_EQ("length 13 and nothing", Got(lob));
    EXPECT_EQ("", ReadAll(lob));
    EXPECT_EQ(nullptr, rig.session->lob_conn);
}

TEST(LobFetch, ASizeThatDoesNotFitTheCommandIsCut) {
    LobRig rig;
    const std::string size = "5" + std::string(70, ' ');
    rig.ScriptAnswer(HelloAnswer(),
                     ("get lob '0123456789ABC'  offset 0 limit 5" + std::string(58, ' ')).c_str());
    EXPECT_EQ("hello", Got(rig.NewLob(("0123456789ABC:" + size).c_str())));
}

// Bytes as they stand on the wire at a place of the keystream of the key 00 to 1F.
static Bytes Enciphered(Bytes plain, size_t place) {
    const Bytes keystream =
        Hex("38CBD98552349D107312D71ED3854549037E7979CB24924A084546CCF8C85AAF5CCBB1D1CF6B4646"
            "1A86E2225355929211D73D4CAD01BAED2FE739826CE3D80B7ACB39CD85A1FEC8");
    for (size_t i = 0; i < plain.size(); i++) {
        plain[i] = (uint8_t)(plain[i] ^ keystream.at(place + i));
    }
    return plain;
}

TEST(LobFetch, OverAnEncipheredConnectionEveryByteGoesThroughTheKeystream) {
    const Bytes key = Hex("000102030405060708090A0B0C0D0E0F101112131415161718191A1B1C1D1E1F");
    const Bytes answer =
        Enciphered(Hex("'A' 00000001 00000001 'L' 00000022 FFFFFFFF 00000000 "
                       "'R' 00000001 00000003 'hel' 00000001 00000002 'lo' 00000000 'K'"),
                   0);
    for (size_t cut = 1; cut < answer.size(); cut++) {
        LobRig rig;
        Connection *conn = rig.OpenSecond();
        conn->use_ssl = 1;
        ASSERT_TRUE(CipherSetup(conn, key.data(), 32));
        rig.lob_peer.Expect(Enciphered(
            Hex("3F 00000029 'get lob ''0123456789ABC''  offset 0 limit 5' 00 00000000"), 0));
        rig.lob_peer.SendInPieces(answer, {cut});
        int32_t size = 5;
        uint8_t *data = nullptr;
        ASSERT_EQ(0, FetchLobData(conn, FIVE_BYTES, &size, &data)) << "cut at byte " << cut;
        EXPECT_EQ(5, size);
        EXPECT_STREQ("hello", (const char *)data) << "cut at byte " << cut;
        MemFree(data);
        EXPECT_EQ(51, conn->send_cipher->pos);
        EXPECT_EQ(49, conn->recv_cipher->pos);
    }
}

TEST(LobFetch, AChunkStreamLargerThanAnnouncedGrowsTheTarget) {
    LobRig rig;
    Connection *conn = rig.OpenSecond();
    rig.lob_peer.Expect(Frame(COMMAND));
    rig.lob_peer.Send(Hex(FIELDS) +
                      Hex("'R' 00000001 00000004 'hell' 00000001 00000004 'o wo' "
                          "00000001 00000008 'rld, how' 00000001 00000006 ' is it' 00000000 'K'"));
    int32_t size = 5;
    uint8_t *data = nullptr;
    ASSERT_EQ(0, FetchLobData(conn, FIVE_BYTES, &size, &data));
    EXPECT_EQ(22, size) << "set to the total";
    EXPECT_EQ("hello world, how is it", std::string((const char *)data, 22));
    MemFree(data);
}

TEST(LobFetch, GetReportsTheAnnouncedSizeOfALargerStream) {
    LobRig rig;
    rig.ScriptAnswer(Hex(FIELDS) + Hex("'R' 00000001 0000000B 'hello world' 00000000 'K'"));
    LobRecord *lob = rig.NewLob();
    EXPECT_EQ("hello", Got(lob));
    EXPECT_EQ("ello ", Got(lob)) << "the byte behind is the stream's";
}

TEST(LobFetch, AChunkStreamSmallerThanAnnouncedIsFilledUpWithZeros) {
    LobRig rig;
    rig.ScriptAnswer(Hex(FIELDS) + Hex("'R' 00000001 00000002 'he' 00000000 'K'"));
    EXPECT_EQ(std::string("he\0\0\0", 5), Got(rig.NewLob()));
}

TEST(LobFetch, TheTotalIsSetAlsoWhenItIsSmaller) {
    LobRig rig;
    Connection *conn = rig.OpenSecond();
    rig.lob_peer.Expect(Frame(COMMAND));
    rig.lob_peer.Send(Hex(FIELDS) + Hex("'R' 00000001 00000002 'he' 00000000 'K'"));
    int32_t size = 5;
    uint8_t *data = nullptr;
    ASSERT_EQ(0, FetchLobData(conn, FIVE_BYTES, &size, &data));
    EXPECT_EQ(2, size);
    EXPECT_EQ(0, memcmp("he\0\0\0\0", data, 6));
    MemFree(data);
}

TEST(LobFetch, AnyWordButZeroOpensAChunkWhichMayBeEmpty) {
    LobRig rig;
    rig.ScriptAnswer(Hex(FIELDS) +
                     Hex("'R' FFFFFFFF 00000003 'hel' 00000007 00000000 80000000 00000002 'lo' "
                         "00000000 'K'"));
    EXPECT_EQ("hello", Got(rig.NewLob()));
}

TEST(LobFetch, TheClosingLetterIsNotLookedAt) {
    LobRig rig;
    rig.ScriptAnswer(Hex(FIELDS) + Hex("'R' 00000001 00000005 'hello' 00000000 'E'"));
    EXPECT_EQ("hello", Got(rig.NewLob()));
}

TEST(LobFetch, ManyColumnDescriptionsAreReadAndNotUsed) {
    LobRig rig;
    rig.ScriptAnswer(Hex("'A' 00000003 00000001 'L' 00000022 FFFFFFFF 00000000 "
                         "00000005 'T.M%x' 00000005 00000004 00000001 "
                         "00000000 0000001E 00000000 00000000") +
                     Hex(HELLO));
    EXPECT_EQ("hello", Got(rig.NewLob()));
}

TEST(LobFetch, AnAnswerCutAtAnyByteReadsTheSame) {
    LobRig rig;
    Connection *conn = rig.OpenSecond();
    const Bytes answer = HelloAnswer();
    for (size_t cut = 1; cut < answer.size(); cut++) {
        rig.lob_peer.Expect(Frame(COMMAND));
        rig.lob_peer.SendInPieces(answer, {cut});
        int32_t size = 5;
        uint8_t *data = nullptr;
        ASSERT_EQ(0, FetchLobData(conn, FIVE_BYTES, &size, &data)) << "cut at byte " << cut;
        EXPECT_EQ(5, size);
        EXPECT_STREQ("hello", (const char *)data);
        MemFree(data);
    }
}

TEST(LobFetch, ChunksOf102400BytesAndOneByteMoreAreTheLastGoodAndTheFirstBadOnes) {
    for (const size_t chunk : {(size_t)102400, (size_t)102401}) {
        LobRig rig;
        Connection *conn = rig.OpenSecond();
        rig.lob_peer.Expect(Frame(COMMAND));
        rig.lob_peer.Send(Hex(FIELDS) + Hex("'R' 00000001") + Int32((int32_t)chunk) +
                          Bytes(chunk == 102400 ? chunk : 0, 'x') + Hex("00000000 'K'"));
        int32_t size = 5;
        uint8_t *data = nullptr;
        const int32_t result = FetchLobData(conn, FIVE_BYTES, &size, &data);
        if (chunk == 102400) {
            EXPECT_EQ(0, result);
            EXPECT_EQ(102400, size);
            EXPECT_EQ('x', data[102399]);
            MemFree(data);
        } else {
            EXPECT_EQ(-4, result);
            EXPECT_EQ(5, size);
            EXPECT_EQ(nullptr, data);
        }
        EXPECT_TRUE(rig.LobPermitIsFree());
    }
}

TEST(LobFetch, AChunkOfNegativeLengthIsMinus4) {
    LobRig rig;
    Connection *conn = rig.OpenSecond();
    rig.lob_peer.Expect(Frame(COMMAND));
    rig.lob_peer.Send(Hex(FIELDS) + Hex("'R' 00000001 FFFFFFFF"));
    int32_t size = 5;
    uint8_t *data = nullptr;
    EXPECT_EQ(-4, FetchLobData(conn, FIVE_BYTES, &size, &data));
    EXPECT_TRUE(rig.LobPermitIsFree());
}

TEST(LobFetch, ANegativeSizeOrColumnCountIsMinus5) {
    LobRig rig;
    Connection *conn = rig.OpenSecond();
    int32_t size = -1;
    uint8_t *data = nullptr;
    EXPECT_EQ(-5, FetchLobData(conn, "0123456789ABC:-1", &size, &data)) << "and nothing is sent";
    rig.lob_peer.Expect(Frame(COMMAND));
    rig.lob_peer.Send(Hex("'A' FFFFFFFF"));
    size = 5;
    EXPECT_EQ(-5, FetchLobData(conn, FIVE_BYTES, &size, &data));
    EXPECT_TRUE(rig.LobPermitIsFree());
}

TEST(LobFetch, ASizeBelow0IsReportedAndHasNoBytes) {
    LobRig rig;
    rig.ScriptLogin();
    rig.lob_peer.Start();
    LobRecord *lob = rig.NewLob("0123456789ABC:-1");
    EXPECT_EQ("length -1 and nothing", Got(lob));
    EXPECT_EQ("", ReadAll(lob));
}

TEST(LobFetch, AnAnswerOfAnotherFormGivesZerosAndStaysOnTheWire) {
    LobRig rig;
    rig.ScriptAnswer(Hex("'E' 0000000B '[E16004]bad' 'K'"));
    LobRecord *lob = rig.NewLob();
    EXPECT_EQ(std::string(5, '\0'), Got(lob)) << "an error text is not read";
    // Two bytes of its length were taken for letters.
    EXPECT_EQ(0, lob->data[5]);
    EXPECT_EQ("|", rig.ErrorOf(rig.session));
    Connection *conn = rig.session->lob_conn;
    uint16_t rest;
    EXPECT_TRUE(ConnReadInt16(conn, &rest));
    EXPECT_EQ(11, rest);
}

TEST(LobFetch, AnAnswerWithoutARowStreamIsTwoLetters) {
    LobRig rig;
    rig.ScriptAnswer(Hex(FIELDS) + Hex("'K' 'K'"));
    EXPECT_EQ(std::string(5, '\0'), Got(rig.NewLob()));
    EXPECT_EQ(0, rig.session->lob_conn->recv_fill);
}

TEST(LobFetch, AStreamThatEndsAnywhereLeavesTheLengthAndNoBytes) {
    const Bytes answer = HelloAnswer();
    for (size_t end = 0; end < answer.size(); end++) {
        LobRig rig;
        rig.ScriptLogin();
        rig.lob_peer.Expect(Frame(COMMAND));
        rig.lob_peer.Send(Bytes(answer.begin(), answer.begin() + (ptrdiff_t)end));
        rig.lob_peer.Close();
        rig.lob_peer.Start();
        LobRecord *lob = rig.NewLob();
        EXPECT_EQ("length 5 and nothing", Got(lob)) << "after " << end << " bytes";
        EXPECT_EQ("", ReadAll(lob)) << "which is -4 again, on the same connection";
        EXPECT_TRUE(rig.LobPermitIsFree());
    }
}

TEST(LobFetch, ALostConnectionIsMinus4AndNotMadeAnew) {
    LobRig rig;
    Connection *conn = rig.OpenSecond();
    rig.lob_peer.Close();
    int32_t size = 5;
    uint8_t *data = nullptr;
    EXPECT_EQ(-4, FetchLobData(conn, FIVE_BYTES, &size, &data));
    EXPECT_EQ(5, size);
    EXPECT_EQ(nullptr, data);
    EXPECT_EQ(-4, FetchLobData(conn, FIVE_BYTES, &size, &data));
}

TEST(LobFetch, ARefusedSecondLoginLeavesNoBytesAndIsTriedAgain) {
    LobRig rig;
    rig.lob_peer.Accept();
    rig.lob_peer.Expect(Ascii(SECOND_LOGIN_TEXT));
    rig.lob_peer.Send(Hex("'E' 0000000C '[E18004]busy'"));
    rig.lob_peer.ExpectEnd();
    rig.ScriptAnswer(HelloAnswer());
    LobRecord *lob = rig.NewLob();
    EXPECT_EQ("length 5 and nothing", Got(lob));
    EXPECT_EQ("E18004|[E18004]busy", rig.ErrorOf(rig.session));
    EXPECT_EQ(nullptr, rig.session->lob_conn);
    EXPECT_EQ("hello", Got(lob));
}

TEST(LobFetch, WithoutMemoryThereAreNoBytesAndALaterGetHasThem) {
    // The allocations of an exchange: the target, the name of the column, room to grow.
    for (uint64_t n = 1;; n++) {
        LobRig rig;
        Connection *conn = rig.OpenSecond();
        const int64_t blocks = MemLiveBlocks();
        // Without a target nothing is sent; the exchange is there for the call behind that.
        rig.lob_peer.Expect(Frame(COMMAND));
        rig.lob_peer.Send(Hex(FIELDS) + Hex("'R' 00000001 00000009 'hello you' 00000000 'K'"));
        int32_t size = 5;
        uint8_t *data = nullptr;
        MemFailAt(n);
        const int32_t result = FetchLobData(conn, FIVE_BYTES, &size, &data);
        const bool failed = MemFailed();
        MemFailAt(0);
        if (n == 1) {
            EXPECT_EQ(-5, result);
            EXPECT_EQ(0, FetchLobData(conn, FIVE_BYTES, &size, &data));
        } else if (failed) {
            EXPECT_EQ(-5, result);
            EXPECT_EQ(nullptr, data);
            EXPECT_EQ(blocks, MemLiveBlocks());
        }
        EXPECT_TRUE(rig.LobPermitIsFree());
        MemFree(data);
        if (!failed) {
            EXPECT_EQ(4U, n);
            EXPECT_EQ(0, result);
            EXPECT_EQ(9, size);
            break;
        }
    }
}

TEST(LobFetch, ManyChunksOfAValueFarBeyondItsAnnouncedSize) {
    LobRig rig;
    Connection *conn = rig.OpenSecond();
    Bytes answer = Hex(FIELDS) + Hex("'R'");
    Bytes expected;
    for (int i = 0; i < 300; i++) {
        const Bytes chunk(1000, (uint8_t)i);
        answer = std::move(answer) + Hex("00000001 000003E8") + chunk;
        expected = std::move(expected) + chunk;
    }
    rig.lob_peer.Expect(Frame("get lob '0123456789ABC'  offset 0 limit 0"));
    rig.lob_peer.Send(answer + Hex("00000000 'K'"));
    int32_t size = 0;
    uint8_t *data = nullptr;
    ASSERT_EQ(0, FetchLobData(conn, "0123456789ABC:0", &size, &data));
    EXPECT_EQ(300000, size);
    EXPECT_EQ(expected, Bytes(data, data + size));
    MemFree(data);
}

TEST(LobFetch, TheSecondConnectionGoesWithItsSession) {
    LobRig rig;
    rig.ScriptAnswer(HelloAnswer());
    rig.lob_peer.ExpectEnd();
    EXPECT_EQ("hello", Got(rig.NewLob()));
    EXPECT_EQ(0, TVCIDisconnect(rig.session));
    EXPECT_NE(nullptr, rig.session->lob_conn) << "a disconnect leaves it";
    EXPECT_EQ(0, TVCIHandleFree(rig.session));
}

namespace {

std::atomic<int> waits[WAIT_POINT_COUNT];
ScriptedPeer *waited_peer;

// Opens the peer's gate of the name of the wait.
void CountWait(WaitPoint point) {
    waits[point]++;
    waited_peer->Open(WaitPointName(point));
}

}  // namespace

TEST(LobFetch, TwoThreadsOfOneSessionTakeTurns) {
    LobRig rig;
    Connection *conn = rig.OpenSecond();
    rig.lob_peer.Expect(Frame(COMMAND));
    // The first answer comes when the other thread is known to wait.
    rig.lob_peer.Gate("connection permit");
    rig.lob_peer.Send(HelloAnswer());
    rig.lob_peer.Expect(Frame(COMMAND));
    rig.lob_peer.Send(HelloAnswer());
    waited_peer = &rig.lob_peer;
    waits[WAIT_CONN_PERMIT] = 0;
    LobRecord *mine = rig.NewLob();
    LobRecord *others = rig.NewLob();
    WaitSetHook(CountWait);
    std::string got;
    std::thread other([&] { got = Got(others); });
    EXPECT_EQ("hello", Got(mine));
    other.join();
    WaitSetHook(nullptr);
    EXPECT_EQ("hello", got);
    EXPECT_EQ(1, waits[WAIT_CONN_PERMIT]);
    EXPECT_EQ(conn, rig.session->lob_conn);
}

TEST(LobFetch, TwoThreadsOfOneSessionMakeOneSecondConnection) {
    LobRig rig;
    rig.lob_peer.Accept();
    rig.lob_peer.Expect(Ascii(SECOND_LOGIN_TEXT));
    rig.lob_peer.Gate("large value connection");
    rig.lob_peer.Send(Hex("'K'"));
    for (int i = 0; i < 2; i++) {
        rig.lob_peer.Expect(Frame(COMMAND));
        rig.lob_peer.Send(HelloAnswer());
    }
    rig.lob_peer.Start();
    waited_peer = &rig.lob_peer;
    LobRecord *mine = rig.NewLob();
    LobRecord *others = rig.NewLob();
    WaitSetHook(CountWait);
    std::string got;
    std::thread other([&] { got = Got(others); });
    EXPECT_EQ("hello", Got(mine));
    other.join();
    WaitSetHook(nullptr);
    EXPECT_EQ("hello", got);
}
