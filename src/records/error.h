// The native error record.
#pragma once

// One failure that an application can read back as text. Made zeroed; freed with the handle it
// hangs on, and so are the records it replaced.
struct ErrInfo {
    char code[7];      // "E" and five digits, or a server's five characters; NUL-terminated
    char *message;     // owned, NUL-terminated, or NULL
    ErrInfo *retired;  // owned; the record that this one replaced on its handle, or NULL
};
