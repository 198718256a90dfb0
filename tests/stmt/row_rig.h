// What the tests of the row stream share: a statement on a connection whose received bytes a test
// plays itself.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "records/handles.h"
#include "records/statement.h"
#include "support/bytes.h"

// Takes the place of the system's receive while it lives; one at a time. Behind the last byte the
// stream has ended. Everything is released with it, the statement's results too.
struct RowRig {
    RowRig();
    ~RowRig();
    RowRig(const RowRig &) = delete;
    RowRig &operator=(const RowRig &) = delete;

    // Lets the receives give `bytes`, at most `piece_bytes` in one.
    void Arrive(const Bytes &bytes, size_t piece_bytes = 8192);
    // Lets the receives give `bytes`, cut once before `cut`.
    void ArriveCut(const Bytes &bytes, size_t cut);
    // A result with these columns, its field list read from the wire and its lock initialized.
    ResultSet *NewResult(const std::vector<int32_t> &types);
    // Frees all results of the statement.
    void ReleaseAll();
    // The bytes that are not yet read, received or not.
    Bytes Unread() const;
    // Code and message of the statement's record, "E13001: [E13001]twice"; "" when there is none.
    std::string Error();

    int64_t blocks_before;
    Connection *conn;
    TVCISession session = {};
    TVCIStmt stmt = {};
    Bytes input;
    size_t input_at = 0;
    size_t input_piece = 8192;
    size_t input_cut = 0;  // 0: none
};

// A column description as it goes on the wire, with no declared size and no flags.
Bytes FieldBytes(const std::string &name, int32_t type);
