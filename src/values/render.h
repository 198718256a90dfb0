// Column values as text.
#pragma once

#include "values/column_value.h"

// Room for a rendered value; what does not fit is cut one byte earlier and terminated.
constexpr int32_t RENDER_BYTES = 64;
// Room for any DOUBLE: a sign, 309 digits, a point and six decimals.
constexpr int32_t DOUBLE_TEXT_BYTES = 512;

// Each conversion writes some types, dates and times among them, in a way of its own.
enum RenderForm {
    RENDER_FOR_DEFINE,
    RENDER_FOR_COLUMN,
    RENDER_FOR_TEXT,          // the texts that a result keeps; a GUID has none
    RENDER_FOR_OUT_PARAMETER  // a DATETIME counts microseconds
};

// Renders a value into `text` of RENDER_BYTES bytes and returns its length; 0 when its type has no
// text of its own, or the value none.
int32_t RenderValue(const ColumnValue *value, RenderForm form, char *text);

// Renders a DOUBLE with 16 digits, or with six decimals once it has more before the point; `text`
// has room for DOUBLE_TEXT_BYTES.
void DoubleToText(char *text, double value);
