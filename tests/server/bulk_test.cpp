// LOAD and IMPORT: the exchange, the stream of rows, and what is said while it goes on.
#include <gtest/gtest.h>

#include "server/raw_client.h"

namespace tavud_test {
namespace {

const std::string END_OF_STREAM = Wire("00000000");

std::string LoadText(const std::string &mode, const std::string &table) {
    return "LOAD " + mode + " TABLE " + table +
           "  FROM STREAM RECORDS DELIMITED BY '' FIELDS TERMINATED BY '' PARALLEL 4,-1";
}

std::string ImportText(const std::string &mode, const std::string &table, int use_mode) {
    return "IMPORT " + mode + " TABLE " + table +
           "  FROM STREAM RECORDS DELIMITED BY '' FIELDS TERMINATED BY '' USE MODE " +
           std::to_string(use_mode);
}

// A row of an INTEGER and a text, both there.
std::string Row(uint32_t a, const std::string &b) {
    const auto b_bytes = static_cast<uint32_t>(b.size());
    return FourBytes(13 + b_bytes) + Wire("0a") + FourBytes(4) + FourBytes(a) + FourBytes(b_bytes) +
           b;
}

const std::string FIELDS = Wire(
    "41 00000002 00000003 'T.a' 00000005 ffffffff 00000002"
    "            00000003 'T.b' 0000001e 00000005 00000402");

class Bulk : public ::testing::Test {
protected:
    Bulk() : client(server.Port()) {
        client.LogIn(" auto_commit = 'on'");
        client.Ask("create table T (a integer, b varchar(5))", DONE);
    }

    // Sends the command and makes the exchange behind it.
    void Begin(const std::string &command, RawClient *who) {
        who->Send(Frame(command));
        who->Expect("G");
        who->Send(Wire("0000000000000000"));
        who->Expect(Wire("0000000000000000"));
    }
    void Begin(const std::string &command) {
        Begin(command, &client);
    }
    // The text of a refusal in mid-stream. The end of the answer comes only after that of the
    // stream.
    std::string ReceiveMidStream(const std::string &letter) {
        client.Expect(letter);
        return client.ReceiveText();
    }

    RunningServer server;
    RawClient client;
};

TEST_F(Bulk, ALoadAppendsTheRowsOfItsStream) {
    client.Ask("insert into T values (1, 'x')", Inserted("1"));
    client.Send(
        Wire("3f 0000005d 'LOAD APPEND TABLE T  FROM STREAM RECORDS DELIMITED BY ' 27 27"
             "' FIELDS TERMINATED BY ' 27 27 ' PARALLEL 1,1' 00 00000000"));
    client.Expect("G");
    client.Send(Wire("0000000000000000"));
    client.Expect(Wire("0000000000000000"));
    client.Send(
        Wire("0000000f 0a 00000004 00000007 00000002 'ab'"
             "00000001 05"
             "00000005 09 00000000"
             "00000009 06 00000004 ffffffff"
             "00000000"));
    client.Expect("K");
    client.Ask("select * from T",
               FIELDS + Wire("52 00000004 00000001 00000001 'x' 52 00000004 00000007 00000002 'ab'"
                             "52 00000000 00000000 52 00000000 00000000"
                             "52 00000004 ffffffff 00000000 4b"));
    client.Ask("delete from T where b = ''", Deleted(1));
    client.Ask("delete from T where b is null and a is null", Deleted(1));
}

TEST_F(Bulk, EveryCommandThatClientsSend) {
    client.Ask("insert into T values (1, 'x')", Inserted("1"));
    const std::string old_row = Wire("52 00000004 00000001 00000001 'x'");
    const std::string new_row = Wire("52 00000004 00000002 00000001 'y'");
    struct Case {
        std::string command;
        bool replaces;
    };
    const Case cases[] = {
        {LoadText("APPEND", "T"), false},
        {LoadText("REPLACE", "T"), true},
        {ImportText("", "T", 1), false},
        {ImportText("APPEND", "T", 1), false},
        {ImportText("REPLACE", "T", 1), true},
        {ImportText("", "T", 2), false},
        {ImportText("APPEND", "T", 2), false},
        {ImportText("REPLACE", "T", 2), true},
        {LoadText("append", "\"t\""), false},
        {LoadText("Replace", "main.T"), true},
        {ImportText("append", "main.`T`", 1), false},
    };
    for (const Case &one : cases) {
        SCOPED_TRACE(one.command);
        Begin(one.command);
        client.Send(Row(2, "y") + END_OF_STREAM);
        client.Expect("K");
        client.Ask("select * from T", FIELDS + (one.replaces ? "" : old_row) + new_row + "K");
        client.Ask("delete from T where a = 2", Deleted(1));
        client.Ask("delete from T", Deleted(one.replaces ? 0 : 1));
        client.Ask("insert into T values (1, 'x')", Inserted("1"));
    }
}

TEST_F(Bulk, AStreamMayBeEmpty) {
    Begin(LoadText("APPEND", "T"));
    client.Send(END_OF_STREAM);
    client.Expect("K");
    client.Ask("delete from T", Deleted(0));
}

TEST_F(Bulk, ALoadBelongsToItsTransaction) {
    RawClient careful(server.Port());
    careful.LogIn(" auto_commit = 'off'");
    Begin(LoadText("APPEND", "T"), &careful);
    careful.Send(Row(1, "x") + END_OF_STREAM);
    careful.Expect("K");
    careful.Ask("ROLLBACK;", DONE);
    client.Ask("delete from T", Deleted(0));
    Begin(LoadText("APPEND", "T"), &careful);
    careful.Send(Row(1, "x") + END_OF_STREAM);
    careful.Expect("K");
    careful.Ask("COMMIT;", DONE);
    client.Ask("delete from T", Deleted(1));
}

TEST_F(Bulk, AStreamMayArriveByteByByte) {
    for (const char c : Frame(LoadText("APPEND", "T"))) {
        client.Send(std::string(1, c));
    }
    client.Expect("G");
    for (const char c : Wire("0000000000000000") + Row(1, "x") + Row(2, "yy") + END_OF_STREAM) {
        client.Send(std::string(1, c));
    }
    client.Expect(Wire("0000000000000000 4b"));
    client.Ask("delete from T", Deleted(2));
}

TEST_F(Bulk, AValueOfNineMillionBytes) {
    client.Ask("create table L (c clob)", DONE);
    const std::string value(9000000, 'x');
    Begin(LoadText("APPEND", "L"));
    client.Send(FourBytes(9000005) + Wire("02") + FourBytes(9000000) + value + END_OF_STREAM);
    client.Expect("K");
    client.Ask("select c from L", Wire("41 00000001 00000003 'L.c' 00000020 ffffffff 00000002 52") +
                                      FourBytes(9000000) + value + "K");
}

TEST_F(Bulk, AHundredThousandRowsComeBackAsTheyWent) {
    Begin(LoadText("APPEND", "T"));
    std::string rows;
    std::string expected = FIELDS;
    for (uint32_t i = 0; i < 100000; i++) {
        const std::string text = std::to_string(i % 1000);
        rows += Row(i, text);
        expected += "R" + FourBytes(4) + FourBytes(i) +
                    FourBytes(static_cast<uint32_t>(text.size())) + text;
    }
    client.Send(rows + END_OF_STREAM);
    client.Expect("K");
    client.Ask("select * from T", expected + "K");
}

// A value on its way in, and what the row says of it.
struct BulkCase {
    const char *declaration;
    const char *value;  // length and bytes, in the stream and in the row
    const char *row;    // of the row when it is another; or null
};

class BulkTypes : public Bulk, public ::testing::WithParamInterface<BulkCase> {};

TEST_P(BulkTypes, AreReadAsTheirColumnSays) {
    client.Ask(std::string("create table V (v ") + GetParam().declaration + ", w varchar)", DONE);
    const std::string value = Wire(GetParam().value);
    Begin(LoadText("APPEND", "V"));
    client.Send(FourBytes(static_cast<uint32_t>(value.size()) + 1) + Wire("06") + value +
                END_OF_STREAM);
    client.Expect("K");
    client.Send(Frame("select v from V"));
    client.Receive(24);  // the field list of one column
    client.Expect("R" + (GetParam().row == nullptr ? value : Wire(GetParam().row)) + "K");
    // What was loaded is in the form in which an insert would have stored it.
    client.Ask("update V set v = v", Updated(1));
    client.Send(Frame("select v from V"));
    client.Receive(24);
    client.Expect("R" + (GetParam().row == nullptr ? value : Wire(GetParam().row)) + "K");
}

INSTANTIATE_TEST_SUITE_P(
    All, BulkTypes,
    ::testing::Values(
        BulkCase{"boolean", "00000001 'T'", nullptr}, BulkCase{"tinyint", "00000001 80", nullptr},
        BulkCase{"smallint", "00000002 8000", nullptr},
        BulkCase{"integer", "00000004 80000000", nullptr},
        BulkCase{"bigint", "00000008 8000000000000000", nullptr},
        BulkCase{"numeric(10,2)", "00000004 '12.5'", "00000005 '12.50'"},
        BulkCase{"numeric", "0000001d '12345678901234567890.12345678'", nullptr},
        BulkCase{"float", "00000004 3fc00000", nullptr},
        BulkCase{"double", "00000008 bff8000000000000", nullptr},
        BulkCase{"date", "00000004 00004d47", nullptr},
        BulkCase{"time", "00000004 05265bff", nullptr},
        BulkCase{"time with time zone", "00000006 01b77400 014a", nullptr},
        BulkCase{"datetime", "00000008 ffffffffffffffff", nullptr},
        BulkCase{"datetime with time zone", "0000000a ffffffffffffffff fed4", nullptr},
        BulkCase{"interval year", "00000004 ffffffff", nullptr},
        BulkCase{"interval year to month", "00000004 fffffff2", nullptr},
        BulkCase{"interval month", "00000004 00000001", nullptr},
        BulkCase{"interval day", "00000004 00000001", nullptr},
        BulkCase{"interval day to hour", "00000004 ffffffe6", nullptr},
        BulkCase{"interval hour", "00000004 00000001", nullptr},
        BulkCase{"interval day to minute", "00000004 0000061b", nullptr},
        BulkCase{"interval hour to minute", "00000004 0000007b", nullptr},
        BulkCase{"interval minute", "00000004 00000001", nullptr},
        BulkCase{"interval day to second", "00000008 ffffffffffffffff", nullptr},
        BulkCase{"interval hour to second", "00000008 00000000dde878c0", nullptr},
        BulkCase{"interval minute to second", "00000008 000000000754d4c1", nullptr},
        BulkCase{"interval second", "00000008 0000000000000001", nullptr},
        BulkCase{"rowversion", "00000008 0102030405060708", nullptr},
        BulkCase{"guid", "00000020 '0123456789abcdef0123456789abcdef'",
                 "00000024 '01234567-89AB-CDEF-0123-456789ABCDEF'"},
        BulkCase{"char(4)", "00000002 d6d0", nullptr},
        BulkCase{"varchar(4)", "00000004 'abcd'", nullptr},
        BulkCase{"varchar(4)", "00000000", nullptr}, BulkCase{"clob", "00000003 'abc'", nullptr},
        BulkCase{"binary(3)", "00000003 010002", nullptr},
        BulkCase{"blob", "00000002 0080", nullptr}, BulkCase{"blob", "00000000", nullptr}));

TEST_F(Bulk, AColumnWithoutATypeTakesTexts) {
    client.Ask("create table V (v)", DONE);
    Begin(LoadText("APPEND", "V"));
    client.Send(Wire("00000007 02 00000002 '17'  00000000"));
    client.Expect("K");
    client.Ask("select v, typeof(v) as k from V",
               Wire("41 00000002 00000003 'V.v' 0000001e ffffffff 00000002"
                    "            00000001 'k' 0000001e ffffffff 00000002"
                    "52 00000002 '17' 00000004 'text' 4b"));
}

TEST_F(Bulk, ARefusedRowIsToldWhileTheClientGoesOn) {
    Begin(LoadText("APPEND", "T"));
    client.Send(Row(1, "x") + Row(2, "toolong") + Row(3, "z"));
    EXPECT_EQ("[E16001]value 'toolong' does not fit VARCHAR(5) (row 2)", ReceiveMidStream("E"));
    for (int i = 0; i < 100; i++) {
        client.Send(Row(4, "x"));
    }
    client.Send(END_OF_STREAM);
    client.Expect("K");
    client.Ask("delete from T", Deleted(0));
}

TEST_F(Bulk, ARefusedRowInAReplaceBringsTheOldRowsBack) {
    client.Ask("insert into T values (1, 'x')", Inserted("1"));
    Begin(ImportText("REPLACE", "T", 1));
    client.Send(Row(1, "toolong") + END_OF_STREAM);
    EXPECT_EQ("[E16001]value 'toolong' does not fit VARCHAR(5) (row 1)", ReceiveMidStream("E"));
    client.Expect("K");
    client.Ask("delete from T", Deleted(1));
}

TEST_F(Bulk, ARefusedRowLeavesTheTransactionAsItWas) {
    RawClient careful(server.Port());
    careful.LogIn(" auto_commit = 'off'");
    careful.Ask("insert into T values (1, 'x')", Inserted("1"));
    Begin(LoadText("APPEND", "T"), &careful);
    careful.Send(Row(2, "x") + Row(3, "toolong") + END_OF_STREAM);
    EXPECT_EQ("[E16001]value 'toolong' does not fit VARCHAR(5) (row 2)", careful.ReceiveRefusal());
    careful.Ask("COMMIT;", DONE);
    client.Ask("delete from T", Deleted(1));
}

TEST_F(Bulk, UseModeTwoLeavesRefusedRowsOut) {
    client.Ask("create unique index I on T (a)", DONE);
    Begin(ImportText("APPEND", "T", 2));
    client.Send(Row(1, "x") + Row(2, "toolong") + Row(1, "y") + Row(3, "z"));
    EXPECT_EQ("[E16001]value 'toolong' does not fit VARCHAR(5) (row 2)", ReceiveMidStream("W"));
    EXPECT_EQ("[E13001]UNIQUE constraint failed: T.a (row 3)", ReceiveMidStream("W"));
    client.Send(END_OF_STREAM);
    EXPECT_EQ("[E10071]2 of 4 rows left out", ReceiveMidStream("W"));
    client.Expect("K");
    client.Ask("select * from T", FIELDS + Wire("52 00000004 00000001 00000001 'x'"
                                                "52 00000004 00000003 00000001 'z' 4b"));
}

TEST_F(Bulk, UseModeTwoTellsTwentyRefusedRowsAndCountsTheOthers) {
    Begin(ImportText("APPEND", "T", 2));
    std::string rows;
    for (uint32_t i = 1; i <= 5000; i++) {
        rows += Row(i, "toolong");
    }
    client.Send(rows + END_OF_STREAM);
    for (int i = 1; i <= 20; i++) {
        EXPECT_EQ("[E16001]value 'toolong' does not fit VARCHAR(5) (row " + std::to_string(i) + ")",
                  ReceiveMidStream("W"));
    }
    EXPECT_EQ("[E10071]5000 of 5000 rows left out", ReceiveMidStream("W"));
    client.Expect("K");
}

// Rows that are not what they should be, in a stream that stays in step.
struct MalformedRow {
    const char *row;
    const char *refusal;
};

class MalformedRows : public Bulk, public ::testing::WithParamInterface<MalformedRow> {};

TEST_P(MalformedRows, AreRefusedInEveryMode) {
    for (const std::string &command : {LoadText("APPEND", "T"), ImportText("", "T", 1)}) {
        Begin(command);
        client.Send(Row(1, "x") + Wire(GetParam().row) + Row(1, "x") + END_OF_STREAM);
        EXPECT_EQ(GetParam().refusal, ReceiveMidStream("E"));
        client.Expect("K");
        client.Ask("delete from T", Deleted(0));
    }
    Begin(ImportText("", "T", 2));
    client.Send(Row(1, "x") + Wire(GetParam().row) + Row(1, "x") + END_OF_STREAM);
    EXPECT_EQ(GetParam().refusal, ReceiveMidStream("W"));
    EXPECT_EQ("[E10071]1 of 3 rows left out", ReceiveMidStream("W"));
    client.Expect("K");
    client.Ask("delete from T", Deleted(2));
}

INSTANTIATE_TEST_SUITE_P(
    All, MalformedRows,
    ::testing::Values(
        MalformedRow{"00000001 00", "[E10070]column a is neither there nor NULL (row 2)"},
        MalformedRow{"00000001 07", "[E10070]column a is neither there nor NULL (row 2)"},
        MalformedRow{"00000001 0a", "[E10070]a row ends before column a (row 2)"},
        MalformedRow{"00000004 0a 000000", "[E10070]a row ends before column a (row 2)"},
        MalformedRow{"00000009 0a 00000004 00000001", "[E10070]a row ends before column b (row 2)"},
        MalformedRow{"00000005 06 00000004",
                     "[E10070]column a has 4 bytes, of which the row holds 0 (row 2)"},
        MalformedRow{"00000005 06 ffffffff",
                     "[E10070]column a has -1 bytes, of which the row holds 0 (row 2)"},
        MalformedRow{"00000009 09 7fffffff 00000000",
                     "[E10070]column b has 2147483647 bytes, of which the row holds 4 (row 2)"},
        MalformedRow{"00000002 05 00", "[E10070]a row has 1 bytes behind its last column (row 2)"},
        MalformedRow{"00000008 06 00000003 000001",
                     "[E16001]column a got 3 bytes that are no INTEGER (row 2)"},
        MalformedRow{"00000005 06 00000000",
                     "[E16001]column a got 0 bytes that are no INTEGER (row 2)"}));

TEST_F(Bulk, ARowShorterThanItsBitmapIsRefused) {
    client.Ask("create table W (a integer, b integer, c integer, d integer, e integer)", DONE);
    Begin(LoadText("APPEND", "W"));
    client.Send(Wire("00000001 55 00000000"));
    EXPECT_EQ("[E10070]a row is shorter than its bitmap (row 1)", ReceiveMidStream("E"));
    client.Expect("K");
    Begin(LoadText("APPEND", "W"));
    client.Send(Wire("0000000a 55 02 00000004 00000007 00000000"));
    client.Expect("K");
    client.Ask("delete from W where e = 7 and a is null", Deleted(1));
}

class LostStream : public Bulk, public ::testing::WithParamInterface<const char *> {};

TEST_P(LostStream, EndsItsConnectionAndNothingOfItStays) {
    RawClient bad(server.Port());
    bad.LogIn(" auto_commit = 'on'");
    Begin(LoadText("APPEND", "T"), &bad);
    bad.Send(Row(1, "x") + Wire(GetParam()));
    bad.ExpectEnd();
    client.Ask("delete from T", Deleted(0));
}

INSTANTIATE_TEST_SUITE_P(All, LostStream, ::testing::Values("ffffffff", "80000000", "20000001"));

TEST_F(Bulk, AConnectionCutAtAnyByteLeavesNothing) {
    const std::string whole = Row(1, "x") + Row(2, "yy");
    for (size_t cut = 0; cut <= whole.size(); cut++) {
        RawClient bad(server.Port());
        bad.LogIn(" auto_commit = 'on'");
        Begin(LoadText("APPEND", "T"), &bad);
        bad.Send(whole.substr(0, cut));
        bad.Close();
    }
    client.Ask("delete from T", Deleted(0));
}

TEST_F(Bulk, AClientThatStopsInMidStreamDoesNotKeepTheServerFromEnding) {
    Begin(LoadText("APPEND", "T"));
    client.Send(Row(1, "x"));
    server.Stop();
    client.ExpectEnd();
}

TEST_F(Bulk, WhatCannotBeLoadedIsRefusedBeforeTheStream) {
    EXPECT_EQ("[E5001]no such table: U", client.AskRefused(LoadText("APPEND", "U")));
    EXPECT_EQ("[E5001]no such table: U", client.AskRefused(LoadText("REPLACE", "U")));
    EXPECT_EQ("[E5001]no such table: T", client.AskRefused(LoadText("APPEND", "temp.T")));
    client.Ask("create view X as select * from T", DONE);
    EXPECT_EQ("[E11000]cannot modify X because it is a view",
              client.AskRefused(LoadText("APPEND", "X")));
    client.Ask("insert into T values (1, 'x')", Inserted("1"));
}

TEST_F(Bulk, ALockedDatabaseRefusesBeforeTheStream) {
    RawClient holder(server.Port());
    holder.LogIn(" auto_commit = 'off'");
    holder.Ask("insert into T values (1, 'x')", Inserted("1"));
    RawClient waiting(server.Port());
    waiting.LogIn(" lock_timeout = 1 auto_commit = 'on'");
    EXPECT_EQ("[E17001]database is locked", waiting.AskRefused(LoadText("APPEND", "T")));
}

TEST_F(Bulk, CommandsThatAreNotWhole) {
    const std::string tail = " FROM STREAM RECORDS DELIMITED BY '' FIELDS TERMINATED BY ''";
    for (const std::string &text :
         {std::string("LOAD"), std::string("IMPORT"), "LOAD TABLE T" + tail + " PARALLEL 1,1",
          "LOAD APPEND TABLE T" + tail, "LOAD APPEND TABLE T" + tail + " PARALLEL 1",
          "LOAD APPEND TABLE T" + tail + " PARALLEL 1,x",
          "LOAD APPEND TABLE T" + tail + " PARALLEL 1,1 x",
          "LOAD APPEND TABLE T" + tail + " USE MODE 1",
          "LOAD APPEND TABLE" + tail + " PARALLEL 1,1", "IMPORT TABLE T" + tail + " USE MODE 3",
          "IMPORT TABLE T" + tail + " USE MODE -1", "IMPORT TABLE T" + tail + " PARALLEL 1,1",
          std::string("LOAD APPEND TABLE T FROM STREAM RECORDS DELIMITED BY 'x' FIELDS "
                      "TERMINATED BY '' PARALLEL 1,1")}) {
        EXPECT_EQ("[E19001]LOAD or IMPORT of a stream is not written like this",
                  client.AskRefused(text));
    }
}

TEST_F(Bulk, GeneratedColumnsAreLeftOut) {
    client.Ask("create table G (a integer, twice integer generated always as (a * 2), b varchar)",
               DONE);
    Begin(LoadText("APPEND", "G"));
    client.Send(Row(4, "x") + END_OF_STREAM);
    client.Expect("K");
    client.Ask("delete from G where twice = 8 and b = 'x'", Deleted(1));
}

TEST_F(Bulk, TriggersOfTheUserAreSetOff) {
    client.Ask("create table N (n numeric(5,1), g guid)", DONE);
    client.Ask("create table Seen (n varchar)", DONE);
    client.Ask("create trigger Watch after insert on N begin insert into Seen values (new.n); end",
               DONE);
    Begin(LoadText("APPEND", "N"));
    client.Send(Wire("00000009 06 00000004 '1.25' 00000000"));
    client.Expect("K");
    client.Ask("delete from Seen where n = '1.3'", Deleted(1));
    client.Ask("delete from N where n = '1.3'", Deleted(1));
}

TEST_F(Bulk, IndexesAreMadeAnewForATable) {
    client.Ask("create index I on T (a)", DONE);
    client.Ask("insert into T values (1, 'x')", Inserted("1"));
    client.Send(Wire("3f 0000000b 'REINDEX T.*' 00 00000000"));
    client.Expect("K");
    client.Ask("reindex main.\"T\".*;", DONE);
    client.Ask("REINDEX T", DONE);
    EXPECT_EQ("[E5001]unable to identify the object to be reindexed",
              client.AskRefused("REINDEX U.*"));
    client.Ask("delete from T where a = 1", Deleted(1));
}

}  // namespace
}  // namespace tavud_test
