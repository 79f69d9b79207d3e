#include "services/BulkTransfer.h"

#include <quarn/LocalTime.h>
#include <quarn/MonitorException.h>
#include <quarn/OutgoingMessage.h>
#include <quarn/SentenceDetails.h>
#include <quarn/Text.h>

namespace quarn {

namespace {

constexpr int32_t kPollMs = 10;  // for the time limits; the connection wakes the worker by itself
constexpr uint64_t kProgressLimitMs = 2000;
// A terminal takes a block of the connection's at a time; as many as fill the backlog are taken in one cycle.
constexpr size_t kReadBlock = 4096;
constexpr size_t kReadsPerCycle = 256;

}  // namespace

BulkTransfer::BulkTransfer(Debuggable* parent, const char* workerName, const char* kind,
                           const std::string& path, uint32_t token)
    : Debuggable(parent),
      Worker(this, workerName),
      path_(path),
      token_(token),
      title_(Format("%s %08X", kind, token)) {}

uint32_t BulkTransfer::GetStatus(uint8_t* progress) const {
    const uint32_t status = status_;  // first, so that success comes with the progress that it rests on
    if (progress)
        *progress = progress_;
    return status;
}

bool BulkTransfer::Initialize() {
    SetPollInterval(kPollMs);
    try {
        Begin();
        RestartTimer();
        return true;
    } catch (const MonitorException& e) {
        Fail(e.Description());
        return false;
    }
}

bool BulkTransfer::Work() {
    try {
        Step();
    } catch (const MonitorException& e) {
        Fail(e.Description());
    }
    return !HasEnded();
}

void BulkTransfer::Step() {
    if (Connect())
        Exchange();
    if (!HasEnded())
        CheckTimer();
    WatchConnection();
}

void BulkTransfer::Exchange() {
    uint64_t before = 0;
    uint64_t after = 0;
    for (size_t i = 0; i < kReadsPerCycle; ++i) {
        terminal_->GetByteCounts(&before, nullptr);
        const bool open = terminal_->Work();
        if (i == 0 && open)
            SayFirst();
        HandleMessages();
        if (HasEnded())
            return;
        if (!open && NeedsPeer())
            throw MonitorException("Peer closed connection");
        SayNext();
        terminal_->GetByteCounts(&after, nullptr);
        if (after - before < kReadBlock)
            break;
    }
    terminal_->Flush();
}

void BulkTransfer::HandleMessages() {
    while (!HasEnded() && terminal_->Get(message_)) {
        const std::unique_ptr<Sentence> sentence(grammar_.CreateSentence(&message_));
        if (!sentence)
            throw MonitorException("Unrecognized message from peer");
        Handle(*sentence);
    }
}

void BulkTransfer::CheckTimer() const {
    if (!IsTimerRunning())
        return;
    const uint64_t elapsed = MillisecondsSince(progressTick_);
    if (elapsed > kProgressLimitMs)
        throw MonitorException("Timed out after %u ms", static_cast<uint32_t>(elapsed));
}

void BulkTransfer::Adopt(std::unique_ptr<TCPConnection> connection) {
    connection_ = std::move(connection);
    terminal_ = std::make_unique<MessageTerminal>(*connection_);
    terminal_->SetRxBacklogLimit(kBacklogLimit);
    terminal_->SetTxBacklogLimit(kBacklogLimit);
    WatchConnection();
}

void BulkTransfer::WatchConnection() {
    if (!connection_)
        return;
    int32_t wanted = WAIT_READ;
    if (!connection_->IsConnected())
        wanted = WAIT_WRITE;
    else if (terminal_->WorkPending())
        wanted |= WAIT_WRITE;
    if (wanted == watchedFlags_)
        return;
    if (watchedFlags_ != 0)
        RemoveWaitableFileDescriptor(connection_->Socket());
    watchedFlags_ = 0;
    AddWaitableFileDescriptor(connection_->Socket(), wanted, connection_->GetName());
    watchedFlags_ = wanted;
}

void BulkTransfer::Say(uint32_t tag, const std::vector<VariantValue>& words, const char* failure) {
    const std::unique_ptr<OutgoingMessage> message(grammar_.CreateOutgoingMessage(tag, words));
    if (!message)
        throw MonitorException("%s", failure);
    terminal_->Put(*message);
}

void BulkTransfer::RestartTimer() {
    progressTick_ = Tick();
}

void BulkTransfer::EndTransfer(bool success) {
    if (success)
        PrintProgress("Transfer succeeded");
    else
        PrintFailure("Transfer failed");
    status_ = success ? BULK_TRANSFER_SUCCEEDED : BULK_TRANSFER_FAILED;
    progressTick_ = 0;
}

void BulkTransfer::Fail(const std::string& why) {
    PrintFailure("%s", why.c_str());
    EndTransfer(false);
}

void BulkTransfer::CloseConnection() {
    if (!connection_)
        return;
    terminal_->Flush();  // a last acknowledgement still leaves
    PrintProgress("Closing peer connection");
    if (watchedFlags_ != 0)
        RemoveWaitableFileDescriptor(connection_->Socket());
    terminal_.reset();
    connection_.reset();
}

void BulkTransfer::Print(uint32_t mask, const char* format, va_list arguments) const {
    if (DefaultDebug())
        DefaultDebug()->Printf(mask, __FILE__, __LINE__, "%s: %s", title_.c_str(),
                               FormatV(format, arguments).c_str());
}

void BulkTransfer::PrintFailure(const char* format, ...) const {
    va_list arguments;
    va_start(arguments, format);
    Print(DEBUG_ERR, format, arguments);
    va_end(arguments);
}

void BulkTransfer::PrintProgress(const char* format, ...) const {
    if (GetDebugLevel() < 1)
        return;
    va_list arguments;
    va_start(arguments, format);
    Print(DEBUG_ALWAYS, format, arguments);
    va_end(arguments);
}

void BulkTransfer::PrintPacket(const char* format, ...) const {
    if (GetDebugLevel() < 2)
        return;
    va_list arguments;
    va_start(arguments, format);
    Print(DEBUG_ALWAYS, format, arguments);
    va_end(arguments);
}

}  // namespace quarn
