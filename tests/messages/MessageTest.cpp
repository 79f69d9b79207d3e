#include "messages/ReceivedMessage.h"
#include "support/ThrownMessage.h"
#include "support/Transcript.h"

#include <memory>
#include <optional>

namespace quarn::test {
namespace {

class MessagePlayer : public Transcript {
public:
    MessagePlayer() {
        using enum VariantType;
        grammar_.Add(0, "closed", 0, UINT16, STRING, NONE);
        grammar_.Add(1, "open", 1, UINT16, STRING, NONE);
        grammar_.Add(0x00020001, "three", 0, UINT16, STRING, STRING, NONE);
        grammar_.Add(2, "texts", 0, STRING, STRING, NONE);
        reused_.emplace(*grammar_.Find("three", true));
        Add({
            {"encode", [&] { return Encode(uint32_t(N(1)), uint8_t(N(2)), Hex(3)); }},
            {"populate", [&] { return Populate(Hex(1)); }},
            {"value", [&] { return Value(Received(Hex(1))); }},
            {"sentence", [&] { return ReadSentence(grammar_.Find(W(1), true)->GetTag()); }},
            {"send", [&] { return Send(*grammar_.Find(W(1), true)); }},
        });
    }

private:
    /// The bytes, or the first and how many there are, of a message that comes back as it was.
    static std::string Encode(uint32_t tag, uint8_t stream, const Bytes& payload) {
        VariableDictionary known("known");
        known.Add(tag, "key", VariantType::UINT8_VECTOR);
        OutgoingMessage out(known.Find(tag), VariantValue(payload));
        out.SetStream(77);  // leaves no trace
        out.SetStream(stream);
        Bytes bytes(out.Sync(), out.Sync() + out.Bytes());
        const std::string shown = (bytes.size() > 64 ? Format("%02X ", bytes[0]) : "") + Shown(bytes);

        IncomingMessage in;
        EXPECT_EQ(in.Populate(bytes.data(), bytes.size() - 1), 0u);
        bytes.push_back(0xA0);  // what follows is not looked at
        EXPECT_EQ(in.Populate(bytes.data(), bytes.size()), out.Bytes());
        EXPECT_EQ(in.GetTag(), tag);
        EXPECT_EQ(in.GetStream(), stream);
        EXPECT_EQ(in.ToString(), out.ToString());
        EXPECT_EQ(in.ToVariable(known).GetValue().As<Bytes>(), payload);
        return shown;
    }
    /// What is no message, or not yet, leaves nothing in an object that had one.
    static std::string Populate(const Bytes& bytes) {
        IncomingMessage message = Received(7, VariantValue(true));
        size_t taken = 1;
        const std::string thrown =
            ThrownMessage([&] { taken = message.Populate(bytes.data(), bytes.size()); });
        EXPECT_EQ(message.GetTag(), 0u);
        EXPECT_EQ(message.ToString(), "");
        return taken == 0 ? "0" : thrown;
    }
    static std::string Value(const IncomingMessage& message) {
        VariableDictionary known("known");
        known.Add(message.GetTag(), "key", VariantType::UINT16);
        return message.ToVariable(known).GetValue().ToString();
    }
    std::string ReadSentence(uint32_t tag) {
        Received(tag, VariantValue(Hex(2))).ToSentence(grammar_, *reused_);
        EXPECT_EQ(reused_->GetDetails().GetTag(), tag);
        return "\"" + reused_->ToString() + "\"";
    }
    std::string Send(const SentenceDetails& details) const {
        std::vector<VariantValue> words;
        for (const VariantType type : details.GetTypes())
            words.emplace_back(type, W(2 + words.size()));
        const OutgoingMessage sent(details, words);
        return sent.ToString() + "\n\"" + sent.GetDebugString() + "\"";
    }

    SentenceGrammar grammar_{"g"};
    std::optional<Sentence> reused_;
};

TEST(MessageTest, HasTheseBytesAndIsRefusedWithOthers) {
    MessagePlayer().Replay("messages.txt");
}

// Words that outgrow the room in the object, and then the first larger room.
TEST(MessageTest, GrowsWithItsWords) {
    SentenceGrammar grammar("g");
    grammar.Add(0x00020001, "key", 0, VariantType::STRING, VariantType::STRING, VariantType::NONE);
    const std::string longer(170, 'b'), longest(1000, 'c');
    OutgoingMessage message(*grammar.Find(0x00020001, true), {VariantValue(longer), VariantValue(longest)});
    message.SetStream(3);
    const OutgoingMessage copy = message;
    message.SetStream(0);
    const IncomingMessage in = Received({copy.Sync(), copy.Sync() + copy.Bytes()});
    EXPECT_EQ(std::unique_ptr<Sentence>(in.CreateSentence(grammar))->ToString(), longer + ", " + longest);
    EXPECT_EQ(copy.GetDebugString(), longer + " " + longest);
    EXPECT_EQ(in.CreateSentence(SentenceGrammar("other")), nullptr);
}

}  // namespace
}  // namespace quarn::test
