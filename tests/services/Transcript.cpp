#include "services/Transcript.h"

#include "support/TextFiles.h"

#include <sstream>
#include <stdexcept>

namespace quarn::test {

TranscriptTest::TranscriptTest() {
    commands_["connects"] = [this](const std::string&) {
        peer_ = std::make_unique<Peer>(port_);
        values_["peer"] = Format("127.0.0.1:%u", peer_->LocalPort());
    };
    commands_[">"] = [this](const std::string& text) { said_ += Bytes(text); };
    commands_["<"] = [this](const std::string& text) {
        const std::string expected = Bytes(text);
        EXPECT_EQ(peer_->Read(expected.size()), expected);
    };
    commands_["closed"] = [this](const std::string&) { EXPECT_EQ(peer_->Read(1), ""); };
    commands_["ends"] = [this](const std::string&) { peer_->ShutDown(); };
    commands_["resets"] = [this](const std::string&) { peer_->Reset(); };
    commands_["prints"] = [this](const std::string& text) {
        const size_t next = taken_[title_]++;
        EXPECT_TRUE(Eventually([&] { return Printed().size() > next; }));
        EXPECT_EQ(Printed().at(next), text);
    };
}

void TranscriptTest::Play(const std::string& name) {
    std::istringstream file(TextFiles().at(name));
    size_t number = 0;
    for (std::string line; std::getline(file, line) && !HasFailure();) {
        SCOPED_TRACE(Format("%s:%zu", name.c_str(), ++number));
        if (line.empty() || line[0] == '#')
            continue;
        for (const auto& [key, value] : values_)
            StringReplace(line, "$" + key, value);
        const size_t end = std::min(line.find(' '), line.size());
        const std::string command = line.substr(0, end);
        if (command != ">" && !said_.empty())
            peer_->Write(std::exchange(said_, ""));
        EXPECT_NO_THROW(commands_.at(command)(line.substr(std::min(end + 1, line.size()))));
    }
    EXPECT_GT(number, 0U) << name;
    EXPECT_EQ(said_, "");
    ExpectNoMorePrinted();
}

std::string TranscriptTest::Bytes(const std::string& text) const {
    if (grammars_.empty())
        return text + "\n";
    const std::vector<std::string> fields = TokenizeDelimited(text, '|');
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
        if (fields.size() != words.size() + 1)
            throw std::runtime_error("too many words");
        return WireBytes(OutgoingMessage(*details, words));
    }
    throw std::runtime_error("no such sentence");
}

Lines TranscriptTest::Printed() {
    Lines printed;
    for (const std::string& line : debug_.Lines())
        if (line.starts_with(title_))
            printed.push_back(line.substr(title_.size()));
    return printed;
}

}  // namespace quarn::test
