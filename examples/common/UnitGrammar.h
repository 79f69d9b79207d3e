#pragma once

/// The sentences that units and their clients exchange beside variable messages.

#include <quarn/SentenceGrammar.h>

#include <stdint.h>

namespace unit {

enum SentenceTag : uint32_t {
    // From a client.
    SUBSCRIBE = 0x00510001,   ///< STRING_LIST patterns: tell what matches, at once and on every change
    QUERY = 0x00510002,       ///< STRING pattern: answered by a VALUE for each match, then DONE
    STATISTICS = 0x00510003,  ///< answered by LINEs, then DONE
    OFFER = 0x00510004,       ///< STRING name of a file: answered by ACCEPTED, and by ARRIVED at its end
    // From a unit.
    VALUE = 0x00510011,     ///< STRING key, STRING type, STRING text
    LINE = 0x00510012,      ///< STRING text
    DONE = 0x00510013,      ///< UINT32 number of answers before it
    REFUSED = 0x00510014,   ///< STRING reason: what the client said last is not done
    ACCEPTED = 0x00510015,  ///< UINT32 token, UINT16 port: where the bulk transfer of the file goes
    ARRIVED = 0x00510016,   ///< STRING name, BOOLEAN whether the file is there, complete
};

class UnitGrammar : public quarn::SentenceGrammar {
public:
    UnitGrammar();
};

}  // namespace unit
