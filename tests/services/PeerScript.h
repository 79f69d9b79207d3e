#pragma once

/// What the tests of services share.

#include "connections/Loopback.h"

namespace quarn::test {

/// Plays what a service and its peer say: text files of this folder, each line of which is a command and what belongs to
/// it. The head of bulk_transfer.txt tells of them.
class PeerScriptTest : public testing::Test {
protected:
    PeerScriptTest();

    /// Ends at the first line that fails. Every line that the service printed must have been told of.
    void Play(const std::string& name);
    void ExpectNoMorePrinted() { EXPECT_EQ(Printed().size(), taken_[title_]) << Printed().back(); }
    /// What goes over the wire.
    std::string Bytes(std::string text) const;

    DebugCapture debug_;
    std::vector<const SentenceGrammar*> grammars_;  // of a service that does not speak in lines
    std::string title_;                             // of the lines that are told of
    uint16_t port_ = 0;
    std::unique_ptr<Peer> peer_;
    std::map<std::string, std::string> values_;  // what "$NAME" stands for
    std::map<std::string, std::function<void(const std::string& rest)>> commands_;

private:
    std::string SentenceBytes(const Lines& fields) const;
    Lines Printed();

    std::map<std::string, size_t> taken_;  // of what was printed, by title
};

}  // namespace quarn::test
