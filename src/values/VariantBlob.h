#pragma once

// The road of a value's bytes into a buffer that the caller has sized, without a vector in between:
//
//     const VariantBlob blob(variant);
//     uint8_t* out = Grow(blob.Size());
//     blob.Write(out);
//
// and the shortest road back. What messages are made of above all, numbers, texts and bytes, needs no call.

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
        switch (type_) {
            case VariantType::STRING:
                if (size_ > 0)  // otherwise there may be no place to write to
                    memcpy(out, Here<std::string>().data(), size_);
                break;
            case VariantType::UINT8_VECTOR:
                // As many as were counted: a vector that its own blob is appended to has grown by now.
                if (size_ > 0)
                    memcpy(out, Here<std::vector<uint8_t>>().data(), size_);
                break;
            case VariantType::INT16:
            case VariantType::UINT16:
                WriteNumber<uint16_t>(out);
                break;
            case VariantType::INT32:
            case VariantType::UINT32:
            case VariantType::FLOAT:
                WriteNumber<uint32_t>(out);
                break;
            case VariantType::INT64:
            case VariantType::UINT64:
                WriteNumber<uint64_t>(out);
                break;
            default:
                WriteOther(out);
        }
        return out + size_;
    }

    /// Does what variant.FromBlob(type, data, length) does.
    static void Read(Variant& variant, VariantType type, const uint8_t* data, size_t length) {
        if (void* const place = length > 0 ? VariantAccess::Place(variant, type) : nullptr) {
            switch (type) {
                case VariantType::STRING:
                    static_cast<std::string*>(place)->assign(reinterpret_cast<const char*>(data), length);
                    return;
                case VariantType::UINT8_VECTOR:
                    static_cast<std::vector<uint8_t>*>(place)->assign(data, data + length);
                    return;
                case VariantType::INT16:
                case VariantType::UINT16:
                    if (length == 2)
                        return ReadNumber<uint16_t>(data, place);
                    break;
                case VariantType::INT32:
                case VariantType::UINT32:
                case VariantType::FLOAT:
                    if (length == 4)
                        return ReadNumber<uint32_t>(data, place);
                    break;
                case VariantType::INT64:
                case VariantType::UINT64:
                    if (length == 8)
                        return ReadNumber<uint64_t>(data, place);
                    break;
                default:
                    break;
            }
        }
        variant.FromBlob(type, data, length);
    }

private:
    template <class T>
    const T& Here() const {
        return *static_cast<const T*>(value_);
    }
    void Measure(const Variant& variant);
    void WriteOther(uint8_t* out) const;

    // A number of any type that has as many bits.
    template <class Bits>
    void WriteNumber(uint8_t* out) const {
        Bits bits;
        memcpy(&bits, value_, sizeof bits);
        StoreBigEndian(out, bits);
    }

    template <class Bits>
    static void ReadNumber(const uint8_t* data, void* place) {
        const Bits bits = LoadBigEndian<Bits>(data);
        memcpy(place, &bits, sizeof bits);
    }

    VariantType type_;
    const void* value_;
    size_t size_;
    std::unique_ptr<VariantValue> fetched_;
};

}  // namespace quarn
