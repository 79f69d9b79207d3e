#include <quarn/quarn.h>

#include "messages/MessageBytes.h"
#include "support/ThrownMessage.h"

#include <gtest/gtest.h>

#include <memory>

namespace quarn::test {
namespace {

const char* const kGood = "A4 0E 00 01 00 00 AB 0A 12 34 1C CE 72 B0";

IncomingMessage Received(const std::vector<uint8_t>& bytes) {
    IncomingMessage message;
    EXPECT_EQ(message.Populate(bytes.data(), bytes.size()), bytes.size());
    return message;
}

TEST(IncomingMessageTest, WhatIsNoMessageOrNotYet) {
    const std::pair<const char*, const char*> cases[] = {
        {"", "0"},
        {"A0", "Invalid sync byte 0xA0"},
        {"A7 00", "Invalid sync byte 0xA7"},
        {"C0", "Invalid sync byte 0xC0"},
        {"C7", "Invalid sync byte 0xC7"},
        // Legacy lengths are judged once as many bytes are there, even if they are too short to be right.
        {"A1 05 00", "0"},
        {"A1 05 00 07", "0"},
        {"A1 05 00 07 00", "Message too short for legacy CRC"},
        {"A1 00 00 07", "Message too short for legacy CRC"},
        {"A2 00 06 00 07 00", "Message too short for legacy CRC"},
        {"A1 08 01 02 12 34 A6 4D", "Legacy CRC mismatch"},
        {"A1 08 01 03 12 34 A6 4C", "Legacy CRC mismatch"},
        {"A3 FF FF FF FF 00 07 00 00", "0"},
        // A broken header is reported before the rest is there, an announced length only then.
        {"A4 0E 00 01 00 00 AB", "0"},
        {"A4 0E 00 01 00 00 AB 0B", "Header CRC mismatch"},
        {"A4 0E 00 01 00 01 AB 0A", "Header CRC mismatch"},
        {"A4 0E 00 01 00 00 AB 0A 12", "0"},
        {"A6 FF FF FF FF 00 01 00 00 B9 D1 00", "0"},
        {"A4 09 00 01 00 00 9B D6", "0"},
        {"A4 09 00 01 00 00 9B D6 00", "Message too short for global CRC"},
        {"A4 0E 00 01 00 00 AB 0A 12 34 1C CE 72 B1", "Global CRC mismatch"},
        {"A4 0E 00 01 00 00 AB 0A 12 35 1C CE 72 B0", "Global CRC mismatch"},
    };
    for (const auto& [hex, outcome] : cases) {
        IncomingMessage message = Received(Bytes(kGood));
        const std::vector<uint8_t> bytes = Bytes(hex);
        size_t taken = 1;
        const std::string thrown =
            ThrownMessage([&] { taken = message.Populate(bytes.data(), bytes.size()); });
        EXPECT_EQ(taken == 0 ? "0" : thrown, outcome) << hex;
        EXPECT_EQ(message.GetTotalBytes(), 0u) << hex;
        EXPECT_EQ(message.GetTag(), 0u) << hex;
        EXPECT_EQ(message.ToString(), "") << hex;
    }
}

TEST(IncomingMessageTest, LayoutsThatAreOnlyReceived) {
    for (const char* bytes : {"AA 0C 01 02 E1 FA 12 34 58 BC 65 5E", "AB 00 0D 01 02 68 9D 12 34 FD 55 66 4C",
                              "AC 00 00 00 0F 01 02 24 09 12 34 51 0A 11 30"}) {
        VariableDictionary dictionary("d");
        dictionary.Add(0x0102, "key", VariantType::UINT16);
        const IncomingMessage message = Received(Bytes(bytes));
        EXPECT_EQ(message.GetTag(), 0x0102u);
        EXPECT_EQ(message.GetStream(), 0);
        EXPECT_EQ(uint16_t(message.ToVariable(dictionary).GetValue()), 0x1234) << bytes;
    }
}

TEST(IncomingMessageTest, AppliesToAnIndex) {
    VariableDictionary dictionary("d");
    VariableIndex index("i", dictionary);
    const IncomingMessage empty;
    IncomingMessage good = Received(Bytes(kGood));
    EXPECT_FALSE(good.Apply(index));
    EXPECT_FALSE(empty.Apply(index));  // the tag comes first

    uint16_t value = 1;
    uint32_t wide = 2;
    index.Add(0x10000, &value, 0);
    index.Add(0, &wide, 0);
    EXPECT_TRUE(good.Apply(index));
    EXPECT_EQ(value, 0x1234);
    EXPECT_EQ(ThrownMessage([&] { empty.Apply(index); }), "Attempting to apply an empty message");
    EXPECT_EQ(ThrownMessage([&] { empty.ToVariable(dictionary); }),
              "Attempting to create an item from an empty message");
    EXPECT_EQ(ThrownMessage([&] { good.ToVariable(dictionary); }),
              "No variable registered in dictionary d for code 0x00010000");

    index.Add(0x00020001, &wide, 0);
    const IncomingMessage narrow = Received(MessageWith("12 34"));
    EXPECT_EQ(ThrownMessage([&] { narrow.Apply(index); }),
              "Blob of type UINT32 should contain 4 bytes; have 2");
    EXPECT_EQ(wide, 2u);
}

TEST(IncomingMessageTest, SentencesThatDoNotFit) {
    const std::tuple<int, const char*, const char*> cases[] = {
        {0, "B2 00 00 00 02 12 34 B2 00 00 00 00", "4660, "},
        {0, "", "Message contained only 0 of 2 word(s)"},
        {0, "B2 00 00 00 02 12 34", "Message contained only 1 of 2 word(s)"},
        {1, "", ""},
        {1, "B2 00 00 00 02 12 34", "4660"},
        // Too many words is found before what the next word looks like, its sync before its size.
        {1, "B2 00 00 00 02 12 34 B2 00 00 00 00 00", "Too many words in message"},
        {0, "B3", "Expected word sync; got B3"},
        {0, "B2 00 00 00", "Not enough bytes for word length"},
        {0, "B2 00 00 00 03 12 34", "Word length exceeds length of message"},
        {0, "B2 FF FF FF FB 12 34", "Word length exceeds length of message"},
        {0, "B2 00 00 00 00", "Blob of type UINT16 should contain 2 bytes; have 0"},
    };
    SentenceGrammar texts("texts");
    texts.Add(1, "key", 0, VariantType::NONE);
    Sentence reused(*texts.Find(1, true));  // what a case leaves in it must not show in the next
    for (const auto& [openEnded, payload, outcome] : cases) {
        SentenceGrammar grammar("g");
        grammar.Add(0x00020001, "key", openEnded, VariantType::UINT16, VariantType::STRING,
                    VariantType::NONE);
        const IncomingMessage message = Received(MessageWith(payload));
        std::string text;
        const std::string thrown = ThrownMessage(
            [&] { text = std::unique_ptr<Sentence>(message.CreateSentence(grammar))->ToString(); });
        const bool isGood = thrown == "(nothing thrown)";
        EXPECT_EQ(isGood ? text : thrown, outcome) << payload;
        EXPECT_EQ(ThrownMessage([&] { message.ToSentence(grammar, reused); }), thrown);
        EXPECT_EQ(reused.ToString(), isGood ? outcome : "") << payload;
        EXPECT_EQ(&reused.GetDetails(), grammar.Find(0x00020001, true));
    }
    SentenceGrammar other("other");
    IncomingMessage message = Received(MessageWith(""));
    EXPECT_EQ(message.CreateSentence(other), nullptr);
    EXPECT_FALSE(message.ToSentence(other, reused));
    other.Add(0x00020001, "none", 0, VariantType::NONE);
    EXPECT_EQ(std::unique_ptr<Sentence>(other.CreateSentence(&message))->GetWords().size(), 0u);
    EXPECT_EQ(ThrownMessage([&] { IncomingMessage().CreateSentence(other); }),
              "Attempting to create an item from an empty message");
}

}  // namespace
}  // namespace quarn::test
