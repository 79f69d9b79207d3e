// A stream of SLIP frames: byte 0 cuts it into pieces, byte 1 is the backlog's limit (0 for the usual one), byte 2 says
// whether pieces of whole words come through a mapped FIFO.

#include <quarn/SLIPConstants.h>
#include <quarn/SLIPDecoder.h>
#include <quarn/SLIPEncoder.h>

#include "fuzz/Fuzz.h"
#include "values/BigEndian.h"

namespace quarn::test {
namespace {

/// The decoder without anything clever.
class PlainDecoder {
public:
    explicit PlainDecoder(size_t limit) : limit_(limit) {}

    size_t Write(const Bytes& bytes) {
        backlog_.insert(backlog_.end(), bytes.begin(), bytes.end());
        if (backlog_.size() > limit_)
            backlog_.clear();
        return backlog_.size();
    }

    bool Get(Bytes& frame) {
        Bytes found;
        for (size_t i = 0; i < backlog_.size(); ++i) {
            const uint8_t byte = backlog_[i];
            if (byte == SLIPConstants::END && !found.empty()) {
                frame = found;
                backlog_.erase(backlog_.begin(), backlog_.begin() + ptrdiff_t(i) + 1);
                return true;
            }
            if (byte == SLIPConstants::ESC && ++i == backlog_.size())
                return false;
            if (byte == SLIPConstants::ESC)
                found.push_back(backlog_[i] == SLIPConstants::ESC_END   ? SLIPConstants::END
                                : backlog_[i] == SLIPConstants::ESC_ESC ? SLIPConstants::ESC
                                                                        : backlog_[i]);
            else if (byte != SLIPConstants::END)
                found.push_back(byte);
        }
        return false;
    }

private:
    const size_t limit_;
    Bytes backlog_;
};

size_t Write(SLIPDecoder& decoder, const Bytes& piece, bool asWords) {
    if (!asWords || piece.size() % 4 != 0)
        return decoder.Write(piece);
    std::vector<uint32_t> words;
    for (size_t i = 0; i < piece.size(); i += 4)
        words.push_back(LoadBigEndian<uint32_t>(&piece[i]));
    return decoder.WriteFromMemoryMapping(words.data(), words.size());
}

void CheckEncoding(const Bytes& frame) {
    SLIPEncoder encoder("fuzz", 0);
    encoder.Put(frame);
    Bytes encoded, again;
    encoder.Read(encoded);
    Require(std::count(encoded.begin(), encoded.end(), SLIPConstants::END) == 1, "not one END in a frame");
    SLIPDecoder decoder("fuzz", 0);
    decoder.Write(encoded);
    Require(decoder.Get(again) && again == frame, "what was encoded decodes to something else");
}

}  // namespace
}  // namespace quarn::test

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace quarn::test;
    Input input(data, size);
    const uint8_t cut = input.Byte(), limit = input.Byte(), asWords = input.Byte();
    quarn::SLIPDecoder decoder("fuzz", limit);
    PlainDecoder plain(limit ? limit : 0x40000);
    const Bytes stream = input.Rest();
    InPieces(cut, stream, [&](const Bytes& piece) {
        Require(Write(decoder, piece, asWords & 1) == plain.Write(piece), "another number of bytes waits");
        Bytes frame, expected;
        while (plain.Get(expected)) {
            Require(decoder.Get(frame) && frame == expected, "another frame");
            CheckEncoding(frame);
        }
        Require(!decoder.Get(frame) && frame == expected, "a frame where there is none");
    });
    return 0;
}
