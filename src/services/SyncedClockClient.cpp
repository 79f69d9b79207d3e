#include <quarn/Debug.h>
#include <quarn/MonitorException.h>
#include <quarn/PermanentCondition.h>
#include <quarn/SettableMicrosecondClock.h>
#include <quarn/SyncedClockClient.h>
#include <quarn/Text.h>
#include <quarn/Worker.h>

#include "foundation/ErrnoText.h"
#include "services/ClockExchange.h"
#include "services/ClockSocket.h"
#include "services/StopService.h"

#include <errno.h>
#include <stdlib.h>

#include <atomic>

namespace quarn {

namespace {

constexpr uint32_t kBindLimitMs = 1000;

}  // namespace

class SyncedClockClient::Impl final : public Debuggable, public Worker {
public:
    Impl(Debuggable* parent, const IPAddress& local, const IPAddress& peer, uint16_t peerPort,
         SettableMicrosecondClock& clock)
        : Debuggable(parent),
          Worker(this, "scc"),
          local_(local),
          peer_(peer),
          peerPort_(peerPort),
          clock_(clock),
          link_(socket_, peer, peerPort),
          exchange_(link_, peer, peerPort, clock) {}

    void StartAndBind() {
        Start();
        bindDecided_.WaitFor(kBindLimitMs);
    }

    IPAddress Local() const { return local_; }
    uint16_t LocalPort() const { return localPort_; }
    IPAddress Peer() const { return peer_; }
    uint16_t PeerPort() const { return peerPort_; }

private:
    bool Initialize() override {
        socket_.Open();
        if (!socket_.Bind(local_, 0)) {
            const int error = errno;
            throw MonitorException("Failed to bind socket to %s: %s", local_.ToString().c_str(),
                                   ErrnoText(error).c_str());
        }
        const uint16_t port = socket_.LocalPort();
        if (GetDebugLevel() >= 1)
            Print(DEBUG_ALWAYS, __LINE__,
                  Format("Created local socket %s:%u", local_.ToString().c_str(), port));
        localPort_ = port;
        bindDecided_.Raise();
        return true;
    }

    // The socket is not watched: the time between exchanges is the limit of the wait.
    bool PreWait() override {
        if (firstWait_) {
            firstWait_ = false;
            return false;
        }
        SetPollInterval(ClockPollInterval(rand()));
        return true;
    }

    bool Work() override {
        try {
            const size_t discarded = exchange_.DiscardLateReplies();
            if (discarded != 0 && GetDebugLevel() >= 1)
                Print(DEBUG_ALWAYS, __LINE__,
                      Format("Discarded %zu message%s", discarded, discarded == 1 ? "" : "s"));
            const ClockExchange::Result result = exchange_.Run();
            if (GetDebugLevel() >= 2)
                PrintResult(result);
        } catch (const MonitorException& e) {
            Print(DEBUG_ERR, __LINE__, e.Description());
        }
        return true;
    }

    void Finalize() override {
        bindDecided_.Raise();
        // This message names another service than its siblings; that is deliberate.
        if (!socket_.Close() && DefaultDebug())
            DefaultDebug()->Printf(DEBUG_ERR, __FILE__, __LINE__, "LoRaTraffic: Failed to close socket: %s",
                                   ErrnoText(errno).c_str());
    }

    void GetExtraStatistics(std::list<std::string>& lines) override {
        lines.splice(lines.end(),
                     FormatColumnarList({{"Time (us)", Format("%u", clock_.GetMicrosecondClock())},
                                         {"Peer", Format("%s:%u", peer_.ToString().c_str(), peerPort_)},
                                         {"Attempted Updates", Format("%lu", attemptedUpdates_.load())},
                                         {"Successful Updates", Format("%lu", successfulUpdates_.load())}}));
    }

    void ClearExtraStatistics() override {
        attemptedUpdates_ = 0;
        successfulUpdates_ = 0;
    }

    // A clock that stood at 0 is deliberately the one of which a move is told, with the whole target for it.
    void PrintResult(const ClockExchange::Result& result) const {
        const auto moved = static_cast<int32_t>(result.target);
        std::string text = Format("Trip RTT %u us, average RTT %u us, time %u", result.roundTrip,
                                  result.average, result.target);
        if (result.previous == 0)
            text += Format(" (moved %s %d us)", moved >= 0 ? "ahead" : "back", moved);
        Print(DEBUG_ALWAYS, __LINE__, text);
    }

    void Print(uint32_t mask, int line, const std::string& event) const {
        if (DefaultDebug())
            DefaultDebug()->Printf(mask, __FILE__, line, "SyncedClockClient: %s", event.c_str());
    }

    const IPAddress local_;
    const IPAddress peer_;
    const uint16_t peerPort_;
    SettableMicrosecondClock& clock_;
    ClockSocket socket_;
    ClockSocketLink link_;
    ClockExchange exchange_;
    bool firstWait_ = true;
    PermanentCondition bindDecided_;
    std::atomic<uint16_t> localPort_{0};
    // Listed and cleared; no exchange counts them, which is deliberate.
    std::atomic<uint64_t> attemptedUpdates_{0};
    std::atomic<uint64_t> successfulUpdates_{0};
};

SyncedClockClient::SyncedClockClient(Debuggable* parent, IPAddress local, IPAddress peer, uint16_t peerPort,
                                     SettableMicrosecondClock& clock)
    : SyncedClockClient(std::make_unique<Impl>(parent, local, peer, peerPort, clock)) {
    impl_->StartAndBind();
}
SyncedClockClient::SyncedClockClient(std::unique_ptr<Impl> impl)
    : Debuggable(impl.get()), impl_(std::move(impl)) {}

SyncedClockClient::~SyncedClockClient() {
    StopService(impl_, "SyncedClockClient");
}

IPAddress SyncedClockClient::GetLocalIPAddress() const {
    return impl_->Local();
}
uint16_t SyncedClockClient::GetLocalPort() const {
    return impl_->LocalPort();
}
IPAddress SyncedClockClient::GetPeerIPAddress() const {
    return impl_->Peer();
}
uint16_t SyncedClockClient::GetPeerPort() const {
    return impl_->PeerPort();
}
void SyncedClockClient::ReportStatistics(std::list<std::string>& lines) {
    impl_->GetStatistics(lines);
}

}  // namespace quarn
