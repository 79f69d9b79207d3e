#include <quarn/quarn.h>

#include "support/ThrownMessage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>

namespace quarn::test {

using testing::ElementsAre;

TEST(SentenceGrammarTest, AddsListsAndMakesSentences) {
    SentenceGrammar grammar("g");
    grammar.Add(3, "b.two", 1, VariantType::UINT16, VariantType::STRING, VariantType::NONE);
    grammar.Add(1, "b.one", 0, VariantType::NONE);
    grammar.Add(2, "a", 2, VariantType::NONE);
    const std::tuple<uint32_t, const char*, int, const char*> refused[] = {
        {3, "other", 0, "Attempting to add duplicate tag 0x00000003 to grammar \"g\""},
        {6, "a", 0, "Attempting to add duplicate key \"a\" to grammar \"g\""},
        {6, "six", 19, "Invalid type for sentence 0x00000006 in grammar g (unterminated list?)"},
        {6, "six", -1, "Invalid type for sentence 0x00000006 in grammar g (unterminated list?)"},
    };
    for (const auto& [tag, key, type, thrown] : refused)
        EXPECT_EQ(
            ThrownMessage([&, t = tag, k = key, y = type] { grammar.Add(t, k, 0, y, VariantType::NONE); }),
            thrown);
    EXPECT_EQ(grammar.Find(6, false), nullptr);
    EXPECT_EQ(ThrownMessage([&] { grammar.Find("other", true); }),
              "No sentence registered in grammar g for key other");

    std::list<uint32_t> tags;
    for (const SentenceDetails* details : grammar.Query(std::list<std::string>{"B*", "*two", "b*", "*"}))
        tags.push_back(details->GetTag());
    EXPECT_THAT(tags, ElementsAre(3, 1, 2));
    EXPECT_THAT(grammar.List({3, 9, 1, 2}), ElementsAre("Tag         Sentence  Words              ",
                                                        "0x00000003  b.two     UINT16 STRING ...  ",
                                                        "0x00000001  b.one     -                  ",
                                                        "0x00000002  a         ...                "));
    // Words are deliberately not held against the types here.
    const std::vector<VariantValue> words = {VariantValue(uint16_t{7}), VariantValue(std::string("x"))};
    const std::unique_ptr<Sentence> sentence(grammar.CreateSentence(1, words));
    EXPECT_EQ(sentence->ToString(), "7, x");
    EXPECT_THAT(sentence->ToStrings(), ElementsAre("7", "x"));
    EXPECT_EQ(ThrownMessage([&] { sentence->Word(2); }), "Accessing word 3 of a sentence with 2 words");
    const std::unique_ptr<OutgoingMessage> message(grammar.CreateOutgoingMessage(1, words));
    EXPECT_EQ(message->GetDebugString(), "7 x");
    EXPECT_EQ(ThrownMessage([&] { grammar.CreateOutgoingMessage(4, words); }),
              "No sentence registered in grammar g for tag 0x00000004");
}

}  // namespace quarn::test
