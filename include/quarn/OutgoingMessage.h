#pragma once

/// One message to send: a variable's value or a sentence, encoded when it is made.
///
///     try {
///         quarn::OutgoingMessage message(dictionary.Find("rf.gain"), quarn::VariantValue(int16_t{-12}));
///         message.SetStream(3);
///         send(socket, message.Sync(), message.Bytes(), MSG_NOSIGNAL);
///     } catch (const quarn::MonitorException& e) {  // unknown key, or a value without a type
///         fprintf(stderr, "%s\n", e.Description().c_str());
///     }
///
/// A message starts with a sync byte that selects the widths of what follows: total length (1, 2 or 4 bytes),
/// stream (none or 1), tag (2 or 4), CRC16 of the header (none or 2), payload, CRC16 or CRC32 of everything
/// before it (2 or 4). All numbers are big-endian. Tags up to 65535 without stream use the legacy layouts,
/// which have no header CRC and end in a CRC16.
///
/// A value, used by one thread at a time.

#include <quarn/Attributes.h>

#include <stddef.h>
#include <stdint.h>

#include <string>
#include <vector>

namespace quarn {

class SentenceDetails;
class VariableDetails;
class Variant;
class VariantValue;

class QUARN_API OutgoingMessage {
public:
    /// A variable message: the payload is the value's blob. Throws MonitorException when the value is untyped
    /// or cannot be read.
    OutgoingMessage(const VariableDetails& details, const Variant& value);
    /// A sentence message: the payload is, for each word, 0xB2, the length of its blob in 4 bytes and the
    /// blob. The words are not checked against the details. Throws MonitorException when a word is untyped.
    OutgoingMessage(const SentenceDetails& details, const std::vector<VariantValue>& words);

    // Copying is all there is: a message that was moved out of would have no bytes left to send.
    OutgoingMessage(const OutgoingMessage&) = default;
    OutgoingMessage& operator=(const OutgoingMessage&) = default;

    /// Gives the message a stream number, or with 0 none, and encodes it again.
    void SetStream(uint8_t stream);

    /// The encoded message; valid until the object changes or goes.
    const uint8_t* Sync() const { return Buffer() + start_; }
    size_t Bytes() const { return size_; }

    uint8_t GetStream() const { return stream_; }
    uint32_t GetTag() const { return tag_; }
    /// The encoded bytes as "%02X", separated by single spaces.
    std::string ToString() const;
    /// The value, or the words separated by single spaces, as text.
    std::string GetDebugString() const;

    /// The byte that fills gaps between messages; no message starts with it.
    static uint8_t GetNOP();

private:
    uint8_t* Room(size_t size);
    void Encode();
    const uint8_t* Buffer() const { return large_.empty() ? small_ : large_.data(); }
    uint8_t* Buffer() { return large_.empty() ? small_ : large_.data(); }

    // One byte for the type of each value, room for a header, the payload, and room for the trailing CRC. The
    // header is written so that it ends where the payload starts: the payload never moves. Most messages fit
    // in the object itself.
    uint8_t small_[192];
    std::vector<uint8_t> large_;
    size_t payloadStart_;
    size_t start_ = 0;
    size_t size_ = 0;
    size_t payloadSize_ = 0;
    uint32_t tag_;
    uint8_t stream_ = 0;
    bool isSentence_;
};

}  // namespace quarn
