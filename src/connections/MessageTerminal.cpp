#include <quarn/CRC16.h>
#include <quarn/CRC32.h>
#include <quarn/Debug.h>
#include <quarn/IncomingMessage.h>
#include <quarn/MessageTerminal.h>
#include <quarn/OutgoingMessage.h>
#include <quarn/TCPConnection.h>
#include <quarn/TCPConnectionReceiver.h>
#include <quarn/Text.h>

#include "connections/Backlog.h"
#include "messages/MessageDecoder.h"
#include "messages/RangeCRC.h"

#include <algorithm>
#include <optional>

namespace quarn {

namespace {

constexpr size_t kDefaultBacklogLimit = 0x40000;
constexpr size_t kShownBytes = 8;

/// Trailing checksums for a search through a backlog. Garbage can hold a header at every byte, each with most
/// of the backlog behind it to be checked; once the bytes checked amount to the backlog itself, the sums of
/// ranges are formed from those of prefixes, so that the search stays linear.
class SearchCRC {
public:
    /// For a backlog of `size` bytes, asked for from front to back.
    explicit SearchCRC(size_t size) : size_(size) {}

    uint16_t CRC16Of(const uint8_t* data, size_t length) {
        return UseRanges(data, length) ? ranges_->CRC16Of(data, length) : CRC16::Compute(0, data, length);
    }
    uint32_t CRC32Of(const uint8_t* data, size_t length) {
        return UseRanges(data, length) ? ranges_->CRC32Of(data, length) : CRC32::Compute(0, data, length);
    }

private:
    bool UseRanges(const uint8_t* data, size_t length) {
        checked_ += length;
        if (checked_ > size_ && !ranges_)
            ranges_.emplace().Reset(data);
        return ranges_.has_value();
    }

    const size_t size_;
    size_t checked_ = 0;
    std::optional<RangeCRC> ranges_;
};

}  // namespace

class MessageTerminal::Impl final : public TCPConnectionReceiver {
public:
    explicit Impl(TCPConnection& connection) : connection_(connection) {}

    TCPConnection& Connection() { return connection_; }
    bool WorkPending() const { return !tx_.Empty(); }

    bool Work() {
        if (!connection_.Work(this))
            return false;
        bytesSent_ += tx_.SendTo(connection_);
        return true;
    }

    bool Flush() {
        bytesSent_ += tx_.SendTo(connection_);
        return connection_.IsAlive();
    }

    size_t Put(const OutgoingMessage& message) {
        tx_.Append(message.Sync(), message.Bytes());
        ++messagesTransmitted_;
        if (tx_.Size() > txLimit_) {
            if (DefaultDebug())
                DefaultDebug()->Printf(DEBUG_ERR, __FILE__, __LINE__,
                                       "TX backlog for \"%s\" reached %zu bytes; clearing (traffic lost).",
                                       connection_.GetName().c_str(), tx_.Size());
            tx_.Clear();
        }
        return tx_.Size();
    }

    bool Get(IncomingMessage& message) {
        if (rx_.Empty())
            return false;
        const DecodedMessage found = SkipGarbage();
        if (found.status != DecodeStatus::COMPLETE) {
            CheckedMessage::Clear(message);
            return false;
        }
        CheckedMessage::Store(message, rx_.Data(), found);
        rx_.Consume(found.totalSize);
        ++messagesReceived_;
        if (skipped_ != 0) {
            if (DefaultDebug())
                DefaultDebug()->Printf(DEBUG_ERR, __FILE__, __LINE__,
                                       "Message terminal on \"%s\" resynchronized after %zu bytes",
                                       connection_.GetName().c_str(), skipped_);
            skipped_ = 0;
        }
        return true;
    }

    size_t ToDecode() const { return rx_.Size(); }
    size_t ToSend() const { return tx_.Size(); }

    void SetRxBacklogLimit(size_t bytes) { rxLimit_ = bytes ? bytes : kDefaultBacklogLimit; }
    void SetTxBacklogLimit(size_t bytes) { txLimit_ = bytes ? bytes : kDefaultBacklogLimit; }

    uint64_t MessagesTransmitted() const { return messagesTransmitted_; }
    uint64_t MessagesReceived() const { return messagesReceived_; }
    uint64_t BytesReceived() const { return bytesReceived_; }
    uint64_t BytesSent() const { return bytesSent_; }

    void Receive(const void* data, size_t length) override {
        rx_.Append(data, length);
        bytesReceived_ += length;
        if (rx_.Size() <= rxLimit_)
            return;
        if (DefaultDebug()) {
            const std::string start =
                FormatHexBytesUnprefixedSeparated(rx_.Data(), std::min(rx_.Size(), kShownBytes), " ");
            DefaultDebug()->Printf(DEBUG_ERR, __FILE__, __LINE__,
                                   "RX backlog for \"%s\" reached %zu bytes (%s); clearing (traffic lost).",
                                   connection_.GetName().c_str(), rx_.Size(), start.c_str());
        }
        rx_.Clear();
    }

private:
    /// Drops the bytes before the first at which a message starts, or may start once more bytes are there.
    DecodedMessage SkipGarbage() {
        const uint8_t* const data = rx_.Data();
        const size_t size = rx_.Size();
        SearchCRC crc(size);
        DecodedMessage found;
        size_t garbage = 0;
        for (; garbage < size; ++garbage) {
            found = DecodeMessage(data + garbage, size - garbage, crc);
            if (found.status == DecodeStatus::COMPLETE || found.status == DecodeStatus::INCOMPLETE)
                break;
            if (skipped_ == 0)
                PrintResynchronizing(found.status, data[garbage]);
            ++skipped_;
        }
        rx_.Consume(garbage);
        return found;
    }

    void PrintResynchronizing(DecodeStatus status, uint8_t firstByte) const {
        if (DefaultDebug())
            DefaultDebug()->Printf(
                DEBUG_ERR, __FILE__, __LINE__, "Message terminal on \"%s\" resynchronizing: %s",
                connection_.GetName().c_str(), DescribeDecodeFailure(status, firstByte).c_str());
    }

    TCPConnection& connection_;
    Backlog rx_;
    Backlog tx_;
    size_t rxLimit_ = kDefaultBacklogLimit;
    size_t txLimit_ = kDefaultBacklogLimit;
    size_t skipped_ = 0;  // bytes since the stream stopped making sense, 0 while it does
    uint64_t messagesTransmitted_ = 0;
    uint64_t messagesReceived_ = 0;
    uint64_t bytesReceived_ = 0;
    uint64_t bytesSent_ = 0;
};

MessageTerminal::MessageTerminal(TCPConnection& connection) : impl_(std::make_unique<Impl>(connection)) {}
MessageTerminal::~MessageTerminal() = default;

bool MessageTerminal::Work() {
    return impl_->Work();
}
bool MessageTerminal::Flush() {
    return impl_->Flush();
}
bool MessageTerminal::WorkPending() {
    return impl_->WorkPending();
}
bool MessageTerminal::SetReadableFileDescriptorBit(fd_set* set, int* maxFd) {
    if (impl_->WorkPending())
        return false;
    return impl_->Connection().SetReadableFileDescriptorBit(set, maxFd);
}
int MessageTerminal::Socket() {
    return impl_->Connection().Socket();
}

size_t MessageTerminal::Put(const OutgoingMessage& message) {
    return impl_->Put(message);
}
bool MessageTerminal::Get(IncomingMessage& message) {
    return impl_->Get(message);
}

void MessageTerminal::SetRxBacklogLimit(size_t bytes) {
    impl_->SetRxBacklogLimit(bytes);
}
void MessageTerminal::SetTxBacklogLimit(size_t bytes) {
    impl_->SetTxBacklogLimit(bytes);
}

uint64_t MessageTerminal::GetTransmittedMessageCount() const {
    return impl_->MessagesTransmitted();
}
uint64_t MessageTerminal::GetReceivedMessageCount() const {
    return impl_->MessagesReceived();
}
void MessageTerminal::GetBacklogs(size_t* received, size_t* toSend) const {
    if (received)
        *received = impl_->ToDecode();
    if (toSend)
        *toSend = impl_->ToSend();
}
void MessageTerminal::GetByteCounts(uint64_t* received, uint64_t* sent) const {
    if (received)
        *received = impl_->BytesReceived();
    if (sent)
        *sent = impl_->BytesSent();
}

}  // namespace quarn
