#include <quarn/IPAddress.h>

#include "support/ThrownMessage.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>

namespace quarn::test {
namespace {

using namespace std::string_literals;

TEST(IPAddressTest, HoldsNetworkByteOrder) {
    const IPAddress address("10.0.2.255");
    EXPECT_EQ(address.ToInAddr().s_addr, htonl(0x0A0002FF));
    EXPECT_EQ(address, IPAddress(htonl(0x0A0002FF)));
    EXPECT_EQ(address, IPAddress(in_addr{htonl(0x0A0002FF)}));
    EXPECT_NE(address, IPAddress("10.0.2.254"));
    EXPECT_EQ(address.ToString(), "10.0.2.255");
    EXPECT_TRUE(IPAddress().IsZero());
    EXPECT_FALSE(address.IsZero());
    EXPECT_EQ(IPAddress("1.0.0.2") < IPAddress("2.0.0.1"), htonl(0x01000002) < htonl(0x02000001));
}

TEST(IPAddressTest, RefusesOtherTexts) {
    for (const std::string& text :
         {""s, "1.2.3"s, "1.2.3.256"s, "1.2.3.4 "s, "0x7F.0.0.1"s, "1.2.3.4.5"s, "::1"s})
        EXPECT_EQ(ThrownMessage([&] { IPAddress address(text); }), text + " is not a valid IP address");
    EXPECT_EQ(ThrownMessage([] { IPAddress address("1.2.3.4\0x"s); }), "1.2.3.4 is not a valid IP address");
}

TEST(IPAddressTest, CountsPrefixBits) {
    const std::pair<const char*, uint32_t> cases[] = {
        {"0.0.0.0", 0},     {"127.255.255.255", 0},  {"128.0.0.0", 1},       {"255.255.255.0", 24},
        {"255.0.255.0", 8}, {"255.255.255.254", 31}, {"255.255.255.255", 32}};
    for (const auto& [text, bits] : cases)
        EXPECT_EQ(IPAddress(text).UpperBitsSet(), bits) << text;
}

}  // namespace
}  // namespace quarn::test
