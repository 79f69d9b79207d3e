#pragma once

#include "foundation/Descriptor.h"

namespace quarn {

/// A datagram socket that does not block and is not bound. Throws MonitorException "Failed to create socket: %s"
/// or "Failed to configure socket: %s".
Descriptor OpenDatagramSocket();

}  // namespace quarn
