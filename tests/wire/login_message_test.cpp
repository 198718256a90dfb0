// The message of an enciphered login: the text in its chunks, and texts that are too long for it.
#include <gtest/gtest.h>

#include <cstring>

#include "diag/error.h"
#include "platform/memory.h"
#include "platform/socket.h"
#include "platform/text.h"
#include "support/scripted_peer.h"
#include "wire/cipher_rig.h"
#include "wire/connection.h"
#include "wire/login.h"
#include "wire/login_known.h"

// The letters a to z over and over.
static std::string Letters(size_t count) {
    std::string text;
    for (size_t i = 0; i < count; i++) {
        text += (char)('a' + i % 26);
    }
    return text;
}

// A connected socket and a peer that has sent a key.
struct MessageRig : ConnRig {
    MessageRig(const char *exponent, const char *modulus) {
        const Bytes exponent_bytes = Hex(exponent);
        const Bytes modulus_bytes = Hex(modulus);
        std::memcpy(conn->rsa_exponent, exponent_bytes.data(), 32);
        std::memcpy(conn->rsa_modulus, modulus_bytes.data(), 32);
        conn->ip = NetAddressFromText("127.0.0.1");
        conn->port = peer.port();
        peer.Accept();
    }

    // Sends the counting key and the text; returns whether it fitted.
    bool Send(const std::string &text) {
        peer.Start();
        EXPECT_TRUE(ConnOpenSocket(conn));
        uint8_t message[LOGIN_MESSAGE_BYTES] = {};
        std::memcpy(message, CountingKey().data(), 32);
        std::memcpy(message + 32, text.c_str(), text.size() + 1);
        const bool sent = LoginSendEnciphered(conn, message);
        EXPECT_TRUE(peer.Finish()) << peer.Failure();
        return sent;
    }

    ScriptedPeer peer;
};

static const char *const EXPONENT_ONE =
    "0100000000000000000000000000000000000000000000000000000000000000";

// Under the exponent 1 the blocks are seen as they are.
static void ExpectBlocks(size_t text_bytes, const char *blocks) {
    SCOPED_TRACE(text_bytes);
    MessageRig rig(EXPONENT_ONE, SERVER_MODULUS);
    rig.peer.Expect(CountingKey() + Hex(blocks));
    EXPECT_TRUE(rig.Send(Letters(text_bytes)));
}

TEST(LoginMessage, OfATextIsTheKeyAndChunksOf30Bytes) {
    ExpectBlocks(1, "'a' 00 000000000000000000000000000000000000000000000000000000000000");
    ExpectBlocks(29, "'abcdefghijklmnopqrstuvwxyzabc' 00 0000");
    ExpectBlocks(30,
                 "'abcdefghijklmnopqrstuvwxyzabcd' 0707"
                 "00 00000000000000000000000000000000000000000000000000000000000000");
    ExpectBlocks(59,
                 "'abcdefghijklmnopqrstuvwxyzabcd' 0707"
                 "'efghijklmnopqrstuvwxyzabcdefg' 00 0000");
    ExpectBlocks(60,
                 "'abcdefghijklmnopqrstuvwxyzabcd' 0707"
                 "'efghijklmnopqrstuvwxyzabcdefgh' 0707"
                 "00 00000000000000000000000000000000000000000000000000000000000000");
    ExpectBlocks(61,
                 "'abcdefghijklmnopqrstuvwxyzabcd' 0707"
                 "'efghijklmnopqrstuvwxyzabcdefgh' 0707"
                 "'i' 00 000000000000000000000000000000000000000000000000000000000000");
}

TEST(LoginMessage, OfTheLongestTextFillsAllOfItsRoom) {
    const std::string text = Letters(449);
    Bytes blocks;
    for (size_t chunk = 0; chunk < 14; chunk++) {
        blocks = blocks + Ascii(text.substr(30 * chunk, 30)) + Hex("0707");
    }
    blocks = blocks + Ascii(text.substr(420)) + Hex("00 0000");
    ASSERT_EQ(480u, blocks.size());
    MessageRig rig(EXPONENT_ONE, SERVER_MODULUS);
    rig.peer.Expect(CountingKey() + blocks);
    EXPECT_TRUE(rig.Send(text));
}

TEST(LoginMessage, GoesOutUnderTheServersKey) {
    for (const KnownMessage &known : known_messages) {
        SCOPED_TRACE(known.text_bytes);
        MessageRig rig(SERVER_EXPONENT, SERVER_MODULUS);
        rig.peer.Expect(Hex(known.message));
        EXPECT_TRUE(rig.Send(Letters(known.text_bytes)));
    }
}

TEST(LoginMessage, OfALongerTextIsNotSent) {
    for (const size_t text_bytes : {450, 451, 479}) {
        SCOPED_TRACE(text_bytes);
        MessageRig rig(EXPONENT_ONE, SERVER_MODULUS);
        EXPECT_FALSE(rig.Send(Letters(text_bytes)));
    }
}

TEST(LoginMessage, OfABlockThatIsZeroIsSentUnderAnyKey) {
    MessageRig rig(SERVER_EXPONENT, SERVER_MODULUS);
    // The block of an empty text is zero, and so is its power.
    rig.peer.Expect(Hex("A6D1CA182645D7DD36F2ACBA970E3467A2AA0E85F695BC8F50F928B6C871D30A") +
                    Bytes(32, 0));
    EXPECT_TRUE(rig.Send(""));
}

TEST(LoginTextSplit, SpreadsATextInPlace) {
    char text[128] = "abcdefghijklmnopqrstuvwxyzabcdefghijklmnopqrstuvwxyzabcdefghi";
    LoginTextSplit(text);
    EXPECT_STREQ(
        "abcdefghijklmnopqrstuvwxyzabcd\a\a"
        "efghijklmnopqrstuvwxyzabcdefgh\a\a"
        "i",
        text);
}

TEST(LoginTextSplit, LeavesATextOfOneChunkAlone) {
    char text[64] = "abcdefghijklmnopqrstuvwxyzabc";
    LoginTextSplit(text);
    EXPECT_STREQ("abcdefghijklmnopqrstuvwxyzabc", text);
    text[0] = '\0';
    LoginTextSplit(text);
    EXPECT_STREQ("", text);
}

// Attributes whose login text on a database of 127 characters has this length, 441 at least.
static ConnAttr AttrOfTextBytes(size_t text_bytes) {
    ConnAttr attr;
    ConnAttrInit(&attr);
    attr.use_ssl = 1;
    TextCopy(attr.user, sizeof(attr.user), std::string(53, 'u').c_str());
    TextCopy(attr.password, sizeof(attr.password), std::string(63, 'p').c_str());
    TextCopy(attr.time_zone, sizeof(attr.time_zone), std::string(63, 't').c_str());
    TextCopy(attr.encryptor, sizeof(attr.encryptor), std::string(text_bytes - 441, 'e').c_str());
    return attr;
}

// The text of these attributes.
static std::string TextOfBytes(size_t text_bytes) {
    const std::string text = "login database = " + std::string(127, 'd') + " user='" +
                             std::string(53, 'u') + "' password='" + std::string(63, 'p') +
                             "' encryptor = '" + std::string(text_bytes - 441, 'e') +
                             "' char_set = 'GBK' time_zone = '" + std::string(63, 't') +
                             "' iso_level = '2' auto_commit = 'on' version = '301'";
    EXPECT_EQ(text_bytes, text.size());
    return text;
}

static void UseLongDatabase(Connection *conn) {
    TextCopy(conn->database, sizeof(conn->database), std::string(127, 'd').c_str());
}

TEST(LoginEncipheredText, Of449BytesIsSent) {
    ConnRig rig;
    UseLongDatabase(rig.conn);
    PlayedSocket socket;
    socket.Arrive(Hex(EXPONENT_ONE) + Hex(SERVER_MODULUS));
    ConnAttr attr = AttrOfTextBytes(449);
    EXPECT_FALSE(TVCILogin(rig.conn, rig.conn->database, &attr));
    ASSERT_EQ(2u, socket.sent.size());
    EXPECT_EQ(Hex("'~ssl~'"), socket.sent[0]);
    ASSERT_EQ(512u, socket.sent[1].size());
    const std::string text = TextOfBytes(449);
    const Bytes tail(socket.sent[1].end() - 64, socket.sent[1].end());
    EXPECT_EQ(Ascii(text.substr(390, 30)) + Hex("0707") + Ascii(text.substr(420)) + Hex("00 0000"),
              tail);
}

TEST(LoginEncipheredText, Of450To479BytesCannotConnect) {
    for (const size_t text_bytes : {450, 479}) {
        SCOPED_TRACE(text_bytes);
        ScriptedPeer peer;
        ConnRig rig;
        UseLongDatabase(rig.conn);
        rig.conn->ip = NetAddressFromText("127.0.0.1");
        rig.conn->port = peer.port();
        peer.Accept();
        peer.Expect(Hex("'~ssl~'"));
        peer.Send(Hex(EXPONENT_ONE) + Hex(SERVER_MODULUS));
        peer.ExpectEnd();
        peer.Start();
        ASSERT_TRUE(ConnOpenSocket(rig.conn));
        EXPECT_EQ(text_bytes, TextOfBytes(text_bytes).size());
        ConnAttr attr = AttrOfTextBytes(text_bytes);
        EXPECT_FALSE(TVCILogin(rig.conn, rig.conn->database, &attr));
        EXPECT_EQ("E19884: can't connect to server", ErrorText(&rig.conn->last_error));
        EXPECT_EQ(0u, rig.conn->sock);
        EXPECT_EQ(nullptr, rig.conn->recv_cipher);
        EXPECT_EQ(nullptr, rig.conn->send_cipher);
        EXPECT_STREQ("301", attr.version);
        EXPECT_TRUE(peer.Finish()) << peer.Failure();
    }
}

TEST(LoginEncipheredText, OfAnyLengthIsNotBuiltBeforeTheServersKeyHasCome) {
    ConnRig rig;
    UseLongDatabase(rig.conn);
    PlayedSocket socket;
    ConnAttr attr = AttrOfTextBytes(480);
    EXPECT_FALSE(TVCILogin(rig.conn, rig.conn->database, &attr));
    EXPECT_EQ("", ErrorText(&rig.conn->last_error));
    EXPECT_EQ((std::vector<Bytes>{Hex("'~ssl~'")}), socket.sent);
}

TEST(LoginEncipheredTextDeathTest, Of480BytesEndsTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    ASSERT_EQ(480u, TextOfBytes(480).size());
    EXPECT_DEATH(
        {
            ConnRig rig;
            UseLongDatabase(rig.conn);
            PlayedSocket socket;
            socket.Arrive(Hex(EXPONENT_ONE) + Hex(SERVER_MODULUS));
            ConnAttr attr = AttrOfTextBytes(480);
            TVCILogin(rig.conn, rig.conn->database, &attr);
        },
        "");
}
