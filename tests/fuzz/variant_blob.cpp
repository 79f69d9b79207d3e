// A value's bytes: byte 0 is the code of the type.

#include <quarn/VariantReference.h>
#include <quarn/VariantValue.h>

#include "fuzz/Fuzz.h"
#include "values/VariantBlob.h"

namespace quarn::test {

void CheckInput(Input& input) {
    const auto type = VariantType(input.Byte() % 20);
    const Bytes bytes = input.Rest();
    VariantValue value(type), fresh, direct;
    const std::string failure = Failure([&] { value.FromBlob(bytes.data(), bytes.size()); });
    Require(Failure([&] { fresh.FromBlob(type, bytes.data(), bytes.size()); }) == failure &&
                Failure([&] { VariantBlob::Read(direct, type, bytes.data(), bytes.size()); }) == failure,
            "an untyped value fails otherwise");
    Require(fresh.Type() == (failure.empty() ? type : VariantType::NONE),
            "an untyped value has another type");
    if (!HasValue(type))
        return Require(!failure.empty(), "a type without values takes one");
    WithType(type, [&]<class T>() {
        T variable{};
        VariantReference reference(&variable);
        Require(Failure([&] { reference.FromBlob(bytes.data(), bytes.size()); }) == failure,
                "a reference fails otherwise");
        Require(BlobOf(reference) == BlobOf(value), "a reference holds another value");
    });
    if (!failure.empty())
        return Require(BlobOf(value) == BlobOf(VariantValue(type)), "a failure changed the value");
    Require(BlobOf(fresh) == BlobOf(value) && BlobOf(direct) == BlobOf(value),
            "several ways, several values");

    Bytes expected = bytes;
    if (type == VariantType::BOOLEAN)
        expected[0] = bytes[0] != 0;
    Require(BlobOf(value) == expected, "other bytes than were read");
    Require(std::max(value.ToString().size(), value.ToAlternateString().size()) < 64 + 64 * bytes.size(),
            "a text out of proportion");
    // A failure leaves the value alone; a size that fits as well makes another one.
    if (!Failure([&] { value.FromBlob(bytes.data(), bytes.size() - !bytes.empty()); }).empty())
        Require(BlobOf(value) == expected, "a failure changed the value");
}

}  // namespace quarn::test
