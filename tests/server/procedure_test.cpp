// Procedures: their calls, and the items of their output parameters.
#include <gtest/gtest.h>

#include "server/raw_client.h"

namespace tavud_test {
namespace {

class Procedures : public ::testing::Test {
protected:
    Procedures() : client(server.Port()) {
        client.LogIn(" auto_commit = 'on' lob_ret=descriptor");
    }

    void Send(const std::string &text, uint32_t count, std::string_view written) {
        client.Send(Frame(text, count, Wire(written)));
    }

    RunningServer server;
    RawClient client;
};

TEST_F(Procedures, OutputsComeWithTheIndexesOfTheirParameters) {
    client.Send(
        Wire("3f 0000001d 'CALL TAVUD_DIVIDE(?, ?, ?, ?)' 00 00000004"
             "0000 0001 0005 00000004 00000011  0000 0001 0005 00000004 00000005"
             "0000 0002 0006 00000000  0000 0002 0005 00000000"));
    client.Expect(
        Wire("50 00000002 00000006 00000008 0000000000000003"
             "50 00000003 00000006 00000008 0000000000000002 4b"));
}

TEST_F(Procedures, ANullOutputHasNoBytes) {
    Send("exec tavud_divide(17, 0, ?, ?)", 2, "0000 0002 0006 00000000 0000 0002 0006 00000000");
    client.Expect(Wire("50 00000000 00000006 00000000 50 00000001 00000006 00000000 4b"));
}

TEST_F(Procedures, NamedParametersAreCountedAsTheyCame) {
    Send("Execute Tavud_Divide(:a * 2, :b, :q, :r);", 4,
         "0001 'r' 0002 0006 00000000  0001 'b' 0001 0005 00000004 00000004"
         "0001 'q' 0002 0006 00000000  0001 'a' 0001 0005 00000004 00000005");
    client.Expect(
        Wire("50 00000002 00000006 00000008 0000000000000002"
             "50 00000000 00000006 00000008 0000000000000002 4b"));
}

TEST_F(Procedures, APreparedCallTellsWhichOfItsParametersAreOutputs) {
    client.Ask("PREPARE ST0 AS CALL TAVUD_MEASURE(?, ?, ?)",
               Wire("24 00000003 00000000 0000001e ffffffff 00000001"
                    "            00000000 0000001e ffffffff 00000002"
                    "            00000000 0000001e ffffffff 00000002 4b"));
    for (int run = 0; run < 2; run++) {
        Send("? ST0 ", 3,
             "0000 0001 001e 00000003 c3a9 'e'  0000 0002 0005 00000000 0000 0002 0005 00000000");
        client.Expect(
            Wire("50 00000001 00000005 00000004 00000002"
                 "50 00000002 00000005 00000004 00000003 4b"));
    }
}

TEST_F(Procedures, ACallStandsAmongOtherStatements) {
    client.Ask("create table T (a integer)", DONE);
    Send("insert into T values (?); call tavud_measure(?, ?, ?); delete from T", 4,
         "0000 0001 0005 00000004 00000001  0000 0001 0021 00000002 00ff"
         "0000 0002 0005 00000000  0000 0002 0005 00000000");
    client.Expect(
        Wire("49 00000001 '1' 50 00000002 00000005 00000004 00000002"
             "50 00000003 00000005 00000004 00000002 44 00000001 4b"));
}

// A value given to TAVUD_CONVERT and what comes back for it.
struct ConvertCase {
    const char *declaration;
    const char *input;   // type code, length, bytes
    const char *output;  // type, length, bytes
};

class ConvertedTo : public Procedures, public ::testing::WithParamInterface<ConvertCase> {};

TEST_P(ConvertedTo, ComesInTheFormOfItsRows) {
    SCOPED_TRACE(GetParam().declaration);
    Send(std::string("call tavud_convert('") + GetParam().declaration + "', ?, ?)", 2,
         std::string("0000 0001") + GetParam().input + "0000 0002 001e 00000000");
    client.Expect(Wire(std::string("50 00000001") + GetParam().output + "4b"));
}

INSTANTIATE_TEST_SUITE_P(
    All, ConvertedTo,
    ::testing::Values(
        ConvertCase{"boolean", "0005 00000004 00000001", "00000002 00000001 'T'"},
        ConvertCase{"tinyint", "0003 00000001 80", "00000003 00000001 80"},
        ConvertCase{"smallint", "0004 00000002 8000", "00000004 00000002 8000"},
        ConvertCase{"integer", "0005 00000004 80000000", "00000005 00000004 80000000"},
        ConvertCase{"integer", "001e 00000002 '42'", "00000005 00000004 0000002a"},
        ConvertCase{"bigint", "0006 00000008 8000000000000000",
                    "00000006 00000008 8000000000000000"},
        ConvertCase{"numeric(10,2)", "001e 00000004 '12.5'", "00000007 00000005 '12.50'"},
        ConvertCase{"float", "0008 00000004 3fc00000", "00000008 00000004 3fc00000"},
        ConvertCase{"double", "001e 00000003 '1.5'", "00000009 00000008 3ff8000000000000"},
        ConvertCase{"date", "001e 0000000a '2024-03-01'", "0000000a 00000004 00004d47"},
        ConvertCase{"time", "001e 00000008 '10:20:30'", "0000000b 00000004 023815b0"},
        ConvertCase{"time with time zone", "001e 0000000f '13:30:00 +05:30'",
                    "0000000c 00000006 01b77400 014a"},
        ConvertCase{"datetime", "001e 0000000a '1970-01-02'", "0000000d 00000008 0000000005265c00"},
        ConvertCase{"datetime with time zone", "001e 0000001a '1969-12-31 19:00:00 -05:00'",
                    "0000000e 0000000a 0000000000000000 fed4"},
        ConvertCase{"interval year", "001e 00000001 '7'", "0000000f 00000004 00000007"},
        ConvertCase{"interval year to month", "001e 00000004 '3-04'", "00000010 00000004 00000028"},
        ConvertCase{"interval month", "001e 00000002 '-5'", "00000011 00000004 fffffffb"},
        ConvertCase{"interval day", "001e 00000002 '12'", "00000012 00000004 0000000c"},
        ConvertCase{"interval day to hour", "001e 00000004 '1 02'", "00000013 00000004 0000001a"},
        ConvertCase{"interval hour", "001e 00000003 '100'", "00000014 00000004 00000064"},
        ConvertCase{"interval day to minute", "001e 00000006 '1 2:03'",
                    "00000015 00000004 0000061b"},
        ConvertCase{"interval hour to minute", "001e 00000004 '2:03'",
                    "00000016 00000004 0000007b"},
        ConvertCase{"interval minute", "001e 00000002 '90'", "00000017 00000004 0000005a"},
        ConvertCase{"interval day to second", "001e 00000009 '1 2:03:04'",
                    "00000018 00000008 00000015d5f64600"},
        ConvertCase{"interval hour to second", "001e 00000007 '1:02:03'",
                    "00000019 00000008 00000000dde878c0"},
        ConvertCase{"interval minute to second", "001e 00000004 '2:03'",
                    "0000001a 00000008 000000000754d4c0"},
        ConvertCase{"interval second", "001e 00000002 '90'", "0000001b 00000008 00000000055d4a80"},
        ConvertCase{"rowversion", "0021 00000002 00ff", "0000001c 00000002 00ff"},
        ConvertCase{"guid", "001e 00000020 '0123456789abcdef0123456789abcdef'",
                    "0000001d 00000024 '01234567-89AB-CDEF-0123-456789ABCDEF'"},
        ConvertCase{"varchar(4)", "001e 00000004 'abcd'", "0000001e 00000004 'abcd'"},
        ConvertCase{"clob", "0020 00000003 'abc'", "00000020 00000003 'abc'"},
        ConvertCase{"binary(3)", "0021 00000003 010002", "00000021 00000003 010002"},
        ConvertCase{"blob", "0022 00000002 0080", "00000022 00000002 0080"},
        ConvertCase{"date", "001e 00000000", "0000000a 00000000"}));

TEST_F(Procedures, ALargeOutputTravelsWholeAndWithoutAMark) {
    std::string value(300000, '\0');
    for (size_t i = 0; i < value.size(); i++) {
        value[i] = static_cast<char>(i * 7 + i / 251);
    }
    client.Send(Frame(
        "call tavud_convert('BLOB', ?, ?)", 2,
        Wire("0000 0001 0022") + FourBytes(300000) + value + Wire("0000 0002 0022 00000000")));
    client.Expect(Wire("50 00000001 00000022") + FourBytes(300000) + value + "K");
}

TEST_F(Procedures, AnOutputTakesAnOutputParameter) {
    Send("call tavud_divide(1, 2, ?, ?)", 2,
         "0000 0002 0006 00000000  0000 0001 0006 00000008 0000000000000001");
    EXPECT_EQ("[E10053]argument 4 of TAVUD_DIVIDE is an output: it takes an output parameter",
              client.ReceiveRefusal());
    Send("call tavud_divide(1, 2, ?, 4)", 1, "0000 0002 0006 00000000");
    EXPECT_EQ("[E10053]argument 4 of TAVUD_DIVIDE is an output: it takes an output parameter",
              client.ReceiveRefusal());
    Send("call tavud_divide(1, 2, ? + 0, ?)", 2,
         "0000 0002 0006 00000000  0000 0002 0006 00000000");
    EXPECT_EQ("[E10053]argument 3 of TAVUD_DIVIDE is an output: it takes an output parameter",
              client.ReceiveRefusal());
}

TEST_F(Procedures, AValueThatDoesNotFitGivesNoOutput) {
    Send("call tavud_convert('TINYINT', 300, ?)", 1, "0000 0002 0006 00000000");
    EXPECT_EQ("[E16001]value 300 does not fit TINYINT", client.ReceiveRefusal());
    Send("call tavud_convert('POINT', 300, ?)", 1, "0000 0002 0006 00000000");
    EXPECT_EQ("[E5010]there is no type POINT", client.ReceiveRefusal());
    Send("call tavud_convert(null, 300, ?)", 1, "0000 0002 0006 00000000");
    EXPECT_EQ("[E5010]there is no type ", client.ReceiveRefusal());
}

TEST_F(Procedures, CallsThatAreNone) {
    EXPECT_EQ("[E5004]no such procedure: nothing", client.AskRefused("call nothing(1)"));
    EXPECT_EQ("[E10049]TAVUD_DIVIDE takes 4 arguments, not 2",
              client.AskRefused("call tavud_divide(1, (2, 3))"));
    EXPECT_EQ("[E10049]statement has more parameters than the 0 that came",
              client.AskRefused("call tavud_measure(?, ?, ?)"));
    for (const char *text :
         {"call", "call tavud_divide", "call tavud_divide(1", "exec tavud_divide()",
          "call tavud_divide(1,,2,3)", "call tavud_divide(1,2,3,)",
          "call tavud_divide(1, 2, 3, 4) x", "call tavud_divide(1) (2)"}) {
        EXPECT_EQ("[E19001]CALL takes a procedure and its arguments in parentheses",
                  client.AskRefused(text));
    }
    EXPECT_EQ("[E5002]no such column: x", client.AskRefused("call tavud_divide(x, 1, 2, 3)"));
}

}  // namespace
}  // namespace tavud_test
