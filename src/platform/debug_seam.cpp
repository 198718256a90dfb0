// The seam at which a test reads the debug output.
#include "platform/debug_seam.h"

#include "platform/debug.h"

#ifdef TAVU_TEST_SEAMS
#include <atomic>
#include <cstddef>

typedef void (*DebugHook)(const char *);

static std::atomic<DebugHook> test_output;

void DebugSetHook(DebugHook hook) {
    test_output = hook;
}

bool DebugOutputHooked(const char *text) {
    DebugHook hook = test_output.load();
    if (hook == NULL) return false;
    hook(text);
    return true;
}
#else
bool DebugOutputHooked(const char *) {
    return false;
}
#endif
