// The debug output: where the library says what no return code can carry.
#pragma once

// Writes the text as it stands: to the debugger on Windows, to standard error elsewhere.
void DebugOutput(const char *text);

#ifdef TAVU_TEST_SEAMS
// Called with each text in place of the output; NULL switches it off.
void DebugSetHook(void (*hook)(const char *text));
#endif
