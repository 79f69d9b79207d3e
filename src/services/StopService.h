#pragma once

#include <quarn/Debug.h>
#include <quarn/MonitorException.h>

#include <memory>

namespace quarn {

/// The first act of a service's destructor: stops its worker. A worker that does not stop is reported with
/// mask ERR and left alive for good, with all that its thread may still use.
template <class ServiceWorker>
void StopService(std::unique_ptr<ServiceWorker>& worker, const char* title) {
    try {
        worker->Stop();
    } catch (const MonitorException& e) {
        if (DefaultDebug())
            DefaultDebug()->Printf(DEBUG_ERR, __FILE__, __LINE__, "%s: %s", title, e.Description().c_str());
        static_cast<void>(worker.release());
    }
}

}  // namespace quarn
