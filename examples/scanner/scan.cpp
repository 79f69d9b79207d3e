// Talks to the scanner: scan PORT, scan PORT set KEY VALUE, or scan PORT FROM-KHZ TO-KHZ.

#include <quarn/quarn.h>

#include "scanner/Protocol.h"

#include <poll.h>
#include <stdio.h>

#include <memory>
#include <set>

namespace {

constexpr uint64_t kPatienceMs = 5000;

class Client {
public:
    /// Connects, and learns the values of all variables.
    explicit Client(uint16_t port)
        : connection_("scanner", quarn::IPAddress("127.0.0.1"), port), terminal_(connection_) {
        index_.Add(scanner::RF_THRESHOLD_DBM, &thresholdDBm_, 0);
        index_.Add(scanner::RF_LABEL, &label_, 0);
        index_.Add(scanner::RF_SCANS, &scans_, 0);
        const size_t all = dictionary_.Query("*").size();
        for (std::set<uint32_t> known; known.size() < all; known.insert(received_.GetTag()))
            Receive();
    }

    void Set(const std::string& key, const std::string& text) {
        const quarn::VariableDetails& details = dictionary_.Find(key);
        terminal_.Put(quarn::OutgoingMessage(details, quarn::VariantValue(details.GetType(), text)));
        do
            Receive();
        while (received_.GetTag() != details.GetTag());  // told to everybody, the one who set it too
    }

    void Scan(uint32_t fromKHz, uint32_t toKHz) {
        using quarn::VariantValue;
        terminal_.Put(quarn::OutgoingMessage(*grammar_.Find(scanner::SCAN, true),
                                             {VariantValue(fromKHz), VariantValue(toKHz)}));
        do {
            const std::unique_ptr<quarn::Sentence> sentence = Receive();
            if (sentence)
                printf("%s %s\n", sentence->GetDetails().GetKey().c_str(), sentence->ToString().c_str());
        } while (received_.GetTag() != scanner::DONE);
    }

    void PrintVariables() {
        for (const std::string& line : index_.List(index_.Query("*"), false))
            puts(line.c_str());
    }

private:
    /// Waits for a message. A variable goes to the index; a sentence is returned. Throws the scanner's reason when it
    /// has refused something.
    std::unique_ptr<quarn::Sentence> Receive() {
        const uint64_t start = quarn::Tick();
        while (!terminal_.Get(received_)) {
            if (!terminal_.Work())
                throw quarn::MonitorException("There is no scanner, or it is gone");
            if (quarn::MillisecondsSince(start) > kPatienceMs)
                throw quarn::MonitorException("The scanner does not answer");
            const bool mustWrite = !connection_.IsConnected() || terminal_.WorkPending();
            pollfd fd{terminal_.Socket(), static_cast<short>(mustWrite ? POLLIN | POLLOUT : POLLIN), 0};
            poll(&fd, 1, 100);
        }
        std::unique_ptr<quarn::Sentence> sentence(grammar_.CreateSentence(&received_));
        if (!sentence)
            received_.Apply(index_);
        else if (sentence->GetDetails().GetTag() == scanner::REFUSED)
            throw quarn::MonitorException("Refused: %s", sentence->ToString().c_str());
        return sentence;
    }

    float thresholdDBm_ = 0;
    std::string label_;
    uint32_t scans_ = 0;
    scanner::Variables dictionary_;
    scanner::Grammar grammar_;
    quarn::VariableIndex index_{"scanner, as seen from here", dictionary_};
    quarn::TCPConnection connection_;
    quarn::MessageTerminal terminal_;
    quarn::IncomingMessage received_;
};

}  // namespace

int main(int argc, char** argv) {
    const std::vector<std::string> words(argv + 1, argv + argc);
    try {
        const bool sets = words.size() == 4 && words[1] == "set";
        const bool scans = words.size() == 3;
        if (words.size() != 1 && !sets && !scans)
            throw quarn::MonitorException("usage: scan PORT [set KEY VALUE | FROM-KHZ TO-KHZ]");
        Client client(quarn::ParseU16(words[0], 0));
        if (sets)
            client.Set(words[2], words[3]);
        if (scans)
            client.Scan(quarn::ParseU32(words[1], 0), quarn::ParseU32(words[2], 0));
        client.PrintVariables();
        return 0;
    } catch (const quarn::MonitorException& e) {
        fprintf(stderr, "%s\n", e.Description().c_str());
        return 1;
    }
}
