#pragma once

/// A queue of bytes that is written and read in pieces of any size.
///
///     quarn::BufferChain chain;
///     chain.Write(received);
///     std::vector<uint8_t> piece;
///     while (chain.AvailableBytes() >= 512) {
///         chain.Read(piece, 512);
///         ...
///     }
///
/// Fails only for want of memory. Not locked: one thread at a time.

#include <quarn/Attributes.h>

#include <stddef.h>
#include <stdint.h>

#include <deque>
#include <vector>

namespace quarn {

class QUARN_API BufferChain {
public:
    /// Appends a copy of the bytes.
    void Write(const std::vector<uint8_t>& bytes);
    /// Replaces `out` with at most `maximum` bytes from the front, or with all when that is 0.
    void Read(std::vector<uint8_t>& out, size_t maximum);
    size_t AvailableBytes() const { return available_; }

private:
    std::deque<std::vector<uint8_t>> buffers_;
    size_t frontRead_ = 0;  // bytes of the first buffer that are gone
    size_t available_ = 0;
};

}  // namespace quarn
