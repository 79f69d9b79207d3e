#include <quarn/VariantReference.h>

#include "support/ThrownMessage.h"
#include "values/VariantBlob.h"

#include <gtest/gtest.h>

#include <functional>

namespace quarn::test {
namespace {

using Bytes = std::vector<uint8_t>;

// Everything that can be done to a variable of each type, between two of its values.
template <class T>
void CheckVariable(const T& before, const T& after) {
    SCOPED_TRACE(VariantValue(after).ToString());
    T variable = before;
    VariantReference reference(&variable);
    const VariantValue value(after);
    ASSERT_EQ(reference.Type(), value.Type());
    EXPECT_EQ(reference.As<T>(), before);

    reference.Set(after);
    EXPECT_EQ(variable, after);
    EXPECT_TRUE(reference.Equal(value));
    EXPECT_EQ(reference.ToString(), value.ToString());
    variable = before;
    reference.Assign(value);
    EXPECT_EQ(variable, after);

    Bytes blob;
    reference.ToBlob(blob);
    variable = before;
    reference.FromBlob(value.Type(), blob.data(), blob.size());
    EXPECT_EQ(variable, after);
    // No type has a blob of 13 bytes with a first length of 255.
    if (!std::is_same_v<T, std::string> && !std::is_same_v<T, Bytes>) {
        EXPECT_NE(ThrownMessage([&] { reference.FromBlob(Bytes(13, 255).data(), 13); }), "(nothing thrown)");
        EXPECT_EQ(variable, after);
    }
}

TEST(VariantReferenceTest, ReadsAndWritesVariablesOfEveryType) {
    CheckVariable<uint8_t>(1, 255);
    CheckVariable<Bytes>({1}, {2, 3});
    CheckVariable<int16_t>(1, -2);
    CheckVariable<uint16_t>(1, 65535);
    CheckVariable<int32_t>(1, -2);
    CheckVariable<uint32_t>(1, 4294967295);
    CheckVariable<std::vector<uint32_t>>({1, 2}, {3});
    CheckVariable<float>(1, -2.5f);
    CheckVariable<std::string>("before", "a string that is too long to be held inside");
    CheckVariable(IPAddress("1.2.3.4"), IPAddress("5.6.7.8"));
    CheckVariable<std::vector<IPAddress>>({}, {IPAddress("1.2.3.4"), IPAddress("5.6.7.8")});
    CheckVariable<bool>(false, true);
    CheckVariable<std::vector<std::string>>({"a", "b"}, {"", "c"});
    CheckVariable<std::vector<int32_t>>({1}, {-1, -2});
    CheckVariable<std::vector<float>>({1}, {-1, -2});
    CheckVariable<int64_t>(1, INT64_MIN);
    CheckVariable<uint64_t>(1, UINT64_MAX);
    CheckVariable<std::vector<uint64_t>>({1}, {UINT64_MAX, 0});
}

TEST(VariantReferenceTest, RefusesOtherTypesThanItsVariables) {
    uint16_t variable = 7;
    VariantReference reference(&variable);
    const char* const message = "Attempting to access UINT16 variant as INT16";
    EXPECT_EQ(ThrownMessage([&] { reference.Set(int16_t{1}); }), message);
    EXPECT_EQ(ThrownMessage([&] { reference.As<int16_t>(); }), message);
    EXPECT_EQ(ThrownMessage([&] { reference.FromBlob(VariantType::INT16, Bytes(2).data(), 2); }), message);
    EXPECT_EQ(ThrownMessage([&] { reference.Set("7"); }), "Attempting to access UINT16 variant as STRING");
    EXPECT_EQ(ThrownMessage([&] { reference.FromBlob(VariantType::NONE, nullptr, 0); }),
              "Attemping to set untyped variant from blob");
    EXPECT_EQ(ThrownMessage([&] { reference.FromString("65536"); }), "Could not convert \"65536\" to uint16");
    EXPECT_EQ(variable, 7);
    EXPECT_EQ(reference.Type(), VariantType::UINT16);
}

TEST(VariantReferenceTest, GoesThroughFunctions) {
    std::string text = "start";
    size_t reads = 0;
    VariantReference reference(
        VariantType::STRING,
        [&] {
            ++reads;
            text += '.';  // a value that differs every time
            return text;
        },
        [&](const VariantValue& value) { text = value.As<std::string>(); });
    EXPECT_EQ(reference.ToString(), "start.");
    Bytes blob;
    reference.ToBlob(blob);
    EXPECT_EQ(blob, (Bytes{'s', 't', 'a', 'r', 't', '.', '.'}));
    EXPECT_EQ(reads, 2u);
    reference.FromBlob(blob.data(), 5);
    EXPECT_EQ(text, "start");
    reference.FromString("parsed");
    EXPECT_EQ(text, "parsed");
    reference.Assign(VariantValue("assigned"));
    EXPECT_TRUE(reference.Equal(VariantValue("assigned.")));

    EXPECT_EQ(ThrownMessage([&] { reference.Set(true); }), "Attempting to access BOOLEAN variant as STRING");
    EXPECT_EQ(ThrownMessage([&] { reference.As<bool>(); }), "Attempting to access STRING variant as BOOLEAN");
    EXPECT_EQ(ThrownMessage([&] { reference.FromBlob(VariantType::BOOLEAN, blob.data(), 1); }),
              "Attempting to access STRING variant as BOOLEAN");
    EXPECT_EQ(text, "assigned.");

    VariantReference liar(
        VariantType::UINT8, [] { return 7; }, nullptr);
    EXPECT_EQ(ThrownMessage([&] { liar.ToString(); }), "Attempting to access INT32 variant as UINT8");
}

TEST(VariantReferenceTest, MayLackFunctions) {
    VariantReference reference(VariantType::UINT8, nullptr, nullptr);
    Bytes blob;
    const std::function<void()> gets[] = {[&] { reference.As<uint8_t>(); },
                                          [&] { reference.As<std::string>(); }, [&] { reference.ToString(); },
                                          [&] { reference.ToBlob(blob); }};
    for (const auto& get : gets)
        EXPECT_EQ(ThrownMessage(get), "Attempted to get ungettable variant reference");
    const std::function<void()> sets[] = {[&] { reference.Set(uint8_t{1}); }, [&] { reference.Set("text"); },
                                          [&] { reference.FromString("1"); },
                                          [&] { reference.FromBlob(Bytes(1).data(), 1); }};
    for (const auto& set : sets)
        EXPECT_EQ(ThrownMessage(set), "Attempted to set unsettable variant reference");
    EXPECT_EQ(ThrownMessage([&] { reference.FromString("x"); }), "Could not convert \"x\" to uint16");
}

TEST(VariantReferenceTest, AppendsAByteVectorToItself) {
    Bytes variable = {1, 2, 3};
    VariantReference(&variable).ToBlob(variable);
    EXPECT_EQ(variable, (Bytes{1, 2, 3, 1, 2, 3}));
}

TEST(VariantBlobTest, ReadsAFunctionOnce) {
    std::string text;
    const VariantReference growing(
        VariantType::STRING, [&text] { return text += "ab"; }, nullptr);
    const VariantBlob blob(growing);
    ASSERT_EQ(blob.Size(), 2u);
    uint8_t out[8] = {0, 0, 0xEE};
    EXPECT_EQ(blob.Write(out), out + 2);
    EXPECT_EQ(out[1], 'b');
    EXPECT_EQ(out[2], 0xEE);
}

}  // namespace
}  // namespace quarn::test
