#include "services/PeerScript.h"

#include "support/TextFiles.h"

#include <stdexcept>

namespace quarn::test {

PeerScriptTest::PeerScriptTest() {
    commands_["connects"] = [this](const std::string&) {
        peer_ = std::make_unique<Peer>(port_);
        values_["peer"] = Format("127.0.0.1:%u", peer_->LocalPort());
    };
    commands_[">"] = [this](const std::string& text) { peer_->Write(Bytes(text)); };
    commands_["<"] = [this](const std::string& text) {
        const std::string expected = Bytes(text);
        EXPECT_EQ(peer_->Read(expected.size()), expected);
    };
    commands_["closed"] = [this](const std::string&) { EXPECT_EQ(peer_->Read(1), ""); };
    commands_["ends"] = [this](const std::string&) { peer_->ShutDown(); };
    commands_["resets"] = [this](const std::string&) { peer_->Reset(); };
    commands_["prints"] = [this](const std::string& text) {
        const size_t next = taken_[title_]++;
        EXPECT_TRUE(Eventually([&] { return Printed().size() > next; })) << text;
        EXPECT_EQ(Printed().at(next), text);
    };
}

void PeerScriptTest::Play(const std::string& name) {
    size_t number = 0;
    for (std::string line : SplitLines(TextFiles().at(name))) {
        SCOPED_TRACE(Format("%s:%zu", name.c_str(), ++number));
        if (HasFailure() || line.empty() || line[0] == '#')
            continue;
        for (const auto& [key, value] : values_)
            StringReplace(line, "$" + key, value);
        const size_t end = std::min(line.find(' '), line.size());
        EXPECT_NO_THROW(commands_.at(line.substr(0, end))(line.substr(std::min(end + 1, line.size()))));
    }
    EXPECT_TRUE(peer_) << name << " has nobody connect";
    ExpectNoMorePrinted();
}

std::string PeerScriptTest::Bytes(std::string text) const {
    StringReplace(text, " & ", "\n");
    if (grammars_.empty())
        return text + "\n";
    std::string bytes;
    for (const std::string& sentence : TokenizeDelimited(text, '\n'))
        bytes += SentenceBytes(TokenizeDelimited(sentence, '|'));
    return bytes;
}

std::string PeerScriptTest::SentenceBytes(const Lines& fields) const {
    for (const SentenceGrammar* grammar : grammars_) {
        const SentenceDetails* const details = grammar->Find(fields.at(0), false);
        if (!details)
            continue;
        std::vector<VariantValue> words;
        for (const VariantType type : details->GetTypes()) {
            const std::string& field = fields.at(words.size() + 1);
            words.push_back(type == VariantType::STRING_LIST ? VariantValue(TokenizeDelimited(field, '/'))
                                                             : VariantValue(type, field));
        }
        if (fields.size() == words.size() + 1)
            return WireBytes(OutgoingMessage(*details, words));
    }
    throw std::runtime_error("no such sentence");
}

Lines PeerScriptTest::Printed() {
    Lines printed;
    for (const std::string& line : debug_.Lines())
        if (line.starts_with(title_))
            printed.push_back(line.substr(title_.size()));
    return printed;
}

}  // namespace quarn::test
