#include "support/Transcript.h"
#include "values/VariantBlob.h"
#include "values/VariantSamples.h"
#include "values/VariantTypes.h"

#include <math.h>

#include <type_traits>

namespace quarn::test {
namespace {

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
    EXPECT_TRUE(Variant::IsTypeValid(18) && Variant::IsTypeValid(VariantType::NONE));
    EXPECT_FALSE(Variant::IsTypeValid(19) || Variant::IsTypeValid(-1));
    EXPECT_FALSE(VariantValue(NAN).Equal(VariantValue(NAN)));
    static_assert(!std::is_constructible_v<VariantValue, int*>, "a pointer is no BOOLEAN");
    static_assert(!std::is_copy_constructible_v<Variant>);
}

/// A type's name stands for its sample; what fails must leave that as it was.
class VariantPlayer : public Transcript {
public:
    VariantPlayer() {
        Add({
            {"name", [&] { return Variant::TypeName(VariantType(N(1))); }},
            {"text", [&] { return Sampled(1).ToString(); }},
            {"alternate", [&] { return Sampled(1).ToAlternateString(); }},
            {"blob", [&] { return Shown(BlobOf(Sampled(1))); }},
            {"equal", [&] { return std::string(Sampled(1).Equal(Sampled(2)) ? "yes" : "no"); }},
            {"boolean", [&] { return std::string(Sampled(1).As<bool>() ? "yes" : "no"); }},
            {"texts", [&] { return Joined(Sampled(1).As<Texts>()); }},
            {"assign", [&] { return Changed([&](VariantValue& to) { to.Assign(Sampled(2)); }); }},
            {"parse", [&] { return Changed([&](VariantValue& value) { value.FromString(W(2)); }); }},
            {"repeat", [&] { return Repeated(); }},
            {"read", [&] { return Read(Sampled(1).Type(), Hex(2)); }},
            {"read-as", [&] { return Read(Sampled(2).Type(), Hex(3)); }},
        });
    }

private:
    VariantValue Sampled(size_t i) const {
        for (const Sample& sample : kSamples)
            if (sample.name == W(i))
                return sample.value;
        return VariantValue(VariantType(N(i)));
    }
    template <class Change>
    std::string Changed(Change&& change) const {
        const VariantValue before = Sampled(1);
        VariantValue value = before;
        try {
            change(value);
        } catch (const MonitorException&) {
            EXPECT_TRUE(!HasValue(before.Type()) || value.Equal(before));
            throw;
        }
        return Prettify(value.ToString());
    }
    std::string Read(VariantType type, const Bytes& bytes) const {
        return Changed([&](VariantValue& value) {
            if (value.Type() == type)
                value.FromBlob(bytes.data(), bytes.size());
            else
                value.FromBlob(type, bytes.data(), bytes.size());
        });
    }
    /// A list of so many equal elements, in both its texts.
    std::string Repeated() const {
        std::string list;
        for (size_t i = 0; i < N(2); ++i)
            list += " " + W(3);
        const VariantValue value(Sampled(1).Type(), list);
        return value.ToString() + "\n" + value.ToAlternateString();
    }
};

TEST(VariantValueTest, SaysWhyNotAndStaysAsItWas) {
    VariantPlayer().Replay("variants.txt");
}

}  // namespace
}  // namespace quarn::test
