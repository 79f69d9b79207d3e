#include <quarn/Text.h>
#include <quarn/VariantValue.h>

#include "support/ThrownMessage.h"
#include "values/VariantBlob.h"

#include <gtest/gtest.h>

#include <math.h>

#include <functional>
#include <type_traits>

namespace quarn::test {
namespace {

using namespace std::string_literals;
using Bytes = std::vector<uint8_t>;
using Texts = std::vector<std::string>;

constexpr auto kUnknown = VariantType(19);

Bytes BlobOf(const Variant& variant) {
    Bytes blob = {0xEE};  // blobs are appended
    variant.ToBlob(blob);
    EXPECT_EQ(blob.front(), 0xEE);
    blob.erase(blob.begin());
    return blob;
}

// A value of every type, with the texts and bytes that it has.
struct Sample {
    VariantValue value;
    const char* name;
    std::string text;       // what ToString() gives
    std::string alternate;  // what ToAlternateString() gives
    std::string source;     // what FromString() takes
    Bytes blob;
};

const Sample kSamples[] = {
    {uint8_t{200}, "UINT8", "200", "0xC8", "0xC8", {0xC8}},
    {Bytes{0, 255}, "UINT8_VECTOR", "0 255", "0x00 0xFF", " 0  0xFF", {0x00, 0xFF}},
    {int16_t{-2}, "INT16", "-2", "0xFFFE", "-2", {0xFF, 0xFE}},
    {uint16_t{0x1234}, "UINT16", "4660", "0x1234", "04660", {0x12, 0x34}},
    {int32_t{-2}, "INT32", "-2", "0xFFFFFFFE", "4294967294", {0xFF, 0xFF, 0xFF, 0xFE}},
    {uint32_t{0x89ABCDEF}, "UINT32", "2309737967", "0x89ABCDEF", "0x89ABCDEF", {0x89, 0xAB, 0xCD, 0xEF}},
    {std::vector<uint32_t>{1, UINT32_MAX},
     "UINT32_VECTOR",
     "1 4294967295",
     "0x00000001 0xFFFFFFFF",
     "1 4294967295",
     {0, 0, 0, 1, 0xFF, 0xFF, 0xFF, 0xFF}},
    {1.0f, "FLOAT", "1.000000", "1.000000", "1", {0x3F, 0x80, 0, 0}},
    {"a b", "STRING", "a b", "a b", "a b", {'a', ' ', 'b'}},
    {IPAddress("10.1.2.254"), "IP_ADDRESS", "10.1.2.254", "10.1.2.254", "10.1.2.254", {10, 1, 2, 254}},
    {std::vector<IPAddress>{IPAddress("1.2.3.4"), IPAddress()},
     "IP_ADDRESS_LIST",
     "1.2.3.4 0.0.0.0",
     "1.2.3.4 0.0.0.0",
     "1.2.3.4 0.0.0.0",
     {1, 2, 3, 4, 0, 0, 0, 0}},
    {true, "BOOLEAN", "1", "true", "true", {1}},
    {Texts{"", "b c"},
     "STRING_LIST",
     " b c",
     " b c",
     "\"\" \"b c\"",
     {0, 0, 0, 0, 0, 0, 0, 3, 'b', ' ', 'c'}},
    {std::vector<int32_t>{-1, 2},
     "INT32_VECTOR",
     "-1 2",
     "0xFFFFFFFF 0x00000002",
     "-1 2",
     {0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0, 2}},
    {std::vector<float>{-2.5f}, "FLOAT_VECTOR", "-2.500000", "-2.500000", "-2.5", {0xC0, 0x20, 0, 0}},
    {int64_t{INT64_MIN},
     "INT64",
     "-9223372036854775808",
     "0x8000000000000000",
     "-9223372036854775808",
     {0x80, 0, 0, 0, 0, 0, 0, 0}},
    {uint64_t{0x0102030405060708},
     "UINT64",
     "72623859790382856",
     "0x0102030405060708",
     "0x0102030405060708",
     {1, 2, 3, 4, 5, 6, 7, 8}},
    {std::vector<uint64_t>{UINT64_MAX}, "UINT64_VECTOR", "18446744073709551615", "0xFFFFFFFFFFFFFFFF",
     "18446744073709551615", Bytes(8, 0xFF)},
};

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

        const VariantValue parsed(type, sample.source);
        EXPECT_TRUE(parsed.Equal(sample.value));
        VariantValue decoded(type);
        EXPECT_FALSE(decoded.Equal(sample.value));
        decoded.FromBlob(sample.blob.data(), sample.blob.size());
        EXPECT_TRUE(decoded.Equal(sample.value));
        VariantValue read(type);
        VariantBlob::Read(read, type, sample.blob.data(), sample.blob.size());
        EXPECT_TRUE(read.Equal(sample.value));
        VariantValue assigned(type);
        assigned.Assign(sample.value);
        EXPECT_TRUE(assigned.Equal(sample.value));

        // From any type to any other: by decoding, copying and moving.
        for (const Sample& before : kSamples) {
            VariantValue value = before.value;
            value.FromBlob(type, sample.blob.data(), sample.blob.size());
            EXPECT_TRUE(value.Equal(sample.value)) << before.name;
            value = before.value;
            VariantBlob::Read(value, type, sample.blob.data(), sample.blob.size());
            EXPECT_TRUE(value.Equal(sample.value)) << before.name;
            value = before.value;
            EXPECT_TRUE(value.Equal(before.value)) << before.name;
            value = std::move(decoded);
            EXPECT_TRUE(value.Equal(sample.value)) << before.name;
            decoded = std::move(value);
        }
        const VariantValue moved = std::move(decoded);
        EXPECT_TRUE(moved.Equal(sample.value));
    }
    EXPECT_EQ(code, 18);
}

TEST(VariantValueTest, IsReadAsItsOwnTypeOnly) {
    VariantValue value(uint16_t{7});
    const uint16_t number = value;
    EXPECT_EQ(number, 7);
    EXPECT_EQ(ThrownMessage([&] { value.As<uint32_t>(); }), "Attempting to access UINT16 variant as UINT32");
    EXPECT_EQ(ThrownMessage([&] { value.As<bool>(); }), "Attempting to access UINT16 variant as BOOLEAN");
    value.Set("text");
    const std::string text = value;
    EXPECT_EQ(text, "text");
    EXPECT_EQ(ThrownMessage([&] { value.As<Texts>(); }),
              "Attempting to access STRING variant as STRING_LIST");
    EXPECT_EQ(ThrownMessage([] { VariantValue().As<uint8_t>(); }),
              "Attempting to access NONE variant as UINT8");
    static_assert(!std::is_constructible_v<VariantValue, int*>, "a pointer is no BOOLEAN");
    static_assert(std::is_nothrow_move_constructible_v<VariantValue> &&
                  !std::is_copy_constructible_v<Variant>);
}

TEST(VariantValueTest, ValidatesTypeCodes) {
    EXPECT_TRUE(Variant::IsTypeValid(VariantType::NONE));
    EXPECT_TRUE(Variant::IsTypeValid(18));
    for (const int32_t code : {-1, 19, INT32_MIN, INT32_MAX})
        EXPECT_FALSE(Variant::IsTypeValid(code)) << code;
    EXPECT_EQ(Variant::TypeName(VariantType::NONE), "NONE");
    EXPECT_EQ(ThrownMessage([] { Variant::TypeName(kUnknown); }), "Unknown type (19)");
    EXPECT_EQ(ThrownMessage([] { Variant::TypeName(VariantType(-1)); }), "Unknown type (-1)");
}

TEST(VariantValueTest, RefusesUntypedAndUnknownOperands) {
    Bytes blob;
    const struct {
        std::function<void(VariantValue&)> use;
        const char* ofNone;
        const char* ofUnknown;
    } cases[] = {
        {[](auto& v) { v.Assign(VariantValue(v)); }, "Attemping to assign untyped variant",
         "Attempting to assign variant of unknown type"},
        {[](auto& v) { v.Equal(VariantValue(v)); }, "Attemping to compare untyped variants",
         "Attempting to compare variants of unknown type"},
        {[&](auto& v) { v.ToBlob(blob); }, "Attemping to blob-ize untyped variant",
         "Attempting to blob-ize variant of unknown type"},
        {[](auto& v) { v.FromBlob(nullptr, 0); }, "Attemping to set untyped variant from blob",
         "Attempting to set variant of unknown type from blob"},
        {[](auto& v) { v.FromString(""); }, "Attemping to set untyped variant from string",
         "Attempting to set variant of unknown type from string"},
        {[](auto& v) { v.ToAlternateString(); }, "Attemping to stringize untyped variant",
         "Attempting to alt-stringize variant of unknown type"},
        {[](auto& v) { EXPECT_EQ(v.ToString(), "<void>"); }, "(nothing thrown)",
         "Attempting to stringize variant of unknown type"},
    };
    for (const auto& c : cases) {
        VariantValue none, unknown(kUnknown);
        EXPECT_EQ(ThrownMessage([&] { c.use(none); }), c.ofNone);
        EXPECT_EQ(ThrownMessage([&] { c.use(unknown); }), c.ofUnknown);
    }
    EXPECT_TRUE(blob.empty());

    VariantValue small(int32_t{1});
    const VariantValue large(uint32_t{1});
    EXPECT_EQ(ThrownMessage([&] { (void)small.Equal(large); }),
              "Attemping to compare variants of different types (INT32 vs UINT32)");
    EXPECT_EQ(ThrownMessage([&] { small.Assign(large); }),
              "Attemping to assign variant from variant of different type");
    EXPECT_FALSE(VariantValue(NAN).Equal(VariantValue(NAN)));
}

// In every way that a blob is taken.
void ExpectRefused(const Sample& sample, const Bytes& blob, const std::string& message) {
    const VariantType type = sample.value.Type();
    VariantValue value = sample.value, other("kept");
    EXPECT_EQ(ThrownMessage([&] { value.FromBlob(blob.data(), blob.size()); }), message);
    EXPECT_EQ(ThrownMessage([&] { VariantBlob::Read(value, type, blob.data(), blob.size()); }), message);
    EXPECT_TRUE(value.Equal(sample.value)) << sample.name;
    EXPECT_EQ(ThrownMessage([&] { other.FromBlob(type, blob.data(), blob.size()); }), message);
    EXPECT_TRUE(other.Equal(VariantValue("kept")));
}

TEST(VariantValueTest, StaysAsItWasWhenABlobIsBad) {
    const std::string remaining = "Remaining blob length for STRING_LIST too small to contain ";
    const std::pair<Bytes, const char*> lists[] = {
        {{0, 0}, "a length for string #0"},
        {{0, 0, 0, 5, 'A'}, "string #0"},
        {{0, 0, 0, 1, 'A', 0, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF}, "string #2"},
        {{0, 0, 0, 1, 'A', 0, 0, 0}, "a length for string #1"},
    };
    for (const Sample& sample : kSamples) {
        const std::string name = sample.name;
        const size_t element = name.starts_with("UINT64") ? 8 : 4;
        if (name == "UINT8_VECTOR" || name == "STRING")
            continue;  // take every blob
        if (name == "STRING_LIST")
            for (const auto& [blob, missing] : lists)
                ExpectRefused(sample, blob, remaining + missing);
        else if (name.ends_with("_VECTOR") || name.ends_with("_LIST"))
            for (const size_t length : {size_t{1}, element / 2, element + 1, 2 * element - 1})
                ExpectRefused(sample, Bytes(length),
                              Format("Blob length for %s is not a multiple of %zu", sample.name, element));
        else
            for (const size_t length : {sample.blob.size() - 1, sample.blob.size() + 1})
                ExpectRefused(sample, Bytes(length),
                              Format("Blob of type %s should contain %zu bytes; have %zu", sample.name,
                                     sample.blob.size(), length));
    }
}

TEST(VariantValueTest, TakesUnusualBlobs) {
    for (const Sample& sample : kSamples) {
        const VariantValue empty(sample.value.Type());
        if (!BlobOf(empty).empty())
            continue;
        VariantValue value = sample.value;
        value.FromBlob(nullptr, 0);
        EXPECT_TRUE(value.Equal(empty)) << sample.name;
        value = sample.value;
        VariantBlob::Read(value, empty.Type(), nullptr, 0);
        EXPECT_TRUE(value.Equal(empty)) << sample.name;
        Bytes nowhere;
        empty.ToBlob(nowhere);
        EXPECT_EQ(nowhere, Bytes{}) << sample.name;
    }
    VariantValue flag(false);
    const uint8_t two = 2;
    flag.FromBlob(&two, 1);
    EXPECT_TRUE(flag.As<bool>());
    EXPECT_EQ(BlobOf(flag), Bytes{1});
    VariantValue text(VariantType::STRING);
    text.FromBlob(reinterpret_cast<const uint8_t*>("a\0b"), 3);
    EXPECT_EQ(text.As<std::string>(), "a\0b"s);
}

TEST(VariantValueTest, StaysAsItWasWhenATextIsBad) {
    const std::tuple<VariantValue, const char*, const char*> cases[] = {
        {uint8_t{1}, "256", "Value \"256\" is not in the range 0..255"},
        {uint8_t{1}, "-1", "Could not convert \"-1\" to uint16"},
        {Bytes{1}, "1 256", "Value \"256\" is not in the range 0..255"},
        {int16_t{1}, "32768", "Could not convert \"32768\" to int16"},
        {uint16_t{1}, "65536", "Could not convert \"65536\" to uint16"},
        {int32_t{1}, "", "Could not convert empty string to int32"},
        {uint32_t{1}, "4294967296", "Value \"4294967296\" is not in the range 0..4294967295"},
        {std::vector<uint32_t>{1}, "2,3", "Could not convert \"2,3\" to uint32"},
        {std::vector<IPAddress>(1), "1.2.3.4 x", "x is not a valid IP address"},
        {true, "1", "\"1\" is not a boolean value"},
        {true, "False", "\"False\" is not a boolean value"},
        {Texts{"a"}, "b \"c", "Missing closing double-quote"},
        {uint64_t{1}, "18446744073709551616", "Could not convert \"18446744073709551616\" to uint64"},
    };
    for (const auto& [before, text, message] : cases) {
        VariantValue value = before;
        EXPECT_EQ(ThrownMessage([&, bad = text] { value.FromString(bad); }), message);
        EXPECT_TRUE(value.Equal(before)) << text;
    }
}

template <class Element>
void ExpectCut(size_t most, const Element& element, const std::string& text, const std::string& alternate) {
    for (const size_t count : {most, most + 1, most + 984}) {
        const VariantValue value(std::vector<Element>(count, element));
        std::string expected = text, expectedAlternate = alternate;
        for (size_t i = 1; i < most; ++i) {
            expected += " " + text;
            expectedAlternate += " " + alternate;
        }
        const std::string more = count > most ? Format(" [%zu more]", count - most) : "";
        EXPECT_EQ(value.ToString(), expected + more);
        EXPECT_EQ(value.ToAlternateString(), expectedAlternate + more);
    }
}

TEST(VariantValueTest, CutsLongLists) {
    ExpectCut(16, uint8_t{5}, "5", "0x05");
    ExpectCut(16, uint32_t{5}, "5", "0x00000005");
    ExpectCut(16, int32_t{-5}, "-5", "0xFFFFFFFB");
    ExpectCut(16, "s"s, "s", "s");
    ExpectCut(8, 0.5f, "0.500000", "0.500000");
    ExpectCut(8, uint64_t{5}, "5", "0x0000000000000005");
    EXPECT_EQ(VariantValue(std::vector<IPAddress>(40)).ToString().size(), 40 * 8 - 1u);  // never cut
}

}  // namespace
}  // namespace quarn::test
