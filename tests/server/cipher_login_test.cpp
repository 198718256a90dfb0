// The enciphered login over a socket: its messages, its verdicts, and the keystreams behind it.
#include <cstdint>
#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "server/cipher_client.h"
#include "server/raw_client.h"
#include "server/temporary_folder.h"

namespace tavud_test {
namespace {

const std::string DEFAULT_TEXT =
    "login database = SYSTEM user='SYSDBA' password='SYSDBA' encryptor = '' char_set = 'GBK' "
    "time_zone = 'GTM+08:00' iso_level = '2' auto_commit = 'on' version = '301'";

const std::string MALFORMED = Wire("45 0000001f '[E18001]login text is malformed'");

// A file with the key pair that the tests know.
class KnownKeyFile {
public:
    KnownKeyFile() {
        std::ofstream(Path()) << KNOWN_KEY_PAIR;
    }
    std::string Path() const {
        return folder_.File("key");
    }

private:
    TemporaryFolder folder_;
};

TEST(CipherLogin, AWholeExchangeByteForByte) {
    const KnownKeyFile key;
    const RunningServer server({"--ssl", "--key", key.Path()});
    RawClient client(server.Port());
    client.Send("~ssl~");
    client.Expect(
        Wire("0100010000000000000000000000000000000000000000000000000000000000"     // exponent
             "336bb36fb0a6a231909a5133b5f6e220c85af62022dee40f1765126fe86b34e1"));  // modulus
    client.Send(
        Wire("d093ee89ca486a8ba90a7805e3da43bcbd0463fc0e7c57fc5a40708777c31819"     // 00 01 ... 1f
             "1c4822929e419904f2eeec4db9eef30492194af5ddfbf53cb0b30598b61e577e"     // login ...
             "5efbb3fabb1470c53693ae40b0c9d57eb097ff29d74fd0be7ec34b92b91fb83f"     // SYSDBA' ...
             "948ff1ed45e5b5a7bbcf747f3386b1a7f624a5c419787ed9d85e34a7b7ec4186"     // yptor = ...
             "0c000818941d800279946b38ea6027d6a48cc14b1f0949bde5676e9a4ae16703"     // me_zone ...
             "dda926864b4db3d74dffac86aeafe5bc5fd14d3b09dcaabd18ba49568ac324b6"     // l = '2' ...
             "38c7f7cdc7cb2c5c97efa729d64694e47cc3cead7e3c77d405fddcf8df2adf34"));  // sion ...
    client.Expect(Wire("76cbd9847f7f"));                                            // N 0000012d K
    client.Send(Wire("07cbd9855577d25d3e5b8325d385454903"));  // ? 00000007 COMMIT; 00 00000000
    client.Expect(Wire("d6"));                                // K
}

TEST(CipherLogin, Protocol201AnswersKAlone) {
    const RunningServer server({"--ssl", "--protocol", "201"});
    CipherClient client(server.Port());
    client.SendLogin(DEFAULT_TEXT);
    client.raw.Expect(Wire("73"));  // K
    client.received.Apply("K");
    client.Ask("COMMIT;", DONE);
}

TEST(CipherLogin, TheMessageMayArriveByteByByte) {
    const RunningServer server({"--ssl"});
    CipherClient client(server.Port());
    std::vector<std::string> blocks = SpreadText(DEFAULT_TEXT);
    blocks.insert(blocks.begin(), CountingKey());
    for (const char c : EncipherBlocks(client.PublicKey(), blocks)) {
        client.raw.Send(std::string(1, c));
    }
    client.Expect(Wire("'N' 0000012d 'K'"));
    client.Ask("COMMIT;", DONE);
}

TEST(CipherLogin, ARequestRightBehindTheMessageIsDeciphered) {
    const RunningServer server({"--ssl"});
    CipherClient client(server.Port());
    std::vector<std::string> blocks = SpreadText(DEFAULT_TEXT);
    blocks.insert(blocks.begin(), CountingKey());
    client.raw.Send(EncipherBlocks(client.PublicKey(), blocks) +
                    client.sent.Apply(Frame("COMMIT;") + Frame("tavud message 'x'")));
    client.Expect(Wire("'N' 0000012d 'K' 'K' 4d 00000001 'x' 4b"));
}

TEST(CipherLogin, TextsThatFillTheirLastBlockDifferentlyAreAllRead) {
    const RunningServer server({"--ssl", "--user", "U:" + std::string(60, 'p')});
    // With an isolation level of nothing the text has 199 bytes.
    const std::string head = "login database = SYSTEM user='U' password='" + std::string(60, 'p') +
                             "' encryptor = '' char_set = '' time_zone = '' iso_level = '";
    const std::string tail = "' auto_commit = 'off' version = '301'";
    ASSERT_EQ(199U, head.size() + tail.size());
    for (size_t more = 0; more <= 31; more++) {
        SCOPED_TRACE(more);
        CipherClient client(server.Port());
        client.SendLogin(head + std::string(more, 'i') + tail);
        client.Expect(Wire("'N' 0000012d 'K'"));
    }
}

TEST(CipherLogin, ItsItemsCountAsInThePlainForm) {
    const RunningServer server({"--ssl"});
    CipherClient client(server.Port());
    client.LogIn(" auto_commit = 'off' return_rowid=true");
    client.Ask("create table T (a integer)", DONE);
    client.Ask("insert into T values (7)", Inserted("1"));
    client.Ask("select a from T", Wire("41 00000002 00000003 'T.a' 00000005 ffffffff 00000002"
                                       "00000005 'ROWID' 0000002d 00000014 00000000"
                                       "52 00000004 00000007 00000001 '1' 4b"));
}

TEST(CipherLogin, ThePlainFormIsAcceptedBesidesIt) {
    const RunningServer server({"--ssl"});
    RawClient plain(server.Port());
    plain.LogIn();
    CipherClient enciphered(server.Port());
    enciphered.LogIn();
    plain.Ask("COMMIT;", DONE);
    enciphered.Ask("COMMIT;", DONE);
}

TEST(CipherLogin, EachConnectionHasAKeystreamOfItsOwn) {
    const RunningServer server({"--ssl"});
    CipherClient one(server.Port());
    CipherClient other(server.Port());
    EXPECT_EQ(one.PublicKey(), other.PublicKey());
    one.LogIn();
    one.Ask("COMMIT;", DONE);
    other.LogIn();
    one.Ask("ROLLBACK;", DONE);
    other.Ask("COMMIT;", DONE);
}

TEST(CipherLogin, ServersWithOneKeyFileHandOutTheSameKey) {
    const TemporaryFolder folder;
    const std::string file = folder.File("key");
    const RunningServer one({"--ssl", "--key", file});
    const RunningServer other({"--ssl", "--key=" + file});
    const RunningServer fresh({"--ssl"});
    CipherClient first(one.Port());
    CipherClient second(other.Port());
    CipherClient third(fresh.Port());
    EXPECT_EQ(first.PublicKey(), second.PublicKey());
    EXPECT_NE(first.PublicKey(), third.PublicKey());
    first.LogIn();
    second.LogIn();
    third.LogIn();
}

TEST(CipherLoginRefusal, WrongPasswordGivesE18004EncipheredAndTheEnd) {
    const KnownKeyFile key;
    const RunningServer server({"--ssl", "--key", key.Path()});
    CipherClient client(server.Port());
    client.SendLogin(
        "login database = SYSTEM user='SYSDBA' password='wrong' encryptor = '' char_set = 'GBK' "
        "time_zone = 'GTM+08:00' iso_level = '2' auto_commit = 'on' version = '301'");
    // 45 00000026 '[E18004]user name or password is wrong'
    client.raw.Expect(
        Wire("7dcbd985746fd8214b22e72a8ef0362c715e1718a641b2257a6536ad8bbb2dc0"
             "2eaf91b8bc4b313475e885"));
    client.raw.ExpectEnd();
}

TEST(CipherLoginRefusal, AnotherDatabaseGivesE18003) {
    const RunningServer server({"--ssl", "--database", "STOCK"});
    CipherClient client(server.Port());
    client.SendLogin(DEFAULT_TEXT);
    client.Expect(Wire("45 00000026 '[E18003]database SYSTEM does not exist'"));
    client.raw.ExpectEnd();
}

TEST(CipherLoginRefusal, ASessionKeyWithItsTopBitSetGivesE18001UnderThatKey) {
    const RunningServer server({"--ssl"});
    CipherClient client(server.Port());
    std::vector<std::string> blocks = SpreadText(DEFAULT_TEXT);
    blocks.insert(blocks.begin(), std::string(31, '\0') + "\x80");
    client.SendBlocks(blocks);
    // 45 0000001f '[E18001]login text is malformed'
    client.raw.Expect(
        Wire("4290e6c5b5d62d646eb2bc8d8b9ddca8c8972c7e0ed9842e02a31e59db54ceca"
             "474598f7"));
    client.raw.ExpectEnd();
}

TEST(CipherLoginRefusal, AKeyBlockThatNoPublicKeyMakesGivesE18001UnderAKeyOfZeros) {
    const RunningServer server({"--ssl"});
    CipherClient client(server.Port());
    client.raw.Send(std::string(32, '\xFF') +
                    EncipherBlocks(client.PublicKey(), SpreadText(DEFAULT_TEXT)));
    // 45 0000001f '[E18001]login text is malformed'
    client.raw.Expect(
        Wire("a28fb2fb8601e07959b3ce9e88c795d007115e9594bc2f7bf46cc8cc0da3eaf8"
             "fa2b3348"));
    client.raw.ExpectEnd();
}

// Plain blocks behind the session key that make no text.
struct MalformedBlocks {
    const char *name;
    std::vector<std::string> blocks;
};

std::string Padded(const std::string &bytes) {
    std::string block = bytes;
    block.resize(32, '\0');
    return block;
}

// A login text that is sound but for its last block, which has this many bytes of text.
std::vector<std::string> Unclosed(size_t last_bytes) {
    std::string text = DEFAULT_TEXT;
    text.insert(text.find("GBK"), 5 * 30 + last_bytes - text.size(), 'x');
    std::vector<std::string> blocks = SpreadText(text.substr(0, 5 * 30));
    blocks.back() = Padded(text.substr(5 * 30));
    return blocks;
}

std::vector<MalformedBlocks> AllMalformedBlocks() {
    const std::vector<std::string> sound = SpreadText(DEFAULT_TEXT);
    const auto with = [&sound](size_t index, const std::string &block) {
        std::vector<std::string> blocks(sound.begin(), sound.begin() + static_cast<long>(index));
        blocks.push_back(block);
        return blocks;
    };
    std::vector<std::string> zero_inside = sound;
    zero_inside[2][5] = '\0';
    std::vector<std::string> padded_with_a_block = sound;
    padded_with_a_block.back() = sound.back().substr(0, 12) + std::string(18, '\0') + "\x07\x07";
    padded_with_a_block.push_back(std::string(32, '\0'));
    return {
        {"NothingButZeros", {std::string(32, '\0')}},
        {"TextThatIsCut", with(3, Padded("time_zone = "))},
        {"ZeroInsideAChunk", zero_inside},
        {"PaddedWithAWholeBlock", padded_with_a_block},
        {"LastBlockOf30Bytes", Unclosed(30)},
        {"LastBlockOf31Bytes", Unclosed(31)},
        {"LastBlockOf32Bytes", Unclosed(32)},
        {"SomethingBehindTheZero", with(5, Padded(sound[5].substr(0, 13) + "x"))},
        {"SomethingInTheLastByte", with(5, sound[5].substr(0, 31) + "\x01")},
        {"OneByte07", with(2, sound[2].substr(0, 31) + "x")},
        {"OneByte07AndAZero", with(2, Padded(sound[2].substr(0, 31)))},
    };
}

TEST(CipherLoginRefusal, MalformedBlocksGiveE18001Enciphered) {
    const RunningServer server({"--ssl"});
    for (const MalformedBlocks &malformed : AllMalformedBlocks()) {
        SCOPED_TRACE(malformed.name);
        CipherClient client(server.Port());
        std::vector<std::string> blocks = malformed.blocks;
        blocks.insert(blocks.begin(), CountingKey());
        client.SendBlocks(blocks);
        client.Expect(MALFORMED);
        client.raw.ExpectEnd();
    }
}

TEST(CipherLoginRefusal, ATextBlockThatNoPublicKeyMakesGivesE18001) {
    const RunningServer server({"--ssl"});
    CipherClient client(server.Port());
    const std::vector<std::string> text = SpreadText(DEFAULT_TEXT);
    client.SendBlocks({CountingKey(), text[0], text[1]});
    client.raw.Send(std::string(32, '\xFF'));
    client.Expect(MALFORMED);
    client.raw.ExpectEnd();
}

// A login text of this many bytes that names an unknown database.
std::string TextOf(size_t bytes) {
    const std::string tail = LoginText(" auto_commit = 'off'").substr(23);
    const std::string head = "login database = ";
    return head + std::string(bytes - head.size() - tail.size(), 'x') + tail;
}

TEST(CipherLoginRefusal, ATextOf511BytesIsRead) {
    const RunningServer server({"--ssl"});
    CipherClient client(server.Port());
    client.SendLogin(TextOf(511));
    client.Expect("E");
    client.Receive(4);
    client.Expect("[E18003]database xxx");
}

TEST(CipherLoginRefusal, ATextOf512BytesIsClosedWithoutAWord) {
    const RunningServer server({"--ssl"});
    CipherClient client(server.Port());
    client.SendLogin(TextOf(512));
    client.raw.ExpectEnd();
}

TEST(CipherLoginRefusal, AMessageWithoutEndIsClosedWithoutAWord) {
    const RunningServer server({"--ssl"});
    CipherClient client(server.Port());
    client.SendBlocks({CountingKey()});
    client.SendBlocks(std::vector<std::string>(18, std::string(30, 'x') + "\x07\x07"));
    client.raw.ExpectEnd();
}

TEST(CipherLoginCut, AnExchangeCutAtAnyByteHurtsNoOther) {
    const RunningServer server({"--ssl"});
    CipherClient good(server.Port());
    good.LogIn();
    const std::string start = "~ssl~";
    for (size_t cut = 0; cut < start.size(); cut++) {
        RawClient bad(server.Port());
        bad.Send(start.substr(0, cut));
    }
    std::vector<std::string> blocks = SpreadText(DEFAULT_TEXT);
    blocks.insert(blocks.begin(), CountingKey());
    const std::string message = EncipherBlocks(good.PublicKey(), blocks);
    for (size_t cut = 0; cut < message.size(); cut++) {
        CipherClient bad(server.Port());
        bad.raw.Send(message.substr(0, cut));
    }
    good.Ask("COMMIT;", DONE);
    CipherClient later(server.Port());
    later.LogIn();
}

TEST(CipherLoginCut, AClientThatWaitsBetweenBlocksDoesNotKeepTheServerFromEnding) {
    RunningServer server({"--ssl"});
    CipherClient client(server.Port());
    client.SendBlocks({CountingKey(), SpreadText(DEFAULT_TEXT)[0]});
    server.Stop();
    client.raw.ExpectEnd();
}

class CipherConversation : public ::testing::Test {
protected:
    CipherConversation() : server({"--ssl"}), client(server.Port()) {
        client.LogIn(" auto_commit = 'on'");
    }

    RunningServer server;
    CipherClient client;
};

TEST_F(CipherConversation, BothDirectionsPassTheirBlocksAtTheirOwnPace) {
    // Requests of 32 bytes answered by 24: the positions cross 340, 3400 and 6800 at different
    // times, and stay within the bytes that are written out.
    for (int i = 0; i < 300; i++) {
        client.Ask("tavud message 'abcdefgh'", Wire("4d 00000008 'abcdefgh' 4b"));
        ASSERT_FALSE(HasFailure()) << "request " << i;
    }
}

TEST_F(CipherConversation, ALongAnswerArrivesWhole) {
    // Beyond the server's buffer, in rows and in one value.
    client.Send(Frame("select zeroblob(200000), 7 union all select zeroblob(3), 8"));
    client.Expect(Wire("41 00000002"));
    client.Expect(Wire("00000010 'zeroblob(200000)' 00000021 ffffffff 00000002"));
    client.Expect(Wire("00000001 '7' 00000006 ffffffff 00000002"));
    client.Expect(Wire("52 00030d40") + std::string(200000, '\0'));
    client.Expect(Wire("00000008 0000000000000007"));
    client.Expect(Wire("52 00000003 000000 00000008 0000000000000008 4b"));
    client.Send(
        Frame("with recursive n(i) as (select 1 union all select i + 1 from n where i < 20000) "
              "select i from n"));
    client.Expect(Wire("41 00000001 00000001 'i' 00000006 ffffffff 00000002"));
    for (uint8_t high = 0; high < 78; high++) {
        for (int low = high == 0 ? 1 : 0; low < 256; low++) {
            std::string row = Wire("52 00000008 000000000000 0000");
            row[11] = static_cast<char>(high);
            row[12] = static_cast<char>(low);
            client.Expect(row);
        }
        ASSERT_FALSE(HasFailure()) << "rows of " << static_cast<int>(high);
    }
}

TEST_F(CipherConversation, ALongRequestArrivesWhole) {
    client.Ask("create table T (a blob)", DONE);
    const std::string value(200000, 'v');
    client.Send(Frame("insert into T values (?)", 1, Wire("0000 0001 0022 00030d40") + value));
    client.Expect(Inserted("1"));
    client.Ask(
        "delete from T where length(a) = 200000 and a = cast(printf('%.*c', 200000, 'v') "
        "as blob)",
        Deleted(1));
}

TEST_F(CipherConversation, ABookmarkTravelsBareAndLeavesTheKeystreamWhereItWas) {
    client.Send(Frame("tavud bookmark 'abcd'"));
    client.Expect(Wire("41 00000001 00000008 'BOOKMARK' 0000001e ffffffff 00000000 2a 00000004"));
    client.raw.Expect("abcd");
    client.Expect(Wire("00000004 'abcd' 4b"));
    client.Ask("COMMIT;", DONE);
}

TEST_F(CipherConversation, ADataItemTravelsBareAndLeavesTheKeystreamWhereItWas) {
    client.Send(Frame("tavud message 'x'; tavud data 'one'; tavud data ''; tavud message 'y'"));
    client.Expect(Wire("4d 00000001 'x' 4f 00000001 00000003"));
    client.raw.Expect("one");
    client.Expect(Wire("4f 00000001 00000000 4d 00000001 'y' 4b"));
    client.Ask("COMMIT;", DONE);
}

TEST_F(CipherConversation, BareBytesBeyondTheBufferKeepTheirPlace) {
    const std::string text(100000, 'b');
    client.Send(Frame("tavud data '" + text + "'; tavud message 'y'"));
    client.Expect(Wire("4f 00000001 000186a0"));
    EXPECT_EQ(text, client.raw.Receive(text.size()));
    client.Expect(Wire("4d 00000001 'y' 4b"));
}

TEST_F(CipherConversation, ABadFrameEndsItLikeAPlainOne) {
    client.Send(Wire("3f ffffffff"));
    client.raw.ExpectEnd();
}

}  // namespace
}  // namespace tavud_test
