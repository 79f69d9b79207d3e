#include "services/ClockPacket.h"

#include <quarn/MicrosecondClock.h>
#include <quarn/MonitorException.h>

namespace quarn {

namespace {

uint16_t ReadU16(const uint8_t* bytes) {
    return static_cast<uint16_t>(bytes[0] | bytes[1] << 8);
}

void WriteU16(uint8_t* bytes, uint16_t value) {
    bytes[0] = static_cast<uint8_t>(value);
    bytes[1] = static_cast<uint8_t>(value >> 8);
}

}  // namespace

ClockPacket ClockPacket::Decode(const Bytes& bytes, ssize_t length) {
    constexpr auto expected = static_cast<ssize_t>(kSize);
    if (length != expected)
        throw MonitorException("Got %zd byte%s; expected %zd", length, length == 1 ? "" : "s", expected);
    if (const uint16_t magic = ReadU16(&bytes[0]); magic != kMagic)
        throw MonitorException("Bad magic number (got 0x%04X, expected 0x%04X)", magic, kMagic);
    ClockPacket packet;
    packet.sequence = ReadU16(&bytes[2]);
    packet.time = ReadU16(&bytes[4]) | uint32_t{ReadU16(&bytes[6])} << 16;
    return packet;
}

ClockPacket::Bytes ClockPacket::Encode() const {
    Bytes bytes;
    WriteU16(&bytes[0], kMagic);
    WriteU16(&bytes[2], sequence);
    WriteU16(&bytes[4], static_cast<uint16_t>(time));
    WriteU16(&bytes[6], static_cast<uint16_t>(time >> 16));
    return bytes;
}

uint32_t AnswerTimeRequest(ClockPacket::Bytes& bytes, ssize_t length, const MicrosecondClock& clock) {
    ClockPacket packet = ClockPacket::Decode(bytes, length);
    packet.time = clock.GetMicrosecondClock();
    bytes = packet.Encode();
    return packet.time;
}

}  // namespace quarn
