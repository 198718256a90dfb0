// Files that the library reads.
#pragma once

#include <cstdio>

// Whether something of that name is there, readable or not.
bool FileExists(const char *path);

// Opens a file to read its bytes; NULL when the system refuses it. Programs that the process starts
// do not inherit it. The caller closes it with fclose.
FILE *FileOpen(const char *path);

#ifdef TAVU_TEST_SEAMS
// Called with each file that was opened; NULL switches it off. What the library leaves open is then
// the test's to close: on Windows a file that is open cannot be removed.
void FileSetOpenedHook(void (*hook)(FILE *file));
#endif
