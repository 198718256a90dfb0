// The types of native handles that have no record, and what is left behind where a handle was.
#pragma once

#include <cstddef>
#include <cstdint>

// A handle type that is known and has no record: making and freeing one does nothing.
constexpr int32_t HTYPE_EMPTY = 8;
// Handle types that none can be made of, though freeing one does nothing.
constexpr int32_t HTYPE_UNMADE_FIRST = 6;
constexpr int32_t HTYPE_UNMADE_LAST = 7;

// What the holder of a native handle points at once the handle is freed: its type word is 0, so
// every native call on it is refused.
extern uint32_t dead_handle[4];

// Tells the holder of a handle that it is gone; `owner_slot` may be NULL.
inline void ForgetOwner(void **owner_slot) {
    if (owner_slot != NULL) {
        *owner_slot = dead_handle;
    }
}
