// The SQLite database behind the server: one file that all sessions share, one handle a session.
#include "server/database.h"

#include <stdlib.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <string_view>
#include <thread>

#include "server/functions.h"
#include "server/tokens.h"

namespace tavud {

namespace {

// Virtual machine steps between two looks at whether the server is stopping.
constexpr int STEPS_PER_LOOK = 20000;
constexpr auto LOCK_POLL = std::chrono::milliseconds(2);

std::string MakeFolder() {
    std::string pattern = std::filesystem::temp_directory_path().string() + "/tavud-XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) {
        throw DatabaseFailure("cannot make a temporary folder " + pattern);
    }
    return pattern;
}

DatabaseHandle OpenFile(const std::string &path) {
    sqlite3 *raw = nullptr;
    const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX;
    const int result = sqlite3_open_v2(path.c_str(), &raw, flags, nullptr);
    DatabaseHandle handle(raw);
    if (result != SQLITE_OK) {
        throw DatabaseFailure("cannot open database " + path + ": " + sqlite3_errmsg(raw));
    }
    sqlite3_extended_result_codes(raw, 0);
    return handle;
}

void Run(sqlite3 *handle, const char *sql) {
    if (sqlite3_exec(handle, sql, nullptr, nullptr, nullptr) != SQLITE_OK) {
        throw DatabaseFailure(std::string("cannot set up the database: ") + sqlite3_errmsg(handle));
    }
}

// Statements that would reach files of the machine or change how all sessions share the database.
int Authorise(void *, int action, const char *first, const char *, const char *, const char *) {
    switch (action) {
        case SQLITE_ATTACH:
        case SQLITE_DETACH:
        case SQLITE_CREATE_VTABLE:
        case SQLITE_DROP_VTABLE: return SQLITE_DENY;
        case SQLITE_PRAGMA: {
            const std::string_view name = first == nullptr ? "" : first;
            const bool describes =
                EqualIgnoringCase(name, "table_info") || EqualIgnoringCase(name, "table_xinfo") ||
                EqualIgnoringCase(name, "table_list") || EqualIgnoringCase(name, "index_list") ||
                EqualIgnoringCase(name, "index_info") ||
                EqualIgnoringCase(name, "foreign_key_list") ||
                EqualIgnoringCase(name, "quick_check");
            return describes ? SQLITE_OK : SQLITE_DENY;
        }
        default: return SQLITE_OK;
    }
}

int WaitForLock(void *context, int attempts) {
    const auto *patience = static_cast<const Patience *>(context);
    const auto waited = LOCK_POLL * attempts;
    if (patience->stopping->load(std::memory_order_relaxed)) return 0;
    if (waited >= std::chrono::milliseconds(patience->lock_wait_ms)) return 0;
    std::this_thread::sleep_for(LOCK_POLL);
    return 1;
}

int StopWhenStopping(void *context) {
    const auto *patience = static_cast<const Patience *>(context);
    return patience->stopping->load(std::memory_order_relaxed) ? 1 : 0;
}

}  // namespace

Database::Database(const std::string &file) : path_(file) {
    if (file == ":memory:") {
        folder_ = MakeFolder();
        path_ = folder_ + "/data";
    }
    keeper_ = OpenFile(path_);
    // With a write-ahead log a reader sees the last commit and never waits for a writer.
    Run(keeper_.get(), "PRAGMA journal_mode = WAL");
}

Database::~Database() {
    keeper_.reset();
    if (folder_.empty()) return;
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
}

DatabaseHandle OpenSession(const Database &database, Patience *patience) {
    DatabaseHandle handle = OpenFile(database.Path());
    sqlite3_busy_handler(handle.get(), WaitForLock, patience);
    sqlite3_progress_handler(handle.get(), STEPS_PER_LOOK, StopWhenStopping, patience);
    Run(handle.get(), "PRAGMA foreign_keys = ON");
    Run(handle.get(), database.Temporary() ? "PRAGMA synchronous = OFF" : "PRAGMA synchronous = 1");
    AddFunctions(handle.get());
    sqlite3_set_authorizer(handle.get(), Authorise, nullptr);
    return handle;
}

}  // namespace tavud
