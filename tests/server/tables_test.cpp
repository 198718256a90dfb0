// Declarations of tables and the rowid column of selects.
#include <gtest/gtest.h>

#include "server/raw_client.h"

namespace tavud_test {
namespace {

class Tables : public ::testing::Test {
protected:
    Tables() : client(server.Port()) {
        client.LogIn(" auto_commit = 'on' return_rowid=true");
    }

    // Runs a select and gives the rowid in its last row; "null" for none.
    std::string RowidOf(const std::string &select, const std::string &row_before_rowid) {
        client.Send(Frame(select));
        std::string all;
        while (all.find("ROWID" + Wire("0000002d 00000014 00000000")) == std::string::npos) {
            const std::string more = client.Receive(1);
            if (more.empty() || all.size() > 2000) return "no rowid column";
            all += more;
        }
        client.Expect("R" + row_before_rowid);
        const std::string length = client.Receive(4);
        const std::string rowid = client.Receive(static_cast<uint8_t>(length[3]));
        client.Expect("K");
        return rowid.empty() ? "null" : rowid;
    }

    RunningServer server;
    RawClient client;
};

const std::string SEVEN = Wire("00000004 00000007");

TEST_F(Tables, ARowidOfOneTableFindsItsRow) {
    client.Ask("create table \"T\" (a integer, b blob)", DONE);
    client.Ask("insert into T values (5, null), (6, null), (7, null)", Updated(3));
    EXPECT_EQ("3", RowidOf("select a from T where a = 7", SEVEN));
    client.Send(Frame("update \"T\" set \"b\" = ? where rowid = '3'", 1,
                      Wire("0000 0001 0022 00000002 0102")));
    client.Expect(Updated(1));
    client.Ask("delete from T where a = 7 and b = x'0102'", Deleted(1));
}

TEST_F(Tables, TheRowidIsThereForEveryFormOfASingleTable) {
    client.Ask("create table T (a integer)", DONE);
    client.Ask("insert into T values (7)", Inserted("1"));
    EXPECT_EQ("1", RowidOf("select a from T", SEVEN));
    EXPECT_EQ("1", RowidOf("SELECT * FROM main.T;", SEVEN));
    EXPECT_EQ("1", RowidOf("select x.a from T x where x.a > 1 order by 1", SEVEN));
    EXPECT_EQ("1", RowidOf("select a from T as \"odd name\" limit 5", SEVEN));
    EXPECT_EQ("1", RowidOf("select a -- the value\n /* of */ from T", SEVEN));
    EXPECT_EQ("1", RowidOf("select max(a, 1) + 0 * 1, a from T",
                           Wire("00000008 0000000000000007") + SEVEN));
    EXPECT_EQ("1", RowidOf("select a from T where a = (select max(a) from T group by a)", SEVEN));
}

TEST_F(Tables, TheRowidIsNullWhereThereIsNoSingleRow) {
    client.Ask("create table T (a integer)", DONE);
    client.Ask("insert into T values (7)", Inserted("1"));
    client.Ask("create view V as select a from T", DONE);
    const std::string wide = Wire("00000008 0000000000000007");
    EXPECT_EQ("null", RowidOf("select x.a from T x, T y", SEVEN));
    EXPECT_EQ("null", RowidOf("select x.a from T x join T y on x.a = y.a", SEVEN));
    EXPECT_EQ("null", RowidOf("select max(a) from T", wide));
    EXPECT_EQ("null", RowidOf("select sum(a) over () from T where 1 = 0 union select 7", wide));
    EXPECT_EQ("null", RowidOf("select a from T group by a", SEVEN));
    EXPECT_EQ("null", RowidOf("select distinct a from T", SEVEN));
    EXPECT_EQ("null", RowidOf("select a from V", SEVEN));
    EXPECT_EQ("null", RowidOf("select a from (select a from T)", SEVEN));
    EXPECT_EQ("null", RowidOf("with w as (select a from T) select a from w", SEVEN));
    EXPECT_EQ("null", RowidOf("select 7", wide));
}

TEST_F(Tables, AColumnNamedRowidDoesNotHideTheRowid) {
    client.Ask("create table T (rowid integer)", DONE);
    client.Ask("insert into T values (7)", Inserted("1"));
    EXPECT_EQ("1", RowidOf("select * from T", SEVEN));
}

TEST_F(Tables, ASessionWithoutTheItemGetsNoRowidColumn) {
    RawClient plain(server.Port());
    plain.LogIn(" auto_commit = 'on'");
    plain.Ask("create table T (a integer)", DONE);
    plain.Ask("select a from T", Wire("41 00000001 00000003 'T.a' 00000005 ffffffff 00000002 4b"));
}

TEST_F(Tables, AnAddedColumnIsCheckedAndStoredInItsForm) {
    client.Ask("create table T (a integer)", DONE);
    client.Ask("insert into T values (1)", Inserted("1"));
    client.Ask("alter table T add column d date default '2024-01-02'", DONE);
    client.Ask("alter table T add n numeric(5,1)", DONE);
    EXPECT_EQ("[E16001]value 'x' does not fit DATE", client.AskRefused("update T set d = 'x'"));
    client.Ask("update T set d = '2024-3-4', n = '2.25'", Updated(1));
    client.Ask("select d, n from T where d || n = '2024-03-042.3'",
               Wire("41 00000003 00000003 'T.d' 0000000a ffffffff 00000002"
                    "            00000003 'T.n' 00000007 00050001 00000002"
                    "            00000005 'ROWID' 0000002d 00000014 00000000"
                    "52 00000004 00004d4a 00000003 '2.3' 00000001 '1' 4b"));
}

TEST_F(Tables, ARenamedTableAndColumnKeepTheirChecks) {
    client.Ask("create table T (d date, b boolean)", DONE);
    client.Ask("alter table T rename to U", DONE);
    client.Ask("alter table U rename column d to e", DONE);
    EXPECT_EQ("[E16001]value 'x' does not fit DATE",
              client.AskRefused("insert into U values ('x', true)"));
    client.Ask("insert into U values ('2024-1-2', 'T')", Inserted("1"));
    client.Ask("delete from U where e || b = '2024-01-021'", Deleted(1));
}

TEST_F(Tables, AColumnCanBeDropped) {
    client.Ask("create table T (a integer, d date, b boolean)", DONE);
    client.Ask("alter table T drop column d", DONE);
    client.Ask("insert into T values (1, 'F')", Inserted("1"));
    client.Ask("delete from T where b = 0", Deleted(1));
}

TEST_F(Tables, AFailedAlterLeavesTheTableAsItWas) {
    client.Ask("create table T (d date)", DONE);
    EXPECT_EQ("[E5003]duplicate column name: d",
              client.AskRefused("alter table T add column d date"));
    client.Ask("insert into T values ('2024-1-2')", Inserted("1"));
    client.Ask("delete from T where d || '' = '2024-01-02'", Deleted(1));
}

TEST_F(Tables, TemporaryTablesHaveTypesToo) {
    client.Ask("create temp table T (d date)", DONE);
    EXPECT_EQ("[E16001]value 'x' does not fit DATE",
              client.AskRefused("insert into T values ('x')"));
    client.Ask("insert into T values ('2024-1-2')", Inserted("1"));
    client.Ask("alter table T add column b boolean", DONE);
    client.Ask("update T set b = 'T' where d || '' = '2024-01-02'", Updated(1));
    client.Ask("delete from T where b = 1", Deleted(1));
}

TEST_F(Tables, CreateIfNotExistsOfATableThatIsThereIsDone) {
    client.Ask("create table if not exists T (d date)", DONE);
    client.Ask("create table if not exists T (d date)", DONE);
    client.Ask("insert into T values ('2024-1-2')", Inserted("1"));
}

TEST_F(Tables, ConstraintsOfAllKindsPassThrough) {
    client.Ask(
        "create table T (a int not null default (1 + 2), b varchar(10) collate nocase unique, "
        "c numeric(5, 2) check (c in (1, 2)), d int generated always as (a + 1) stored, "
        "\"odd, name\" date default null, constraint p primary key (a, b), check (a < 100))",
        DONE);
    client.Ask("insert into T (b, c) values ('x', 2)", Inserted("1"));
    EXPECT_EQ("[E13001]UNIQUE constraint failed: T.b",
              client.AskRefused("insert into T (a, b) values (9, 'X')"));
    EXPECT_EQ("[E13003]CHECK constraint failed: c in (1, 2)",
              client.AskRefused("insert into T (b, c) values ('y', 3)"));
    client.Ask("update T set \"odd, name\" = '2024-1-2' where d = 4", Updated(1));
}

TEST_F(Tables, ATableMadeFromASelectHasTheWidestTypes) {
    client.Ask("create table T (a smallint, f float, s char(3), d date)", DONE);
    client.Ask("insert into T values (1, 0.1, 'x', '2024-01-02')", Inserted("1"));
    client.Ask("create table U as select * from T", DONE);
    client.Ask("select * from U",
               Wire("41 00000005 00000003 'U.a' 00000006 ffffffff 00000002"
                    "            00000003 'U.f' 00000009 ffffffff 00000002"
                    "            00000003 'U.s' 0000001e ffffffff 00000402"
                    "            00000003 'U.d' 0000001e ffffffff 00000402"
                    "            00000005 'ROWID' 0000002d 00000014 00000000"
                    "52 00000008 0000000000000001 00000008 3fb999999999999a 00000001 'x'"
                    "0000000a '2024-01-02' 00000001 '1' 4b"));
}

TEST_F(Tables, ATriggerOfTheUserIsOneStatement) {
    client.Ask("create table T (a integer); create table L (a integer)", DONE);
    client.Ask(
        "create trigger G after insert on T begin insert into L values (new.a); "
        "update L set a = case when a = 1 then 10 else a end; end; insert into T values (1)",
        Inserted("1"));
    client.Ask("delete from L where a = 10", Deleted(1));
}

TEST_F(Tables, APreparedSelectFollowsAChangeOfItsTable) {
    client.Ask("create table T (a integer)", DONE);
    client.Ask("insert into T values (7)", Inserted("1"));
    client.Ask("PREPARE ST0 AS select * from T",
               Wire("41 00000002 00000003 'T.a' 00000005 ffffffff 00000002"
                    "            00000005 'ROWID' 0000002d 00000014 00000000 4b"));
    client.Ask("alter table T add column b boolean default false", DONE);
    client.Ask("? ST0 ", Wire("41 00000003 00000003 'T.a' 00000005 ffffffff 00000002"
                              "            00000003 'T.b' 00000002 ffffffff 00000002"
                              "            00000005 'ROWID' 0000002d 00000014 00000000"
                              "52 00000004 00000007 00000001 'F' 00000001 '1' 4b"));
}

}  // namespace
}  // namespace tavud_test
