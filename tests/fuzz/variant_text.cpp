// A value's text: byte 0 is the code of the type.

#include <quarn/VariantReference.h>
#include <quarn/VariantValue.h>

#include "fuzz/Fuzz.h"
#include "values/VariantTypes.h"

namespace quarn::test {
namespace {

Bytes BlobOf(const Variant& variant) {
    Bytes blob;
    variant.ToBlob(blob);
    return blob;
}

/// A text that stands for the whole value, or nothing when its types' texts do not.
std::string FullText(const VariantValue& value) {
    switch (value.Type()) {
        case VariantType::BOOLEAN:
            return value.ToAlternateString();
        case VariantType::STRING_LIST: {
            std::string text;
            for (const std::string& element : value.As<std::vector<std::string>>())
                text += "\"" + element + "\" ";
            return text;
        }
        default:
            return value.ToString();
    }
}

void CheckParsed(VariantType type, const VariantValue& value) {
    const Bytes blob = BlobOf(value);
    VariantValue fromBlob(type);
    fromBlob.FromBlob(blob.data(), blob.size());
    Require(BlobOf(fromBlob) == blob, "a value is not what its bytes are");

    const std::string text = FullText(value);
    if (text.find(" more]") != std::string::npos && type != VariantType::STRING)
        return;
    VariantValue again(type, text);
    Require(FullText(again) == text, "a text stands for another value");
    if (type != VariantType::FLOAT && type != VariantType::FLOAT_VECTOR)
        Require(BlobOf(again) == blob, "a value is not what its text says");
}

}  // namespace
}  // namespace quarn::test

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace quarn;
    using namespace quarn::test;
    Input input(data, size);
    const auto type = VariantType(input.Byte() % 20);
    const std::string text = input.Text();

    VariantValue value(type);
    const std::string failure = Failure([&] { value.FromString(text); });
    Require(Failure([&] { VariantValue(type, text); }) == failure, "the constructor fails otherwise");
    if (!HasValue(type)) {
        Require(!failure.empty(), "a type without values takes one");
        return 0;
    }
    if (failure.empty())
        CheckParsed(type, value);
    else
        Require(BlobOf(value) == BlobOf(VariantValue(type)), "a failure changed the value");
    WithType(type, [&]<class T>() {
        T variable{};
        VariantReference reference(&variable);
        Require(Failure([&] { reference.FromString(text); }) == failure, "a reference fails otherwise");
        Require(BlobOf(reference) == BlobOf(value), "a reference holds another value");
    });
    return 0;
}
