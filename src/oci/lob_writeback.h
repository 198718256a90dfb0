// The write-back of changed large values at commit.
#pragma once

#include "oci/records.h"

// Turns the large values that were written through the locators of a select into an UPDATE of the
// row that was fetched last, and runs it on the same native statement, whose select is gone then.
// The statement stays marked as written to, so that the next commit does it again, without a row.
// Returns -1 for a statement without a text; 0 when there is nothing to write; -5 when memory is
// short for what the select's rows hold; otherwise the result of the UPDATE.
int32_t LobWriteBack(OCIStmt *stmtp);

// The UPDATE for a select that has a row; in it the large values are parameters, whose places go to
// the defines. Made by looking for words in the text, not by parsing it. The caller frees it; NULL
// when memory is short.
char *LobUpdateText(OCIStmt *stmtp);
