// A stream of SLIP frames: byte 0 cuts it into pieces, byte 1 is the backlog's limit (0 for the usual one), byte 2 says
// whether pieces of whole words come through a mapped FIFO.

#include <quarn/SLIPConstants.h>
#include <quarn/SLIPDecoder.h>
#include <quarn/SLIPEncoder.h>

#include "fuzz/Fuzz.h"
#include "values/BigEndian.h"

namespace quarn::test {
namespace {

uint8_t Unescape(uint8_t byte) {
    return byte == SLIPConstants::ESC_END   ? SLIPConstants::END
           : byte == SLIPConstants::ESC_ESC ? SLIPConstants::ESC
                                            : byte;
}

/// The decoder without anything clever.
struct PlainDecoder {
    size_t Write(const Bytes& bytes) {
        backlog.insert(backlog.end(), bytes.begin(), bytes.end());
        if (backlog.size() > limit)
            backlog.clear();
        return backlog.size();
    }

    bool Get(Bytes& frame) {
        Bytes found;
        for (auto at = backlog.begin(); at != backlog.end(); ++at) {
            if (*at == SLIPConstants::END && !found.empty()) {
                frame = found;
                backlog.erase(backlog.begin(), at + 1);
                return true;
            }
            const bool isEscape = *at == SLIPConstants::ESC;
            if (isEscape && ++at == backlog.end())
                return false;
            if (isEscape || *at != SLIPConstants::END)
                found.push_back(isEscape ? Unescape(*at) : *at);
        }
        return false;
    }

    const size_t limit;
    Bytes backlog = {};
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
    SLIPDecoder decoder("fuzz", 0);
    encoder.Put(frame);
    Bytes bytes;
    encoder.Read(bytes);
    decoder.Write(bytes);
    Require(decoder.Get(bytes) && bytes == frame, "what was encoded decodes to something else");
}

}  // namespace

void CheckInput(Input& input) {
    const uint8_t cut = input.Byte(), limit = input.Byte(), asWords = input.Byte();
    SLIPDecoder decoder("fuzz", limit);
    PlainDecoder plain{limit ? size_t{limit} : 0x40000};
    InPieces(cut, input.Rest(), [&](const Bytes& piece) {
        Require(Write(decoder, piece, asWords & 1) == plain.Write(piece), "another number of bytes waits");
        Bytes frame, expected;
        while (plain.Get(expected)) {
            Require(decoder.Get(frame) && frame == expected, "another frame");
            CheckEncoding(frame);
        }
        Require(!decoder.Get(frame) && frame == expected, "a frame where there is none");
    });
}

}  // namespace quarn::test
