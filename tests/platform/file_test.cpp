// Files that are read.
#include "platform/file.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

// A folder of this test's own, gone with it.
struct Folder {
    Folder() {
        std::filesystem::remove_all(path);
        std::filesystem::create_directory(path);
    }
    ~Folder() {
        std::filesystem::remove_all(path);
    }

    std::string path = testing::TempDir() + "tavu_file_test";
};

TEST(FileExists, KnowsAFileAndAFolder) {
    Folder folder;
    const std::string name = folder.path + "/a.txt";
    EXPECT_TRUE(FileExists(folder.path.c_str()));
    EXPECT_FALSE(FileExists(name.c_str()));
    std::ofstream(name) << "x";
    EXPECT_TRUE(FileExists(name.c_str()));
    EXPECT_FALSE(FileExists((name + "/b.txt").c_str()));
}

static FILE *opened_file = nullptr;

static void NoteOpened(FILE *file) {
    opened_file = file;
}

TEST(FileOpen, ReadsBytesAsTheyAre) {
    Folder folder;
    const std::string name = folder.path + "/a.txt";
    std::ofstream(name, std::ios::binary) << "a\r\n\x1A"
                                          << "b";
    FileSetOpenedHook(NoteOpened);
    FILE *file = FileOpen(name.c_str());
    FileSetOpenedHook(nullptr);
    ASSERT_NE(nullptr, file);
    EXPECT_EQ(file, opened_file);
    char bytes[8] = "";
    EXPECT_EQ(5u, fread(bytes, 1, sizeof(bytes), file));
    EXPECT_STREQ(
        "a\r\n\x1A"
        "b",
        bytes);
    EXPECT_EQ(0, fclose(file));
}

TEST(FileOpen, OfWhatIsNotThereGivesNull) {
    Folder folder;
    opened_file = nullptr;
    FileSetOpenedHook(NoteOpened);
    EXPECT_EQ(nullptr, FileOpen((folder.path + "/none").c_str()));
    FileSetOpenedHook(nullptr);
    EXPECT_EQ(nullptr, opened_file);
}
