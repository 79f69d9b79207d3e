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
    EXPECT_EQ(address.ToString(), "10.0.2.255");
    EXPECT_TRUE(IPAddress().IsZero());
    EXPECT_FALSE(address.IsZero());
    for (const std::string text : {"", "1.2.3", "1.2.3.256", "1.2.3.4 ", "0x7F.0.0.1", "::1"})
        EXPECT_EQ(ThrownMessage([&] { IPAddress bad(text); }), text + " is not a valid IP address");
    EXPECT_EQ(ThrownMessage([] { IPAddress bad("1.2.3.4\0x"s); }), "1.2.3.4 is not a valid IP address");
}

TEST(IPAddressTest, CountsPrefixBits) {
    EXPECT_EQ(IPAddress("255.0.255.0").UpperBitsSet(), 8u);
    EXPECT_EQ(IPAddress("255.255.255.254").UpperBitsSet(), 31u);
    EXPECT_EQ(IPAddress("255.255.255.255").UpperBitsSet(), 32u);
}

}  // namespace
}  // namespace quarn::test
