#include "messages/RangeCRC.h"

#include <quarn/CRC16.h>
#include <quarn/CRC32.h>

#include <array>

namespace quarn {
namespace {

constexpr size_t kSpacing = 64;
// Below this many bytes the sum itself is quicker.
constexpr size_t kShort = 256;

// The product of two polynomials modulo the CRC's. As in the register, the top bit is the coefficient of x^0.
template <class Terms, class Register = typename Terms::Register>
constexpr Register Multiply(Register a, Register b) {
    Register product = 0;
    for (int bit = 8 * sizeof(Register) - 1; bit >= 0; --bit) {
        product ^= Register(b & (0 - ((a >> bit) & 1)));
        b = Register((b >> 1) ^ (Terms::kPolynomial & (0 - (b & 1))));
    }
    return product;
}

// kPowers[d][v] is x^(8 * v * 256^d): the effect on a register of as many zero bytes.
template <class Terms, class Register = typename Terms::Register>
constexpr auto MakePowers() {
    std::array<std::array<Register, 256>, 4> powers{};
    const Register one = Register(1) << (8 * sizeof(Register) - 1);
    Register base = one >> 8;
    for (auto& digit : powers) {
        digit[0] = one;
        for (size_t v = 1; v < 256; ++v)
            digit[v] = Multiply<Terms>(digit[v - 1], base);
        base = Multiply<Terms>(digit[255], base);
    }
    return powers;
}

template <class Terms, class Register = typename Terms::Register>
constexpr auto kPowers = MakePowers<Terms>();

// The register after `length` zero bytes.
template <class Terms, class Register = typename Terms::Register>
Register Shift(Register crc, size_t length) {
    for (const auto& digit : kPowers<Terms>) {
        if (length & 0xFF)
            crc = Multiply<Terms>(digit[length & 0xFF], crc);
        length >>= 8;
    }
    return crc;
}

}  // namespace

uint16_t CRC16Terms::Continue(uint16_t crc, const uint8_t* data, size_t length) {
    return CRC16::Compute(crc, data, length);
}

uint32_t CRC32Terms::Continue(uint32_t crc, const uint8_t* data, size_t length) {
    return CRC32::Compute(~crc, data, length);
}

template <class Terms>
typename Terms::Register RangeCRCOf<Terms>::Compute(const uint8_t* data, size_t length) {
    if (length < kShort)
        return Terms::Continue(Terms::kStart, data, length);
    // A CRC is linear: the register after A and B is the one after B alone, started at 0, XOR the one after A
    // moved on by as many zero bytes as B has.
    const size_t offset = size_t(data - data_);
    const Register before = Prefix(offset);
    const Register through = Prefix(offset + length);
    return Register(through ^ Shift<Terms>(Register(before ^ Terms::kStart), length));
}

// The register, started at 0, after the first bytes.
template <class Terms>
typename Terms::Register RangeCRCOf<Terms>::Prefix(size_t length) {
    const size_t index = length / kSpacing;
    while (checkpoints_.size() <= index) {
        const uint8_t* from = data_ + (checkpoints_.size() - 1) * kSpacing;
        checkpoints_.push_back(Terms::Continue(checkpoints_.back(), from, kSpacing));
    }
    return Terms::Continue(checkpoints_[index], data_ + index * kSpacing, length % kSpacing);
}

template class RangeCRCOf<CRC16Terms>;
template class RangeCRCOf<CRC32Terms>;

}  // namespace quarn
