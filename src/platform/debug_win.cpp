// Debug output to the debugger: a program with windows has no standard error.
#include <windows.h>

#include "platform/debug.h"
#include "platform/debug_seam.h"

void DebugOutput(const char *text) {
    if (DebugOutputHooked(text)) return;
    OutputDebugStringA(text);
}
