#include <quarn/BulkTransferGrammar.h>
#include <quarn/VariantType.h>

#include <stdlib.h>

namespace quarn {

BulkTransferGrammar::BulkTransferGrammar() : SentenceGrammar("bulk") {
    using enum VariantType;
    Add(INIT, "btx-init", 0, UINT32, UINT32, NONE);
    Add(PART, "btx-part", 0, UINT32, UINT8_VECTOR, NONE);
    Add(ACK, "btx-ack", 0, UINT32, NONE);
}

uint32_t GenerateBulkTransferToken() {
    return static_cast<uint32_t>(rand());
}

}  // namespace quarn
