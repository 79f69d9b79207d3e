#include <quarn/CharacterTerminal.h>
#include <quarn/Debug.h>
#include <quarn/TCPConnection.h>
#include <quarn/TCPConnectionReceiver.h>

#include "connections/Backlog.h"

namespace quarn {

namespace {

constexpr size_t kBacklogLimit = 16384;

}  // namespace

class CharacterTerminal::Impl final : public TCPConnectionReceiver {
public:
    explicit Impl(TCPConnection& connection) : connection_(connection) {}

    TCPConnection& Connection() { return connection_; }
    bool WorkPending() const { return !tx_.Empty(); }

    bool Work() {
        tx_.SendTo(connection_);
        return connection_.Work(this);
    }

    void Put(const std::vector<char>& data) {
        if (tx_.Size() >= kBacklogLimit) {
            PrintLoss("TX");
            tx_.Clear();
        }
        tx_.Append(data.data(), data.size());
    }

    bool Get(std::vector<char>& data) {
        if (rx_.empty())
            return false;
        data.clear();
        data.swap(rx_);  // so that the two vectors are used in turn and nothing is allocated
        return true;
    }

    void Receive(const void* data, size_t length) override {
        const char* characters = static_cast<const char*>(data);
        rx_.insert(rx_.end(), characters, characters + length);
        if (rx_.size() >= kBacklogLimit) {
            PrintLoss("RX");
            rx_ = std::vector<char>();
        }
    }

private:
    void PrintLoss(const char* direction) const {
        if (DefaultDebug())
            DefaultDebug()->Printf(DEBUG_ERR, __FILE__, __LINE__,
                                   "%s backlog for \"%s\" is full; clearing (traffic lost)", direction,
                                   connection_.GetName().c_str());
    }

    TCPConnection& connection_;
    std::vector<char> rx_;
    Backlog tx_;
};

CharacterTerminal::CharacterTerminal(TCPConnection& connection) : impl_(std::make_unique<Impl>(connection)) {}
CharacterTerminal::~CharacterTerminal() = default;

bool CharacterTerminal::Work() {
    return impl_->Work();
}
bool CharacterTerminal::WorkPending() {
    return impl_->WorkPending();
}
bool CharacterTerminal::SetReadableFileDescriptorBit(fd_set* set, int* maxFd) {
    return impl_->Connection().SetReadableFileDescriptorBit(set, maxFd);
}
int CharacterTerminal::Socket() {
    return impl_->Connection().Socket();
}

void CharacterTerminal::Put(const std::vector<char>& data) {
    impl_->Put(data);
}
bool CharacterTerminal::Get(std::vector<char>& data) {
    return impl_->Get(data);
}

}  // namespace quarn
