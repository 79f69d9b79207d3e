#pragma once

#include <quarn/TCPConnection.h>

#include <functional>
#include <string>

namespace unit {

/// Waits until the connection, which is being made, is there. `work` is a step of the terminal on it. Throws
/// MonitorException with the reason when it cannot be made, or is not within `timeoutMs`; `what` is connected to.
void AwaitConnection(quarn::TCPConnection& connection, const std::string& what, uint32_t timeoutMs,
                     const std::function<void()>& work);

}  // namespace unit
