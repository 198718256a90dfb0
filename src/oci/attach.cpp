// The link text and the attach that stores it in the native server.
#include <cstring>

#include "oci/handles.h"
#include "oci/session.h"
#include "platform/text.h"

constexpr size_t LINK_TEXT_BYTES = 128;    // with its terminator
constexpr size_t LINK_ADDRESS_BYTES = 16;  // with its terminator
constexpr size_t PORT_DIGITS_MAX = 5;

// A link text taken apart.
struct LinkParts {
    char address[LINK_ADDRESS_BYTES];  // may be empty
    int32_t port;                      // up to 99999
    char database[LINK_TEXT_BYTES];    // may be empty
};

// The bytes from `text` to its end or to `stop`.
static size_t StretchBytes(const char *text, char stop) {
    size_t bytes = 0;
    while (text[bytes] != '\0' && text[bytes] != stop) {
        bytes++;
    }
    return bytes;
}

// Reads the digits of a port; none at all give 0.
static bool PortParse(const char *text, int32_t *port) {
    size_t bytes = StretchBytes(text, '/');
    if (bytes > PORT_DIGITS_MAX) return false;
    *port = 0;
    for (size_t i = 0; i < bytes; i++) {
        if (text[i] < '0' || text[i] > '9') return false;
        *port = *port * 10 + (text[i] - '0');
    }
    return true;
}

// Parses "address", with ":port" and "/database" behind it in either order, both optional. False
// when the port or the address cannot be one.
static bool LinkParse(const char *text, LinkParts *parts) {
    std::memset(parts, 0, sizeof(*parts));
    // Each mark is looked for in the whole text, so either may stand first.
    const char *colon = std::strchr(text, ':');
    const char *slash = std::strchr(text, '/');
    if (!PortParse(colon != NULL ? colon + 1 : "5138", &parts->port)) return false;
    if (slash != NULL) {
        TextCopyBytes(parts->database, sizeof(parts->database), slash + 1,
                      StretchBytes(slash + 1, ':'));
    } else {
        TextCopy(parts->database, sizeof(parts->database), "SYSTEM");
    }
    size_t address_bytes = std::strcspn(text, ":/");
    return TextCopyBytes(parts->address, sizeof(parts->address), text, address_bytes);
}

int32_t OciServerAttach(OCIServer *srvhp, OCIError *errhp, const OCIText *dblink,
                        int32_t dblink_len, uint32_t mode) {
    (void)mode;
    if (errhp == NULL) return OCI_INVALID_HANDLE;
    if (srvhp == NULL) return ErrorFail(errhp, "Parameter srvhp is NULL.", OCI_INVALID_HANDLE);
    if (dblink == NULL) return ErrorFail(errhp, "Parameter dblink is NULL.", OCI_ERROR);
    size_t bytes =
        dblink_len < 1 ? strnlen((const char *)dblink, LINK_TEXT_BYTES) : (size_t)dblink_len;
    char text[LINK_TEXT_BYTES];
    if (bytes >= sizeof(text)) {
        return ErrorFail(errhp, "Parameter dblink_len is invalid.", OCI_ERROR);
    }
    std::memcpy(text, dblink, bytes);
    text[bytes] = '\0';
    LinkParts parts;
    if (!LinkParse(text, &parts)) {
        return ErrorFail(errhp, "The format of parameter dblink is invalid.", OCI_ERROR);
    }
    // What the native layer refuses shows when the connection is opened.
    TVCIAttrSet(srvhp->native_server, 21, parts.address, -1);
    TVCIAttrSet(srvhp->native_server, 22, &parts.port, -1);
    TVCIAttrSet(srvhp->native_server, 24, parts.database, -1);
    return OCI_SUCCESS;
}

int32_t OciServerDetach(OCIServer *srvhp, OCIError *errhp, uint32_t mode) {
    (void)mode;
    return srvhp == NULL || errhp == NULL ? OCI_INVALID_HANDLE : OCI_SUCCESS;
}
