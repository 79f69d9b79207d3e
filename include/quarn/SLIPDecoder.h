#pragma once

/// Cuts byte messages out of a byte stream or a FIFO that frames them by the SLIP rules of RFC 1055.
///
///     quarn::SLIPDecoder decoder("radio", 0);
///     if (decoder.Write(received) == 0 && !received.empty())
///         CountLoss();  // no frame end for too long: everything that waited is gone, which was printed
///     std::vector<uint8_t> message;  // kept from call to call, so that nothing is allocated
///     while (decoder.Get(message))
///         Handle(message);
///
/// Nothing throws but for want of memory. A stream that is damaged costs the frames that the damage touches.
/// Not locked: one thread at a time, as a rule the worker that owns the link.

#include <quarn/Attributes.h>

#include <stddef.h>
#include <stdint.h>

#include <memory>
#include <string>
#include <vector>

namespace quarn {

class QUARN_API SLIPDecoder {
public:
    /// `name` appears in the message about an overflow. `maxBacklog` is the number of received bytes that may
    /// wait, 0 for 262144.
    SLIPDecoder(const std::string& name, size_t maxBacklog);
    ~SLIPDecoder();
    SLIPDecoder(const SLIPDecoder&) = delete;
    SLIPDecoder& operator=(const SLIPDecoder&) = delete;

    /// Appends received bytes. Returns the number of bytes that now wait. When they would be more than the
    /// limit, everything that waits is dropped, complete frames and these bytes included; that is printed
    /// with mask ERR, and the result is 0.
    size_t Write(const std::vector<uint8_t>& bytes);

    /// Write() of four bytes a word, the most significant first. Reads each of the `count` words exactly
    /// once, in ascending order of addresses, also when they overflow the backlog: every read takes a word
    /// from a FIFO.
    size_t WriteFromMemoryMapping(const volatile uint32_t* words, size_t count);

    /// Takes the first complete frame. Returns true with its bytes in `message`, or false with `message` left
    /// alone while there is none. Empty frames are never handed out. ESC with a byte behind it that is
    /// neither ESC_END nor ESC_ESC stands for that byte, END included. What belongs to a frame waits, and
    /// counts against the limit, until the frame is taken; so do ENDs in front of one.
    bool Get(std::vector<uint8_t>& message);

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace quarn
