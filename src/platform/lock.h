// Locks: mutexes that are private to the process, and counting semaphores that one thread takes and
// another may release.
#pragma once

#include <cstddef>
#include <cstdint>

#ifdef _WIN32
struct Mutex {
    void *slim_lock;  // an SRWLOCK
};
// What a mutex with static storage begins as, in place of MutexInit.
#define MUTEX_INITIALIZER \
    { NULL }
struct Semaphore {
    void *handle;
};
#else
#include <pthread.h>
#include <semaphore.h>
struct Mutex {
    pthread_mutex_t mutex;
};
#define MUTEX_INITIALIZER \
    { PTHREAD_MUTEX_INITIALIZER }
struct Semaphore {
    sem_t semaphore;
};
#endif

// A count that no semaphore of the client ever reaches.
constexpr int32_t SEMAPHORE_COUNT_MAX = 2000000000;

void MutexInit(Mutex *mutex);
void MutexDestroy(Mutex *mutex);
void MutexLock(Mutex *mutex);
void MutexUnlock(Mutex *mutex);

void SemaphoreInit(Semaphore *semaphore, int32_t initial_count);
void SemaphoreDestroy(Semaphore *semaphore);
// Takes one permit if there is one; never waits.
bool SemaphoreTryTake(Semaphore *semaphore);
// Waits without limit. Called by WaitSemaphore only, so that every wait has a name.
void SemaphoreTake(Semaphore *semaphore);
void SemaphoreRelease(Semaphore *semaphore);
