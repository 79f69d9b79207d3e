// Writes the seeds that are real encodings and texts: scripts/fuzz --seeds. Those that fuzzers found are named by their
// checksums and stay.

#include <quarn/OutgoingMessage.h>
#include <quarn/SLIPEncoder.h>
#include <quarn/VariableDetails.h>
#include <quarn/VariableDictionary.h>
#include <quarn/VariantValue.h>

#include "fuzz/Fuzz.h"
#include "messages/MessageDecoder.h"
#include "storage/StorageBlock.h"

#include <ctype.h>

#include <filesystem>
#include <fstream>

namespace quarn::test {
namespace {

std::filesystem::path folder;

Bytes BytesOf(const std::string& text) {
    return {text.begin(), text.end()};
}

Bytes operator+(Bytes bytes, const Bytes& more) {
    bytes.insert(bytes.end(), more.begin(), more.end());
    return bytes;
}

void WriteSeed(const std::string& target, const std::string& name, const Bytes& bytes) {
    std::filesystem::create_directories(folder / target);
    std::ofstream file(folder / target / name, std::ios::binary);
    file.write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
    file.close();
    Require(bool(file), "a seed cannot be written");
}

// Of each type in the order of the codes, from 1.
const std::vector<std::string> kValues = {"255",
                                          "1 2 0x03",
                                          "-12",
                                          "65535",
                                          "-2147483648",
                                          "0xFFFFFFFF",
                                          "1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17",
                                          "-1.5e3",
                                          "rf.gain",
                                          "10.0.0.2",
                                          "10.0.0.2 127.0.0.1",
                                          "true",
                                          "a \"b c\" \"\"",
                                          "-1 1",
                                          "0.5 nan -inf",
                                          "-9223372036854775808",
                                          "18446744073709551615",
                                          "1 2 3 4 5 6 7 8 9"};

VariantValue ValueOf(size_t code) {
    return VariantValue(VariantType(code), kValues[code - 1]);
}

Bytes MessageOf(uint32_t tag, uint8_t stream, const VariantValue& value) {
    VariableDictionary dictionary("seeds");
    dictionary.Add(tag, "value", value.Type());
    OutgoingMessage message(dictionary.Find(tag), value);
    message.SetStream(stream);
    return {message.Sync(), message.Sync() + message.Bytes()};
}

void WriteValues() {
    for (size_t code = 1; code <= kValues.size(); ++code) {
        const std::string name = Variant::TypeName(VariantType(code));
        Bytes blob;
        ValueOf(code).ToBlob(blob);
        WriteSeed("variant_text", name, Bytes{uint8_t(code)} + BytesOf(kValues[code - 1]));
        WriteSeed("variant_blob", name, Bytes{uint8_t(code)} + blob);
        // A sentence of this one word.
        WriteSeed("sentence", name, Bytes{uint8_t(16 + code), 0xB2, 0, 0, 0, uint8_t(blob.size())} + blob);
    }
    Bytes words;
    for (const size_t code : {4u, 9u, 13u, 12u, 2u}) {
        Bytes blob;
        ValueOf(code).ToBlob(blob);
        words = words + Bytes{0xB2, 0, 0, 0, uint8_t(blob.size())} + blob;
    }
    WriteSeed("sentence", "mixed", Bytes{2} + words);
    WriteSeed("sentence", "open-ended", Bytes{3} + words);
}

/// Messages of all layouts, with checksums that are to be repaired.
Bytes AllLayouts() {
    Bytes stream;
    for (size_t sync = 0; sync < kMessageLayouts.size(); ++sync) {
        const MessageLayout& layout = kMessageLayouts[sync];
        if (layout.headerSize == 0)
            continue;
        Bytes message(layout.headerSize + size_t{8});
        message[0] = uint8_t(sync);
        message[layout.lengthWidth] = uint8_t(message.size());
        message[layout.tagOffset] = 1;
        if (layout.hasStream)
            message[layout.tagOffset - 1U] = 3;
        stream = stream + message;
    }
    return stream;
}

void WriteMessages() {
    Bytes stream;
    for (size_t code = 1; code <= kValues.size(); ++code)
        stream = stream + MessageOf(code % 2 ? 5 : 0x00020001, code % 3 ? 0 : 7, ValueOf(code));
    const Bytes large = MessageOf(5, 0, VariantValue(Bytes(300, 0xA1)));
    const Bytes garbage = {0xA0, 0x00, 0xA3, 0x00, 0x00, 0x10, 0x00, 0x00, 0x05, 0xC6};
    const std::pair<const char*, Bytes> streams[] = {{"values", stream},
                                                     {"layouts", AllLayouts()},
                                                     {"garbage", garbage + stream + garbage},
                                                     {"large", large}};
    for (const auto& [name, bytes] : streams) {
        WriteSeed("message", name, Bytes{7, 1} + bytes);
        WriteSeed("message_terminal", name, Bytes{0, 1, 7, 0, 1} + bytes);
        WriteSeed("message_terminal", std::string(name) + "-limited", Bytes{4, 1, 100, 1, 0xF1} + bytes);
    }

    SLIPEncoder encoder("seeds", 0);
    for (const auto& [name, bytes] : streams)
        encoder.Put(bytes);
    encoder.Put({0xC0, 0xDB, 0xDC, 0xDD});
    Bytes frames;
    encoder.Read(frames);
    WriteSeed("slip", "messages", Bytes{9, 0, 0} + frames);
    WriteSeed("slip", "words", Bytes{4, 0, 1} + frames);
    WriteSeed("slip", "limited", Bytes{9, 40, 0} + frames);
}

void WriteStorage() {
    const size_t codes[] = {1, 4, 9, 2, 13, 12, 7};
    Bytes image;
    for (uint64_t stamp = 1; stamp <= 3; ++stamp) {
        BlockBuilder builder;
        uint32_t tag = 0x00010001;
        for (const size_t code : codes) {
            const Bytes message = MessageOf(tag++, 0, ValueOf(code));
            builder.Append(message.data(), message.size());
        }
        Bytes block = builder.Finish(1, stamp);
        block.resize(512, 0xFF);
        image = image + block;
    }
    const Bytes first(image.begin(), image.begin() + 512);
    Bytes damaged = image;
    damaged[2 * 512 + 100] ^= 1;
    WriteSeed("storage", "file", Bytes{0, 0, 0} + first);
    WriteSeed("storage", "eeprom", Bytes{1, 4, 0} + image);
    WriteSeed("storage", "eeprom-repaired", Bytes{1, 4, 1} + image);
    WriteSeed("storage", "mtd", Bytes{2, 4, 0} + damaged);
}

std::string NameOf(std::string text) {
    std::replace_if(
        text.begin(), text.end(), [](char c) { return !isalnum(c); }, '_');
    return text;
}

void WriteTexts() {
    const std::pair<const char*, const char*> lines[] = {{"words", "reg gain \"two words\" \"\"\t0x1F"},
                                                         {"quote", "one tw\"o"},
                                                         {"open", "\"no end"},
                                                         {"behind", "\"a\"b"}};
    for (const auto& [name, text] : lines)
        WriteSeed("tokens", name, BytesOf(std::string(", ") + text + ",a,,b,"));
    for (const char* text : {"0",
                             "-1",
                             "+7",
                             " 42",
                             "010",
                             "0x7F",
                             "65536",
                             "4294967296",
                             "18446744073709551615",
                             "1e-3",
                             "inf",
                             "0x1p3",
                             "3-5,7,9-8",
                             "10.0.0.2",
                             "255.255.240.0",
                             "*",
                             "00:1B:44:11-3a:B7",
                             "1.2u3",
                             "1.2.3.4",
                             "65536 "})
        WriteSeed("numbers", NameOf(text), Bytes{'-', 0, 16} + BytesOf(text));
    for (const char* target : {"character_terminal", "line_terminal"}) {
        WriteSeed(target, "lines", Bytes{9, 0, 0} + BytesOf("help\r\nreg list  \n\n\tvar show *\npart"));
        WriteSeed(target, "many", Bytes{0, 1, 0xF8} + Bytes(200, '\n') + Bytes(200, ' ') + BytesOf("x"));
        WriteSeed(target, "long", Bytes{0, 1, 0xF8} + Bytes(4000, 'x'));
    }
    WriteSeed(
        "configuration", "board",
        BytesOf(
            "# the board\n[i2c]\ni2c-0 0x21 expander\ni2c-1 0x50 \"the eeprom\"\ni2c-1 0x80 wrong\n"
            "[spi] and more\nspidev0.0 loop\nspidev0.1 shift\n[gpio]\nmain 0 1 out alias\nmain 1 in in\n"
            "main 7:4 bi group\nmain 2,3 bi pair\n[reg]\n0xA0000010 6:4 rw gain g\n0xA0000014 31 r locked\n"
            "0xA0000018 - - spare\n[none]\nskipped\n[]\nlost\n[note\n[note]\n\"a b\" \"\" # c\n# don\"t\n"));
    WriteSeed(
        "console", "devices",
        BytesOf(
            "help\n?\ni2c list\ni2c expander 3 0x55 7\ni2c expander 0x00-0x3F\ni2c eeprom r 16\n"
            "i2c eeprom w 0 1 2\nspi list\nspi loop mode 3\nspi loop 1 2 3\nspi shift 1 r 3\nspi shift r 2\n"
            "gpio list\ngpio out 1\ngpio in\ngpio group 0xA\ngpio group\n"));
    WriteSeed(
        "console", "values",
        BytesOf("reg\nreg list g*\nreg gain 5\nreg gain\nreg gain 8\nreg locked 1\nreg spare\nvar list\n"
                "var set rf.gain -12\nvar set rf.* \"1 2 3\"\nvar set name \"two words\"\nvar set mute true\n"
                "var show *\nmon summary\nmon stats x*\nmon clear\n# comment\n\nnothing\nvar \"show\" \"\n"));
}

void WriteClock() {
    Bytes exchanges = {8, 'S', 'C', 0x34, 0x12, 0, 0, 0, 0};
    const Bytes good = {0xFF, 0x05, 0, 0, 0x40, 0x04, 0, 0, 0, 0, 0, 0, 0, 0};
    const Bytes late = {0x04, 0, 0, 0, 0, 0, 0, 0, 0};
    const Bytes failures = {0xFF, 1, 0xF1, 0xFF, 1, 0xE2, 0xFF, 1, 0, 0xF1, 1, 0xFF, 1, 0, 0xE5, 1};
    for (int i = 0; i < 12; ++i)
        exchanges = exchanges + (i % 3 ? good : late + good);
    WriteSeed("clock", "exchanges", exchanges);
    WriteSeed("clock", "failures", Bytes{7, 'S', 'D', 0, 0, 0, 0, 0, 0} + good + failures + good);
}

}  // namespace
}  // namespace quarn::test

int main(int argumentCount, char** arguments) {
    using namespace quarn::test;
    if (argumentCount != 2) {
        fprintf(stderr, "usage: %s FOLDER\n", arguments[0]);
        return 2;
    }
    folder = arguments[1];
    WriteValues();
    WriteMessages();
    WriteStorage();
    WriteTexts();
    WriteClock();
}
