#pragma once

// The road of a value's bytes into a buffer that the caller has sized, without a vector in between:
//
//     const VariantBlob blob(variant);
//     uint8_t* out = Grow(blob.Size());
//     blob.Write(out);

#include <quarn/VariantValue.h>

#include "values/VariantTypes.h"

#include <stddef.h>
#include <stdint.h>
#include <string.h>

namespace quarn {

class VariantBlob {
public:
    /// Takes hold of the variant's value: where it lives (no change and no end of it until the last use
    /// here), or a copy for a variant that is read through a function, which is called this once. Throws what
    /// Variant::ToBlob() throws.
    explicit VariantBlob(const Variant& variant)
        : type_(variant.Type()), value_(VariantAccess::Location(variant)) {
        // Messages are made of these above all.
        if (value_ && type_ == VariantType::STRING)
            size_ = Here<std::string>().size();
        else if (value_ && type_ == VariantType::UINT8_VECTOR)
            size_ = Here<std::vector<uint8_t>>().size();
        else if (value_ && type_ == VariantType::UINT16)
            size_ = sizeof(uint16_t);
        else if (value_ && type_ == VariantType::UINT32)
            size_ = sizeof(uint32_t);
        else
            Measure(variant);
    }
    VariantBlob(const VariantBlob&) = delete;
    VariantBlob& operator=(const VariantBlob&) = delete;

    size_t Size() const { return size_; }

    /// Writes Size() bytes and returns the position behind them.
    uint8_t* Write(uint8_t* out) const {
        if (type_ == VariantType::STRING)
            memcpy(out, Here<std::string>().data(), size_);
        else
            WriteElements(out);
        return out + size_;
    }

private:
    template <class T>
    const T& Here() const {
        return *static_cast<const T*>(value_);
    }
    void Measure(const Variant& variant);
    void WriteElements(uint8_t* out) const;

    VariantType type_;
    const void* value_;
    size_t size_ = 0;
    VariantValue fetched_;
};

}  // namespace quarn
