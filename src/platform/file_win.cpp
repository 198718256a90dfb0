// Files on Windows.
#include <windows.h>

#include "platform/file.h"
#include "platform/file_seam.h"

bool FileExists(const char *path) {
    return GetFileAttributesA(path) != INVALID_FILE_ATTRIBUTES;
}

// "N": not inherited.
FILE *FileOpen(const char *path) {
    return FileOpenedHooked(fopen(path, "rbN"));
}
