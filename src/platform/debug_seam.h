// The seam at which a test reads the debug output.
#pragma once

// True when a test has taken the text; false outside tests.
bool DebugOutputHooked(const char *text);
