// The enciphered login: the exchange byte by byte, and where it may break.
#include <gtest/gtest.h>

#include <cstring>

#include "diag/error.h"
#include "platform/clock.h"
#include "platform/memory.h"
#include "platform/socket.h"
#include "platform/text.h"
#include "support/scripted_peer.h"
#include "wire/cipher.h"
#include "wire/cipher_rig.h"
#include "wire/connection.h"
#include "wire/login.h"
#include "wire/login_known.h"

// Under the exponent 1 the blocks go out as they are.
static const char *const EXPONENT_ONE =
    "0100000000000000000000000000000000000000000000000000000000000000";
// The default text on database SYSTEM in its blocks.
static const char *const DEFAULT_BLOCKS =
    "'login database = SYSTEM user=''' 0707"
    "'SYSDBA'' password=''SYSDBA'' encr' 0707"
    "'yptor = '''' char_set = ''GBK'' ti' 0707"
    "'me_zone = ''GTM+08:00'' iso_leve' 0707"
    "'l = ''2'' auto_commit = ''on'' ver' 0707"
    "'sion = ''301''' 00 00000000000000000000000000000000000000";

// What the server says, from its start, under the keystream of SESSION_KEY.
static Bytes FromServer(const Bytes &plain, size_t position = 0) {
    Bytes keystream = Hex(SESSION_KEYSTREAM);
    keystream.erase(keystream.begin(), keystream.begin() + (ptrdiff_t)position);
    return Xor(plain, keystream);
}

// Makes the next login the first of the process, at a fixed time.
static void FixSeed(int64_t seconds, int64_t run_ms) {
    ClockSetForTest(seconds);
    ClockSetRunMsForTest(run_ms);
    LoginRandomForgetSeed();
}

// A connection to a peer, about to log in enciphered with the seed 1000.
struct EncipheredRig : ConnRig {
    EncipheredRig() {
        ConnAttrInit(&attr);
        attr.use_ssl = 1;
        TextCopy(conn->database, sizeof(conn->database), "SYSTEM");
        conn->ip = NetAddressFromText("127.0.0.1");
        conn->port = peer.port();
        FixSeed(900, 100);
    }

    ~EncipheredRig() {
        EXPECT_TRUE(peer.Finish()) << peer.Failure();
        ClockSetForTest(-1);
        ClockSetRunMsForTest(-1);
    }

    // Scripts the exchange up to the server's key.
    void ScriptKey(const Bytes &exponent_and_modulus) {
        peer.Accept();
        peer.Expect(Hex("'~ssl~'"));
        peer.Send(exponent_and_modulus);
    }

    // Scripts the exchange up to the verdict, with the default text in the clear.
    void ScriptUpToVerdict() {
        ScriptKey(Hex(EXPONENT_ONE) + Hex(SERVER_MODULUS));
        peer.Expect(Hex(SESSION_KEY) + Hex(DEFAULT_BLOCKS));
    }

    bool Login() {
        peer.Start();
        EXPECT_TRUE(ConnOpenSocket(conn));
        return TVCILogin(conn, conn->database, &attr);
    }

    // Logs in with an answer that is enciphered from its start.
    bool LoginAnswered(const Bytes &answer) {
        ScriptUpToVerdict();
        peer.Send(FromServer(answer));
        return Login();
    }

    // What every failure with a reason leaves behind.
    void ExpectClosed(const char *error) {
        EXPECT_EQ(error, ErrorText(&conn->last_error));
        EXPECT_EQ(0u, conn->sock);
        EXPECT_EQ(1, conn->use_ssl);
        EXPECT_EQ(2, conn->status);
        EXPECT_EQ(nullptr, conn->recv_cipher);
        EXPECT_EQ(nullptr, conn->send_cipher);
    }

    ScriptedPeer peer;
    ConnAttr attr;
};

TEST(LoginEnciphered, SendsTheKeyAndTheTextInBlocks) {
    EncipheredRig rig;
    ASSERT_TRUE(rig.LoginAnswered(Hex("'K'")));
    EXPECT_STREQ("201", rig.attr.version);
    EXPECT_EQ(0, rig.conn->status);
    EXPECT_EQ(1, rig.conn->use_ssl);
    EXPECT_NE(0u, rig.conn->sock);
    EXPECT_EQ(Hex(EXPONENT_ONE), Bytes(rig.conn->rsa_exponent, rig.conn->rsa_exponent + 32));
    EXPECT_EQ(Hex(SERVER_MODULUS), Bytes(rig.conn->rsa_modulus, rig.conn->rsa_modulus + 32));
    EXPECT_EQ("", ErrorText(&rig.conn->last_error));
}

TEST(LoginEnciphered, SendsTheBlocksUnderTheServersKey) {
    EncipheredRig rig;
    rig.ScriptKey(Hex(SERVER_EXPONENT) + Hex(SERVER_MODULUS));
    rig.peer.Expect(Hex(DEFAULT_MESSAGE));
    rig.peer.Send(FromServer(Hex("'K'")));
    EXPECT_TRUE(rig.Login());
}

TEST(LoginEnciphered, EnciphersWhatFollowsInBothDirections) {
    EncipheredRig rig;
    rig.ScriptUpToVerdict();
    rig.peer.Send(FromServer(Hex("'K'")));
    rig.peer.Expect(FromServer(Hex("'?' 00000001 'A' 00 00000000")));
    rig.peer.Send(FromServer(Hex("'U' 00000007 'K'"), 1));
    ASSERT_TRUE(rig.Login());
    EXPECT_EQ(1, rig.conn->recv_cipher->pos);
    EXPECT_EQ(0, rig.conn->send_cipher->pos);
    EXPECT_EQ(0, rig.conn->send_fill);
    ConnSendCommand(rig.conn, "A");
    uint8_t letter = 0;
    uint32_t rows = 0;
    EXPECT_TRUE(ConnReadChar(rig.conn, &letter));
    EXPECT_EQ('U', letter);
    EXPECT_TRUE(ConnReadInt32(rig.conn, &rows));
    EXPECT_EQ(7u, rows);
    EXPECT_TRUE(ConnReadChar(rig.conn, &letter));
    EXPECT_EQ('K', letter);
}

TEST(LoginEnciphered, TakesTheServersKeyCutAtAnyByte) {
    for (size_t cut = 1; cut < 64; cut++) {
        SCOPED_TRACE(cut);
        EncipheredRig rig;
        rig.peer.Accept();
        rig.peer.Expect(Hex("'~ssl~'"));
        rig.peer.SendInPieces(Hex(SERVER_EXPONENT) + Hex(SERVER_MODULUS), {cut});
        rig.peer.Expect(Hex(DEFAULT_MESSAGE));
        rig.peer.Send(FromServer(Hex("'K'")));
        EXPECT_TRUE(rig.Login());
    }
}

TEST(LoginEnciphered, EndedInsideTheServersKeyFailsWithoutAReason) {
    const Bytes key = Hex(EXPONENT_ONE) + Hex(SERVER_MODULUS);
    for (size_t available = 0; available < key.size(); available++) {
        SCOPED_TRACE(available);
        EncipheredRig rig;
        rig.ScriptKey(Bytes(key.begin(), key.begin() + (ptrdiff_t)available));
        rig.peer.Close();
        EXPECT_FALSE(rig.Login());
        EXPECT_FALSE(ErrInfoPresent(&rig.conn->last_error));
        EXPECT_NE(0u, rig.conn->sock);
        EXPECT_EQ(1, rig.conn->use_ssl);
        EXPECT_EQ(2, rig.conn->status);
        EXPECT_EQ(nullptr, rig.conn->recv_cipher);
        EXPECT_EQ(nullptr, rig.conn->send_cipher);
        EXPECT_STREQ("301", rig.attr.version);
    }
}

TEST(LoginEnciphered, EndedInsideTheServersKeyKeepsAnEarlierReason) {
    EncipheredRig rig;
    ErrInfoReplace(&rig.conn->last_error, "E1234", "[E1234]before");
    rig.ScriptKey(Hex("0102"));
    rig.peer.Close();
    EXPECT_FALSE(rig.Login());
    EXPECT_EQ("E1234: [E1234]before", ErrorText(&rig.conn->last_error));
    EXPECT_NE(0u, rig.conn->sock);
}

TEST(LoginEnciphered, EndedInsideTheServersKeyFailsTheReadsThatFollow) {
    EncipheredRig rig;
    rig.ScriptKey(Hex("0102"));
    rig.peer.Close();
    EXPECT_FALSE(rig.Login());
    // The cipher is on and there is no keystream: reads fail, and none reaches through NULL.
    uint8_t letter = 9;
    EXPECT_FALSE(ConnReadChar(rig.conn, &letter));
    EXPECT_EQ(9, letter);
}

TEST(LoginEnciphered, ReplacesEarlierKeystreamsAndDropsUnsentBytes) {
    EncipheredRig rig;
    StartKeystreams(rig.conn);
    PassOver(rig.conn, 5);
    ConnWrite(rig.conn, "abc", 3);
    ASSERT_TRUE(rig.LoginAnswered(Hex("'K'")));
    EXPECT_EQ(0, rig.conn->send_fill);
    EXPECT_EQ(1, rig.conn->recv_cipher->pos);
    EXPECT_EQ(0, rig.conn->send_cipher->pos);
}

TEST(LoginEnciphered, EndedInsideTheServersKeyHasFreedEarlierKeystreams) {
    EncipheredRig rig;
    StartKeystreams(rig.conn);
    ConnWrite(rig.conn, "abc", 3);
    rig.ScriptKey(Hex("0102"));
    rig.peer.Close();
    EXPECT_FALSE(rig.Login());
    EXPECT_EQ(nullptr, rig.conn->recv_cipher);
    EXPECT_EQ(nullptr, rig.conn->send_cipher);
    EXPECT_EQ(0, rig.conn->send_fill);
}

TEST(LoginEnciphered, TakesWhatADeadSocketLeftUnreadForTheServersKey) {
    EncipheredRig rig;
    rig.conn->pushback = 0x01;
    std::memset(rig.conn->recv_buf, 0, 31);
    rig.conn->recv_fill = 31;
    rig.ScriptKey(Hex(SERVER_MODULUS));
    rig.peer.Expect(Hex(SESSION_KEY) + Hex(DEFAULT_BLOCKS));
    rig.peer.Send(FromServer(Hex("'K'")));
    EXPECT_TRUE(rig.Login());
    EXPECT_EQ(0, rig.conn->pushback);
    EXPECT_EQ(Hex(EXPONENT_ONE), Bytes(rig.conn->rsa_exponent, rig.conn->rsa_exponent + 32));
}

TEST(LoginEnciphered, WithoutMemoryForTheKeystreamsDoesNotGoOnInTheClear) {
    for (const uint64_t failing : {1, 2}) {
        SCOPED_TRACE(failing);
        EncipheredRig rig;
        rig.ScriptUpToVerdict();
        rig.peer.ExpectEnd();
        MemFailAt(failing);
        EXPECT_FALSE(rig.Login());
        EXPECT_TRUE(MemFailed());
        MemFailAt(0);
        rig.ExpectClosed("E19884: can't connect to server");
        EXPECT_STREQ("301", rig.attr.version);
    }
}

TEST(LoginEncipheredVerdict, OfNWithAFifthByteKAcceptsAndSetsTheVersion301) {
    const Bytes answer = FromServer(Hex("'N' 00 FF 'E' 'x' 'K'"));
    for (size_t cut = 1; cut < answer.size(); cut++) {
        SCOPED_TRACE(cut);
        EncipheredRig rig;
        rig.ScriptUpToVerdict();
        rig.peer.SendInPieces(answer, {cut});
        EXPECT_TRUE(rig.Login());
        EXPECT_STREQ("301", rig.attr.version);
        EXPECT_EQ(0, rig.conn->status);
        EXPECT_EQ(6, rig.conn->recv_cipher->pos);
    }
}

TEST(LoginEncipheredVerdict, OfNWithAnotherFifthByteGoesOnToAnErrorText) {
    EncipheredRig rig;
    EXPECT_FALSE(rig.LoginAnswered(Hex("'N' 'KKKK' 'E' 0000000B '[E1234]nope'")));
    rig.ExpectClosed("E1234: [E1234]nope");
    EXPECT_STREQ("301", rig.attr.version);
}

TEST(LoginEncipheredVerdict, OfAnotherLetterRefusesWithTheServersText) {
    EncipheredRig rig;
    EXPECT_FALSE(rig.LoginAnswered(Hex("'E' 00000016 '[E12345]wrong password'")));
    rig.ExpectClosed("E12345: [E12345]wrong password");
    EXPECT_STREQ("301", rig.attr.version);
}

TEST(LoginEncipheredVerdict, InTheClearIsNone) {
    EncipheredRig rig;
    rig.ScriptUpToVerdict();
    rig.peer.Send(Hex("'K'"));
    rig.peer.Close();
    EXPECT_FALSE(rig.Login());
    rig.ExpectClosed("E19884: can't connect to server");
}

TEST(LoginEncipheredVerdict, ThatEndsAnywhereCannotConnect) {
    const Bytes whole = FromServer(Hex("'N' 'KKKK' 'E' 00000009 '[E19001]x'"));
    for (size_t available = 0; available < whole.size(); available++) {
        SCOPED_TRACE(available);
        EncipheredRig rig;
        rig.ScriptUpToVerdict();
        rig.peer.Send(Bytes(whole.begin(), whole.begin() + (ptrdiff_t)available));
        rig.peer.Close();
        EXPECT_FALSE(rig.Login());
        rig.ExpectClosed("E19884: can't connect to server");
    }
}

TEST(LoginEncipheredVerdict, ThatArrivesByteByByteIsTheSame) {
    EncipheredRig rig;
    rig.ScriptUpToVerdict();
    rig.peer.SendByteByByte(FromServer(Hex("'E' 00000009 '[E19001]x'")));
    EXPECT_FALSE(rig.Login());
    rig.ExpectClosed("E19001: [E19001]x");
}

TEST(LoginEncipheredVerdict, OfAResetConnectionCannotConnect) {
    EncipheredRig rig;
    rig.ScriptUpToVerdict();
    rig.peer.Reset();
    EXPECT_FALSE(rig.Login());
    rig.ExpectClosed("E19884: can't connect to server");
}

// Logs in with the seed 1000 against a server that lets a receive time out where `before` ends and
// then sends `behind`. Returns the reason of the refusal.
static std::string ReasonBehindATimeout(const Bytes &before, const Bytes &behind) {
    FixSeed(900, 100);
    ConnRig rig;
    PlayedSocket socket;
    socket.Arrive(Hex(EXPONENT_ONE) + Hex(SERVER_MODULUS));
    if (!before.empty()) {
        socket.Arrive(before);
    }
    // A receive of no bytes has failed.
    socket.Arrive({});
    socket.Arrive(behind);
    ConnAttr attr;
    ConnAttrInit(&attr);
    attr.use_ssl = 1;
    EXPECT_FALSE(TVCILogin(rig.conn, "SYSTEM", &attr));
    ClockSetForTest(-1);
    ClockSetRunMsForTest(-1);
    return ErrorText(&rig.conn->last_error);
}

TEST(LoginEncipheredVerdict, WhoseReadTimesOutMovesTheKeystreamAllTheSame) {
    const Bytes text = Hex("00000009 '[E19001]x'");
    EXPECT_EQ("E19001: [E19001]x", ReasonBehindATimeout({}, FromServer(text, 1)));
    const Bytes more = FromServer(Hex("'N' 'KK'"));
    for (size_t came = 1; came <= 3; came++) {
        SCOPED_TRACE(came);
        EXPECT_EQ("E19001: [E19001]x",
                  ReasonBehindATimeout(Bytes(more.begin(), more.begin() + (ptrdiff_t)came),
                                       FromServer(text, 6)));
    }
}

TEST(LoginEncipheredVerdict, WhoseReadFailsIsNoneAlsoWhereTheKeystreamBeginsWithK) {
    FixSeed(900, 100);
    ConnRig rig;
    PlayedSocket socket;
    socket.Arrive(Hex(EXPONENT_ONE) + Hex(SERVER_MODULUS));
    ConnAttr attr;
    ConnAttrInit(&attr);
    attr.use_ssl = 1;
    // With the seed 1000 the keystream of this password is 4B C8 E1 ...
    TextCopy(attr.password, sizeof(attr.password), "cn");
    EXPECT_FALSE(TVCILogin(rig.conn, "SYSTEM", &attr));
    EXPECT_EQ("E19884: can't connect to server", ErrorText(&rig.conn->last_error));
    EXPECT_STREQ("301", attr.version);
    EXPECT_EQ(2, rig.conn->status);
    ClockSetForTest(-1);
    ClockSetRunMsForTest(-1);
}

TEST(LoginPlain, BehindAnEncipheredOneKeepsTheKeystreamOfWhatIsWritten) {
    EncipheredRig rig;
    StartKeystreams(rig.conn);
    rig.attr.use_ssl = 0;
    rig.peer.Accept();
    rig.peer.ExpectAny(162);
    rig.peer.Send(Hex("'KZ'"));
    rig.peer.Expect(Enciphered(Hex("00000005"), 0));
    EXPECT_TRUE(rig.Login());
    EXPECT_EQ(0, rig.conn->use_ssl);
    uint8_t letter = 0;
    EXPECT_TRUE(ConnReadChar(rig.conn, &letter));
    EXPECT_EQ('Z', letter);
    ConnWriteInt32(rig.conn, 5);
    EXPECT_EQ(0, ConnFlush(rig.conn));
}

// What block 0 of the message holds after a login with these attributes.
static Bytes SessionKeyOf(const ConnAttr &attr) {
    ConnRig rig;
    PlayedSocket socket;
    socket.Arrive(Hex(EXPONENT_ONE) + Hex(SERVER_MODULUS));
    ConnAttr used = attr;
    EXPECT_FALSE(TVCILogin(rig.conn, "SYSTEM", &used));
    EXPECT_EQ(2u, socket.sent.size());
    return Bytes(socket.sent.at(1).begin(), socket.sent.at(1).begin() + 32);
}

static ConnAttr EncipheredAttr(const char *password) {
    ConnAttr attr;
    ConnAttrInit(&attr);
    attr.use_ssl = 1;
    TextCopy(attr.password, sizeof(attr.password), password);
    return attr;
}

TEST(LoginSessionKey, IsDrawnFromTheTimeAndMixedWithThePassword) {
    for (const KnownKey &known : known_keys) {
        SCOPED_TRACE(std::to_string(known.seconds) + " " + known.password);
        FixSeed(known.seconds, known.run_ms);
        EXPECT_EQ(Hex(known.key), SessionKeyOf(EncipheredAttr(known.password)));
    }
    ClockSetForTest(-1);
    ClockSetRunMsForTest(-1);
}

TEST(LoginSessionKey, OfAPasswordOfOneByteHasItInEveryByte) {
    FixSeed(1000, 0);
    const Bytes without = SessionKeyOf(EncipheredAttr(""));
    FixSeed(1000, 0);
    EXPECT_EQ(Xor(without, Repeat(Hex("'x'"), 32)), SessionKeyOf(EncipheredAttr("x")));
    ClockSetForTest(-1);
    ClockSetRunMsForTest(-1);
}

TEST(LoginSessionKey, OfAnEmptyPasswordTakesInWhatStandsBehindItsTerminator) {
    FixSeed(1000, 0);
    ConnAttr attr = EncipheredAttr("");
    attr.password[1] = 'A';
    attr.password[2] = 'B';
    EXPECT_EQ(Hex("6066F2131D122E69506A48F7BC7C9C1E6F8617A30F01E6C24A1B67ADB9DA7C0D"),
              SessionKeyOf(attr));
    ClockSetForTest(-1);
    ClockSetRunMsForTest(-1);
}

TEST(LoginSessionKey, HasItsTopBitCleared) {
    // The password's byte of all ones would set it.
    FixSeed(1000, 0);
    const Bytes key = SessionKeyOf(EncipheredAttr("\xFF"));
    EXPECT_EQ(Hex("9FD84FECA3AFD1D7ED95F64A43C221E1D13BE81DB2FE587FB5A5DA5207678333"), key);
    ClockSetForTest(-1);
    ClockSetRunMsForTest(-1);
}

TEST(LoginSessionKey, OfTheNextLoginGoesOnInTheSequence) {
    FixSeed(1000, 0);
    const ConnAttr attr = EncipheredAttr("SYSDBA");
    EXPECT_EQ(Hex(SESSION_KEY), SessionKeyOf(attr));
    EXPECT_EQ(Hex("95D6B083D3A29B282309FA67E6EF091FAE40A559435C4A4DAF1EAD67A212A370"),
              SessionKeyOf(attr));
    ClockSetForTest(-1);
    ClockSetRunMsForTest(-1);
}
