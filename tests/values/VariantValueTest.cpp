#include <quarn/VariantValue.h>

#include "support/ThrownMessage.h"
#include "values/VariantBlob.h"

#include <gtest/gtest.h>

#include <math.h>

#include <functional>
#include <type_traits>

namespace quarn {
namespace {

using namespace std::string_literals;
using test::ThrownMessage;
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
    VariantValue none, unknown(kUnknown);
    Bytes blob;
    const struct {
        const char* message;
        std::function<void(VariantValue&)> use;
    } cases[][2] = {
        {{"Attemping to assign untyped variant", [](VariantValue& v) { v.Assign(VariantValue(v)); }},
         {"Attempting to assign variant of unknown type",
          [](VariantValue& v) { v.Assign(VariantValue(v)); }}},
        {{"Attemping to compare untyped variants", [](VariantValue& v) { v.Equal(VariantValue(v)); }},
         {"Attempting to compare variants of unknown type",
          [](VariantValue& v) { v.Equal(VariantValue(v)); }}},
        {{"Attemping to blob-ize untyped variant", [&](VariantValue& v) { v.ToBlob(blob); }},
         {"Attempting to blob-ize variant of unknown type", [&](VariantValue& v) { v.ToBlob(blob); }}},
        {{"Attemping to set untyped variant from blob", [](VariantValue& v) { v.FromBlob(nullptr, 0); }},
         {"Attempting to set variant of unknown type from blob",
          [](VariantValue& v) { v.FromBlob(nullptr, 0); }}},
        {{"Attemping to set untyped variant from string", [](VariantValue& v) { v.FromString(""); }},
         {"Attempting to set variant of unknown type from string",
          [](VariantValue& v) { v.FromString(""); }}},
        {{"Attemping to stringize untyped variant", [](VariantValue& v) { v.ToAlternateString(); }},
         {"Attempting to alt-stringize variant of unknown type",
          [](VariantValue& v) { v.ToAlternateString(); }}},
        {{"(nothing thrown)", [](VariantValue& v) { EXPECT_EQ(v.ToString(), "<void>"); }},
         {"Attempting to stringize variant of unknown type", [](VariantValue& v) { v.ToString(); }}},
    };
    for (const auto& pair : cases) {
        EXPECT_EQ(ThrownMessage([&] { pair[0].use(none); }), pair[0].message);
        EXPECT_EQ(ThrownMessage([&] { pair[1].use(unknown); }), pair[1].message);
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

TEST(VariantValueTest, StaysAsItWasWhenABlobIsBad) {
    const struct {
        VariantType type;
        Bytes blob;
        const char* message;
    } cases[] = {
        {VariantType::UINT8, {}, "Blob of type UINT8 should contain 1 bytes; have 0"},
        {VariantType::INT16, {1}, "Blob of type INT16 should contain 2 bytes; have 1"},
        {VariantType::UINT16, {1, 2, 3}, "Blob of type UINT16 should contain 2 bytes; have 3"},
        {VariantType::INT32, {1, 2, 3}, "Blob of type INT32 should contain 4 bytes; have 3"},
        {VariantType::UINT32, Bytes(5), "Blob of type UINT32 should contain 4 bytes; have 5"},
        {VariantType::FLOAT, Bytes(8), "Blob of type FLOAT should contain 4 bytes; have 8"},
        {VariantType::IP_ADDRESS, Bytes(3), "Blob of type IP_ADDRESS should contain 4 bytes; have 3"},
        {VariantType::BOOLEAN, Bytes(2), "Blob of type BOOLEAN should contain 1 bytes; have 2"},
        {VariantType::INT64, Bytes(4), "Blob of type INT64 should contain 8 bytes; have 4"},
        {VariantType::UINT64, Bytes(9), "Blob of type UINT64 should contain 8 bytes; have 9"},
        {VariantType::UINT32_VECTOR, Bytes(5), "Blob length for UINT32_VECTOR is not a multiple of 4"},
        {VariantType::INT32_VECTOR, Bytes(6), "Blob length for INT32_VECTOR is not a multiple of 4"},
        {VariantType::FLOAT_VECTOR, Bytes(7), "Blob length for FLOAT_VECTOR is not a multiple of 4"},
        {VariantType::IP_ADDRESS_LIST, Bytes(1), "Blob length for IP_ADDRESS_LIST is not a multiple of 4"},
        {VariantType::UINT64_VECTOR, Bytes(12), "Blob length for UINT64_VECTOR is not a multiple of 8"},
        {VariantType::STRING_LIST,
         {0, 0},
         "Remaining blob length for STRING_LIST too small to contain a length for string #0"},
        {VariantType::STRING_LIST,
         {0, 0, 0, 5, 'A'},
         "Remaining blob length for STRING_LIST too small to contain string #0"},
        {VariantType::STRING_LIST,
         {0, 0, 0, 1, 'A', 0, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF},
         "Remaining blob length for STRING_LIST too small to contain string #2"},
        {VariantType::STRING_LIST,
         {0, 0, 0, 1, 'A', 0, 0, 0},
         "Remaining blob length for STRING_LIST too small to contain a length for string #1"},
        {VariantType::NONE, {}, "Attemping to set untyped variant from blob"},
        {kUnknown, {}, "Attempting to set variant of unknown type from blob"},
    };
    for (const auto& c : cases) {
        VariantValue value("kept");
        EXPECT_EQ(ThrownMessage([&] { value.FromBlob(c.type, c.blob.data(), c.blob.size()); }), c.message);
        EXPECT_TRUE(value.Equal(VariantValue("kept")));
        if (!Variant::IsTypeValid(c.type) || c.type == VariantType::NONE)
            continue;
        for (const Sample& sample : kSamples) {
            if (sample.value.Type() != c.type)
                continue;
            value = sample.value;
            const uint8_t* const data = c.blob.data();
            EXPECT_EQ(ThrownMessage([&] { value.FromBlob(data, c.blob.size()); }), c.message);
            EXPECT_EQ(ThrownMessage([&] { VariantBlob::Read(value, c.type, data, c.blob.size()); }),
                      c.message);
            EXPECT_TRUE(value.Equal(sample.value)) << sample.name;
        }
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
    const struct {
        VariantValue value;
        const char* text;
        const char* message;
    } cases[] = {
        {uint8_t{1}, "256", "Value \"256\" is not in the range 0..255"},
        {uint8_t{1}, "-1", "Could not convert \"-1\" to uint16"},
        {Bytes{1}, "1 256", "Value \"256\" is not in the range 0..255"},
        {int16_t{1}, "32768", "Could not convert \"32768\" to int16"},
        {uint16_t{1}, "65536", "Could not convert \"65536\" to uint16"},
        {int32_t{1}, "", "Could not convert empty string to int32"},
        {uint32_t{1}, "4294967296", "Value \"4294967296\" is not in the range 0..4294967295"},
        {std::vector<uint32_t>{1}, "2,3", "Could not convert \"2,3\" to uint32"},
        {1.0f, "one", "Could not convert \"one\" to float"},
        {IPAddress("1.2.3.4"), "1.2.3", "1.2.3 is not a valid IP address"},
        {std::vector<IPAddress>(1), "1.2.3.4 x", "x is not a valid IP address"},
        {true, "1", "\"1\" is not a boolean value"},
        {true, "False", "\"False\" is not a boolean value"},
        {Texts{"a"}, "b \"c", "Missing closing double-quote"},
        {uint64_t{1}, "18446744073709551616", "Could not convert \"18446744073709551616\" to uint64"},
    };
    for (const auto& c : cases) {
        VariantValue value = c.value;
        EXPECT_EQ(ThrownMessage([&] { value.FromString(c.text); }), c.message);
        EXPECT_TRUE(value.Equal(c.value)) << c.text;
    }
    EXPECT_EQ(ThrownMessage([] { VariantValue(VariantType::BOOLEAN, "yes"); }),
              "\"yes\" is not a boolean value");
}

template <class Element>
std::string ShownOf(size_t count, const Element& element, bool isAlternate = false) {
    const VariantValue value(std::vector<Element>(count, element));
    return isAlternate ? value.ToAlternateString() : value.ToString();
}

std::string Repeated(size_t count, const std::string& item) {
    std::string text = item;
    while (--count > 0)
        text += " " + item;
    return text;
}

TEST(VariantValueTest, CutsLongLists) {
    EXPECT_EQ(ShownOf(16, uint8_t{5}), Repeated(16, "5"));
    EXPECT_EQ(ShownOf(17, uint8_t{5}), Repeated(16, "5") + " [1 more]");
    EXPECT_EQ(ShownOf(1000, uint32_t{5}), Repeated(16, "5") + " [984 more]");
    EXPECT_EQ(ShownOf(18, int32_t{-5}), Repeated(16, "-5") + " [2 more]");
    EXPECT_EQ(ShownOf(17, "s"s), Repeated(16, "s") + " [1 more]");
    EXPECT_EQ(ShownOf(8, 0.5f), Repeated(8, "0.500000"));
    EXPECT_EQ(ShownOf(9, 0.5f), Repeated(8, "0.500000") + " [1 more]");
    EXPECT_EQ(ShownOf(9, uint64_t{5}), Repeated(8, "5") + " [1 more]");
    EXPECT_EQ(ShownOf(40, IPAddress("1.2.3.4")), Repeated(40, "1.2.3.4"));
    EXPECT_EQ(ShownOf(17, uint8_t{5}, true), Repeated(16, "0x05") + " [1 more]");
    EXPECT_EQ(ShownOf(9, uint64_t{5}, true), Repeated(8, "0x0000000000000005") + " [1 more]");
}

}  // namespace
}  // namespace quarn
