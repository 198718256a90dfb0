// Connecting by a connection string or its record: the login on the wire, the handles, the
// failures.
#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "platform/memory.h"
#include "platform/socket.h"
#include "platform/text.h"
#include "records/handles.h"
#include "support/net.h"
#include "support/scripted_peer.h"
#include "tavu/tvci.h"
#include "wire/connection.h"

// What a text that says nothing of them sends for the settings.
static const char *const LOGIN_TEXT =
    "login database = SYSTEM user='SCOTT' password='TIGER' encryptor = '' char_set = 'GBK' "
    "time_zone = 'GTM+08:00' iso_level = 'READ COMMITED' auto_commit = 'off' version = '301'";

// A port of 127.0.0.1 at which nobody listens.
static uint16_t PortOfNobody() {
    ScriptedPeer gone;
    return gone.port();
}

static std::string PortItem(uint16_t port) {
    return "PORT=" + std::to_string(port);
}

// A peer to log on to, the text that leads there, and what the entries give back.
struct TextRig {
    ~TextRig() {
        if (out[0] != nullptr) {
            EXPECT_EQ(0, TVCIHandleFree(out[0]));
        }
        EXPECT_TRUE(peer.Finish()) << peer.Failure();
    }

    void ExpectLogin(const std::string &login_text, const Bytes &answer) {
        peer.Accept();
        peer.Expect(Ascii(login_text));
        peer.Send(answer);
    }

    std::string Text(const std::string &more = "") const {
        return "SERVER=127.0.0.1;" + PortItem(peer.port()) + ";DB=SYSTEM;USER=SCOTT;PWD=TIGER;" +
               more;
    }

    ConnStringAttrs Attrs() const {
        ConnStringAttrs attrs = {};
        strcpy(attrs.ip, "127.0.0.1");
        attrs.port = peer.port();
        strcpy(attrs.database, "SYSTEM");
        strcpy(attrs.user, "SCOTT");
        strcpy(attrs.password, "TIGER");
        return attrs;
    }

    TVCIEnv *env() const {
        return (TVCIEnv *)out[0];
    }
    TVCIServer *server() const {
        return (TVCIServer *)out[1];
    }
    TVCISession *session() const {
        return (TVCISession *)out[2];
    }
    // Code and message of the fourth slot, "E32388: text"; "none" without one.
    std::string Error() const {
        const TVCIConnectError *error = (const TVCIConnectError *)out[3];
        return error == nullptr ? "none" : std::string(error->code) + ": " + error->message;
    }

    ScriptedPeer peer;
    void *out[4] = {};
};

// Runs the call and returns what it printed on standard output.
static std::string Printed(const std::function<void()> &call) {
    testing::internal::CaptureStdout();
    call();
    return testing::internal::GetCapturedStdout();
}

// What the handles of a finished call hold.
static void ExpectHandles(const TextRig &rig, uint32_t ip) {
    ASSERT_NE(nullptr, rig.env());
    ASSERT_NE(nullptr, rig.server());
    ASSERT_NE(nullptr, rig.session());
    EXPECT_EQ(1u, rig.env()->type);
    EXPECT_EQ(2u, rig.server()->type);
    EXPECT_EQ(3u, rig.session()->type);
    EXPECT_EQ(rig.env(), rig.server()->env);
    EXPECT_EQ(rig.server(), rig.session()->server);
    EXPECT_EQ(ip, rig.server()->ip);
    EXPECT_EQ(rig.peer.port(), rig.server()->port);
    EXPECT_STREQ("SYSTEM", rig.server()->database);
    EXPECT_EQ(0, rig.server()->has_ip_list);
    EXPECT_STREQ("SCOTT", rig.session()->conn_user);
    EXPECT_STREQ("TIGER", rig.session()->conn_password);
    // The login's settings are not the session's.
    EXPECT_EQ(nullptr, rig.session()->conn);
    EXPECT_STREQ("SYSDBA", rig.session()->attr.user);
    EXPECT_STREQ("GBK", rig.session()->attr.char_set);
    EXPECT_STREQ("2", rig.session()->attr.iso_level);
    EXPECT_STREQ("301", rig.session()->attr.version);
    EXPECT_EQ(1, rig.session()->attr.auto_commit);
}

TEST(TVCIConnectString, LogsOnAndMakesTheChainOfHandles) {
    TextRig rig;
    rig.ExpectLogin(LOGIN_TEXT, Hex("'K'"));
    rig.peer.Start();
    int32_t result = 4711;
    const std::string text = rig.Text();
    EXPECT_EQ("", Printed([&] { result = TVCIConnectString(text.c_str(), rig.out); }));
    EXPECT_EQ(0, result);
    ExpectHandles(rig, 0x0100007F);
    EXPECT_EQ(nullptr, rig.out[3]);
}

TEST(TVCIConnectString, TakesTheVerdictOfTheOtherVersion) {
    TextRig rig;
    rig.ExpectLogin(LOGIN_TEXT, Hex("'N' 00000000 'K'"));
    rig.peer.Start();
    EXPECT_EQ(0, TVCIConnectString(rig.Text().c_str(), rig.out));
    ExpectHandles(rig, 0x0100007F);
}

TEST(TVCIConnectString, SendsTheSettingsOfTheText) {
    TextRig rig;
    rig.ExpectLogin(
        "login database = SYSTEM user='SCOTT' password='TIGER' encryptor = 'enc' "
        "char_set = 'UTF8' time_zone = 'GMT+01:00' iso_level = '4' lock_timeout = 30 "
        "auto_commit = 'on' return_cursor_id  = 'on' lob_ret=descriptor return_rowid=true "
        "return_schema=on version = '301'",
        Hex("'K'"));
    rig.peer.Start();
    const std::string text = rig.Text(
        "ENCRYPTOR=enc;CHARSET=UTF8;TIME_ZONE=GMT+01:00;ISO_LEVEL=4;LOCKTIMEOUT=30;"
        "AUTO_COMMIT=on;retcursorid=on;LOB_RET=on;RETURN_ROWID=on;RETURN_SCHEMA=on");
    EXPECT_EQ(0, TVCIConnectString(text.c_str(), rig.out));
}

TEST(TVCIConnectString, TakesItemsBetweenCommas) {
    TextRig rig;
    rig.ExpectLogin(LOGIN_TEXT, Hex("'K'"));
    rig.peer.Start();
    const std::string text = "ip=127.0.0.1, " + PortItem(rig.peer.port()) +
                             " , database = SYSTEM, uid=SCOTT, password=TIGER";
    EXPECT_EQ(0, TVCIConnectString(text.c_str(), rig.out));
    ExpectHandles(rig, 0x0100007F);
}

TEST(TVCIConnectString, TheSessionThenConnectsByItself) {
    TextRig rig;
    rig.ExpectLogin(LOGIN_TEXT, Hex("'K'"));
    rig.ExpectLogin(
        "login database = SYSTEM user='SCOTT' password='TIGER' encryptor = '' char_set = 'GBK' "
        "time_zone = 'GTM+08:00' iso_level = '2' auto_commit = 'on' version = '301'",
        Hex("'K'"));
    rig.peer.Start();
    ASSERT_EQ(0, TVCIConnectString(rig.Text().c_str(), rig.out));
    EXPECT_EQ(0, TVCIConnect(rig.session(), "SCOTT", "TIGER"));
}

// Frees the handles that `connect` has made and looks whether its connection is still there.
static void ExpectConnectionOutlivesHandles(
    const std::function<int32_t(const TextRig &rig, void **out)> &connect) {
    const int64_t blocks = MemLiveBlocks();
    {
        TextRig rig;
        rig.ExpectLogin(LOGIN_TEXT, Hex("'K'"));
        rig.peer.Gate("handles freed");
        // Would fail on a connection that the client had reset.
        rig.peer.Send(Hex("'x'"));
        rig.peer.Start();
        ASSERT_EQ(0, connect(rig, rig.out));
        EXPECT_EQ(0, TVCIHandleFree(rig.out[0]));
        rig.out[0] = nullptr;
        rig.peer.Open("handles freed");
    }
    EXPECT_EQ(blocks + 1, MemLiveBlocks());
}

TEST(TVCIConnectString, ItsConnectionOutlivesTheHandles) {
    ExpectConnectionOutlivesHandles(
        [](const TextRig &rig, void **out) { return TVCIConnectString(rig.Text().c_str(), out); });
}

TEST(TVCIConnectAttrs, ItsConnectionOutlivesTheHandles) {
    ExpectConnectionOutlivesHandles([](const TextRig &rig, void **out) {
        ConnStringAttrs attrs = rig.Attrs();
        return TVCIConnectAttrs(&attrs, out);
    });
}

TEST(TVCIConnectString, LogsOnAtTheFirstAddressOfAList) {
    TextRig rig;
    rig.ExpectLogin(LOGIN_TEXT, Hex("'K'"));
    rig.peer.Start();
    const std::string text = "ips=127.0.0.1,9.9.9.9;SERVER=127.0.0.77;" +
                             PortItem(rig.peer.port()) + ";DB=SYSTEM;USER=SCOTT;PWD=TIGER";
    EXPECT_EQ(0, TVCIConnectString(text.c_str(), rig.out));
    // The server handle has the address of SERVER all the same.
    ExpectHandles(rig, 0x4D00007F);
}

TEST(TVCIConnectString, WithAListAloneTheServerHandleHasNoAddress) {
    TextRig rig;
    rig.ExpectLogin(LOGIN_TEXT, Hex("'K'"));
    rig.peer.Start();
    const std::string text =
        "ips=127.0.0.1;" + PortItem(rig.peer.port()) + ";DB=SYSTEM;USER=SCOTT;PWD=TIGER";
    EXPECT_EQ(0, TVCIConnectString(text.c_str(), rig.out));
    ExpectHandles(rig, 0xFFFFFFFF);
}

TEST(TVCIConnectString, TriesNoAddressBehindTheFirst) {
    TextRig rig;
    rig.peer.Start();
    const std::string text = "ips=999.0.0.1,127.0.0.1;IP=127.0.0.1;" + PortItem(rig.peer.port());
    int32_t result = 0;
    EXPECT_EQ("make socket error \n",
              Printed([&] { result = TVCIConnectString(text.c_str(), rig.out); }));
    EXPECT_EQ(-4, result);
}

TEST(TVCIConnectString, SaysThatItCouldNotConnect) {
    const uint16_t port = PortOfNobody();
    const std::string texts[] = {
        "IP=127.0.0.1;" + PortItem(port),
        "IP=127.0.0.1;PORT=0",
        "IP=nowhere;" + PortItem(port),
        PortItem(port) + ";DB=d",
        "DB=d",
        "",
    };
    for (const std::string &text : texts) {
        char untouched = 0;
        void *out[3] = {&untouched, &untouched, &untouched};
        int32_t result = 0;
        EXPECT_EQ("make socket error \n",
                  Printed([&] { result = TVCIConnectString(text.c_str(), out); }))
            << text;
        EXPECT_EQ(-4, result) << text;
        for (const void *slot : out) {
            EXPECT_EQ(&untouched, slot) << text;
        }
    }
}

TEST(TVCIConnectString, TakesTheLow16BitsOfAPort) {
    TextRig rig;
    rig.ExpectLogin(LOGIN_TEXT, Hex("'K'"));
    rig.peer.Start();
    const std::string text = "IP=127.0.0.1;PORT=" + std::to_string(65536 + rig.peer.port()) +
                             ";DB=SYSTEM;USER=SCOTT;PWD=TIGER";
    EXPECT_EQ(0, TVCIConnectString(text.c_str(), rig.out));
    ExpectHandles(rig, 0x0100007F);
}

TEST(TVCIConnectString, OfARefusedLoginTellsNothing) {
    TextRig rig;
    rig.ExpectLogin(LOGIN_TEXT, Hex("'E' 00000015 '[E12345]no such thing'"));
    rig.peer.ExpectEnd();
    rig.peer.Start();
    int32_t result = 0;
    const std::string text = rig.Text();
    EXPECT_EQ("", Printed([&] { result = TVCIConnectString(text.c_str(), rig.out); }));
    EXPECT_EQ(-1, result);
    for (const void *slot : rig.out) {
        EXPECT_EQ(nullptr, slot);
    }
}

TEST(TVCIConnectString, KeepsAConnectionThatFailed) {
    const int64_t blocks = MemLiveBlocks();
    {
        TextRig rig;
        rig.ExpectLogin(LOGIN_TEXT, Hex("'E' 00000015 '[E12345]no such thing'"));
        rig.peer.Start();
        EXPECT_EQ(-1, TVCIConnectString(rig.Text().c_str(), rig.out));
    }
    // The connection, its error and the error's text.
    EXPECT_EQ(blocks + 3, MemLiveBlocks());
}

TEST(TVCIConnectString, RefusesNullPointers) {
    void *out[3] = {};
    EXPECT_EQ(-3, TVCIConnectString(nullptr, out));
    EXPECT_EQ(-3, TVCIConnectString("IP=127.0.0.1;", nullptr));
}

TEST(TVCIConnectAttrs, LogsOnAndMakesTheChainOfHandles) {
    TextRig rig;
    rig.ExpectLogin(LOGIN_TEXT, Hex("'K'"));
    rig.peer.Start();
    ConnStringAttrs attrs = rig.Attrs();
    char stale = 0;
    rig.out[3] = &stale;
    EXPECT_EQ(0, TVCIConnectAttrs(&attrs, rig.out));
    ExpectHandles(rig, 0x0100007F);
    EXPECT_EQ(nullptr, rig.out[3]);
}

TEST(TVCIConnectAttrs, BuildsItsListFromTheTextOfTheRecord) {
    TextRig rig;
    rig.ExpectLogin(LOGIN_TEXT, Hex("'K'"));
    rig.peer.Start();
    ConnStringAttrs attrs = rig.Attrs();
    char list_text[] = "ips=127.0.0.1,9.9.9.9";
    strcpy(attrs.ip, "127.0.0.77");
    attrs.has_ips = 1;
    attrs.ips_text = list_text;
    EXPECT_EQ(0, TVCIConnectAttrs(&attrs, rig.out));
    ExpectHandles(rig, 0x4D00007F);
    ASSERT_NE(nullptr, attrs.ips);
    ASSERT_EQ(2, attrs.ips->count);
    EXPECT_STREQ("127.0.0.1", attrs.ips->items[0]);
    EXPECT_STREQ("9.9.9.9", attrs.ips->items[1]);
}

TEST(TVCIConnectAttrs, WithoutTheFlagTheListTextIsNotRead) {
    TextRig rig;
    rig.ExpectLogin(LOGIN_TEXT, Hex("'K'"));
    rig.peer.Start();
    ConnStringAttrs attrs = rig.Attrs();
    char list_text[] = "ips=9.9.9.9";
    attrs.ips_text = list_text;
    EXPECT_EQ(0, TVCIConnectAttrs(&attrs, rig.out));
    EXPECT_EQ(nullptr, attrs.ips);
    ExpectHandles(rig, 0x0100007F);
}

TEST(TVCIConnectAttrs, RefusesPort0) {
    TextRig rig;
    ConnStringAttrs attrs = rig.Attrs();
    for (uint32_t port : {0u, 65536u}) {
        attrs.port = port;
        EXPECT_EQ("", Printed([&] { EXPECT_EQ(-3, TVCIConnectAttrs(&attrs, rig.out)); }));
        EXPECT_EQ("E32388: [Win_x64]connect set IP/Port error, port is: 0 ", rig.Error());
        EXPECT_EQ(nullptr, rig.out[0]);
    }
}

TEST(TVCIConnectAttrs, RefusesAnAddressThatIsNone) {
    for (const char *ip : {"", "nowhere", "256.1.1.1", "255.255.255.255"}) {
        for (uint32_t port : {0u, 5138u}) {
            TextRig rig;
            ConnStringAttrs attrs = rig.Attrs();
            TextCopy(attrs.ip, sizeof(attrs.ip), ip);
            attrs.port = port;
            EXPECT_EQ(-3, TVCIConnectAttrs(&attrs, rig.out)) << ip;
            EXPECT_EQ("E32388: [Win_x64]connect set IP/Port error,invalid ip is: -1 ", rig.Error());
        }
    }
}

TEST(TVCIConnectAttrs, RefusesAListWhoseFirstAddressIsNone) {
    char no_address[] = "ips=,127.0.0.1";
    char no_key[] = "ip";
    char empty[] = "";
    for (char *list_text : {no_address, no_key, empty, (char *)nullptr}) {
        TextRig rig;
        ConnStringAttrs attrs = rig.Attrs();
        attrs.has_ips = 1;
        attrs.ips_text = list_text;
        EXPECT_EQ(-3, TVCIConnectAttrs(&attrs, rig.out));
        EXPECT_EQ("E32388: [Win_x64]connect set IP/Port error,invalid ip is: -1 ", rig.Error());
    }
}

TEST(TVCIConnectAttrs, SaysWhereItCouldNotConnect) {
    TextRig rig;
    ConnStringAttrs attrs = rig.Attrs();
    const uint16_t port = PortOfNobody();
    attrs.port = port;
    EXPECT_EQ("", Printed([&] { EXPECT_EQ(-4, TVCIConnectAttrs(&attrs, rig.out)); }));
    EXPECT_EQ(
        "E32389: [Win_x64]connect to server failure,ip or port error ip is: 16777343 ,port is " +
            std::to_string(port) + " ,or else server is closed please make sure\n",
        rig.Error());
    EXPECT_EQ(nullptr, rig.out[0]);
}

TEST(TVCIConnectAttrs, GivesTheReasonOfARefusedLogin) {
    TextRig rig;
    rig.ExpectLogin(LOGIN_TEXT, Hex("'E' 00000015 '[E12345]no such thing'"));
    rig.peer.Start();
    ConnStringAttrs attrs = rig.Attrs();
    EXPECT_EQ(-1, TVCIConnectAttrs(&attrs, rig.out));
    EXPECT_EQ("E32384: [Win_x64][301]login database error,E12345 [E12345]no such thing \n",
              rig.Error());
    EXPECT_EQ(nullptr, rig.out[0]);
}

TEST(TVCIConnectAttrs, GivesTheReasonWithACodeOfFiveCharacters) {
    TextRig rig;
    rig.ExpectLogin(LOGIN_TEXT, Hex("'E' 0000000B '[E1234]nope'"));
    rig.peer.Start();
    ConnStringAttrs attrs = rig.Attrs();
    EXPECT_EQ(-1, TVCIConnectAttrs(&attrs, rig.out));
    EXPECT_EQ("E32384: [Win_x64][301]login database error,E1234 [E1234]nope \n", rig.Error());
}

TEST(TVCIConnectAttrs, CutsALongReason) {
    TextRig rig;
    rig.ExpectLogin(LOGIN_TEXT, Hex("'E' 000001F4 '[E12345]'") + Ascii(std::string(500 - 8, 'w')));
    rig.peer.Start();
    ConnStringAttrs attrs = rig.Attrs();
    EXPECT_EQ(-1, TVCIConnectAttrs(&attrs, rig.out));
    // 127 bytes behind the comma: 7 of the code, 8 of the code in brackets, 112 of the words.
    EXPECT_EQ("E32384: [Win_x64][301]login database error,E12345 [E12345]" + std::string(112, 'w'),
              rig.Error());
}

TEST(TVCIConnectAttrs, GivesAReasonOfItsOwnWhenTheServerIsGone) {
    TextRig rig;
    rig.peer.Accept();
    rig.peer.Expect(Ascii(LOGIN_TEXT));
    rig.peer.Close();
    rig.peer.Start();
    ConnStringAttrs attrs = rig.Attrs();
    EXPECT_EQ(-1, TVCIConnectAttrs(&attrs, rig.out));
    EXPECT_EQ("E32384: [Win_x64][301]login database error,E19884 can't connect to server \n",
              rig.Error());
}

TEST(TVCIConnectAttrs, GivesTheSameReasonWhenAnEncipheredLoginIsCutAtItsKeys) {
    TextRig rig;
    rig.peer.Accept();
    rig.peer.Expect(Ascii("~ssl~"));
    rig.peer.Close();
    rig.peer.Start();
    ConnStringAttrs attrs = rig.Attrs();
    attrs.use_ssl = 1;
    EXPECT_EQ(-1, TVCIConnectAttrs(&attrs, rig.out));
    EXPECT_EQ("E32384: [Win_x64][301]login database error,E19884 can't connect to server \n",
              rig.Error());
}

TEST(TVCIConnectString, AsksForTheEncipheredLogin) {
    TextRig rig;
    rig.peer.Accept();
    rig.peer.Expect(Ascii("~ssl~"));
    rig.peer.Close();
    rig.peer.Start();
    EXPECT_EQ(-1, TVCIConnectString(rig.Text("use_ssl=yes").c_str(), rig.out));
}

// A process that has made no environment yet.
struct FreshProcess {
    FreshProcess() {
        swap_bytes = 0;
    }
    ~FreshProcess() {
        swap_bytes = 1;
    }
};

TEST(TVCIConnectAttrs, BeforeTheFirstEnvironmentReadsTheErrorsLengthInTheHostsOrder) {
    FreshProcess process;
    TextRig rig;
    rig.ExpectLogin(LOGIN_TEXT, Hex("'E' 15000000 '[E12345]no such thing'"));
    rig.peer.Start();
    ConnStringAttrs attrs = rig.Attrs();
    EXPECT_EQ(-1, TVCIConnectAttrs(&attrs, rig.out));
    EXPECT_EQ("E32384: [Win_x64][301]login database error,E12345 [E12345]no such thing \n",
              rig.Error());
    EXPECT_EQ(0, swap_bytes);
}

TEST(TVCIConnectString, MakesTheFirstEnvironmentBehindTheLogin) {
    FreshProcess process;
    TextRig rig;
    rig.ExpectLogin(LOGIN_TEXT, Hex("'K'"));
    rig.peer.Start();
    EXPECT_EQ(0, TVCIConnectString(rig.Text().c_str(), rig.out));
    EXPECT_EQ(1, swap_bytes);
}

TEST(TVCIConnectAttrs, ReadsFieldsThatAreFullToTheirLastByte) {
    TextRig rig;
    rig.ExpectLogin("login database = " + std::string(127, 'd') + " user='" + std::string(63, 'u') +
                        "' password='" + std::string(63, 'p') +
                        "' encryptor = '' char_set = 'GBK' time_zone = 'GTM+08:00' "
                        "iso_level = 'READ COMMITED' auto_commit = 'off' version = '301'",
                    Hex("'K'"));
    rig.peer.Start();
    ConnStringAttrs attrs = rig.Attrs();
    memset(attrs.database, 'd', sizeof(attrs.database));
    memset(attrs.user, 'u', sizeof(attrs.user));
    memset(attrs.password, 'p', sizeof(attrs.password));
    memcpy(attrs.ip, "127.000.000.0001", sizeof(attrs.ip));
    ASSERT_EQ(0, TVCIConnectAttrs(&attrs, rig.out));
    EXPECT_EQ(0x0100007Fu, rig.server()->ip);
    EXPECT_EQ(std::string(127, 'd'), rig.server()->database);
    EXPECT_EQ(std::string(127, 'u'), rig.session()->conn_user);
    EXPECT_EQ(std::string(127, 'p'), rig.session()->conn_password);
}

TEST(TVCIConnectAttrs, RefusesNullPointers) {
    void *out[4] = {};
    ConnStringAttrs attrs = {};
    EXPECT_EQ(-3, TVCIConnectAttrs(nullptr, out));
    EXPECT_EQ(-3, TVCIConnectAttrs(&attrs, nullptr));
    EXPECT_EQ(nullptr, out[3]);
}

// Takes the place of the server behind a listener that accepts and says nothing.
static int64_t SwallowSend(SocketId, const void *, size_t count) {
    return (int64_t)count;
}

static int64_t ReceiveAccepted(SocketId, void *bytes, size_t) {
    *(char *)bytes = 'K';
    return 1;
}

// Runs `connect` with the n-th allocation failing, for every n, up to the run that none fails in.
// Of handles that could not all be made none stays: what is kept is the connection and
// `list_blocks`.
static void FailEachAllocation(const std::function<int32_t(uint16_t port, void **out)> &connect,
                               int64_t list_blocks) {
    uint16_t port = 0;
    const uintptr_t listener = NetListen(&port);
    SocketSetHooks(SwallowSend, ReceiveAccepted);
    bool reached = true;
    for (uint64_t n = 1; reached; n++) {
        void *out[4] = {};
        const int64_t blocks = MemLiveBlocks();
        MemFailAt(n);
        const int32_t result = connect(port, out);
        reached = MemFailed();
        MemFailAt(0);
        EXPECT_LT(n, 100u);
        EXPECT_TRUE(result == 0 || (reached && (result == -3 || result == -4 || result == -5)))
            << "allocation " << n << ": " << result;
        EXPECT_EQ(result == 0, out[0] != nullptr) << n;
        EXPECT_EQ(result == 0, out[1] != nullptr) << n;
        EXPECT_EQ(result == 0, out[2] != nullptr) << n;
        if (out[0] != nullptr) {
            EXPECT_EQ(0, TVCIHandleFree(out[0]));
        }
        if (result == 0 || result == -5) {
            EXPECT_LE(MemLiveBlocks() - blocks, 1 + list_blocks) << n;
        }
        for (uintptr_t socket; (socket = NetAccept(listener, 0)) != NET_NONE;) {
            NetClose(socket, true);
        }
    }
    SocketSetHooks(nullptr, nullptr);
    NetClose(listener, false);
}

TEST(TVCIConnectString, FailsCleanlyWhereMemoryRunsShort) {
    Printed([] {
        FailEachAllocation(
            [](uint16_t port, void **out) {
                return TVCIConnectString(("IP=127.0.0.1;" + PortItem(port)).c_str(), out);
            },
            0);
    });
}

TEST(TVCIConnectAttrs, FailsCleanlyWhereMemoryRunsShort) {
    // The list, its array, two addresses, the flags.
    FailEachAllocation(
        [](uint16_t port, void **out) {
            ConnStringAttrs attrs = {};
            char list_text[] = "ips=127.0.0.1,2";
            attrs.has_ips = 1;
            attrs.ips_text = list_text;
            attrs.port = port;
            return TVCIConnectAttrs(&attrs, out);
        },
        5);
}

TEST(TVCIConnectAttrs, WithoutMemoryForItsErrorReturnsTheSame) {
    ConnStringAttrs attrs = {};
    void *out[4] = {};
    // The connection is the first request, its error the second.
    MemFailAt(2);
    EXPECT_EQ(-3, TVCIConnectAttrs(&attrs, out));
    EXPECT_TRUE(MemFailed());
    MemFailAt(0);
    EXPECT_EQ(nullptr, out[3]);
}

TEST(TVCIConnectAttrs, RunsOnSeveralThreadsAtOnce) {
    std::vector<std::thread> threads;
    std::atomic<int32_t> refused{0};
    for (int thread_index = 0; thread_index < 4; thread_index++) {
        threads.emplace_back([&refused] {
            for (int round = 0; round < 20; round++) {
                ConnStringAttrs attrs = {};
                char list_text[] = "ips=nowhere,2,3";
                attrs.has_ips = 1;
                attrs.ips_text = list_text;
                void *out[4] = {};
                refused += TVCIConnectAttrs(&attrs, out) == -3 && out[3] != nullptr ? 1 : 0;
            }
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    EXPECT_EQ(80, refused);
}
