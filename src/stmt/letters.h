// The letters that open the items of a server's answer.
#pragma once

#include <cstdint>

constexpr uint8_t MSG_ROWS = 'A';             // field list, then the row stream
constexpr uint8_t MSG_DELETED = 'D';          // int32 rows
constexpr uint8_t MSG_ERROR = 'E';            // text
constexpr uint8_t MSG_ERROR_OTHER = 'F';      // text
constexpr uint8_t MSG_INSERTED = 'I';         // counted bookmark of the new row
constexpr uint8_t MSG_END = 'K';              // nothing; the answer is over
constexpr uint8_t MSG_MESSAGE = 'M';          // text
constexpr uint8_t MSG_DATA = 'O';             // int32, counted bytes; not used
constexpr uint8_t MSG_OUT_PARAMETER = 'P';    // int32 index, int32 TypeId, counted bytes
constexpr uint8_t MSG_ROW = 'R';              // one row of the row stream
constexpr uint8_t MSG_UPDATED = 'U';          // int32 rows
constexpr uint8_t MSG_WARNING = 'W';          // text
constexpr uint8_t MSG_MARKED_ROW = '*';       // counted bookmark, then one row of the row stream
constexpr uint8_t MSG_PARAMETER_DESCS = '$';  // what a PREPARE found out about the parameters
