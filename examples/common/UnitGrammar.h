#pragma once

/// The sentences that units and their clients exchange beside variable messages.
///
/// | sentence    | from   | words                                                                          |
/// | ----------- | ------ | ------------------------------------------------------------------------------ |
/// | subscribe   | client | STRING_LIST patterns: push what matches, first as it is, then whenever it changes
/// | | query       | client | STRING pattern: answered by a "value" for each match, then "done" | |
/// statistics  | client | none: answered by "line"s, then "done"                                         | |
/// value       | unit   | STRING key, STRING type, STRING text                                           | |
/// line        | unit   | STRING text                                                                    | |
/// done        | unit   | UINT32 number of answers before it                                             | |
/// refused     | unit   | STRING reason: what the client sent last and the unit did not take             |

#include <quarn/SentenceGrammar.h>

#include <stdint.h>

namespace unit {

enum SentenceTag : uint32_t {
    SUBSCRIBE = 0x00510001,
    QUERY = 0x00510002,
    STATISTICS = 0x00510003,
    VALUE = 0x00510011,
    LINE = 0x00510012,
    DONE = 0x00510013,
    REFUSED = 0x00510014,
};

class UnitGrammar : public quarn::SentenceGrammar {
public:
    UnitGrammar();
};

}  // namespace unit
