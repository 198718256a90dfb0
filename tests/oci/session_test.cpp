// Attributes, session begin and end, logon, logoff and the server's version.
#include "oci/session.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "diag/error.h"
#include "oci/handles.h"
#include "support/call_rig.h"

// A chain of handles that points at the peer; nothing is connected.
struct SessionRig : CallRig {
    OCIServer *server = NULL;
    OCISession *session = NULL;

    SessionRig() {
        server = NewHandle<OCIServer>(env, OCI_HTYPE_SERVER);
        svc = NewHandle<OCISvcCtx>(env, OCI_HTYPE_SVCCTX);
        session = NewHandle<OCISession>(env, OCI_HTYPE_SESSION);
        EXPECT_EQ(0, OCIServerAttach(server, err, Text(Link().c_str()), 0, 0));
        SetUser("scott");
        SetPassword("tiger");
        EXPECT_EQ(0, OCIAttrSet(svc, OCI_HTYPE_SVCCTX, session, 0, OCI_ATTR_SESSION, err));
    }

    ~SessionRig() {
        OCIHandleFree(session, OCI_HTYPE_SESSION);
        OCIHandleFree(svc, OCI_HTYPE_SVCCTX);
        OCIHandleFree(server, OCI_HTYPE_SERVER);
    }

    int32_t SetAttribute(uint32_t attribute, const std::string &text, uint32_t size) {
        return OCIAttrSet(session, OCI_HTYPE_SESSION, const_cast<char *>(text.c_str()), size,
                          attribute, err);
    }
    void SetUser(const std::string &user) {
        EXPECT_EQ(0, SetAttribute(OCI_ATTR_USERNAME, user, (uint32_t)user.size()));
    }
    void SetPassword(const std::string &password) {
        EXPECT_EQ(0, SetAttribute(OCI_ATTR_PASSWORD, password, (uint32_t)password.size()));
    }

    void Begin() {
        ScriptLogin(CallLoginText("scott", "tiger"));
        peer.Start();
        ASSERT_EQ(0, OCISessionBegin(svc, err, session, 1, 0)) << Error();
    }
};

TEST(AttrSet, ChecksItsArgumentsInOrder) {
    SessionRig rig;
    EXPECT_EQ(-2, OCIAttrSet(NULL, 99, NULL, 0, 0, NULL));
    EXPECT_EQ(-2, OCIAttrSet(NULL, 99, NULL, 0, 0, rig.err));
    EXPECT_EQ("Parameter trgthndlp is NULL.", rig.Error());
    EXPECT_EQ(-2, OCIAttrSet(rig.svc, OCI_HTYPE_STMT, NULL, 0, 0, rig.err));
    EXPECT_EQ("Invalid handle type.", rig.Error());
}

TEST(AttrSet, ARecordOfAnotherTypeGivesMinus2AndNoText) {
    SessionRig rig;
    ErrorText(rig.err, "older");
    EXPECT_EQ(-2, OCIAttrSet(rig.session, OCI_HTYPE_SVCCTX, NULL, 0, 99, rig.err));
    EXPECT_EQ(-2, OCIAttrSet(rig.svc, OCI_HTYPE_SESSION, NULL, 999, 99, rig.err));
    EXPECT_EQ("older", rig.Error());
}

TEST(AttrSet, ServiceContextTakesServerSessionAndCharacterSet) {
    SessionRig rig;
    EXPECT_EQ(0, OCIAttrSet(rig.svc, OCI_HTYPE_SVCCTX, rig.server, 0, OCI_ATTR_SERVER, rig.err));
    EXPECT_EQ(rig.server, rig.svc->server);
    EXPECT_EQ(0, OCIAttrSet(rig.svc, OCI_HTYPE_SVCCTX, rig.session, 0, OCI_ATTR_SESSION, rig.err));
    EXPECT_EQ(rig.session, rig.svc->session);
    EXPECT_EQ(0, OCIAttrSet(rig.svc, OCI_HTYPE_SVCCTX, (void *)0x700000003, 0,
                            OCI_ATTR_CHARSET_CODE, rig.err));
    EXPECT_EQ(3u, rig.svc->charset) << "the low 32 bits of the pointer itself";
    EXPECT_EQ(-1, OCIAttrSet(rig.svc, OCI_HTYPE_SVCCTX, NULL, 0, OCI_ATTR_USERNAME, rig.err));
    EXPECT_EQ("Invalid attr type.", rig.Error());
}

TEST(AttrSet, AServiceContextKeepsAnyPointerAndFollowsOnlyALiveSession) {
    SessionRig rig;
    void *const odd[] = {NULL, (void *)0x5A, rig.server, rig.svc};
    for (void *pointer : odd) {
        EXPECT_EQ(0, OCIAttrSet(rig.svc, OCI_HTYPE_SVCCTX, pointer, 0, OCI_ATTR_SESSION, rig.err));
        EXPECT_EQ(pointer, (void *)rig.svc->session);
        EXPECT_EQ(nullptr, SvcSession(rig.svc));
        EXPECT_EQ(nullptr, SvcNativeSession(rig.svc));
    }
    EXPECT_EQ(0, OCIAttrSet(rig.svc, OCI_HTYPE_SVCCTX, rig.session, 0, OCI_ATTR_SESSION, rig.err));
    EXPECT_EQ(rig.session->native_session, SvcNativeSession(rig.svc));
}

TEST(AttrSet, ASizeAbove128IsRefusedBeforeTheAttribute) {
    SessionRig rig;
    std::string text(200, 'x');
    EXPECT_EQ(-1, rig.SetAttribute(99, text, 129));
    EXPECT_EQ("Invalid size value.", rig.Error());
    EXPECT_EQ(-1, rig.SetAttribute(OCI_ATTR_USERNAME, text, 0xFFFFFFFF));
    EXPECT_EQ("Invalid size value.", rig.Error());
    EXPECT_EQ(-1, rig.SetAttribute(99, text, 128));
    EXPECT_EQ("Invalid attr type.", rig.Error());
    EXPECT_STREQ("scott", rig.session->user);
}

TEST(AttrSet, AUserNameOfSize0IsEmptyAndAPasswordIsTakenAsAString) {
    SessionRig rig;
    EXPECT_EQ(0, rig.SetAttribute(OCI_ATTR_USERNAME, "someone", 0));
    EXPECT_STREQ("", rig.session->user);
    EXPECT_EQ(0, rig.SetAttribute(OCI_ATTR_PASSWORD, "secret", 0));
    EXPECT_STREQ("secret", rig.session->password);
    EXPECT_EQ(0, rig.SetAttribute(OCI_ATTR_PASSWORD, "secret", 3));
    EXPECT_STREQ("sec", rig.session->password);
    EXPECT_EQ(-1, rig.SetAttribute(OCI_ATTR_PASSWORD, std::string(129, 'p'), 0));
    EXPECT_EQ("Invalid size value.", rig.Error());
    EXPECT_STREQ("sec", rig.session->password);
}

TEST(AttrSet, ATextOf128BytesPutsItsTerminatorIntoTheNextField) {
    SessionRig rig;
    rig.session->logged_on = 1;
    EXPECT_EQ(0, rig.SetAttribute(OCI_ATTR_PASSWORD, std::string(128, 'p'), 0));
    EXPECT_EQ(0, memcmp(rig.session->password, std::string(128, 'p').data(), 128));
    EXPECT_EQ(0, rig.session->logged_on);
    rig.session->logged_on = 1;
    EXPECT_EQ(0, rig.SetAttribute(OCI_ATTR_PASSWORD, std::string(128, 'q'), 128));
    EXPECT_EQ(0, rig.session->logged_on);
    EXPECT_EQ(0, rig.SetAttribute(OCI_ATTR_USERNAME, std::string(128, 'u'), 128));
    EXPECT_EQ('\0', rig.session->password[0]);
    EXPECT_EQ('q', rig.session->password[1]);
}

TEST(AttrSet, ANullTextIsEmptyWithSize0AndRefusedOtherwise) {
    SessionRig rig;
    for (uint32_t attribute : {OCI_ATTR_USERNAME, OCI_ATTR_PASSWORD}) {
        EXPECT_EQ(-1, OCIAttrSet(rig.session, OCI_HTYPE_SESSION, NULL, 1, attribute, rig.err));
        EXPECT_EQ("Invalid size value.", rig.Error());
        EXPECT_EQ(0, OCIAttrSet(rig.session, OCI_HTYPE_SESSION, NULL, 0, attribute, rig.err));
    }
    EXPECT_STREQ("", rig.session->user);
    EXPECT_STREQ("", rig.session->password);
}

TEST(SessionBegin, ChecksItsArgumentsInOrder) {
    SessionRig rig;
    EXPECT_EQ(-2, OCISessionBegin(NULL, NULL, NULL, 1, 0));
    EXPECT_EQ(-2, OCISessionBegin(NULL, rig.err, NULL, 1, 0));
    EXPECT_EQ("Parameter svchp is NULL.", rig.Error());
    EXPECT_EQ(-2, OCISessionBegin(rig.svc, rig.err, NULL, 1, 0));
    EXPECT_EQ("Parameter usrhp is NULL.", rig.Error());
}

TEST(SessionBegin, SendsTheLoginOfASessionWithRowidsAndWithoutAutoCommit) {
    SessionRig rig;
    rig.peer.Accept();
    rig.peer.Expect(
        Hex("'login database = SYSTEM user=''scott'' password=''tiger'' encryptor = '''' "
            "char_set = ''GBK'' time_zone = ''GTM+08:00'' iso_level = ''2'' "
            "auto_commit = ''off'' return_rowid=true version = ''301'''"));
    rig.peer.Send(Hex("'K'"));
    rig.peer.Start();
    EXPECT_EQ(0, OCISessionBegin(rig.svc, rig.err, rig.session, 7, 99)) << rig.Error();
    EXPECT_EQ(1, rig.session->logged_on);
    EXPECT_EQ(3u, rig.err->source);
    EXPECT_EQ(rig.session, rig.err->source_handle.record);
    EXPECT_EQ(1, rig.env->native_env->version_minor);
    EXPECT_EQ(0, rig.env->native_env->version_major);
}

TEST(SessionBegin, ARefusalPutsTheServersTextIntoTheErrorHandle) {
    SessionRig rig;
    // An error of 26 bytes: the code in brackets, then the text.
    rig.ScriptLogin(CallLoginText("scott", "tiger"), "'E' 0000001A '[E18006]no such user scott'");
    rig.peer.Start();
    EXPECT_EQ(-1, OCISessionBegin(rig.svc, rig.err, rig.session, 1, 0));
    EXPECT_EQ(0, rig.session->logged_on);
    EXPECT_EQ(8u, rig.err->source);
    EXPECT_EQ("[E18006]no such user scott", rig.Error());
}

TEST(SessionBegin, AfterARefusalTheApplicationMayTryAgain) {
    SessionRig rig;
    rig.ScriptLogin(CallLoginText("scott", "tiger"), "'E' 00000008 '[E1]full'");
    rig.ScriptLogin(CallLoginText("scott", "tiger"));
    rig.peer.Start();
    EXPECT_EQ(-1, OCISessionBegin(rig.svc, rig.err, rig.session, 1, 0));
    EXPECT_EQ("[E1]full", rig.Error());
    EXPECT_EQ(0, OCISessionBegin(rig.svc, rig.err, rig.session, 1, 0));
    EXPECT_EQ(1, rig.session->logged_on);
}

TEST(SessionBegin, ASecondBeginOnALiveSessionPassesTheNativeRefusal) {
    SessionRig rig;
    rig.Begin();
    EXPECT_EQ(-1, OCISessionBegin(rig.svc, rig.err, rig.session, 1, 0));
    EXPECT_EQ("", rig.Error());
    EXPECT_EQ(1, rig.session->logged_on) << "begin neither tests nor clears it";
}

TEST(SessionBegin, APendingSessionGivesMinus2AndTheEmptyText) {
    CallRig rig;
    rig.peer.Start();
    OCISvcCtx *svc = NewHandle<OCISvcCtx>(rig.env, OCI_HTYPE_SVCCTX);
    OCISession *session = NewHandle<OCISession>(rig.env, OCI_HTYPE_SESSION);
    EXPECT_EQ(-2, OCISessionBegin(svc, rig.err, session, 1, 0));
    EXPECT_EQ("", rig.Error());
    EXPECT_EQ(-3, OCIHandleFree(session, OCI_HTYPE_SESSION));
    EXPECT_EQ(0, OCIHandleFree(svc, OCI_HTYPE_SVCCTX));
}

TEST(SessionBegin, NobodyListeningIsAFailureWithTheClientsText) {
    SessionRig rig;
    rig.peer.Start();
    // Port 0 was refused on the way, so nothing can be reached there.
    EXPECT_EQ(0, OCIServerAttach(rig.server, rig.err, Text("127.0.0.1:0"), 0, 0));
    EXPECT_EQ(-1, OCISessionBegin(rig.svc, rig.err, rig.session, 1, 0));
    EXPECT_NE("", rig.Error());
    EXPECT_EQ(0, rig.session->logged_on);
}

TEST(SessionBegin, AUserNameThatFillsItsFieldIsCutToWhatTheNativeSessionKeeps) {
    SessionRig rig;
    rig.SetUser(std::string(128, 'u'));
    rig.SetPassword(std::string(128, 'p'));
    rig.session->logged_on = 1;
    // The native session keeps 63 bytes of each.
    rig.ScriptLogin(CallLoginText(std::string(63, 'u'), std::string(63, 'p')));
    rig.peer.Start();
    EXPECT_EQ(0, OCISessionBegin(rig.svc, rig.err, rig.session, 1, 0)) << rig.Error();
}

TEST(SessionBeginDeathTest, AMessageOf512BytesEndsTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        {
            CallRig rig;
            OCISvcCtx *svc = NewHandle<OCISvcCtx>(rig.env, OCI_HTYPE_SVCCTX);
            OCIServer *server = NewHandle<OCIServer>(rig.env, OCI_HTYPE_SERVER);
            OCISession *session = NewHandle<OCISession>(rig.env, OCI_HTYPE_SESSION);
            OCIServerAttach(server, rig.err, Text(rig.Link().c_str()), 0, 0);
            rig.peer.Accept();
            rig.peer.Expect(Ascii(CallLoginText("", "")));
            rig.peer.Send(Hex("'E' 00000200") + Repeat(Hex("'m'"), 512));
            rig.peer.Start();
            OCISessionBegin(svc, rig.err, session, 1, 0);
        },
        "^$");
}

TEST(SessionEnd, ChecksItsArgumentsInOrder) {
    SessionRig rig;
    ErrorText(rig.err, "older");
    EXPECT_EQ(-2, OCISessionEnd(rig.svc, NULL, rig.session, 0));
    EXPECT_EQ(-2, OCISessionEnd(NULL, rig.err, rig.session, 0));
    EXPECT_EQ("older", rig.Error()) << "no text for a missing service context";
    EXPECT_EQ(-2, OCISessionEnd(rig.svc, rig.err, NULL, 0));
    EXPECT_EQ("Parameter usrhp is NULL.", rig.Error());
}

TEST(SessionEnd, OfASessionThatNeverBeganReturns0AndCommitsNothing) {
    SessionRig rig;
    rig.peer.Start();
    EXPECT_EQ(0, OCISessionEnd(rig.svc, rig.err, rig.session, 0));
    EXPECT_EQ(0u, rig.err->source);
}

TEST(SessionEnd, CommitsAndDisconnects) {
    SessionRig rig;
    rig.Begin();
    rig.peer.Expect(Hex("'?' 00000007 'COMMIT;' 00 00000000"));
    rig.peer.Send(Hex("'K'"));
    rig.peer.ExpectEnd();
    EXPECT_EQ(0, OCISessionEnd(rig.svc, rig.err, rig.session, 0));
    EXPECT_EQ(0, rig.session->logged_on);
    EXPECT_EQ(nullptr, rig.session->native_session->conn);
    EXPECT_EQ(0, OCISessionEnd(rig.svc, rig.err, rig.session, 0)) << "nothing is left to end";
}

TEST(SessionEnd, DropsTheResultOfTheCommit) {
    SessionRig rig;
    rig.Begin();
    rig.ScriptCommand("COMMIT;", "'E' 0000000C '[E13000]full' 'K'");
    EXPECT_EQ(0, OCISessionEnd(rig.svc, rig.err, rig.session, 0));
    EXPECT_EQ("[E13000]full", rig.Error());
}

TEST(Logon, ChecksItsArgumentsInOrder) {
    CallRig rig;
    rig.peer.Start();
    const OCIText *text = Text("x");
    EXPECT_EQ(-2, OCILogon(NULL, NULL, NULL, NULL, 0, NULL, 0, NULL, 0));
    EXPECT_EQ(-2, OCILogon(NULL, rig.err, NULL, NULL, 0, NULL, 0, NULL, 0));
    EXPECT_EQ("Parameter envhp is NULL.", rig.Error());
    EXPECT_EQ(-2, OCILogon(rig.env, rig.err, NULL, NULL, 0, NULL, 0, NULL, 0));
    EXPECT_EQ("Parameter svchp is NULL.", rig.Error());
    EXPECT_EQ(-1, OCILogon(rig.env, rig.err, &rig.svc, NULL, 0, NULL, 0, NULL, 0));
    EXPECT_EQ("Parameter username is NULL.", rig.Error());
    EXPECT_EQ(-1, OCILogon(rig.env, rig.err, &rig.svc, text, 0, NULL, 0, NULL, 0));
    EXPECT_EQ("Parameter password is NULL.", rig.Error());
    EXPECT_EQ(nullptr, rig.svc);
}

TEST(Logon, ALengthOf128IsRefusedForEachTextInTurn) {
    CallRig rig;
    rig.peer.Start();
    std::string text(200, 'x');
    const OCIText *any = Text(text.c_str());
    EXPECT_EQ(-1, OCILogon(rig.env, rig.err, &rig.svc, any, 128, any, 128, any, 128));
    EXPECT_EQ("Parameter uname_len is invalid.", rig.Error());
    EXPECT_EQ(-1, OCILogon(rig.env, rig.err, &rig.svc, any, 127, any, 128, any, 128));
    EXPECT_EQ("Parameter passwd_len is invalid.", rig.Error());
    EXPECT_EQ(-1, OCILogon(rig.env, rig.err, &rig.svc, any, 127, any, 127, any, 128));
    EXPECT_EQ("Parameter dbname_len is invalid.", rig.Error());
    EXPECT_EQ(nullptr, rig.svc);
}

TEST(Logon, ATextWithoutALengthThatDoesNotFitIsRefusedTheSameWay) {
    CallRig rig;
    rig.peer.Start();
    std::string text(200, 'x');
    const OCIText *any = Text(text.c_str());
    EXPECT_EQ(-1, OCILogon(rig.env, rig.err, &rig.svc, any, 0, any, 0, any, 0));
    EXPECT_EQ("Parameter uname_len is invalid.", rig.Error());
    EXPECT_EQ(-1, OCILogon(rig.env, rig.err, &rig.svc, Text("u"), 0, any, 0, any, 0));
    EXPECT_EQ("Parameter passwd_len is invalid.", rig.Error());
    EXPECT_EQ(-1, OCILogon(rig.env, rig.err, &rig.svc, Text("u"), 0, Text("p"), 0, any, 0));
    EXPECT_EQ("Parameter dbname_len is invalid.", rig.Error());
}

TEST(Logon, MakesTheChainAndLogoffCommitsAndFreesIt) {
    CallRig rig;
    rig.Logon();
    ASSERT_NE(nullptr, rig.svc);
    EXPECT_EQ(rig.env->server, rig.svc->server);
    EXPECT_EQ(rig.env->session, rig.svc->session);
    EXPECT_STREQ("scott", rig.svc->session->user);
    EXPECT_EQ(1, rig.svc->session->logged_on);
    rig.peer.Expect(Hex("'?' 00000007 'COMMIT;' 00 00000000"));
    rig.peer.Send(Hex("'K'"));
    rig.peer.ExpectEnd();
    EXPECT_EQ(0, OCILogoff(rig.svc, rig.err));
    EXPECT_EQ(nullptr, rig.env->svcctx.record);
}

TEST(Logon, UnameLen0ReachesTheServerWithAnEmptyUserName) {
    CallRig rig;
    rig.ScriptLogin(CallLoginText("", "tiger"));
    rig.peer.Start();
    EXPECT_EQ(0, rig.Logon("scott", 0, "tiger", 0)) << rig.Error();
    rig.ScriptCommand("COMMIT;");
    EXPECT_EQ(0, OCILogoff(rig.svc, rig.err));
}

TEST(Logon, LengthsCutTheTexts) {
    CallRig rig;
    rig.ScriptLogin(CallLoginText("sco", "tig"));
    rig.peer.Start();
    EXPECT_EQ(0, rig.Logon("scott", 3, "tiger", 3)) << rig.Error();
    rig.ScriptCommand("COMMIT;");
    EXPECT_EQ(0, OCILogoff(rig.svc, rig.err));
}

TEST(Logon, ABadLinkFreesTheServerAndLeavesTheServiceContext) {
    CallRig rig;
    rig.peer.Start();
    EXPECT_EQ(
        -1, OCILogon(rig.env, rig.err, &rig.svc, Text("u"), 1, Text("p"), 1, Text("1.2.3.4:x"), 0));
    EXPECT_EQ("The format of parameter dblink is invalid.", rig.Error());
    ASSERT_NE(nullptr, rig.svc);
    EXPECT_EQ(nullptr, rig.svc->server);
    EXPECT_NE(nullptr, rig.env->server) << "the link to the freed server stays";
    void *session = NULL;
    EXPECT_EQ(-1, OCIHandleAlloc(rig.env, &session, OCI_HTYPE_SESSION, 0, NULL));
    EXPECT_EQ(0, OCIHandleFree(rig.svc, OCI_HTYPE_SVCCTX));
}

TEST(Logon, ARefusedLoginLeavesTheServiceContextAndTheText) {
    CallRig rig;
    rig.ScriptLogin(CallLoginText("scott", "wrong"), "'E' 00000014 '[E18007]bad password'");
    rig.peer.Start();
    EXPECT_EQ(-1, rig.Logon("scott", 5, "wrong", 5));
    EXPECT_EQ("[E18007]bad password", rig.Error());
    ASSERT_NE(nullptr, rig.svc);
    EXPECT_EQ(nullptr, rig.svc->server);
    EXPECT_EQ(nullptr, rig.svc->session);
    EXPECT_EQ(0, OCIHandleFree(rig.svc, OCI_HTYPE_SVCCTX));
}

TEST(Logon, UnderSomethingThatIsNoEnvironmentFails) {
    CallRig rig;
    rig.peer.Start();
    EXPECT_EQ(-1, OCILogon((OCIEnv *)(void *)rig.err, rig.err, &rig.svc, Text("u"), 1, Text("p"), 1,
                           NULL, 0));
    EXPECT_EQ("Parameter srvhp is NULL.", rig.Error());
}

TEST(Logon, SessionsThatWaitedAreReleasedByTheLogonsServer) {
    CallRig rig;
    OCISession *waiting = NewHandle<OCISession>(rig.env, OCI_HTYPE_SESSION);
    rig.Logon();
    EXPECT_NE(nullptr, waiting->native_session);
    rig.ScriptCommand("COMMIT;");
    EXPECT_EQ(0, OCILogoff(rig.svc, rig.err));
    EXPECT_EQ(-2, OCIHandleFree(waiting, OCI_HTYPE_SESSION));
}

TEST(Logoff, ChecksItsArgumentsInOrder) {
    SessionRig rig;
    EXPECT_EQ(-2, OCILogoff(NULL, NULL));
    EXPECT_EQ(-2, OCILogoff(NULL, rig.err));
    EXPECT_EQ("Parameter svchp is NULL.", rig.Error());
    EXPECT_EQ(-2, OCILogoff((OCISvcCtx *)(void *)rig.session, rig.err));
    EXPECT_EQ("Parameter svchp is NULL.", rig.Error());
}

TEST(Logoff, OfAServiceContextThatNamesNothingFreesIt) {
    CallRig rig;
    rig.peer.Start();
    OCISvcCtx *svc = NewHandle<OCISvcCtx>(rig.env, OCI_HTYPE_SVCCTX);
    EXPECT_EQ(0, OCILogoff(svc, rig.err));
    EXPECT_EQ("Parameter usrhp is NULL.", rig.Error());
}

TEST(Logoff, AfterTheSessionAndTheServerWereFreedReachesNeither) {
    CallRig rig;
    rig.Logon();
    rig.peer.ExpectEnd();
    EXPECT_EQ(0, OCIHandleFree(rig.svc->session, OCI_HTYPE_SESSION));
    EXPECT_EQ(0, OCIHandleFree(rig.svc->server, OCI_HTYPE_SERVER));
    EXPECT_EQ(0, OCILogoff(rig.svc, rig.err));
    EXPECT_EQ("Parameter usrhp is NULL.", rig.Error());
}

TEST(Logoff, AfterALostConnectionStillFreesAll) {
    CallRig rig;
    rig.Logon();
    rig.peer.Expect(Frame("COMMIT;"));
    rig.peer.Close();
    EXPECT_EQ(0, OCILogoff(rig.svc, rig.err));
}

TEST(ServerDetach, WithBothHandlesReturns0AndTheSessionKeepsWorking) {
    SessionRig rig;
    rig.Begin();
    rig.ScriptCommand("ROLLBACK;");
    EXPECT_EQ(0, OCIServerDetach(rig.server, rig.err, 0));
    EXPECT_EQ(0, OCITransRollback(rig.svc, rig.err, 0));
}

TEST(ServerVersion, ChecksItsArgumentsInOrder) {
    SessionRig rig;
    rig.peer.Start();
    OCIText text[8];
    EXPECT_EQ(-2, OCIServerVersion(NULL, NULL, NULL, 0, 0));
    EXPECT_EQ(-2, OCIServerVersion(NULL, rig.err, NULL, 0, 0));
    EXPECT_EQ("Parameter hndlp is NULL.", rig.Error());
    EXPECT_EQ(-2, OCIServerVersion(rig.svc, rig.err, NULL, 0, 0));
    EXPECT_EQ("Parameter bufp is NULL.", rig.Error());
    EXPECT_EQ(-1, OCIServerVersion(rig.svc, rig.err, text, 8, OCI_HTYPE_SERVER));
    EXPECT_EQ("Wrong handle type, it should be service context handle.", rig.Error());
    EXPECT_EQ(-1, OCIServerVersion(rig.server, rig.err, text, 8, OCI_HTYPE_SVCCTX));
    EXPECT_EQ("Wrong handle type, it should be service context handle.", rig.Error());
}

// One column "version" of type CHAR and one row with `text`.
static Bytes VersionAnswer(const std::string &text) {
    return Hex("'A' 00000001 00000007 'version' 0000001E 00000040 00000000 'R'") + Counted(text) +
           Hex("'K'");
}

TEST(ServerVersion, FetchesOneColumnIntoTheBuffer) {
    SessionRig rig;
    rig.Begin();
    rig.peer.Expect(Hex("'?' 0000000C 'show version' 00 00000000"));
    rig.peer.Send(VersionAnswer("Tavu 12.1"));
    ErrorText(rig.err, "older");
    char text[32];
    memset(text, 0, sizeof(text));
    EXPECT_EQ(0, OCIServerVersion(rig.svc, rig.err, (OCIText *)text, sizeof(text), 11));
    EXPECT_STREQ("Tavu 12.1", text);
    EXPECT_EQ("older", rig.Error()) << "source 8, no handle, the text as it was";
    EXPECT_EQ(nullptr, rig.err->source_handle.record);
    EXPECT_EQ(8u, rig.err->source);
    EXPECT_TRUE(ListEmpty(&rig.session->native_session->stmts)) << "its statement is freed";
}

TEST(ServerVersion, WritesNothingBehindTheValue) {
    SessionRig rig;
    rig.Begin();
    rig.ScriptCommand("show version", "");
    rig.peer.Send(VersionAnswer("Tavu 12.1"));
    char text[32];
    memset(text, 'z', sizeof(text));
    EXPECT_EQ(0, OCIServerVersion(rig.svc, rig.err, (OCIText *)text, sizeof(text), 11));
    EXPECT_EQ(0, memcmp(text, "Tavu 12.1zzzz", 13));
}

TEST(ServerVersion, WithoutARowIsMinus1AndFreesTheStatement) {
    SessionRig rig;
    rig.Begin();
    rig.ScriptCommand("show version", "'E' 00000008 '[E1]none' 'K'");
    OCIText text[8];
    EXPECT_EQ(-1, OCIServerVersion(rig.svc, rig.err, text, sizeof(text), 11));
    EXPECT_EQ("", rig.Error());
    EXPECT_TRUE(ListEmpty(&rig.session->native_session->stmts));
}

TEST(ServerVersion, ADefineThatFailsLeavesTheStatementToTheSession) {
    SessionRig rig;
    rig.Begin();
    rig.ScriptCommand("show version", "");
    rig.peer.Send(VersionAnswer("Tavu 12.1"));
    OCIText text[8];
    EXPECT_EQ(-1, OCIServerVersion(rig.svc, rig.err, text, 0, 11));
    EXPECT_FALSE(ListEmpty(&rig.session->native_session->stmts));
}

TEST(ServerVersion, WithoutASessionIsMinus1AndNoText) {
    CallRig rig;
    rig.peer.Start();
    OCISvcCtx *svc = NewHandle<OCISvcCtx>(rig.env, OCI_HTYPE_SVCCTX);
    OCIText text[8];
    EXPECT_EQ(-1, OCIServerVersion(svc, rig.err, text, sizeof(text), 11));
    EXPECT_EQ("", rig.Error());
    EXPECT_EQ(0, OCIHandleFree(svc, OCI_HTYPE_SVCCTX));
}
