#include <quarn/GPIOServerGrammar.h>
#include <quarn/VariantType.h>

namespace quarn {

GPIOServerGrammar::GPIOServerGrammar() : SentenceGrammar("gpio") {
    using enum VariantType;
    Add(GET, "gpio-get", 0, UINT16, STRING, NONE);
    Add(SET, "gpio-set", 0, UINT16, STRING, UINT32, NONE);
    Add(COMMAND, "gpio-command", 0, UINT16, STRING_LIST, NONE);
    Add(EXCEPTION, "gpio-exception", 0, UINT16, STRING, NONE);
    Add(ACK, "gpio-ack", 0, UINT16, UINT32, NONE);
    Add(TEXT, "gpio-text", 0, UINT16, STRING_LIST, NONE);
}

}  // namespace quarn
