#pragma once

// From the type code of a variant to the C++ type of its value, and back.

#include <quarn/Variant.h>

#include <stdint.h>

#include <string>
#include <utility>
#include <vector>

// Every type that has values, in the order of the codes: X(name, C++ type).
#define QUARN_VARIANT_TYPES(X)                 \
    X(UINT8, uint8_t)                          \
    X(UINT8_VECTOR, std::vector<uint8_t>)      \
    X(INT16, int16_t)                          \
    X(UINT16, uint16_t)                        \
    X(INT32, int32_t)                          \
    X(UINT32, uint32_t)                        \
    X(UINT32_VECTOR, std::vector<uint32_t>)    \
    X(FLOAT, float)                            \
    X(STRING, std::string)                     \
    X(IP_ADDRESS, IPAddress)                   \
    X(IP_ADDRESS_LIST, std::vector<IPAddress>) \
    X(BOOLEAN, bool)                           \
    X(STRING_LIST, std::vector<std::string>)   \
    X(INT32_VECTOR, std::vector<int32_t>)      \
    X(FLOAT_VECTOR, std::vector<float>)        \
    X(INT64, int64_t)                          \
    X(UINT64, uint64_t)                        \
    X(UINT64_VECTOR, std::vector<uint64_t>)

namespace quarn {

template <class T>
constexpr VariantType kTypeOf = VariantType::NONE;
#define QUARN_TYPE_OF(Name, Type) \
    template <>                   \
    inline constexpr VariantType kTypeOf<Type> = VariantType::Name;
QUARN_VARIANT_TYPES(QUARN_TYPE_OF)
#undef QUARN_TYPE_OF

constexpr bool HasValue(VariantType type) {
    return type >= VariantType::UINT8 && type <= VariantType::UINT64_VECTOR;
}

/// Calls `function.operator()<T>()` with the C++ type of a type that HasValue().
template <class Function>
decltype(auto) WithType(VariantType type, Function&& function) {
    switch (type) {
#define QUARN_WITH_TYPE(Name, Type) \
    case VariantType::Name:         \
        return function.template operator()<Type>();
        QUARN_VARIANT_TYPES(QUARN_WITH_TYPE)
#undef QUARN_WITH_TYPE
        case VariantType::NONE:
            break;
    }
    __builtin_unreachable();
}

/// A type's name, or throws "Unknown type (%d)".
const char* VariantTypeName(VariantType type);

[[noreturn, gnu::cold]] void ThrowNoValue(VariantType type, const char* untyped, const char* unknown);
[[noreturn, gnu::cold]] void ThrowWrongType(VariantType type, VariantType requested);

/// Throws the one message for NONE and the other for an unknown code.
inline void RequireValue(VariantType type, const char* untyped, const char* unknown) {
    if (!HasValue(type))
        ThrowNoValue(type, untyped, unknown);
}

/// Throws "Attempting to access %s variant as %s" unless the types are the same.
inline void RequireType(VariantType type, VariantType requested) {
    if (type != requested)
        ThrowWrongType(type, requested);
}

/// The value of a variant whose type is known to be T's.
class VariantAccess {
public:
    /// Where it lives, null when that is nowhere.
    template <class T>
    static T* Here(const Variant& variant) {
        return static_cast<T*>(variant.location_);
    }

    static const void* Location(const Variant& variant) { return variant.location_; }
    /// The same to write to, null unless that is of the given type.
    static void* Place(Variant& variant, VariantType type) {
        return variant.type_ == type ? variant.location_ : nullptr;
    }

    /// Calls the function with the value, which is copied only when it lives nowhere.
    template <class T, class Function>
    static auto Read(const Variant& variant, Function&& function) {
        if (const T* here = Here<T>(variant))
            return function(*here);
        const T value = variant.As<T>();
        return function(value);
    }

    template <class T>
    static void Write(Variant& variant, T&& value) {
        if (auto* here = Here<std::remove_cvref_t<T>>(variant))
            *here = std::forward<T>(value);
        else
            variant.Set(value);
    }
};

}  // namespace quarn
