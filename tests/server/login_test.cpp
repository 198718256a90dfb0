// The plain login: its text, its verdicts and its refusals.
#include "server/login.h"

#include <gtest/gtest.h>

#include "server/raw_client.h"

namespace tavud_test {
namespace {

TEST(LoginVerdict, Protocol301AnswersNFourBytesAndK) {
    const RunningServer server;
    RawClient client(server.Port());
    client.Send(
        "login database = SYSTEM user='SYSDBA' password='SYSDBA' encryptor = '' char_set = 'GBK' "
        "time_zone = 'GTM+08:00' iso_level = '2' auto_commit = 'on' version = '301'");
    client.Expect(Wire("4e 0000012d 4b"));
    client.Ask("COMMIT;", "K");
}

TEST(LoginVerdict, Protocol201AnswersKAlone) {
    const RunningServer server({"--protocol", "201"});
    RawClient client(server.Port());
    client.Send(LoginText(" auto_commit = 'off'"));
    client.Expect("K");
    client.Ask("COMMIT;", "K");
}

TEST(LoginVerdict, TheTextMayArriveByteByByte) {
    const RunningServer server;
    RawClient client(server.Port());
    for (const char c : LoginText(" auto_commit = 'off' return_rowid=true")) {
        client.Send(std::string(1, c));
    }
    client.Expect(Wire("4e 0000012d 4b"));
}

TEST(LoginVerdict, ARequestRightBehindTheTextIsAnswered) {
    const RunningServer server;
    RawClient client(server.Port());
    client.Send(LoginText(" auto_commit = 'off'") + Frame("COMMIT;"));
    client.Expect(Wire("4e 0000012d 4b 4b"));
}

TEST(LoginVerdict, UserAndDatabaseAreTakenInAnyCaseThePasswordIsNot) {
    const RunningServer server({"--user", "Ann:Secret", "--database", "Stock"});
    const std::string middle =
        "' encryptor = '' char_set = 'UTF8' time_zone = '' iso_level = '' auto_commit = 'off' "
        "version = '201'";
    RawClient good(server.Port());
    good.Send("login database = STOCK user='ANN' password='Secret" + middle);
    good.Expect(Wire("4e 0000012d 4b"));
    RawClient bad(server.Port());
    bad.Send("login database = STOCK user='ANN' password='SECRET" + middle);
    bad.Expect(Wire("45 00000026 '[E18004]user name or password is wrong'"));
    bad.ExpectEnd();
}

TEST(LoginRefusal, WrongPasswordGivesE18004AndTheEnd) {
    const RunningServer server;
    RawClient client(server.Port());
    client.Send(
        "login database = SYSTEM user='SYSDBA' password='wrong' encryptor = '' char_set = 'GBK' "
        "time_zone = 'GTM+08:00' iso_level = '2' auto_commit = 'off' version = '301'");
    client.Expect(Wire("45 00000026 '[E18004]user name or password is wrong'"));
    client.ExpectEnd();
}

TEST(LoginRefusal, UnknownUserGivesTheSameRefusal) {
    const RunningServer server({"--user", "ANN:x"});
    RawClient client(server.Port());
    client.Send(LoginText(" auto_commit = 'off'"));
    client.Expect(Wire("45 00000026 '[E18004]user name or password is wrong'"));
    client.ExpectEnd();
}

TEST(LoginRefusal, AnotherDatabaseGivesE18003) {
    const RunningServer server;
    RawClient client(server.Port());
    client.Send(
        "login database = OTHER user='SYSDBA' password='SYSDBA' encryptor = '' char_set = 'GBK' "
        "time_zone = '' iso_level = '2' auto_commit = 'off' version = '301'");
    client.Expect(Wire("45 00000025 '[E18003]database OTHER does not exist'"));
    client.ExpectEnd();
}

TEST(LoginRefusal, ItemsOutOfOrderGiveE18001) {
    const RunningServer server;
    RawClient client(server.Port());
    client.Send(LoginText(" return_rowid=true auto_commit = 'off'"));
    client.Expect(Wire("45 0000001f '[E18001]login text is malformed'"));
    client.ExpectEnd();
}

TEST(LoginRefusal, TheEncipheredFormGivesE18010) {
    const RunningServer server;
    RawClient client(server.Port());
    client.Send("~ssl~");
    client.Expect(Wire("45 0000002e '[E18010]this server offers no enciphered login'"));
    client.ExpectEnd();
}

TEST(LoginRefusal, WhatIsNoLoginIsClosedWithoutAWord) {
    const RunningServer server;
    RawClient client(server.Port());
    client.Send("GET / HTTP/1.1");
    client.ExpectEnd();
}

TEST(LoginRefusal, ATextOfMoreThan511BytesIsClosedWithoutAWord) {
    const RunningServer server;
    RawClient client(server.Port());
    client.Send("login database = " + std::string(495, 'x'));
    client.ExpectEnd();
}

TEST(LoginItems, EveryOptionalItemOff) {
    const auto login = tavud::ParseLogin(
        "login database = SYSTEM user='SYSDBA' password='SYSDBA' encryptor = '' char_set = 'GBK' "
        "time_zone = 'GTM+08:00' iso_level = '2' auto_commit = 'on' version = '301'");
    ASSERT_TRUE(login.has_value());
    EXPECT_EQ("SYSTEM", login->database);
    EXPECT_EQ("SYSDBA", login->user);
    EXPECT_EQ("SYSDBA", login->password);
    EXPECT_EQ("", login->encryptor);
    EXPECT_EQ("GBK", login->char_set);
    EXPECT_EQ("GTM+08:00", login->time_zone);
    EXPECT_EQ("2", login->iso_level);
    EXPECT_EQ(0, login->lock_timeout_s);
    EXPECT_TRUE(login->auto_commit);
    EXPECT_FALSE(login->return_cursor_id);
    EXPECT_FALSE(login->lob_descriptor);
    EXPECT_FALSE(login->return_rowid);
    EXPECT_FALSE(login->return_schema);
    EXPECT_EQ("301", login->version);
}

TEST(LoginItems, EveryOptionalItemOn) {
    const auto login = tavud::ParseLogin(
        "login database = D user='u' password='p' encryptor = 'e' char_set = 'UTF8' time_zone = '' "
        "iso_level = 'READ COMMITED' lock_timeout = 17 auto_commit = 'off' "
        "return_cursor_id  = 'on' lob_ret=descriptor return_rowid=true return_schema=on "
        "version = '201'");
    ASSERT_TRUE(login.has_value());
    EXPECT_EQ("e", login->encryptor);
    EXPECT_EQ("", login->time_zone);
    EXPECT_EQ("READ COMMITED", login->iso_level);
    EXPECT_EQ(17, login->lock_timeout_s);
    EXPECT_FALSE(login->auto_commit);
    EXPECT_TRUE(login->return_cursor_id);
    EXPECT_TRUE(login->lob_descriptor);
    EXPECT_TRUE(login->return_rowid);
    EXPECT_TRUE(login->return_schema);
    EXPECT_EQ("201", login->version);
}

TEST(LoginItems, AQuoteInsideAValueStays) {
    const auto login = tavud::ParseLogin(
        "login database = D user='o'hara' password='it's' encryptor = '' char_set = '' "
        "time_zone = '' iso_level = '' auto_commit = 'on' version = '301'");
    ASSERT_TRUE(login.has_value());
    EXPECT_EQ("o'hara", login->user);
    EXPECT_EQ("it's", login->password);
}

TEST(LoginItems, ALockTimeoutThatIsNoPositiveNumberIsMalformed) {
    const std::string head =
        "login database = D user='u' password='p' encryptor = '' char_set = '' time_zone = '' "
        "iso_level = ''";
    const std::string tail = " auto_commit = 'on' version = '301'";
    EXPECT_TRUE(tavud::ParseLogin(head + " lock_timeout = 1" + tail).has_value());
    EXPECT_FALSE(tavud::ParseLogin(head + " lock_timeout = 0" + tail).has_value());
    EXPECT_FALSE(tavud::ParseLogin(head + " lock_timeout = soon" + tail).has_value());
    EXPECT_FALSE(tavud::ParseLogin(head + " lock_timeout = 99999999999" + tail).has_value());
}

}  // namespace
}  // namespace tavud_test
