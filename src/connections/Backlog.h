#pragma once

#include <stddef.h>
#include <stdint.h>

#include <vector>

namespace quarn {

class TCPConnection;

/// Bytes that wait in one contiguous piece, appended at the end and consumed from the front. Consuming moves
/// an offset; the bytes move only when room is needed and at least half of them have been consumed, so that
/// the price of a byte does not depend on how many wait. At most kKeptBytes of memory stay once few bytes are
/// left.
class Backlog {
public:
    static constexpr size_t kKeptBytes = 65536;

    bool Empty() const { return head_ == bytes_.size(); }
    size_t Size() const { return bytes_.size() - head_; }
    const uint8_t* Data() const { return bytes_.data() + head_; }
    size_t Capacity() const { return bytes_.capacity(); }

    void Append(const void* data, size_t length);
    /// `length` is at most Size().
    void Consume(size_t length);
    void Clear() { Consume(Size()); }

    /// Sends from the front until the connection takes no more. Returns the bytes sent.
    size_t SendTo(TCPConnection& connection);

private:
    std::vector<uint8_t> bytes_;
    size_t head_ = 0;
};

}  // namespace quarn
