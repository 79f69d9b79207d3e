#pragma once

/// The types of variants.

#include <stdint.h>

namespace quarn {

/// The codes belong to what is stored and sent, and never change. Values of other codes can arrive from
/// outside: Variant::IsTypeValid() tells.
enum class VariantType : int32_t {
    NONE = 0,  ///< untyped, without a value
    UINT8 = 1,
    UINT8_VECTOR = 2,
    INT16 = 3,
    UINT16 = 4,
    INT32 = 5,
    UINT32 = 6,
    UINT32_VECTOR = 7,
    FLOAT = 8,
    STRING = 9,
    IP_ADDRESS = 10,
    IP_ADDRESS_LIST = 11,
    BOOLEAN = 12,
    STRING_LIST = 13,
    INT32_VECTOR = 14,
    FLOAT_VECTOR = 15,
    INT64 = 16,
    UINT64 = 17,
    UINT64_VECTOR = 18,
};

}  // namespace quarn
