// The rows of a running statement: what their field list says, and how they are sent.
#pragma once

#include <string>
#include <vector>

#include "server/execute.h"

namespace tavud {

// How the rows of one result look, from its first to its last.
struct RowShape {
    std::vector<Column> columns;  // as the field list tells them
    int columns_taken = 0;        // how many of them the statement gives; the others are NULL
    bool marked = false;          // the last column of the statement, the rowid, is the bookmark
};

// One row that has been read.
struct EncodedRow {
    std::string bookmark;  // "": the row has none
    std::string values;    // for each column its int32 length and its bytes
};

// `on_row` says that the statement stands on its first row.
RowShape ShapeRows(const Workplace &place, const Statement &statement, bool on_row);

// The letter and the list.
void WriteFields(Channel *channel, const std::vector<Column> &columns);

// Reads the row on which the statement stands. Throws StatementRefused when a value is not of the
// type that was announced.
void EncodeRow(const Workplace &place, const Statement &statement, const RowShape &shape,
               EncodedRow *row);

void WriteRow(Channel *channel, const EncodedRow &row);

}  // namespace tavud
