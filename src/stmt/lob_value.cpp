// Large values: storing one in a record, and what a record hands out.
#include <cstring>

#include "platform/memory.h"
#include "records/values.h"
#include "tavu/tvci.h"

constexpr int32_t LOB_BYTES_MAX = 2146435072;  // a value has fewer

int32_t TVCILobGet(LobRecord *lob, int32_t *length_out, void **data_out) {
    if (lob == NULL || (length_out == NULL && data_out == NULL)) return TVCI_INVALID_ARGUMENT;
    // The data behind a descriptor begin with a byte that is not part of the value.
    bool skips_byte = lob->remote && lob->data != NULL && lob->kind != LOB_KIND_GEOMETRY;
    if (length_out != NULL) {
        *length_out = lob->length;
    }
    if (data_out != NULL) {
        *data_out = skips_byte ? lob->data + 1 : lob->data;
    }
    return TVCI_SUCCESS;
}

int32_t TVCILobWrite(LobRecord *lob, int32_t length, const void *bytes) {
    if (lob == NULL || bytes == NULL || length < 0) return TVCI_INVALID_ARGUMENT;
    if (length >= LOB_BYTES_MAX) return TVCI_ERROR;
    if (!lob->borrowed) {
        MemFree(lob->data);
    }
    lob->data = NULL;
    lob->length = 0;
    uint8_t *data = (uint8_t *)MemAlloc((size_t)length);
    if (data == NULL) return TVCI_NO_MEMORY;
    lob->borrowed = 0;
    std::memcpy(data, bytes, (size_t)length);
    lob->data = data;
    lob->length = length;
    return TVCI_SUCCESS;
}
