#pragma once

#include <quarn/Attributes.h>
#include <quarn/BulkTransferGrammar.h>
#include <quarn/BulkTransferStatus.h>
#include <quarn/Debug.h>
#include <quarn/Debuggable.h>
#include <quarn/IncomingMessage.h>
#include <quarn/MessageTerminal.h>
#include <quarn/Sentence.h>
#include <quarn/TCPConnection.h>
#include <quarn/VariantValue.h>
#include <quarn/Worker.h>

#include "foundation/Descriptor.h"

#include <stdarg.h>
#include <stdint.h>

#include <atomic>
#include <memory>
#include <string>
#include <vector>

namespace quarn {

/// What the two ends of a bulk transfer share: the connection, the progress timer, and the end in success or
/// failure. Every failure of a cycle is a MonitorException that is caught here, printed and ends the
/// transfer.
class BulkTransfer : public Debuggable, public Worker {
public:
    uint32_t GetStatus(uint8_t* progress) const;

protected:
    static constexpr size_t kBacklogLimit = 0x100000;

    BulkTransfer(Debuggable* parent, const char* workerName, const char* kind, const std::string& path,
                 uint32_t token);
    ~BulkTransfer() override = default;

    /// Opens what the transfer needs.
    virtual void Begin() = 0;
    /// Makes the connection as far as that goes now; true once it stands.
    virtual bool Connect() = 0;
    /// What is to be said before messages are handled, and after.
    virtual void SayFirst() {}
    virtual void SayNext() {}
    virtual void Handle(const Sentence& sentence) = 0;
    /// Whether a peer that goes away now ends the transfer.
    virtual bool NeedsPeer() const { return true; }

    bool Initialize() final;
    bool Work() final;

    /// Takes the connection over, sets a terminal on it and watches it.
    void Adopt(std::unique_ptr<TCPConnection> connection);
    TCPConnection* Connection() { return connection_.get(); }
    MessageTerminal& Terminal() { return *terminal_; }
    /// "bulk" sentences go out in this cycle if the connection takes them.
    void Say(uint32_t tag, const std::vector<VariantValue>& words, const char* failure);
    void RestartTimer();
    bool IsTimerRunning() const { return progressTick_ != 0; }
    bool HasEnded() const { return status_ >= BULK_TRANSFER_FAILED; }
    void EndTransfer(bool success);
    /// Lets what is queued leave, and drops terminal and connection.
    void CloseConnection();

    /// Print with the title in front: always, at debug level 1, at level 2. Nothing is formatted that is not
    /// wanted.
    void PrintFailure(const char* format, ...) const QUARN_PRINTF(2, 3);
    void PrintProgress(const char* format, ...) const QUARN_PRINTF(2, 3);
    void PrintPacket(const char* format, ...) const QUARN_PRINTF(2, 3);

    const std::string path_;
    const uint32_t token_;
    const BulkTransferGrammar grammar_;
    Descriptor file_;
    std::atomic<uint32_t> status_{BULK_TRANSFER_STARTING};
    std::atomic<uint8_t> progress_{0};
    std::atomic<uint32_t> total_{0};

private:
    void Step();
    void Exchange();
    void HandleMessages();
    void CheckTimer() const;
    void WatchConnection();
    void Fail(const std::string& why);
    void Print(uint32_t mask, const char* format, va_list arguments) const QUARN_VPRINTF(3);

    const std::string title_;
    std::unique_ptr<TCPConnection> connection_;
    std::unique_ptr<MessageTerminal> terminal_;
    IncomingMessage message_;
    int32_t watchedFlags_ = 0;
    uint64_t progressTick_ = 0;  // of the last progress, 0 while the timer does not run
};

}  // namespace quarn
