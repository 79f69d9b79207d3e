#include <quarn/Debug.h>
#include <quarn/LineTerminal.h>
#include <quarn/TCPConnection.h>
#include <quarn/TCPConnectionReceiver.h>
#include <quarn/Text.h>

#include <deque>

namespace quarn {

namespace {

constexpr size_t kPartialLineLimit = 65535;
constexpr size_t kLineLimit = 1023;
// The partial line's memory that is kept for the next one.
constexpr size_t kKeptCharacters = 16384;

}  // namespace

class LineTerminal::Impl final : public TCPConnectionReceiver {
public:
    explicit Impl(TCPConnection& connection) : connection_(connection) {}

    TCPConnection& Connection() { return connection_; }
    bool WorkPending() const { return !tx_.empty(); }

    bool Work() {
        SendLines();
        return connection_.Work(this);
    }

    void Put(const std::string& line) {
        if (tx_.size() > kLineLimit) {
            PrintLoss("TX line backlog");
            tx_.clear();
            frontSent_ = 0;
        }
        tx_.push_back(line + "\n");
    }

    bool Get(std::string& line) {
        if (rx_.empty())
            return false;
        line = std::move(rx_.front());
        rx_.pop_front();
        return true;
    }

    void GetCharacterCounts(uint64_t* received, uint64_t* sent) const {
        if (received)
            *received = charactersReceived_;
        if (sent)
            *sent = charactersSent_;
    }

    void Receive(const void* data, size_t length) override {
        charactersReceived_ += length;
        // What waited before holds no newline, so the search starts behind it.
        const size_t searched = partial_.size();
        partial_.append(static_cast<const char*>(data), length);
        if (partial_.size() > kPartialLineLimit) {
            PrintLoss("RX partial line");
            partial_ = std::string();
            return;
        }
        TakeLines(searched);
        if (partial_.empty() && partial_.capacity() > kKeptCharacters)
            partial_ = std::string();
    }

private:
    void SendLines() {
        while (!tx_.empty()) {
            const std::string& line = tx_.front();
            const size_t sent = connection_.Send(line.data() + frontSent_, line.size() - frontSent_);
            if (sent == 0)
                return;
            charactersSent_ += sent;
            frontSent_ += sent;
            if (frontSent_ == line.size()) {
                tx_.pop_front();
                frontSent_ = 0;
            }
        }
    }

    void TakeLines(size_t searched) {
        size_t start = 0;
        for (size_t end = partial_.find('\n', searched); end != std::string::npos;
             end = partial_.find('\n', start)) {
            rx_.push_back(TrimRight(partial_.substr(start, end - start)));
            start = end + 1;
            if (rx_.size() > kLineLimit) {
                PrintLoss("RX line backlog");
                rx_.clear();
            }
        }
        partial_.erase(0, start);
    }

    void PrintLoss(const char* backlog) const {
        if (DefaultDebug())
            DefaultDebug()->Printf(DEBUG_ERR, __FILE__, __LINE__,
                                   "%s for \"%s\" is full; clearing (traffic lost)", backlog,
                                   connection_.GetName().c_str());
    }

    TCPConnection& connection_;
    std::string partial_;
    std::deque<std::string> rx_;
    std::deque<std::string> tx_;
    size_t frontSent_ = 0;  // how much of the oldest line has gone out
    uint64_t charactersReceived_ = 0;
    uint64_t charactersSent_ = 0;
};

LineTerminal::LineTerminal(TCPConnection& connection) : impl_(std::make_unique<Impl>(connection)) {}
LineTerminal::~LineTerminal() = default;

bool LineTerminal::Work() {
    return impl_->Work();
}
bool LineTerminal::WorkPending() {
    return impl_->WorkPending();
}
bool LineTerminal::SetReadableFileDescriptorBit(fd_set* set, int* maxFd) {
    return impl_->Connection().SetReadableFileDescriptorBit(set, maxFd);
}
int LineTerminal::Socket() {
    return impl_->Connection().Socket();
}

void LineTerminal::Put(const std::string& line) {
    impl_->Put(line);
}
bool LineTerminal::Get(std::string& line) {
    return impl_->Get(line);
}
void LineTerminal::GetCharacterCounts(uint64_t* received, uint64_t* sent) {
    impl_->GetCharacterCounts(received, sent);
}

}  // namespace quarn
