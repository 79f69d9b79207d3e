#pragma once

/// One received message: checks its bytes and turns its payload back into values.
///
///     quarn::IncomingMessage message;
///     try {
///         size_t taken = message.Populate(buffer, available);
///         if (taken == 0)
///             return;  // wait for more bytes
///         if (!message.Apply(index))
///             printf("no variable with tag 0x%08X\n", message.GetTag());
///     } catch (const quarn::MonitorException& e) {  // no message starts here, or its value is malformed
///         fprintf(stderr, "%s\n", e.Description().c_str());
///     }
///
/// A value, used by one thread at a time. An object that is used again for the next message reuses its
/// memory.

#include <quarn/Attributes.h>

#include <stddef.h>
#include <stdint.h>

#include <string>
#include <vector>

namespace quarn {

class Sentence;
class SentenceDetails;
class SentenceGrammar;
class Variable;
class VariableDictionary;
class VariableIndex;
struct CheckedMessage;

class QUARN_API IncomingMessage {
public:
    /// An empty object: no message, with tag and stream 0.
    IncomingMessage() = default;

    /// Takes the message that starts at `data` and returns its length. Returns 0 when more bytes are needed
    /// to tell. Unless a message was taken the object is empty afterwards.
    /// Throws MonitorException when no message can start here: "Invalid sync byte 0x%02X", "Header CRC
    /// mismatch", "Message too short for global CRC", "Global CRC mismatch", "Message too short for legacy
    /// CRC" or "Legacy CRC mismatch". A broken header is reported as soon as the header is complete.
    size_t Populate(const uint8_t* data, size_t available);

    /// The length of the whole message; 0 when empty.
    size_t GetTotalBytes() const { return bytes_.size(); }
    /// 0 stands for a message without a stream.
    uint8_t GetStream() const { return stream_; }
    uint32_t GetTag() const { return tag_; }

    /// Sets the variable with this tag from the payload. Returns false, changing nothing, when the index has
    /// no such variable. Throws MonitorException "Attempting to apply an empty message" when it has one but
    /// there is no message, and what Variant::FromBlob() throws for a payload that does not fit its type.
    bool Apply(VariableIndex& index) const;

    /// The payload as the variable that the dictionary has for this tag. Throws MonitorException "Attempting
    /// to create an item from an empty message", VariableDictionary::Find()'s or Variant::FromBlob()'s.
    Variable ToVariable(const VariableDictionary& dictionary) const;

    /// The payload as the sentence that the grammar has for this tag, or null when it has none. The caller
    /// owns it; the grammar must outlive it.
    /// Throws MonitorException "Attempting to create an item from an empty message", "Too many words in
    /// message", "Expected word sync; got %02X", "Not enough bytes for word length", "Word length exceeds
    /// length of message", "Message contained only %zu of %zu word(s)", or Variant::FromBlob()'s.
    Sentence* CreateSentence(const SentenceGrammar& grammar) const;

    /// CreateSentence() into a sentence that is used again and again, as a busy receiver wants it: its memory
    /// and that of its words is kept. Returns false, changing nothing, instead of null. When it throws for
    /// the payload, the sentence has no words.
    bool ToSentence(const SentenceGrammar& grammar, Sentence& sentence) const;

    /// The bytes as "%02X", separated by single spaces.
    std::string ToString() const;

    /// The byte that fills gaps between messages; no message starts with it.
    static uint8_t GetNOP();

private:
    friend struct CheckedMessage;

    void Clear();
    const SentenceDetails* FindSentence(const SentenceGrammar& grammar) const;
    void ReadSentence(Sentence& sentence) const;
    const uint8_t* Payload() const { return bytes_.data() + headerSize_; }

    std::vector<uint8_t> bytes_;
    size_t headerSize_ = 0;
    size_t payloadSize_ = 0;
    uint32_t tag_ = 0;
    uint8_t stream_ = 0;
};

}  // namespace quarn
