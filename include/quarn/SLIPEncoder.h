#pragma once

/// Frames byte messages for a byte stream or a FIFO, by the SLIP rules of RFC 1055.
///
///     quarn::SLIPEncoder encoder("radio", 0);
///     if (encoder.Put(message) == 0)
///         CountLoss();  // the link stopped draining: everything that waited is gone, which was printed
///     ...
///     std::vector<uint8_t> bytes;  // kept from call to call, so that nothing is allocated
///     encoder.Read(bytes);
///     WriteToLink(bytes);
///
/// Nothing throws but for want of memory. Not locked: one thread at a time, as a rule the worker that owns
/// the link.

#include <quarn/Attributes.h>

#include <stddef.h>
#include <stdint.h>

#include <memory>
#include <string>
#include <vector>

namespace quarn {

class QUARN_API SLIPEncoder {
public:
    /// `name` appears in the message about an overflow. `maxBacklog` is the number of framed bytes that may
    /// wait, 0 for 262144.
    SLIPEncoder(const std::string& name, size_t maxBacklog);
    ~SLIPEncoder();
    SLIPEncoder(const SLIPEncoder&) = delete;
    SLIPEncoder& operator=(const SLIPEncoder&) = delete;

    /// Appends the message as a frame, which ends with END and does not begin with one; an empty message is a
    /// lone END. Returns the number of bytes that now wait. When they would be more than the limit,
    /// everything that waits is dropped, this message included; that is printed with mask ERR, and the result
    /// is 0.
    size_t Put(const std::vector<uint8_t>& message);

    /// Replaces `out` with the bytes that wait, none of which wait any longer. `out` gives its memory to the
    /// encoder in return.
    void Read(std::vector<uint8_t>& out);

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace quarn
