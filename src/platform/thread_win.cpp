// Threads over the C runtime's start function.
#include <process.h>
#include <windows.h>

#include "platform/memory.h"
#include "platform/thread.h"
#include "platform/thread_seam.h"

struct ThreadStartRecord {
    void (*entry)(void *argument);
    void *argument;
};

static unsigned __stdcall RunThread(void *start_record) {
    ThreadStartRecord start = *(ThreadStartRecord *)start_record;
    MemFree(start_record);
    start.entry(start.argument);
    return 0;
}

bool ThreadStart(void (*entry)(void *argument), size_t stack_bytes, void *argument) {
    if (ThreadStartFails()) return false;
    ThreadStartRecord *start = (ThreadStartRecord *)MemAlloc(sizeof(ThreadStartRecord));
    if (start == NULL) return false;
    start->entry = entry;
    start->argument = argument;
    uintptr_t thread = _beginthreadex(NULL, (unsigned)stack_bytes, RunThread, start, 0, NULL);
    if (thread == 0) {
        MemFree(start);
        return false;
    }
    CloseHandle((HANDLE)thread);
    return true;
}
