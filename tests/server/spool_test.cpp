// What is put aside: bytes in files without names, the large objects in them, and a disk that takes
// no more.
#include "server/spool.h"

#include <signal.h>
#include <sys/resource.h>

#include <optional>
#include <string>

#include <gtest/gtest.h>

#include "server/errors.h"
#include "server/large_object.h"
#include "server/raw_client.h"
#include "server/types.h"

namespace tavud_test {
namespace {

using tavud::LargeObject;
using tavud::LargeObjectGiver;
using tavud::LargeObjects;
using tavud::Spool;

// Files of this process cannot grow beyond a size while it lives.
class FileLimit {
public:
    explicit FileLimit(rlim_t bytes) {
        signal(SIGXFSZ, SIG_IGN);
        getrlimit(RLIMIT_FSIZE, &before_);
        const rlimit limit = {bytes, before_.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FileLimit() {
        setrlimit(RLIMIT_FSIZE, &before_);
    }
    FileLimit(const FileLimit &) = delete;
    FileLimit &operator=(const FileLimit &) = delete;

private:
    rlimit before_ = {};
};

std::string ReadAt(const Spool &spool, uint64_t place, size_t count) {
    std::string bytes(count, '\0');
    spool.Read(place, bytes.data(), count);
    return bytes;
}

TEST(Spool, GivesBackWhatItTook) {
    Spool spool;
    EXPECT_EQ(0U, spool.Size());
    EXPECT_EQ(0U, spool.Append("abc"));
    EXPECT_EQ(3U, spool.Append(std::string(100000, 'x')));
    EXPECT_EQ(100003U, spool.Append("yz"));
    EXPECT_EQ(100005U, spool.Size());
    EXPECT_EQ("abcx", ReadAt(spool, 0, 4));
    EXPECT_EQ("xyz", ReadAt(spool, 100002, 3));
    EXPECT_EQ("", ReadAt(spool, 100005, 0));
}

TEST(Spool, ReadsNothingBeyondItsEnd) {
    Spool spool;
    spool.Append("abc");
    EXPECT_THROW(ReadAt(spool, 2, 2), tavud::StatementRefused);
}

TEST(Spool, ADiskThatTakesNoMoreLeavesWhatWasThere) {
    Spool spool;
    const FileLimit limit(10);
    spool.Append("abcdefgh");
    EXPECT_THROW(spool.Append("ijkl"), tavud::StatementRefused);
    EXPECT_EQ(8U, spool.Size());
    EXPECT_EQ(8U, spool.Append("mn"));
    EXPECT_EQ("hmn", ReadAt(spool, 7, 3));
}

// The text that names a value, without the length in front.
std::string Give(LargeObjectGiver *giver, std::string_view value, int32_t type_id) {
    std::string row;
    giver->Append(value, type_id, &row);
    return row.substr(4);
}

TEST(LargeObjectGiver, NamesWhatIsLongAndMarksWhatIsShort) {
    LargeObjects objects;
    LargeObjectGiver giver(&objects, "ann", 3);
    std::string row = "R";
    giver.Append("abc", tavud::TYPE_CLOB, &row);
    giver.Append("abc", tavud::TYPE_BLOB, &row);
    giver.Append("abcd", tavud::TYPE_BLOB, &row);
    EXPECT_EQ(Wire("52 00000004 'cabc' 00000004 'babc' 0000000f 'L000000000001:4'"), row);
    const std::optional<LargeObject> object = objects.Find("L000000000001", "ANN");
    ASSERT_TRUE(object.has_value());
    EXPECT_EQ(4U, object->bytes);
    EXPECT_EQ(tavud::TYPE_BLOB, object->type_id);
    EXPECT_EQ("abcd", ReadAt(*object->spool, object->place, 4));
    EXPECT_FALSE(objects.Find("L000000000001", "bob").has_value());
}

TEST(LargeObjectGiver, IdentitiesAreHexadecimal) {
    LargeObjects objects;
    LargeObjectGiver giver(&objects, "ann", 0);
    for (int i = 1; i < 171; i++) {
        Give(&giver, "x", tavud::TYPE_CLOB);
    }
    EXPECT_EQ("L0000000000AB:2", Give(&giver, "yz", tavud::TYPE_CLOB));
    EXPECT_TRUE(objects.Find("L0000000000AB", "ann").has_value());
}

TEST(LargeObjectGiver, AValueIsKeptUntilEnoughOthersHaveCome) {
    LargeObjects objects;
    LargeObjectGiver giver(&objects, "ann", 0, 10);
    EXPECT_EQ("L000000000001:6", Give(&giver, "abcdef", tavud::TYPE_CLOB));
    EXPECT_EQ("L000000000002:6", Give(&giver, "ghijkl", tavud::TYPE_CLOB));
    EXPECT_EQ("L000000000003:9", Give(&giver, "mnopqrstu", tavud::TYPE_CLOB));
    const std::optional<LargeObject> held = objects.Find("L000000000001", "ann");
    ASSERT_TRUE(held.has_value());
    EXPECT_EQ("L000000000004:1", Give(&giver, "v", tavud::TYPE_CLOB));
    EXPECT_TRUE(objects.Find("L000000000002", "ann").has_value());
    EXPECT_EQ("L000000000005:1", Give(&giver, "w", tavud::TYPE_CLOB));
    EXPECT_FALSE(objects.Find("L000000000001", "ann").has_value());
    EXPECT_FALSE(objects.Find("L000000000002", "ann").has_value());
    EXPECT_TRUE(objects.Find("L000000000003", "ann").has_value());
    EXPECT_TRUE(objects.Find("L000000000005", "ann").has_value());
    // Who is reading one reads on.
    EXPECT_EQ("abcdef", ReadAt(*held->spool, held->place, 6));
}

TEST(LargeObjectGiver, TakesWhatItKeptWithIt) {
    LargeObjects objects;
    {
        LargeObjectGiver giver(&objects, "ann", 0);
        Give(&giver, "x", tavud::TYPE_CLOB);
    }
    EXPECT_FALSE(objects.Find("L000000000001", "ann").has_value());
}

TEST(CursorOnAFullDisk, GivesTheRowsThatWerePutAsideAndThenTheRefusal) {
    const RunningServer server;
    RawClient client(server.Port());
    client.LogIn(" auto_commit = 'on'");
    client.Ask(
        "DECLARE c CURSOR FOR with recursive n(i) as (select 1 union all select i + 1 from "
        "n where i < 1000000) select i from n",
        DONE);
    const std::string fields = Wire("41 00000001 00000001 'i' 00000006 ffffffff 00000002");
    client.Ask("OPEN c", fields + "K");
    {
        const FileLimit limit(1024 * 1024);
        client.Ask("tavud message 'now'", Wire("4d 00000003 'now' 4b"));
    }
    client.Send(Frame("FETCH 1000000 FROM c"));
    client.Expect(fields);
    uint32_t rows = 0;
    std::string letter = client.Receive(1);
    for (; letter == "R"; letter = client.Receive(1)) {
        rows++;
        EXPECT_EQ(FourBytes(8) + FourBytes(0) + FourBytes(rows), client.Receive(12));
    }
    EXPECT_GT(rows, 1000U);
    EXPECT_LT(rows, 1000000U);
    EXPECT_EQ("E", letter);
    EXPECT_EQ("[E11000]cannot write a temporary file: File too large", client.ReceiveText());
    client.Expect("K");
    client.Ask("FETCH 1 FROM c", fields + "K");
    client.Ask("COMMIT;", DONE);
}

TEST(LargeObjectOnAFullDisk, IsRefusedWithItsStatement) {
    const RunningServer server({"--lob-inline", "10"});
    RawClient client(server.Port());
    client.LogIn(" auto_commit = 'on' lob_ret=descriptor");
    client.Ask("create table T (b blob)", DONE);
    client.Ask("insert into T values (zeroblob(3000000))", Inserted("1"));
    const std::string fields = Wire("41 00000001 00000003 'T.b' 00000022 ffffffff 00000002");
    {
        const FileLimit limit(1024 * 1024);
        client.Send(Frame("select b from T"));
        client.Expect(fields);
        EXPECT_EQ("[E11000]cannot write a temporary file: File too large", client.ReceiveRefusal());
    }
    client.Ask("select b from T", fields + Wire("52 00000015 'L000000000001:3000000' 4b"));
}

}  // namespace
}  // namespace tavud_test
