// The server cursors of one session.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "server/execute.h"
#include "server/rows.h"
#include "server/spool.h"

namespace tavud {

// One cursor: its query, and what is left of its rows.
//
// A cursor gives the rows that were there when it was opened. At first they are read as they are
// fetched. Before the session runs anything else on its database handle, which could change them or
// must not see an old state of the data, the rest of them is read and put aside.
class Cursor {
public:
    // `query` is compiled and gives rows without changing anything.
    Cursor(Workplace *place, Statement query, std::vector<Parameter> parameters);

    // Runs the query and writes its field list.
    void Open();
    // Writes the field list and up to `count` further rows.
    void Fetch(uint64_t count);
    // Puts the rest of the rows aside if they have still to be read.
    void PutAside();

    bool IsOpen() const {
        return open_;
    }

private:
    bool NextRow(EncodedRow *row);
    bool ReadRow(EncodedRow *row);
    bool TakeAsideRow(EncodedRow *row);
    std::string TakeAside(size_t bytes);
    void EndReading();

    Workplace *place_;
    Statement query_;
    std::vector<Parameter> parameters_;
    RowShape shape_;
    bool open_ = false;
    bool reading_ = false;  // the query stands on the row that comes next behind those put aside
    std::string refusal_;   // what ends the rows instead of their end; ""
    Spool aside_;
    uint64_t aside_taken_ = 0;  // bytes of it that have been read
    std::string ready_;         // the last of those
    size_t ready_taken_ = 0;
};

// All of them, by name in any case of letters.
class Cursors {
public:
    static constexpr size_t CURSORS_MAX = 256;

    explicit Cursors(Workplace *place) : place_(place) {}

    // All throw StatementRefused.
    void Declare(const std::string &name, Statement query, std::vector<Parameter> parameters);
    void Open(const std::string &name);
    void Fetch(const std::string &name, uint64_t count);
    void Close(const std::string &name);

    // To be called before anything else is run on the session's handle.
    void Settle();

private:
    Cursor &Named(const std::string &name);

    Workplace *place_;
    std::map<std::string, Cursor> cursors_;
};

}  // namespace tavud
