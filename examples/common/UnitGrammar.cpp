#include "common/UnitGrammar.h"

#include <quarn/Variant.h>

namespace unit {

using enum quarn::VariantType;

UnitGrammar::UnitGrammar() : SentenceGrammar("unit") {
    Add(SUBSCRIBE, "subscribe", 0, STRING_LIST, NONE);
    Add(QUERY, "query", 0, STRING, NONE);
    Add(STATISTICS, "statistics", 0, NONE);
    Add(OFFER, "offer", 0, STRING, NONE);
    Add(VALUE, "value", 0, STRING, STRING, STRING, NONE);
    Add(LINE, "line", 0, STRING, NONE);
    Add(DONE, "done", 0, UINT32, NONE);
    Add(REFUSED, "refused", 0, STRING, NONE);
    Add(ACCEPTED, "accepted", 0, UINT32, UINT16, NONE);
    Add(ARRIVED, "arrived", 0, STRING, BOOLEAN, NONE);
}

}  // namespace unit
