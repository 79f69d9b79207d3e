#include <quarn/quarn.h>

#include "support/ThrownMessage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>

namespace quarn::test {
namespace {

using testing::ElementsAre;

std::vector<std::string> Keys(const std::list<const SentenceDetails*>& found) {
    std::vector<std::string> keys;
    for (const SentenceDetails* details : found)
        keys.push_back(details->GetKey());
    return keys;
}

TEST(SentenceGrammarTest, RefusesWhatItHasAndWhatIsNoType) {
    SentenceGrammar grammar("g");
    grammar.Add(5, "five", 0, VariantType::NONE);
    const std::tuple<uint32_t, const char*, int, const char*> cases[] = {
        {5, "other", 0, "Attempting to add duplicate tag 0x00000005 to grammar \"g\""},
        {6, "five", 0, "Attempting to add duplicate key \"five\" to grammar \"g\""},
        {6, "six", 19, "Invalid type for sentence 0x00000006 in grammar g (unterminated list?)"},
        {6, "six", -1, "Invalid type for sentence 0x00000006 in grammar g (unterminated list?)"},
    };
    for (const auto& [tag, key, type, thrown] : cases)
        EXPECT_EQ(
            ThrownMessage([&, t = tag, k = key, y = type] { grammar.Add(t, k, 0, y, VariantType::NONE); }),
            thrown);
    EXPECT_EQ(grammar.Find(6, false), nullptr);
    EXPECT_EQ(grammar.Find("other", false), nullptr);
    EXPECT_EQ(grammar.Find("five", true), grammar.Find(5, true));
    EXPECT_EQ(ThrownMessage([&] { grammar.Find(99, true); }),
              "No sentence registered in grammar g for tag 0x00000063");
    EXPECT_EQ(ThrownMessage([&] { grammar.Find("x%s", true); }),
              "No sentence registered in grammar g for key x%s");
}

TEST(SentenceGrammarTest, QueriesAndLists) {
    SentenceGrammar grammar("g");
    grammar.Add(3, "b.two", 1, VariantType::UINT16, VariantType::STRING, VariantType::NONE);
    grammar.Add(1, "b.one", 0, VariantType::NONE);
    grammar.Add(2, "a", 2, VariantType::NONE);
    EXPECT_THAT(Keys(grammar.Query("*")), ElementsAre("a", "b.one", "b.two"));
    EXPECT_THAT(Keys(grammar.Query("B*")), ElementsAre());
    EXPECT_THAT(Keys(grammar.Query(std::list<std::string>{"*two", "b*", "*"})),
                ElementsAre("b.two", "b.one", "a"));
    EXPECT_THAT(grammar.List({3, 9, 1, 2}), ElementsAre("Tag         Sentence  Words              ",
                                                        "0x00000003  b.two     UINT16 STRING ...  ",
                                                        "0x00000001  b.one     -                  ",
                                                        "0x00000002  a         ...                "));
}

TEST(SentenceGrammarTest, MakesSentencesAndMessages) {
    SentenceGrammar grammar("g");
    grammar.Add(3, "key", 0, VariantType::BOOLEAN, VariantType::NONE);
    // Words are deliberately not held against the types here.
    const std::vector<VariantValue> words = {VariantValue(uint16_t{7}), VariantValue(std::string("x"))};
    const std::unique_ptr<Sentence> sentence(grammar.CreateSentence(3, words));
    EXPECT_EQ(&sentence->GetDetails(), grammar.Find(3, true));
    EXPECT_EQ(sentence->ToString(), "7, x");
    EXPECT_THAT(sentence->ToStrings(), ElementsAre("7", "x"));
    EXPECT_EQ(uint16_t(sentence->Word(0)), 7);
    EXPECT_EQ(ThrownMessage([&] { sentence->Word(2); }), "Accessing word 3 of a sentence with 2 words");
    const std::unique_ptr<OutgoingMessage> message(grammar.CreateOutgoingMessage(3, words));
    EXPECT_EQ(message->GetTag(), 3u);
    EXPECT_EQ(message->GetDebugString(), "7 x");
    EXPECT_EQ(ThrownMessage([&] { grammar.CreateSentence(4, words); }),
              "No sentence registered in grammar g for tag 0x00000004");
    EXPECT_EQ(ThrownMessage([&] { grammar.CreateOutgoingMessage(4, words); }),
              "No sentence registered in grammar g for tag 0x00000004");
}

}  // namespace
}  // namespace quarn::test
