#include <quarn/Debug.h>
#include <quarn/MicrosecondClock.h>
#include <quarn/MonitorException.h>
#include <quarn/PermanentCondition.h>
#include <quarn/SyncedClockServer.h>
#include <quarn/Text.h>
#include <quarn/Worker.h>

#include "foundation/ErrnoText.h"
#include "services/ClockPacket.h"
#include "services/ClockSocket.h"
#include "services/StopService.h"

#include <errno.h>

#include <atomic>

namespace quarn {

namespace {

constexpr uint32_t kBindLimitMs = 1000;

}  // namespace

class SyncedClockServer::Impl final : public Debuggable, public Worker {
public:
    Impl(Debuggable* parent, const IPAddress& local, uint16_t port, const MicrosecondClock& clock,
         const AllowedPeers& allowed)
        : Debuggable(parent),
          Worker(this, "scs"),
          local_(local),
          requestedPort_(port),
          clock_(clock),
          allowed_(allowed) {}

    void StartAndBind() {
        Start();
        bindDecided_.WaitFor(kBindLimitMs);
    }

    IPAddress Local() const { return local_; }
    uint16_t Port() const { return port_; }

private:
    bool Initialize() override {
        socket_.Open();
        if (!socket_.Bind(local_, requestedPort_)) {
            const int error = errno;
            throw MonitorException("Failed to bind socket to %s:%u: %s", local_.ToString().c_str(),
                                   requestedPort_, ErrnoText(error).c_str());
        }
        const uint16_t port = socket_.LocalPort();
        AddWaitableFileDescriptor(socket_.Get(), WAIT_READ, "socket");
        watched_ = true;
        port_ = port;
        bindDecided_.Raise();
        return true;
    }

    // One datagram a call; those behind it make the socket ready again.
    bool Work() override {
        if (!GetReadyFileDescriptors().contains(socket_.Get()))
            return true;
        try {
            Answer();
        } catch (const MonitorException& e) {
            Print(DEBUG_ERR, __LINE__, e.Description());
        }
        return true;
    }

    void Finalize() override {
        bindDecided_.Raise();
        if (watched_)
            RemoveWaitableFileDescriptor(socket_.Get());
        if (!socket_.Close())
            Print(DEBUG_ERR, __LINE__, Format("Failed to close socket: %s", ErrnoText(errno).c_str()));
    }

    void GetExtraStatistics(std::list<std::string>& lines) override {
        lines.splice(lines.end(),
                     FormatColumnarList({{"Time (us)", Format("%u", clock_.GetMicrosecondClock())},
                                         {"Updates Provided", Format("%lu", updatesProvided_.load())}}));
    }

    void ClearExtraStatistics() override { updatesProvided_ = 0; }

    void Answer() {
        ClockPacket::Bytes bytes = {};
        IPAddress client;
        uint16_t clientPort = 0;
        const ssize_t length = socket_.Receive(bytes, client, clientPort);
        if (length < 0)
            throw MonitorException("Read failed: %s", ErrnoText(errno).c_str());
        if (!allowed_.Allows(client)) {
            Print(DEBUG_WARN, __LINE__,
                  Format("Turned away %s:%u, which is not an allowed peer", client.ToString().c_str(),
                         clientPort));
            return;
        }
        const uint32_t time = AnswerTimeRequest(bytes, length, clock_);
        Send(bytes, client, clientPort);
        if (GetDebugLevel() >= 2)
            Print(DEBUG_ALWAYS, __LINE__,
                  Format("Sent time %u to %s:%u", time, client.ToString().c_str(), clientPort));
        ++updatesProvided_;
    }

    void Send(const ClockPacket::Bytes& bytes, const IPAddress& client, uint16_t clientPort) const {
        const ssize_t sent = socket_.Send(bytes, client, clientPort);
        if (sent < 0) {
            const int error = errno;
            throw MonitorException("Send to %s:%u failed: %s", client.ToString().c_str(), clientPort,
                                   ErrnoText(error).c_str());
        }
        if (static_cast<size_t>(sent) != bytes.size())
            throw MonitorException("Sent %zu of %zu bytes to %s:%u", static_cast<size_t>(sent), bytes.size(),
                                   client.ToString().c_str(), clientPort);
    }

    void Print(uint32_t mask, int line, const std::string& event) const {
        if (DefaultDebug())
            DefaultDebug()->Printf(mask, __FILE__, line, "SyncedClockServer: %s", event.c_str());
    }

    const IPAddress local_;
    const uint16_t requestedPort_;
    const MicrosecondClock& clock_;
    const AllowedPeers allowed_;
    ClockSocket socket_;
    bool watched_ = false;
    PermanentCondition bindDecided_;
    std::atomic<uint16_t> port_{0};
    std::atomic<uint64_t> updatesProvided_{0};
};

SyncedClockServer::SyncedClockServer(Debuggable* parent, const IPAddress& local, uint16_t port,
                                     const MicrosecondClock& clock, const AllowedPeers& allowed)
    : SyncedClockServer(std::make_unique<Impl>(parent, local, port, clock, allowed)) {
    impl_->StartAndBind();
}
SyncedClockServer::SyncedClockServer(std::unique_ptr<Impl> impl)
    : Debuggable(impl.get()), impl_(std::move(impl)) {}

SyncedClockServer::~SyncedClockServer() {
    StopService(impl_, "SyncedClockServer");
}

IPAddress SyncedClockServer::GetIPAddress() const {
    return impl_->Local();
}
uint16_t SyncedClockServer::GetPort() const {
    return impl_->Port();
}
void SyncedClockServer::ReportStatistics(std::list<std::string>& lines) {
    impl_->GetStatistics(lines);
}

}  // namespace quarn
