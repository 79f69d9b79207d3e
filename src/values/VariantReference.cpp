#include <quarn/MonitorException.h>
#include <quarn/VariantReference.h>

#include "values/VariantTypes.h"

namespace quarn {

VariantReference::VariantReference(VariantType type, Getter getter, Setter setter)
    : Variant(type, nullptr, false), getter_(std::move(getter)), setter_(std::move(setter)) {}

VariantReference::~VariantReference() = default;

void VariantReference::NoGet() {
    throw MonitorException("Attempted to get ungettable variant reference");
}

void VariantReference::NoSet() {
    throw MonitorException("Attempted to set unsettable variant reference");
}

template <class T>
T VariantReference::Get() const {
    if (!location_ && !getter_)
        NoGet();
    RequireType(type_, kTypeOf<T>);
    if (location_)
        return *static_cast<const T*>(location_);
    return getter_().template As<T>();
}

template <class T>
void VariantReference::Store(const T& value) {
    if (location_) {
        RequireType(type_, kTypeOf<T>);
        *static_cast<T*>(location_) = value;
    } else if (setter_) {
        setter_(VariantValue(value));
    } else {
        NoSet();
    }
}

#define QUARN_REFERENCE(Name, Type)                                                                     \
    VariantReference::VariantReference(Type* variable) : Variant(VariantType::Name, variable, false) {} \
    VariantReference::operator Type() const {                                                           \
        return Get<Type>();                                                                             \
    }
QUARN_VARIANT_TYPES(QUARN_REFERENCE)
#undef QUARN_REFERENCE

#define QUARN_SET(Parameter)                      \
    void VariantReference::Set(Parameter value) { \
        Store(value);                             \
    }
QUARN_SET(uint8_t)
QUARN_SET(const std::vector<uint8_t>&)
QUARN_SET(int16_t)
QUARN_SET(uint16_t)
QUARN_SET(int32_t)
QUARN_SET(uint32_t)
QUARN_SET(const std::vector<uint32_t>&)
QUARN_SET(float)
QUARN_SET(const std::string&)
QUARN_SET(const IPAddress&)
QUARN_SET(const std::vector<IPAddress>&)
QUARN_SET(bool)
QUARN_SET(const std::vector<std::string>&)
QUARN_SET(const std::vector<int32_t>&)
QUARN_SET(const std::vector<float>&)
QUARN_SET(int64_t)
QUARN_SET(uint64_t)
QUARN_SET(const std::vector<uint64_t>&)
#undef QUARN_SET

}  // namespace quarn
