#include <quarn/AllowedPeers.h>

#include "support/ThrownMessage.h"

#include <gtest/gtest.h>

namespace quarn {
namespace {

TEST(AllowedPeersTest, AllowsWhatItWasGivenAndEverybodyBefore) {
    AllowedPeers allowed;
    EXPECT_TRUE(allowed.Allows(IPAddress("1.2.3.4")));
    allowed.Add("10.1.2.3");
    allowed.Add("192.168.128.0/17");
    const struct {
        const char* peer;
        bool isAllowed;
    } cases[] = {{"10.1.2.3", true},      {"10.1.2.4", false},       {"3.2.1.10", false},
                 {"192.168.128.0", true}, {"192.168.255.255", true}, {"192.168.127.255", false},
                 {"192.169.128.1", false}};
    for (const auto& c : cases)
        EXPECT_EQ(allowed.Allows(IPAddress(std::string(c.peer))), c.isAllowed) << c.peer;
    allowed.Add("0.0.0.0/0");
    EXPECT_TRUE(allowed.Allows(IPAddress("10.1.2.4")));
}

TEST(AllowedPeersTest, RefusesWhatIsNeitherAddressNorNetwork) {
    for (const std::string text : {"", "10.1.2", "host", "10.1.2.0/33", "10.1.2.0/", "10.1.2.0/x",
                                   "10.1.2.3/24", "10.1.2.3/0", "/8"}) {
        AllowedPeers allowed;
        EXPECT_EQ(test::ThrownMessage([&] { allowed.Add(text); }),
                  "\"" + text + "\" is not an address or a network");
        EXPECT_TRUE(allowed.Allows(IPAddress("1.2.3.4"))) << "what was refused must not shut others out";
    }
}

}  // namespace
}  // namespace quarn
