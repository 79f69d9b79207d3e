#include <quarn/quarn.h>

#include "connections/Loopback.h"
#include "support/DebugCapture.h"
#include "support/Eventually.h"
#include "support/TempDirectory.h"

#include <gtest/gtest.h>

namespace quarn {
namespace {

using test::LOOPBACK;

AllowedPeers Only(const std::string& network) {
    AllowedPeers allowed;
    allowed.Add(network);
    return allowed;
}

TEST(AllowedPeersOfServicesTest, StrangersAreTurnedAwayByEach) {
    const AllowedPeers somebodyElse = Only("127.0.0.2");
    test::DebugCapture debug;
    const test::TempDirectory directory;
    Accessors accessors;
    const ConsoleServer console(nullptr, "", 0, accessors, somebodyElse);
    GPIOIndirectAccess unused(LOOPBACK, 0, "gpio");
    const GPIOServer gpio(nullptr, "", 0, unused, somebodyElse);
    const BulkTransferReceiver bulk(nullptr, directory.File("file"), 1, LOOPBACK, 0, somebodyElse);
    for (const uint16_t port : {console.GetPort(), gpio.GetPort(), bulk.GetPort()}) {
        const test::Peer stranger(port);
        EXPECT_EQ(stranger.Read(1), "");  // closed
        EXPECT_EQ(debug.Count(Format("TCPListener: Turned away 127.0.0.1:%u, which is not an allowed peer",
                                     stranger.LocalPort())),
                  1u);
    }

    const ConsoleServer friendly(nullptr, "", 0, accessors, Only("127.0.0.0/24"));
    const test::Peer peer(friendly.GetPort());
    peer.Write("\n");
    EXPECT_EQ(peer.Read(2), "\x04\n");

    const MicrosecondClockSoftware clock;
    const SyncedClockServer time(nullptr, LOOPBACK, 0, clock, somebodyElse);
    UDPSocket stranger(LOOPBACK, 0);
    stranger.Send("SC\0\0\0\0\0", 8, LOOPBACK, time.GetPort());
    const std::string refusal =
        Format("SyncedClockServer: Turned away 127.0.0.1:%u, which is not an allowed peer",
               test::PortOf(stranger.Socket()));
    EXPECT_TRUE(test::Eventually([&] { return debug.Contains(refusal); }));
}

}  // namespace
}  // namespace quarn
