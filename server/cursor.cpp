// The server cursors of one session.
#include "server/cursor.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "server/errors.h"
#include "server/tokens.h"

namespace tavud {

namespace {

// Rows are put aside and taken back in runs of about this size.
constexpr size_t RUN_BYTES = 256 * 1024;
// In front of each row that is put aside: the lengths of its two parts, as they are in memory.
struct AsideHead {
    uint32_t bookmark_bytes;
    uint32_t values_bytes;
};

void AppendRow(const EncodedRow &row, std::string *run) {
    const AsideHead head = {static_cast<uint32_t>(row.bookmark.size()),
                            static_cast<uint32_t>(row.values.size())};
    run->append(reinterpret_cast<const char *>(&head), sizeof(head));
    run->append(row.bookmark);
    run->append(row.values);
}

}  // namespace

Cursor::Cursor(Workplace *place, Statement query, std::vector<Parameter> parameters)
    : place_(place), query_(std::move(query)), parameters_(std::move(parameters)) {}

void Cursor::Open() {
    try {
        ParameterList list(parameters_);
        list.Bind(query_.compiled.get(), true);
        reading_ = Step(query_.compiled.get());
        shape_ = ShapeRows(*place_, query_, reading_);
    } catch (const StatementRefused &) {
        EndReading();
        throw;
    }
    if (!reading_) EndReading();
    open_ = true;
    WriteFields(place_->channel, shape_.columns);
}

void Cursor::Fetch(uint64_t count) {
    WriteFields(place_->channel, shape_.columns);
    EncodedRow row;
    for (; count > 0 && NextRow(&row); count--) {
        WriteRow(place_->channel, row);
    }
}

void Cursor::PutAside() {
    std::string run;
    EncodedRow row;
    try {
        while (ReadRow(&row)) {
            AppendRow(row, &run);
            if (run.size() < RUN_BYTES) continue;
            aside_.Append(run);
            run.clear();
        }
        if (!run.empty()) aside_.Append(run);
    } catch (const StatementRefused &disk_full) {
        refusal_ = disk_full.what();
        EndReading();
    }
}

bool Cursor::NextRow(EncodedRow *row) {
    if (TakeAsideRow(row) || ReadRow(row)) return true;
    if (!refusal_.empty()) throw StatementRefused(std::exchange(refusal_, ""));
    return false;
}

// Reads the row on which the query stands, and steps to the one behind it.
bool Cursor::ReadRow(EncodedRow *row) {
    if (!reading_) return false;
    bool read = false;
    try {
        EncodeRow(*place_, query_, shape_, row);
        read = true;
        reading_ = Step(query_.compiled.get());
    } catch (const StatementRefused &refused) {
        refusal_ = refused.what();
        reading_ = false;
    }
    if (!reading_) EndReading();
    return read;
}

void Cursor::EndReading() {
    reading_ = false;
    sqlite3_reset(query_.compiled.get());
    sqlite3_clear_bindings(query_.compiled.get());
}

bool Cursor::TakeAsideRow(EncodedRow *row) {
    if (aside_taken_ == aside_.Size() && ready_taken_ == ready_.size()) return false;
    AsideHead head = {};
    const std::string head_bytes = TakeAside(sizeof(head));
    std::memcpy(&head, head_bytes.data(), sizeof(head));
    row->bookmark = TakeAside(head.bookmark_bytes);
    row->values = TakeAside(head.values_bytes);
    return true;
}

std::string Cursor::TakeAside(size_t bytes) {
    while (ready_.size() - ready_taken_ < bytes) {
        ready_.erase(0, ready_taken_);
        ready_taken_ = 0;
        const size_t kept = ready_.size();
        const uint64_t wanted = std::max(bytes - kept, RUN_BYTES);
        const auto more = static_cast<size_t>(std::min(wanted, aside_.Size() - aside_taken_));
        ready_.resize(kept + more);
        aside_.Read(aside_taken_, ready_.data() + kept, more);
        aside_taken_ += more;
    }
    std::string taken = ready_.substr(ready_taken_, bytes);
    ready_taken_ += bytes;
    return taken;
}

void Cursors::Declare(const std::string &name, Statement query, std::vector<Parameter> parameters) {
    const std::string key = UpperCase(name);
    if (cursors_.size() >= CURSORS_MAX && cursors_.count(key) == 0) {
        throw StatementRefused(CODE_CURSOR,
                               "more than " + std::to_string(CURSORS_MAX) + " cursors");
    }
    Compile(place_->transaction.database, place_->WantsRowid(), &query);
    sqlite3_stmt *compiled = query.compiled.get();
    const bool gives_rows = sqlite3_column_count(compiled) > 0 && query.verb != Verb::Call;
    if (!gives_rows || sqlite3_stmt_readonly(compiled) == 0) {
        throw StatementRefused(CODE_CURSOR, "a cursor takes a query that changes nothing");
    }
    cursors_.erase(key);
    cursors_.try_emplace(key, place_, std::move(query), std::move(parameters));
}

void Cursors::Open(const std::string &name) {
    Cursor &cursor = Named(name);
    if (cursor.IsOpen()) throw StatementRefused(CODE_CURSOR, "cursor " + name + " is open already");
    cursor.Open();
}

void Cursors::Fetch(const std::string &name, uint64_t count) {
    Cursor &cursor = Named(name);
    if (!cursor.IsOpen()) throw StatementRefused(CODE_CURSOR, "cursor " + name + " is not open");
    cursor.Fetch(count);
}

void Cursors::Close(const std::string &name) {
    Named(name);
    cursors_.erase(UpperCase(name));
}

void Cursors::Settle() {
    for (auto &[name, cursor] : cursors_) {
        cursor.PutAside();
    }
}

Cursor &Cursors::Named(const std::string &name) {
    const auto found = cursors_.find(UpperCase(name));
    if (found == cursors_.end()) {
        throw StatementRefused(CODE_NO_CURSOR, "there is no cursor " + name);
    }
    return found->second;
}

}  // namespace tavud
