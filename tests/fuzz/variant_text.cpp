// A value's text: byte 0 is the code of the type.

#include <quarn/VariantReference.h>
#include <quarn/VariantValue.h>

#include "fuzz/Fuzz.h"
#include "values/VariantTypes.h"

namespace quarn::test {

void CheckInput(Input& input) {
    const auto type = VariantType(input.Byte() % 20);
    const std::string text = input.Text();
    VariantValue value(type);
    const std::string failure = Failure([&] { value.FromString(text); });
    Require(Failure([&] { VariantValue(type, text); }) == failure, "the constructor fails otherwise");
    if (!HasValue(type))
        return Require(!failure.empty(), "a type without values takes one");
    WithType(type, [&]<class T>() {
        T variable{};
        VariantReference reference(&variable);
        Require(Failure([&] { reference.FromString(text); }) == failure, "a reference fails otherwise");
        Require(BlobOf(reference) == BlobOf(value), "a reference holds another value");
    });
    if (!failure.empty())
        return Require(BlobOf(value) == BlobOf(VariantValue(type)), "a failure changed the value");
    std::string own = type == VariantType::BOOLEAN ? value.ToAlternateString() : value.ToString();
    if (type == VariantType::STRING_LIST) {
        own.clear();
        for (const std::string& element : value.As<std::vector<std::string>>())
            own += "\"" + element + "\" ";
    }
    if (type != VariantType::STRING && own.find(" more]") != std::string::npos)
        return;
    const VariantValue again(type, own);
    Require(again.ToString() == value.ToString(), "a text stands for another value");
    if (type != VariantType::FLOAT && type != VariantType::FLOAT_VECTOR)
        Require(BlobOf(again) == BlobOf(value), "a value is not what its text says");
}

}  // namespace quarn::test
