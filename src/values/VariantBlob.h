#pragma once

// The road of a value's bytes into a buffer that the caller has sized, without a vector in between:
//
//     const VariantBlob blob(variant);
//     uint8_t* out = Grow(blob.Size());
//     blob.Write(out);

#include <quarn/VariantValue.h>

#include <stddef.h>
#include <stdint.h>

namespace quarn {

class VariantBlob {
public:
    /// Takes hold of the variant's value: where it lives (no change and no end of it until the last use
    /// here), or a copy for a variant that is read through a function, which is called this once. Throws what
    /// Variant::ToBlob() throws.
    explicit VariantBlob(const Variant& variant);
    VariantBlob(const VariantBlob&) = delete;
    VariantBlob& operator=(const VariantBlob&) = delete;

    size_t Size() const { return size_; }

    /// Writes Size() bytes and returns the position behind them.
    uint8_t* Write(uint8_t* out) const;

private:
    VariantType type_;
    const void* value_;
    size_t size_;
    VariantValue fetched_;
};

}  // namespace quarn
