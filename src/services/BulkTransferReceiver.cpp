#include <quarn/BulkTransferReceiver.h>
#include <quarn/FileUtilities.h>
#include <quarn/MonitorException.h>
#include <quarn/PermanentCondition.h>
#include <quarn/SentenceDetails.h>
#include <quarn/SocketUtilities.h>
#include <quarn/TCPListener.h>
#include <quarn/Text.h>

#include "foundation/ErrnoText.h"
#include "services/BulkTransfer.h"
#include "services/StopService.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace quarn {

namespace {

constexpr uint32_t kListenLimitMs = 1000;

}  // namespace

class BulkTransferReceiver::Impl final : public BulkTransfer {
public:
    Impl(Debuggable* parent, const std::string& path, uint32_t token, const IPAddress& address, uint16_t port,
         const AllowedPeers& allowed)
        : BulkTransfer(parent, "bulk-recv", "BulkTransferReceiver", path, token),
          address_(address),
          requestedPort_(port),
          allowed_(allowed) {}

    void StartAndListen() {
        Start();
        listenDecided_.WaitFor(kListenLimitMs);
    }

    uint16_t Port() const { return port_; }
    uint32_t Received() const { return received_; }

private:
    void Begin() override {
        file_ = Descriptor(open(path_.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666));
        if (file_.Get() < 0)
            throw MonitorException("Could not open %s for writing: %s", path_.c_str(),
                                   ErrnoText(errno).c_str());
        hasOpened_ = true;
        struct stat opened;
        ownsFile_ =
            fstat(file_.Get(), &opened) == 0 && S_ISREG(opened.st_mode);  // a device is not ours to delete
        PrintProgress("Opened %s for writing", path_.c_str());
        listener_ = std::make_unique<TCPListener>(address_, requestedPort_);
        listener_->SetAllowedPeers(allowed_);
        port_ = listener_->GetPort();
        PrintProgress("Listening on %s:%u", address_.ToString().c_str(), port_.load());
        AddWaitableFileDescriptor(listener_->Socket(), WAIT_READ, "listener");
        watchesListener_ = true;
        listenDecided_.Raise();
    }

    bool Connect() override {
        if (Connection())
            return true;
        std::unique_ptr<TCPConnection> connection(listener_->Accept("bulk ($peer$)"));
        if (!connection)
            return false;
        PrintProgress("Accepted connection from %s",
                      SocketUtilities::DescribePeer(connection->Socket()).c_str());
        ForgetListener();  // one sender is served; others that knock must not wake the worker
        Adopt(std::move(connection));
        return true;
    }

    bool NeedsPeer() const override { return status_ != BULK_TRANSFER_SUCCEEDED; }

    void Handle(const Sentence& sentence) override {
        switch (const uint32_t tag = sentence.GetDetails().GetTag()) {
            case BulkTransferGrammar::INIT:
                HandleInit(sentence.Word(0).As<uint32_t>(), sentence.Word(1).As<uint32_t>());
                break;
            case BulkTransferGrammar::PART:
                HandlePart(sentence.Word(0).As<uint32_t>(), sentence.Word(1).As<std::vector<uint8_t>>());
                break;
            default:
                throw MonitorException("Received unsupported tag %04X", tag);
        }
    }

    void HandleInit(uint32_t token, uint32_t total) {
        if (!IsTimerRunning() || total_ != 0)
            throw MonitorException("Received INIT message in wrong state");
        PrintPacket("Received INIT (Token %08X, Total %u)", token, total);
        if (token != token_)
            throw MonitorException("Received INIT with token %08X; expected %08X", token, token_);
        PrintProgress("Sender indicates %u bytes to be sent", total);
        total_ = total;
        RestartTimer();
        status_ = BULK_TRANSFER_IN_PROGRESS;
        if (total != 0)
            return;
        Finish();
        Acknowledge();  // an empty file has no part whose acknowledgement would end the sender's transfer
    }

    void HandlePart(uint32_t offset, const std::vector<uint8_t>& data) {
        if (!IsTimerRunning() || total_ == 0)
            throw MonitorException("Received PART message in wrong state");
        PrintPacket("Received PART (Offset %u, %zu data bytes)", offset, data.size());
        if (offset != received_)
            throw MonitorException("Received PART with offset %u, expected %u", offset, received_.load());
        if (data.size() > total_ - received_)
            throw MonitorException("Received PART with %zu bytes at offset %u, past the total of %u",
                                   data.size(), offset, total_.load());
        WriteData(data);
        received_ += static_cast<uint32_t>(data.size());
        // In 32 bits, deliberately, so that it is not right for large files.
        progress_ = static_cast<uint8_t>(received_ * 100 / total_);
        RestartTimer();
        if (received_ == total_)
            Finish();
        Acknowledge();
    }

    void WriteData(const std::vector<uint8_t>& data) const {
        for (size_t written = 0; written < data.size();) {
            const ssize_t n = write(file_.Get(), data.data() + written, data.size() - written);
            if (n < 0 && errno == EINTR)
                continue;
            if (n < 0)
                throw MonitorException("Error writing %s: %s", path_.c_str(), ErrnoText(errno).c_str());
            written += static_cast<size_t>(n);
        }
    }

    // Closing is the last chance to hear that what was written did not fit after all.
    void Finish() {
        if (close(file_.Release()) != 0)
            throw MonitorException("Error writing %s: %s", path_.c_str(), ErrnoText(errno).c_str());
        EndTransfer(true);
    }

    void Acknowledge() {
        PrintPacket("Sending ACK (%u total bytes received)", received_.load());
        Say(BulkTransferGrammar::ACK, {received_.load()}, "Could not generate ACK");
    }

    void ForgetListener() {
        if (!watchesListener_)
            return;
        RemoveWaitableFileDescriptor(listener_->Socket());
        watchesListener_ = false;
    }

    void Finalize() override {
        listenDecided_.Raise();
        if (hasOpened_)
            PrintProgress("Closing %s", path_.c_str());
        file_ = Descriptor();
        if (status_ != BULK_TRANSFER_SUCCEEDED && ownsFile_)
            RemoveFile();
        CloseConnection();
        ForgetListener();
        if (listener_)
            PrintProgress("Closing listener");
        listener_.reset();
    }

    void RemoveFile() const {
        PrintProgress("Removing %s", path_.c_str());
        try {
            FileUtilities::RemoveFileOrEmptyDirectory(path_);
        } catch (const MonitorException& e) {
            PrintFailure("%s", e.Description().c_str());
        }
    }

    const IPAddress address_;
    const uint16_t requestedPort_;
    const AllowedPeers allowed_;
    std::unique_ptr<TCPListener> listener_;
    bool watchesListener_ = false;
    bool hasOpened_ = false;
    bool ownsFile_ = false;
    PermanentCondition listenDecided_;
    std::atomic<uint16_t> port_{0};
    std::atomic<uint32_t> received_{0};
};

BulkTransferReceiver::BulkTransferReceiver(Debuggable* parent, const std::string& path, uint32_t token,
                                           const IPAddress& listenAddress, uint16_t port,
                                           const AllowedPeers& allowed)
    : BulkTransferReceiver(std::make_unique<Impl>(parent, path, token, listenAddress, port, allowed)) {
    impl_->StartAndListen();
}

BulkTransferReceiver::BulkTransferReceiver(std::unique_ptr<Impl> impl)
    : Debuggable(impl.get()), impl_(std::move(impl)) {}

BulkTransferReceiver::~BulkTransferReceiver() {
    StopService(impl_, "BulkTransferReceiver");
}

uint32_t BulkTransferReceiver::GetStatus(uint8_t* progress) const {
    return impl_->GetStatus(progress);
}

uint32_t BulkTransferReceiver::GetReceivedBytes() const {
    return impl_->Received();
}

uint16_t BulkTransferReceiver::GetPort() const {
    return impl_->Port();
}

void BulkTransferReceiver::ReportStatistics(std::list<std::string>& lines) {
    impl_->GetStatistics(lines);
}

}  // namespace quarn
