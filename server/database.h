// The SQLite database behind the server: one file that all sessions share, one handle a session.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>

#include <sqlite3.h>

#include "server/large_object.h"

namespace tavud {

struct DatabaseFailure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

struct CloseHandle {
    void operator()(sqlite3 *handle) const {
        sqlite3_close_v2(handle);
    }
};
using DatabaseHandle = std::unique_ptr<sqlite3, CloseHandle>;

struct FinalizeStatement {
    void operator()(sqlite3_stmt *statement) const {
        sqlite3_finalize(statement);
    }
};
using StatementHandle = std::unique_ptr<sqlite3_stmt, FinalizeStatement>;

// The file, for the life of the server. For ":memory:" it lies in a temporary folder of its own,
// which goes away with this record.
class Database {
public:
    explicit Database(const std::string &file);
    ~Database();
    Database(const Database &) = delete;
    Database &operator=(const Database &) = delete;

    const std::string &Path() const {
        return path_;
    }
    // What rows have named instead of carrying it.
    LargeObjects &Objects() const {
        return *objects_;
    }
    // Whether the data goes with the server, so that none of it needs to reach a disk.
    bool Temporary() const {
        return !folder_.empty();
    }

private:
    std::string folder_;  // the temporary folder; "" for a file of the user
    std::string path_;
    std::unique_ptr<LargeObjects> objects_ = std::make_unique<LargeObjects>();
    DatabaseHandle keeper_;  // keeps the write-ahead log open between sessions
};

// How long one session waits for another's lock, and when it must not wait at all.
struct Patience {
    uint32_t lock_wait_ms = 5000;
    const std::atomic<bool> *stopping = nullptr;  // borrowed; set once the server ends
};

// A handle of one session with the server's own SQL functions and orderings. `patience` is borrowed
// and must outlive the handle. Throws DatabaseFailure.
DatabaseHandle OpenSession(const Database &database, Patience *patience);

}  // namespace tavud
