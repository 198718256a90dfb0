// The codes of refused statements, and the frames that end a connection.
#include <gtest/gtest.h>

#include "server/raw_client.h"

namespace tavud_test {
namespace {

class Refusal : public ::testing::Test {
protected:
    Refusal() : client(server.Port()) {
        client.LogIn(" auto_commit = 'on' return_rowid=true");
        client.Ask(
            "create table T (a integer primary key, b varchar(5) not null, "
            "c integer check (c > 0))",
            DONE);
        client.Ask("insert into T values (1, 'x', 1)", Inserted("1"));
    }

    RunningServer server;
    RawClient client;
};

TEST_F(Refusal, E5001NoSuchTable) {
    EXPECT_EQ("[E5001]no such table: U", client.AskRefused("select * from U"));
    EXPECT_EQ("[E5001]no such table: U", client.AskRefused("drop table U"));
}

TEST_F(Refusal, E5002NoSuchColumn) {
    EXPECT_EQ("[E5002]no such column: z", client.AskRefused("select z from T"));
    EXPECT_EQ("[E5002]table T has no column named z",
              client.AskRefused("insert into T (z) values (1)"));
}

TEST_F(Refusal, E5003AlreadyThere) {
    EXPECT_EQ("[E5003]table T already exists", client.AskRefused("create table T (a integer)"));
    EXPECT_EQ("[E5003]duplicate column name: b",
              client.AskRefused("alter table T add column b integer"));
}

TEST_F(Refusal, E5004NoSuchFunction) {
    EXPECT_EQ("[E5004]no such function: unheard", client.AskRefused("select unheard(1)"));
}

TEST_F(Refusal, E5011TablesWithoutRowids) {
    EXPECT_EQ("[E5011]tables WITHOUT ROWID or STRICT are not kept",
              client.AskRefused("create table W (a integer primary key) without rowid"));
}

TEST_F(Refusal, E13001Unique) {
    EXPECT_EQ("[E13001]UNIQUE constraint failed: T.a",
              client.AskRefused("insert into T values (1, 'y', 1)"));
    client.Ask("create unique index I on T (b)", DONE);
    EXPECT_EQ("[E13001]UNIQUE constraint failed: T.b",
              client.AskRefused("insert into T values (2, 'x', 1)"));
}

TEST_F(Refusal, E13002NotNull) {
    EXPECT_EQ("[E13002]NOT NULL constraint failed: T.b",
              client.AskRefused("insert into T values (2, null, 1)"));
}

TEST_F(Refusal, E13003Check) {
    EXPECT_EQ("[E13003]CHECK constraint failed: c > 0",
              client.AskRefused("insert into T values (2, 'x', 0)"));
}

TEST_F(Refusal, E13004ForeignKey) {
    client.Ask("create table C (a integer references T (a))", DONE);
    EXPECT_EQ("[E13004]FOREIGN KEY constraint failed",
              client.AskRefused("insert into C values (9)"));
}

TEST_F(Refusal, E19001Syntax) {
    EXPECT_EQ("[E19001]near \"selec\": syntax error", client.AskRefused("selec 1"));
    EXPECT_EQ("[E19001]incomplete input", client.AskRefused("select"));
    EXPECT_EQ("[E19001]the text holds no statement", client.AskRefused(" ; -- nothing\n;"));
    EXPECT_EQ("[E19001]PREPARE takes a name, AS and a statement", client.AskRefused("PREPARE ST0"));
    EXPECT_EQ("[E19001]TAVUD takes MESSAGE, WARNING, ERROR, DATA or BOOKMARK and a text",
              client.AskRefused("tavud sing 'x'"));
}

TEST_F(Refusal, E19002NotAllowed) {
    EXPECT_EQ("[E19002]not authorized", client.AskRefused("attach 'x.db' as x"));
    EXPECT_EQ("[E19002]not authorized", client.AskRefused("pragma journal_mode = delete"));
}

TEST_F(Refusal, E10049ParameterCount) {
    EXPECT_EQ("[E10049]statement has more parameters than the 0 that came",
              client.AskRefused("select a from T where a = ?"));
    client.Send(Frame("select 1", 1, Wire("0000 0001 0005 00000004 00000001")));
    client.Expect("E" + Wire("0000002e") + "[E10049]1 parameters came, the statement has 0" + "K");
}

TEST_F(Refusal, E10050ParameterName) {
    client.Send(
        Frame("select a from T where a = :k", 1, Wire("0001 'j' 0001 0005 00000004 00000001")));
    client.Expect("E" + Wire("00000026") + "[E10050]no value came for parameter :k" + "K");
}

TEST_F(Refusal, E10051ParameterValue) {
    client.Send(Frame("select ?", 1, Wire("0000 0001 0005 00000003 000001")));
    client.Expect("E" + Wire("00000038") +
                  "[E10051]parameter 1 of type 5 and 3 bytes cannot be read" + "K");
    client.Send(Frame("select ?", 1, Wire("0000 0001 003d 00000001 00")));
    client.Expect("E" + Wire("00000039") +
                  "[E10051]parameter 1 of type 61 and 1 bytes cannot be read" + "K");
    client.Ask("COMMIT;", DONE);
}

TEST_F(Refusal, E10051TemporalValuesOutsideTheYears) {
    for (const char *value : {"000a 00000004 7fffffff", "000b 00000004 05265c00",
                              "000c 00000006 7fffffff 0000", "000d 00000008 7fffffffffffffff",
                              "000e 0000000a 7fffffffffffffff 7fff", "0002 00000001 'x'"}) {
        client.Send(Frame("select ?", 1, Wire("0000 0001") + Wire(value)));
        const std::string head = client.Receive(5);
        EXPECT_EQ("E", head.substr(0, 1)) << value;
        EXPECT_EQ("[E10051]", client.Receive(static_cast<uint8_t>(head[4])).substr(0, 8)) << value;
        client.Expect("K");
    }
}

TEST_F(Refusal, AnOutputParameterIsNull) {
    client.Send(Frame("update T set c = ?", 1, Wire("0000 0002 0006 00000000")));
    client.Expect(Updated(1));
    client.Ask("update T set c = 2 where c is null", Updated(1));
}

TEST_F(Refusal, NamedParametersComeInAnyOrderAndMayRepeat) {
    client.Send(Frame("update T set b = :name, c = :num where a = :num and :name <> 'z'", 2,
                      Wire("0004 'name' 0001 001e 00000001 'q' 0004 ':num' 0001 0005 00000004"
                           "00000001")));
    client.Expect(Updated(1));
    client.Ask("delete from T where b = 'q' and c = 1", Deleted(1));
}

TEST_F(Refusal, ParametersAreSharedOutAmongTheStatementsOfAText) {
    client.Send(Frame("update T set b = ?; update T set c = ? where b = ?", 3,
                      Wire("0000 0001 001e 00000001 'q' 0000 0001 0005 00000004 00000007"
                           "0000 0001 001e 00000001 'q'")));
    client.Expect(Wire("55 00000001 55 00000001 4b"));
}

TEST_F(Refusal, FourZeroBytesBehindAnEmptyTextBelongToIt) {
    client.Send(Frame("update T set c = ? where a = ?", 2,
                      Wire("0000 0001 001e 00000000 00000000 0000 0001 0005 00000004 00000001")));
    client.Expect(Updated(1));
    client.Send(Frame("update T set c = ?", 1, Wire("0000 0001 001e 00000000 00000000")) +
                Frame("COMMIT;"));
    client.Expect(Updated(1) + "K");
}

// What ends a connection: the bytes, sent by a session that has logged in.
class BadFrame : public ::testing::TestWithParam<const char *> {};

TEST_P(BadFrame, EndsItsConnectionAndHurtsNoOther) {
    const RunningServer server;
    RawClient good(server.Port());
    good.LogIn();
    good.Ask("create table T (a integer)", DONE);
    RawClient bad(server.Port());
    bad.LogIn();
    bad.Send(Wire(GetParam()));
    bad.ExpectEnd();
    good.Ask("insert into T values (1)", Inserted("1"));
    RawClient later(server.Port());
    later.LogIn();
    later.Ask("COMMIT;", DONE);
}

INSTANTIATE_TEST_SUITE_P(
    All, BadFrame,
    ::testing::Values("21", "00000000", "3f ffffffff", "3f 80000000", "3f 04000001", "3f 7fffffff",
                      "3f 00000002 'ab' 01", "3f 00000003 'a' 00 'b' 00",
                      "3f 00000001 'x' 00 00000001 ffff", "3f 00000001 'x' 00 00000001 0401",
                      "3f 00000001 'x' 00 00000001 0000 0000",
                      "3f 00000001 'x' 00 00000001 0000 0003",
                      "3f 00000001 'x' 00 00000001 0000 0001 0005 ffffffff",
                      "3f 00000001 'x' 00 00000001 0000 0001 0005 20000001",
                      "3f 00000001 'x' 00 00020001 0000 0001 0005 00000000 ffffffff"));

TEST(CutFrame, AConnectionCutAtAnyByteHurtsNoOther) {
    const RunningServer server;
    RawClient good(server.Port());
    good.LogIn();
    good.Ask("create table T (a integer)", DONE);
    const std::string whole =
        Frame("insert into T values (?)", 1, Wire("0001 'k' 0001 0005 00000004 00000007"));
    for (size_t cut = 0; cut < whole.size(); cut++) {
        RawClient bad(server.Port());
        bad.LogIn();
        bad.Send(whole.substr(0, cut));
    }
    good.Ask("insert into T values (1)", Inserted("1"));
    good.Ask("COMMIT;", DONE);
}

TEST(CutFrame, AnAnswerThatNobodyReadsDoesNotKeepTheServerFromEnding) {
    RunningServer server;
    RawClient client(server.Port());
    client.LogIn();
    client.Send(
        Frame("with recursive n(i) as (select 1 union all select i + 1 from n) select i from n"));
    client.Expect("A");
    server.Stop();
}

TEST(CutFrame, AStatementWithoutEndDoesNotKeepTheServerFromEnding) {
    RunningServer server;
    RawClient client(server.Port());
    client.LogIn();
    client.Send(Frame("tavud message 'now'") +
                Frame("with recursive n(i) as (select 1 union all select i + 1 from n) "
                      "select count(*) from n"));
    client.Expect(Wire("4d 00000003 'now' 4b"));
    server.Stop();
    client.ExpectEnd();
}

TEST(CutFrame, AnAnnouncedLengthReservesNothing) {
    const RunningServer server;
    for (int i = 0; i < 20; i++) {
        RawClient bad(server.Port());
        bad.LogIn();
        bad.Send(Wire("3f 00000001 'x' 00 00000001 0000 0001 0022 20000000 'a'"));
    }
    RawClient good(server.Port());
    good.LogIn();
    good.Ask("COMMIT;", DONE);
}

}  // namespace
}  // namespace tavud_test
