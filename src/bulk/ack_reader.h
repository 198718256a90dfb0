// What a server says while a bulk load is on its way: read beside the sending.
#pragma once

#include "records/connection.h"

// Starts the thread that reads what the server says until it has closed the stream. It stores
// `bulk_error` and, as its last act, clears `bulk_reader_running`. Where the system refuses the
// thread, AckReaderWait reads the answer.
void AckReaderStart(Connection *conn);

// Waits without limit for the reader's end, in steps of a second.
void AckReaderWait(Connection *conn);
