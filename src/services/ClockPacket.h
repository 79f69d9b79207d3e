#pragma once

#include <stddef.h>
#include <stdint.h>
#include <sys/types.h>

#include <array>

namespace quarn {

class MicrosecondClock;

/// The datagram between clock client and server, the same both ways: three little-endian numbers.
struct ClockPacket {
    static constexpr size_t kSize = 8;
    static constexpr uint16_t kMagic = 0x4353;  // "SC" on the wire
    using Bytes = std::array<uint8_t, kSize>;

    /// Checks length and magic. `length` is the datagram's own, of which `bytes` may hold only the start.
    /// Throws MonitorException "Got %zd byte%s; expected %zd" or "Bad magic number (got 0x%04X, expected
    /// 0x%04X)".
    static ClockPacket Decode(const Bytes& bytes, ssize_t length);
    Bytes Encode() const;

    uint16_t sequence = 0;  ///< chosen by the client, repeated by the server
    uint32_t time = 0;      ///< 0 in a request, the server's clock in a reply
};

/// The server's side of an exchange: turns the request into its reply. Returns the time in it. Throws as
/// Decode() and the clock do.
uint32_t AnswerTimeRequest(ClockPacket::Bytes& bytes, ssize_t length, const MicrosecondClock& clock);

}  // namespace quarn
