#include "values/VariantBlob.h"

#include <quarn/MonitorException.h>

#include "values/BigEndian.h"
#include "values/VariantTypes.h"

#include <string.h>

namespace quarn {
namespace {

constexpr size_t kStringHeader = 4;

static_assert(sizeof(IPAddress) == 4 && std::is_trivially_copyable_v<IPAddress>);

[[noreturn, gnu::cold]] void ThrowBlobSize(VariantType type, size_t expected, size_t actual) {
    throw MonitorException("Blob of type %s should contain %zu bytes; have %zu", VariantTypeName(type),
                           expected, actual);
}

[[noreturn, gnu::cold]] void ThrowBlobMultiple(VariantType type, size_t elementSize) {
    throw MonitorException("Blob length for %s is not a multiple of %zu", VariantTypeName(type), elementSize);
}

// The layout of a value's bytes: Size() of a value, Write() of that many, Read() of a blob into a value,
// which is left alone when the blob is bad. First that of the types of fixed size.
template <class T>
struct Layout {
    static size_t Size(const T&) { return sizeof(T); }
    static void Write(const T& value, uint8_t* out, size_t) { StoreBigEndian(out, value); }
    static void Read(const uint8_t* data, size_t length, T& value) {
        if (length != sizeof(T))
            ThrowBlobSize(kTypeOf<T>, sizeof(T), length);
        value = LoadBigEndian<T>(data);
    }
};

template <>
void Layout<bool>::Write(const bool& value, uint8_t* out, size_t) {
    *out = value ? 1 : 0;
}

template <>
void Layout<bool>::Read(const uint8_t* data, size_t length, bool& value) {
    if (length != 1)
        ThrowBlobSize(VariantType::BOOLEAN, 1, length);
    value = *data != 0;
}

// An address in network order has the bytes of its dotted quad in order.
template <>
void Layout<IPAddress>::Write(const IPAddress& value, uint8_t* out, size_t) {
    memcpy(out, &value, sizeof value);
}

template <>
void Layout<IPAddress>::Read(const uint8_t* data, size_t length, IPAddress& value) {
    if (length != sizeof value)
        ThrowBlobSize(VariantType::IP_ADDRESS, sizeof value, length);
    memcpy(&value, data, sizeof value);
}

template <class Element>
struct Layout<std::vector<Element>> {
    using Vector = std::vector<Element>;
    static size_t Size(const Vector& elements) { return elements.size() * sizeof(Element); }
    static void Write(const Vector& elements, uint8_t* out, size_t size) {
        for (size_t i = 0; i < size / sizeof(Element); ++i)
            Layout<Element>::Write(elements[i], out + i * sizeof(Element), sizeof(Element));
    }
    static void Read(const uint8_t* data, size_t length, Vector& elements) {
        if (length % sizeof(Element) != 0)
            ThrowBlobMultiple(kTypeOf<Vector>, sizeof(Element));
        elements.resize(length / sizeof(Element));
        for (size_t i = 0; i < elements.size(); ++i)
            Layout<Element>::Read(data + i * sizeof(Element), sizeof(Element), elements[i]);
    }
};

// Bytes and characters go out as many as were counted: a byte vector that is asked to append its blob to
// itself has grown by then.
template <>
void Layout<std::vector<uint8_t>>::Write(const std::vector<uint8_t>& bytes, uint8_t* out, size_t size) {
    if (size > 0)
        memcpy(out, bytes.data(), size);
}

template <>
void Layout<std::vector<uint8_t>>::Read(const uint8_t* data, size_t length, std::vector<uint8_t>& bytes) {
    bytes.assign(data, data + length);
}

template <>
struct Layout<std::string> {
    static size_t Size(const std::string& text) { return text.size(); }
    static void Write(const std::string& text, uint8_t* out, size_t size) { memcpy(out, text.data(), size); }
    static void Read(const uint8_t* data, size_t length, std::string& text) {
        text.assign(reinterpret_cast<const char*>(length > 0 ? data : &kNothing), length);
    }
    static constexpr uint8_t kNothing = 0;
};

template <>
struct Layout<std::vector<std::string>> {
    static size_t Size(const std::vector<std::string>& texts) {
        size_t size = 0;
        for (const std::string& text : texts) {
            if (text.size() > UINT32_MAX)
                throw MonitorException("Attempting to blob-ize string of ridiculous size");
            size += kStringHeader + text.size();
        }
        return size;
    }

    static void Write(const std::vector<std::string>& texts, uint8_t* out, size_t) {
        for (const std::string& text : texts) {
            StoreBigEndian(out, static_cast<uint32_t>(text.size()));
            memcpy(out + kStringHeader, text.data(), text.size());
            out += kStringHeader + text.size();
        }
    }

    static void Read(const uint8_t* data, size_t remaining, std::vector<std::string>& texts) {
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
                throw MonitorException(
                    "Remaining blob length for STRING_LIST too small to contain string #%zu", found.size());
            found.emplace_back(reinterpret_cast<const char*>(data), length);
            data += length;
            remaining -= length;
        }
        texts = std::move(found);
    }
};

void RequireBlobType(VariantType type) {
    RequireValue(type, "Attemping to set untyped variant from blob",
                 "Attempting to set variant of unknown type from blob");
}

}  // namespace

void VariantBlob::Measure(const Variant& variant) {
    RequireValue(type_, "Attemping to blob-ize untyped variant",
                 "Attempting to blob-ize variant of unknown type");
    size_ = WithType(type_, [&]<class T>() {
        if (!value_) {
            fetched_.Set(variant.As<T>());
            value_ = VariantAccess::Location(fetched_);
        }
        return Layout<T>::Size(*static_cast<const T*>(value_));
    });
}

void VariantBlob::WriteElements(uint8_t* out) const {
    WithType(type_, [&]<class T>() { Layout<T>::Write(Here<T>(), out, size_); });
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
        if (T* here = VariantAccess::Here<T>(*this)) {
            Layout<T>::Read(data, length, *here);
        } else {
            T value{};
            Layout<T>::Read(data, length, value);
            Set(value);
        }
    });
}

void Variant::FromBlob(VariantType type, const uint8_t* data, size_t length) {
    if (type == type_)
        return FromBlob(data, length);
    RequireBlobType(type);
    if (!takesAnyType_)
        ThrowWrongType(type_, type);
    WithType(type, [&]<class T>() {
        T value{};
        Layout<T>::Read(data, length, value);
        static_cast<VariantValue*>(this)->Set(std::move(value));
    });
}

}  // namespace quarn
