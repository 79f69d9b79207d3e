#include "messages/MessageBytes.h"

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
        EXPECT_EQ(message.GetDebugString(), "4660");
    }
}

TEST(OutgoingMessageTest, EveryLayoutAtItsLimitsComesBack) {
    // The tag, the stream, the size of the payload; then the sync byte and the size of the message.
    const std::tuple<uint32_t, uint8_t, size_t, uint8_t, size_t> cases[] = {
        {65535, 0, 0, 0xA1, 6},         {65535, 0, 249, 0xA1, 255},     {65535, 0, 250, 0xA2, 257},
        {65535, 0, 65528, 0xA2, 65535}, {65535, 0, 65529, 0xA3, 65538}, {65536, 0, 243, 0xA4, 255},
        {65536, 0, 244, 0xA5, 257},     {65536, 0, 65522, 0xA5, 65535}, {65536, 0, 65523, 0xA6, 65538},
        {0, 1, 244, 0xC1, 255},         {0, 1, 245, 0xC2, 257},         {0, 1, 65523, 0xC2, 65535},
        {0, 1, 65524, 0xC3, 65538},     {~0u, 255, 242, 0xC4, 255},     {~0u, 255, 243, 0xC5, 257},
        {~0u, 255, 65521, 0xC5, 65535}, {~0u, 255, 65522, 0xC6, 65538}, {65536, 0, 0, 0xA4, 12},
    };
    for (const auto& [tag, stream, size, sync, total] : cases) {
        VariableDictionary known("known");
        known.Add(tag, "key", VariantType::UINT8_VECTOR);
        const std::vector<uint8_t> payload(size, 0x5A);
        OutgoingMessage out(known.Find(tag), VariantValue(payload));
        out.SetStream(stream);
        ASSERT_EQ(out.Bytes(), total);
        EXPECT_EQ(out.Sync()[0], sync) << size;

        IncomingMessage in;
        EXPECT_EQ(in.Populate(out.Sync(), total - 1), 0u);
        std::vector<uint8_t> bytes(out.Sync(), out.Sync() + total);
        bytes.push_back(0xA0);  // what follows is not looked at
        ASSERT_EQ(in.Populate(bytes.data(), bytes.size()), total);
        EXPECT_EQ(in.GetTag(), tag);
        EXPECT_EQ(in.GetStream(), stream);
        EXPECT_EQ(in.ToString(), out.ToString());
    }
}

TEST(OutgoingMessageTest, Sentences) {
    SentenceGrammar grammar("g");
    const VariantType text = VariantType::STRING;
    grammar.Add(0x00020001, "key", 0, VariantType::UINT16, text, text, VariantType::NONE);
    const SentenceDetails& details = *grammar.Find(0x00020001, true);
    const auto words = [](const std::string& second, const std::string& third) {
        return std::vector{VariantValue(uint16_t{0x1234}), VariantValue(second), VariantValue(third)};
    };
    OutgoingMessage message(details, words("hi", ""));
    EXPECT_EQ(message.ToString(),
              "A4 1F 00 02 00 01 EA E3 B2 00 00 00 02 12 34 B2 00 00 00 02 68 69 B2 00 00 00 00 20 EC FF AB");
    EXPECT_EQ(message.GetDebugString(), "4660 hi ");
    // A blank precedes a word only once there is text.
    const std::vector<VariantValue> gap = {VariantValue(std::string()), VariantValue(std::string("x"))};
    EXPECT_EQ(OutgoingMessage(details, gap).GetDebugString(), "x");

    // Words that outgrow the room in the object, and then the first larger room.
    const std::string longer(170, 'b'), longest(1000, 'c');
    message = OutgoingMessage(details, words(longer, longest));
    message.SetStream(3);
    const OutgoingMessage copy = message;
    message.SetStream(0);
    const IncomingMessage in = Received({copy.Sync(), copy.Sync() + copy.Bytes()});
    EXPECT_EQ(std::unique_ptr<Sentence>(in.CreateSentence(grammar))->ToString(),
              "4660, " + longer + ", " + longest);
    EXPECT_EQ(copy.GetDebugString(), "4660 " + longer + " " + longest);
}

}  // namespace
}  // namespace quarn::test
