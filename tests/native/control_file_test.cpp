// The control file in its place on Windows, read by the library as it is shipped.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "support/native_rig.h"

static const char *const FOLDER = "C:\\tavu_set";
static const char *const FILE_NAME = "C:\\tavu_set\\tavu_set.ctl";

// What a login and a statement show of the file.
static std::string Shown() {
    NativeRig rig;
    rig.peer.Accept();
    rig.peer.Expect(
        Ascii("login database = SYSTEM user='SYSDBA' password='SYSDBA' encryptor = '' "
              "char_set = 'UTF8' time_zone = 'GTM+08:00' iso_level = '2' auto_commit = 'off' "
              "version = '301'"));
    rig.peer.Send(Hex("'K'"));
    rig.peer.Start();
    const int32_t result = TVCIConnect(rig.session, "SYSDBA", "SYSDBA");
    int32_t cursor = -1;
    TVCIAttrGet(rig.NewStmt(), 42, &cursor, 4);
    rig.peer.Finish();
    return "connect " + std::to_string(result) + ", cursor " + std::to_string(cursor) +
           ", peer: " + (rig.peer.Failure().empty() ? "good" : rig.peer.Failure());
}

// The process that reads the file leaves it open and cannot remove it: a child reads it.
TEST(ControlFileDeathTest, IsReadInItsPlaceOnWindows) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const bool is_parent = !testing::internal::InDeathTestChild();
    if (is_parent) {
        ASSERT_FALSE(std::filesystem::exists(FOLDER)) << FOLDER << " is there before the test";
        ASSERT_TRUE(std::filesystem::create_directory(FOLDER));
        std::ofstream(FILE_NAME) << "charset_UTF8\nautocommit_off\nservercursor_withasync\n";
    }
    EXPECT_EXIT(
        {
            fputs(Shown().c_str(), stderr);
            std::exit(0);
        },
        testing::ExitedWithCode(0), "connect 0, cursor 2, peer: good");
    if (is_parent) {
        EXPECT_EQ(2u, std::filesystem::remove_all(FOLDER));
    }
}

TEST(ControlFile, ThatIsNotThereLeavesTheDefaults) {
    ASSERT_FALSE(std::filesystem::exists(FILE_NAME));
    NativeRig rig;
    rig.Login();
    int32_t cursor = -1;
    EXPECT_EQ(0, TVCIAttrGet(rig.NewStmt(), 42, &cursor, 4));
    EXPECT_EQ(0, cursor);
}
