// A process that may open no more files.
#pragma once

#include <cstdio>
#include <vector>

// While it lives every open of a file fails.
struct NoMoreFiles {
    NoMoreFiles();
    ~NoMoreFiles();
    NoMoreFiles(const NoMoreFiles &) = delete;
    NoMoreFiles &operator=(const NoMoreFiles &) = delete;

    unsigned long long old_limit = 0;  // Unix: of the descriptors
    std::vector<FILE *> files;         // Windows: all that it lets the process open
};
