#pragma once

/// The sentences of a bulk transfer, and the token by which its two ends know each other.
/// docs/bulk-transfer.md shows the exchange.
///
///     const uint32_t token = quarn::GenerateBulkTransferToken();

#include <quarn/Attributes.h>
#include <quarn/SentenceGrammar.h>

#include <stdint.h>

namespace quarn {

/// The grammar "bulk": "btx-init" (token, total bytes), "btx-part" (offset of the first byte, data) and
/// "btx-ack" (total bytes received).
class QUARN_API BulkTransferGrammar : public SentenceGrammar {
public:
    static constexpr uint32_t INIT = 0xBB01;
    static constexpr uint32_t PART = 0xBB02;
    static constexpr uint32_t ACK = 0xBB03;

    BulkTransferGrammar();
};

/// A fresh token: what rand() returns, so the process seeds that. A token identifies a transfer and protects
/// nothing.
QUARN_API uint32_t GenerateBulkTransferToken();

}  // namespace quarn
