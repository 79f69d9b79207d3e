// A value's bytes: byte 0 is the code of the type.

#include <quarn/quarn.h>

#include "fuzz/Fuzz.h"
#include "values/VariantBlob.h"

namespace quarn::test {
namespace {

constexpr uint32_t kTag = 0x00020001;

Bytes BlobOf(const Variant& variant) {
    Bytes blob;
    variant.ToBlob(blob);
    return blob;
}

/// The bytes of a value: as it writes them through either way.
Bytes CheckedBlob(const Variant& variant) {
    const Bytes blob = BlobOf(variant);
    const VariantBlob direct(variant);
    Require(direct.Size() == blob.size(), "a blob of another size than was announced");
    Bytes written(direct.Size());
    Require(direct.Write(written.data()) == written.data() + written.size() && written == blob,
            "two ways, two blobs");
    return blob;
}

// What arrives in a message must do to a variable what the bytes do to a value.
std::string FailureAsMessage(VariantType type, const Bytes& bytes, Bytes& blob) {
    VariableDictionary sender("sender"), receiver("receiver");
    sender.Add(kTag, "value", VariantType::UINT8_VECTOR);
    receiver.Add(kTag, "value", type);
    const OutgoingMessage sent(sender.Find(kTag), VariantValue(bytes));
    IncomingMessage message;
    message.Populate(sent.Sync(), sent.Bytes());
    return Failure([&] { blob = BlobOf(message.ToVariable(receiver).GetValue()); });
}

template <class T>
void CheckReference(const Bytes& bytes, const std::string& failure, const Bytes& blob) {
    T variable{};
    VariantReference reference(&variable);
    const Bytes before = BlobOf(reference);
    Require(Failure([&] { reference.FromBlob(bytes.data(), bytes.size()); }) == failure,
            "a reference fails otherwise");
    Require(CheckedBlob(reference) == (failure.empty() ? blob : before), "a reference holds another value");
}

void CheckDecoded(VariantType type, const Bytes& bytes, VariantValue& value) {
    Bytes expected = bytes;
    if (type == VariantType::BOOLEAN)
        expected[0] = bytes[0] != 0;
    Require(CheckedBlob(value) == expected, "other bytes than were read");
    Require(value.ToString().size() < 64 + 64 * bytes.size(), "a text out of proportion");
    Require(value.ToAlternateString().size() < 64 + 64 * bytes.size(), "an alternate text out of proportion");

    VariantValue copy(type);
    copy.Assign(value);
    VariantValue moved = std::move(copy);
    Require(BlobOf(moved) == expected, "a copy has other bytes");
    Require(value.Equal(moved) == value.Equal(value), "a copy is not equal");  // no NaN is

    // A failure leaves the value alone; a size that fits as well makes another one.
    const Bytes cut(bytes.begin(), bytes.end() - (bytes.empty() ? 0 : 1));
    if (!Failure([&] { value.FromBlob(cut.data(), cut.size()); }).empty())
        Require(BlobOf(value) == expected, "a failure changed the value");
}

}  // namespace
}  // namespace quarn::test

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace quarn;
    using namespace quarn::test;
    Input input(data, size);
    const auto type = VariantType(input.Byte() % 20);
    const Bytes bytes = input.Rest();

    VariantValue value(type), fresh;
    const std::string failure = Failure([&] { value.FromBlob(bytes.data(), bytes.size()); });
    Require(Failure([&] { fresh.FromBlob(type, bytes.data(), bytes.size()); }) == failure,
            "an untyped value fails otherwise");
    Require(fresh.Type() == (failure.empty() ? type : VariantType::NONE),
            "an untyped value has another type");
    VariantValue direct;
    Require(Failure([&] { VariantBlob::Read(direct, type, bytes.data(), bytes.size()); }) == failure,
            "reading fails otherwise");
    if (!HasValue(type)) {
        Require(!failure.empty(), "a type without values takes one");
        return 0;
    }
    Bytes received;
    Require(FailureAsMessage(type, bytes, received) == failure, "a message fails otherwise");
    const Bytes blob = BlobOf(value);
    WithType(type, [&]<class T>() { CheckReference<T>(bytes, failure, blob); });
    if (failure.empty()) {
        Require(BlobOf(fresh) == blob && BlobOf(direct) == blob && received == blob,
                "several ways, several values");
        CheckDecoded(type, bytes, value);
    } else {
        Require(blob == BlobOf(VariantValue(type)), "a failure changed the value");
    }
    return 0;
}
