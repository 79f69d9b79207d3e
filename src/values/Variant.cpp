#include <quarn/MonitorException.h>
#include <quarn/Parse.h>
#include <quarn/Variant.h>

#include "values/VariantTypes.h"

namespace quarn {
namespace {

bool ParseBoolean(const std::string& text) {
    if (text != "true" && text != "false")
        throw MonitorException("\"%s\" is not a boolean value", text.c_str());
    return text == "true";
}

// The value of a text, by its type.
template <class T>
struct Parser;

#define QUARN_PARSER(Type, expression)                                    \
    template <>                                                           \
    struct Parser<Type> {                                                 \
        static Type Parse(const std::string& text) { return expression; } \
    };
QUARN_PARSER(uint8_t, static_cast<uint8_t>(ParseU16(text, UINT8_MAX)))
QUARN_PARSER(int16_t, ParseI16(text))
QUARN_PARSER(uint16_t, ParseU16(text, UINT16_MAX))
QUARN_PARSER(int32_t, ParseI32(text))
QUARN_PARSER(uint32_t, ParseU32(text, UINT32_MAX))
QUARN_PARSER(float, ParseFloat(text))
QUARN_PARSER(std::string, text)
QUARN_PARSER(IPAddress, IPAddress(text))
QUARN_PARSER(bool, ParseBoolean(text))
QUARN_PARSER(int64_t, ParseI64(text))
QUARN_PARSER(uint64_t, ParseU64(text, UINT64_MAX))
#undef QUARN_PARSER

template <class Element>
struct Parser<std::vector<Element>> {
    static std::vector<Element> Parse(const std::string& text) {
        std::vector<Element> elements;
        for (const std::string& token : Tokenize(text))
            elements.push_back(Parser<Element>::Parse(token));
        return elements;
    }
};

template <>
struct Parser<std::vector<uint8_t>> {
    static std::vector<uint8_t> Parse(const std::string& text) {
        const std::vector<std::string> tokens = Tokenize(text);
        return ParseByteVector(tokens.begin(), tokens.end());
    }
};

}  // namespace

const char* VariantTypeName(VariantType type) {
    switch (type) {
        case VariantType::NONE:
            return "NONE";
#define QUARN_TYPE_NAME(Name, Type) \
    case VariantType::Name:         \
        return #Name;
            QUARN_VARIANT_TYPES(QUARN_TYPE_NAME)
#undef QUARN_TYPE_NAME
    }
    throw MonitorException("Unknown type (%d)", static_cast<int>(type));
}

void ThrowNoValue(VariantType type, const char* untyped, const char* unknown) {
    throw MonitorException("%s", type == VariantType::NONE ? untyped : unknown);
}

void ThrowWrongType(VariantType type, VariantType requested) {
    throw MonitorException("Attempting to access %s variant as %s", VariantTypeName(type),
                           VariantTypeName(requested));
}

std::string Variant::TypeName(VariantType type) {
    return VariantTypeName(type);
}

void Variant::Assign(const Variant& other) {
    if (type_ != other.type_)
        throw MonitorException("Attemping to assign variant from variant of different type");
    RequireValue(type_, "Attemping to assign untyped variant",
                 "Attempting to assign variant of unknown type");
    WithType(type_, [&]<class T>() {
        VariantAccess::Read<T>(other, [this](const T& value) { VariantAccess::Write(*this, value); });
    });
}

bool Variant::Equal(const Variant& other) const {
    if (type_ != other.type_)
        throw MonitorException("Attemping to compare variants of different types (%s vs %s)",
                               VariantTypeName(type_), VariantTypeName(other.type_));
    RequireValue(type_, "Attemping to compare untyped variants",
                 "Attempting to compare variants of unknown type");
    return WithType(type_, [&]<class T>() {
        return VariantAccess::Read<T>(*this, [&](const T& left) {
            return VariantAccess::Read<T>(other, [&](const T& right) { return left == right; });
        });
    });
}

void Variant::FromString(const std::string& text) {
    RequireValue(type_, "Attemping to set untyped variant from string",
                 "Attempting to set variant of unknown type from string");
    WithType(type_, [&]<class T>() { VariantAccess::Write(*this, Parser<T>::Parse(text)); });
}

}  // namespace quarn
