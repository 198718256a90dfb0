// Locks over slim locks and kernel semaphores.
#include <windows.h>

#include "platform/lock.h"

static_assert(sizeof(SRWLOCK) == sizeof(Mutex));

static SRWLOCK *SlimLock(Mutex *mutex) {
    return (SRWLOCK *)&mutex->slim_lock;
}

void MutexInit(Mutex *mutex) {
    InitializeSRWLock(SlimLock(mutex));
}

void MutexDestroy(Mutex *mutex) {
    (void)mutex;
}

void MutexLock(Mutex *mutex) {
    AcquireSRWLockExclusive(SlimLock(mutex));
}

void MutexUnlock(Mutex *mutex) {
    ReleaseSRWLockExclusive(SlimLock(mutex));
}

void SemaphoreInit(Semaphore *semaphore, int32_t initial_count) {
    semaphore->handle = CreateSemaphoreA(NULL, initial_count, SEMAPHORE_COUNT_MAX, NULL);
}

void SemaphoreDestroy(Semaphore *semaphore) {
    CloseHandle(semaphore->handle);
}

bool SemaphoreTryTake(Semaphore *semaphore) {
    return WaitForSingleObject(semaphore->handle, 0) == WAIT_OBJECT_0;
}

void SemaphoreTake(Semaphore *semaphore) {
    WaitForSingleObject(semaphore->handle, INFINITE);
}

void SemaphoreRelease(Semaphore *semaphore) {
    ReleaseSemaphore(semaphore->handle, 1, NULL);
}
