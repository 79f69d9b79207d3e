#include "connections/Loopback.h"

namespace quarn::test {

TEST(AllowedPeersTest, AllowsWhatItWasGivenAndEverybodyBefore) {
    AllowedPeers allowed;
    for (const std::string text : {"", "10.1.2", "10.1.2.0/33", "10.1.2.0/", "10.1.2.3/24", "10.1.2.3/0"})
        EXPECT_EQ(ThrownMessage([&] { allowed.Add(text); }),
                  "\"" + text + "\" is not an address or a network");
    EXPECT_TRUE(allowed.Allows(IPAddress("1.2.3.4")));
    allowed.Add("10.1.2.3");
    allowed.Add("192.168.128.0/17");
    const std::pair<const char*, bool> cases[] = {
        {"10.1.2.3", true},  {"192.168.128.0", true},    {"192.168.255.255", true}, {"1.2.3.4", false},
        {"3.2.1.10", false}, {"192.168.127.255", false}, {"192.169.128.1", false}};
    for (const auto& [peer, isAllowed] : cases)
        EXPECT_EQ(allowed.Allows(IPAddress(peer)), isAllowed) << peer;
    allowed.Add("0.0.0.0/0");
    EXPECT_TRUE(allowed.Allows(IPAddress("1.2.3.4")));
}

}  // namespace quarn::test
