#include <quarn/MonitorException.h>
#include <quarn/Parse.h>
#include <quarn/Text.h>

#include <ctype.h>

#include <algorithm>
#include <iterator>

namespace quarn {
namespace {

bool IsSpace(char c) {
    return isspace(static_cast<unsigned char>(c)) != 0;
}

// `heading "a", "b"`, or nothing for no tokens.
std::string DescribeTokens(const char* heading, const std::vector<std::string>& tokens) {
    std::string text;
    for (const std::string& token : tokens)
        text += (text.empty() ? heading : ",") + (" \"" + token + "\"");
    return text;
}

std::vector<std::string> Missing(const std::vector<std::string>& tokens,
                                 const std::vector<std::string>& from) {
    std::vector<std::string> missing;
    std::set_difference(tokens.begin(), tokens.end(), from.begin(), from.end(), std::back_inserter(missing));
    return missing;
}

}  // namespace

std::vector<std::string> Tokenize(const std::string& text) {
    std::vector<std::string> tokens;
    auto position = text.begin();
    while ((position = std::find_if_not(position, text.end(), IsSpace)) != text.end()) {
        auto end = position;
        if (*position != '"') {
            end = std::find_if(position, text.end(), IsSpace);
            if (std::find(position, end, '"') != end)
                throw MonitorException("Double-quote within token");
            tokens.emplace_back(position, end);
        } else {
            end = std::find(++position, text.end(), '"');
            if (end == text.end())
                throw MonitorException("Missing closing double-quote");
            tokens.emplace_back(position, end);
            if (++end != text.end() && !IsSpace(*end))
                throw MonitorException("Extraneous characters following closing double-quote");
        }
        position = end;
    }
    return tokens;
}

std::vector<std::string> TokenizeDelimited(const std::string& text, char delimiter) {
    std::vector<std::string> fields;
    if (text.empty())
        return fields;
    size_t start = 0;
    for (size_t end; (end = text.find(delimiter, start)) != std::string::npos; start = end + 1)
        fields.push_back(text.substr(start, end - start));
    fields.push_back(text.substr(start));
    return fields;
}

std::string DescribeUnorderedTokenChanges(const std::vector<std::string>& before,
                                          const std::vector<std::string>& after) {
    std::vector<std::string> old = before, now = after;
    std::sort(old.begin(), old.end());
    std::sort(now.begin(), now.end());
    std::string text = DescribeTokens("added", Missing(now, old));
    Append(text, DescribeTokens("removed", Missing(old, now)), "; ");
    return text;
}

IPAddress ParseIPListenerAddress(const std::string& text) {
    const std::string trimmed = Trim(text);
    if (trimmed.empty())
        return IPAddress("127.0.0.1");
    if (trimmed == "*")
        return IPAddress();
    return IPAddress(text);
}

std::vector<uint8_t> ParseMACAddress(const std::string& text) {
    const std::string trimmed = Trim(text);
    if (trimmed.size() != 17)
        return {};
    std::vector<uint8_t> bytes;
    for (size_t i = 0; i < trimmed.size(); i += 3) {
        const bool isSeparated = i == 0 || trimmed[i - 1] == ':' || trimmed[i - 1] == '-';
        const std::string group = trimmed.substr(i, 2);
        if (!isSeparated || group.find_first_not_of("0123456789ABCDEFabcdef") != std::string::npos)
            throw MonitorException("Could not convert \"%s\" to MAC address", text.c_str());
        bytes.push_back(static_cast<uint8_t>(ParseU32("0x" + group, 255)));
    }
    return bytes;
}

Version ParseVersionString(const std::string& text) {
    std::string separated = text;
    // "1.2u3" is update 3 of version 1.2.
    StringReplace(separated, "u", ".");
    const std::vector<std::string> fields = TokenizeDelimited(separated, '.');
    if (fields.size() < 2 || fields.size() > 4)
        throw MonitorException("Firmware string is malformed");
    uint32_t numbers[4] = {};
    for (size_t i = 0; i < fields.size(); ++i)
        numbers[i] = ParseU32(fields[i], UINT32_MAX);
    return {numbers[0], numbers[1], numbers[2], numbers[3]};
}

bool DoesVersionMeetMinimum(const Version& version, const Version& minimum) {
    return version >= minimum;
}

bool DoesVersionMeetMinimum(const std::string& version, const std::string& minimum) {
    return DoesVersionMeetMinimum(ParseVersionString(version), ParseVersionString(minimum));
}

char BCDToASCII(uint8_t digit) {
    return digit <= 9 ? static_cast<char>('0' + digit) : ' ';
}

}  // namespace quarn
