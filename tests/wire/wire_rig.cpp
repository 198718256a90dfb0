// What the tests of one connection share.
#include "wire/wire_rig.h"

#include <algorithm>
#include <cstring>

#include "diag/error.h"
#include "platform/memory.h"
#include "platform/socket.h"
#include "platform/text.h"
#include "support/scripted_peer.h"
#include "tavu/tvci.h"
#include "wire/connection.h"
#include "wire/server_list.h"

ConnRig::ConnRig() : conn((Connection *)MemAlloc(sizeof(Connection))) {
    swap_bytes = 1;
    ConnInit(conn);
}

ConnRig::~ConnRig() {
    ConnFree(conn);
    MemFree(conn);
}

static PlayedSocket *played = nullptr;

static int64_t PlaySend(SocketId, const void *bytes, size_t count) {
    const uint8_t *first = (const uint8_t *)bytes;
    played->sent.emplace_back(first, first + count);
    if (played->send_results.empty()) return (int64_t)count;
    const int64_t result = played->send_results.front();
    played->send_results.erase(played->send_results.begin());
    return result;
}

static int64_t PlayReceive(SocketId, void *bytes, size_t count) {
    played->receive_counts.push_back(count);
    if (played->pieces.empty()) return played->receive_end;
    Bytes &piece = played->pieces.front();
    const size_t given = std::min(count, piece.size());
    std::copy_n(piece.begin(), given, (uint8_t *)bytes);
    piece.erase(piece.begin(), piece.begin() + (ptrdiff_t)given);
    if (piece.empty()) {
        played->pieces.erase(played->pieces.begin());
    }
    return (int64_t)given;
}

PlayedSocket::PlayedSocket() {
    played = this;
    SocketSetHooks(PlaySend, PlayReceive);
}

PlayedSocket::~PlayedSocket() {
    SocketSetHooks(nullptr, nullptr);
    played = nullptr;
}

void PlayedSocket::Arrive(const Bytes &bytes, std::initializer_list<size_t> cuts) {
    size_t start = 0;
    for (const size_t cut : cuts) {
        pieces.emplace_back(bytes.begin() + (ptrdiff_t)start, bytes.begin() + (ptrdiff_t)cut);
        start = cut;
    }
    pieces.emplace_back(bytes.begin() + (ptrdiff_t)start, bytes.end());
}

void SetUpSession(TVCISession *session, TVCIServer *server) {
    session->type = TVCI_HTYPE_SESSION;
    ListInit(&session->stmts);
    MutexInit(&session->mutex);
    session->server = server;
    ConnAttrInit(&session->attr);
}

void TearDownSession(TVCISession *session) {
    TVCIDisconnect(session);
    ErrInfoFree(&session->error);
    ErrInfoFree(&session->retired);
    MutexDestroy(&session->mutex);
}

SessionRig::SessionRig(uint16_t port) {
    swap_bytes = 1;
    server.type = TVCI_HTYPE_SERVER;
    ListInit(&server.sessions);
    MutexInit(&server.mutex);
    server.ip = NetAddressFromText("127.0.0.1");
    server.port = port;
    TextCopy(server.database, sizeof(server.database), "SYSTEM");
    SetUpSession(&session, &server);
}

SessionRig::~SessionRig() {
    TearDownSession(&session);
    ServerListFree(&server);
    MutexDestroy(&server.mutex);
}

void SessionRig::AddAddress(const char *text) {
    IpNode *node = (IpNode *)MemAlloc(sizeof(IpNode));
    TextCopy(node->text, sizeof(node->text), text);
    node->addr = NetAddressFromText(text);
    server.has_ip_list = 1;
    IpNode **end = &server.ip_list;
    while (*end != nullptr) {
        end = &(*end)->next;
        node->position++;
    }
    *end = node;
    server.ip_list->count = node->position + 1;
}

std::string SessionRig::ListText() const {
    if (server.ip_list == nullptr) return "none";
    std::string text;
    for (const IpNode *node = server.ip_list; node != nullptr; node = node->next) {
        text += std::string(node->text) + "@" + std::to_string(node->position) + " ";
    }
    return text + "count " + std::to_string(server.ip_list->count);
}

std::string ErrorText(ErrInfo *const *slot) {
    if (!ErrInfoPresent(slot)) return "";
    char code[7];
    char message[1024];
    uint32_t message_bytes = 0;
    ErrInfoCopy(slot, code, message, sizeof(message), &message_bytes);
    return std::string(code) + ": " + std::string(message, message_bytes);
}

uint16_t PortOfNobody() {
    ScriptedPeer gone;
    return gone.port();
}

Bytes Unsent(const Connection *conn) {
    return Bytes(conn->send_buf, conn->send_buf + conn->send_fill);
}
