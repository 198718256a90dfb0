// Array execution: the first row as single parameters, the later ones as counted blocks.
#include <gtest/gtest.h>

#include "server/raw_client.h"

namespace tavud_test {
namespace {

const std::string FIELDS = Wire(
    "41 00000002 00000003 'T.a' 00000005 ffffffff 00000002"
    "            00000003 'T.b' 0000001e 00000005 00000402");

// A session with a table. Its server accepts by protocol 301, with which each value of a later row
// has its type in front.
class Arrays : public ::testing::Test {
protected:
    Arrays() : client(server.Port()) {
        client.LogIn(" auto_commit = 'on'");
        client.Ask("create table T (a integer, b varchar(5))", DONE);
    }

    // Sends a text with `rows` rows of `count` parameters.
    void Send(const std::string &text, uint32_t rows, uint32_t count, std::string_view written) {
        client.Send(Frame(text, rows << 16 | count, Wire(written)));
    }

    RunningServer server;
    RawClient client;
};

TEST_F(Arrays, ValuesOfLaterRowsHaveATypeInFront) {
    client.Send(
        Wire("3f 0000001b 'insert into T values (?, ?)' 00 00030002"
             "0000 0001 0005 00000004 00000001  0000 0001 001e 00000002 'ab'"
             "0000000f  05 00000004 00000002  1e 00000001 'c'"
             "0000000e  05 00000004 ffffffff  1e 00000000"));
    client.Expect(Wire("55 00000003 4b"));
    client.Ask("select * from T", FIELDS + Wire("52 00000004 00000001 00000002 'ab'"
                                                "52 00000004 00000002 00000001 'c'"
                                                "52 00000004 ffffffff 00000000 4b"));
}

TEST(ArraysOfProtocol201, ValuesOfLaterRowsHaveNoTypeInFront) {
    const RunningServer server({"--protocol", "201"});
    RawClient client(server.Port());
    client.Send(LoginText(" auto_commit = 'on'"));
    client.Expect("K");
    client.Ask("create table T (a integer, b varchar(5))", DONE);
    client.Send(
        Wire("3f 0000001b 'insert into T values (?, ?)' 00 00030002"
             "0000 0001 0005 00000004 00000001  0000 0001 001e 00000002 'ab'"
             "0000000d  00000004 00000002  00000001 'c'"
             "0000000c  00000004 ffffffff  00000000"));
    client.Expect(Wire("55 00000003 4b"));
    client.Ask("select * from T", FIELDS + Wire("52 00000004 00000001 00000002 'ab'"
                                                "52 00000004 00000002 00000001 'c'"
                                                "52 00000004 ffffffff 00000000 4b"));
}

TEST_F(Arrays, AnArrayOfOneRowHasNoBlocks) {
    Send("insert into T values (?, ?)", 1, 2,
         "0000 0001 0005 00000004 00000007 0000 0001 001e 00000001 'x'");
    client.Expect(Inserted("1"));
}

TEST_F(Arrays, APreparedStatementTakesThemByName) {
    client.Send(Frame("PREPARE ST0 AS insert into T (b, a) values (:text, :number)"));
    client.Expect(
        Wire("24 00000002 00000004 'text' 0000001e ffffffff 00000001"
             "            00000006 'number' 0000001e ffffffff 00000001 4b"));
    Send("? ST0 ", 2, 2,
         "0006 'number' 0001 0005 00000004 00000001  0004 'text' 0001 001e 00000001 'x'"
         "0000000f  05 00000004 00000002  1e 00000001 'y'");
    client.Expect(Updated(2));
    client.Ask("select * from T", FIELDS + Wire("52 00000004 00000001 00000001 'x'"
                                                "52 00000004 00000002 00000001 'y' 4b"));
}

TEST_F(Arrays, NullInTheFirstRowDoesNotMakeTheOthersNull) {
    Send("insert into T values (?, ?)", 2, 2,
         "0000 0001 0005 00000000  0000 0001 001e 00000000"
         "0000000f  05 00000004 00000002  1e 00000001 'c'");
    client.Expect(Updated(2));
    client.Ask("select * from T", FIELDS + Wire("52 00000000 00000000"
                                                "52 00000004 00000002 00000001 'c' 4b"));
}

TEST_F(Arrays, UpdatesAndDeletesGiveTheSumOfTheirRows) {
    client.Ask("insert into T values (1, 'x'), (2, 'x'), (2, 'y'), (3, 'z')", Updated(4));
    Send("update T set b = 'u' where a = ?", 3, 1,
         "0000 0001 0005 00000004 00000001  00000009 05 00000004 00000002"
         "00000009 05 00000004 00000009");
    client.Expect(Updated(3));
    Send("delete from T where a = ?", 2, 1,
         "0000 0001 0005 00000004 00000002  00000009 05 00000004 00000003");
    client.Expect(Deleted(3));
    Send("delete from T where a = ?", 2, 1,
         "0000 0001 0005 00000004 00000008  00000009 05 00000004 00000009");
    client.Expect(Deleted(0));
}

TEST_F(Arrays, RowsOfASelectComeForEachRow) {
    client.Ask("insert into T values (1, 'x'), (2, 'y')", Updated(2));
    Send("select * from T where a >= ?", 2, 1,
         "0000 0001 0005 00000004 00000002  00000009 05 00000004 00000001");
    client.Expect(FIELDS + Wire("52 00000004 00000002 00000001 'y'") + FIELDS +
                  Wire("52 00000004 00000001 00000001 'x' 52 00000004 00000002 00000001 'y' 4b"));
}

TEST_F(Arrays, AllRowsGoOrFailTogether) {
    client.Ask("create unique index I on T (a)", DONE);
    Send("insert into T values (?, 'x')", 3, 1,
         "0000 0001 0005 00000004 00000001  00000009 05 00000004 00000002"
         "00000009 05 00000004 00000001");
    EXPECT_EQ("[E13001]UNIQUE constraint failed: T.a (row 3)", client.ReceiveRefusal());
    client.Ask("delete from T", Deleted(0));
}

TEST_F(Arrays, AFailedArrayLeavesItsTransactionAsItWas) {
    RawClient careful(server.Port());
    careful.LogIn(" auto_commit = 'off'");
    careful.Ask("create unique index I on T (a)", DONE);
    careful.Ask("insert into T values (7, 'x')", Inserted("1"));
    careful.Send(Frame("insert into T values (?, 'x')", 0x00020001,
                       Wire("0000 0001 0005 00000004 00000001  00000009 05 00000004 00000007")));
    EXPECT_EQ("[E13001]UNIQUE constraint failed: T.a (row 2)", careful.ReceiveRefusal());
    careful.Ask("COMMIT;", DONE);
    client.Ask("select * from T", FIELDS + Wire("52 00000004 00000007 00000001 'x' 4b"));
}

// A block that is not what it should be: its length is right, so the stream stays in step.
class MalformedBlocks : public Arrays, public ::testing::WithParamInterface<const char *> {};

TEST_P(MalformedBlocks, AreRefused) {
    Send(
        "insert into T values (?, ?)", 2, 2,
        std::string("0000 0001 0005 00000004 00000001  0000 0001 001e 00000002 'ab'") + GetParam());
    EXPECT_EQ("[E10052]values of an array row are malformed (row 2)", client.ReceiveRefusal());
    client.Ask("delete from T", Deleted(0));
}

INSTANTIATE_TEST_SUITE_P(All, MalformedBlocks,
                         ::testing::Values("00000000", "00000001 05", "00000004 05 000000",
                                           "00000009 05 00000004 00000002",
                                           "0000000e 05 00000004 00000002 1e 00000001",
                                           "00000005 05 ffffffff", "00000009 05 7fffffff 00000002",
                                           "00000005 05 80000000",
                                           "00000010 05 00000004 00000002 1e 00000001 'c' 00"));

TEST_F(Arrays, AValueThatCannotBeReadIsRefusedWithItsRow) {
    Send("insert into T values (?, 'x')", 2, 1,
         "0000 0001 0005 00000004 00000001  00000008 05 00000003 000002");
    EXPECT_EQ("[E10051]parameter 1 of type 5 and 3 bytes cannot be read (row 2)",
              client.ReceiveRefusal());
    Send("insert into T values (?, 'x')", 2, 1,
         "0000 0001 0005 00000003 000001  00000009 05 00000004 00000002");
    EXPECT_EQ("[E10051]parameter 1 of type 5 and 3 bytes cannot be read (row 1)",
              client.ReceiveRefusal());
}

TEST_F(Arrays, StatementsThatTakeNoArray) {
    const std::string row = "0000 0001 0005 00000004 00000001  00000009 05 00000004 00000002";
    Send("insert into T values (?, 'x'); delete from T", 2, 1, row);
    EXPECT_EQ("[E10052]an array execution takes one statement", client.ReceiveRefusal());
    for (const char *text : {"create table U (a integer)", "COMMIT;", "show version",
                             "tavud message 'x'", "call tavud_divide(?, 1, 2, 3)"}) {
        Send(text, 2, 1, row);
        EXPECT_EQ("[E10052]an array execution takes SELECT, INSERT, UPDATE or DELETE",
                  client.ReceiveRefusal());
    }
}

TEST_F(Arrays, AnArrayWithoutParametersIsAnOrdinaryExecution) {
    Send("insert into T values (1, 'x')", 5, 0, "");
    client.Expect(Inserted("1"));
}

TEST_F(Arrays, TheNumberOfParametersMustFit) {
    Send("insert into T values (?, ?)", 2, 1,
         "0000 0001 0005 00000004 00000001  00000009 05 00000004 00000002");
    EXPECT_EQ("[E10049]statement has more parameters than the 1 that came (row 1)",
              client.ReceiveRefusal());
}

TEST_F(Arrays, TenThousandRowsGoInOneRequest) {
    std::string blocks = Wire("0000 0001 0005 00000004 00000001");
    for (uint32_t i = 2; i <= 10000; i++) {
        blocks += Wire("00000009 05 00000004") + FourBytes(i);
    }
    client.Send(Frame("insert into T (a) values (?)", 10000U << 16 | 1, blocks));
    client.Expect("U" + FourBytes(10000) + "K");
    client.Ask("delete from T where a between 1 and 10000", "D" + FourBytes(10000) + "K");
}

TEST_F(Arrays, RowsAboveTheSignOfTheWordAreCounted) {
    std::string blocks = Wire("0000 0001 0005 00000004 00000001");
    for (uint32_t i = 2; i <= 65535; i++) {
        blocks += Wire("00000005 05 00000000");
    }
    client.Send(Frame("insert into T (a) values (?)", 0xffff0001, blocks));
    client.Expect("U" + FourBytes(65535) + "K");
    client.Ask("delete from T where a is null", "D" + FourBytes(65534) + "K");
}

TEST_F(Arrays, LongValuesTravelWhole) {
    client.Ask("create table L (c clob, b blob)", DONE);
    const std::string text(200000, 'x');
    const std::string bytes(100000, '\0');
    client.Send(Frame("insert into L values (?, ?)", 0x00020002,
                      Wire("0000 0001 0020 00000001 'a' 0000 0001 0022 00000001 ff") +
                          FourBytes(10 + 300000) + Wire("20") + FourBytes(200000) + text +
                          Wire("22") + FourBytes(100000) + bytes));
    client.Expect(Updated(2));
    client.Ask("select * from L", Wire("41 00000002 00000003 'L.c' 00000020 ffffffff 00000002"
                                       "            00000003 'L.b' 00000022 ffffffff 00000002"
                                       "52 00000001 'a' 00000001 ff 52") +
                                      FourBytes(200000) + text + FourBytes(100000) + bytes + "K");
}

// The types that clients send in arrays: the first and a later row.
struct ArrayCase {
    const char *declaration;
    const char *first;  // type code, length, bytes
    const char *later;  // the block
    const char *rows;   // both rows of the column
};

class ArrayTypes : public Arrays, public ::testing::WithParamInterface<ArrayCase> {};

TEST_P(ArrayTypes, Travel) {
    client.Ask(std::string("create table V (v ") + GetParam().declaration + ")", DONE);
    Send("insert into V values (?)", 2, 1,
         std::string("0000 0001") + GetParam().first + GetParam().later);
    client.Expect(Updated(2));
    client.Send(Frame("select v from V"));
    client.Receive(24);  // the field list of one column
    client.Expect(Wire(GetParam().rows) + "K");
}

INSTANTIATE_TEST_SUITE_P(
    All, ArrayTypes,
    ::testing::Values(
        ArrayCase{"boolean", "0005 00000004 00000001", "00000009 05 00000004 00000000",
                  "52 00000001 'T' 52 00000001 'F'"},
        ArrayCase{"tinyint", "0003 00000001 80", "00000006 03 00000001 7f",
                  "52 00000001 80 52 00000001 7f"},
        ArrayCase{"smallint", "0004 00000002 8000", "00000007 04 00000002 7fff",
                  "52 00000002 8000 52 00000002 7fff"},
        ArrayCase{"integer", "0005 00000004 80000000", "00000009 05 00000004 7fffffff",
                  "52 00000004 80000000 52 00000004 7fffffff"},
        ArrayCase{"bigint", "0006 00000008 8000000000000000",
                  "0000000d 06 00000008 7fffffffffffffff",
                  "52 00000008 8000000000000000 52 00000008 7fffffffffffffff"},
        ArrayCase{"float", "0008 00000004 3fc00000", "00000009 08 00000004 bfc00000",
                  "52 00000004 3fc00000 52 00000004 bfc00000"},
        ArrayCase{"double", "0009 00000008 3ff8000000000000",
                  "0000000d 09 00000008 bff8000000000000",
                  "52 00000008 3ff8000000000000 52 00000008 bff8000000000000"},
        ArrayCase{"numeric(10,2)", "001e 00000003 '1.5'", "00000009 1e 00000004 '-2.5'",
                  "52 00000004 '1.50' 52 00000005 '-2.50'"},
        ArrayCase{"date", "001e 0000000a '2024-03-01'", "0000000f 1e 0000000a '1970-01-02'",
                  "52 00000004 00004d47 52 00000004 00000001"},
        ArrayCase{"time", "001e 00000008 '10:20:30'", "0000000d 1e 00000008 '00:00:01'",
                  "52 00000004 023815b0 52 00000004 000003e8"},
        ArrayCase{"datetime", "001e 00000013 '1970-01-02 00:00:00'",
                  "00000018 1e 00000013 '1970-01-01 00:00:01'",
                  "52 00000008 0000000005265c00 52 00000008 00000000000003e8"},
        ArrayCase{"binary(3)", "0021 00000003 010002", "00000006 21 00000001 ff",
                  "52 00000003 010002 52 00000001 ff"},
        ArrayCase{"clob", "0020 00000003 'abc'", "00000006 20 00000001 'd'",
                  "52 00000003 'abc' 52 00000001 'd'"},
        ArrayCase{"blob", "0022 00000002 0080", "00000006 22 00000001 00",
                  "52 00000002 0080 52 00000001 00"}));

}  // namespace
}  // namespace tavud_test
