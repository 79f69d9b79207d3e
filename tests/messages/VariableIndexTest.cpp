#include <quarn/quarn.h>

#include "support/DebugCapture.h"
#include "support/ThrownMessage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace quarn::test {
namespace {

using testing::ElementsAre;
using testing::Pair;

TEST(VariableDictionaryTest, RefusesDuplicatesAndFinds) {
    VariableDictionary dictionary("d");
    dictionary.Add(7, "b", VariantType::UINT16);
    EXPECT_EQ(ThrownMessage([&] { dictionary.Add(7, "c", VariantType::UINT8); }),
              "Attempting to add duplicate tag 0x00000007 to dictionary \"d\"");
    EXPECT_EQ(ThrownMessage([&] { dictionary.Add(8, "b", VariantType::UINT8); }),
              "Attempting to add duplicate key \"b\" to dictionary \"d\"");
    // A refused addition leaves neither half behind.
    EXPECT_EQ(ThrownMessage([&] { dictionary.Find("c"); }),
              "No variable registered in dictionary d for key c");
    EXPECT_EQ(ThrownMessage([&] { dictionary.Find(8); }),
              "No variable registered in dictionary d for code 0x00000008");
    EXPECT_EQ(&dictionary.Find(7), &dictionary.Find("b"));
    EXPECT_EQ(dictionary.Find(7).GetType(), VariantType::UINT16);
}

class VariableIndexTest : public testing::Test {
protected:
    VariableIndexTest() {
        dictionary.Add(1, "rf.gain", VariantType::INT16);
        dictionary.Add(2, "name", VariantType::STRING);
        dictionary.Add(3, "rf.band", VariantType::UINT8);
        dictionary.Add(4, "audio", VariantType::UINT32);
    }

    static std::vector<uint32_t> Tags(const std::list<OutgoingMessage>& messages) {
        std::vector<uint32_t> tags;
        for (const OutgoingMessage& message : messages)
            tags.push_back(message.GetTag());
        return tags;
    }

    static IncomingMessage Received(uint32_t tag, const VariantValue& value) {
        VariableDictionary any("any");
        const OutgoingMessage sent(VariableDetails(tag, "key", any, value.Type()), value);
        IncomingMessage message;
        message.Populate(sent.Sync(), sent.Bytes());
        return message;
    }

    VariableDictionary dictionary{"d"};
    VariableIndex index{"here", dictionary};
    VariableIndex other{"there", dictionary};
    int16_t gain = -12;
    std::string name = "unit";
    uint8_t band = 3;
};

TEST_F(VariableIndexTest, DuplicateStaysInTheListOnly) {
    int16_t second = 99;
    EXPECT_EQ(index.LastTag(), 0u);
    index.Add(1, &gain, 4);
    index.Add(2, &name, 0);
    const Variant* const first = index.GetReference(1);
    EXPECT_EQ(ThrownMessage([&] { index.Add(1, &second, 8); }),
              "Attempting to add duplicate tag 0x00000001 to index \"here\"");
    EXPECT_EQ(index.LastTag(), 1u);
    EXPECT_EQ(index.GetReference(1), first);
    EXPECT_EQ(index.GetCategoriesByTag(1), 4u);
    const std::list<OutgoingMessage> messages = index.CreateOutgoingMessages(0);
    EXPECT_THAT(Tags(messages), ElementsAre(1, 2, 1));
    EXPECT_EQ(messages.front().GetDebugString(), "-12");
    EXPECT_EQ(messages.back().GetDebugString(), "99");
}

TEST_F(VariableIndexTest, MessagesForCategoriesAndDifferences) {
    index.Add(2, &name, 6);
    index.Add(1, &gain, 1);
    index.Add(3, &band, 0);
    EXPECT_THAT(Tags(index.CreateOutgoingMessages(0)), ElementsAre(2, 1, 3));
    EXPECT_THAT(Tags(index.CreateOutgoingMessages(3)), ElementsAre(2, 1));
    EXPECT_THAT(Tags(index.CreateOutgoingMessages(8)), ElementsAre());

    std::string otherName = name;
    int16_t otherGain = 0;
    other.Add(2, &otherName, 0);
    other.Add(1, &otherGain, 0);
    EXPECT_THAT(Tags(index.CreateOutgoingMessages(index, 0)), ElementsAre());
    EXPECT_THAT(Tags(index.CreateOutgoingMessages(other, 0)), ElementsAre(1, 3));
    EXPECT_THAT(Tags(index.CreateOutgoingMessages(other, 4)), ElementsAre());

    uint32_t unknown = 0;
    index.Add(50, &unknown, 0);
    EXPECT_EQ(ThrownMessage([&] { index.CreateOutgoingMessages(0); }),
              "No variable registered in dictionary d for code 0x00000032");
}

TEST_F(VariableIndexTest, AssignsAndCompares) {
    index.Add(1, &gain, 0);
    index.Assign(1, "-5");
    EXPECT_EQ(gain, -5);
    index.Assign("rf.gain", "6");
    EXPECT_EQ(gain, 6);
    EXPECT_EQ(ThrownMessage([&] { index.Assign(2, "x"); }),
              "Attempting to assign unknown/inaccessible tag 0x00000002");
    EXPECT_EQ(ThrownMessage([&] { index.Assign("nothing", "x"); }),
              "No variable registered in dictionary d for key nothing");

    EXPECT_EQ(ThrownMessage([&] { index.Assign(1, other); }),
              "Tag 0x00000001 unknown as source of assignment");
    EXPECT_EQ(ThrownMessage([&] { other.Assign(1, index); }),
              "Tag 0x00000001 unknown as destination of assignment");
    EXPECT_EQ(ThrownMessage([&] { index.IsEqual(1, other); }),
              "Tag 0x00000001 unknown as right-hand side of equality comparison");
    EXPECT_EQ(ThrownMessage([&] { other.IsEqual(1, index); }),
              "Tag 0x00000001 unknown as left-hand side of equality comparison");
    int16_t otherGain = 7;
    other.Add(1, &otherGain, 0);
    EXPECT_FALSE(index.IsEqual(1, other));
    index.Assign(1, other);
    EXPECT_EQ(gain, 7);
    EXPECT_TRUE(index.IsEqual(1, other));

    index.Add(0x1A, &band, 0);
    other.Add(0x1A, &name, 0);
    DebugCapture capture(DEBUG_ERR);
    EXPECT_EQ(ThrownMessage([&] { index.IsEqual(0x1A, other); }),
              "Attemping to compare variants of different types (UINT8 vs STRING)");
    EXPECT_THAT(capture.Lines(), ElementsAre("Exception while comparing tag 001A between there and here"));
}

TEST_F(VariableIndexTest, LoadGoesOnBehindBadMessages) {
    index.Add(1, &gain, 1);
    index.Add(2, &name, 0);
    index.Add(3, &band, 2);
    std::vector<IncomingMessage> messages = {
        Received(0xAB, VariantValue(uint8_t{1})), Received(1, VariantValue(uint32_t{1})),
        Received(3, VariantValue(uint8_t{9})), Received(2, VariantValue(std::string("new")))};
    std::list<IncomingMessage*> list;
    for (IncomingMessage& message : messages)
        list.push_back(&message);
    DebugCapture capture(DEBUG_ERR);
    index.Load(list, 1, 0);
    EXPECT_THAT(
        capture.Lines(),
        ElementsAre("Failed to apply tag 0xAB to index \"here\"",
                    "Exception processing tag 0x1: Blob of type INT16 should contain 2 bytes; have 4"));
    EXPECT_EQ(gain, -12);
    EXPECT_EQ(band, 9);
    EXPECT_EQ(name, "new");

    band = 0;
    name = "old";
    index.Load(list, 1, 2);  // filtered out ones are not even reported
    EXPECT_EQ(capture.Lines().size(), 2u);
    EXPECT_EQ(band, 9);
    EXPECT_EQ(name, "old");
}

TEST_F(VariableIndexTest, QueriesGetsAndLists) {
    index.Add(3, &band, 0);
    index.Add(1, &gain, 0x10);
    index.Add(2, VariantType::STRING, nullptr, nullptr, 0);
    index.MarkNonpersistent(3);
    EXPECT_THAT(index.GetNonpersistentTags(), ElementsAre(3));
    EXPECT_THAT(index.Query("*"), ElementsAre(2, 3, 1));
    EXPECT_THAT(index.Query(std::list<std::string>{"*gain", "rf*"}), ElementsAre(1, 3));
    std::list<std::pair<std::string, std::string>> values;
    index.Get({1, 4, 3}, values);
    EXPECT_THAT(values, ElementsAre(Pair("rf.gain", "-12"), Pair("rf.band", "3")));
    EXPECT_THAT(
        index.List({1, 4, 2}, false),
        ElementsAre("Tag         Variable  Type    Value                                            ",
                    "0x00000001  rf.gain   INT16   -12                                              ",
                    "0x00000002  name      STRING  (Attempted to get ungettable variant reference)  "));
    EXPECT_THAT(index.List({1, 3}, true),
                ElementsAre("Tag         Variable  Type   Categories  Persistent  Value  ",
                            "0x00000001  rf.gain   INT16  0x00000010  yes         -12    ",
                            "0x00000003  rf.band   UINT8  -           no          3      "));
}

}  // namespace
}  // namespace quarn::test
