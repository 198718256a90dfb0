// The seam at which a test learns what files were opened.
#include "platform/file_seam.h"

#include "platform/file.h"

#ifdef TAVU_TEST_SEAMS
#include <atomic>
#include <cstddef>

typedef void (*FileHook)(FILE *);

static std::atomic<FileHook> opened_hook;

void FileSetOpenedHook(FileHook hook) {
    opened_hook = hook;
}

FILE *FileOpenedHooked(FILE *file) {
    FileHook hook = opened_hook.load();
    if (hook != NULL && file != NULL) {
        hook(file);
    }
    return file;
}
#else
FILE *FileOpenedHooked(FILE *file) {
    return file;
}
#endif
