// Threads over POSIX threads.
#include <pthread.h>

#include "platform/memory.h"
#include "platform/thread.h"
#include "platform/thread_seam.h"

struct ThreadStartRecord {
    void (*entry)(void *argument);
    void *argument;
};

static void *RunThread(void *start_record) {
    ThreadStartRecord start = *(ThreadStartRecord *)start_record;
    MemFree(start_record);
    start.entry(start.argument);
    return NULL;
}

bool ThreadStart(void (*entry)(void *argument), size_t stack_bytes, void *argument) {
    if (ThreadStartFails()) return false;
    ThreadStartRecord *start = (ThreadStartRecord *)MemAlloc(sizeof(ThreadStartRecord));
    if (start == NULL) return false;
    start->entry = entry;
    start->argument = argument;
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    if (stack_bytes != 0) {
        pthread_attr_setstacksize(&attributes, stack_bytes);
    }
    pthread_t thread;
    bool started = pthread_create(&thread, &attributes, RunThread, start) == 0;
    pthread_attr_destroy(&attributes);
    if (!started) {
        MemFree(start);
    }
    return started;
}
