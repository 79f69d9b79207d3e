// The text forms of variants. std::to_string formats as printf does with %d, %u, %ld, %lu and %f.

#include <quarn/Text.h>
#include <quarn/Variant.h>

#include "values/VariantTypes.h"

#include <algorithm>

namespace quarn {
namespace {

struct Plain {
    template <class Number>
    static std::string Text(Number value) {
        return std::to_string(value);
    }
    // Deliberately not the words that FromString() wants.
    static std::string Text(bool value) { return value ? "1" : "0"; }
    static std::string Text(const std::string& value) { return value; }
    static std::string Text(const IPAddress& value) { return value.ToString(); }
};

struct Alternate : Plain {
    using Plain::Text;
    static std::string Text(uint8_t value) { return Format("0x%02X", value); }
    static std::string Text(int16_t value) { return Text(static_cast<uint16_t>(value)); }
    static std::string Text(uint16_t value) { return Format("0x%04X", value); }
    static std::string Text(int32_t value) { return Text(static_cast<uint32_t>(value)); }
    static std::string Text(uint32_t value) { return Format("0x%08X", value); }
    static std::string Text(int64_t value) { return Text(static_cast<uint64_t>(value)); }
    static std::string Text(uint64_t value) { return Format("0x%016lX", value); }
    static std::string Text(bool value) { return value ? "true" : "false"; }
};

template <class Element>
constexpr size_t kShown = 16;
template <>
constexpr size_t kShown<float> = 8;
template <>
constexpr size_t kShown<uint64_t> = 8;
template <>
constexpr size_t kShown<IPAddress> = SIZE_MAX;

template <class Form, class Value>
std::string Write(const Value& value) {
    return Form::Text(value);
}

template <class Form, class Element>
std::string Write(const std::vector<Element>& elements) {
    std::string text;
    const size_t shown = std::min(elements.size(), kShown<Element>);
    for (size_t i = 0; i < shown; ++i) {
        if (i > 0)
            text += ' ';
        text += Form::Text(elements[i]);
    }
    if (shown < elements.size())
        text += Format(" [%zu more]", elements.size() - shown);
    return text;
}

template <class Form>
std::string WriteVariant(const Variant& variant) {
    return WithType(variant.Type(), [&]<class T>() {
        return VariantAccess::Read<T>(variant, [](const T& value) { return Write<Form>(value); });
    });
}

}  // namespace

std::string Variant::ToString() const {
    if (type_ == VariantType::NONE)
        return "<void>";
    RequireValue(type_, "", "Attempting to stringize variant of unknown type");
    return WriteVariant<Plain>(*this);
}

std::string Variant::ToAlternateString() const {
    RequireValue(type_, "Attemping to stringize untyped variant",
                 "Attempting to alt-stringize variant of unknown type");
    return WriteVariant<Alternate>(*this);
}

}  // namespace quarn
