#pragma once

#include <quarn/IncomingMessage.h>
#include <quarn/MessageTerminal.h>
#include <quarn/OutgoingMessage.h>
#include <quarn/TCPConnection.h>
#include <quarn/VariableDictionary.h>
#include <quarn/VariantValue.h>

#include "common/Endpoint.h"
#include "common/UnitGrammar.h"

#include <memory>
#include <string>
#include <vector>

namespace unit {

/// A connection to a unit for one thread that asks and waits for the answer.
class UnitClient {
public:
    /// Connects. Throws MonitorException when the unit cannot be reached within `timeoutMs`.
    UnitClient(const Endpoint& unit, uint32_t timeoutMs);

    const quarn::VariableDictionary& Dictionary() const { return dictionary_; }

    /// Send as much as the connection takes now; Receive() sends the rest.
    void Say(SentenceTag tag, const std::vector<quarn::VariantValue>& words);
    void Set(const quarn::VariableDetails& variable, const quarn::VariantValue& value);

    /// Waits for the next message, which is then a sentence of the grammar or, when
    /// null is returned, the variable message in Received(). Throws MonitorException when the unit is gone,
    /// says nothing for `timeoutMs` (never when that is negative), or refuses what was sent.
    std::unique_ptr<quarn::Sentence> Receive(int timeoutMs);
    const quarn::IncomingMessage& Received() const { return received_; }

private:
    void Wait(bool forWriting, int timeoutMs);

    std::string name_;
    quarn::VariableDictionary dictionary_;
    UnitGrammar grammar_;
    quarn::TCPConnection connection_;
    quarn::MessageTerminal terminal_;
    quarn::IncomingMessage received_;
};

}  // namespace unit
