#pragma once

#include <quarn/CRC16.h>
#include <quarn/CRC32.h>

#include <stdint.h>

#include <sstream>
#include <string>
#include <vector>

namespace quarn::test {

/// The bytes of a text like "A1 08 01".
inline std::vector<uint8_t> Bytes(const std::string& hex) {
    std::istringstream stream(hex);
    std::vector<uint8_t> bytes;
    for (unsigned byte; stream >> std::hex >> byte;)
        bytes.push_back(uint8_t(byte));
    return bytes;
}

/// The header with its CRC, the payload and a good trailing CRC32.
inline std::vector<uint8_t> WithCRCs(const std::string& header, const std::string& payload) {
    std::vector<uint8_t> bytes = Bytes(header);
    const uint16_t headerSum = CRC16::Compute(0, bytes.data(), bytes.size());
    bytes.insert(bytes.end(), {uint8_t(headerSum >> 8), uint8_t(headerSum)});
    const std::vector<uint8_t> middle = Bytes(payload);
    bytes.insert(bytes.end(), middle.begin(), middle.end());
    const uint32_t sum = CRC32::Compute(0, bytes.data(), bytes.size());
    for (int shift = 24; shift >= 0; shift -= 8)
        bytes.push_back(uint8_t(sum >> shift));
    return bytes;
}

/// A message with tag 0x00020001 and this payload of less than 240 bytes.
inline std::vector<uint8_t> MessageWith(const std::string& payload) {
    const size_t total = Bytes(payload).size() + 12;
    const char* digits = "0123456789ABCDEF";
    return WithCRCs(std::string("A4 ") + digits[total / 16] + digits[total % 16] + " 00 02 00 01", payload);
}

}  // namespace quarn::test
