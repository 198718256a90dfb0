// Answers to describe questions: statement codes 61 to 64 and the column codes.
#pragma once

#include <cstdint>

#include "records/statement.h"

int32_t StmtMetadataGet(TVCIStmt *stmt, int32_t attribute, void *value, int32_t *length);
int32_t ColumnMetadataGet(const ColumnHandle *column, int32_t attribute, void *value,
                          int32_t *length);
