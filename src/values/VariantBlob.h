#pragma once

// The road of a value's bytes into a buffer that the caller has sized, without a vector in between:
//
//     const VariantBlob blob(variant);
//     uint8_t* out = Grow(blob.Size());
//     blob.Write(out);

#include <quarn/VariantValue.h>

#include "values/BigEndian.h"
#include "values/VariantTypes.h"

#include <stddef.h>
#include <stdint.h>
#include <string.h>

#include <memory>

namespace quarn {

/// The size of a type's blob, 0 when it depends on the value (and for types without values).
constexpr size_t FixedBlobSize(VariantType type) {
    constexpr uint8_t kSizes[] = {0, 1, 0, 2, 2, 4, 4, 0, 4, 0, 4, 0, 1, 0, 0, 0, 8, 8, 0};
    return Variant::IsTypeValid(type) ? kSizes[static_cast<int32_t>(type)] : 0;
}

class VariantBlob {
public:
    /// Takes hold of the variant's value: where it lives (no change and no end of it until the last use
    /// here), or a copy for a variant that is read through a function, which is called this once. Throws what
    /// Variant::ToBlob() throws.
    explicit VariantBlob(const Variant& variant)
        : type_(variant.Type()), value_(VariantAccess::Location(variant)), size_(FixedBlobSize(type_)) {
        // What messages are made of above all needs no call.
        if (value_ && type_ == VariantType::STRING)
            size_ = Here<std::string>().size();
        else if (value_ && type_ == VariantType::UINT8_VECTOR)
            size_ = Here<std::vector<uint8_t>>().size();
        else if (size_ == 0 || !value_)
            Measure(variant);
    }
    VariantBlob(const VariantBlob&) = delete;
    VariantBlob& operator=(const VariantBlob&) = delete;

    size_t Size() const { return size_; }

    /// Writes Size() bytes and returns the position behind them.
    uint8_t* Write(uint8_t* out) const {
        switch (FixedBlobSize(type_)) {
            case 1:
                memcpy(out, value_, 1);
                break;
            case 2:
                WriteNumber<uint16_t>(out);
                break;
            case 4:
                // An address in network order already has the bytes of its dotted quad in order.
                if (type_ == VariantType::IP_ADDRESS)
                    memcpy(out, value_, 4);
                else
                    WriteNumber<uint32_t>(out);
                break;
            case 8:
                WriteNumber<uint64_t>(out);
                break;
            default:
                if (type_ == VariantType::STRING)
                    memcpy(out, Here<std::string>().data(), size_);
                else
                    WriteContainer(out);
        }
        return out + size_;
    }

private:
    template <class T>
    const T& Here() const {
        return *static_cast<const T*>(value_);
    }
    void Measure(const Variant& variant);
    void WriteContainer(uint8_t* out) const;

    // Of any type that has as many bits.
    template <class Bits>
    void WriteNumber(uint8_t* out) const {
        Bits bits;
        memcpy(&bits, value_, sizeof bits);
        StoreBigEndian(out, bits);
    }

    VariantType type_;
    const void* value_;
    size_t size_;
    std::unique_ptr<VariantValue> fetched_;
};

}  // namespace quarn
