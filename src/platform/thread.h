// Threads: one start function.
#pragma once

#include <cstddef>

// Starts a detached thread that runs `entry(argument)`. `stack_bytes` 0 is the system's default.
// Returns false when the system refuses it.
bool ThreadStart(void (*entry)(void *argument), size_t stack_bytes, void *argument);

#ifdef TAVU_TEST_SEAMS
// Makes the n-th start from now (counting from 1) fail, and no other. 0 switches it off.
void ThreadFailAt(unsigned n);
#endif
