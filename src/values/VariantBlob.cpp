#include "values/VariantBlob.h"

#include <quarn/MonitorException.h>

#include "values/BigEndian.h"
#include "values/VariantTypes.h"

#include <string.h>

namespace quarn {
namespace {

constexpr size_t kStringHeader = 4;

static_assert(sizeof(IPAddress) == 4 && std::is_trivially_copyable_v<IPAddress> && sizeof(bool) == 1);

[[noreturn, gnu::cold]] void ThrowBlobSize(VariantType type, size_t actual) {
    throw MonitorException("Blob of type %s should contain %zu bytes; have %zu", VariantTypeName(type),
                           FixedBlobSize(type), actual);
}

[[noreturn, gnu::cold]] void ThrowBlobMultiple(VariantType type, size_t elementSize) {
    throw MonitorException("Blob length for %s is not a multiple of %zu", VariantTypeName(type), elementSize);
}

template <class Number>
void LoadElement(const uint8_t* data, Number& value) {
    value = LoadBigEndian<Number>(data);
}
void LoadElement(const uint8_t* data, bool& value) {
    value = *data != 0;
}
void LoadElement(const uint8_t* data, IPAddress& value) {
    memcpy(&value, data, sizeof value);
}

template <class Number>
void StoreElement(uint8_t* out, Number value) {
    StoreBigEndian(out, value);
}
void StoreElement(uint8_t* out, IPAddress value) {
    memcpy(out, &value, sizeof value);
}

// ReadBlob() sets a value from its bytes and leaves it alone when they are bad. Those of fixed size first.
template <class T>
void ReadBlob(const uint8_t* data, size_t length, T& value) {
    static_assert(sizeof(T) == FixedBlobSize(kTypeOf<T>));
    if (length != sizeof(T))
        ThrowBlobSize(kTypeOf<T>, length);
    LoadElement(data, value);
}

template <class Element>
void ReadBlob(const uint8_t* data, size_t length, std::vector<Element>& elements) {
    if (length % sizeof(Element) != 0)
        ThrowBlobMultiple(kTypeOf<std::vector<Element>>, sizeof(Element));
    elements.resize(length / sizeof(Element));
    for (size_t i = 0; i < elements.size(); ++i)
        LoadElement(data + i * sizeof(Element), elements[i]);
}

void ReadBlob(const uint8_t* data, size_t length, std::vector<uint8_t>& bytes) {
    bytes.assign(data, data + length);
}

const char* Characters(const uint8_t* data, size_t length) {
    return length > 0 ? reinterpret_cast<const char*>(data) : "";
}

void ReadBlob(const uint8_t* data, size_t length, std::string& text) {
    text.assign(Characters(data, length), length);
}

void ReadBlob(const uint8_t* data, size_t remaining, std::vector<std::string>& texts) {
    std::vector<std::string> found;
    while (remaining > 0) {
        if (remaining < kStringHeader)
            throw MonitorException(
                "Remaining blob length for STRING_LIST too small to contain a length for string #%zu",
                found.size());
        const size_t length = LoadBigEndian<uint32_t>(data);
        data += kStringHeader;
        remaining -= kStringHeader;
        if (length > remaining)
            throw MonitorException("Remaining blob length for STRING_LIST too small to contain string #%zu",
                                   found.size());
        found.emplace_back(reinterpret_cast<const char*>(data), length);
        data += length;
        remaining -= length;
    }
    texts = std::move(found);
}

// A new value; bytes and characters are faster built than assigned.
template <class T>
T ParseBlob(const uint8_t* data, size_t length) {
    if constexpr (kTypeOf<T> == VariantType::STRING) {
        return T(Characters(data, length), length);
    } else if constexpr (kTypeOf<T> == VariantType::UINT8_VECTOR) {
        return T(data, data + length);
    } else {
        T value{};
        ReadBlob(data, length, value);
        return value;
    }
}

// The size of a value whose size varies.
template <class T>
size_t BlobSize(const T& value) {
    return value.size() * sizeof(value[0]);
}

size_t BlobSize(const std::vector<std::string>& texts) {
    size_t size = 0;
    for (const std::string& text : texts) {
        if (text.size() > UINT32_MAX)
            throw MonitorException("Attempting to blob-ize string of ridiculous size");
        size += kStringHeader + text.size();
    }
    return size;
}

// Writes a value that is neither text nor bytes.
template <class T>
void WriteBlob(const T& value, uint8_t* out) {
    StoreElement(out, value);
}

template <class Element>
void WriteBlob(const std::vector<Element>& elements, uint8_t* out) {
    for (const Element& element : elements) {
        StoreElement(out, element);
        out += sizeof element;
    }
}

void WriteBlob(const std::vector<std::string>& texts, uint8_t* out) {
    for (const std::string& text : texts) {
        StoreBigEndian(out, static_cast<uint32_t>(text.size()));
        memcpy(out + kStringHeader, text.data(), text.size());
        out += kStringHeader + text.size();
    }
}

void RequireBlobType(VariantType type) {
    RequireValue(type, "Attemping to set untyped variant from blob",
                 "Attempting to set variant of unknown type from blob");
}

}  // namespace

// Finds what the constructor could not: why there is no value, the value behind a function, a size that
// varies.
void VariantBlob::Measure(const Variant& variant) {
    RequireValue(type_, "Attemping to blob-ize untyped variant",
                 "Attempting to blob-ize variant of unknown type");
    WithType(type_, [&]<class T>() {
        if (!value_) {
            fetched_ = std::make_unique<VariantValue>(variant.As<T>());
            value_ = VariantAccess::Location(*fetched_);
        }
        if constexpr (FixedBlobSize(kTypeOf<T>) == 0)
            size_ = BlobSize(Here<T>());
    });
}

// What Write() does not do itself.
void VariantBlob::WriteOther(uint8_t* out) const {
    WithType(type_, [&]<class T>() {
        if constexpr (kTypeOf<T> != VariantType::STRING && kTypeOf<T> != VariantType::UINT8_VECTOR)
            WriteBlob(Here<T>(), out);
    });
}

void Variant::ToBlob(std::vector<uint8_t>& out) const {
    const VariantBlob blob(*this);
    const size_t start = out.size();
    out.resize(start + blob.Size());
    blob.Write(out.data() + start);
}

void Variant::FromBlob(const uint8_t* data, size_t length) {
    RequireBlobType(type_);
    WithType(type_, [&]<class T>() {
        if (T* here = VariantAccess::Here<T>(*this))
            ReadBlob(data, length, *here);
        else
            Set(ParseBlob<T>(data, length));
    });
}

void Variant::FromBlob(VariantType type, const uint8_t* data, size_t length) {
    if (type == type_)
        return FromBlob(data, length);
    RequireBlobType(type);
    if (!takesAnyType_)
        ThrowWrongType(type_, type);
    WithType(type, [&]<class T>() {
        if (type_ != VariantType::NONE)
            return static_cast<VariantValue*>(this)->Set(ParseBlob<T>(data, length));
        // In place, where there is no value yet that a bad blob could spoil.
        new (location_) T(ParseBlob<T>(data, length));
        type_ = type;
    });
}

}  // namespace quarn
