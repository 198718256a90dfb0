// Locks over POSIX threads.
#include <cerrno>

#include "platform/lock.h"

void MutexInit(Mutex *mutex) {
    pthread_mutex_init(&mutex->mutex, NULL);
}

void MutexDestroy(Mutex *mutex) {
    pthread_mutex_destroy(&mutex->mutex);
}

void MutexLock(Mutex *mutex) {
    pthread_mutex_lock(&mutex->mutex);
}

void MutexUnlock(Mutex *mutex) {
    pthread_mutex_unlock(&mutex->mutex);
}

void SemaphoreInit(Semaphore *semaphore, int32_t initial_count) {
    sem_init(&semaphore->semaphore, 0, (unsigned)initial_count);
}

void SemaphoreDestroy(Semaphore *semaphore) {
    sem_destroy(&semaphore->semaphore);
}

bool SemaphoreTryTake(Semaphore *semaphore) {
    int result;
    do {
        result = sem_trywait(&semaphore->semaphore);
    } while (result != 0 && errno == EINTR);
    return result == 0;
}

void SemaphoreTake(Semaphore *semaphore) {
    while (sem_wait(&semaphore->semaphore) != 0 && errno == EINTR) {
    }
}

void SemaphoreRelease(Semaphore *semaphore) {
    sem_post(&semaphore->semaphore);
}
