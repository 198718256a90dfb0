// Large value locators: reading the holder in pieces, and staging pieces for it.
#include "oci/lob.h"

#include <cstring>

#include "oci/handles.h"
#include "oci/record_links.h"
#include "platform/memory.h"

static const char less_data_text[] =
    "While writing into a LOB, less data was provided than indicated.";
static const char more_data_text[] =
    "While writing into a LOB, more data was provided than indicated.";
static const char bad_piece_text[] = "The piece info is invalid.";

// A callback that reads, with its buffer.
struct ReadTarget {
    uint8_t *bufp;
    uint32_t bufl;
    uint32_t *amtp;
    void *ctxp;
    OCILobReadFunc cbfp;
};

// One write call; the callback may change `buflen` and `piece`.
struct WriteSource {
    const uint8_t *bufp;
    uint32_t buflen;
    uint32_t *amtp;
    uint64_t pad;
    uint8_t piece;
};

int32_t OciLobCreateTemporary(OCISvcCtx *svchp, OCIError *errhp, OCILobLocator *locp, uint16_t csid,
                              uint8_t csfrm, uint8_t lobtype, int32_t cache, uint16_t duration) {
    (void)svchp;
    (void)errhp;
    (void)locp;
    (void)csid;
    (void)csfrm;
    (void)lobtype;
    (void)cache;
    (void)duration;
    return OCI_SUCCESS;
}

// The bytes of the value that the locator can be read for: those of its staging buffer, or those of
// the holder while it still holds what the last callback read found.
static uint32_t ReadableBytes(OCILobLocator *locp) {
    if (locp->data == NULL) return 0;
    if (locp->staging) return locp->length;
    const LobRecord *lob = LobHolder(locp);
    if (lob->data == NULL || (int64_t)locp->length != lob->length) return 0;
    bool same = locp->data == lob->data || (lob->remote && locp->data == lob->data + 1);
    return same ? locp->length : 0;
}

// Without a callback only what the locator has at hand is delivered; the offset plays no part.
static int32_t ReadAtHand(OCILobLocator *locp, const ReadTarget *target) {
    uint32_t bytes = ReadableBytes(locp);
    uint32_t amount = target->bufl >= bytes ? bytes : target->bufl;
    if (amount > 0) {
        std::memcpy(target->bufp, locp->data + (bytes - amount), amount);
    }
    *target->amtp = amount;
    return OCI_SUCCESS;
}

// Delivers one piece that starts at `offset`; false when the callback does not want more. `last`
// delivers what is left of the value.
static bool DeliverPiece(OCILobLocator *locp, const ReadTarget *target, uint64_t offset,
                         uint8_t piece) {
    uint64_t bytes = ReadableBytes(locp);
    uint64_t left = offset < bytes ? bytes - offset : 0;
    uint32_t amount = left < target->bufl ? (uint32_t)left : target->bufl;
    if (amount > 0) {
        std::memcpy(target->bufp, locp->data + offset, amount);
    }
    locp->position = piece == OCI_LAST_PIECE ? locp->length : (uint32_t)(offset + amount);
    *target->amtp = amount;
    return target->cbfp(target->ctxp, target->bufp, amount, piece) == OCI_CONTINUE;
}

static int32_t ReadByCallback(OCILobLocator *locp, const ReadTarget *target, uint64_t offset) {
    LobStagingLose(locp);
    int32_t length = 0;
    void *data = NULL;
    TVCILobGet(LobHolder(locp), &length, &data);
    locp->data = (uint8_t *)data;
    locp->length = length > 0 ? (uint32_t)length : 0;
    if (offset + target->bufl >= ReadableBytes(locp)) {
        return DeliverPiece(locp, target, offset, OCI_LAST_PIECE) ? OCI_SUCCESS : OCI_ERROR;
    }
    bool more = DeliverPiece(locp, target, offset, OCI_FIRST_PIECE);
    while (more && (uint64_t)locp->position + target->bufl < ReadableBytes(locp)) {
        more = DeliverPiece(locp, target, locp->position, OCI_NEXT_PIECE);
    }
    if (!more) {
        *target->amtp = locp->position;
        return OCI_ERROR;
    }
    bool wanted = DeliverPiece(locp, target, locp->position, OCI_LAST_PIECE);
    *target->amtp = locp->length;
    return wanted ? OCI_SUCCESS : OCI_ERROR;
}

int32_t OciLobRead(OCISvcCtx *svchp, OCIError *errhp, OCILobLocator *locp, uint32_t *amtp,
                   uint32_t offset, void *bufp, uint32_t bufl, void *ctxp, OCILobReadFunc cbfp,
                   uint16_t csid, uint8_t csfrm) {
    (void)csid;
    (void)csfrm;
    if (svchp == NULL || errhp == NULL || locp == NULL) return OCI_INVALID_HANDLE;
    uint32_t amt = 0;
    if (offset == 0) {
        return ErrorFail(errhp, "Parameter offset must be greater than zero.", OCI_ERROR);
    }
    if (bufp == NULL) return ErrorFail(errhp, "Parameter bufp is invalid.", OCI_ERROR);
    if (bufl == 0) {
        return ErrorFail(errhp, "Parameter bufl must be greater than zero.", OCI_ERROR);
    }
    ReadTarget target = {(uint8_t *)bufp, bufl, amtp != NULL ? amtp : &amt, ctxp, cbfp};
    if (cbfp == NULL) return ReadAtHand(locp, &target);
    return ReadByCallback(locp, &target, (uint64_t)offset - 1);
}

// A staging buffer stands behind a link, by which the environment keeps it once it is lost.
static uint8_t *StagingAlloc(uint64_t bytes) {
    if (bytes > UINT32_MAX) return NULL;
    LostBlock *block = (LostBlock *)MemAlloc(sizeof(LostBlock) + (size_t)bytes);
    return block != NULL ? (uint8_t *)(block + 1) : NULL;
}

static LostBlock *StagingBlock(const OCILobLocator *locp) {
    return (LostBlock *)(void *)locp->data - 1;
}

void LobStagingLose(OCILobLocator *locp) {
    if (!locp->staging) return;
    EnvKeepBlock(RecordEnv(&locp->link), StagingBlock(locp));
    locp->data = NULL;
    locp->staging = 0;
}

static void MarkDirty(OCISvcCtx *svchp) {
    OCIStmt *stmt = (OCIStmt *)NameRecord(&svchp->stmt);
    if (stmt != NULL) {
        stmt->lob_dirty = 1;
    }
}

// Stores the staged value in the holder.
static void StagingFinish(OCISvcCtx *svchp, OCILobLocator *locp, uint32_t *amtp) {
    TVCILobWrite(locp->native_lob, (int32_t)locp->length, locp->data);
    MemFree(StagingBlock(locp));
    locp->staging = 0;
    locp->data = NULL;
    locp->position = 0;
    *amtp = locp->length;
    MarkDirty(svchp);
}

static int32_t WriteOnePiece(OCISvcCtx *svchp, OCIError *errhp, OCILobLocator *locp,
                             const WriteSource *source) {
    uint32_t amount = *source->amtp;
    if (source->buflen < amount) return ErrorFail(errhp, less_data_text, OCI_ERROR);
    uint64_t total = source->pad + amount;
    if (total > UINT32_MAX) return OCI_ERROR;
    uint8_t *value = (uint8_t *)MemAlloc((size_t)total);
    if (value == NULL) return OCI_ERROR;
    std::memcpy(value + source->pad, source->bufp, amount);
    // What the locator pointed to is the value's older form.
    LobStagingLose(locp);
    locp->data = NULL;
    locp->length = (uint32_t)total;
    TVCILobWrite(locp->native_lob, (int32_t)locp->length, value);
    MemFree(value);
    MarkDirty(svchp);
    return OCI_SUCCESS;
}

// Copies the piece to `offset` of the staging buffer, cut to what fits.
static void StagingPut(OCILobLocator *locp, uint64_t offset, const WriteSource *source) {
    if (offset >= locp->length) return;
    uint64_t room = locp->length - offset;
    std::memcpy(locp->data + offset, source->bufp, source->buflen < room ? source->buflen : room);
}

static int32_t StagingStart(OCILobLocator *locp, const WriteSource *source) {
    uint64_t total = source->pad + *source->amtp;
    uint8_t *staging = StagingAlloc(total);
    if (staging == NULL) return OCI_ERROR;
    LobStagingLose(locp);
    locp->data = staging;
    locp->staging = 1;
    locp->length = (uint32_t)total;
    StagingPut(locp, source->pad, source);
    uint64_t position = source->pad + source->buflen;
    locp->position = position < UINT32_MAX ? (uint32_t)position : UINT32_MAX;
    *source->amtp = source->buflen;
    return OCI_SUCCESS;
}

// A piece that another follows; it must leave room for that. Where a length was left by another use
// of the locator, be it in the callback that provides the pieces, there is no staging buffer.
static int32_t StagingNext(OCIError *errhp, OCILobLocator *locp, const WriteSource *source) {
    uint64_t end = (uint64_t)locp->position + source->buflen;
    if (end >= locp->length) return ErrorFail(errhp, more_data_text, OCI_ERROR);
    if (!locp->staging) return ErrorFail(errhp, bad_piece_text, OCI_ERROR);
    StagingPut(locp, locp->position, source);
    locp->position = (uint32_t)end;
    return OCI_SUCCESS;
}

static int32_t StagingLast(OCIError *errhp, OCILobLocator *locp, const WriteSource *source) {
    uint64_t end = (uint64_t)locp->position + source->buflen;
    if (end < locp->length) return ErrorFail(errhp, less_data_text, OCI_ERROR);
    if (!locp->staging) return ErrorFail(errhp, bad_piece_text, OCI_ERROR);
    StagingPut(locp, locp->position, source);
    return OCI_SUCCESS;
}

// All pieces come from the callback. One that stops early commits what it has.
static int32_t WriteByCallback(OCISvcCtx *svchp, OCIError *errhp, OCILobLocator *locp,
                               WriteSource *source, void *ctxp, OCILobWriteFunc cbfp) {
    if (StagingStart(locp, source) != OCI_SUCCESS) return OCI_ERROR;
    int32_t answer;
    do {
        answer = cbfp(ctxp, const_cast<uint8_t *>(source->bufp), &source->buflen, &source->piece);
        if (source->piece != OCI_NEXT_PIECE && source->piece != OCI_LAST_PIECE) {
            return ErrorFail(errhp, "Parameter piece is invalid.", OCI_ERROR);
        }
        int32_t result = source->piece == OCI_NEXT_PIECE ? StagingNext(errhp, locp, source)
                                                         : StagingLast(errhp, locp, source);
        if (result != OCI_SUCCESS) return result;
    } while (answer == OCI_CONTINUE && source->piece == OCI_NEXT_PIECE);
    StagingFinish(svchp, locp, source->amtp);
    return OCI_SUCCESS;
}

// The application calls once for each piece.
static int32_t WriteByCalls(OCISvcCtx *svchp, OCIError *errhp, OCILobLocator *locp,
                            const WriteSource *source) {
    if (source->piece == OCI_FIRST_PIECE) {
        int32_t result = StagingStart(locp, source);
        return result == OCI_SUCCESS ? OCI_NEED_DATA : result;
    }
    if (locp->length == 0) return ErrorFail(errhp, bad_piece_text, OCI_ERROR);
    if (source->piece == OCI_NEXT_PIECE) {
        int32_t result = StagingNext(errhp, locp, source);
        if (result != OCI_SUCCESS) return result;
        *source->amtp = source->buflen;
        return OCI_NEED_DATA;
    }
    int32_t result = StagingLast(errhp, locp, source);
    if (result != OCI_SUCCESS) return result;
    StagingFinish(svchp, locp, source->amtp);
    locp->length = 0;
    return OCI_SUCCESS;
}

int32_t OciLobWrite(OCISvcCtx *svchp, OCIError *errhp, OCILobLocator *locp, uint32_t *amtp,
                    uint32_t offset, void *bufp, uint32_t buflen, uint8_t piece, void *ctxp,
                    OCILobWriteFunc cbfp, uint16_t csid, uint8_t csfrm) {
    (void)csid;
    (void)csfrm;
    if (errhp == NULL || svchp == NULL || locp == NULL) return OCI_INVALID_HANDLE;
    if (amtp == NULL || *amtp == 0) {
        return ErrorFail(errhp, "Parameter amtp is invalid.", OCI_ERROR);
    }
    if (offset == 0) return ErrorFail(errhp, "Parameter offset is invalid.", OCI_ERROR);
    if (bufp == NULL) return ErrorFail(errhp, "Parameter bufp is invalid.", OCI_ERROR);
    if (buflen == 0) return ErrorFail(errhp, "Parameter buflen is invalid.", OCI_ERROR);
    if (piece > OCI_LAST_PIECE) {
        return ErrorFail(errhp, "Parameter piece is invalid.", OCI_ERROR);
    }
    WriteSource source = {(const uint8_t *)bufp, buflen, amtp, (uint64_t)offset - 1, piece};
    if (piece == OCI_ONE_PIECE) return WriteOnePiece(svchp, errhp, locp, &source);
    if (cbfp != NULL) return WriteByCallback(svchp, errhp, locp, &source, ctxp, cbfp);
    return WriteByCalls(svchp, errhp, locp, &source);
}
