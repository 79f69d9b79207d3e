#include "messages/ReceivedMessage.h"
#include "support/DebugCapture.h"
#include "support/ThrownMessage.h"

#include <gmock/gmock.h>

#include <functional>

namespace quarn::test {
namespace {

using testing::ElementsAre;

class VariableIndexTest : public testing::Test {
protected:
    VariableIndexTest() {
        dictionary.Add(1, "rf.gain", VariantType::INT16);
        dictionary.Add(2, "name", VariantType::STRING);
        dictionary.Add(3, "rf.band", VariantType::UINT8);
    }

    /// The values of the messages, each behind a blank.
    static std::string Values(const std::list<OutgoingMessage>& messages) {
        std::string values;
        for (const OutgoingMessage& message : messages)
            values += " " + message.GetDebugString();
        return values;
    }

    VariableDictionary dictionary{"d"};
    VariableIndex index{"here", dictionary};
    VariableIndex other{"there", dictionary};
    int16_t gain = -12, otherGain = 7;
    std::string name = "unit";
    uint8_t band = 3;
};

TEST_F(VariableIndexTest, MakesMessagesAndLists) {
    EXPECT_EQ(index.LastTag(), 0u);
    index.Add(2, &name, 6);
    index.Add(1, &gain, 1);
    index.Add(3, &band, 0);
    EXPECT_EQ(Values(index.CreateOutgoingMessages(0)), " unit -12 3");
    EXPECT_EQ(Values(index.CreateOutgoingMessages(3)), " unit -12");
    std::string otherName = name;
    other.Add(2, &otherName, 0);
    other.Add(1, &otherGain, 0);
    EXPECT_EQ(Values(index.CreateOutgoingMessages(other, 0)), " -12 3");
    EXPECT_EQ(Values(index.CreateOutgoingMessages(other, 4)), "");

    // A duplicate stays, but in the list of messages only.
    EXPECT_EQ(ThrownMessage([&] { index.Add(1, &otherGain, 8); }),
              "Attempting to add duplicate tag 0x00000001 to index \"here\"");
    EXPECT_EQ(index.LastTag(), 1u);
    EXPECT_EQ(index.GetReference(1)->ToString(), "-12");
    EXPECT_EQ(Values(index.CreateOutgoingMessages(1)), " -12 7");

    index.Add(50, &band, 0);
    EXPECT_EQ(ThrownMessage([&] { index.CreateOutgoingMessages(0); }),
              "No variable registered in dictionary d for code 0x00000032");
    index.MarkNonpersistent(3);
    EXPECT_THAT(index.Query(std::list<std::string>{"*gain", "*"}), ElementsAre(1, 2, 3));
    std::list<std::pair<std::string, std::string>> values;
    index.Get({1, 4, 3}, values);
    EXPECT_THAT(values, ElementsAre(testing::Pair("rf.gain", "-12"), testing::Pair("rf.band", "3")));
    EXPECT_THAT(index.List({1, 4, 3, 50}, true),
                ElementsAre("Tag         Variable             Type   Categories  Persistent  Value  ",
                            "0x00000001  rf.gain              INT16  0x00000001  yes         -12    ",
                            "0x00000003  rf.band              UINT8  -           no          3      ",
                            "0x00000032  (not in dictionary)  UINT8  -           yes         3      "));
    other.Add(3, VariantType::UINT8, nullptr, nullptr, 0);
    EXPECT_THAT(
        other.List({3}, false),
        ElementsAre("Tag         Variable  Type   Value                                            ",
                    "0x00000003  rf.band   UINT8  (Attempted to get ungettable variant reference)  "));
}

TEST_F(VariableIndexTest, AssignsAndComparesWhatThereIs) {
    index.Add(1, &gain, 0);
    index.Assign("rf.gain", "6");
    EXPECT_EQ(gain, 6);
    const IncomingMessage empty;
    EXPECT_FALSE(empty.Apply(other));  // the tag comes first
    index.Add(0, &band, 0);
    const std::pair<std::function<void()>, const char*> refused[] = {
        {[&] { empty.Apply(index); }, "Attempting to apply an empty message"},
        {[&] { empty.ToVariable(dictionary); }, "Attempting to create an item from an empty message"},
        {[&] { empty.CreateSentence(SentenceGrammar("g")); },
         "Attempting to create an item from an empty message"},
        {[&] { dictionary.Add(1, "a", VariantType::BOOLEAN); },
         "Attempting to add duplicate tag 0x00000001 to dictionary \"d\""},
        {[&] { index.Assign(2, "x"); }, "Attempting to assign unknown/inaccessible tag 0x00000002"},
        {[&] { index.Assign("a", "x"); }, "No variable registered in dictionary d for key a"},
        {[&] { index.Assign(1, other); }, "Tag 0x00000001 unknown as source of assignment"},
        {[&] { other.Assign(1, index); }, "Tag 0x00000001 unknown as destination of assignment"},
        {[&] { index.IsEqual(1, other); },
         "Tag 0x00000001 unknown as right-hand side of equality comparison"},
        {[&] { other.IsEqual(1, index); }, "Tag 0x00000001 unknown as left-hand side of equality comparison"},
    };
    for (const auto& [call, thrown] : refused)
        EXPECT_EQ(ThrownMessage(call), thrown);
    other.Add(1, &otherGain, 0);
    EXPECT_FALSE(index.IsEqual(1, other));
    index.Assign(1, other);
    EXPECT_EQ(gain, 7);
    EXPECT_TRUE(index.IsEqual(1, other));

    DebugCapture capture;
    index.Add(0x1A, &band, 0);
    other.Add(0x1A, &name, 0);
    EXPECT_EQ(ThrownMessage([&] { index.IsEqual(0x1A, other); }),
              "Attemping to compare variants of different types (UINT8 vs STRING)");
    EXPECT_THAT(capture.Lines(), ElementsAre("Exception while comparing tag 001A between there and here"));
}

TEST_F(VariableIndexTest, LoadGoesOnBehindBadMessages) {
    index.Add(1, &gain, 1);
    index.Add(2, &name, 0);
    index.Add(3, &band, 2);
    IncomingMessage unknown = Received(0xAB, VariantValue(true)), wide = Received(1, VariantValue(7u)),
                    good = Received(3, VariantValue(uint8_t{9})), last = Received(2, VariantValue("new"));
    const std::list<IncomingMessage*> list = {&unknown, &wide, &good, &last};
    DebugCapture capture(DEBUG_ERR);
    index.Load(list, 1, 2);  // those filtered out are not even reported
    EXPECT_EQ(band, 9);
    EXPECT_EQ(name, "unit");
    index.Load(list, 1, 0);
    EXPECT_EQ(name, "new");
    EXPECT_EQ(gain, -12);
    EXPECT_THAT(
        capture.Lines(),
        ElementsAre("Failed to apply tag 0xAB to index \"here\"",
                    "Exception processing tag 0x1: Blob of type INT16 should contain 2 bytes; have 4"));
}

}  // namespace
}  // namespace quarn::test
