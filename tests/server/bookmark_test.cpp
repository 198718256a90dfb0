// Bookmarks: the rowid of a row in front of its values.
#include <gtest/gtest.h>

#include "server/raw_client.h"

namespace tavud_test {
namespace {

class Bookmarks : public ::testing::Test {
protected:
    Bookmarks() : client(server.Port()) {
        client.LogIn(" auto_commit = 'on'");
        client.Ask("create table T (a integer)", DONE);
        client.Ask("insert into T (rowid, a) values (-9223372036854775808, 7), (5, 8)", Updated(2));
        client.Ask("tavud bookmarks on", DONE);
    }

    RunningServer server;
    RawClient client;
};

const std::string FIELDS = Wire("41 00000001 00000003 'T.a' 00000005 ffffffff 00000002");
const std::string MARKED_ROWS = Wire(
    "2a 00000014 '-9223372036854775808' 00000004 00000007"
    "2a 00000001 '5' 00000004 00000008");

TEST_F(Bookmarks, RowsOfOneTableHaveThem) {
    client.Ask("select a from T", FIELDS + MARKED_ROWS + "K");
    client.Ask("tavud bookmarks off", DONE);
    client.Ask("select a from T where a = 8", FIELDS + Wire("52 00000004 00000008 4b"));
}

TEST_F(Bookmarks, RowsOfACursorHaveThemWhetherReadOrPutAside) {
    client.Ask("DECLARE c CURSOR FOR select a from T", DONE);
    client.Ask("OPEN c", FIELDS + "K");
    client.Ask("FETCH 9 FROM c", FIELDS + MARKED_ROWS + "K");
    client.Ask("CLOSE c", DONE);
    client.Ask("DECLARE c CURSOR FOR select a from T", DONE);
    client.Ask("OPEN c", FIELDS + "K");
    client.Ask("delete from T", Deleted(2));
    client.Ask("FETCH 9 FROM c", FIELDS + MARKED_ROWS + "K");
}

TEST_F(Bookmarks, StandBesideTheRowidColumn) {
    RawClient other(server.Port());
    other.LogIn(" auto_commit = 'on' return_rowid=true");
    other.Ask("create table t2 (a integer); tavud bookmarks on", DONE);
    other.Ask("select a from T where a = 8",
              Wire("41 00000002 00000003 'T.a' 00000005 ffffffff 00000002"
                   "            00000005 'ROWID' 0000002d 00000014 00000000"
                   "2a 00000001 '5' 00000004 00000008 00000001 '5' 4b"));
}

TEST_F(Bookmarks, OtherRowsHaveNone) {
    client.Ask("select count(*) as n from T",
               Wire("41 00000001 00000001 'n' 00000006 ffffffff 00000002"
                    "52 00000008 0000000000000002 4b"));
}

TEST_F(Bookmarks, AnInsertOfOneRowGivesIts) {
    client.Ask("insert into T (rowid, a) values (9223372036854775807, 1)",
               Wire("49 00000013 '9223372036854775807' 4b"));
}

TEST_F(Bookmarks, AreTurnedOnAndOffAndNothingElse) {
    EXPECT_EQ("[E19001]TAVUD takes MESSAGE, WARNING, ERROR, DATA or BOOKMARK and a text",
              client.AskRefused("tavud bookmarks maybe"));
}

}  // namespace
}  // namespace tavud_test
