// Error records: how they are filled, where they hang, and how they are read and freed.
#include "diag/error.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "platform/lock.h"
#include "platform/memory.h"
#include "platform/text.h"
#include "records/handles.h"
#include "records/statement.h"
#include "tavu/tvci.h"

// The platform and the version that the client's own messages name.
static const char *const PLATFORM_NAME = "Win_x64";
static const char *const CLIENT_VERSION = "301";

// Guards every record that hangs somewhere and every pointer to one: the row reader of a statement
// writes its record while the application may be reading it.
static Mutex error_lock = MUTEX_INITIALIZER;

static ErrInfo *NewErrInfo(const char *code, size_t code_bytes, const char *message) {
    ErrInfo *err = (ErrInfo *)MemAlloc(sizeof(ErrInfo));
    if (err == NULL) return NULL;
    TextCopyBytes(err->code, sizeof(err->code), code, code_bytes);
    if (message == NULL) return err;
    err->message = MemCopyText(message);
    if (err->message != NULL) return err;
    MemFree(err);
    return NULL;
}

static void FreeChain(ErrInfo *err) {
    while (err != NULL) {
        ErrInfo *retired = err->retired;
        MemFree(err->message);
        MemFree(err);
        err = retired;
    }
}

// The end of a chain, to which another one can be hung.
static ErrInfo **ChainEnd(ErrInfo **slot) {
    while (*slot != NULL) {
        slot = &(*slot)->retired;
    }
    return slot;
}

int32_t ErrInfoSet(ErrInfo *err, const char *code, const char *detail) {
    char text[ERROR_MESSAGE_BYTES];
    uint8_t show_version = 0;
    const char *table_text = NULL;
    TextCopy(err->code, sizeof(err->code), code);
    int32_t result = ErrTextLookup(err->code, &show_version, &table_text);
    if (table_text == NULL) {
        table_text = "";
    }
    if (result != 0) {
        snprintf(text, sizeof(text), "[%s] %s", PLATFORM_NAME, detail);
    } else if (show_version == 0) {
        snprintf(text, sizeof(text), "[%s]%s,%s", PLATFORM_NAME, table_text, detail);
    } else {
        snprintf(text, sizeof(text), "[%s][%s]%s,%s", PLATFORM_NAME, CLIENT_VERSION, table_text,
                 detail);
    }
    MemFree(err->message);
    err->message = MemCopyText(text);
    return result;
}

ErrInfo **ErrInfoSlot(void *handle) {
    switch (*(const uint32_t *)handle) {
        case TVCI_HTYPE_ENV: return &((TVCIEnv *)handle)->error;
        case TVCI_HTYPE_SERVER: return &((TVCIServer *)handle)->error;
        case TVCI_HTYPE_SESSION: return &((TVCISession *)handle)->error;
        case TVCI_HTYPE_POOL: return &((TVCIPool *)handle)->error;
        case TVCI_HTYPE_STMT: return &((TVCIStmt *)handle)->err;
        default: return NULL;
    }
}

void ErrInfoAttach(void *handle, ErrInfo *err) {
    if (err == NULL) return;
    ErrInfo **slot = ErrInfoSlot(handle);
    if (slot == NULL) {
        FreeChain(err);
        return;
    }
    MutexLock(&error_lock);
    err->retired = *slot;
    *slot = err;
    MutexUnlock(&error_lock);
}

void ErrInfoRaise(void *handle, const char *code, const char *detail_format, ...) {
    char detail[ERROR_DETAIL_BYTES];
    va_list arguments;
    va_start(arguments, detail_format);
    vsnprintf(detail, sizeof(detail), detail_format, arguments);
    va_end(arguments);
    ErrInfo *err = (ErrInfo *)MemAlloc(sizeof(ErrInfo));
    if (err == NULL) return;
    ErrInfoSet(err, code, detail);
    ErrInfoAttach(handle, err);
}

void ErrInfoRaiseText(void *handle, const char *code, const char *message) {
    ErrInfoAttach(handle, NewErrInfo(code, strlen(code), message));
}

// Moves the code and message of `fresh` into `*slot`.
static int32_t ReplaceWith(ErrInfo **slot, ErrInfo *fresh) {
    if (fresh == NULL) return -5;
    MutexLock(&error_lock);
    ErrInfo *existing = *slot;
    if (existing == NULL) {
        *slot = fresh;
    } else {
        char *old_message = existing->message;
        memcpy(existing->code, fresh->code, sizeof(existing->code));
        existing->message = fresh->message;
        fresh->message = old_message;
    }
    MutexUnlock(&error_lock);
    if (existing != NULL) {
        FreeChain(fresh);
    }
    return 0;
}

static int32_t Replace(ErrInfo **slot, const char *code, size_t code_bytes, const char *message) {
    return ReplaceWith(slot, NewErrInfo(code, code_bytes, message));
}

int32_t ErrInfoFromServer(ErrInfo **slot, const char *text) {
    size_t text_bytes = strlen(text);
    size_t code_bytes = text_bytes > 6 && text[6] == ']' ? 5 : 6;
    if (text_bytes == 0) return Replace(slot, text, 0, text);
    if (code_bytes > text_bytes - 1) {
        code_bytes = text_bytes - 1;
    }
    return Replace(slot, text + 1, code_bytes, text);
}

int32_t ErrInfoReplace(ErrInfo **slot, const char *code, const char *message) {
    return Replace(slot, code, strlen(code), message);
}

bool ErrInfoPresent(ErrInfo *const *slot) {
    MutexLock(&error_lock);
    bool present = *slot != NULL;
    MutexUnlock(&error_lock);
    return present;
}

bool ErrInfoCode(ErrInfo *const *slot, char code[7]) {
    memset(code, 0, sizeof(ErrInfo::code));
    MutexLock(&error_lock);
    bool present = *slot != NULL;
    if (present) {
        memcpy(code, (*slot)->code, sizeof(ErrInfo::code));
    }
    MutexUnlock(&error_lock);
    return present;
}

static ErrInfo *CopyOf(ErrInfo *const *slot) {
    const char *code = CANNOT_CONNECT_CODE;
    const char *message = CANNOT_CONNECT_TEXT;
    MutexLock(&error_lock);
    if (*slot != NULL) {
        code = (*slot)->code;
        message = (*slot)->message;
    }
    ErrInfo *copy = NewErrInfo(code, strlen(code), message);
    MutexUnlock(&error_lock);
    return copy;
}

void ErrInfoRaiseCopy(void *handle, ErrInfo *const *slot) {
    ErrInfoAttach(handle, CopyOf(slot));
}

int32_t ErrInfoReplaceCopy(ErrInfo **slot, ErrInfo *const *source) {
    return ReplaceWith(slot, CopyOf(source));
}

void ErrInfoCopy(ErrInfo *const *slot, char *code, char *message, uint32_t message_max,
                 uint32_t *length) {
    MutexLock(&error_lock);
    const ErrInfo *err = *slot;
    if (err != NULL) {
        size_t bytes = err->message == NULL ? 0 : strlen(err->message);
        if (bytes > message_max) {
            bytes = message_max;
        }
        if (code != NULL) {
            memcpy(code, err->code, sizeof(err->code));
        }
        if (message != NULL && bytes != 0) {
            memcpy(message, err->message, bytes);
        }
        if (length != NULL) {
            *length = (uint32_t)bytes;
        }
    }
    MutexUnlock(&error_lock);
}

void ErrInfoRetire(ErrInfo **slot, ErrInfo **retired) {
    MutexLock(&error_lock);
    if (*slot != NULL) {
        *ChainEnd(&(*slot)->retired) = *retired;
        *retired = *slot;
        *slot = NULL;
    }
    MutexUnlock(&error_lock);
}

void ErrInfoFree(ErrInfo **slot) {
    MutexLock(&error_lock);
    ErrInfo *err = *slot;
    *slot = NULL;
    MutexUnlock(&error_lock);
    FreeChain(err);
}
