// A process that may open no more files, on Windows: its C library counts them.
#include <gtest/gtest.h>

#include "client/no_more_files.h"

NoMoreFiles::NoMoreFiles() {
    constexpr size_t FILES_MAX = 100000;
    FILE *file;
    while (files.size() < FILES_MAX && (file = fopen("NUL", "rb")) != nullptr) {
        files.push_back(file);
    }
    EXPECT_LT(files.size(), FILES_MAX);
}

NoMoreFiles::~NoMoreFiles() {
    for (FILE *file : files) {
        EXPECT_EQ(0, fclose(file));
    }
}
