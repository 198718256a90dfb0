// Server cursors: their statements as clients send them, and what each cursor sees.
#include <algorithm>

#include <gtest/gtest.h>

#include "server/raw_client.h"

namespace tavud_test {
namespace {

const std::string FIELDS = Wire("41 00000001 00000003 'T.a' 00000005 ffffffff 00000002");

// The rows of an INTEGER column with the values from `first` to `last`.
std::string Rows(uint32_t first, uint32_t last) {
    std::string rows;
    for (uint32_t value = first; value <= last; value++) {
        rows += "R" + FourBytes(4) + FourBytes(value);
    }
    return rows;
}

// A server, and a session whose statements stand alone, with a table of some rows.
class Cursors : public ::testing::Test {
protected:
    Cursors() : client(server.Port()) {
        client.LogIn(" auto_commit = 'on'");
        client.Ask("create table T (a integer)", DONE);
    }

    // Fills T with 1 to `count`.
    void Fill(uint32_t count) {
        if (count == 1) return client.Ask("insert into T values (1)", Inserted("1"));
        client.Send(
            Frame("insert into T with recursive n(i) as (select 1 union all select i + 1 "
                  "from n where i < " +
                  std::to_string(count) + ") select i from n"));
        client.Expect("U" + FourBytes(count) + "K");
    }

    // Opens a cursor over T by the statements that clients send for a prepared query.
    void OpenCursor() {
        client.Ask("PREPARE ST0 AS select a from T", FIELDS + "K");
        client.Ask("DECLARE ST0_CUR CURSOR FOR ST0;", DONE);
        client.Ask("OPEN ST0_CUR;", FIELDS + "K");
    }

    RunningServer server;
    RawClient client;
};

TEST_F(Cursors, APreparedQueryIsDeclaredOpenedFetchedAndClosed) {
    client.Ask("insert into T values (7), (8)", Updated(2));
    client.Send(Wire("3f 0000001e 'PREPARE ST0 AS select a from T' 00 00000000"));
    client.Expect(FIELDS + "K");
    client.Send(Wire("3f 0000001f 'DECLARE ST0_CUR CURSOR FOR ST0;' 00 00000000"));
    client.Expect("K");
    client.Send(Wire("3f 0000000d 'OPEN ST0_CUR;' 00 00000000"));
    client.Expect(FIELDS + "K");
    client.Send(Wire("3f 00000018 'FETCH 2000 FROM ST0_CUR;' 00 00000000"));
    client.Expect(FIELDS + Wire("52 00000004 00000007 52 00000004 00000008 4b"));
    client.Send(Wire("3f 00000018 'FETCH 2000 FROM ST0_CUR;' 00 00000000"));
    client.Expect(FIELDS + "K");
    client.Send(Wire("3f 00000010 'CLOSE `ST0_CUR`;' 00 00000000"));
    client.Expect("K");
    EXPECT_EQ("[E10002]there is no cursor ST0_CUR", client.AskRefused("FETCH 2000 FROM ST0_CUR;"));
}

TEST_F(Cursors, StatementsMayBeWrittenInManyWays) {
    client.Ask("insert into T values (7)", Inserted("1"));
    client.Ask("declare `c` cursor for select a from T where a = 7 ;", DONE);
    client.Ask("open \"C\"", FIELDS + "K");
    client.Ask("Fetch 0 From `C`;", FIELDS + "K");
    client.Ask("fetch 5 from c", FIELDS + Rows(7, 7) + "K");
    client.Ask("Close c", DONE);
    client.Ask("prepare st5 as select a from T", FIELDS + "K");
    client.Ask("declare c cursor for ST5", DONE);
    client.Ask("open c;", FIELDS + "K");
    client.Ask("FETCH 1 FROM \"c\";", FIELDS + Rows(7, 7) + "K");
    client.Ask("CLOSE `C`;", DONE);
}

TEST_F(Cursors, ParametersComeWithTheDeclaration) {
    Fill(9);
    client.Ask("PREPARE ST0 AS select a from T where a > ? and a < ?",
               FIELDS + Wire("24 00000002 00000000 0000001e ffffffff 00000001"
                             "            00000000 0000001e ffffffff 00000001 4b"));
    client.Send(Frame("DECLARE ST0_CUR CURSOR FOR ST0;", 2,
                      Wire("0000 0001 0005 00000004 00000002 0000 0001 001e 00000001 '5'")));
    client.Expect("K");
    client.Ask("OPEN ST0_CUR;", FIELDS + "K");
    client.Ask("FETCH 2000 FROM ST0_CUR;", FIELDS + Rows(3, 4) + "K");
    client.Ask("CLOSE `ST0_CUR`;", DONE);
    client.Send(Frame("DECLARE d CURSOR FOR select a from T where a = :k", 1,
                      Wire("0001 'k' 0001 0005 00000004 00000009")));
    client.Expect("K");
    client.Ask("OPEN d", FIELDS + "K");
    client.Ask("FETCH 2000 FROM d", FIELDS + Rows(9, 9) + "K");
}

TEST_F(Cursors, AWrongNumberOfParametersIsToldAtTheOpening) {
    client.Ask("DECLARE c CURSOR FOR select a from T where a = ?", DONE);
    EXPECT_EQ("[E10049]statement has more parameters than the 0 that came",
              client.AskRefused("OPEN c"));
    EXPECT_EQ("[E10003]cursor c is not open", client.AskRefused("FETCH 1 FROM c"));
}

TEST_F(Cursors, ACursorOverNothingHasNoRows) {
    OpenCursor();
    client.Ask("FETCH 2000 FROM ST0_CUR;", FIELDS + "K");
    client.Ask("FETCH 2000 FROM ST0_CUR;", FIELDS + "K");
}

class BlocksOfRows : public Cursors, public ::testing::WithParamInterface<uint32_t> {};

TEST_P(BlocksOfRows, ComeInOrderToTheLast) {
    const uint32_t count = GetParam();
    Fill(count);
    OpenCursor();
    for (uint32_t first = 1; first <= count; first += 2000) {
        client.Ask("FETCH 2000 FROM ST0_CUR;",
                   FIELDS + Rows(first, std::min(count, first + 1999)) + "K");
    }
    client.Ask("FETCH 2000 FROM ST0_CUR;", FIELDS + "K");
}

TEST_P(BlocksOfRows, ComeInOrderAfterAnotherStatementInBetween) {
    const uint32_t count = GetParam();
    Fill(count);
    OpenCursor();
    for (uint32_t first = 1; first <= count; first += 2000) {
        client.Ask("FETCH 2000 FROM ST0_CUR;",
                   FIELDS + Rows(first, std::min(count, first + 1999)) + "K");
        client.Ask("update T set a = a + 1", "U" + FourBytes(count) + "K");
    }
    client.Ask("FETCH 2000 FROM ST0_CUR;", FIELDS + "K");
}

INSTANTIATE_TEST_SUITE_P(Counts, BlocksOfRows, ::testing::Values(1, 1999, 2000, 2001, 4000, 20001));

TEST_F(Cursors, AHundredThousandRowsComeInOrder) {
    Fill(100000);
    OpenCursor();
    for (uint32_t first = 1; first <= 100000; first += 2000) {
        client.Ask("FETCH 2000 FROM ST0_CUR;", FIELDS + Rows(first, first + 1999) + "K");
    }
    client.Ask("FETCH 2000 FROM ST0_CUR;", FIELDS + "K");
}

TEST_F(Cursors, RowsAreReadNoFurtherThanTheyAreFetched) {
    client.Ask(
        "DECLARE c CURSOR FOR with recursive n(i) as (select 1 union all select i + 1 from "
        "n) select i from n",
        DONE);
    const std::string fields = Wire("41 00000001 00000001 'i' 00000006 ffffffff 00000002");
    client.Ask("OPEN c", fields + "K");
    client.Ask("FETCH 1 FROM c", fields + Wire("52 00000008 0000000000000001 4b"));
    client.Ask("FETCH 1 FROM c", fields + Wire("52 00000008 0000000000000002 4b"));
    client.Ask("CLOSE `c`;", DONE);
    client.Ask("COMMIT;", DONE);
}

TEST_F(Cursors, TwoCursorsTakeTurns) {
    Fill(10);
    OpenCursor();
    client.Ask("FETCH 3 FROM ST0_CUR;", FIELDS + Rows(1, 3) + "K");
    client.Ask("DECLARE down CURSOR FOR select a from T where a < 6 order by a desc", DONE);
    client.Ask("OPEN down;", FIELDS + "K");
    client.Ask("FETCH 1 FROM down", FIELDS + Rows(5, 5) + "K");
    client.Ask("FETCH 3 FROM ST0_CUR;", FIELDS + Rows(4, 6) + "K");
    client.Ask("FETCH 2 FROM down", FIELDS + Rows(4, 4) + Rows(3, 3) + "K");
    client.Ask("FETCH 9 FROM ST0_CUR;", FIELDS + Rows(7, 10) + "K");
    client.Ask("FETCH 9 FROM down", FIELDS + Rows(2, 2) + Rows(1, 1) + "K");
}

TEST_F(Cursors, ACursorGivesTheRowsOfItsOpening) {
    Fill(4);
    OpenCursor();
    client.Ask("FETCH 1 FROM ST0_CUR;", FIELDS + Rows(1, 1) + "K");
    client.Ask("delete from T where a > 2", Deleted(2));
    client.Ask("insert into T values (9)", Inserted("3"));
    client.Ask("FETCH 1 FROM ST0_CUR;", FIELDS + Rows(2, 2) + "K");
    client.Ask("drop table T", DONE);
    client.Ask("FETCH 9 FROM ST0_CUR;", FIELDS + Rows(3, 4) + "K");
}

TEST_F(Cursors, AnOpenCursorHidesNothingFromLaterSelects) {
    Fill(2);
    OpenCursor();
    client.Ask("FETCH 1 FROM ST0_CUR;", FIELDS + Rows(1, 1) + "K");
    RawClient other(server.Port());
    other.LogIn(" auto_commit = 'on'");
    other.Ask("insert into T values (3)", Inserted("3"));
    other.Ask("create table U (a integer)", DONE);
    client.Ask("select a from T", FIELDS + Rows(1, 3) + "K");
    client.Ask("insert into U values (1)", Inserted("1"));
    client.Ask("FETCH 9 FROM ST0_CUR;", FIELDS + Rows(2, 2) + "K");
}

TEST_F(Cursors, ACursorOutlivesTheEndsOfTransactions) {
    RawClient careful(server.Port());
    careful.LogIn(" auto_commit = 'off'");
    careful.Ask("insert into T values (1), (2), (3)", Updated(3));
    careful.Ask("DECLARE c CURSOR FOR select a from T", DONE);
    careful.Ask("OPEN c", FIELDS + "K");
    careful.Ask("FETCH 1 FROM c", FIELDS + Rows(1, 1) + "K");
    careful.Ask("ROLLBACK;", DONE);
    careful.Ask("FETCH 1 FROM c", FIELDS + Rows(2, 2) + "K");
    careful.Ask("COMMIT;", DONE);
    careful.Ask("FETCH 9 FROM c", FIELDS + Rows(3, 3) + "K");
    client.Ask("select a from T", FIELDS + "K");
}

TEST_F(Cursors, AHalfReadCursorLocksNobodyOut) {
    Fill(3);
    OpenCursor();
    client.Ask("FETCH 1 FROM ST0_CUR;", FIELDS + Rows(1, 1) + "K");
    RawClient other(server.Port());
    other.LogIn(" lock_timeout = 1 auto_commit = 'on'");
    other.Ask("delete from T", Deleted(3));
    other.Ask("drop table T", DONE);
    client.Ask("FETCH 9 FROM ST0_CUR;", FIELDS + Rows(2, 3) + "K");
}

TEST_F(Cursors, ThePreparedStatementGoesItsOwnWay) {
    Fill(2);
    OpenCursor();
    client.Ask("FETCH 1 FROM ST0_CUR;", FIELDS + Rows(1, 1) + "K");
    client.Ask("? ST0 ", FIELDS + Rows(1, 2) + "K");
    client.Ask("DEALLOCATE ST0;", DONE);
    client.Ask("FETCH 1 FROM ST0_CUR;", FIELDS + Rows(2, 2) + "K");
}

TEST_F(Cursors, DeclaringAgainReplacesACursor) {
    Fill(2);
    OpenCursor();
    client.Ask("DECLARE ST0_CUR CURSOR FOR ST0;", DONE);
    EXPECT_EQ("[E10003]cursor ST0_CUR is not open", client.AskRefused("FETCH 1 FROM ST0_CUR;"));
    client.Ask("OPEN ST0_CUR;", FIELDS + "K");
    client.Ask("FETCH 1 FROM ST0_CUR;", FIELDS + Rows(1, 1) + "K");
}

TEST_F(Cursors, ASessionWithRowidsHasThemInCursorsToo) {
    RawClient other(server.Port());
    other.LogIn(" auto_commit = 'on' return_rowid=true");
    other.Ask("insert into T values (7)", Inserted("1"));
    const std::string fields = Wire(
        "41 00000002 00000003 'T.a' 00000005 ffffffff 00000002"
        "            00000005 'ROWID' 0000002d 00000014 00000000");
    other.Ask("DECLARE c CURSOR FOR select a from T", DONE);
    other.Ask("OPEN c", fields + "K");
    other.Ask("FETCH 2 FROM c", fields + Wire("52 00000004 00000007 00000001 '1' 4b"));
}

TEST_F(Cursors, AnExpressionKeepsTheTypeOfItsFirstRow) {
    Fill(2);
    client.Ask("DECLARE c CURSOR FOR select a * 2 as twice from T", DONE);
    const std::string fields = Wire("41 00000001 00000005 'twice' 00000006 ffffffff 00000002");
    client.Ask("OPEN c", fields + "K");
    client.Ask("FETCH 1 FROM c", fields + Wire("52 00000008 0000000000000002 4b"));
    client.Ask("FETCH 1 FROM c", fields + Wire("52 00000008 0000000000000004 4b"));
}

// The third row has a value that is not of the announced type.
const char *const turning_query =
    "DECLARE c CURSOR FOR select 1 as v union all select 2 union all select 'x' union all select 3";

TEST_F(Cursors, AValueOfAnotherTypeEndsTheRows) {
    const std::string fields = Wire("41 00000001 00000001 'v' 00000006 ffffffff 00000002");
    client.Ask(turning_query, DONE);
    client.Ask("OPEN c", fields + "K");
    client.Ask("FETCH 9 FROM c",
               fields + Wire("52 00000008 0000000000000001 52 00000008 0000000000000002"
                             "45 0000002e '[E16002]column v has a value that is no BIGINT' 4b"));
    client.Ask("FETCH 9 FROM c", fields + "K");
}

TEST_F(Cursors, AValueOfAnotherTypeEndsTheRowsThatWerePutAside) {
    const std::string fields = Wire("41 00000001 00000001 'v' 00000006 ffffffff 00000002");
    client.Ask(turning_query, DONE);
    client.Ask("OPEN c", fields + "K");
    client.Ask("COMMIT;", DONE);
    client.Ask("FETCH 2 FROM c", fields + Wire("52 00000008 0000000000000001"
                                               "52 00000008 0000000000000002 4b"));
    client.Ask("FETCH 2 FROM c", fields + "E" + FourBytes(46) +
                                     "[E16002]column v has a value that is no BIGINT" + "K");
    client.Ask("FETCH 2 FROM c", fields + "K");
}

TEST_F(Cursors, WhatIsNoQueryIsRefused) {
    EXPECT_EQ("[E10003]a cursor takes a query that changes nothing",
              client.AskRefused("DECLARE c CURSOR FOR delete from T"));
    EXPECT_EQ("[E10003]a cursor takes a query that changes nothing",
              client.AskRefused("DECLARE c CURSOR FOR insert into T values (1) returning a"));
    EXPECT_EQ("[E10003]a cursor takes a query that changes nothing",
              client.AskRefused("DECLARE c CURSOR FOR commit work"));
    EXPECT_EQ("[E10003]a cursor takes one query",
              client.AskRefused("DECLARE c CURSOR FOR select 1; select 2"));
    EXPECT_EQ("[E5001]no such table: U", client.AskRefused("DECLARE c CURSOR FOR select * from U"));
    EXPECT_EQ("[E10001]no statement ST9 is prepared",
              client.AskRefused("DECLARE c CURSOR FOR ST9;"));
    client.Ask("insert into T values (1)", Inserted("1"));
}

TEST_F(Cursors, StatementsThatAreNotWhole) {
    EXPECT_EQ("[E19001]DECLARE takes a name, CURSOR FOR and a query",
              client.AskRefused("DECLARE c"));
    EXPECT_EQ("[E19001]the text holds no statement", client.AskRefused("DECLARE c CURSOR FOR ;"));
    EXPECT_EQ("[E19001]OPEN takes the name of a cursor", client.AskRefused("OPEN;"));
    EXPECT_EQ("[E19001]CLOSE takes the name of a cursor", client.AskRefused("CLOSE a b"));
    for (const char *text : {"FETCH", "FETCH FROM c", "FETCH -1 FROM c", "FETCH 1x FROM c",
                             "FETCH 99999999999999999999 FROM c", "FETCH 1 FROM", "FETCH 1 c"}) {
        EXPECT_EQ("[E19001]FETCH takes a number, FROM and the name of a cursor",
                  client.AskRefused(text));
    }
}

TEST_F(Cursors, NamesThatNoCursorHas) {
    EXPECT_EQ("[E10002]there is no cursor c", client.AskRefused("OPEN c"));
    EXPECT_EQ("[E10002]there is no cursor c", client.AskRefused("FETCH 1 FROM c"));
    EXPECT_EQ("[E10002]there is no cursor c", client.AskRefused("CLOSE `c`;"));
}

TEST_F(Cursors, AnOpenCursorIsNotOpenedAgain) {
    Fill(1);
    OpenCursor();
    EXPECT_EQ("[E10003]cursor ST0_CUR is open already", client.AskRefused("OPEN ST0_CUR;"));
    client.Ask("FETCH 2 FROM ST0_CUR;", FIELDS + Rows(1, 1) + "K");
}

TEST_F(Cursors, ASessionHasTwoHundredAndFiftySixOfThem) {
    for (int i = 0; i < 256; i++) {
        client.Ask("DECLARE c" + std::to_string(i) + " CURSOR FOR select 1", DONE);
    }
    EXPECT_EQ("[E10003]more than 256 cursors",
              client.AskRefused("DECLARE c256 CURSOR FOR select 1"));
    client.Ask("DECLARE c9 CURSOR FOR select 2", DONE);
    client.Ask("CLOSE c9", DONE);
    client.Ask("DECLARE c256 CURSOR FOR select 1", DONE);
}

TEST_F(Cursors, TheEndOfTheConnectionEndsACursorInItsMiddle) {
    Fill(5000);
    OpenCursor();
    client.Ask("FETCH 1 FROM ST0_CUR;", FIELDS + Rows(1, 1) + "K");
    client.Send(Frame("FETCH 2000 FROM ST0_CUR;"));
    client.Close();
    RawClient later(server.Port());
    later.LogIn(" auto_commit = 'on'");
    later.Ask("drop table T", DONE);
}

}  // namespace
}  // namespace tavud_test
