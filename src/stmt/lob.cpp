// Large values: the life of a record.
#include "platform/memory.h"
#include "records/values.h"
#include "tavu/tvci.h"

LobRecord *TVCILobAlloc(void) {
    return (LobRecord *)MemAlloc(sizeof(LobRecord));
}

int32_t TVCILobFree(LobRecord *lob) {
    if (lob == NULL) return TVCI_INVALID_ARGUMENT;
    if (lob->borrowed) {
        // With a descriptor the data were fetched, and are the record's own.
        if (lob->descriptor != NULL) {
            MemFree(lob->data);
        }
    } else {
        if (lob->remote) {
            MemFree(lob->descriptor);
        }
        MemFree(lob->data);
    }
    MemFree(lob);
    return TVCI_SUCCESS;
}
