#include <quarn/VariantReference.h>

#include "support/ThrownMessage.h"
#include "values/VariantSamples.h"
#include "values/VariantTypes.h"

#include <gtest/gtest.h>

namespace quarn::test {

TEST(VariantReferenceTest, ReadsAndWritesVariablesOfEveryType) {
    for (const Sample& sample : kSamples) {
        SCOPED_TRACE(sample.name);
        WithType(sample.value.Type(), [&]<class T>() {
            const T wanted = sample.value.As<T>();
            T variable{};
            VariantReference reference(&variable);
            ASSERT_EQ(reference.Type(), sample.value.Type());
            reference.Set(wanted);
            EXPECT_EQ(variable, wanted);
            EXPECT_EQ(reference.As<T>(), wanted);
            EXPECT_TRUE(reference.Equal(sample.value));
            EXPECT_EQ(reference.ToString(), sample.text);
            variable = {};
            reference.FromBlob(sample.value.Type(), sample.blob.data(), sample.blob.size());
            EXPECT_EQ(variable, wanted);
            variable = {};
            reference.Assign(sample.value);
            Bytes blob;
            reference.ToBlob(blob);
            EXPECT_EQ(blob, sample.blob);
        });
    }
}

TEST(VariantReferenceTest, RefusesOtherTypesAndGoesThroughFunctions) {
    uint16_t variable = 7;
    VariantReference number(&variable);
    const char* const message = "Attempting to access UINT16 variant as INT16";
    EXPECT_EQ(ThrownMessage([&] { number.Set(int16_t{1}); }), message);
    EXPECT_EQ(ThrownMessage([&] { number.As<int16_t>(); }), message);
    EXPECT_EQ(ThrownMessage([&] { number.FromBlob(VariantType::INT16, Bytes(2).data(), 2); }), message);
    EXPECT_EQ(variable, 7);

    std::string text = "start";
    VariantReference reference(
        VariantType::STRING, [&] { return text += '.'; },  // a value that differs every time
        [&](const VariantValue& value) { text = value.As<std::string>(); });
    EXPECT_EQ(reference.ToString(), "start.");
    Bytes blob;
    reference.ToBlob(blob);
    EXPECT_EQ(blob, (Bytes{'s', 't', 'a', 'r', 't', '.', '.'}));
    reference.FromBlob(blob.data(), 5);
    EXPECT_EQ(text, "start");
    reference.FromString("parsed");
    EXPECT_EQ(text, "parsed");
    reference.Assign(VariantValue("assigned"));
    EXPECT_TRUE(reference.Equal(VariantValue("assigned.")));
    EXPECT_EQ(ThrownMessage([&] { reference.Set(true); }), "Attempting to access BOOLEAN variant as STRING");
    EXPECT_EQ(ThrownMessage([&] { reference.As<bool>(); }), "Attempting to access STRING variant as BOOLEAN");
    EXPECT_EQ(text, "assigned.");

    VariantReference liar(
        VariantType::UINT8, [] { return 7; }, nullptr);
    EXPECT_EQ(ThrownMessage([&] { liar.ToString(); }), "Attempting to access INT32 variant as UINT8");
    VariantReference lacking(VariantType::UINT8, nullptr, nullptr);
    const char* const ungettable = "Attempted to get ungettable variant reference";
    EXPECT_EQ(ThrownMessage([&] { lacking.As<std::string>(); }), ungettable);
    EXPECT_EQ(ThrownMessage([&] { lacking.ToBlob(blob); }), ungettable);
    const char* const unsettable = "Attempted to set unsettable variant reference";
    EXPECT_EQ(ThrownMessage([&] { lacking.Set("text"); }), unsettable);
    EXPECT_EQ(ThrownMessage([&] { lacking.FromString("x"); }), "Could not convert \"x\" to uint16");
}

}  // namespace quarn::test
