#include <quarn/Worker.h>
#include <quarn/WorkerLock.h>

namespace quarn {

WorkerLock::WorkerLock(Worker* worker) : worker_(worker), locked_(!worker || worker->Lock()) {}

WorkerLock::~WorkerLock() {
    if (locked_ && worker_)
        worker_->Unlock();
}

}  // namespace quarn
