#pragma once

// The engine behind CRC16 and CRC32: reflected CRCs, one table look-up a byte, several bytes a step.

#include <stddef.h>
#include <stdint.h>

#include <array>
#include <utility>

namespace quarn {

/// Runs the register of a reflected CRC over bytes. `Register` is as wide as the CRC (16 or 32 bits).
template <class Register, Register Polynomial>
class CRCEngine {
    static constexpr size_t kStreams = 4;
    static constexpr size_t kStride = 8 * kStreams;
    static constexpr size_t kLong = 192;  // from here on starting and joining the streams pays

public:
    /// The register after the bytes.
    static Register Update(Register crc, const uint8_t* data, size_t length) {
        if (length >= kLong) {
            // Four interleaved streams of words, each with a register of its own, so that the look-ups of one
            // do not wait for those of another. The registers meet in the last word of each stream.
            Register streams[kStreams] = {crc};
            for (; length >= 2 * kStride; data += kStride, length -= kStride)
#pragma GCC unroll 4
                for (size_t i = 0; i < kStreams; ++i)
                    streams[i] = Step<8, kStride>(streams[i], data + 8 * i);
            crc = 0;
            for (size_t i = 0; i < kStreams; ++i, data += 8, length -= 8)
                crc = Step<8, 8>(Register(crc ^ streams[i]), data);
        }
        for (; length >= 16; data += 16, length -= 16)
            crc = Step<16, 16>(crc, data);
        return Rest(crc, data, length);
    }

private:
    // Row r holds, for each byte, the register after that byte and r zero bytes.
    using Tables = std::array<std::array<Register, 256>, kStride>;

    static constexpr Tables MakeTables() {
        Tables tables{};
        for (uint32_t byte = 0; byte < 256; ++byte) {
            Register crc = Register(byte);
            for (int bit = 0; bit < 8; ++bit)
                crc = Register((crc >> 1) ^ ((crc & 1) ? Polynomial : 0));
            tables[0][byte] = crc;
        }
        for (size_t row = 1; row < tables.size(); ++row)
            for (size_t byte = 0; byte < 256; ++byte) {
                const Register crc = tables[row - 1][byte];
                tables[row][byte] = Register((crc >> 8) ^ tables[0][uint8_t(crc)]);
            }
        return tables;
    }

    // The register after `Count` bytes and `Distance - Count` zero bytes. Only the first four bytes wait for
    // the register; the others are loaded one by one, which is quicker than taking words apart and does not
    // wait for narrow stores made just before.
    template <size_t Count, size_t Distance>
    static Register Step(Register crc, const uint8_t* data) {
        const Register rest = [&]<size_t... I>(std::index_sequence<I...>) {
            return Register((Register(0) ^ ... ^ kTables[Distance - 5 - I][data[4 + I]]));
        }
        (std::make_index_sequence<Count - 4>{});
        const uint32_t head =
            crc ^ (data[0] | uint32_t{data[1]} << 8 | uint32_t{data[2]} << 16 | uint32_t{data[3]} << 24);
        return Register(rest ^ kTables[Distance - 1][uint8_t(head)] ^
                        kTables[Distance - 2][uint8_t(head >> 8)] ^
                        kTables[Distance - 3][uint8_t(head >> 16)] ^ kTables[Distance - 4][head >> 24]);
    }

    // Fewer than 16 bytes, in one step where that is possible: headers and small messages are that short.
    static Register Rest(Register crc, const uint8_t* data, size_t length) {
        switch (length) {
            case 15:
                return Step<15, 15>(crc, data);
            case 14:
                return Step<14, 14>(crc, data);
            case 13:
                return Step<13, 13>(crc, data);
            case 12:
                return Step<12, 12>(crc, data);
            case 11:
                return Step<11, 11>(crc, data);
            case 10:
                return Step<10, 10>(crc, data);
            case 9:
                return Step<9, 9>(crc, data);
            case 8:
                return Step<8, 8>(crc, data);
            case 7:
                return Step<7, 7>(crc, data);
            case 6:
                return Step<6, 6>(crc, data);
            case 5:
                return Step<5, 5>(crc, data);
            case 4:
                return Step<4, 4>(crc, data);
        }
        for (; length > 0; ++data, --length)
            crc = Register(kTables[0][uint8_t(crc) ^ *data] ^ (crc >> 8));
        return crc;
    }

    alignas(64) static constexpr Tables kTables = MakeTables();
};

using CRC16Engine = CRCEngine<uint16_t, 0x8408>;
using CRC32Engine = CRCEngine<uint32_t, 0xEDB88320>;

}  // namespace quarn
