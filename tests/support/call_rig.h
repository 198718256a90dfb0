// Handles of the call interface that point at a scripted peer, through the exported functions
// alone.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "support/scripted_peer.h"
#include "tavu/oci.h"

// What a session of the call interface sends to log on: auto commit off, rowids returned.
inline std::string CallLoginText(const std::string &user, const std::string &password,
                                 const std::string &database = "SYSTEM",
                                 const std::string &char_set = "GBK") {
    return "login database = " + database + " user='" + user + "' password='" + password +
           "' encryptor = '' char_set = '" + char_set +
           "' time_zone = 'GTM+08:00' iso_level = '2' auto_commit = 'off' return_rowid=true "
           "version = '301'";
}

inline const OCIText *Text(const char *text) {
    return reinterpret_cast<const OCIText *>(text);
}

// What an error handle or an environment says.
inline std::string ErrorOf(void *handle, uint32_t type = OCI_HTYPE_ERROR) {
    OCIText text[512];
    memset(text, 0x5A, sizeof(text));
    EXPECT_EQ(OCI_SUCCESS, OCIErrorGet(handle, 1, nullptr, nullptr, text, sizeof(text), type));
    return reinterpret_cast<const char *>(text);
}

template <typename Record>
Record *NewHandle(OCIEnv *env, uint32_t type) {
    void *handle = nullptr;
    EXPECT_EQ(OCI_SUCCESS, OCIHandleAlloc(env, &handle, type, 0, nullptr));
    return static_cast<Record *>(handle);
}

struct CallRig {
    ScriptedPeer peer;
    OCIEnv *env = nullptr;
    OCIError *err = nullptr;
    OCISvcCtx *svc = nullptr;

    CallRig() {
        EXPECT_EQ(OCI_SUCCESS,
                  OCIEnvCreate(&env, 0, nullptr, nullptr, nullptr, nullptr, 0, nullptr));
        err = NewHandle<OCIError>(env, OCI_HTYPE_ERROR);
    }

    ~CallRig() {
        EXPECT_TRUE(peer.Finish()) << peer.Failure();
        EXPECT_EQ(OCI_SUCCESS, OCIHandleFree(err, OCI_HTYPE_ERROR));
        EXPECT_EQ(OCI_SUCCESS, OCIHandleFree(env, OCI_HTYPE_ENV));
    }

    std::string Link(const std::string &database = "SYSTEM") const {
        return "127.0.0.1:" + std::to_string(peer.port()) + "/" + database;
    }

    // Scripts a login that is answered with `answer`.
    void ScriptLogin(const std::string &login_text, const char *answer = "'K'") {
        peer.Accept();
        peer.Expect(Ascii(login_text));
        peer.Send(Hex(answer));
    }

    // Scripts a command without parameters that is answered with `answer`.
    void ScriptCommand(const std::string &text, const char *answer = "'K'") {
        peer.Expect(Frame(text));
        peer.Send(Hex(answer));
    }

    int32_t Logon(const char *user, uint32_t user_bytes, const char *password,
                  uint32_t password_bytes) {
        std::string link = Link();
        return OCILogon(env, err, &svc, Text(user), user_bytes, Text(password), password_bytes,
                        Text(link.c_str()), 0);
    }

    // Scripts the login of scott with the password tiger, starts the peer and logs on.
    void Logon() {
        ScriptLogin(CallLoginText("scott", "tiger"));
        peer.Start();
        ASSERT_EQ(OCI_SUCCESS, Logon("scott", 5, "tiger", 5)) << ErrorOf(err);
    }

    std::string Error() const {
        return ErrorOf(err);
    }
};
