#include <quarn/BulkTransferSender.h>
#include <quarn/MonitorException.h>
#include <quarn/SentenceDetails.h>
#include <quarn/SocketUtilities.h>
#include <quarn/Text.h>

#include "foundation/ErrnoText.h"
#include "services/BulkTransfer.h"
#include "services/StopService.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

namespace quarn {

namespace {

// What surrounds the data of the largest part: the message's header and trailer, and the heads of two words.
constexpr uint32_t kPartOverhead = 7 + 2 + 5 + 4 + 5;
// The announcement, which may still wait in a backlog beside the first part.
constexpr uint32_t kInitSize = 4 + 5 + 4 + 5 + 4 + 2;

}  // namespace

class BulkTransferSender::Impl final : public BulkTransfer {
public:
    Impl(Debuggable* parent, const std::string& path, uint32_t token, const IPAddress& receiver,
         uint16_t port, uint32_t chunkSize)
        : BulkTransfer(parent, "bulk-send", "BulkTransferSender", path, token),
          receiver_(receiver),
          port_(port),
          chunkSize_(chunkSize) {}

    uint32_t Acknowledged() const { return acknowledged_; }
    uint32_t Total() const { return total_; }

private:
    void Begin() override {
        CheckChunkSize();
        OpenFile();
        Adopt(std::make_unique<TCPConnection>(Format("bulk (%s:%u)", receiver_.ToString().c_str(), port_),
                                              receiver_, port_));
    }

    void CheckChunkSize() const {
        constexpr uint32_t largest = kBacklogLimit - kPartOverhead - kInitSize;
        if (chunkSize_ == 0 || chunkSize_ > largest)
            throw MonitorException("A chunk size of %u bytes is not in the range 1..%u", chunkSize_, largest);
    }

    void OpenFile() {
        // Without O_NONBLOCK a named pipe would hold the thread until somebody writes to it.
        file_ = Descriptor(open(path_.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
        if (file_.Get() < 0)
            throw MonitorException("Could not open %s for reading: %s", path_.c_str(),
                                   ErrnoText(errno).c_str());
        PrintProgress("Opened %s for reading", path_.c_str());
        if (lseek(file_.Get(), 0, SEEK_END) < 0)
            throw MonitorException("Could not seek to end of %s for sizing: %s", path_.c_str(),
                                   ErrnoText(errno).c_str());
        const off_t size = lseek(file_.Get(), 0, SEEK_CUR);
        if (size < 0)
            throw MonitorException("Could not get position of %s for sizing: %s", path_.c_str(),
                                   ErrnoText(errno).c_str());
        if (size > UINT32_MAX)
            throw MonitorException("%s is too large: %ld of at most %u bytes", path_.c_str(), size,
                                   UINT32_MAX);
        total_ = static_cast<uint32_t>(size);
    }

    bool Connect() override {
        if (isEstablished_)
            return true;
        // Through the terminal: what the peer has said already is read along with the connecting.
        if (!Connection()->IsConnected() && !Terminal().Work())
            throw MonitorException("Failed to connect");
        if (!Connection()->IsConnected())
            return false;
        isEstablished_ = true;
        PrintProgress("Established connection to %s",
                      SocketUtilities::DescribePeer(Connection()->Socket()).c_str());
        return true;
    }

    void SayFirst() override {
        if (status_ != BULK_TRANSFER_STARTING)
            return;
        PrintPacket("Sending INIT (Token %08X, Total %u)", token_, total_.load());
        Say(BulkTransferGrammar::INIT, {token_, total_.load()}, "Could not generate INIT");
        status_ = BULK_TRANSFER_IN_PROGRESS;
    }

    void SayNext() override {
        if (status_ != BULK_TRANSFER_IN_PROGRESS || sent_ != acknowledged_ || sent_ >= total_)
            return;
        const uint32_t length = std::min(chunkSize_, total_ - sent_);
        std::vector<uint8_t> data = ReadChunk(length);
        PrintPacket("Sending PART (Offset %u, %u data bytes)", sent_, length);
        std::vector<VariantValue> words(2);
        words[0].Set(sent_);
        words[1].Set(std::move(data));
        Say(BulkTransferGrammar::PART, words, "Could not generate PART");
        sent_ += length;
    }

    std::vector<uint8_t> ReadChunk(uint32_t length) const {
        std::vector<uint8_t> data(length);
        size_t have = 0;
        while (have < length) {
            const ssize_t n =
                pread(file_.Get(), data.data() + have, length - have, static_cast<off_t>(sent_) + have);
            if (n < 0 && errno == EINTR)
                continue;
            if (n < 0)
                throw MonitorException("Error reading %s: %s", path_.c_str(), ErrnoText(errno).c_str());
            if (n == 0)
                throw MonitorException("Read %zu of %zu bytes from %s", have, size_t{length}, path_.c_str());
            have += static_cast<size_t>(n);
        }
        if (sent_ + length == total_)
            CheckSize();
        return data;
    }

    void CheckSize() const {
        struct stat now;
        if (fstat(file_.Get(), &now) == 0 && S_ISREG(now.st_mode) &&
            now.st_size != static_cast<off_t>(total_))
            throw MonitorException("%s changed its size from %u to %ld bytes", path_.c_str(), total_.load(),
                                   now.st_size);
    }

    void Handle(const Sentence& sentence) override {
        const uint32_t tag = sentence.GetDetails().GetTag();
        if (tag != BulkTransferGrammar::ACK)
            throw MonitorException("Received unsupported tag %04X", tag);
        const uint32_t count = sentence.Word(0).As<uint32_t>();
        PrintPacket("Received ACK (Total %u)", count);
        if (status_ != BULK_TRANSFER_IN_PROGRESS)
            throw MonitorException("Received ACK in wrong state");
        if (count < acknowledged_) {
            PrintProgress("Reader acknowledged %u bytes, but had previously acknowledged %u", count,
                          acknowledged_.load());
            return;
        }
        acknowledged_ = count;
        PrintPacket("Reader acknowledged %u bytes", count);
        RestartTimer();
        if (count == total_)
            EndTransfer(true);
    }

    void Finalize() override {
        if (file_.Get() >= 0) {
            PrintProgress("Closing %s", path_.c_str());
            file_ = Descriptor();
        }
        CloseConnection();
    }

    const IPAddress receiver_;
    const uint16_t port_;
    const uint32_t chunkSize_;
    bool isEstablished_ = false;
    uint32_t sent_ = 0;
    std::atomic<uint32_t> acknowledged_{0};
};

BulkTransferSender::BulkTransferSender(Debuggable* parent, const std::string& path, uint32_t token,
                                       const IPAddress& receiver, uint16_t port, uint32_t chunkSize)
    : BulkTransferSender(std::make_unique<Impl>(parent, path, token, receiver, port, chunkSize)) {
    impl_->Start();
}

BulkTransferSender::BulkTransferSender(std::unique_ptr<Impl> impl)
    : Debuggable(impl.get()), impl_(std::move(impl)) {}

BulkTransferSender::~BulkTransferSender() {
    StopService(impl_, "BulkTransferSender");
}

uint32_t BulkTransferSender::GetStatus(uint8_t* progress) const {
    return impl_->GetStatus(progress);
}

uint32_t BulkTransferSender::GetAcknowledgedBytes() const {
    return impl_->Acknowledged();
}

uint32_t BulkTransferSender::GetTotalBytes() const {
    return impl_->Total();
}

void BulkTransferSender::ReportStatistics(std::list<std::string>& lines) {
    impl_->GetStatistics(lines);
}

}  // namespace quarn
