// A folder of its own for a test's files.
#pragma once

#include <stdlib.h>

#include <filesystem>
#include <string>

#include <gtest/gtest.h>

namespace tavud_test {

// Goes with everything in it.
class TemporaryFolder {
public:
    TemporaryFolder() {
        char pattern[] = "/tmp/tavud-test-XXXXXX";
        EXPECT_NE(nullptr, mkdtemp(pattern));
        path_ = pattern;
    }
    ~TemporaryFolder() {
        std::filesystem::remove_all(path_);
    }
    TemporaryFolder(const TemporaryFolder &) = delete;
    TemporaryFolder &operator=(const TemporaryFolder &) = delete;

    std::string File(const char *name) const {
        return path_ + "/" + name;
    }
    size_t FileCount() const {
        size_t count = 0;
        for (const auto &entry : std::filesystem::directory_iterator(path_)) {
            count += entry.exists() ? 1 : 0;
        }
        return count;
    }

private:
    std::string path_;
};

}  // namespace tavud_test
