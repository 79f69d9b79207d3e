#include "messages/MessageBytes.h"
#include "support/ThrownMessage.h"

#include <memory>

namespace quarn::test {
namespace {

const char* const kGood = "A4 0E 00 01 00 00 AB 0A 12 34 1C CE 72 B0";

TEST(IncomingMessageTest, WhatIsNoMessageOrNotYet) {
    const std::pair<const char*, const char*> cases[] = {
        {"", "0"},
        {"A0", "Invalid sync byte 0xA0"},
        {"A7 00", "Invalid sync byte 0xA7"},
        {"C7", "Invalid sync byte 0xC7"},
        // Legacy lengths are judged once as many bytes are there, even if they are too short to be right.
        {"A1 05 00 07", "0"},
        {"A1 05 00 07 00", "Message too short for legacy CRC"},
        {"A1 00 00 07", "Message too short for legacy CRC"},
        {"A1 08 01 03 12 34 A6 4C", "Legacy CRC mismatch"},
        {"A3 FF FF FF FF 00 07 00 00", "0"},
        // A broken header is reported before the rest is there, an announced length only then.
        {"A4 0E 00 01 00 00 AB", "0"},
        {"A4 0E 00 01 00 00 AB 0B", "Header CRC mismatch"},
        {"A6 FF FF FF FF 00 01 00 00 B9 D1 00", "0"},
        {"A4 09 00 01 00 00 9B D6", "0"},
        {"A4 09 00 01 00 00 9B D6 00", "Message too short for global CRC"},
        {"A4 0E 00 01 00 00 AB 0A 12 35 1C CE 72 B0", "Global CRC mismatch"},
    };
    for (const auto& [hex, outcome] : cases) {
        IncomingMessage message = Received(Bytes(kGood));
        const std::vector<uint8_t> bytes = Bytes(hex);
        size_t taken = 1;
        const std::string thrown =
            ThrownMessage([&] { taken = message.Populate(bytes.data(), bytes.size()); });
        EXPECT_EQ(taken == 0 ? "0" : thrown, outcome) << hex;
        EXPECT_EQ(message.GetTag(), 0u) << hex;
        EXPECT_EQ(message.ToString(), "") << hex;
    }
}

TEST(IncomingMessageTest, LayoutsThatAreOnlyReceived) {
    VariableDictionary dictionary("d");
    dictionary.Add(0x0102, "key", VariantType::UINT16);
    for (const char* bytes : {"AA 0C 01 02 E1 FA 12 34 58 BC 65 5E", "AB 00 0D 01 02 68 9D 12 34 FD 55 66 4C",
                              "AC 00 00 00 0F 01 02 24 09 12 34 51 0A 11 30"})
        EXPECT_EQ(Received(Bytes(bytes)).ToVariable(dictionary).GetValue().ToString(), "4660") << bytes;
}

TEST(IncomingMessageTest, SentencesThatDoNotFit) {
    const std::tuple<int, const char*, const char*> cases[] = {
        {0, "B2 00 00 00 02 12 34 B2 00 00 00 00", "4660, "},
        {1, "B2 00 00 00 02 12 34", "4660"},
        {0, "B2 00 00 00 02 12 34", "Message contained only 1 of 2 word(s)"},
        // Too many words is found before what the next word looks like, its sync before its size.
        {1, "B2 00 00 00 02 12 34 B2 00 00 00 00 00", "Too many words in message"},
        {0, "B3", "Expected word sync; got B3"},
        {0, "B2 00 00 00", "Not enough bytes for word length"},
        {0, "B2 00 00 00 03 12 34", "Word length exceeds length of message"},
        {0, "B2 FF FF FF FB 12 34", "Word length exceeds length of message"},
        {0, "B2 00 00 00 00", "Blob of type UINT16 should contain 2 bytes; have 0"},
    };
    SentenceGrammar grammar("g");
    for (const int openEnded : {0, 1})
        grammar.Add(uint32_t(openEnded), openEnded ? "open" : "closed", openEnded, VariantType::UINT16,
                    VariantType::STRING, VariantType::NONE);
    Sentence reused(*grammar.Find(0, true));  // what a case leaves in it must not show in the next
    for (const auto& [openEnded, payload, outcome] : cases) {
        const IncomingMessage message = Received(uint32_t(openEnded), VariantValue(Bytes(payload)));
        const std::string thrown = ThrownMessage([&] { message.ToSentence(grammar, reused); });
        const std::string text = reused.ToString();
        EXPECT_EQ(text.empty() ? thrown : text, outcome) << payload;
        EXPECT_EQ(reused.GetDetails().IsOpenEnded(), openEnded != 0);
    }
    EXPECT_FALSE(Received(Bytes(kGood)).ToSentence(grammar, reused));
    EXPECT_EQ(Received(Bytes(kGood)).CreateSentence(grammar), nullptr);
}

}  // namespace
}  // namespace quarn::test
