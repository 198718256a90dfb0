// The failover list of a server. Its nodes and the address that it leads to are reached under the
// server's mutex, which is never held over a connect, so that a session that drops a dead address
// does not free it under another one.
#include "wire/server_list.h"

#include "platform/memory.h"
#include "wire/connection.h"

// Walks `steps` nodes from the head, or to the last node.
static IpNode *NodeAt(IpNode *head, int32_t steps) {
    IpNode *node = head;
    for (; steps > 0 && node->next != NULL; steps--) {
        node = node->next;
    }
    return node;
}

// A list may have been set without an address in it: that counts as none.
static bool HasList(const TVCIServer *server) {
    return server->has_ip_list != 0 && server->ip_list != NULL;
}

uint32_t ServerListSelect(TVCIServer *server) {
    MutexLock(&server->mutex);
    uint32_t selected = server->ip;
    if (HasList(server)) {
        int32_t next = (server->ip_position + 1) % server->ip_list->count;
        const IpNode *node = NodeAt(server->ip_list, next);
        server->ip = node->addr;
        server->ip_position = node->position;
    }
    MutexUnlock(&server->mutex);
    return selected;
}

uint32_t ServerListCurrent(TVCIServer *server) {
    MutexLock(&server->mutex);
    uint32_t current = server->ip;
    MutexUnlock(&server->mutex);
    return current;
}

// Removes every node of the failed address but the last one of the list, and moves the positions
// behind it up. Returns the addresses that are left; 0 leaves the last node in place, its `count`
// as it was.
static int32_t DropAddress(TVCIServer *server, uint32_t failed) {
    int32_t count = server->ip_list->count;
    int32_t removed = 0;
    IpNode *previous = server->ip_list;
    IpNode *node = server->ip_list;
    while (node != NULL) {
        IpNode *next = node->next;
        if (node->addr != failed) {
            node->position -= removed;
            previous = node;
        } else if (node != server->ip_list) {
            count--;
            server->ip_list->count--;
            removed++;
            previous->next = next;
            MemFree(node);
        } else {
            count--;
            removed++;
            if (next == NULL) break;
            next->count = count;
            server->ip_list = next;
            previous = next;
            MemFree(node);
        }
        node = next;
    }
    return count;
}

// Drops the address that failed and puts the next one to try into `conn`. False when none is left.
static bool FailOver(TVCIServer *server, Connection *conn) {
    int32_t index = server->ip_position - 1;
    if (index < 0) {
        index += server->ip_list->count;
    }
    int32_t count = DropAddress(server, conn->ip);
    if (count < 1) return false;
    if (index < count) {
        const IpNode *node = NodeAt(server->ip_list, index);
        server->ip_position = node->position;
        conn->ip = node->addr;
    } else {
        server->ip_position = 0;
        conn->ip = server->ip_list->addr;
    }
    return true;
}

bool ServerListConnect(TVCIServer *server, Connection *conn) {
    while (!ConnOpenSocket(conn)) {
        MutexLock(&server->mutex);
        bool another = HasList(server) && FailOver(server, conn);
        MutexUnlock(&server->mutex);
        if (!another) return false;
    }
    return true;
}

void ServerListFree(TVCIServer *server) {
    while (server->ip_list != NULL) {
        IpNode *node = server->ip_list;
        server->ip_list = node->next;
        MemFree(node);
    }
    server->has_ip_list = 0;
    server->ip_position = 0;
}
