#include <quarn/Accessors.h>
#include <quarn/BulkTransferReceiver.h>
#include <quarn/ConsoleServer.h>
#include <quarn/GPIOIndirectAccess.h>
#include <quarn/GPIOServer.h>
#include <quarn/MicrosecondClockSoftware.h>
#include <quarn/SyncedClockServer.h>
#include <quarn/Text.h>
#include <quarn/UDPSocket.h>

#include "connections/Loopback.h"
#include "support/DebugCapture.h"
#include "support/Eventually.h"
#include "support/TempDirectory.h"

#include <gtest/gtest.h>

namespace quarn {
namespace {

using test::LOOPBACK;

AllowedPeers SomebodyElse() {
    AllowedPeers allowed;
    allowed.Add("127.0.0.2");
    return allowed;
}

TEST(AllowedPeersOfServicesTest, StrangersAreTurnedAwayByEach) {
    test::DebugCapture debug;
    const test::TempDirectory directory;
    Accessors accessors;
    const ConsoleServer console(nullptr, "", 0, accessors, SomebodyElse());
    GPIOIndirectAccess unused(LOOPBACK, 0, "gpio");
    const GPIOServer gpio(nullptr, "", 0, unused, SomebodyElse());
    const BulkTransferReceiver bulk(nullptr, directory.File("file"), 1, LOOPBACK, 0, SomebodyElse());
    for (const uint16_t port : {console.GetPort(), gpio.GetPort(), bulk.GetPort()}) {
        const test::Peer stranger(port);
        EXPECT_EQ(stranger.Read(1), "");  // closed
        EXPECT_EQ(debug.Count(Format("TCPListener: Turned away 127.0.0.1:%u, which is not an allowed peer",
                                     stranger.LocalPort())),
                  1u);
    }

    const MicrosecondClockSoftware clock;
    const SyncedClockServer time(nullptr, LOOPBACK, 0, clock, SomebodyElse());
    UDPSocket stranger(LOOPBACK, 0);
    stranger.Send("SC\0\0\0\0\0", 8, LOOPBACK, time.GetPort());
    const std::string refusal =
        Format("SyncedClockServer: Turned away 127.0.0.1:%u, which is not an allowed peer",
               test::PortOf(stranger.Socket()));
    EXPECT_TRUE(test::Eventually([&] { return debug.Contains(refusal); }));
}

}  // namespace
}  // namespace quarn
