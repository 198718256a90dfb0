// The end of the process, where that is the stated outcome.
#pragma once

// Ends the process abnormally and at once: no exit handlers, nothing printed.
[[noreturn]] void ProcessAbort(void);

// Ends the process with `status`.
[[noreturn]] void ProcessExit(int status);
