// Large values: the life of a record, and copies of one.
#include "stmt/lob.h"

#include <cstring>

#include "platform/memory.h"
#include "tavu/tvci.h"

LobRecord *TVCILobAlloc(void) {
    return (LobRecord *)MemAlloc(sizeof(LobRecord));
}

int32_t TVCILobReset(LobRecord *lob) {
    if (lob == NULL) return TVCI_INVALID_ARGUMENT;
    if (LobOwnsData(lob)) {
        MemFree(lob->data);
    }
    if (LobOwnsDescriptor(lob)) {
        MemFree(lob->descriptor);
    }
    // The descriptor of a local value is nobody's to free and stays named.
    if (lob->borrowed || lob->remote) {
        lob->descriptor = NULL;
    }
    lob->data = NULL;
    lob->length = 0;
    return TVCI_SUCCESS;
}

int32_t TVCILobFree(LobRecord *lob) {
    if (lob == NULL) return TVCI_INVALID_ARGUMENT;
    TVCILobReset(lob);
    MemFree(lob);
    return TVCI_SUCCESS;
}

// A copy of the data with a byte to spare: readers that pass over a lead byte end there.
static uint8_t *CopyData(const LobRecord *lob) {
    uint8_t *copy = (uint8_t *)MemAllocRaw((size_t)lob->length + 1);
    if (copy == NULL) return NULL;
    MemExpectFill(copy, (size_t)lob->length);
    std::memcpy(copy, lob->data, (size_t)lob->length);
    copy[lob->length] = 0;
    return copy;
}

bool LobOwn(LobRecord *lob) {
    if (!lob->borrowed) return true;
    char *descriptor = NULL;
    if (lob->remote && lob->descriptor != NULL) {
        descriptor = MemCopyText(lob->descriptor);
        if (descriptor == NULL) return false;
    }
    if (lob->data != NULL && !LobOwnsData(lob)) {
        uint8_t *data = CopyData(lob);
        if (data == NULL) {
            MemFree(descriptor);
            return false;
        }
        lob->data = data;
    }
    lob->descriptor = descriptor;
    lob->borrowed = 0;
    return true;
}

// The copy's memory is its own, whatever its `borrowed` says.
int32_t TVCILobCopy(const LobRecord *source, LobRecord *target) {
    if (source == NULL || target == NULL) return TVCI_INVALID_ARGUMENT;
    if (source == target) return TVCI_SUCCESS;
    TVCILobReset(target);
    *target = *source;
    target->data = source->data != NULL ? CopyData(source) : NULL;
    target->descriptor = source->descriptor != NULL ? MemCopyText(source->descriptor) : NULL;
    return TVCI_SUCCESS;
}
