// A process that may open no more files, on Unix.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include "client/no_more_files.h"

// What is open stays open.
static void SetLimit(rlim_t limit, rlimit *old_limits) {
    EXPECT_EQ(0, getrlimit(RLIMIT_NOFILE, old_limits));
    const rlimit limits = {limit, old_limits->rlim_max};
    EXPECT_EQ(0, setrlimit(RLIMIT_NOFILE, &limits));
}

NoMoreFiles::NoMoreFiles() {
    rlimit old_limits = {};
    SetLimit(0, &old_limits);
    old_limit = old_limits.rlim_cur;
}

NoMoreFiles::~NoMoreFiles() {
    rlimit old_limits = {};
    SetLimit(old_limit, &old_limits);
}
