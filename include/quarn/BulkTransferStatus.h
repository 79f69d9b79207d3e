#pragma once

/// The states of a bulk transfer, as GetStatus() of both ends returns them.
///
///     if (receiver.GetStatus(nullptr) == quarn::BULK_TRANSFER_FAILED)
///         ...

#include <stdint.h>

namespace quarn {

enum BulkTransferStatus : uint32_t {
    BULK_TRANSFER_STARTING = 0,     ///< not announced yet
    BULK_TRANSFER_IN_PROGRESS = 1,  ///< announced
    BULK_TRANSFER_FAILED = 2,       ///< ended
    BULK_TRANSFER_SUCCEEDED = 3,    ///< ended
};

}  // namespace quarn
