// Attributes of a server: where it is, and the addresses that stand in for it.
#include <atomic>

#include "client/attributes.h"
#include "diag/error.h"
#include "platform/memory.h"
#include "platform/socket.h"
#include "platform/text.h"

enum ServerAttribute {
    SERVER_IP = 21,
    SERVER_PORT = 22,
    SERVER_HOST = 23,
    SERVER_DATABASE = 24,
    SERVER_ADDRESS_LIST = 28
};

// Picks the first address of each new list, so that the lists of one process begin at different
// servers.
static std::atomic<uint32_t> ip_round_robin;

// The address is stored before it is looked at: a bad one must not leave an older address in use.
static int32_t SetIp(TVCIServer *server, const char *text) {
    server->ip = NetAddressFromText(text);
    if (server->ip != NET_ADDRESS_NONE) return 0;
    ErrInfoRaise(server, "E32206", " this error-ip is %s ", text);
    return -1;
}

// The port is a 16-bit word, and 0 is stored before it is refused.
static int32_t SetPort(TVCIServer *server, const void *value) {
    memcpy(&server->port, value, sizeof(server->port));
    if (server->port != 0) return 0;
    ErrInfoRaise(server, "E32207", " the error-Port is %d ", server->port);
    return -1;
}

// The text is stored also when no host has that name; the address then stays as it was.
static int32_t SetHost(TVCIServer *server, const char *text) {
    int32_t result = 0;
    if (!NetResolve(text, &server->ip)) {
        ErrInfoRaise(server, "E32208", "  the URL is %s ", text);
        result = -1;
    }
    TextCopy(server->host, sizeof(server->host), text);
    return result;
}

static int32_t RefuseList(TVCIServer *server, const char *text) {
    ErrInfoRaise(server, "E32209", " the invalid-ipstr is %s ", text);
    return -1;
}

static int32_t RefuseAddress(TVCIServer *server, const char *text, size_t text_bytes) {
    ErrInfoRaise(server, "E32209", " the error-ip is %.*s ",
                 (int)(text_bytes < ERROR_DETAIL_BYTES ? text_bytes : ERROR_DETAIL_BYTES), text);
    return -1;
}

// Ends the current node of a list: its text must be an address.
static int32_t FinishNode(TVCIServer *server, IpNode *node) {
    uint32_t addr = NetAddressFromText(node->text);
    if (addr == NET_ADDRESS_NONE) return RefuseAddress(server, node->text, strlen(node->text));
    node->addr = addr;
    return 0;
}

// Makes the node behind `current`, or the head of the list when there is none yet.
static IpNode *AppendNode(TVCIServer *server, IpNode *current) {
    IpNode *node = (IpNode *)MemAlloc(sizeof(IpNode));
    if (node == NULL) return NULL;
    if (current == NULL) {
        server->ip_list = node;
    } else {
        node->position = current->position + 1;
        current->next = node;
    }
    server->ip_list->count++;
    return node;
}

static void SelectFirstAddress(TVCIServer *server) {
    uint32_t turn = ip_round_robin.fetch_add(1, std::memory_order_relaxed);
    const IpNode *node = server->ip_list;
    for (uint32_t left = turn % (uint32_t)node->count; left != 0; left--) {
        node = node->next;
    }
    server->ip = node->addr;
    server->ip_position = node->position;
}

// Where the walk through a list's text stands.
struct ListWalk {
    IpNode *current;      // NULL until the first character of an address
    size_t text_bytes;    // of the current address
    const char *address;  // where it begins in the text
};

static int32_t AddCharacter(TVCIServer *server, ListWalk *walk, const char *next) {
    if (*next == ' ') return 0;
    if (walk->current == NULL) {
        walk->current = AppendNode(server, NULL);
        if (walk->current == NULL) return -5;
    }
    if (walk->text_bytes == 0) {
        walk->address = next;
    }
    if (walk->text_bytes == IP_TEXT_BYTES - 1) {
        return RefuseAddress(server, walk->address, strcspn(walk->address, ",;"));
    }
    walk->current->text[walk->text_bytes++] = *next;
    return 0;
}

static int32_t EndAddress(TVCIServer *server, ListWalk *walk, const char *text) {
    if (walk->current == NULL) return RefuseList(server, text);
    int32_t result = FinishNode(server, walk->current);
    if (result != 0) return result;
    walk->current = AppendNode(server, walk->current);
    walk->text_bytes = 0;
    return walk->current == NULL ? -5 : 0;
}

// Builds the list from dotted addresses between commas, up to a semicolon or the end of the text;
// blanks are passed over. The nodes that a refused text has made stay, and a server that has nodes
// takes no second list.
static int32_t SetAddressList(TVCIServer *server, const char *text) {
    if (server->ip_list != NULL) return RefuseList(server, text);
    ListWalk walk = {};
    for (const char *next = text; *next != '\0' && *next != ';'; next++) {
        int32_t result =
            *next == ',' ? EndAddress(server, &walk, text) : AddCharacter(server, &walk, next);
        if (result != 0) return result;
    }
    if (walk.current != NULL) {
        int32_t result = FinishNode(server, walk.current);
        if (result != 0) return result;
        SelectFirstAddress(server);
    }
    server->has_ip_list = 1;
    return 0;
}

// Runs a setter on a terminated copy of a text value.
static int32_t SetFromText(TVCIServer *server, int32_t (*setter)(TVCIServer *, const char *),
                           const void *value, int32_t length) {
    char *text = MemCopyBytes(value, AttrTextBytes(value, length));
    if (text == NULL) return -5;
    int32_t result = setter(server, text);
    MemFree(text);
    return result;
}

int32_t ServerAttrSet(TVCIServer *server, int32_t attribute, const void *value, int32_t length) {
    switch (attribute) {
        case SERVER_IP: return SetFromText(server, SetIp, value, length);
        case SERVER_PORT: return SetPort(server, value);
        case SERVER_HOST: return SetFromText(server, SetHost, value, length);
        case SERVER_DATABASE:
            TextCopyBytes(server->database, sizeof(server->database), (const char *)value,
                          AttrTextBytes(value, length));
            return 0;
        case SERVER_ADDRESS_LIST: return SetFromText(server, SetAddressList, value, length);
        default: ErrInfoRaise(server, "E32205", " Unsupported attr-type %d ", attribute); return -6;
    }
}

static int32_t GetIp(const TVCIServer *server, void *value, int32_t length) {
    char text[IP_TEXT_BYTES];
    if (length == 0 || !NetAddressToText(server->ip, text, sizeof(text))) return -1;
    AttrTextGet(text, value, length);
    return 0;
}

int32_t ServerAttrGet(const TVCIServer *server, int32_t attribute, void *value, int32_t length) {
    switch (attribute) {
        case SERVER_IP: return GetIp(server, value, length);
        case SERVER_PORT: memcpy(value, &server->port, sizeof(server->port)); return 0;
        case SERVER_HOST: AttrTextGet(server->host, value, length); return 0;
        case SERVER_DATABASE: AttrTextGet(server->database, value, length); return 0;
        default: return -6;
    }
}
