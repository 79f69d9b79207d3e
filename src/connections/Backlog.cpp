#include "connections/Backlog.h"

#include <quarn/TCPConnection.h>

namespace quarn {

void Backlog::Append(const void* data, size_t length) {
    if (bytes_.capacity() - bytes_.size() < length && head_ >= Size()) {
        bytes_.erase(bytes_.begin(), bytes_.begin() + static_cast<ptrdiff_t>(head_));
        head_ = 0;
    }
    const uint8_t* bytes = static_cast<const uint8_t*>(data);
    bytes_.insert(bytes_.end(), bytes, bytes + length);
}

void Backlog::Consume(size_t length) {
    head_ += length;
    if (bytes_.capacity() > kKeptBytes && Size() <= kKeptBytes / 4) {
        bytes_ = std::vector<uint8_t>(Data(), Data() + Size());
        head_ = 0;
    } else if (Empty()) {
        bytes_.clear();
        head_ = 0;
    }
}

size_t Backlog::SendTo(TCPConnection& connection) {
    size_t total = 0;
    while (!Empty()) {
        const size_t sent = connection.Send(Data(), Size());
        if (sent == 0)
            break;
        Consume(sent);
        total += sent;
    }
    return total;
}

}  // namespace quarn
