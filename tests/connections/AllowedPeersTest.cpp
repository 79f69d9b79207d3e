#include <quarn/AllowedPeers.h>

#include "support/ThrownMessage.h"

#include <gtest/gtest.h>

namespace quarn {
namespace {

TEST(AllowedPeersTest, AllowsWhatItWasGivenAndEverybodyBefore) {
    AllowedPeers allowed;
    const auto allows = [&](const char* peer) { return allowed.Allows(IPAddress(peer)); };
    for (const std::string text : {"", "10.1.2", "10.1.2.0/33", "10.1.2.0/", "10.1.2.3/24", "10.1.2.3/0"})
        EXPECT_EQ(test::ThrownMessage([&] { allowed.Add(text); }),
                  "\"" + text + "\" is not an address or a network");
    EXPECT_TRUE(allows("1.2.3.4"));
    allowed.Add("10.1.2.3");
    allowed.Add("192.168.128.0/17");
    for (const char* const peer : {"10.1.2.3", "192.168.128.0", "192.168.255.255"})
        EXPECT_TRUE(allows(peer)) << peer;
    for (const char* const stranger : {"1.2.3.4", "3.2.1.10", "192.168.127.255", "192.169.128.1"})
        EXPECT_FALSE(allows(stranger)) << stranger;
    allowed.Add("0.0.0.0/0");
    EXPECT_TRUE(allows("1.2.3.4"));
}

}  // namespace
}  // namespace quarn
