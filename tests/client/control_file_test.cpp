// The machine-wide control file: how it is read, and what of it new handles and logins show.
#include "client/control_file.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "client/no_more_files.h"
#include "client/tree.h"
#include "platform/file.h"
#include "support/native_rig.h"

static std::vector<FILE *> left_open;

static void NoteOpened(FILE *file) {
    left_open.push_back(file);
}

// The control file of the tests while it lives. It closes what the library leaves open.
struct ControlFile {
    ControlFile() {
        std::filesystem::remove_all(TAVU_TEST_CONTROL_FILE);
        FileSetOpenedHook(NoteOpened);
    }
    explicit ControlFile(const std::string &content) : ControlFile() {
        Write(content);
    }
    ~ControlFile() {
        FileSetOpenedHook(nullptr);
        for (FILE *file : left_open) {
            EXPECT_EQ(0, fclose(file));
        }
        left_open.clear();
        std::filesystem::remove_all(TAVU_TEST_CONTROL_FILE);
        EXPECT_FALSE(std::filesystem::exists(TAVU_TEST_CONTROL_FILE));
    }
    ControlFile(const ControlFile &) = delete;
    ControlFile &operator=(const ControlFile &) = delete;

    void Write(const std::string &content) {
        std::ofstream file(TAVU_TEST_CONTROL_FILE, std::ios::binary | std::ios::trunc);
        file << content;
        file.close();
        EXPECT_TRUE(file.good());
    }
};

// What a server finds in the file, as "GBK auto_commit 1 cursor 0"; "no file" without one.
static std::string FoundByAServer() {
    Tree tree;
    if (tree.server->has_control_file == 0) return "no file";
    EXPECT_EQ(1, tree.server->has_control_file);
    return std::string(tree.server->ctl_char_set) + " auto_commit " +
           std::to_string(tree.server->ctl_auto_commit) + " cursor " +
           std::to_string(tree.server->ctl_server_cursor);
}

static std::string Found(const std::string &content) {
    ControlFile file(content);
    return FoundByAServer();
}

static const char *const DEFAULTS = "GBK auto_commit 1 cursor 0";

TEST(ControlFileRead, WithoutAFileLeavesTheServerAndItsHandlesAsTheyAre) {
    ControlFile none;
    TVCIServer server = {};
    server.has_control_file = 7;
    server.ctl_auto_commit = 8;
    server.ctl_server_cursor = 9;
    strcpy(server.ctl_char_set, "other");
    ControlFileRead(&server);
    EXPECT_EQ(0, server.has_control_file);
    EXPECT_EQ(8, server.ctl_auto_commit);
    EXPECT_EQ(9, server.ctl_server_cursor);
    EXPECT_STREQ("other", server.ctl_char_set);
    Tree tree;
    EXPECT_STREQ("GBK", tree.session->attr.char_set);
    EXPECT_EQ(1, tree.session->attr.auto_commit);
    EXPECT_EQ(0, tree.stmt->use_server_cursor);
    EXPECT_EQ(0, tree.stmt->fetch_ahead);
    EXPECT_TRUE(left_open.empty());
}

TEST(ControlFileRead, AnEmptyFileGivesItsDefaults) {
    EXPECT_EQ(DEFAULTS, Found(""));
    EXPECT_EQ(DEFAULTS, Found(" \t\r\n\n "));
}

TEST(ControlFileRead, TakesEachWord) {
    struct {
        const char *word;
        const char *found;
    } const cases[] = {
        {"charset_GBK", "GBK auto_commit 1 cursor 0"},
        {"charset_UTF8", "UTF8 auto_commit 1 cursor 0"},
        {"charset_GB2312", "UTF8 auto_commit 1 cursor 0"},
        {"charset_x", "UTF8 auto_commit 1 cursor 0"},
        {"charset_GB", "UTF8 auto_commit 1 cursor 0"},
        {"charset_", "UTF8 auto_commit 1 cursor 0"},
        {"autocommit_on", "GBK auto_commit 1 cursor 0"},
        {"autocommit_off", "GBK auto_commit 0 cursor 0"},
        {"autocommit_o", "GBK auto_commit 0 cursor 0"},
        {"autocommit_", "GBK auto_commit 0 cursor 0"},
        {"autocommit_1", "GBK auto_commit 0 cursor 0"},
        {"servercursor_on", "GBK auto_commit 1 cursor 1"},
        {"servercursor_withasync", "GBK auto_commit 1 cursor 3"},
        {"servercursor_withasyn", "GBK auto_commit 1 cursor 0"},
        {"servercursor_off", "GBK auto_commit 1 cursor 0"},
        {"servercursor_", "GBK auto_commit 1 cursor 0"},
        {"charset", "GBK auto_commit 1 cursor 0"},
        {"charset-UTF8", "GBK auto_commit 1 cursor 0"},
        {"autocommit", "GBK auto_commit 1 cursor 0"},
        {"auto_commit_off", "GBK auto_commit 1 cursor 0"},
        {"servercursoron", "GBK auto_commit 1 cursor 0"},
        {"xcharset_UTF8", "GBK auto_commit 1 cursor 0"},
        {"nonsense", "GBK auto_commit 1 cursor 0"},
    };
    for (const auto &item : cases) {
        EXPECT_EQ(item.found, Found(item.word)) << item.word;
        EXPECT_EQ(item.found, Found(std::string("\r\n ") + item.word + "\r\n")) << item.word;
    }
}

TEST(ControlFileRead, ComparesWithoutRegardToCase) {
    EXPECT_EQ("UTF8 auto_commit 1 cursor 0", Found("CHARSET_UTF8"));
    EXPECT_EQ("GBK auto_commit 1 cursor 0", Found("charset_UTF8 ChArSeT_gbk"));
    EXPECT_EQ("GBK auto_commit 0 cursor 0", Found("AUTOCOMMIT_OFF"));
    EXPECT_EQ("GBK auto_commit 1 cursor 0", Found("autocommit_off AutoCommit_ON"));
    EXPECT_EQ("GBK auto_commit 1 cursor 1", Found("SERVERCURSOR_ON"));
    EXPECT_EQ("GBK auto_commit 1 cursor 3", Found("ServerCursor_WithAsync"));
}

TEST(ControlFileRead, ComparesByPrefix) {
    EXPECT_EQ("GBK auto_commit 1 cursor 0", Found("charset_UTF8 charset_GBK18030"));
    EXPECT_EQ("GBK auto_commit 1 cursor 0", Found("autocommit_off autocommit_once"));
    EXPECT_EQ("GBK auto_commit 1 cursor 1", Found("servercursor_only"));
    EXPECT_EQ("GBK auto_commit 1 cursor 3", Found("servercursor_withasync;"));
}

TEST(ControlFileRead, TheLastOfAKindWins) {
    EXPECT_EQ("UTF8 auto_commit 0 cursor 3",
              Found("servercursor_on autocommit_on charset_GBK servercursor_withasync "
                    "charset_UTF8 autocommit_off"));
    EXPECT_EQ("GBK auto_commit 1 cursor 0",
              Found("servercursor_withasync autocommit_off charset_UTF8 servercursor_off "
                    "charset_GBK autocommit_on"));
}

TEST(ControlFileRead, WordsStandBetweenBlanksOfAnyKind) {
    EXPECT_EQ("UTF8 auto_commit 0 cursor 1",
              Found("charset_UTF8\tautocommit_off\v\fservercursor_on\r"));
    EXPECT_EQ("UTF8 auto_commit 0 cursor 1",
              Found("\n\ncharset_UTF8   \r\n\r\n\tautocommit_off\nservercursor_on"));
    EXPECT_EQ("UTF8 auto_commit 1 cursor 0", Found("charset_UTF8,autocommit_off;servercursor_on"));
}

TEST(ControlFileRead, AWordThatBeginsWithAPointEndsTheFile) {
    EXPECT_EQ(DEFAULTS, Found("."));
    EXPECT_EQ(DEFAULTS, Found(". charset_UTF8 autocommit_off servercursor_on"));
    EXPECT_EQ(DEFAULTS, Found(".charset_UTF8 autocommit_off"));
    EXPECT_EQ("UTF8 auto_commit 1 cursor 0", Found("charset_UTF8\n.end\nautocommit_off"));
    EXPECT_EQ("UTF8 auto_commit 0 cursor 0", Found("charset_UTF8. autocommit_off"));
}

TEST(ControlFileRead, AnEleventhWordIsNotRead) {
    EXPECT_EQ("UTF8 auto_commit 1 cursor 0", Found("1 2 3 4 5 6 7 8 9 charset_UTF8"));
    EXPECT_EQ("GBK auto_commit 1 cursor 0", Found("1 2 3 4 5 6 7 8 9 10 charset_UTF8"));
    EXPECT_EQ("UTF8 auto_commit 1 cursor 0",
              Found("1 2 3 4 5 6 7 8 9 charset_UTF8 charset_GBK autocommit_off"));
}

TEST(ControlFileRead, OfALongWordTheFirst63CharactersCount) {
    for (size_t bytes : {63, 64, 65, 126, 127, 4096, 100000}) {
        const std::string word = std::string("autocommit_off") + std::string(bytes - 14, 'x');
        ASSERT_EQ(bytes, word.size());
        EXPECT_EQ("UTF8 auto_commit 0 cursor 0", Found(word + " charset_UTF8")) << bytes;
        EXPECT_EQ("GBK auto_commit 0 cursor 0", Found(word)) << bytes;
        std::string words;
        for (int word_index = 0; word_index < 9; word_index++) {
            words += word + "\n";
        }
        EXPECT_EQ("UTF8 auto_commit 0 cursor 0", Found(words + "charset_UTF8 charset_GBK"))
            << bytes;
        EXPECT_EQ("GBK auto_commit 0 cursor 0", Found(words + "tenth charset_UTF8")) << bytes;
    }
}

TEST(ControlFileRead, TheRestOfALongWordIsNoWord) {
    for (size_t bytes : {62, 63, 64, 126}) {
        EXPECT_EQ(DEFAULTS, Found(std::string(bytes, 'x') + "charset_UTF8")) << bytes;
        EXPECT_EQ("GBK auto_commit 0 cursor 0",
                  Found(std::string(bytes, 'x') + ".charset_UTF8 autocommit_off"))
            << bytes;
    }
}

TEST(ControlFileRead, BinaryGarbageMatchesNothing) {
    std::string garbage;
    for (int byte = 0; byte < 256; byte++) {
        garbage += (char)byte;
    }
    EXPECT_EQ(DEFAULTS, Found(garbage));
    EXPECT_EQ(DEFAULTS, Found(std::string(100000, '\0')));
    EXPECT_EQ(DEFAULTS, Found(std::string(100000, '\xFF')));
    EXPECT_EQ(DEFAULTS, Found(std::string("\0charset_UTF8", 13)));
    EXPECT_EQ("UTF8 auto_commit 0 cursor 0",
              Found(std::string("autocommit_off\0\xFF\x1A charset_UTF8", 30)));
}

TEST(ControlFileRead, AFolderInPlaceOfTheFileCountsAsAnEmptyFile) {
    ControlFile file;
    ASSERT_TRUE(std::filesystem::create_directory(TAVU_TEST_CONTROL_FILE));
    EXPECT_EQ(DEFAULTS, FoundByAServer());
}

TEST(ControlFileRead, AFileThatCannotBeOpenedCountsAsAnEmptyFile) {
    ControlFile file("charset_UTF8 autocommit_off servercursor_on");
    {
        NoMoreFiles full;
        EXPECT_EQ(DEFAULTS, FoundByAServer());
    }
    EXPECT_TRUE(left_open.empty());
    EXPECT_EQ("UTF8 auto_commit 0 cursor 1", FoundByAServer());
}

TEST(ControlFileRead, LeavesOneFileOpenForEachServer) {
    ControlFile file("charset_UTF8");
    TVCIEnv *env = nullptr;
    TVCIServer *first = nullptr;
    TVCIServer *second = nullptr;
    ASSERT_EQ(0, TVCIHandleAlloc(nullptr, (void **)&env, 1));
    EXPECT_EQ(0u, left_open.size());
    ASSERT_EQ(0, TVCIHandleAlloc(env, (void **)&first, 2));
    EXPECT_EQ(1u, left_open.size());
    ASSERT_EQ(0, TVCIHandleAlloc(env, (void **)&second, 2));
    EXPECT_EQ(2u, left_open.size());
    EXPECT_EQ(0, TVCIHandleFree(env));
    ASSERT_EQ(2u, left_open.size());
    EXPECT_NE(left_open[0], left_open[1]);
    for (FILE *open : left_open) {
        EXPECT_EQ(0, fseek(open, 0, SEEK_SET));
        EXPECT_EQ('c', fgetc(open));
    }
}

TEST(ControlFileRead, EachServerReadsTheFileAsItIsThen) {
    ControlFile file("charset_UTF8");
    Tree tree;
    file.Write("autocommit_off");
    TVCIServer *later = nullptr;
    ASSERT_EQ(0, TVCIHandleAlloc(tree.env, (void **)&later, 2));
    EXPECT_STREQ("GBK", later->ctl_char_set);
    EXPECT_EQ(0, later->ctl_auto_commit);
    EXPECT_STREQ("UTF8", tree.server->ctl_char_set);
    EXPECT_EQ(1, tree.server->ctl_auto_commit);
    file.Write("servercursor_on");
    TVCISession *session = nullptr;
    ASSERT_EQ(0, TVCIHandleAlloc(later, (void **)&session, 3));
    EXPECT_EQ(0, session->attr.auto_commit);
}

TEST(ControlFileValues, OfAnEmptyFileReachTheSession) {
    ControlFile file("");
    Tree tree;
    EXPECT_STREQ("GBK", tree.session->attr.char_set);
    EXPECT_EQ(1, tree.session->attr.auto_commit);
    EXPECT_EQ(0, tree.stmt->use_server_cursor);
    EXPECT_EQ(0, tree.stmt->fetch_ahead);
}

TEST(ControlFileValues, ReachTheAttributesOfSessionAndStatement) {
    struct {
        const char *content;
        int32_t char_set;
        int32_t auto_commit;
        int32_t cursor;
    } const cases[] = {
        {"charset_UTF8 autocommit_off servercursor_withasync", 3, 0, 2},
        {"charset_GBK autocommit_on servercursor_on", 1, 1, 1},
        {"charset_other autocommit_other servercursor_other", 3, 0, 0},
    };
    for (const auto &item : cases) {
        ControlFile file(item.content);
        Tree tree;
        int32_t value = -1;
        EXPECT_EQ(0, TVCIAttrGet(tree.session, 33, &value, 4));
        EXPECT_EQ(item.char_set, value) << item.content;
        EXPECT_EQ(0, TVCIAttrGet(tree.session, 38, &value, 4));
        EXPECT_EQ(item.auto_commit, value) << item.content;
        EXPECT_EQ(0, TVCIAttrGet(tree.stmt, 42, &value, 4));
        EXPECT_EQ(item.cursor, value) << item.content;
    }
}

TEST(ControlFileValues, GiveWayToAttributesThatAreSetLater) {
    ControlFile file("charset_UTF8 autocommit_off servercursor_withasync");
    Tree tree;
    int32_t value = 2;
    EXPECT_EQ(0, TVCIAttrSet(tree.session, 33, &value, 4));
    value = 1;
    EXPECT_EQ(0, TVCIAttrSet(tree.session, 38, &value, 4));
    EXPECT_EQ(0, TVCIAttrSet(tree.stmt, 42, &value, 4));
    EXPECT_STREQ("GB2312", tree.session->attr.char_set);
    EXPECT_EQ(1, tree.session->attr.auto_commit);
    EXPECT_EQ(1, tree.stmt->use_server_cursor);
    EXPECT_EQ(0, tree.stmt->fetch_ahead);
}

TEST(ControlFileValues, GoOutWithTheLogin) {
    ControlFile file("charset_UTF8 autocommit_off servercursor_on");
    NativeRig rig;
    rig.peer.Accept();
    rig.peer.Expect(
        Ascii("login database = SYSTEM user='SYSDBA' password='SYSDBA' encryptor = '' "
              "char_set = 'UTF8' time_zone = 'GTM+08:00' iso_level = '2' auto_commit = 'off' "
              "version = '301'"));
    rig.peer.Send(Hex("'K'"));
    rig.peer.Start();
    EXPECT_EQ(0, TVCIConnect(rig.session, "SYSDBA", "SYSDBA"));
}

TEST(ControlFileValues, ReachTheHandlesOfAConnectionStringAndNotItsLogin) {
    ControlFile file("charset_UTF8 autocommit_off servercursor_on");
    ScriptedPeer peer;
    peer.Accept();
    peer.Expect(
        Ascii("login database = D user='U' password='P' encryptor = '' char_set = 'GBK' "
              "time_zone = 'GTM+08:00' iso_level = 'READ COMMITED' auto_commit = 'on' "
              "version = '301'"));
    peer.Send(Hex("'K'"));
    peer.Start();
    const std::string text =
        "IP=127.0.0.1;PORT=" + std::to_string(peer.port()) + ";DB=D;USER=U;PWD=P;AUTO_COMMIT=on";
    void *out[3] = {};
    ASSERT_EQ(0, TVCIConnectString(text.c_str(), out));
    const TVCISession *session = (const TVCISession *)out[2];
    EXPECT_STREQ("UTF8", session->attr.char_set);
    EXPECT_EQ(0, session->attr.auto_commit);
    EXPECT_EQ(0, TVCIHandleFree(out[0]));
    EXPECT_TRUE(peer.Finish()) << peer.Failure();
}
