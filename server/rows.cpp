// The rows of a running statement: what their field list says, and how they are sent.
#include "server/rows.h"

#include "server/errors.h"
#include "server/values.h"

namespace tavud {

RowShape ShapeRows(const Workplace &place, const Statement &statement, bool on_row) {
    RowShape shape;
    shape.columns = DescribeColumns(statement, on_row);
    if (statement.rowid_inside && !place.login.return_rowid) shape.columns.pop_back();
    shape.columns_taken = static_cast<int>(shape.columns.size());
    if (place.bookmarks && statement.rowid_inside) shape.marked = true;
    // A select of a session with rowids has the rowid column in any case.
    if (statement.verb == Verb::Select && place.login.return_rowid && !statement.rowid_inside) {
        shape.columns.push_back(RowidColumn());
    }
    return shape;
}

void WriteFields(Channel *channel, const std::vector<Column> &columns) {
    channel->WriteByte(ANSWER_ROWS);
    channel->WriteInt32(static_cast<int32_t>(columns.size()));
    for (const Column &column : columns) {
        channel->WriteText(column.name);
        channel->WriteInt32(column.type.type_id);
        channel->WriteInt32(column.type.size);
        channel->WriteInt32(column.flags);
    }
}

void EncodeRow(const Workplace &place, const Statement &statement, const RowShape &shape,
               EncodedRow *row) {
    sqlite3_stmt *compiled = statement.compiled.get();
    row->bookmark.clear();
    row->values.clear();
    for (int i = 0; i < shape.columns_taken; i++) {
        const Column &column = shape.columns[static_cast<size_t>(i)];
        if (AppendColumn(compiled, i, column.type, place.giver.get(), &row->values)) continue;
        throw StatementRefused(
            CODE_RESULT_VALUE,
            "column " + column.name + " has a value that is no " + DescribeType(column.type));
    }
    for (size_t i = static_cast<size_t>(shape.columns_taken); i < shape.columns.size(); i++) {
        AppendInt32(&row->values, 0);
    }
    if (!shape.marked) return;
    const int rowid_column = sqlite3_column_count(compiled) - 1;
    const unsigned char *rowid = sqlite3_column_text(compiled, rowid_column);
    if (rowid != nullptr) row->bookmark = reinterpret_cast<const char *>(rowid);
}

void WriteRow(Channel *channel, const EncodedRow &row) {
    if (row.bookmark.empty()) {
        channel->WriteByte(ANSWER_ROW);
    } else {
        channel->WriteByte(ANSWER_MARKED_ROW);
        channel->WriteInt32(static_cast<int32_t>(row.bookmark.size()));
        channel->WriteBare(row.bookmark);
    }
    channel->WriteBytes(row.values);
}

}  // namespace tavud
