// The link text and OCIServerAttach.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "oci/records.h"
#include "support/call_rig.h"

class Attach : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(0, OCIEnvInit(&env_, 0, 0, NULL));
        err_ = NewHandle<OCIError>(env_, OCI_HTYPE_ERROR);
        server_ = NewHandle<OCIServer>(env_, OCI_HTYPE_SERVER);
    }

    void TearDown() override {
        OCIHandleFree(server_, OCI_HTYPE_SERVER);
        OCIHandleFree(err_, OCI_HTYPE_ERROR);
        OCIHandleFree(env_, OCI_HTYPE_ENV);
    }

    int32_t To(const std::string &link, int32_t bytes = 0) {
        return OCIServerAttach(server_, err_, Text(link.c_str()), bytes, 0);
    }

    // "10.0.0.1 5138 SYSTEM", of the native server.
    std::string Where() const {
        uint8_t ip[4];
        memcpy(ip, &server_->native_server->ip, 4);
        std::string text;
        for (int i = 0; i < 4; i++) {
            text += (i == 0 ? "" : ".") + std::to_string(ip[i]);
        }
        return text + " " + std::to_string(server_->native_server->port) + " " +
               server_->native_server->database;
    }

    OCIEnv *env_ = NULL;
    OCIError *err_ = NULL;
    OCIServer *server_ = NULL;
};

TEST_F(Attach, ChecksItsArgumentsInOrder) {
    EXPECT_EQ(-2, OCIServerAttach(NULL, NULL, NULL, 0, 0));
    EXPECT_EQ(-2, OCIServerAttach(NULL, err_, NULL, 0, 0));
    EXPECT_EQ("Parameter srvhp is NULL.", ErrorOf(err_));
    EXPECT_EQ(-1, OCIServerAttach(server_, err_, NULL, 0, 0));
    EXPECT_EQ("Parameter dblink is NULL.", ErrorOf(err_));
    EXPECT_EQ(8u, err_->source);
}

TEST_F(Attach, ABareAddressTakesTheDefaults) {
    EXPECT_EQ(0, To("10.0.0.1"));
    EXPECT_EQ("10.0.0.1 5138 SYSTEM", Where());
    EXPECT_EQ(0u, err_->source) << "success does not touch the error handle";
}

TEST_F(Attach, APortMayStandBehindTheDatabase) {
    EXPECT_EQ(0, To("10.0.0.1/DB:5000"));
    EXPECT_EQ("10.0.0.1 5000 DB", Where());
}

TEST_F(Attach, AllThreePartsInTheUsualOrder) {
    EXPECT_EQ(0, To("127.0.0.1:5139/SYSTEM"));
    EXPECT_EQ("127.0.0.1 5139 SYSTEM", Where());
    EXPECT_EQ(0, To("10.1.2.3:7"));
    EXPECT_EQ("10.1.2.3 7 SYSTEM", Where());
    EXPECT_EQ(0, To("10.1.2.3/D"));
    EXPECT_EQ("10.1.2.3 5138 D", Where());
}

TEST_F(Attach, APortOfLettersOrOfSixDigitsFailsWithTheFormatText) {
    EXPECT_EQ(0, To("10.9.8.7:6/KEPT"));
    for (const char *link : {"10.0.0.1:abc", "10.0.0.1:123456", "10.0.0.1:12345678", "10.0.0.1:5 ",
                             "10.0.0.1:-1", "10.0.0.1/D:12x"}) {
        EXPECT_EQ(-1, To(link)) << link;
        EXPECT_EQ("The format of parameter dblink is invalid.", ErrorOf(err_)) << link;
        EXPECT_EQ("10.9.8.7 6 KEPT", Where()) << link;
    }
}

TEST_F(Attach, APortOf99999PassesCutTo16Bits) {
    EXPECT_EQ(0, To("10.0.0.1:99999"));
    EXPECT_EQ("10.0.0.1 34463 SYSTEM", Where());
}

TEST_F(Attach, AnEmptyPortIsPort0WhichTheServerStoresAndRefuses) {
    EXPECT_EQ(0, To("10.0.0.1:/D"));
    EXPECT_EQ("10.0.0.1 0 D", Where());
    EXPECT_EQ(0, To("10.0.0.1:"));
    EXPECT_EQ("10.0.0.1 0 SYSTEM", Where());
}

TEST_F(Attach, AnAddressOf16CharactersFailsWithTheFormatText) {
    EXPECT_EQ(-1, To("1234567890123456"));
    EXPECT_EQ("The format of parameter dblink is invalid.", ErrorOf(err_));
    EXPECT_EQ(-1, To("1234567890123456:1/D"));
    EXPECT_EQ(0, To("255.255.255.254"));
    EXPECT_EQ("255.255.255.254 5138 SYSTEM", Where()) << "15 characters fit";
}

TEST_F(Attach, AnEmptyAddressIsAccepted) {
    EXPECT_EQ(0, To(":5000/D"));
    EXPECT_EQ("255.255.255.255 5000 D", Where()) << "what the native server makes of it";
    EXPECT_EQ(0, To(""));
}

TEST_F(Attach, ALinkOf127BytesPassesAndOf128Fails) {
    std::string link = "10.0.0.1/" + std::string(118, 'D');
    EXPECT_EQ(0, To(link, 127));
    EXPECT_EQ("10.0.0.1 5138 " + std::string(118, 'D'), Where());
    EXPECT_EQ(-1, To(link + "D", 128));
    EXPECT_EQ("Parameter dblink_len is invalid.", ErrorOf(err_));
    EXPECT_EQ(-1, To(link + "D", 0)) << "the same by its string length";
    EXPECT_EQ("Parameter dblink_len is invalid.", ErrorOf(err_));
    EXPECT_EQ(-1, To(link, 2147483647));
}

TEST_F(Attach, ALengthCutsTheTextAndOneBelow1TakesItAll) {
    EXPECT_EQ(0, To("10.0.0.1:5000/DB", 8));
    EXPECT_EQ("10.0.0.1 5138 SYSTEM", Where());
    EXPECT_EQ(0, To("10.0.0.2:5000/DB", -1));
    EXPECT_EQ("10.0.0.2 5000 DB", Where());
}

TEST_F(Attach, TheFirstMarksCountAndEachSuffixStopsAtTheOther) {
    EXPECT_EQ(0, To("10.0.0.1/A/B:5"));
    EXPECT_EQ("10.0.0.1 5 A/B", Where());
    EXPECT_EQ(-1, To("10.0.0.1:5:6"));
    EXPECT_EQ(0, To("10.0.0.1:5/D:6"));
    EXPECT_EQ("10.0.0.1 5 D", Where());
    EXPECT_EQ(0, To("10.0.0.1/:5"));
    EXPECT_EQ("10.0.0.1 5 ", Where()) << "an empty database";
}

TEST_F(Attach, AnAddressThatTheServerRefusesIsStillASuccess) {
    EXPECT_EQ(0, To("not.an.ip"));
    EXPECT_EQ("", ErrorOf(err_));
}

TEST_F(Attach, DetachOnlyChecksItsHandles) {
    EXPECT_EQ(-2, OCIServerDetach(NULL, err_, 0));
    EXPECT_EQ(-2, OCIServerDetach(server_, NULL, 0));
    EXPECT_EQ(0, OCIServerDetach(server_, err_, 99));
    EXPECT_EQ("", ErrorOf(err_));
}
