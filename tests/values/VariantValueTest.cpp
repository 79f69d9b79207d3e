#include <quarn/VariantValue.h>

#include "support/ThrownMessage.h"
#include "values/VariantBlob.h"
#include "values/VariantSamples.h"

#include <gtest/gtest.h>

#include <math.h>

#include <functional>
#include <type_traits>

namespace quarn::test {
namespace {

using namespace std::string_literals;

Bytes BlobOf(const Variant& variant) {
    Bytes blob = {0xEE};  // blobs are appended
    variant.ToBlob(blob);
    EXPECT_EQ(blob.front(), 0xEE);
    blob.erase(blob.begin());
    return blob;
}

TEST(VariantValueTest, GoesThroughTextAndBytesInEveryType) {
    int32_t code = 0;
    for (const Sample& sample : kSamples) {
        SCOPED_TRACE(sample.name);
        const VariantType type = VariantType(++code);
        EXPECT_EQ(sample.value.Type(), type);
        EXPECT_EQ(Variant::TypeName(type), sample.name);
        EXPECT_EQ(sample.value.ToString(), sample.text);
        EXPECT_EQ(sample.value.ToAlternateString(), sample.alternate);
        EXPECT_EQ(BlobOf(sample.value), sample.blob);
        const bool isBoolean = type == VariantType::BOOLEAN;
        const VariantValue parsed(type, isBoolean ? sample.alternate : sample.text);
        EXPECT_TRUE(parsed.Equal(sample.value));
        VariantValue assigned(type);
        EXPECT_FALSE(assigned.Equal(sample.value));
        assigned.Assign(sample.value);
        EXPECT_TRUE(assigned.Equal(sample.value));

        // From any type to any other: by decoding, copying and moving.
        for (const Sample& before : kSamples) {
            VariantValue value = before.value, read = before.value;
            value.FromBlob(type, sample.blob.data(), sample.blob.size());
            EXPECT_TRUE(value.Equal(sample.value)) << before.name;
            VariantBlob::Read(read, type, sample.blob.data(), sample.blob.size());
            EXPECT_TRUE(read.Equal(sample.value)) << before.name;
            value = before.value;
            EXPECT_TRUE(value.Equal(before.value)) << before.name;
            VariantValue moved = std::move(read);
            value = std::move(moved);
            EXPECT_TRUE(value.Equal(sample.value)) << before.name;
        }
    }
    EXPECT_EQ(code, 18);
    EXPECT_EQ(BlobOf(VariantValue(std::vector<int32_t>{1, -2})), (Bytes{0, 0, 0, 1, 0xFF, 0xFF, 0xFF, 0xFE}));
    EXPECT_TRUE(Variant::IsTypeValid(18) && Variant::IsTypeValid(VariantType::NONE));
    EXPECT_FALSE(Variant::IsTypeValid(19) || Variant::IsTypeValid(-1));
    EXPECT_EQ(ThrownMessage([] { Variant::TypeName(VariantType(19)); }), "Unknown type (19)");
}

TEST(VariantValueTest, IsReadAsItsOwnTypeOnly) {
    VariantValue value(uint16_t{7});
    EXPECT_EQ(ThrownMessage([&] { value.As<bool>(); }), "Attempting to access UINT16 variant as BOOLEAN");
    EXPECT_EQ(ThrownMessage([&] { VariantValue().As<Texts>(); }),
              "Attempting to access NONE variant as STRING_LIST");
    static_assert(!std::is_constructible_v<VariantValue, int*>, "a pointer is no BOOLEAN");
    static_assert(!std::is_copy_constructible_v<Variant>);
}

TEST(VariantValueTest, RefusesUntypedAndUnknownOperands) {
    VariantValue none, small(int32_t{1}), unknown(VariantType(19));
    const VariantValue large(uint32_t{1});
    Bytes blob;
    const std::pair<std::function<void()>, const char*> cases[] = {
        {[&] { none.Assign(VariantValue()); }, "Attemping to assign untyped variant"},
        {[&] { (void)none.Equal(VariantValue()); }, "Attemping to compare untyped variants"},
        {[&] { none.ToBlob(blob); }, "Attemping to blob-ize untyped variant"},
        {[&] { none.FromBlob(nullptr, 0); }, "Attemping to set untyped variant from blob"},
        {[&] { none.FromString(""); }, "Attemping to set untyped variant from string"},
        {[&] { none.ToAlternateString(); }, "Attemping to stringize untyped variant"},
        {[&] { unknown.Assign(VariantValue(unknown)); }, "Attempting to assign variant of unknown type"},
        {[&] { (void)unknown.Equal(unknown); }, "Attempting to compare variants of unknown type"},
        {[&] { unknown.ToBlob(blob); }, "Attempting to blob-ize variant of unknown type"},
        {[&] { unknown.FromBlob(nullptr, 0); }, "Attempting to set variant of unknown type from blob"},
        {[&] { unknown.FromString(""); }, "Attempting to set variant of unknown type from string"},
        {[&] { unknown.ToString(); }, "Attempting to stringize variant of unknown type"},
        {[&] { unknown.ToAlternateString(); }, "Attempting to alt-stringize variant of unknown type"},
        {[&] { (void)small.Equal(large); },
         "Attemping to compare variants of different types (INT32 vs UINT32)"},
        {[&] { small.Assign(large); }, "Attemping to assign variant from variant of different type"},
    };
    for (const auto& [use, message] : cases)
        EXPECT_EQ(ThrownMessage(use), message);
    EXPECT_EQ(none.ToString(), "<void>");
    EXPECT_FALSE(VariantValue(NAN).Equal(VariantValue(NAN)));
}

// What a value, which stays as it was, says to a blob that it does not take.
std::string Refusal(const VariantValue& before, VariantType type, const Bytes& blob) {
    VariantValue value = before;
    const std::string message =
        ThrownMessage([&] { VariantBlob::Read(value, type, blob.data(), blob.size()); });
    EXPECT_TRUE(value.Equal(before)) << message;
    return message;
}

TEST(VariantValueTest, StaysAsItWasWhenABlobIsBad) {
    const std::string remaining = "Remaining blob length for STRING_LIST too small to contain ";
    const std::tuple<VariantType, Bytes, std::string> cases[] = {
        {VariantType::BOOLEAN, Bytes(0), "Blob of type BOOLEAN should contain 1 bytes; have 0"},
        {VariantType::UINT16, Bytes(3), "Blob of type UINT16 should contain 2 bytes; have 3"},
        {VariantType::FLOAT, Bytes(5), "Blob of type FLOAT should contain 4 bytes; have 5"},
        {VariantType::INT64, Bytes(9), "Blob of type INT64 should contain 8 bytes; have 9"},
        {VariantType::IP_ADDRESS_LIST, Bytes(7), "Blob length for IP_ADDRESS_LIST is not a multiple of 4"},
        {VariantType::UINT64_VECTOR, Bytes(12), "Blob length for UINT64_VECTOR is not a multiple of 8"},
        {VariantType::STRING_LIST, {0, 0}, remaining + "a length for string #0"},
        {VariantType::STRING_LIST, {0, 0, 0, 1, 'A', 0, 0, 0, 5, 'A'}, remaining + "string #1"},
        {VariantType::STRING_LIST, {0, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF}, remaining + "string #1"},
    };
    for (const auto& [type, blob, message] : cases) {
        EXPECT_EQ(Refusal(kSamples[static_cast<int32_t>(type) - 1].value, type, blob), message);
        EXPECT_EQ(Refusal("kept", type, blob), message);
    }
}

TEST(VariantValueTest, TakesUnusualBlobs) {
    VariantValue value(VariantType::BOOLEAN);
    value.FromBlob(VariantType::BOOLEAN, Bytes{2}.data(), 1);
    EXPECT_EQ(BlobOf(value), Bytes{1});
    value.FromBlob(VariantType::STRING, Bytes{'a', 0, 'b'}.data(), 3);
    EXPECT_EQ(value.As<std::string>(), "a\0b"s);
}

TEST(VariantValueTest, StaysAsItWasWhenATextIsBad) {
    const std::tuple<VariantValue, const char*, const char*> cases[] = {
        {uint8_t{1}, "-1", "Could not convert \"-1\" to uint16"},
        {Bytes{1}, "1 256", "Value \"256\" is not in the range 0..255"},
        {uint16_t{1}, "65536", "Could not convert \"65536\" to uint16"},
        {uint32_t{1}, "4294967296", "Value \"4294967296\" is not in the range 0..4294967295"},
        {std::vector<uint32_t>{1}, "2,3", "Could not convert \"2,3\" to uint32"},
        {std::vector<IPAddress>(1), "1.2.3.4 x", "x is not a valid IP address"},
        {true, "False", "\"False\" is not a boolean value"},
        {true, "1", "\"1\" is not a boolean value"},
        {Texts{"a"}, "b \"c", "Missing closing double-quote"},
    };
    for (const auto& [before, text, message] : cases) {
        VariantValue value = before;
        EXPECT_EQ(ThrownMessage([&, bad = text] { value.FromString(bad); }), message);
        EXPECT_TRUE(value.Equal(before)) << text;
    }
    EXPECT_EQ(VariantValue(VariantType::STRING_LIST, "\"\" \"b c\"").As<Texts>(), (Texts{"", "b c"}));
}

template <class Element>
void ExpectCut(size_t most, const Element& element, const std::string& text) {
    std::string expected = text;
    for (size_t i = 1; i < most; ++i)
        expected += " " + text;
    EXPECT_EQ(VariantValue(std::vector<Element>(most, element)).ToString(), expected);
    EXPECT_EQ(VariantValue(std::vector<Element>(most + 1, element)).ToString(), expected + " [1 more]");
    const std::string alternate = VariantValue(std::vector<Element>(most + 1, element)).ToAlternateString();
    EXPECT_TRUE(alternate.ends_with(" [1 more]")) << alternate;
}

TEST(VariantValueTest, CutsLongLists) {
    ExpectCut(16, uint8_t{5}, "5");
    ExpectCut(16, "s"s, "s");
    ExpectCut(16, uint32_t{5}, "5");
    ExpectCut(16, int32_t{-5}, "-5");
    ExpectCut(8, uint64_t{5}, "5");
    ExpectCut(8, 0.5f, "0.500000");
    EXPECT_EQ(VariantValue(std::vector<IPAddress>(40)).ToString().size(), 40 * 8 - 1u);  // never cut
}

}  // namespace
}  // namespace quarn::test
