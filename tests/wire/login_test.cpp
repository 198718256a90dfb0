// The plain login: the text that goes out, and what each verdict leads to.
#include "wire/login.h"

#include <gtest/gtest.h>

#include "diag/error.h"
#include "platform/memory.h"
#include "platform/socket.h"
#include "platform/text.h"
#include "support/scripted_peer.h"
#include "wire/cipher_rig.h"
#include "wire/connection.h"

static const char *const DEFAULT_TEXT =
    "login database = SYSTEM user='SYSDBA' password='SYSDBA' encryptor = '' char_set = 'GBK' "
    "time_zone = 'GTM+08:00' iso_level = '2' auto_commit = 'on' version = '301'";
// The same behind an earlier 'K'.
static const char *const VERSION_201_TEXT =
    "login database = SYSTEM user='SYSDBA' password='SYSDBA' encryptor = '' char_set = 'GBK' "
    "time_zone = 'GTM+08:00' iso_level = '2' auto_commit = 'on' version = '201'";

// A connection to a peer that takes the login text and answers.
struct LoginRig : ConnRig {
    LoginRig() {
        ConnAttrInit(&attr);
        TextCopy(conn->database, sizeof(conn->database), "SYSTEM");
        conn->ip = NetAddressFromText("127.0.0.1");
        conn->port = peer.port();
    }

    ~LoginRig() {
        EXPECT_TRUE(peer.Finish()) << peer.Failure();
    }

    // Scripts the exchange up to the verdict.
    void Expect(const std::string &text) {
        peer.Accept();
        peer.Expect(Ascii(text));
    }

    bool Login() {
        peer.Start();
        EXPECT_TRUE(ConnOpenSocket(conn));
        return TVCILogin(conn, conn->database, &attr);
    }

    // Logs in with an answer that follows the text of the default attributes.
    bool LoginAnswered(const Bytes &answer, const char *text = DEFAULT_TEXT) {
        Expect(text);
        peer.Send(answer);
        peer.ExpectEnd();
        return Login();
    }

    ScriptedPeer peer;
    ConnAttr attr;
};

static void ExpectLoginText(const ConnAttr &attr, const std::string &text) {
    LoginRig rig;
    rig.attr = attr;
    rig.Expect(text);
    rig.peer.Send(Hex("'K'"));
    EXPECT_TRUE(rig.Login());
}

static ConnAttr DefaultAttr() {
    ConnAttr attr;
    ConnAttrInit(&attr);
    return attr;
}

TEST(LoginText, OfTheDefaultsHasNoTerminator) {
    ExpectLoginText(DefaultAttr(), DEFAULT_TEXT);
}

TEST(LoginText, WithAutoCommitOffSaysSo) {
    ConnAttr attr = DefaultAttr();
    attr.auto_commit = 0;
    ExpectLoginText(attr,
                    "login database = SYSTEM user='SYSDBA' password='SYSDBA' encryptor = '' "
                    "char_set = 'GBK' time_zone = 'GTM+08:00' iso_level = '2' auto_commit = 'off' "
                    "version = '301'");
}

TEST(LoginText, CarriesALockTimeoutAboveZero) {
    ConnAttr attr = DefaultAttr();
    attr.lock_timeout = 1;
    ExpectLoginText(attr,
                    "login database = SYSTEM user='SYSDBA' password='SYSDBA' encryptor = '' "
                    "char_set = 'GBK' time_zone = 'GTM+08:00' iso_level = '2' lock_timeout = 1 "
                    "auto_commit = 'on' version = '301'");
}

TEST(LoginText, CarriesTheLongestLockTimeout) {
    ConnAttr attr = DefaultAttr();
    attr.lock_timeout = INT32_MAX;
    ExpectLoginText(attr,
                    "login database = SYSTEM user='SYSDBA' password='SYSDBA' encryptor = '' "
                    "char_set = 'GBK' time_zone = 'GTM+08:00' iso_level = '2' "
                    "lock_timeout = 2147483647 auto_commit = 'on' version = '301'");
}

TEST(LoginText, LeavesOutALockTimeoutOfZeroOrBelow) {
    for (const int32_t lock_timeout : {0, -1, INT32_MIN}) {
        ConnAttr attr = DefaultAttr();
        attr.lock_timeout = lock_timeout;
        ExpectLoginText(attr, DEFAULT_TEXT);
    }
}

TEST(LoginText, CarriesReturnCursorIdWithTwoBlanksBeforeTheSign) {
    ConnAttr attr = DefaultAttr();
    attr.return_cursor_id = 1;
    ExpectLoginText(attr,
                    "login database = SYSTEM user='SYSDBA' password='SYSDBA' encryptor = '' "
                    "char_set = 'GBK' time_zone = 'GTM+08:00' iso_level = '2' auto_commit = 'on' "
                    "return_cursor_id  = 'on' version = '301'");
}

TEST(LoginText, CarriesLobRet) {
    ConnAttr attr = DefaultAttr();
    attr.lob_ret = 1;
    ExpectLoginText(attr,
                    "login database = SYSTEM user='SYSDBA' password='SYSDBA' encryptor = '' "
                    "char_set = 'GBK' time_zone = 'GTM+08:00' iso_level = '2' auto_commit = 'on' "
                    "lob_ret=descriptor version = '301'");
}

TEST(LoginText, CarriesReturnRowid) {
    ConnAttr attr = DefaultAttr();
    attr.return_rowid = 1;
    ExpectLoginText(attr,
                    "login database = SYSTEM user='SYSDBA' password='SYSDBA' encryptor = '' "
                    "char_set = 'GBK' time_zone = 'GTM+08:00' iso_level = '2' auto_commit = 'on' "
                    "return_rowid=true version = '301'");
}

TEST(LoginText, CarriesReturnSchema) {
    ConnAttr attr = DefaultAttr();
    attr.return_schema = 1;
    ExpectLoginText(attr,
                    "login database = SYSTEM user='SYSDBA' password='SYSDBA' encryptor = '' "
                    "char_set = 'GBK' time_zone = 'GTM+08:00' iso_level = '2' auto_commit = 'on' "
                    "return_schema=on version = '301'");
}

TEST(LoginText, CarriesEverythingInItsOrder) {
    ConnAttr attr = {};
    TextCopy(attr.user, sizeof(attr.user), "SCOTT");
    TextCopy(attr.password, sizeof(attr.password), "TIGER");
    TextCopy(attr.encryptor, sizeof(attr.encryptor), "enc1");
    TextCopy(attr.char_set, sizeof(attr.char_set), "UTF8");
    TextCopy(attr.time_zone, sizeof(attr.time_zone), "GMT+01:00");
    TextCopy(attr.iso_level, sizeof(attr.iso_level), "4");
    TextCopy(attr.version, sizeof(attr.version), "201");
    attr.lock_timeout = 30;
    attr.auto_commit = 1;
    attr.return_cursor_id = 1;
    attr.lob_ret = 1;
    attr.return_rowid = 1;
    attr.return_schema = 1;
    ExpectLoginText(attr,
                    "login database = SYSTEM user='SCOTT' password='TIGER' encryptor = 'enc1' "
                    "char_set = 'UTF8' time_zone = 'GMT+01:00' iso_level = '4' lock_timeout = 30 "
                    "auto_commit = 'on' return_cursor_id  = 'on' lob_ret=descriptor "
                    "return_rowid=true return_schema=on version = '201'");
}

TEST(LoginText, KeepsTheKeywordsOfEmptyValues) {
    ExpectLoginText({},
                    "login database = SYSTEM user='' password='' encryptor = '' char_set = '' "
                    "time_zone = '' iso_level = '' auto_commit = 'off' version = ''");
}

TEST(LoginText, EscapesNothing) {
    ConnAttr attr = DefaultAttr();
    TextCopy(attr.password, sizeof(attr.password), "a' b\"\\");
    ExpectLoginText(attr,
                    "login database = SYSTEM user='SYSDBA' password='a' b\"\\' encryptor = '' "
                    "char_set = 'GBK' time_zone = 'GTM+08:00' iso_level = '2' auto_commit = 'on' "
                    "version = '301'");
}

TEST(LoginText, CarriesAVersionOf64Bytes) {
    ConnAttr attr = DefaultAttr();
    TextCopy(attr.version, sizeof(attr.version), std::string(64, 'v').c_str());
    ExpectLoginText(attr,
                    "login database = SYSTEM user='SYSDBA' password='SYSDBA' encryptor = '' "
                    "char_set = 'GBK' time_zone = 'GTM+08:00' iso_level = '2' auto_commit = 'on' "
                    "version = 'vvvvvvvvvvvvvvvvvvvvvvvvvvvvvvvvvvvvvvvvvvvvvvvvvvvvvvvvvvvvvvvv'");
}

// With values that fill their fields the text is 511 bytes when the encryptor has this length.
constexpr size_t FITTING_ENCRYPTOR_BYTES = 37;

static ConnAttr LongAttr(size_t encryptor_bytes) {
    ConnAttr attr = DefaultAttr();
    TextCopy(attr.user, sizeof(attr.user), std::string(63, 'u').c_str());
    TextCopy(attr.password, sizeof(attr.password), std::string(63, 'p').c_str());
    TextCopy(attr.time_zone, sizeof(attr.time_zone), std::string(63, 't').c_str());
    TextCopy(attr.encryptor, sizeof(attr.encryptor), std::string(encryptor_bytes, 'e').c_str());
    return attr;
}

static void UseLongDatabase(Connection *conn) {
    TextCopy(conn->database, sizeof(conn->database), std::string(127, 'd').c_str());
}

TEST(LoginText, Of511BytesIsSent) {
    const std::string text = "login database = " + std::string(127, 'd') + " user='" +
                             std::string(63, 'u') + "' password='" + std::string(63, 'p') +
                             "' encryptor = '" + std::string(FITTING_ENCRYPTOR_BYTES, 'e') +
                             "' char_set = 'GBK' time_zone = '" + std::string(63, 't') +
                             "' iso_level = '2' lock_timeout = 1000000 auto_commit = 'on' "
                             "version = '301'";
    ASSERT_EQ(511u, text.size());
    LoginRig rig;
    UseLongDatabase(rig.conn);
    rig.attr = LongAttr(FITTING_ENCRYPTOR_BYTES);
    rig.attr.lock_timeout = 1000000;
    rig.Expect(text);
    rig.peer.Send(Hex("'K'"));
    EXPECT_TRUE(rig.Login());
}

TEST(LoginTextDeathTest, Of512BytesEndsTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        {
            ConnRig rig;
            UseLongDatabase(rig.conn);
            ConnAttr attr = LongAttr(FITTING_ENCRYPTOR_BYTES + 1);
            attr.lock_timeout = 1000000;
            TVCILogin(rig.conn, rig.conn->database, &attr);
        },
        "");
}

TEST(LoginText, DoesNotPassThroughTheSendBuffer) {
    LoginRig rig;
    ConnWrite(rig.conn, "abc", 3);
    rig.Expect(DEFAULT_TEXT);
    rig.peer.Send(Hex("'K'"));
    EXPECT_TRUE(rig.Login());
    EXPECT_EQ(Hex("'abc'"), Unsent(rig.conn));
}

TEST(Login, RefusesNullPointersWithoutAnError) {
    ConnRig rig;
    ConnAttr attr = DefaultAttr();
    EXPECT_FALSE(TVCILogin(nullptr, "SYSTEM", &attr));
    EXPECT_FALSE(TVCILogin(rig.conn, nullptr, &attr));
    EXPECT_FALSE(TVCILogin(rig.conn, "SYSTEM", nullptr));
    EXPECT_EQ("", ErrorText(&rig.conn->last_error));
}

TEST(LoginVerdict, OfKAcceptsAndSetsTheVersion201) {
    LoginRig rig;
    rig.Expect(DEFAULT_TEXT);
    rig.peer.Send(Hex("'K'"));
    EXPECT_TRUE(rig.Login());
    EXPECT_STREQ("201", rig.attr.version);
    EXPECT_EQ(0, rig.conn->status);
    EXPECT_EQ(0, rig.conn->use_ssl);
    EXPECT_NE(0u, rig.conn->sock);
    EXPECT_EQ("", ErrorText(&rig.conn->last_error));
}

TEST(LoginVerdict, OfKLeavesTheReasonOfAnEarlierFailure) {
    LoginRig rig;
    ErrInfoReplace(&rig.conn->last_error, "E1234", "[E1234]before");
    rig.Expect(DEFAULT_TEXT);
    rig.peer.Send(Hex("'K'"));
    EXPECT_TRUE(rig.Login());
    EXPECT_EQ("E1234: [E1234]before", ErrorText(&rig.conn->last_error));
}

TEST(LoginVerdict, OfKLeavesWhatFollowsToTheNextReader) {
    LoginRig rig;
    rig.Expect(DEFAULT_TEXT);
    rig.peer.Send(Hex("'KZ'"));
    EXPECT_TRUE(rig.Login());
    uint8_t letter = 0;
    EXPECT_TRUE(ConnReadChar(rig.conn, &letter));
    EXPECT_EQ('Z', letter);
}

TEST(LoginVerdict, OfNWithAFifthByteKAcceptsAndSetsTheVersion301) {
    const Bytes answer = Hex("'N' 00 FF 'E' 'x' 'K'");
    for (size_t cut = 1; cut < answer.size(); cut++) {
        LoginRig rig;
        TextCopy(rig.attr.version, sizeof(rig.attr.version), "201");
        rig.Expect(VERSION_201_TEXT);
        rig.peer.SendInPieces(answer, {cut});
        EXPECT_TRUE(rig.Login()) << "cut before byte " << cut;
        EXPECT_STREQ("301", rig.attr.version);
        EXPECT_EQ(0, rig.conn->status);
    }
}

TEST(LoginVerdict, OfNWithAnotherFifthByteGoesOnToAnErrorText) {
    LoginRig rig;
    TextCopy(rig.attr.version, sizeof(rig.attr.version), "201");
    EXPECT_FALSE(rig.LoginAnswered(Hex("'N' 'KKKK' 'E' 0000000B '[E1234]nope'"), VERSION_201_TEXT));
    EXPECT_EQ("E1234: [E1234]nope", ErrorText(&rig.conn->last_error));
    EXPECT_STREQ("301", rig.attr.version);
    EXPECT_EQ(0u, rig.conn->sock);
}

TEST(LoginVerdict, OfNCutBeforeTheFifthByteCannotConnect) {
    for (size_t available = 0; available < 5; available++) {
        LoginRig rig;
        // The letter alone sets the version, before the bytes behind it are read.
        TextCopy(rig.attr.version, sizeof(rig.attr.version), "201");
        rig.Expect(VERSION_201_TEXT);
        rig.peer.Send(Hex("'N'") + Repeat(Hex("'K'"), available));
        rig.peer.Close();
        EXPECT_FALSE(rig.Login()) << available << " bytes behind the letter";
        EXPECT_EQ("E19884: can't connect to server", ErrorText(&rig.conn->last_error));
        EXPECT_STREQ("301", rig.attr.version);
        EXPECT_EQ(0u, rig.conn->sock);
        EXPECT_EQ(2, rig.conn->status);
    }
}

TEST(LoginVerdict, OfAnotherLetterRefusesWithTheServersText) {
    LoginRig rig;
    EXPECT_FALSE(rig.LoginAnswered(Hex("'E' 00000016 '[E12345]wrong password'")));
    EXPECT_EQ("E12345: [E12345]wrong password", ErrorText(&rig.conn->last_error));
    EXPECT_EQ(0u, rig.conn->sock);
    EXPECT_EQ(2, rig.conn->status);
    EXPECT_STREQ("301", rig.attr.version);
}

TEST(LoginVerdict, IsRefusedByEveryLetterButTwo) {
    for (const char *letter : {"00", "'k'", "'n'", "'O'", "'F'", "FF"}) {
        LoginRig rig;
        EXPECT_FALSE(rig.LoginAnswered(Hex(letter) + Hex("00000009 '[E19001]x'")));
        EXPECT_EQ("E19001: [E19001]x", ErrorText(&rig.conn->last_error));
    }
}

TEST(LoginError, GivesACodeOfFiveCharactersWithoutBrackets) {
    LoginRig rig;
    EXPECT_FALSE(rig.LoginAnswered(Hex("'E' 00000014 '[E1234]no such thing'")));
    EXPECT_EQ("E1234: [E1234]no such thing", ErrorText(&rig.conn->last_error));
}

TEST(LoginError, GivesACodeOfSixCharactersWithoutBrackets) {
    LoginRig rig;
    EXPECT_FALSE(rig.LoginAnswered(Hex("'E' 00000015 '[E12345]no such thing'")));
    EXPECT_EQ("E12345: [E12345]no such thing", ErrorText(&rig.conn->last_error));
}

TEST(LoginError, OfAShortTextTakesTheCodeThatIsThere) {
    LoginRig rig;
    EXPECT_FALSE(rig.LoginAnswered(Hex("'E' 00000002 'no'")));
    EXPECT_EQ("o: no", ErrorText(&rig.conn->last_error));
}

TEST(LoginError, OfAnEmptyTextHasNoCode) {
    LoginRig rig;
    EXPECT_FALSE(rig.LoginAnswered(Hex("'E' 00000000")));
    EXPECT_TRUE(ErrInfoPresent(&rig.conn->last_error));
    EXPECT_EQ(": ", ErrorText(&rig.conn->last_error));
}

TEST(LoginError, OfAStreamThatEndsAnywhereCannotConnect) {
    const Bytes whole = Hex("'E' 00000009 '[E19001]x'");
    for (size_t available = 0; available < whole.size(); available++) {
        LoginRig rig;
        rig.Expect(DEFAULT_TEXT);
        rig.peer.Send(Bytes(whole.begin(), whole.begin() + (ptrdiff_t)available));
        rig.peer.Close();
        EXPECT_FALSE(rig.Login()) << available << " bytes";
        EXPECT_EQ("E19884: can't connect to server", ErrorText(&rig.conn->last_error));
        EXPECT_EQ(0u, rig.conn->sock);
    }
}

TEST(LoginError, OfAStreamThatArrivesByteByByteIsTheSame) {
    LoginRig rig;
    rig.Expect(DEFAULT_TEXT);
    rig.peer.SendByteByByte(Hex("'E' 00000009 '[E19001]x'"));
    rig.peer.ExpectEnd();
    EXPECT_FALSE(rig.Login());
    EXPECT_EQ("E19001: [E19001]x", ErrorText(&rig.conn->last_error));
}

TEST(LoginError, OfAResetConnectionCannotConnect) {
    LoginRig rig;
    rig.Expect(DEFAULT_TEXT);
    rig.peer.Reset();
    EXPECT_FALSE(rig.Login());
    EXPECT_EQ("E19884: can't connect to server", ErrorText(&rig.conn->last_error));
}

TEST(LoginError, OfANegativeLengthCannotConnect) {
    LoginRig rig;
    EXPECT_FALSE(rig.LoginAnswered(Hex("'E' FFFFFFFF 'text'")));
    EXPECT_EQ("E19884: can't connect to server", ErrorText(&rig.conn->last_error));
}

TEST(LoginError, OfATextThatCannotBeHeldCannotConnect) {
    LoginRig rig;
    MemFailAt(1);
    EXPECT_FALSE(rig.LoginAnswered(Hex("'E' 00000009 '[E19001]x'")));
    EXPECT_TRUE(MemFailed());
    MemFailAt(0);
    EXPECT_EQ("E19884: can't connect to server", ErrorText(&rig.conn->last_error));
}

TEST(LoginError, OverwritesTheRecordOfAnEarlierFailure) {
    LoginRig rig;
    ErrInfoReplace(&rig.conn->last_error, "E19884", "can't connect to server");
    const ErrInfo *record = rig.conn->last_error;
    EXPECT_FALSE(rig.LoginAnswered(Hex("'E' 00000008 '[E1234]x'")));
    EXPECT_EQ(record, rig.conn->last_error);
    EXPECT_EQ("E1234: [E1234]x", ErrorText(&rig.conn->last_error));
}

TEST(LoginError, OnAClosedSocketCannotConnect) {
    ConnRig rig;
    ConnAttr attr = DefaultAttr();
    EXPECT_FALSE(TVCILogin(rig.conn, "SYSTEM", &attr));
    EXPECT_EQ("E19884: can't connect to server", ErrorText(&rig.conn->last_error));
}

TEST(LoginError, FreesTheKeystreams) {
    LoginRig rig;
    StartKeystreams(rig.conn);
    EXPECT_FALSE(rig.LoginAnswered(Hex("'E' 00000008 '[E1234]x'")));
    EXPECT_EQ(nullptr, rig.conn->recv_cipher);
    EXPECT_EQ(nullptr, rig.conn->send_cipher);
}

TEST(LoginVerdict, OfKLeavesTheKeystreamsOfAnEarlierLogin) {
    LoginRig rig;
    StartKeystreams(rig.conn);
    rig.Expect(DEFAULT_TEXT);
    rig.peer.Send(Hex("'K'"));
    EXPECT_TRUE(rig.Login());
    EXPECT_NE(nullptr, rig.conn->recv_cipher);
    EXPECT_NE(nullptr, rig.conn->send_cipher);
}

TEST(LoginVerdict, IsWhatADeadSocketLeftUnread) {
    LoginRig rig;
    rig.conn->recv_buf[0] = 'K';
    rig.conn->recv_fill = 1;
    rig.Expect(DEFAULT_TEXT);
    rig.peer.Send(Hex("'E'"));
    EXPECT_TRUE(rig.Login());
    uint8_t letter = 0;
    EXPECT_TRUE(ConnReadChar(rig.conn, &letter));
    EXPECT_EQ('E', letter);
}

TEST(LoginPlain, AfterARefusedEncipheredOneReadsInTheClear) {
    LoginRig rig;
    rig.conn->use_ssl = 1;
    rig.Expect(DEFAULT_TEXT);
    rig.peer.Send(Hex("'K'"));
    EXPECT_TRUE(rig.Login());
    EXPECT_EQ(0, rig.conn->use_ssl);
}
