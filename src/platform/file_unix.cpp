// Files on POSIX systems.
#include <unistd.h>

#include "platform/file.h"
#include "platform/file_seam.h"

bool FileExists(const char *path) {
    return access(path, F_OK) == 0;
}

FILE *FileOpen(const char *path) {
    return FileOpenedHooked(fopen(path, "rbe"));
}
