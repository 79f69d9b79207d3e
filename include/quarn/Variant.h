#pragma once

/// A value of one of eighteen types that can be read, set, compared and converted to and from text and bytes
/// without knowing the type. VariantValue owns its value; VariantReference stands for a program variable.
///
///     void Show(const quarn::Variant& variant) {
///         printf("%s: %s\n", quarn::Variant::TypeName(variant.Type()).c_str(), variant.ToString().c_str());
///         try {
///             uint16_t port = variant;  // only from a UINT16: there are no numeric conversions
///             printf("port %u\n", port);
///         } catch (const quarn::MonitorException& e) {
///             puts(e.Description().c_str());  // Attempting to access INT32 variant as UINT16
///         }
///     }
///
/// Every failure is a MonitorException and leaves the variant as it was, type and value. A variant is used by
/// one thread at a time, and so is the program variable that it refers to.

#include <quarn/Attributes.h>
#include <quarn/IPAddress.h>
#include <quarn/VariantType.h>

#include <stddef.h>
#include <stdint.h>

#include <string>
#include <vector>

namespace quarn {

class QUARN_API Variant {
public:
    /// Store a value of the overload's type. A VariantValue takes that type on. A VariantReference to a
    /// program variable of another type throws "Attempting to access %s variant as %s"; one without a setter
    /// throws "Attempted to set unsettable variant reference".
    virtual void Set(uint8_t value) = 0;
    virtual void Set(const std::vector<uint8_t>& value) = 0;
    virtual void Set(int16_t value) = 0;
    virtual void Set(uint16_t value) = 0;
    virtual void Set(int32_t value) = 0;
    virtual void Set(uint32_t value) = 0;
    virtual void Set(const std::vector<uint32_t>& value) = 0;
    virtual void Set(float value) = 0;
    virtual void Set(const std::string& value) = 0;
    virtual void Set(const IPAddress& value) = 0;
    virtual void Set(const std::vector<IPAddress>& value) = 0;
    virtual void Set(bool value) = 0;
    virtual void Set(const std::vector<std::string>& value) = 0;
    virtual void Set(const std::vector<int32_t>& value) = 0;
    virtual void Set(const std::vector<float>& value) = 0;
    virtual void Set(int64_t value) = 0;
    virtual void Set(uint64_t value) = 0;
    virtual void Set(const std::vector<uint64_t>& value) = 0;

    /// The value. Each throws "Attempting to access %s variant as %s" unless the variant has exactly that
    /// type, and "Attempted to get ungettable variant reference" for a reference without a getter.
    virtual operator uint8_t() const = 0;
    virtual operator std::vector<uint8_t>() const = 0;
    virtual operator int16_t() const = 0;
    virtual operator uint16_t() const = 0;
    virtual operator int32_t() const = 0;
    virtual operator uint32_t() const = 0;
    virtual operator std::vector<uint32_t>() const = 0;
    virtual operator float() const = 0;
    virtual operator std::string() const = 0;
    virtual operator IPAddress() const = 0;
    virtual operator std::vector<IPAddress>() const = 0;
    virtual operator bool() const = 0;
    virtual operator std::vector<std::string>() const = 0;
    virtual operator std::vector<int32_t>() const = 0;
    virtual operator std::vector<float>() const = 0;
    virtual operator int64_t() const = 0;
    virtual operator uint64_t() const = 0;
    virtual operator std::vector<uint64_t>() const = 0;

    Variant(const Variant&) = delete;
    Variant& operator=(const Variant&) = delete;

    /// A literal is a STRING; without this overload it would silently become a BOOLEAN, as other pointers
    /// would without the next one. Null is not allowed.
    void Set(const char* text) { Set(std::string(text)); }
    template <class T>
    void Set(const T* pointer) = delete;

    /// The conversion operator by name, for where a plain initialisation is ambiguous:
    /// `Send(variant.As<std::string>())`.
    template <class T>
    T As() const {
        return this->operator T();
    }

    VariantType Type() const { return type_; }

    /// Whether it is one of the codes of VariantType; NONE is.
    static constexpr bool IsTypeValid(VariantType type) { return IsTypeValid(static_cast<int32_t>(type)); }
    static constexpr bool IsTypeValid(int32_t code) { return code >= 0 && code <= 18; }

    /// "UINT8_VECTOR" and so on. Throws "Unknown type (%d)".
    static std::string TypeName(VariantType type);

    /// Sets the value to the other's, which must have the same type; the type never changes. Throws
    /// "Attemping to assign variant from variant of different type", "Attempting to assign variant of unknown
    /// type", "Attemping to assign untyped variant", and what reading the other and Set() throw.
    void Assign(const Variant& other);

    /// Whether the values are equal; floats as the language compares them (a NaN never is). Throws "Attemping
    /// to compare variants of different types (%s vs %s)", "Attemping to compare untyped variants",
    /// "Attempting to compare variants of unknown type".
    bool Equal(const Variant& other) const;

    /// The value for consoles and debug output: decimal numbers, "%f", 1 or 0 for a BOOLEAN, "<void>" for
    /// NONE, elements separated by single spaces. Vectors show 16 elements, those of floats and 64-bit
    /// numbers 8, lists of strings 16, and " [%zu more]" for the rest; lists of addresses show all.
    /// Throws "Attempting to stringize variant of unknown type".
    std::string ToString() const;
    /// The same with integers in hexadecimal, "0x" and the full width of the type (negative ones in two's
    /// complement), and with true or false for a BOOLEAN. Throws "Attemping to stringize untyped variant",
    /// "Attempting to alt-stringize variant of unknown type".
    std::string ToAlternateString() const;

    /// Parses the text as the current type: numbers and addresses as in Parse.h within the range of the type
    /// (INT32 wraps around as ParseI32() does), BOOLEAN only from "true" and "false", a STRING as it is,
    /// vectors and lists from the tokens that Tokenize() finds. Throws the parser's message, "\"%s\" is not a
    /// boolean value", "Attemping to set untyped variant from string", "Attempting to set variant of unknown
    /// type from string".
    void FromString(const std::string& text);

    /// Appends the value's bytes: numbers big-endian in their width, floats as their IEEE 754 bit pattern,
    /// addresses in the order of the dotted quad, a BOOLEAN as 0 or 1, characters as they are; the elements
    /// of a vector one after another; each string of a list behind its length in 4 bytes. Throws "Attemping
    /// to blob-ize untyped variant", "Attempting to blob-ize variant of unknown type", "Attempting to
    /// blob-ize string of ridiculous size".
    void ToBlob(std::vector<uint8_t>& out) const;

    /// Sets the value from the bytes that ToBlob() makes of the current type; any byte but 0 is a true
    /// BOOLEAN. Throws "Blob of type %s should contain %zu bytes; have %zu", "Blob length for %s is not a
    /// multiple of 4" (or 8), "Remaining blob length for STRING_LIST too small to contain a length for string
    /// #%zu", "Remaining blob length for STRING_LIST too small to contain string #%zu", "Attemping to set
    /// untyped variant from blob", "Attempting to set variant of unknown type from blob".
    void FromBlob(const uint8_t* data, size_t length);
    /// The same as the given type, which a VariantValue takes on when the bytes are good and not otherwise.
    /// Any other variant keeps its type, and throws "Attempting to access %s variant as %s" for another one.
    void FromBlob(VariantType type, const uint8_t* data, size_t length);

protected:
    /// `location` is where the value lives as long as the variant does, so that it is read and written there,
    /// or null for a variant that is reached through Set() and the conversion operators. A value with
    /// `takesAnyType` is a VariantValue.
    Variant(VariantType type, void* location, bool takesAnyType)
        : location_(location), type_(type), takesAnyType_(takesAnyType) {}
    ~Variant() = default;

    void* location_;
    VariantType type_;

private:
    friend class VariantAccess;

    const bool takesAnyType_;
};

}  // namespace quarn
