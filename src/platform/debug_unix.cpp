// Debug output to standard error.
#include <cstdio>

#include "platform/debug.h"
#include "platform/debug_seam.h"

void DebugOutput(const char *text) {
    if (DebugOutputHooked(text)) return;
    fputs(text, stderr);
}
