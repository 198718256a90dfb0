// The abnormal end of the process over Windows.
#include <windows.h>

#include "platform/process.h"

// The exit status of the C runtime's abort, which itself will not do: it prints a line, and in a
// program with windows it waits for somebody to close a message box.
constexpr UINT ABORT_STATUS = 3;

void ProcessAbort(void) {
    TerminateProcess(GetCurrentProcess(), ABORT_STATUS);
    __builtin_unreachable();
}
