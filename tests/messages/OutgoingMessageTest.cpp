#include <quarn/quarn.h>

#include "support/ThrownMessage.h"

#include <gtest/gtest.h>

#include <memory>

namespace quarn::test {
namespace {

TEST(OutgoingMessageTest, BytesOfVariableMessages) {
    VariableDictionary dictionary("d");
    const std::tuple<uint32_t, uint8_t, const char*> cases[] = {
        {0x0102, 0, "A1 08 01 02 12 34 A6 4C"},
        {0x10000, 0, "A4 0E 00 01 00 00 AB 0A 12 34 1C CE 72 B0"},
        {0x0102, 5, "C1 0D 05 01 02 C8 CB 12 34 B9 A8 7D C7"},
        {0x10000, 5, "C4 0F 05 00 01 00 00 6F 6C 12 34 E3 2B 55 E0"},
    };
    for (const auto& [tag, stream, bytes] : cases) {
        OutgoingMessage message(VariableDetails(tag, "key", dictionary, VariantType::UINT16),
                                VariantValue(uint16_t{0x1234}));
        message.SetStream(77);  // leaves no trace
        message.SetStream(stream);
        EXPECT_EQ(message.ToString(), bytes);
        EXPECT_EQ(message.GetTag(), tag);
        EXPECT_EQ(message.GetStream(), stream);
        EXPECT_EQ(message.GetDebugString(), "4660");
    }
    EXPECT_EQ(OutgoingMessage::GetNOP(), 0xA0);
    EXPECT_EQ(ThrownMessage([&] {
                  OutgoingMessage(VariableDetails(1, "key", dictionary, VariantType::NONE), VariantValue());
              }),
              "Attemping to blob-ize untyped variant");
    // The text would be formed first.
    EXPECT_EQ(ThrownMessage([&] {
                  OutgoingMessage(VariableDetails(1, "key", dictionary, VariantType::NONE),
                                  VariantValue(static_cast<VariantType>(19)));
              }),
              "Attempting to stringize variant of unknown type");
}

TEST(OutgoingMessageTest, EveryLayoutAtItsLimitsComesBack) {
    VariableDictionary dictionary("d");
    const struct {
        uint32_t tag;
        uint8_t stream;
        size_t payload;
        uint8_t sync;
        size_t total;
    } cases[] = {
        {65535, 0, 0, 0xA1, 6},         {65535, 0, 249, 0xA1, 255},     {65535, 0, 250, 0xA2, 257},
        {65535, 0, 65528, 0xA2, 65535}, {65535, 0, 65529, 0xA3, 65538}, {65536, 0, 243, 0xA4, 255},
        {65536, 0, 244, 0xA5, 257},     {65536, 0, 65522, 0xA5, 65535}, {65536, 0, 65523, 0xA6, 65538},
        {0, 1, 244, 0xC1, 255},         {0, 1, 245, 0xC2, 257},         {0, 1, 65523, 0xC2, 65535},
        {0, 1, 65524, 0xC3, 65538},     {~0u, 255, 242, 0xC4, 255},     {~0u, 255, 243, 0xC5, 257},
        {~0u, 255, 65521, 0xC5, 65535}, {~0u, 255, 65522, 0xC6, 65538},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << std::hex << int{c.sync} << " with " << std::dec << c.payload);
        VariableDictionary known("known");
        known.Add(c.tag, "key", VariantType::UINT8_VECTOR);
        std::vector<uint8_t> payload(c.payload);
        for (size_t i = 0; i < payload.size(); ++i)
            payload[i] = uint8_t(i * 7 + i / 256);
        OutgoingMessage out(known.Find(c.tag), VariantValue(payload));
        out.SetStream(c.stream);
        ASSERT_EQ(out.Bytes(), c.total);
        EXPECT_EQ(out.Sync()[0], c.sync);

        IncomingMessage in;
        for (size_t available : {size_t{0}, size_t{1}, size_t{4}, c.total - 1})
            EXPECT_EQ(in.Populate(out.Sync(), available), 0u) << available;
        std::vector<uint8_t> stream(out.Sync(), out.Sync() + out.Bytes());
        stream.push_back(0xA0);  // what follows is not looked at
        ASSERT_EQ(in.Populate(stream.data(), stream.size()), c.total);
        EXPECT_EQ(in.GetTotalBytes(), c.total);
        EXPECT_EQ(in.GetTag(), c.tag);
        EXPECT_EQ(in.GetStream(), c.stream);
        EXPECT_EQ(in.ToString(), out.ToString());
        const std::vector<uint8_t> back = in.ToVariable(known).GetValue();
        EXPECT_EQ(back, payload);
    }
}

// The words outgrow the room in the object, and then the first larger room.
TEST(OutgoingMessageTest, LongSentencesComeBack) {
    SentenceGrammar grammar("g");
    grammar.Add(7, "key", 0, VariantType::STRING, VariantType::STRING, VariantType::STRING,
                VariantType::NONE);
    std::vector<VariantValue> words;
    for (size_t length : {170, 1000, 1})
        words.push_back(VariantValue(std::string(length, char('a' + length % 26))));
    OutgoingMessage out(*grammar.Find(7, true), words);
    out.SetStream(3);
    const OutgoingMessage copy = out;
    IncomingMessage in;
    ASSERT_EQ(in.Populate(copy.Sync(), copy.Bytes()), 12u + 15 + 1171);
    const std::unique_ptr<Sentence> sentence(in.CreateSentence(grammar));
    EXPECT_EQ(sentence->ToString(),
              words[0].ToString() + ", " + words[1].ToString() + ", " + words[2].ToString());
    EXPECT_EQ(copy.GetDebugString(),
              words[0].ToString() + " " + words[1].ToString() + " " + words[2].ToString());
}

TEST(OutgoingMessageTest, Sentences) {
    SentenceGrammar grammar("g");
    const SentenceDetails details(0x00020001, "key", grammar, {}, false);
    OutgoingMessage message(details, {VariantValue(uint16_t{0x1234}), VariantValue(std::string("hi")),
                                      VariantValue(std::string())});
    EXPECT_EQ(message.ToString(),
              "A4 1F 00 02 00 01 EA E3 B2 00 00 00 02 12 34 B2 00 00 00 02 68 69 B2 00 00 00 00 20 EC FF AB");
    const OutgoingMessage copy = message;
    message.SetStream(1);
    EXPECT_EQ(copy.Bytes(), 31u);
    EXPECT_EQ(copy.GetDebugString(), "4660 hi ");
    EXPECT_EQ(message.GetDebugString(), "4660 hi ");
    // A blank precedes a word only once there is text.
    EXPECT_EQ(OutgoingMessage(
                  details, {VariantValue(std::string()), VariantValue(std::string("x")), VariantValue(true)})
                  .GetDebugString(),
              "x 1");
    EXPECT_EQ(OutgoingMessage(details, {}).GetDebugString(), "");
}

}  // namespace
}  // namespace quarn::test
