#include "ctl/UnitClient.h"

#include <quarn/LocalTime.h>
#include <quarn/MonitorException.h>
#include <quarn/Sentence.h>
#include <quarn/SentenceDetails.h>
#include <quarn/Text.h>
#include <quarn/VariableDetails.h>

#include "common/ReceiverVariables.h"
#include "ctl/AwaitConnection.h"

#include <poll.h>

namespace unit {

using quarn::MonitorException;

UnitClient::UnitClient(const Endpoint& unit, uint32_t timeoutMs)
    : name_(unit.ToString()),
      dictionary_("receiver"),
      connection_("unit " + name_, unit.address, unit.port),
      terminal_(connection_) {
    DeclareVariables(dictionary_);
    AwaitConnection(connection_, "unit at " + name_, timeoutMs, [&] { terminal_.Work(); });
}

void UnitClient::Wait(bool forWriting, int timeoutMs) {
    pollfd fd{connection_.Socket(), static_cast<short>(forWriting ? POLLIN | POLLOUT : POLLIN), 0};
    poll(&fd, 1, timeoutMs);
}

void UnitClient::Say(SentenceTag tag, const std::vector<quarn::VariantValue>& words) {
    terminal_.Put(quarn::OutgoingMessage(*grammar_.Find(tag, true), words));
    terminal_.Flush();
}

void UnitClient::Set(const quarn::VariableDetails& variable, const quarn::VariantValue& value) {
    terminal_.Put(quarn::OutgoingMessage(variable, value));
    terminal_.Flush();
}

std::unique_ptr<quarn::Sentence> UnitClient::Receive(int timeoutMs) {
    const uint64_t start = quarn::Tick();
    while (!terminal_.Get(received_)) {
        int remainingMs = -1;
        if (timeoutMs >= 0) {
            const uint64_t elapsedMs = quarn::MillisecondsSince(start);
            if (elapsedMs >= static_cast<uint64_t>(timeoutMs))
                throw MonitorException("The unit at %s does not answer", name_.c_str());
            remainingMs = timeoutMs - static_cast<int>(elapsedMs);
        }
        if (!terminal_.Work())
            throw MonitorException("The unit at %s closed the connection", name_.c_str());
        if (terminal_.Get(received_))
            break;
        Wait(terminal_.WorkPending(), remainingMs);
    }
    std::unique_ptr<quarn::Sentence> sentence(received_.CreateSentence(grammar_));
    if (sentence && sentence->GetDetails().GetTag() == REFUSED)
        throw MonitorException("The unit at %s refused: %s", name_.c_str(),
                               quarn::Prettify(sentence->ToString()).c_str());
    return sentence;
}

}  // namespace unit
