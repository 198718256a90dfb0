// Columns of every type: what is stored, what comes back, and what is refused.
#include <gtest/gtest.h>

#include "server/raw_client.h"

namespace tavud_test {
namespace {

// One column of one type and one value on its way in and out.
struct TypeCase {
    const char *declaration;
    const char *field;      // type, size and flags of the field list
    const char *parameter;  // type code, length and bytes of the value
    const char *value;      // length and bytes of the row
};

// The first part are the forms that clients send, the second the wire forms of each type.
const TypeCase type_cases[] = {
    {"boolean", "00000002 ffffffff 00000002", "0005 00000004 00000001", "00000001 'T'"},
    {"boolean", "00000002 ffffffff 00000002", "0005 00000004 00000000", "00000001 'F'"},
    {"boolean", "00000002 ffffffff 00000002", "001e 00000004 'TRUE'", "00000001 'T'"},
    {"boolean", "00000002 ffffffff 00000002", "001e 00000001 'f'", "00000001 'F'"},
    {"tinyint", "00000003 ffffffff 00000002", "0003 00000001 80", "00000001 80"},
    {"smallint", "00000004 ffffffff 00000002", "0004 00000002 8000", "00000002 8000"},
    {"int", "00000005 ffffffff 00000002", "0005 00000004 80000000", "00000004 80000000"},
    {"integer", "00000005 ffffffff 00000002", "001e 00000003 '-17'", "00000004 ffffffef"},
    {"bigint", "00000006 ffffffff 00000002", "0006 00000008 8000000000000000",
     "00000008 8000000000000000"},
    {"bigint", "00000006 ffffffff 00000002", "0006 00000008 7fffffffffffffff",
     "00000008 7fffffffffffffff"},
    {"numeric(10,2)", "00000007 000a0002 00000002", "001e 00000004 '12.5'", "00000005 '12.50'"},
    {"decimal(5)", "00000007 00050000 00000002", "001e 00000004 '-1.5'", "00000002 '-2'"},
    {"numeric", "00000007 ffffffff 00000002", "001e 0000001d '12345678901234567890.12345678'",
     "0000001d '12345678901234567890.12345678'"},
    {"numeric(8,3)", "00000007 00080003 00000002", "0009 00000008 3fb999999999999a",
     "00000005 '0.100'"},
    {"float", "00000008 ffffffff 00000002", "0008 00000004 3fc00000", "00000004 3fc00000"},
    {"real", "00000008 ffffffff 00000002", "0009 00000008 3ff8000000000000", "00000004 3fc00000"},
    {"double", "00000009 ffffffff 00000002", "0009 00000008 bff8000000000000",
     "00000008 bff8000000000000"},
    {"date", "0000000a ffffffff 00000002", "001e 0000000a '2024-03-01'", "00000004 00004d47"},
    {"date", "0000000a ffffffff 00000002", "001e 00000017 '2024-03-01 10:20:30.000'",
     "00000004 00004d47"},
    {"date", "0000000a ffffffff 00000002", "001e 0000000a '0001-01-01'", "00000004 fff506c6"},
    {"date", "0000000a ffffffff 00000002", "001e 0000000a '9999-12-31'", "00000004 002cc0a0"},
    {"time", "0000000b ffffffff 00000002", "001e 00000008 '10:20:30'", "00000004 023815b0"},
    {"time", "0000000b ffffffff 00000002", "001e 0000000c '23:59:59.999'", "00000004 05265bff"},
    {"time with time zone", "0000000c ffffffff 00000002", "001e 0000000f '13:30:00 +05:30'",
     "00000006 01b77400 014a"},
    {"time(3) with time zone", "0000000c ffffffff 00000002", "001e 0000000f '01:00:00 +08:00'",
     "00000006 fe7f7a80 01e0"},
    {"datetime", "0000000d ffffffff 00000002", "001e 00000017 '2024-03-01 10:20:30.456'",
     "00000008 0000018df9879b78"},
    {"timestamp", "0000000d ffffffff 00000002", "001e 00000017 '1969-12-31 23:59:59.999'",
     "00000008 ffffffffffffffff"},
    {"datetime", "0000000d ffffffff 00000002", "001e 0000000a '1970-01-02'",
     "00000008 0000000005265c00"},
    {"datetime with time zone", "0000000e ffffffff 00000002",
     "001e 0000001c '1970-01-01 08:00:00.5 +08:00'", "0000000a 000000000007a120 01e0"},
    {"datetime with time zone", "0000000e ffffffff 00000002",
     "001e 0000001a '1969-12-31 19:00:00 -05:00'", "0000000a 0000000000000000 fed4"},
    {"interval year", "0000000f ffffffff 00000002", "001e 00000001 '7'", "00000004 00000007"},
    {"interval year to month", "00000010 ffffffff 00000002", "001e 00000004 '3-04'",
     "00000004 00000028"},
    {"interval year to month", "00000010 ffffffff 00000002", "001e 00000005 '-1--2'",
     "00000004 fffffff2"},
    {"interval month", "00000011 ffffffff 00000002", "001e 00000002 '-5'", "00000004 fffffffb"},
    {"interval day", "00000012 ffffffff 00000002", "001e 00000002 '12'", "00000004 0000000c"},
    {"interval day to hour", "00000013 ffffffff 00000002", "001e 00000004 '1 02'",
     "00000004 0000001a"},
    {"interval hour", "00000014 ffffffff 00000002", "001e 00000003 '100'", "00000004 00000064"},
    {"interval day to minute", "00000015 ffffffff 00000002", "001e 00000006 '1 2:03'",
     "00000004 0000061b"},
    {"interval hour to minute", "00000016 ffffffff 00000002", "001e 00000004 '2:03'",
     "00000004 0000007b"},
    {"interval minute", "00000017 ffffffff 00000002", "001e 00000002 '90'", "00000004 0000005a"},
    {"interval day(2) to second(6)", "00000018 ffffffff 00000002", "001e 00000009 '1 2:03:04'",
     "00000008 00000015d5f64600"},
    {"interval hour to second", "00000019 ffffffff 00000002", "001e 00000007 '1:02:03'",
     "00000008 00000000dde878c0"},
    {"interval minute to second", "0000001a ffffffff 00000002", "001e 00000004 '2:03'",
     "00000008 000000000754d4c0"},
    {"interval second", "0000001b ffffffff 00000002", "001e 00000002 '90'",
     "00000008 00000000055d4a80"},
    {"rowversion", "0000001c ffffffff 00000002", "0021 00000002 00ff", "00000002 00ff"},
    {"guid", "0000001d 00000024 00000002", "001e 00000020 '0123456789abcdef0123456789abcdef'",
     "00000024 '01234567-89AB-CDEF-0123-456789ABCDEF'"},
    {"char(4)", "0000001e 00000004 00000002", "001e 00000002 'ab'", "00000002 'ab'"},
    {"char", "0000001e 00000001 00000002", "001e 00000001 'a'", "00000001 'a'"},
    {"varchar(4)", "0000001e 00000004 00000402", "001e 00000004 'abcd'", "00000004 'abcd'"},
    {"varchar", "0000001e ffffffff 00000402", "0005 00000004 00000011", "00000002 '17'"},
    {"varchar(2)", "0000001e 00000002 00000402", "001e 00000002 d6d0", "00000002 d6d0"},
    {"clob", "00000020 ffffffff 00000002", "0020 00000003 'abc'", "00000003 'abc'"},
    {"binary(3)", "00000021 00000003 00000002", "0021 00000003 010002", "00000003 010002"},
    {"binary", "00000021 ffffffff 00000002", "001e 00000002 'hi'", "00000002 'hi'"},
    {"blob", "00000022 ffffffff 00000002", "0022 00000002 0080", "00000002 0080"},

    {"boolean", "00000002 ffffffff 00000002", "0002 00000001 'T'", "00000001 'T'"},
    {"numeric(4,1)", "00000007 00040001 00000002", "0007 00000003 '9.9'", "00000003 '9.9'"},
    {"date", "0000000a ffffffff 00000002", "000a 00000004 ffffffff", "00000004 ffffffff"},
    {"time", "0000000b ffffffff 00000002", "000b 00000004 00000001", "00000004 00000001"},
    {"time with time zone", "0000000c ffffffff 00000002", "000c 00000006 01b77400 014a",
     "00000006 01b77400 014a"},
    {"datetime", "0000000d ffffffff 00000002", "000d 00000008 ffffffffffffffff",
     "00000008 ffffffffffffffff"},
    {"datetime with time zone", "0000000e ffffffff 00000002", "000e 0000000a ffffffffffffffff fed4",
     "0000000a ffffffffffffffff fed4"},
    {"interval year", "0000000f ffffffff 00000002", "000f 00000004 ffffffff", "00000004 ffffffff"},
    {"interval year to month", "00000010 ffffffff 00000002", "0010 00000004 fffffff2",
     "00000004 fffffff2"},
    {"interval month", "00000011 ffffffff 00000002", "0011 00000004 00000001", "00000004 00000001"},
    {"interval day", "00000012 ffffffff 00000002", "0012 00000004 00000001", "00000004 00000001"},
    {"interval day to hour", "00000013 ffffffff 00000002", "0013 00000004 ffffffe6",
     "00000004 ffffffe6"},
    {"interval hour", "00000014 ffffffff 00000002", "0014 00000004 00000001", "00000004 00000001"},
    {"interval day to minute", "00000015 ffffffff 00000002", "0015 00000004 0000061b",
     "00000004 0000061b"},
    {"interval hour to minute", "00000016 ffffffff 00000002", "0016 00000004 0000007b",
     "00000004 0000007b"},
    {"interval minute", "00000017 ffffffff 00000002", "0017 00000004 00000001",
     "00000004 00000001"},
    {"interval day to second", "00000018 ffffffff 00000002", "0018 00000008 ffffffffffffffff",
     "00000008 ffffffffffffffff"},
    {"interval hour to second", "00000019 ffffffff 00000002", "0019 00000008 00000000dde878c0",
     "00000008 00000000dde878c0"},
    {"interval minute to second", "0000001a ffffffff 00000002", "001a 00000008 000000000754d4c1",
     "00000008 000000000754d4c1"},
    {"interval second", "0000001b ffffffff 00000002", "001b 00000008 0000000000000001",
     "00000008 0000000000000001"},
    {"rowversion", "0000001c ffffffff 00000002", "001c 00000008 0102030405060708",
     "00000008 0102030405060708"},
    {"guid", "0000001d 00000024 00000002", "001d 00000024 '01234567-89ab-cdef-0123-456789abcdef'",
     "00000024 '01234567-89AB-CDEF-0123-456789ABCDEF'"},
};

class EveryType : public ::testing::Test {
protected:
    EveryType() : client(server.Port()) {
        client.LogIn(" auto_commit = 'on'");
    }

    RunningServer server;
    RawClient client;
};

TEST_F(EveryType, AParameterComesBackInTheWireFormOfItsColumn) {
    for (const TypeCase &one : type_cases) {
        SCOPED_TRACE(std::string(one.declaration) + " from " + one.parameter);
        client.Ask(std::string("create table T (v ") + one.declaration + ")", DONE);
        client.Send(Frame("insert into T values (?)", 1, Wire("0000 0001") + Wire(one.parameter)));
        client.Expect(Inserted("1"));
        client.Ask("select v from T", Wire("41 00000001 00000003 'T.v'") + Wire(one.field) + "R" +
                                          Wire(one.value) + "K");
        client.Ask("drop table T", DONE);
    }
}

TEST_F(EveryType, AnUpdateIsCheckedAndStoredLikeAnInsert) {
    for (const TypeCase &one : type_cases) {
        SCOPED_TRACE(std::string(one.declaration) + " from " + one.parameter);
        client.Ask(std::string("create table T (v ") + one.declaration + ")", DONE);
        client.Ask("insert into T values (null)", Inserted("1"));
        client.Send(Frame("update T set v = ?", 1, Wire("0000 0001") + Wire(one.parameter)));
        client.Expect(Updated(1));
        client.Ask("select v from T", Wire("41 00000001 00000003 'T.v'") + Wire(one.field) + "R" +
                                          Wire(one.value) + "K");
        client.Ask("drop table T", DONE);
    }
}

TEST_F(EveryType, TheEmptyFormIsNull) {
    for (const TypeCase &one : type_cases) {
        SCOPED_TRACE(one.declaration);
        client.Ask(std::string("create table T (v ") + one.declaration + ")", DONE);
        client.Send(Frame("insert into T values (?)", 1,
                          Wire("0000 0001") + Wire(one.parameter).substr(0, 2) + Wire("00000000")));
        client.Expect(Inserted("1"));
        client.Ask(
            "select v from T where v is null",
            Wire("41 00000001 00000003 'T.v'") + Wire(one.field) + "R" + Wire("00000000") + "K");
        client.Ask("drop table T", DONE);
    }
}

TEST_F(EveryType, OneRowHoldsThemAll) {
    client.Ask(
        "create table T (c2 boolean, c3 tinyint, c4 smallint, c5 integer, c6 bigint, "
        "c7 numeric(6,2), c8 float, c9 double, c10 date, c11 time, c12 time with time zone, "
        "c13 datetime, c14 datetime with time zone, c15 interval year, "
        "c16 interval year to month, c17 interval month, c18 interval day, "
        "c19 interval day to hour, c20 interval hour, c21 interval day to minute, "
        "c22 interval hour to minute, c23 interval minute, c24 interval day to second, "
        "c25 interval hour to second, c26 interval minute to second, c27 interval second, "
        "c28 rowversion, c29 guid, c30 varchar(5), c32 clob, c33 binary, c34 blob)",
        DONE);
    client.Ask(
        "insert into T values (true, -128, 300, 70000, 5000000000, 3.14159, 1.5, -0.5, "
        "'1970-01-02', '00:00:01', '00:00:01 +00:00', '1970-01-01 00:00:00.001', "
        "'1970-01-01 00:00:00.000001 +00:00', '1', '1-00', '2', '3', '0 04', '5', '0 0:06', "
        "'0:07', '8', '0 0:00:09', '0:00:10', '0:11', '12', x'0d', "
        "'00000000-0000-0000-0000-00000000000e', 'fif', 'sixteen', x'11', x'12')",
        Inserted("1"));
    client.Send(Frame("select * from T"));
    client.Expect(
        Wire("41 00000020"
             "00000004 'T.c2' 00000002 ffffffff 00000002"
             "00000004 'T.c3' 00000003 ffffffff 00000002"
             "00000004 'T.c4' 00000004 ffffffff 00000002"
             "00000004 'T.c5' 00000005 ffffffff 00000002"
             "00000004 'T.c6' 00000006 ffffffff 00000002"
             "00000004 'T.c7' 00000007 00060002 00000002"
             "00000004 'T.c8' 00000008 ffffffff 00000002"
             "00000004 'T.c9' 00000009 ffffffff 00000002"
             "00000005 'T.c10' 0000000a ffffffff 00000002"
             "00000005 'T.c11' 0000000b ffffffff 00000002"
             "00000005 'T.c12' 0000000c ffffffff 00000002"
             "00000005 'T.c13' 0000000d ffffffff 00000002"
             "00000005 'T.c14' 0000000e ffffffff 00000002"
             "00000005 'T.c15' 0000000f ffffffff 00000002"
             "00000005 'T.c16' 00000010 ffffffff 00000002"
             "00000005 'T.c17' 00000011 ffffffff 00000002"
             "00000005 'T.c18' 00000012 ffffffff 00000002"
             "00000005 'T.c19' 00000013 ffffffff 00000002"
             "00000005 'T.c20' 00000014 ffffffff 00000002"
             "00000005 'T.c21' 00000015 ffffffff 00000002"
             "00000005 'T.c22' 00000016 ffffffff 00000002"
             "00000005 'T.c23' 00000017 ffffffff 00000002"
             "00000005 'T.c24' 00000018 ffffffff 00000002"
             "00000005 'T.c25' 00000019 ffffffff 00000002"
             "00000005 'T.c26' 0000001a ffffffff 00000002"
             "00000005 'T.c27' 0000001b ffffffff 00000002"
             "00000005 'T.c28' 0000001c ffffffff 00000002"
             "00000005 'T.c29' 0000001d 00000024 00000002"
             "00000005 'T.c30' 0000001e 00000005 00000402"
             "00000005 'T.c32' 00000020 ffffffff 00000002"
             "00000005 'T.c33' 00000021 ffffffff 00000002"
             "00000005 'T.c34' 00000022 ffffffff 00000002"));
    client.Expect(
        Wire("52 00000001 'T' 00000001 80 00000002 012c 00000004 00011170"
             "00000008 000000012a05f200 00000004 '3.14' 00000004 3fc00000"
             "00000008 bfe0000000000000 00000004 00000001 00000004 000003e8"
             "00000006 000003e8 0000 00000008 0000000000000001"
             "0000000a 0000000000000001 0000 00000004 00000001 00000004 0000000c"
             "00000004 00000002 00000004 00000003 00000004 00000004 00000004 00000005"
             "00000004 00000006 00000004 00000007 00000004 00000008"
             "00000008 0000000000895440 00000008 0000000000989680"
             "00000008 0000000000a7d8c0 00000008 0000000000b71b00 00000001 0d"
             "00000024 '00000000-0000-0000-0000-00000000000E' 00000003 'fif'"
             "00000007 'sixteen' 00000001 11 00000001 12 4b"));
}

struct MisfitCase {
    const char *declaration;
    const char *literal;
    const char *refusal;
};

const MisfitCase misfit_cases[] = {
    {"boolean", "'maybe'", "[E16001]value 'maybe' does not fit BOOLEAN"},
    {"boolean", "2", "[E16001]value 2 does not fit BOOLEAN"},
    {"boolean", "x'54'", "[E16001]value of 1 bytes does not fit BOOLEAN"},
    {"tinyint", "128", "[E16001]value 128 does not fit TINYINT"},
    {"tinyint", "-129", "[E16001]value -129 does not fit TINYINT"},
    {"smallint", "70000", "[E16001]value 70000 does not fit SMALLINT"},
    {"smallint", "1.5", "[E16001]value 1.5 does not fit SMALLINT"},
    {"int", "2147483648", "[E16001]value 2147483648 does not fit INTEGER"},
    {"integer", "'seven'", "[E16001]value 'seven' does not fit INTEGER"},
    {"bigint", "9223372036854775808", "[E16001]value 9.22337203685478e+18 does not fit BIGINT"},
    {"numeric(5,2)", "1000", "[E16001]value '1000' does not fit NUMERIC(5,2)"},
    {"numeric(5,2)", "999.995", "[E16001]value '999.995' does not fit NUMERIC(5,2)"},
    {"numeric", "'1.2.3'", "[E16001]value '1.2.3' does not fit NUMERIC"},
    {"numeric", "''", "[E16001]value '' does not fit NUMERIC"},
    {"numeric", "1e40", "[E16001]value '1.0e+40' does not fit NUMERIC"},
    {"float", "1e39", "[E16001]value 1.0e+39 does not fit FLOAT"},
    {"float", "'much'", "[E16001]value 'much' does not fit FLOAT"},
    {"double", "1e999", "[E16001]value Inf does not fit DOUBLE"},
    {"date", "'xyz'", "[E16001]value 'xyz' does not fit DATE"},
    {"date", "'2023-02-29'", "[E16001]value '2023-02-29' does not fit DATE"},
    {"date", "'2024-13-01'", "[E16001]value '2024-13-01' does not fit DATE"},
    {"date", "'0000-01-01'", "[E16001]value '0000-01-01' does not fit DATE"},
    {"date", "'2024-01-01 25:00:00'", "[E16001]value '2024-01-01 25:00:00' does not fit DATE"},
    {"date", "20240101", "[E16001]value '20240101' does not fit DATE"},
    {"time", "'24:00:00'", "[E16001]value '24:00:00' does not fit TIME"},
    {"time", "'2024-01-01'", "[E16001]value '2024-01-01' does not fit TIME"},
    {"time with time zone", "'10:00:00 +16:00'",
     "[E16001]value '10:00:00 +16:00' does not fit TIME WITH TIME ZONE"},
    {"datetime", "'2024-01-01 10:60:00'",
     "[E16001]value '2024-01-01 10:60:00' does not fit DATETIME"},
    {"datetime with time zone", "'now'",
     "[E16001]value 'now' does not fit DATETIME WITH TIME ZONE"},
    {"interval year", "'1-02'", "[E16001]value '1-02' does not fit INTERVAL YEAR"},
    {"interval year to month", "'1-12'",
     "[E16001]value '1-12' does not fit INTERVAL YEAR TO MONTH"},
    {"interval month", "2147483648", "[E16001]value '2147483648' does not fit INTERVAL MONTH"},
    {"interval day", "'x'", "[E16001]value 'x' does not fit INTERVAL DAY"},
    {"interval day to hour", "'1 24'", "[E16001]value '1 24' does not fit INTERVAL DAY TO HOUR"},
    {"interval hour", "'1:00'", "[E16001]value '1:00' does not fit INTERVAL HOUR"},
    {"interval day to minute", "'1'", "[E16001]value '1' does not fit INTERVAL DAY TO MINUTE"},
    {"interval hour to minute", "'1:60'",
     "[E16001]value '1:60' does not fit INTERVAL HOUR TO MINUTE"},
    {"interval minute", "'1.5'", "[E16001]value '1.5' does not fit INTERVAL MINUTE"},
    {"interval day to second", "'1 2:3'",
     "[E16001]value '1 2:3' does not fit INTERVAL DAY TO SECOND"},
    {"interval hour to second", "'1:2'",
     "[E16001]value '1:2' does not fit INTERVAL HOUR TO SECOND"},
    {"interval minute to second", "'1:60'",
     "[E16001]value '1:60' does not fit INTERVAL MINUTE TO SECOND"},
    {"interval second", "'12345678901'",
     "[E16001]value '12345678901' does not fit INTERVAL SECOND"},
    {"rowversion", "x'010203040506070809'", "[E16001]value of 9 bytes does not fit ROWVERSION"},
    {"guid", "'0123'", "[E16001]value '0123' does not fit GUID"},
    {"char(3)", "'abcd'", "[E16001]value 'abcd' does not fit CHAR(3)"},
    {"char", "'ab'", "[E16001]value 'ab' does not fit CHAR(1)"},
    {"varchar(3)", "'abcd'", "[E16001]value 'abcd' does not fit VARCHAR(3)"},
    {"varchar(3)", "x'61'", "[E16001]value of 1 bytes does not fit VARCHAR(3)"},
    {"clob", "x'61'", "[E16001]value of 1 bytes does not fit CLOB"},
    {"binary(2)", "x'010203'", "[E16001]value of 3 bytes does not fit BINARY(2)"},
    {"blob", "17", "[E16001]value 17 does not fit BLOB"},
};

TEST_F(EveryType, AValueThatDoesNotFitIsRefusedAndNotStored) {
    for (const MisfitCase &one : misfit_cases) {
        const std::string literal = one.literal;
        SCOPED_TRACE(std::string(one.declaration) + " " + literal);
        client.Ask(std::string("create table T (v ") + one.declaration + ")", DONE);
        client.Ask("insert into T values (null)", Inserted("1"));
        EXPECT_EQ(one.refusal, client.AskRefused("insert into T values (" + literal + ")"));
        EXPECT_EQ(one.refusal, client.AskRefused("insert into T values (null), (" + literal + ")"));
        EXPECT_EQ(one.refusal, client.AskRefused("insert into T select " + literal));
        EXPECT_EQ(one.refusal, client.AskRefused("update T set v = " + literal));
        EXPECT_EQ(one.refusal,
                  client.AskRefused("insert or ignore into T values (" + literal + ")"));
        client.Ask("update T set v = null where v is null", Updated(1));
        client.Ask("delete from T", Deleted(1));
        client.Ask("drop table T", DONE);
    }
}

TEST_F(EveryType, AParameterThatDoesNotFitIsRefused) {
    client.Ask("create table T (s smallint, d date, b boolean)", DONE);
    client.Send(Frame("insert into T (s) values (?)", 1, Wire("0000 0001 0005 00000004 00011170")));
    client.Expect(Wire("45 00000029 '[E16001]value 70000 does not fit SMALLINT' 4b"));
    client.Send(Frame("insert into T (d) values (?)", 1, Wire("0000 0001 001e 00000003 'xyz'")));
    client.Expect(Wire("45 00000025 '[E16001]value ' 27 'xyz' 27 ' does not fit DATE' 4b"));
    client.Send(Frame("insert into T (b) values (?)", 1, Wire("0000 0001 0005 00000004 00000079")));
    client.Expect(Wire("45 00000026 '[E16001]value 121 does not fit BOOLEAN' 4b"));
    client.Ask("delete from T", Deleted(0));
}

TEST_F(EveryType, AnUnknownTypeIsRefused) {
    EXPECT_EQ("[E5010]there is no type money", client.AskRefused("create table T (a money)"));
    EXPECT_EQ("[E5010]there is no type numeric(39,0)",
              client.AskRefused("create table T (a numeric(39,0))"));
    EXPECT_EQ("[E5010]there is no type numeric(3,4)",
              client.AskRefused("create table T (a int, b numeric(3,4) not null)"));
    EXPECT_EQ("[E5010]there is no type varchar(0)",
              client.AskRefused("create table T (a varchar(0))"));
    EXPECT_EQ("[E5001]no such table: T", client.AskRefused("select * from T"));
}

TEST_F(EveryType, AColumnWithoutATypeTakesAnyValue) {
    client.Ask("create table T (v)", DONE);
    client.Ask("insert into T values ('x')", Inserted("1"));
    client.Ask("select v from T", Wire("41 00000001 00000003 'T.v' 0000001e ffffffff 00000002 52"
                                       "00000001 'x' 4b"));
}

TEST_F(EveryType, ALaterRowOfAnotherTypeEndsTheRowsWithAnError) {
    client.Ask("create table T (v)", DONE);
    client.Ask("insert into T values (1), ('x')", Updated(2));
    client.Ask("select v from T",
               Wire("41 00000001 00000003 'T.v' 00000006 ffffffff 00000002 52 00000008"
                    "0000000000000001 45 00000030"
                    "'[E16002]column T.v has a value that is no BIGINT' 4b"));
}

TEST_F(EveryType, ComparisonsFollowTheType) {
    client.Ask("create table T (d date, t datetime, n numeric(8,2), i interval hour to minute)",
               DONE);
    client.Ask(
        "insert into T values ('2024-03-01', '2024-03-01 10:00:00', 9.5, '10:00'), "
        "('2024-11-05', '2024-03-01 10:00:00.250', 10, '9:30')",
        Updated(2));
    client.Ask("update T set n = n where d = '2024-3-1'", Updated(1));
    client.Ask("update T set n = n where d = '2024-03-01 23:00:00.000'", Updated(1));
    client.Ask("update T set n = n where t = '2024-03-01 10:00:00.000'", Updated(1));
    client.Ask("update T set n = n where t > '2024-03-01'", Updated(2));
    client.Ask("update T set n = n where n = 9.50 or n = '9.500'", Updated(1));
    client.Ask("update T set n = n where n < 10", Updated(1));
    client.Ask("update T set n = n where i > '9:59'", Updated(1));
    client.Ask("select n from T order by n",
               Wire("41 00000001 00000003 'T.n' 00000007 00080002 00000002"
                    "52 00000004 '9.50' 52 00000005 '10.00' 4b"));
}

TEST_F(EveryType, TheFunctionsOfTheChecksStandUpToAnyArguments) {
    EXPECT_EQ("[E16001]value 'x' does not fit type 99",
              client.AskRefused("select tavu_fits(99, -1, 0, 'x')"));
    EXPECT_EQ("[E16001]value 'abc' does not fit CHAR(-7)",
              client.AskRefused("select tavu_stored(30, -7, 0, 'abc')"));
    EXPECT_EQ("[E16001]value '1' does not fit NUMERIC(-32768,0)",
              client.AskRefused("select tavu_stored(7, -2147483648, 0, '1')"));
    client.Ask("select tavu_stored(7, 2147483647, null, null) as v",
               Wire("41 00000001 00000001 'v' 0000001e ffffffff 00000002 52 00000000 4b"));
}

TEST_F(EveryType, MaximumAndGroupsFollowTheType) {
    client.Ask("create table T (n numeric(8,2), d date)", DONE);
    client.Ask("insert into T values (9, '2024-03-01'), (10, '2024-3-1')", Updated(2));
    client.Ask("select max(n) as m from T",
               Wire("41 00000001 00000001 'm' 0000001e ffffffff 00000002"
                    "52 00000005 '10.00' 4b"));
    client.Ask("select d, count(*) as n from T group by d",
               Wire("41 00000002 00000003 'T.d' 0000000a ffffffff 00000002"
                    "            00000001 'n' 00000006 ffffffff 00000002"
                    "52 00000004 00004d47 00000008 0000000000000002 4b"));
}

TEST_F(EveryType, UniqueSeesThroughTheSpellings) {
    client.Ask("create table T (d date unique, n numeric(8,2) unique)", DONE);
    client.Ask("insert into T values ('2024-03-01', 1.5)", Inserted("1"));
    EXPECT_EQ("[E13001]UNIQUE constraint failed: T.d",
              client.AskRefused("insert into T values ('2024-3-1', 2)"));
    EXPECT_EQ("[E13001]UNIQUE constraint failed: T.n",
              client.AskRefused("insert into T values ('2024-3-2', '1.50')"));
}

TEST_F(EveryType, DefaultsAreCheckedAndStoredLikeOtherValues) {
    client.Ask("create table T (a integer, d date default '2024-3-1', b boolean default true)",
               DONE);
    client.Ask("insert into T (a) values (1)", Inserted("1"));
    client.Ask("select d, b from T", Wire("41 00000002 00000003 'T.d' 0000000a ffffffff 00000002"
                                          "            00000003 'T.b' 00000002 ffffffff 00000002"
                                          "52 00000004 00004d47 00000001 'T' 4b"));
    client.Ask("create table U (a integer, d date default 'soon')", DONE);
    EXPECT_EQ("[E16001]value 'soon' does not fit DATE",
              client.AskRefused("insert into U (a) values (1)"));
}

}  // namespace
}  // namespace tavud_test
