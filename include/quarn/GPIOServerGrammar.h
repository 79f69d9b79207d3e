#pragma once

/// The sentences in which a GPIOIndirectAccess asks and a GPIOServer answers. docs/gpio-server.md shows the
/// exchange, for peers in other languages too.
///
///     const quarn::GPIOServerGrammar grammar;
///     try {
///         const std::unique_ptr<quarn::Sentence> request(grammar.CreateSentence(&message));
///         if (request && request->GetDetails().GetTag() == grammar.GET)
///             Answer(request->Word(0), gpio.Get(request->Word(1)));
///     } catch (const quarn::MonitorException& e) {  // words that do not fit, or no such signal
///         fprintf(stderr, "%s\n", e.Description().c_str());
///     }

#include <quarn/Attributes.h>
#include <quarn/SentenceGrammar.h>

#include <stdint.h>

namespace quarn {

/// The grammar "gpio". The first word of every sentence is the action ID, a UINT16 that the client chooses and
/// the server repeats.
class QUARN_API GPIOServerGrammar : public SentenceGrammar {
public:
    static constexpr uint32_t GET = 257;        ///< "gpio-get": STRING name of the signal
    static constexpr uint32_t SET = 258;        ///< "gpio-set": STRING name of the signal, UINT32 value
    static constexpr uint32_t COMMAND = 259;    ///< "gpio-command": STRING_LIST console line
    static constexpr uint32_t EXCEPTION = 513;  ///< "gpio-exception": STRING message
    static constexpr uint32_t ACK = 769;        ///< "gpio-ack": UINT32 value of the signal
    static constexpr uint32_t TEXT = 770;       ///< "gpio-text": STRING_LIST lines of the response

    GPIOServerGrammar();
};

}  // namespace quarn
