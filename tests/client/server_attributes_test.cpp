// Attributes of a server: address, port, names, and the list of addresses.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "client/tree.h"

namespace {

// Addresses in network order, as they lie in memory.
uint32_t Address(uint8_t a, uint8_t b, uint8_t c, uint8_t d) {
    const uint8_t bytes[4] = {a, b, c, d};
    uint32_t address;
    memcpy(&address, bytes, sizeof(address));
    return address;
}

int32_t SetPort(TVCIServer *server, uint32_t port) {
    return TVCIAttrSet(server, 22, &port, 0);
}

int32_t SetList(TVCIServer *server, const char *text) {
    return TVCIAttrSet(server, 28, text, -1);
}

std::string GetText(TVCIServer *server, int32_t attribute) {
    char text[256] = "-";
    EXPECT_EQ(0, TVCIAttrGet(server, attribute, text, sizeof(text))) << attribute;
    return text;
}

// The addresses of a list, each with its text and position, such as "0:10.0.0.1".
std::vector<std::string> ListOf(const TVCIServer *server) {
    std::vector<std::string> nodes;
    for (const IpNode *node = server->ip_list; node != nullptr; node = node->next) {
        nodes.push_back(std::to_string(node->position) + ":" + node->text);
    }
    return nodes;
}

TEST(ServerAttributes, AddressIsStoredInNetworkOrderAndReadAsText) {
    Tree tree;
    EXPECT_EQ("0.0.0.0", GetText(tree.server, 21));
    EXPECT_EQ(0, TVCIAttrSet(tree.server, 21, "192.168.1.20", -1));
    EXPECT_EQ(Address(192, 168, 1, 20), tree.server->ip);
    EXPECT_EQ("192.168.1.20", GetText(tree.server, 21));
}

TEST(ServerAttributes, AddressIsReadUpToItsLength) {
    Tree tree;
    EXPECT_EQ(0, TVCIAttrSet(tree.server, 21, "10.1.2.34", 8));
    EXPECT_EQ(Address(10, 1, 2, 3), tree.server->ip);
}

TEST(ServerAttributes, ShortFormsOfAnAddressAreTaken) {
    Tree tree;
    EXPECT_EQ(0, TVCIAttrSet(tree.server, 21, "127.1", -1));
    EXPECT_EQ(Address(127, 0, 0, 1), tree.server->ip);
}

TEST(ServerAttributes, BadAddressIsStoredBeforeItIsRefused) {
    Tree tree;
    EXPECT_EQ(0, TVCIAttrSet(tree.server, 21, "10.0.0.1", -1));
    EXPECT_EQ(-1, TVCIAttrSet(tree.server, 21, "no address", -1));
    EXPECT_EQ("E32206|[Win_x64]Set Server attr-IP error, this error-ip is no address ",
              ErrorOf(tree.server));
    EXPECT_EQ(0xFFFFFFFFu, tree.server->ip);
    EXPECT_EQ(-1, TVCIAttrSet(tree.server, 21, "255.255.255.255", -1));
    EXPECT_EQ(-1, TVCIAttrSet(tree.server, 21, "", -1));
    EXPECT_EQ("E32206|[Win_x64]Set Server attr-IP error, this error-ip is  ", ErrorOf(tree.server));
}

TEST(ServerAttributes, LongBadAddressIsCutInItsMessage) {
    Tree tree;
    std::string text(300, 'a');
    EXPECT_EQ(-1, TVCIAttrSet(tree.server, 21, text.c_str(), -1));
    EXPECT_EQ(
        "E32206|[Win_x64]Set Server attr-IP error, this error-ip is " + std::string(127 - 18, 'a'),
        ErrorOf(tree.server));
}

TEST(ServerAttributes, AddressTextIsCutAtTheRoomOfTheReader) {
    Tree tree;
    EXPECT_EQ(0, TVCIAttrSet(tree.server, 21, "192.168.1.20", -1));
    char text[16] = "###############";
    EXPECT_EQ(0, TVCIAttrGet(tree.server, 21, text, 8));
    EXPECT_STREQ("192.168", text);
    EXPECT_EQ('#', text[8]);
    EXPECT_EQ(-1, TVCIAttrGet(tree.server, 21, text, 0));
    EXPECT_STREQ("192.168", text);
}

TEST(ServerAttributes, PortKeepsSixteenBits) {
    Tree tree;
    EXPECT_EQ(0, SetPort(tree.server, 9000));
    EXPECT_EQ(9000, tree.server->port);
    EXPECT_EQ(0, SetPort(tree.server, 65535));
    EXPECT_EQ(65535, tree.server->port);
    EXPECT_EQ(0, SetPort(tree.server, 99999));
    EXPECT_EQ(34463, tree.server->port);
    uint16_t port[2] = {0, 0x5555};
    EXPECT_EQ(0, TVCIAttrGet(tree.server, 22, port, 0));
    EXPECT_EQ(34463, port[0]);
    EXPECT_EQ(0x5555, port[1]);
}

TEST(ServerAttributes, PortIsReadFromTwoBytes) {
    Tree tree;
    uint16_t *port = (uint16_t *)MemAlloc(sizeof(uint16_t));
    *port = 9000;
    EXPECT_EQ(0, TVCIAttrSet(tree.server, 22, port, 2));
    EXPECT_EQ(9000, tree.server->port);
    MemFree(port);
}

TEST(ServerAttributes, PortZeroIsStoredBeforeItIsRefused) {
    Tree tree;
    EXPECT_EQ(-1, SetPort(tree.server, 0));
    EXPECT_EQ("E32207|[Win_x64]Set Server attr-Port error, the error-Port is 0 ",
              ErrorOf(tree.server));
    EXPECT_EQ(0, tree.server->port);
    EXPECT_EQ(-1, SetPort(tree.server, 65536));
    EXPECT_EQ(0, tree.server->port);
}

TEST(ServerAttributes, HostIsResolved) {
    Tree tree;
    EXPECT_EQ("-", GetText(tree.server, 23));
    EXPECT_EQ(0, TVCIAttrSet(tree.server, 23, "localhost", -1));
    EXPECT_EQ(Address(127, 0, 0, 1), tree.server->ip);
    EXPECT_STREQ("localhost", tree.server->host);
    EXPECT_EQ("localhost", GetText(tree.server, 23));
}

TEST(ServerAttributes, HostThatDoesNotExistIsStoredAllTheSame) {
    Tree tree;
    EXPECT_EQ(0, TVCIAttrSet(tree.server, 21, "10.0.0.1", -1));
    EXPECT_EQ(-1, TVCIAttrSet(tree.server, 23, "no such host", -1));
    EXPECT_EQ("E32208|[Win_x64]Set Server attr-URL  error,  the URL is no such host ",
              ErrorOf(tree.server));
    EXPECT_STREQ("no such host", tree.server->host);
    EXPECT_EQ(Address(10, 0, 0, 1), tree.server->ip);
}

TEST(ServerAttributes, DatabaseIsAText) {
    Tree tree;
    EXPECT_EQ("-", GetText(tree.server, 24));
    EXPECT_EQ(0, TVCIAttrSet(tree.server, 24, "SYSTEM", -1));
    EXPECT_EQ("SYSTEM", GetText(tree.server, 24));
    EXPECT_EQ(0, TVCIAttrSet(tree.server, 24, "ORDERS", 3));
    EXPECT_STREQ("ORD", tree.server->database);
    EXPECT_EQ('\0', tree.server->database[4]);
    EXPECT_EQ(0, TVCIAttrSet(tree.server, 24, "ORDERS", 0));
    EXPECT_EQ("-", GetText(tree.server, 24));
}

TEST(ServerAttributes, NamesOverTheirFieldsAreCut) {
    Tree tree;
    std::string text(300, 'd');
    EXPECT_EQ(0, TVCIAttrSet(tree.server, 24, text.c_str(), -1));
    EXPECT_EQ(std::string(127, 'd'), tree.server->database);
    EXPECT_EQ(-1, TVCIAttrSet(tree.server, 23, text.c_str(), -1));
    EXPECT_EQ(std::string(127, 'd'), tree.server->host);
}

TEST(ServerAttributes, OtherCodesAreUnknown) {
    Tree tree;
    uint32_t word = 1;
    for (int32_t attribute : {0, 1, 20, 25, 26, 27, 29, 33}) {
        EXPECT_EQ(-6, TVCIAttrSet(tree.server, attribute, &word, 0));
        EXPECT_EQ("E32205|[Win_x64]Set Server attr error, Unsupported attr-type " +
                      std::to_string(attribute) + " ",
                  ErrorOf(tree.server));
        EXPECT_EQ(-6, TVCIAttrGet(tree.server, attribute, &word, 0));
    }
    EXPECT_EQ(1u, word);
}

TEST(ServerAttributes, NoMemoryForATextIsTheAllocationCode) {
    Tree tree;
    for (int32_t attribute : {21, 23, 28}) {
        MemFailAt(1);
        EXPECT_EQ(-5, TVCIAttrSet(tree.server, attribute, "10.0.0.1", -1)) << attribute;
        MemFailAt(0);
    }
    EXPECT_EQ(0u, tree.server->ip);
    EXPECT_EQ("none", ErrorOf(tree.server));
}

TEST(AddressList, OneAddressIsAListToo) {
    Tree tree;
    EXPECT_EQ(0, SetList(tree.server, "10.0.0.1"));
    EXPECT_EQ(1, tree.server->has_ip_list);
    EXPECT_EQ(std::vector<std::string>({"0:10.0.0.1"}), ListOf(tree.server));
    EXPECT_EQ(1, tree.server->ip_list->count);
    EXPECT_EQ(Address(10, 0, 0, 1), tree.server->ip);
    EXPECT_EQ(0, tree.server->ip_position);
}

TEST(AddressList, NodesBearTextPositionAndAddress) {
    Tree tree;
    EXPECT_EQ(0, SetList(tree.server, "10.0.0.1,10.0.0.2,127.1"));
    EXPECT_EQ(std::vector<std::string>({"0:10.0.0.1", "1:10.0.0.2", "2:127.1"}),
              ListOf(tree.server));
    const IpNode *head = tree.server->ip_list;
    EXPECT_EQ(3, head->count);
    EXPECT_EQ(Address(10, 0, 0, 1), head->addr);
    EXPECT_EQ(Address(10, 0, 0, 2), head->next->addr);
    EXPECT_EQ(Address(127, 0, 0, 1), head->next->next->addr);
}

TEST(AddressList, BlanksAreSkippedWhereverTheyOccur) {
    Tree tree;
    EXPECT_EQ(0, SetList(tree.server, "  10. 0.0 .1 , 10.0.0.2 ;"));
    EXPECT_EQ(std::vector<std::string>({"0:10.0.0.1", "1:10.0.0.2"}), ListOf(tree.server));
}

TEST(AddressList, TabIsNoBlank) {
    Tree tree;
    EXPECT_EQ(-1, SetList(tree.server, "10.\t0.0.1"));
    EXPECT_EQ("E32209|[Win_x64]Set Server attr-IPS error, the error-ip is 10.\t0.0.1 ",
              ErrorOf(tree.server));
}

TEST(AddressList, SemicolonEndsTheList) {
    Tree tree;
    EXPECT_EQ(0, SetList(tree.server, "10.0.0.1;10.0.0.2,nonsense"));
    EXPECT_EQ(std::vector<std::string>({"0:10.0.0.1"}), ListOf(tree.server));
}

TEST(AddressList, LengthEndsTheList) {
    Tree tree;
    EXPECT_EQ(0, TVCIAttrSet(tree.server, 28, "10.0.0.1,10.0.0.2", 8));
    EXPECT_EQ(std::vector<std::string>({"0:10.0.0.1"}), ListOf(tree.server));
}

TEST(AddressList, EmptyTextSetsTheFlagWithNoList) {
    for (const char *text : {"", ";", "   ", " ;10.0.0.1"}) {
        Tree tree;
        EXPECT_EQ(0, SetList(tree.server, text)) << text;
        EXPECT_EQ(1, tree.server->has_ip_list) << text;
        EXPECT_EQ(nullptr, tree.server->ip_list) << text;
        EXPECT_EQ(0u, tree.server->ip) << text;
    }
}

TEST(AddressList, ListAfterAnEmptyOneIsTaken) {
    Tree tree;
    EXPECT_EQ(0, SetList(tree.server, ""));
    EXPECT_EQ(0, SetList(tree.server, "10.0.0.1"));
    EXPECT_EQ(std::vector<std::string>({"0:10.0.0.1"}), ListOf(tree.server));
}

// The position at which the next list of this many addresses begins, which takes that turn.
int32_t TakeTurn(const char *list, uint32_t *ip) {
    Tree tree;
    EXPECT_EQ(0, SetList(tree.server, list));
    *ip = tree.server->ip;
    return tree.server->ip_position;
}

TEST(AddressList, ConsecutiveListsBeginAtDifferentAddresses) {
    const uint32_t addresses[] = {Address(10, 0, 0, 1), Address(10, 0, 0, 2), Address(10, 0, 0, 3)};
    uint32_t ip = 0;
    int32_t first = TakeTurn("10.0.0.1,10.0.0.2,10.0.0.3", &ip);
    EXPECT_EQ(addresses[first], ip);
    for (int32_t turn = 1; turn < 7; turn++) {
        int32_t expected = (first + turn) % 3;
        EXPECT_EQ(expected, TakeTurn("10.0.0.1,10.0.0.2,10.0.0.3", &ip)) << turn;
        EXPECT_EQ(addresses[expected], ip) << turn;
    }
}

TEST(AddressList, EmptyAndRefusedListsTakeNoTurn) {
    uint32_t ip = 0;
    int32_t first = TakeTurn("10.0.0.1,10.0.0.2", &ip);
    for (const char *list : {"", ";", "10.0.0.1,ten", ",10.0.0.1"}) {
        Tree tree;
        SetList(tree.server, list);
    }
    EXPECT_EQ(1 - first, TakeTurn("10.0.0.1,10.0.0.2", &ip));
}

TEST(AddressList, LeadingCommaIsRefusedWithTheWholeText) {
    Tree tree;
    EXPECT_EQ(-1, SetList(tree.server, " ,10.0.0.1"));
    EXPECT_EQ("E32209|[Win_x64]Set Server attr-IPS error, the invalid-ipstr is  ,10.0.0.1 ",
              ErrorOf(tree.server));
    EXPECT_EQ(0, tree.server->has_ip_list);
    EXPECT_EQ(nullptr, tree.server->ip_list);
}

TEST(AddressList, BadAddressIsRefusedAndTheNodesStay) {
    Tree tree;
    EXPECT_EQ(-1, SetList(tree.server, "10.0.0.1, ten , 10.0.0.3"));
    EXPECT_EQ("E32209|[Win_x64]Set Server attr-IPS error, the error-ip is ten ",
              ErrorOf(tree.server));
    EXPECT_EQ(0, tree.server->has_ip_list);
    EXPECT_EQ(std::vector<std::string>({"0:10.0.0.1", "1:ten"}), ListOf(tree.server));
    EXPECT_EQ(2, tree.server->ip_list->count);
    EXPECT_EQ(0u, tree.server->ip);
}

TEST(AddressList, BadAddressAtTheEndIsRefused) {
    Tree tree;
    EXPECT_EQ(-1, SetList(tree.server, "10.0.0.1,255.255.255.255"));
    EXPECT_EQ("E32209|[Win_x64]Set Server attr-IPS error, the error-ip is 255.255.255.255 ",
              ErrorOf(tree.server));
    EXPECT_EQ(0, tree.server->has_ip_list);
}

TEST(AddressList, TrailingCommaLeavesAnEmptyAddress) {
    Tree tree;
    EXPECT_EQ(-1, SetList(tree.server, "10.0.0.1,"));
    EXPECT_EQ("E32209|[Win_x64]Set Server attr-IPS error, the error-ip is  ", ErrorOf(tree.server));
}

TEST(AddressList, FifteenCharactersFitAndSixteenAreRefused) {
    Tree fits;
    EXPECT_EQ(0, SetList(fits.server, "100.100.100.100"));
    EXPECT_EQ(std::vector<std::string>({"0:100.100.100.100"}), ListOf(fits.server));
    Tree tree;
    EXPECT_EQ(-1, SetList(tree.server, "10.0.0.1, 0100.100.100.100,10.0.0.3"));
    EXPECT_EQ("E32209|[Win_x64]Set Server attr-IPS error, the error-ip is 0100.100.100.100 ",
              ErrorOf(tree.server));
    EXPECT_EQ(std::vector<std::string>({"0:10.0.0.1", "1:0100.100.100.10"}), ListOf(tree.server));
}

TEST(AddressList, SecondListIsRefused) {
    Tree tree;
    EXPECT_EQ(0, SetList(tree.server, "10.0.0.1"));
    for (const char *text : {"10.0.0.2", ",", ";", ""}) {
        EXPECT_EQ(-1, SetList(tree.server, text)) << text;
        EXPECT_EQ("E32209|[Win_x64]Set Server attr-IPS error, the invalid-ipstr is " +
                      std::string(text) + " ",
                  ErrorOf(tree.server));
    }
    EXPECT_EQ(std::vector<std::string>({"0:10.0.0.1"}), ListOf(tree.server));
    EXPECT_EQ(1, tree.server->has_ip_list);
}

TEST(AddressList, ListAfterAFailedOneIsRefused) {
    Tree tree;
    EXPECT_EQ(-1, SetList(tree.server, "ten"));
    EXPECT_EQ(-1, SetList(tree.server, "10.0.0.2"));
    EXPECT_EQ("E32209|[Win_x64]Set Server attr-IPS error, the invalid-ipstr is 10.0.0.2 ",
              ErrorOf(tree.server));
    EXPECT_EQ(0, tree.server->has_ip_list);
}

TEST(AddressList, LongTextIsCutInItsMessage) {
    Tree tree;
    std::string text = "," + std::string(300, '1');
    EXPECT_EQ(-1, SetList(tree.server, text.c_str()));
    EXPECT_EQ("E32209|[Win_x64]Set Server attr-IPS error, the invalid-ipstr is ," +
                  std::string(127 - 23, '1'),
              ErrorOf(tree.server));
}

TEST(AddressList, CannotBeRead) {
    Tree tree;
    char text[64] = "-";
    EXPECT_EQ(0, SetList(tree.server, "10.0.0.1"));
    EXPECT_EQ(-6, TVCIAttrGet(tree.server, 28, text, sizeof(text)));
    EXPECT_STREQ("-", text);
}

TEST(AddressList, NoMemoryForANodeIsTheAllocationCode) {
    // The text's copy comes first, then one node after the other.
    const size_t nodes_made[] = {0, 0, 1, 2};
    for (uint64_t failing = 1; failing <= 4; failing++) {
        Tree tree;
        MemFailAt(failing);
        EXPECT_EQ(-5, SetList(tree.server, "10.0.0.1,10.0.0.2,10.0.0.3")) << failing;
        MemFailAt(0);
        EXPECT_EQ(0, tree.server->has_ip_list) << failing;
        EXPECT_EQ(0u, tree.server->ip) << failing;
        EXPECT_EQ(nodes_made[failing - 1], ListOf(tree.server).size()) << failing;
    }
}

}  // namespace
