#include "support/Transcript.h"

#include <arpa/inet.h>
#include <errno.h>

namespace quarn::test {
namespace {

using Texts = std::vector<std::string>;

/// Each verb is a function, and takes its arguments.
class ParsePlayer : public Transcript {
public:
    ParsePlayer() {
        Add({
            {"float", [&] { return Format("%g", double{ParseFloat(T(1))}); }},
            {"i16", [&] { return std::to_string(ParseI16(T(1))); }},
            {"u16", [&] { return std::to_string(ParseU16(T(1), uint16_t(N(2)))); }},
            {"i32", [&] { return std::to_string(ParseI32(T(1))); }},
            {"u32", [&] { return std::to_string(ParseU32(T(1), Small(2))); }},
            {"u32-between", [&] { return std::to_string(ParseU32(T(1), Small(2), Small(3))); }},
            {"i64", [&] { return std::to_string(ParseI64(T(1))); }},
            {"u64", [&] { return std::to_string(ParseU64(T(1), N(2))); }},
            {"intmax", [&] { return std::to_string(ParseIntMax(T(1))); }},
            {"uintmax", [&] { return std::to_string(ParseUIntMax(T(1), N(2))); }},
            {"address", [&] { return std::to_string(ParseAddress(T(1))); }},
            {"bcd", [&] { return Format("'%c'", BCDToASCII(uint8_t(N(1)))); }},
            {"ip", [&] { return Shown(IPAddress(T(1))); }},
            {"listener", [&] { return ParseIPListenerAddress(T(1)).ToString(); }},
            {"mac", [&] { return Shown(ParseMACAddress(T(1))); }},
            {"tokens", [&] { return Shown(Tokenize(T(1))); }},
            {"fields", [&] { return Shown(TokenizeDelimited(T(1), W(2)[0])); }},
            {"changes", [&] { return DescribeUnorderedTokenChanges(Tokenize(W(1)), Tokenize(W(2))); }},
            {"byte-range", [&] { return Range<uint8_t>(ParseByteRange); }},
            {"range", [&] { return Range<uint32_t>(ParseU32Range); }},
            {"range-list", [&] { return RangeList(); }},
            {"version", [&] { return Shown(ParseVersionString(T(1))); }},
            {"meets", [&] { return std::string(DoesVersionMeetMinimum(W(1), W(2)) ? "yes" : "no"); }},
        });
    }

private:
    using Transcript::Shown;
    static std::string Shown(const Texts& texts) {
        std::string shown;
        for (const std::string& text : texts)
            shown += (shown.empty() ? "\"" : " \"") + text + "\"";
        return shown;
    }
    static std::string Shown(const Version& version) {
        const auto [a, b, c, d] = version;
        return Format("%u.%u.%u.%u", a, b, c, d);
    }
    static std::string Shown(const IPAddress& address) {
        return Format("%s %08X%s, %u bits", IPAddress(address.ToInAddr().s_addr).ToString().c_str(),
                      ntohl(address.ToInAddr().s_addr), address.IsZero() ? " zero" : "",
                      unsigned(address.UpperBitsSet()));
    }
    /// A word in which pictures of control characters, such as that of the tabulator, stand for these.
    std::string T(size_t i) const {
        std::string text = W(i);
        errno = ERANGE;  // of earlier business
        for (size_t at = 0; (at = text.find("\xE2\x90", at)) != std::string::npos; ++at)
            text.replace(at, 3, 1, char(text[at + 2] & 0x7F));
        return text;
    }
    uint32_t Small(size_t i) const { return uint32_t(N(i)); }

    template <class Value>
    std::string Range(bool (*parse)(const std::string&, Value*, Value*, char)) {
        Value first = 77, last = 78;
        const bool isRange = parse(W(1), &first, &last, W(2)[0]);
        return (isRange ? "" : "none, ") + std::to_string(first) + " " + std::to_string(last);
    }
    std::string RangeList() {
        std::string shown;
        for (const uint32_t value : ParseU32RangeList(W(1), Small(2), Small(3), '-'))
            shown += (shown.empty() ? "" : " ") + std::to_string(value);
        return shown;
    }
};

TEST(ParseTest, ReadsWhatPeopleWrite) {
    ParsePlayer().Replay("parse.txt");
}

}  // namespace
}  // namespace quarn::test
