// Attach, attributes, session and logon of the call interface.
#pragma once

#include "oci/records.h"

int32_t OciServerAttach(OCIServer *srvhp, OCIError *errhp, const OCIText *dblink,
                        int32_t dblink_len, uint32_t mode);
int32_t OciServerDetach(OCIServer *srvhp, OCIError *errhp, uint32_t mode);
int32_t OciAttrSet(void *trgthndlp, uint32_t trghndltyp, void *attributep, uint32_t size,
                   uint32_t attrtype, OCIError *errhp);
int32_t OciSessionBegin(OCISvcCtx *svchp, OCIError *errhp, OCISession *usrhp, uint32_t credt,
                        uint32_t mode);
int32_t OciSessionEnd(OCISvcCtx *svchp, OCIError *errhp, OCISession *usrhp, uint32_t mode);
int32_t OciLogon(OCIEnv *envhp, OCIError *errhp, OCISvcCtx **svchp, const OCIText *username,
                 uint32_t uname_len, const OCIText *password, uint32_t passwd_len,
                 const OCIText *dbname, uint32_t dbname_len);
int32_t OciLogoff(OCISvcCtx *svchp, OCIError *errhp);
int32_t OciServerVersion(void *hndlp, OCIError *errhp, OCIText *bufp, uint32_t bufsz,
                         uint8_t hndltype);
