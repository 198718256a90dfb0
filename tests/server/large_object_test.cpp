// Large objects: their marks, the texts that name them, and their bytes on another connection.
#include <gtest/gtest.h>

#include "server/raw_client.h"

namespace tavud_test {
namespace {

const char *const login_items = " auto_commit = 'on' lob_ret=descriptor return_rowid=true";
const std::string FIELDS_OF_BLOB = Wire(
    "41 00000002 00000003 'T.b' 00000022 ffffffff 00000002"
    "            00000005 'ROWID' 0000002d 00000014 00000000");

// Bytes that differ from place to place.
std::string Pattern(size_t count) {
    std::string bytes(count, '\0');
    for (size_t i = 0; i < count; i++) {
        bytes[i] = static_cast<char>(i * 7 + i / 251);
    }
    return bytes;
}

// The pieces of a value as they follow the letter of the row, each of at most 102400 bytes.
std::string Pieces(std::string_view value) {
    std::string pieces;
    while (!value.empty()) {
        const std::string_view piece = value.substr(0, 102400);
        pieces += FourBytes(1) + FourBytes(static_cast<uint32_t>(piece.size()));
        pieces += piece;
        value.remove_prefix(piece.size());
    }
    return pieces + FourBytes(0);
}

// A server with one session that asks for descriptors and another like the one that clients open to
// read large objects.
class LargeObjects : public ::testing::Test {
protected:
    LargeObjects() : client(server.Port()), reader(server.Port()) {
        client.LogIn(login_items);
        reader.LogIn(login_items);
        client.Ask("create table T (b blob)", DONE);
    }

    void Insert(std::string_view value) {
        client.Send(Frame("insert into T values (?)", 1,
                          Wire("0000 0001 0022") + FourBytes(static_cast<uint32_t>(value.size())) +
                              std::string(value)));
        client.Expect(Inserted("1"));
    }
    // Selects the one value of T and expects this text in its place.
    void ExpectDescriptor(const std::string &descriptor) {
        client.Ask("select b from T", FIELDS_OF_BLOB + "R" +
                                          FourBytes(static_cast<uint32_t>(descriptor.size())) +
                                          descriptor + Wire("00000001 '1' 4b"));
    }

    RunningServer server;
    RawClient client;
    RawClient reader;
};

const std::string FIELDS_OF_PIECES = Wire("41 00000001 00000003 'LOB' 00000022 ffffffff 00000002");

TEST_F(LargeObjects, AValueOf2048BytesTravelsInItsRowBehindItsMark) {
    const std::string value = Pattern(2048);
    Insert(value);
    client.Ask("select b from T",
               FIELDS_OF_BLOB + Wire("52 00000801 'b'") + value + Wire("00000001 '1' 4b"));
}

TEST_F(LargeObjects, AValueOf2049BytesIsNamedAndReadOnAnotherConnection) {
    const std::string value = Pattern(2049);
    Insert(value);
    client.Send(Wire("3f 0000000f 'select b from T' 00 00000000"));
    client.Expect(FIELDS_OF_BLOB + Wire("52 00000012 'L000000000001:2049' 00000001 '1' 4b"));
    reader.Send(
        Wire("3f 0000002c 'get lob ' 27 'L000000000001' 27 '  offset 0 limit 2049' 00 00000000"));
    reader.Expect(FIELDS_OF_PIECES + Wire("52 00000001 00000801") + value + Wire("00000000 4b"));
}

TEST_F(LargeObjects, AClobIsNamedLikewise) {
    const std::string value(3000, 'x');
    client.Ask("create table C (c clob)", DONE);
    client.Ask("insert into C values ('" + value + "')", Inserted("1"));
    client.Ask("select c from C", Wire("41 00000002 00000003 'C.c' 00000020 ffffffff 00000002"
                                       "            00000005 'ROWID' 0000002d 00000014 00000000"
                                       "52 00000012 'L000000000001:3000' 00000001 '1' 4b"));
    reader.Ask(
        "get lob 'L000000000001'  offset 0 limit 3000",
        Wire("41 00000001 00000003 'LOB' 00000020 ffffffff 00000002 52") + Pieces(value) + "K");
}

class LargeObjectSizes : public LargeObjects, public ::testing::WithParamInterface<size_t> {};

TEST_P(LargeObjectSizes, TravelInPiecesOf102400Bytes) {
    const std::string value = Pattern(GetParam());
    const std::string size = std::to_string(value.size());
    Insert(value);
    ExpectDescriptor("L000000000001:" + size);
    reader.Ask("get lob 'L000000000001'  offset 0 limit " + size,
               FIELDS_OF_PIECES + "R" + Pieces(value) + "K");
}

INSTANTIATE_TEST_SUITE_P(All, LargeObjectSizes,
                         ::testing::Values(102399, 102400, 102401, 204800, 1000000));

TEST_F(LargeObjects, SixtyFourMebibytesTravelWholeInBothDirections) {
    const std::string value = Pattern(64 * 1024 * 1024);
    Insert(value);
    ExpectDescriptor("L000000000001:67108864");
    reader.Ask("get lob 'L000000000001'  offset 0 limit 67108864",
               FIELDS_OF_PIECES + "R" + Pieces(value) + "K");
    RawClient plain(server.Port());
    plain.LogIn();
    plain.Ask("select b from T", Wire("41 00000001 00000003 'T.b' 00000022 ffffffff 00000002 52"
                                      "04000000") +
                                     value + "K");
}

TEST_F(LargeObjects, OffsetAndLimitCutThePieces) {
    const std::string value = Pattern(3000);
    Insert(value);
    ExpectDescriptor("L000000000001:3000");
    const std::string head = FIELDS_OF_PIECES + "R";
    reader.Ask("get lob 'L000000000001' offset 0 limit 0", head + Wire("00000000 4b"));
    reader.Ask("GET LOB 'L000000000001' OFFSET 10 LIMIT 5;",
               head + Pieces(value.substr(10, 5)) + "K");
    reader.Ask("get lob 'L000000000001' offset 2990 limit 999999999999",
               head + Pieces(value.substr(2990)) + "K");
    reader.Ask("get lob 'L000000000001' offset 3000 limit 1", head + Wire("00000000 4b"));
    reader.Ask("get lob 'L000000000001' offset 18446744073709551615 limit 18446744073709551615",
               head + Wire("00000000 4b"));
}

TEST_F(LargeObjects, ANamedValueStaysAsItWasSelected) {
    const std::string value = Pattern(3000);
    Insert(value);
    ExpectDescriptor("L000000000001:3000");
    client.Ask("drop table T", DONE);
    reader.Ask("get lob 'L000000000001'  offset 0 limit 3000",
               FIELDS_OF_PIECES + "R" + Pieces(value) + "K");
    client.Ask("get lob 'L000000000001'  offset 0 limit 3000",
               FIELDS_OF_PIECES + "R" + Pieces(value) + "K");
}

TEST_F(LargeObjects, AValueThatIsNotYetCommittedIsReadToo) {
    RawClient writer(server.Port());
    writer.LogIn(" auto_commit = 'off' lob_ret=descriptor");
    const std::string value = Pattern(3000);
    writer.Send(
        Frame("insert into T values (?)", 1, Wire("0000 0001 0022") + FourBytes(3000) + value));
    writer.Expect(Inserted("1"));
    writer.Ask("select b from T", Wire("41 00000001 00000003 'T.b' 00000022 ffffffff 00000002"
                                       "52 00000012 'L000000000001:3000' 4b"));
    reader.Ask("get lob 'L000000000001'  offset 0 limit 3000",
               FIELDS_OF_PIECES + "R" + Pieces(value) + "K");
}

TEST_F(LargeObjects, TheEndOfTheirSessionEndsThem) {
    Insert(Pattern(3000));
    {
        RawClient brief(server.Port());
        brief.LogIn(login_items);
        brief.Ask("select b from T",
                  FIELDS_OF_BLOB + Wire("52 00000012 'L000000000001:3000' 00000001 '1' 4b"));
    }
    // The server notices the end when it gets round to it.
    std::string refusal;
    while (refusal.empty()) {
        reader.Send(Frame("get lob 'L000000000001'  offset 0 limit 1"));
        if (reader.Receive(1) == "E") {
            refusal = reader.ReceiveText();
        } else {
            reader.Receive(FIELDS_OF_PIECES.size() - 1 + 14);
        }
        reader.Expect("K");
    }
    EXPECT_EQ("[E10060]there is no large object L000000000001", refusal);
}

TEST_F(LargeObjects, ACursorNamesThemAsWell) {
    Insert(Pattern(3000));
    client.Ask("DECLARE c CURSOR FOR select b from T", DONE);
    client.Ask("OPEN c", FIELDS_OF_BLOB + "K");
    client.Ask("COMMIT;", DONE);
    client.Ask("FETCH 2 FROM c",
               FIELDS_OF_BLOB + Wire("52 00000012 'L000000000001:3000' 00000001 '1' 4b"));
    reader.Ask("get lob 'L000000000001'  offset 0 limit 3000",
               FIELDS_OF_PIECES + "R" + Pieces(Pattern(3000)) + "K");
}

TEST_F(LargeObjects, WhatIsNotThereIsRefused) {
    Insert(Pattern(3000));
    ExpectDescriptor("L000000000001:3000");
    for (const char *identity :
         {"L000000000002", "l000000000001", "L00000000001", "", "M000000000001", "L00000000000G",
          "L0000000000001", "L-00000000001", "L 00000000001", "LFFFFFFFFFFFF"}) {
        EXPECT_EQ(
            std::string("[E10060]there is no large object ") + identity,
            reader.AskRefused(std::string("get lob '") + identity + "'  offset 0 limit 3000"));
    }
}

TEST_F(LargeObjects, CommandsThatAreNotWhole) {
    for (const char *text :
         {"get lob", "get lob 'L000000000001'", "get lob 'L000000000001' offset 0 limit",
          "get lob 'L000000000001' offset 0 limit x", "get lob 'L000000000001' offset -1 limit 1",
          "get lob L000000000001 offset 0 limit 1", "get lob 'L000000000001' offset 0 limit 1 x",
          "get lob 'L000000000001' offset 0 limit 99999999999999999999"}) {
        EXPECT_EQ("[E19001]GET LOB takes a name, OFFSET, LIMIT and their numbers",
                  reader.AskRefused(text));
    }
}

TEST(LargeObjectsOfUsers, AreReadByTheirUserAlone) {
    const RunningServer server({"--user", "ann:a", "--user", "bob:b"});
    const auto log_in = [](RawClient *client, const std::string &user,
                           const std::string &password) {
        client->Send("login database = SYSTEM user='" + user + "' password='" + password +
                     "' encryptor = '' char_set = '' time_zone = '' iso_level = '' "
                     "auto_commit = 'on' lob_ret=descriptor version = '301'");
        client->Expect(Wire("'N' 0000012d 'K'"));
    };
    RawClient ann(server.Port());
    log_in(&ann, "ann", "a");
    ann.Ask("create table T (b blob)", DONE);
    ann.Ask("insert into T values (zeroblob(2049))", Inserted("1"));
    ann.Ask("select b from T", Wire("41 00000001 00000003 'T.b' 00000022 ffffffff 00000002"
                                    "52 00000012 'L000000000001:2049' 4b"));
    RawClient bob(server.Port());
    log_in(&bob, "bob", "b");
    EXPECT_EQ("[E10060]there is no large object L000000000001",
              bob.AskRefused("get lob 'L000000000001'  offset 0 limit 2049"));
    RawClient other_ann(server.Port());
    log_in(&other_ann, "ANN", "a");
    other_ann.Ask("get lob 'L000000000001'  offset 0 limit 2049",
                  FIELDS_OF_PIECES + "R" + Pieces(std::string(2049, '\0')) + "K");
}

TEST(LargeObjectsInline, TheOptionSaysHowLongTheyMayBe) {
    const RunningServer server({"--lob-inline=3"});
    RawClient client(server.Port());
    client.LogIn(" auto_commit = 'on' lob_ret=descriptor");
    client.Ask("create table T (c clob)", DONE);
    client.Ask("insert into T values (''), ('abc'), ('abcd'), (null)", Updated(4));
    client.Ask("select c from T", Wire("41 00000001 00000003 'T.c' 00000020 ffffffff 00000002"
                                       "52 00000001 'c' 52 00000004 'cabc'"
                                       "52 0000000f 'L000000000001:4' 52 00000000 4b"));
    const RunningServer none({"--lob-inline", "0"});
    RawClient reader(none.Port());
    reader.LogIn(" auto_commit = 'on' lob_ret=descriptor");
    reader.Ask("create table T (c clob)", DONE);
    reader.Ask("insert into T values ('a')", Inserted("1"));
    reader.Ask("select c from T", Wire("41 00000001 00000003 'T.c' 00000020 ffffffff 00000002"
                                       "52 0000000f 'L000000000001:1' 4b"));
}

TEST_F(LargeObjects, ASessionWithoutDescriptorsGetsTheBytesAlone) {
    const std::string value = Pattern(3000);
    Insert(value);
    RawClient plain(server.Port());
    plain.LogIn();
    plain.Ask("select b from T", Wire("41 00000001 00000003 'T.b' 00000022 ffffffff 00000002 52") +
                                     FourBytes(3000) + value + "K");
}

// What clients send when they write a large object back.
TEST_F(LargeObjects, AreWrittenBackByRowid) {
    client.Ask("create table \"Docs\" (\"Id\" integer, \"Text\" clob, \"Data\" blob)", DONE);
    client.Ask("insert into \"Docs\" values (1, 'a', x'00'), (2, 'b', x'01')", Updated(2));
    client.Ask("select Text, Data from Docs where Id = 2",
               Wire("41 00000003 00000009 'Docs.Text' 00000020 ffffffff 00000002"
                    "            00000009 'Docs.Data' 00000022 ffffffff 00000002"
                    "            00000005 'ROWID' 0000002d 00000014 00000000"
                    "52 00000002 'cb' 00000002 'b' 01 00000001 '2' 4b"));
    client.Send(
        Frame("PREPARE ST0 AS update \"Docs\" set \"Text\" = ?, \"Data\" = ? where rowid = '2'"));
    client.Expect(
        Wire("24 00000002 00000000 0000001e ffffffff 00000001"
             "            00000000 0000001e ffffffff 00000001 4b"));
    const std::string value = Pattern(200000);
    client.Send(
        Frame("? ST0 ", 2,
              Wire("0000 0001 0020 00000003 'xyz' 0000 0001 0022") + FourBytes(200000) + value));
    client.Expect(Updated(1));
    RawClient plain(server.Port());
    plain.LogIn();
    plain.Ask("select Text, Data from Docs",
              Wire("41 00000002 00000009 'Docs.Text' 00000020 ffffffff 00000002"
                   "            00000009 'Docs.Data' 00000022 ffffffff 00000002"
                   "52 00000001 'a' 00000001 00 52 00000003 'xyz'") +
                  FourBytes(200000) + value + "K");
}

TEST_F(LargeObjects, AWriteBackThatFindsNoRowChangesNothing) {
    Insert("x");
    client.Send(Frame("update \"T\" set \"b\" = ? where rowid = ''", 1,
                      Wire("0000 0001 0022 00000001 'y'")));
    client.Expect(Updated(0));
    EXPECT_EQ("[E19001]near \",\": syntax error",
              client.AskRefused("update \"T\" set , \"b\" = ? where rowid = '1'"));
}

}  // namespace
}  // namespace tavud_test
