// Environment, handles, user memory and the error handle of the call interface.
#pragma once

#include "oci/records.h"

int32_t OciInitialize(uint32_t mode, void *ctxp, OCIMallocFunc malocfp, OCIReallocFunc ralocfp,
                      OCIFreeFunc mfreefp);
int32_t OciTerminate(uint32_t mode);
int32_t OciEnvInit(OCIEnv **envhpp, uint32_t mode, size_t xtramemsz, void **usrmempp);
int32_t OciEnvCreate(OCIEnv **envhpp, uint32_t mode, void *ctxp, OCIMallocFunc malocfp,
                     OCIReallocFunc ralocfp, OCIFreeFunc mfreefp, size_t xtramemsz,
                     void **usrmempp);
int32_t OciHandleAlloc(const void *parenth, void **hndlpp, uint32_t type, size_t xtramem_sz,
                       void **usrmempp);
int32_t OciHandleFree(void *hndlp, uint32_t type);
int32_t OciDescriptorAlloc(const void *parenth, void **descpp, uint32_t type, size_t xtramem_sz,
                           void **usrmempp);
int32_t OciDescriptorFree(void *descp, uint32_t type);
int32_t OciErrorGet(void *hndlp, uint32_t recordno, OCIText *sqlstate, int32_t *errcodep,
                    OCIText *bufp, uint32_t bufsiz, uint32_t type);

// Writes a text of this layer into the error handle and names the handle itself as its source.
void ErrorText(OCIError *errhp, const char *text);
// ErrorText, and `code` back: for a check that fails.
int32_t ErrorFail(OCIError *errhp, const char *text, int32_t code);
// Names the handle from which a native error is to be read.
void ErrorFromSession(OCIError *errhp, OCISession *session);
void ErrorFromStmt(OCIError *errhp, OCIStmt *stmt);
// Source 8, no handle; the text stays.
void ErrorNoSource(OCIError *errhp);
// The same with an empty text.
void ErrorClear(OCIError *errhp);
// Reads the message of a native handle, which may be NULL or dead: "" when there is none. Ends the
// process for a message of ERROR_TEXT_BYTES or more.
void NativeErrorText(void *native, char message[ERROR_TEXT_BYTES]);

// The session that a service context names; NULL when it names none or a freed one.
OCISession *SvcSession(const OCISvcCtx *svchp);
// The native session of that session; NULL when there is none.
TVCISession *SvcNativeSession(const OCISvcCtx *svchp);
