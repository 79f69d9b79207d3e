#include <quarn/VariantValue.h>

#include "values/VariantTypes.h"

#include <new>

namespace quarn {

#define QUARN_FITS(Name, Type)                                                \
    static_assert(sizeof(Type) <= sizeof(std::string) && alignof(Type) <= 8); \
    static_assert(std::is_nothrow_move_constructible_v<Type>);
QUARN_VARIANT_TYPES(QUARN_FITS)
#undef QUARN_FITS

VariantValue::VariantValue(VariantType type) : Variant(type, storage_, true) {
    static_assert(sizeof storage_ >= sizeof(std::string));
    if (HasValue(type))
        WithType(type, [this]<class T>() { new (storage_) T(); });
}

VariantValue::VariantValue(VariantType type, const std::string& text) : VariantValue(type) {
    FromString(text);
}

VariantValue::VariantValue(const VariantValue& other) : Variant(other.type_, storage_, true) {
    if (HasValue(type_))
        WithType(type_, [&]<class T>() { new (storage_) T(other.Slot<T>()); });
}

VariantValue::VariantValue(VariantValue&& other) noexcept : Variant(other.type_, storage_, true) {
    if (HasValue(type_))
        WithType(type_, [&]<class T>() { new (storage_) T(std::move(other.Slot<T>())); });
}

VariantValue& VariantValue::operator=(const VariantValue& other) {
    if (HasValue(other.type_))
        WithType(other.type_, [&]<class T>() { Store(other.Slot<T>()); });
    else {
        Destroy();
        type_ = other.type_;
    }
    return *this;
}

VariantValue& VariantValue::operator=(VariantValue&& other) noexcept {
    if (this == &other)
        return *this;
    if (HasValue(other.type_))
        WithType(other.type_, [&]<class T>() { Replace(std::move(other.Slot<T>())); });
    else {
        Destroy();
        type_ = other.type_;
    }
    return *this;
}

// Leaves the type to the caller.
void VariantValue::Destroy() noexcept {
    if (HasValue(type_))
        WithType(type_, [this]<class T>() { Slot<T>().~T(); });
}

template <class T>
void VariantValue::Replace(T&& value) noexcept {
    using Value = std::remove_cvref_t<T>;
    if (OwnsMemory(type_))
        Destroy();
    new (storage_) Value(std::forward<T>(value));
    type_ = kTypeOf<Value>;
}

template <class T>
void VariantValue::Store(const T& value) {
    if (type_ == kTypeOf<T>)
        Slot<T>() = value;
    else
        Replace(T(value));
}

template <class T>
const T& VariantValue::Get() const {
    RequireType(type_, kTypeOf<T>);
    return Slot<T>();
}

#define QUARN_SCALAR(Type)                                                            \
    VariantValue::VariantValue(Type value) : Variant(kTypeOf<Type>, storage_, true) { \
        new (storage_) Type(value);                                                   \
    }                                                                                 \
    void VariantValue::Set(Type value) {                                              \
        Replace(std::move(value));                                                    \
    }
QUARN_SCALAR(uint8_t)
QUARN_SCALAR(int16_t)
QUARN_SCALAR(uint16_t)
QUARN_SCALAR(int32_t)
QUARN_SCALAR(uint32_t)
QUARN_SCALAR(float)
QUARN_SCALAR(bool)
QUARN_SCALAR(int64_t)
QUARN_SCALAR(uint64_t)
#undef QUARN_SCALAR

VariantValue::VariantValue(IPAddress value) : Variant(VariantType::IP_ADDRESS, storage_, true) {
    new (storage_) IPAddress(value);
}

void VariantValue::Set(const IPAddress& value) {
    Store(value);
}

#define QUARN_CONTAINER(...)                                                                        \
    VariantValue::VariantValue(__VA_ARGS__ value) : Variant(kTypeOf<__VA_ARGS__>, storage_, true) { \
        new (storage_) auto(std::move(value));                                                      \
    }                                                                                               \
    void VariantValue::Set(const __VA_ARGS__& value) {                                              \
        Store(value);                                                                               \
    }                                                                                               \
    void VariantValue::Set(__VA_ARGS__&& value) {                                                   \
        Replace(std::move(value));                                                                  \
    }
QUARN_CONTAINER(std::string)
QUARN_CONTAINER(std::vector<uint8_t>)
QUARN_CONTAINER(std::vector<uint32_t>)
QUARN_CONTAINER(std::vector<IPAddress>)
QUARN_CONTAINER(std::vector<std::string>)
QUARN_CONTAINER(std::vector<int32_t>)
QUARN_CONTAINER(std::vector<float>)
QUARN_CONTAINER(std::vector<uint64_t>)
#undef QUARN_CONTAINER

#define QUARN_OPERATOR(Name, Type)        \
    VariantValue::operator Type() const { \
        return Get<Type>();               \
    }
QUARN_VARIANT_TYPES(QUARN_OPERATOR)
#undef QUARN_OPERATOR

}  // namespace quarn
