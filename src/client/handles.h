// What is left behind where a native handle was.
#pragma once

#include <cstdint>

// What the holder of a native handle points at once the handle is freed: its type word is 0, so
// every native call on it is refused.
extern uint32_t dead_handle[4];
