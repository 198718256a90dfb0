// Native handles that talk to development servers which the test has started.
#include "live/live_rig.h"

// Ports are tried until all three servers of a trio can have the one that the first was given.
constexpr int PORT_ATTEMPTS = 50;

static const char *const TRIO_ADDRESSES[] = {"127.0.0.1", "127.0.0.2", "127.0.0.3"};

LiveClient::LiveClient(uint16_t port, const char *address) : port_(port) {
    EXPECT_EQ(0, TVCIHandleAlloc(nullptr, (void **)&env, TVCI_HTYPE_ENV));
    MakeServer(address);
}

LiveClient::~LiveClient() {
    EXPECT_EQ(0, TVCIHandleFree(env));
}

void LiveClient::MakeServer(const char *address) {
    uint32_t port = port_;
    EXPECT_EQ(0, TVCIHandleAlloc(env, (void **)&server, TVCI_HTYPE_SERVER));
    EXPECT_EQ(0, TVCIAttrSet(server, 21, address, -1));
    EXPECT_EQ(0, TVCIAttrSet(server, 22, &port, -1));
    EXPECT_EQ(0, TVCIAttrSet(server, 24, "SYSTEM", -1));
}

void LiveClient::UsePool() {
    uint32_t on = 1;
    EXPECT_EQ(0, TVCIHandleFree(server));
    EXPECT_EQ(0, TVCIAttrSet(env, 2, &on, -1));
    MakeServer("127.0.0.1");
}

void LiveClient::UseList(const char *addresses, int32_t first_position) {
    // Each list of a process begins one address further on than the one before.
    do {
        EXPECT_EQ(0, TVCIHandleFree(server));
        MakeServer("127.0.0.1");
        ASSERT_EQ(0, TVCIAttrSet(server, 28, addresses, -1));
    } while (server->ip_position != first_position);
}

void LiveClient::UseCipher() {
    enciphered_ = true;
}

TVCISession *LiveClient::NewSession() {
    TVCISession *session = nullptr;
    EXPECT_EQ(0, TVCIHandleAlloc(server, (void **)&session, TVCI_HTYPE_SESSION));
    if (enciphered_) {
        uint32_t on = 1;
        EXPECT_EQ(0, TVCIAttrSet(session, 37, &on, -1));
    }
    return session;
}

TVCISession *LiveClient::Connected() {
    TVCISession *session = NewSession();
    EXPECT_EQ(0, Connect(session)) << ErrorOf(session);
    return session;
}

std::string LiveClient::List() {
    std::string text;
    for (const IpNode *node = server->ip_list; node != nullptr; node = node->next) {
        text += std::string(node->text) + "@" + std::to_string(node->position) + " ";
    }
    return text + "count " + std::to_string(server->ip_list->count);
}

int32_t Connect(TVCISession *session, const char *password) {
    return TVCIConnect(session, "SYSDBA", password);
}

static TVCIStmt *NewStmt(TVCISession *session) {
    TVCIStmt *stmt = nullptr;
    EXPECT_EQ(0, TVCIHandleAlloc(session, (void **)&stmt, TVCI_HTYPE_STMT));
    return stmt;
}

int32_t RunText(TVCISession *session, const std::string &sql) {
    TVCIStmt *stmt = NewStmt(session);
    const int32_t result = TVCIExecDirect(stmt, sql.c_str(), -1);
    EXPECT_EQ(0, TVCIHandleFree(stmt));
    return result;
}

std::string Ask(TVCISession *session, const std::string &sql) {
    TVCIStmt *stmt = NewStmt(session);
    char text[64] = "";
    std::string answer;
    const int32_t result = TVCIExecDirect(stmt, sql.c_str(), -1);
    if (result != 0) {
        answer = "(" + std::to_string(result) + ")";
    } else if (TVCIFetch(stmt) != 0) {
        answer = "(no row)";
    } else {
        EXPECT_EQ(0, TVCIGetData(stmt, 1, TVCI_C_CHAR, text, sizeof text, nullptr));
        answer = text;
    }
    EXPECT_EQ(0, TVCIHandleFree(stmt));
    return answer;
}

std::string ErrorOf(void *handle) {
    char code[32] = "";
    char message[513] = "";
    uint32_t length = 0;
    EXPECT_EQ(0, TVCIGetError(handle, code, message, &length));
    return std::string(code) + ": " + std::string(message, length);
}

Trio::Trio(const std::vector<std::string> &options) : options_(options) {
    for (int attempt = 0; attempt < PORT_ATTEMPTS && !TryStart(options); attempt++) {
        servers_.clear();
    }
    if (servers_.size() != 3) {
        ADD_FAILURE() << "no port that is free on all three addresses";
        return;
    }
    for (int i = 0; i < 3; i++) {
        LiveClient client(port(), TRIO_ADDRESSES[i]);
        TVCISession *session = client.Connected();
        EXPECT_EQ(0, RunText(session, "create table WHO (NAME char(1))"));
        EXPECT_EQ(0, RunText(session, std::string("insert into WHO values ('") + "ABC"[i] + "')"));
    }
}

bool Trio::TryStart(const std::vector<std::string> &options) {
    for (const char *address : TRIO_ADDRESSES) {
        const uint16_t port = servers_.empty() ? (uint16_t)0 : servers_.front().port();
        servers_.emplace_back(address, port, options);
        if (!servers_.back().Listens()) return false;
    }
    return true;
}

uint16_t Trio::port() const {
    return servers_.front().port();
}

void Trio::Kill(char name) {
    servers_[(size_t)(name - 'A')].Kill();
}

void Trio::Restart(char name) {
    servers_[(size_t)(name - 'A')].Restart(options_);
}

std::string Who(TVCISession *session) {
    return Ask(session, "select NAME from WHO");
}
