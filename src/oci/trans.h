// Transactions of the call interface.
#pragma once

#include "oci/records.h"

int32_t OciTransStart(OCISvcCtx *svchp, OCIError *errhp, uint32_t timeout, uint32_t flags);
int32_t OciTransCommit(OCISvcCtx *svchp, OCIError *errhp, uint32_t flags);
int32_t OciTransRollback(OCISvcCtx *svchp, OCIError *errhp, uint32_t flags);
int32_t OciTransDetach(OCISvcCtx *svchp, OCIError *errhp, uint32_t flags);
