// Whole exchanges with the bytes in both directions written out.
#include <gtest/gtest.h>

#include "server/raw_client.h"

namespace tavud_test {
namespace {

// A server and one session without rowids, each statement standing alone.
class Conversation : public ::testing::Test {
protected:
    Conversation() : client(server.Port()) {
        client.LogIn(" auto_commit = 'on'");
    }

    RunningServer server;
    RawClient client;
};

class ConversationWithRowids : public ::testing::Test {
protected:
    ConversationWithRowids() : client(server.Port()) {
        client.LogIn(" auto_commit = 'on' return_rowid=true");
    }

    RunningServer server;
    RawClient client;
};

TEST_F(Conversation, ShowVersionGivesOneColumnAndOneRow) {
    client.Send(Wire("3f 0000000c 'show version' 00 00000000"));
    client.Expect(Wire("41 00000001 00000007 'VERSION' 0000001e ffffffff 00000000 52"));
    const std::string length = client.Receive(4);
    ASSERT_EQ(4U, length.size());
    const std::string version = client.Receive(static_cast<uint8_t>(length[3]));
    EXPECT_EQ("tavud ", version.substr(0, 6));
    client.Expect("K");
}

TEST_F(Conversation, CreateInsertSelectDrop) {
    client.Send(Wire("3f 0000001a 'create table T (a integer)' 00 00000000"));
    client.Expect("K");
    client.Send(Wire("3f 00000018 'insert into T values (7)' 00 00000000"));
    client.Expect(Wire("49 00000001 '1' 4b"));
    client.Send(Wire("3f 0000000f 'select a from T' 00 00000000"));
    client.Expect(
        Wire("41 00000001 00000003 'T.a' 00000005 ffffffff 00000002 52 00000004 00000007 4b"));
    client.Send(Wire("3f 0000000c 'drop table T' 00 00000000"));
    client.Expect("K");
}

TEST_F(ConversationWithRowids, ASelectEndsWithTheRowidColumn) {
    client.Ask("create table T (a integer)", DONE);
    client.Ask("insert into T values (7)", Inserted("1"));
    client.Send(Wire("3f 0000000f 'select a from T' 00 00000000"));
    client.Expect(
        Wire("41 00000002 00000003 'T.a' 00000005 ffffffff 00000002"
             "            00000005 'ROWID' 0000002d 00000014 00000000"
             "52 00000004 00000007 00000001 '1' 4b"));
}

TEST_F(Conversation, PrepareRunAndDeallocateInBothSpellings) {
    client.Ask("create table T (a integer)", DONE);
    client.Ask("insert into T values (7)", Inserted("1"));
    client.Send(Wire("3f 0000002a 'PREPARE ST0 AS select a from T where a = ?' 00 00000000"));
    client.Expect(
        Wire("41 00000001 00000003 'T.a' 00000005 ffffffff 00000002"
             "24 00000001 00000000 0000001e ffffffff 00000001 4b"));
    client.Send(Wire("3f 00000006 '? ST0 ' 00 00000001 0000 0001 0005 00000004 00000007"));
    client.Expect(
        Wire("41 00000001 00000003 'T.a' 00000005 ffffffff 00000002 52 00000004 00000007 4b"));
    client.Send(Wire("3f 0000000f 'DEALLOCATE ST0;' 00 00000000"));
    client.Expect("K");
    client.Send(Wire("3f 00000006 '? ST0 ' 00 00000001 0000 0001 0005 00000004 00000007"));
    client.Expect(Wire("45 00000024 '[E10001]no statement ST0 is prepared' 4b"));
    client.Ask("PREPARE ST1 AS select a from T where a = 0",
               Wire("41 00000001 00000003 'T.a' 00000005 ffffffff 00000002 4b"));
    client.Send(Wire("3f 00000011 'DEALLOCATE `ST1`;' 00 00000000"));
    client.Expect("K");
    client.Send(Wire("3f 00000011 'DEALLOCATE `ST1`;' 00 00000000"));
    client.Expect(Wire("45 00000024 '[E10001]no statement ST1 is prepared' 4b"));
}

TEST_F(Conversation, APreparedInsertHasNoFieldListAndRunsAgainAndAgain) {
    client.Ask("create table T (a integer, b varchar(10))", DONE);
    client.Ask("PREPARE ST0 AS insert into T values (:num, :txt)",
               Wire("24 00000002 00000003 'num' 0000001e ffffffff 00000001"
                    "            00000003 'txt' 0000001e ffffffff 00000001 4b"));
    client.Send(
        Wire("3f 00000006 '? ST0 ' 00 00000002"
             "0003 'num' 0001 0005 00000004 00000001 0003 'txt' 0001 001e 00000002 'ab'"));
    client.Expect(Wire("49 00000001 '1' 4b"));
    client.Send(
        Wire("3f 00000006 '? ST0 ' 00 00000002"
             "0003 'txt' 0001 001e 00000000 0003 'num' 0001 0005 00000004 ffffffff"));
    client.Expect(Wire("49 00000001 '2' 4b"));
    client.Ask("select * from T", Wire("41 00000002 00000003 'T.a' 00000005 ffffffff 00000002"
                                       "            00000003 'T.b' 0000001e 0000000a 00000402"
                                       "52 00000004 00000001 00000002 'ab'"
                                       "52 00000004 ffffffff 00000000 4b"));
}

TEST_F(Conversation, UpdateAndDeleteGiveTheirCounts) {
    client.Ask("create table T (a integer)", DONE);
    client.Ask("insert into T values (1), (2), (3)", Wire("55 00000003 4b"));
    client.Ask("update T set a = a + 1 where a > 1", Wire("55 00000002 4b"));
    client.Ask("delete from T", Wire("44 00000003 4b"));
    client.Ask("delete from T", Wire("44 00000000 4b"));
}

TEST_F(Conversation, AnInsertOfNoRowIsToldAsACount) {
    client.Ask("create table T (a integer)", DONE);
    client.Ask("insert into T select 1 where 1 = 0", Wire("55 00000000 4b"));
}

TEST_F(Conversation, SeveralStatementsInOneTextGiveTheirItemsInOneAnswer) {
    client.Ask("create table T (a integer); insert into T values (1);;",
               Wire("49 00000001 '1' 4b"));
    client.Ask("update T set a = 2; update T set a = 3 where a = 9",
               Wire("55 00000001 55 00000000 4b"));
}

TEST_F(Conversation, TheFirstRefusedStatementEndsTheText) {
    client.Ask("create table T (a integer)", DONE);
    client.Send(Frame("insert into T values (1); insert into U values (1); drop table T"));
    client.Expect(Wire("49 00000001 '1' 45 00000017 '[E5001]no such table: U' 4b"));
    client.Ask("delete from T", Deleted(1));
}

TEST_F(Conversation, MessageWarningAndErrorComeOnDemand) {
    client.Ask("tavud message 'hello'", Wire("4d 00000005 'hello' 4b"));
    client.Ask("tavud warning 'mind'", Wire("57 00000004 'mind' 4b"));
    client.Ask("tavud error '[E17005]it''s'", "E" + Wire("0000000c") + "[E17005]it's" + "K");
    client.Ask("create table T (a integer)", DONE);
    client.Ask("tavud error '[E1]x'; update T set a = 1",
               Wire("45 00000005 '[E1]x' 55 00000000 4b"));
}

TEST_F(Conversation, BookmarksAndDataItemsComeOnDemand) {
    client.Ask("tavud data 'it''s'", Wire("4f 00000001 00000004") + "it's" + "K");
    client.Ask("tavud bookmark 'xyz'",
               Wire("41 00000001 00000008 'BOOKMARK' 0000001e ffffffff 00000000"
                    "2a 00000003 'xyz' 00000003 'xyz' 4b"));
    client.Ask("tavud message 'x'; tavud data ''", Wire("4d 00000001 'x' 4f 00000001 00000000 4b"));
}

TEST_F(Conversation, AFailedTransactionCommandAnswersWithTextAndK) {
    client.Send(Wire("3f 0000000f 'ROLLBACK TO sp3' 00 00000000"));
    client.Expect(Wire("45 0000001e '[E12001]no such savepoint: sp3' 4b"));
}

TEST_F(Conversation, NamesCarryTableColumnAndAlias) {
    client.Ask("create table T (a integer)", DONE);
    client.Ask("select a as shown, a, 1 as one from T",
               Wire("41 00000003 00000009 'T.a%shown' 00000005 ffffffff 00000002"
                    "            00000003 'T.a' 00000005 ffffffff 00000002"
                    "            00000003 'one' 00000006 ffffffff 00000002 4b"));
}

TEST_F(Conversation, ExpressionsHaveTheTypeOfTheirFirstValue) {
    client.Ask("select 1, 1.5, 'x', x'00ff', null",
               Wire("41 00000005 00000001 '1' 00000006 ffffffff 00000002"
                    "            00000003 '1_5' 00000009 ffffffff 00000002"
                    "            00000003 27 'x' 27 0000001e ffffffff 00000002"
                    "            00000007 'x' 27 '00ff' 27 00000021 ffffffff 00000002"
                    "            00000004 'null' 0000001e ffffffff 00000002"
                    "52 00000008 0000000000000001 00000008 3ff8000000000000 00000001 'x'"
                    "00000002 00ff 00000000 4b"));
}

TEST_F(Conversation, AColumnDeclaredNotNullLacksTheNullableFlag) {
    client.Ask("create table T (a integer not null, b char(4), c varchar)", DONE);
    client.Ask("select * from T", Wire("41 00000003 00000003 'T.a' 00000005 ffffffff 00000000"
                                       "            00000003 'T.b' 0000001e 00000004 00000002"
                                       "            00000003 'T.c' 0000001e ffffffff 00000402 4b"));
}

TEST_F(Conversation, ARequestMayArriveByteByByte) {
    client.Ask("create table T (a integer)", DONE);
    for (const char c : Wire("3f 00000018 'insert into T values (?)' 00 00000001"
                             "0000 0001 0005 00000004 0000002a")) {
        client.Send(std::string(1, c));
    }
    client.Expect(Wire("49 00000001 '1' 4b"));
}

TEST_F(Conversation, RequestsMayArriveBackToBack) {
    client.Send(Frame("create table T (a integer)") + Frame("insert into T values (1)") +
                Frame("COMMIT;"));
    client.Expect(Wire("4b 49 00000001 '1' 4b 4b"));
}

TEST_F(Conversation, AGoOnByteBetweenRequestsAsksForNothing) {
    client.Send("." + Frame("COMMIT;"));
    client.Expect("K");
}

TEST_F(Conversation, LongValuesTravelWhole) {
    client.Ask("create table T (b blob)", DONE);
    std::string value(200000, '\0');
    for (size_t i = 0; i < value.size(); i++) {
        value[i] = static_cast<char>(i * 7 + i / 251);
    }
    client.Send(Frame("insert into T values (?)", 1, Wire("0000 0001 0022 00030d40") + value));
    client.Expect(Wire("49 00000001 '1' 4b"));
    client.Ask(
        "select b from T",
        Wire("41 00000001 00000003 'T.b' 00000022 ffffffff 00000002 52 00030d40") + value + "K");
}

TEST_F(Conversation, ManyRowsComeInOrder) {
    client.Send(
        Frame("with recursive n(i) as (select 1 union all select i + 1 from n where i < 30000) "
              "select i from n"));
    client.Expect(Wire("41 00000001 00000001 'i' 00000006 ffffffff 00000002"));
    std::string expected;
    for (int i = 1; i <= 30000; i++) {
        expected += Wire("52 00000008 000000000000");
        expected.push_back(static_cast<char>(i / 256));
        expected.push_back(static_cast<char>(i % 256));
    }
    client.Expect(expected + "K");
}

TEST_F(Conversation, DescriptorModeMarksInlineLargeValues) {
    RawClient other(server.Port());
    other.LogIn(" auto_commit = 'on' lob_ret=descriptor");
    other.Ask("create table T (c clob, b blob, t varchar(5))", DONE);
    other.Ask("insert into T values ('abc', x'0102', 'def')", Inserted("1"));
    other.Ask("select * from T", Wire("41 00000003 00000003 'T.c' 00000020 ffffffff 00000002"
                                      "            00000003 'T.b' 00000022 ffffffff 00000002"
                                      "            00000003 'T.t' 0000001e 00000005 00000402"
                                      "52 00000004 'cabc' 00000003 'b' 0102 00000003 'def' 4b"));
}

TEST_F(Conversation, ReturningGivesRows) {
    client.Ask("create table T (a integer)", DONE);
    client.Ask("insert into T values (5) returning a",
               Wire("41 00000001 00000003 'T.a' 00000005 ffffffff 00000002 52 00000004"
                    "00000005 4b"));
    client.Ask("delete from T", Deleted(1));
}

TEST_F(Conversation, APreparedSelectOfAnExpressionIsDescribedByItsFirstWords) {
    client.Ask("PREPARE ST0 AS select count(*) as n, 2.5, 3, 'x' || 'y' as t",
               Wire("41 00000004 00000001 'n' 00000006 ffffffff 00000002"
                    "            00000003 '2_5' 00000009 ffffffff 00000002"
                    "            00000001 '3' 00000006 ffffffff 00000002"
                    "            00000001 't' 0000001e ffffffff 00000002 4b"));
}

TEST_F(Conversation, PreparingAgainUnderTheSameNameReplacesTheStatement) {
    client.Ask("PREPARE ST0 AS select 1 as one", Wire("41 00000001 00000003 'one' 00000006 ffffffff"
                                                      "00000002 4b"));
    client.Ask("PREPARE ST0 AS tavud message 'two'", DONE);
    client.Ask("? ST0 ", Wire("4d 00000003 'two' 4b"));
}

TEST_F(Conversation, AFailedPrepareLeavesNoStatement) {
    EXPECT_EQ("[E5001]no such table: nowhere",
              client.AskRefused("PREPARE ST0 AS select * from nowhere"));
    EXPECT_EQ("[E10001]no statement ST0 is prepared", client.AskRefused("? ST0 "));
}

}  // namespace
}  // namespace tavud_test
