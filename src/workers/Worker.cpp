#include <quarn/LocalTime.h>
#include <quarn/Worker.h>

#include "workers/WorkerImpl.h"

#include <string.h>

#include <chrono>
#include <thread>

namespace quarn {

namespace {

// Releases, at the end of a scope, a lock that was given.
class Unlocker {
public:
    explicit Unlocker(Worker& worker) : worker_(worker) {}
    ~Unlocker() { worker_.Unlock(); }
    Unlocker(const Unlocker&) = delete;
    Unlocker& operator=(const Unlocker&) = delete;

private:
    Worker& worker_;
};

bool Differ(const void* a, const void* b, size_t length) {
    return length != 0 && memcmp(a, b, length) != 0;
}

}  // namespace

Worker::Worker(Debuggable* parent, const std::string& name)
    : impl_(std::make_unique<Impl>(this, parent, name)) {}

Worker::~Worker() {
    if (!impl_->Dismantle())
        static_cast<void>(impl_.release());
}

void Worker::Start() {
    impl_->Start();
}

void Worker::Stop() {
    impl_->Stop();
}

void Worker::Wake() {
    impl_->Wake();
}

bool Worker::Lock() {
    return impl_->Lock();
}

bool Worker::TryLock(uint32_t milliseconds) {
    return impl_->TryLock(std::chrono::milliseconds(milliseconds)) == OwnerLock::Outcome::LOCKED;
}

void Worker::Unlock() {
    impl_->Unlock();
}

bool Worker::SetSharedDataAndWake(void* shared, const void* value, size_t length) {
    if (!Lock())
        return false;
    const Unlocker unlocker(*this);
    if (!Differ(shared, value, length))
        return false;
    memcpy(shared, value, length);
    Wake();
    return true;
}

bool Worker::WaitForSharedDataEqual(void* shared, const void* value, size_t length, uint32_t pollMs,
                                    uint32_t timeoutMs) {
    const uint64_t start = Tick();
    do {
        if (!Lock())
            return false;
        {
            const Unlocker unlocker(*this);
            if (!Differ(shared, value, length))
                return true;
        }
        if (timeoutMs != 0)
            std::this_thread::sleep_for(std::chrono::milliseconds(pollMs));
    } while (MillisecondsSince(start) < timeoutMs);
    return false;
}

bool Worker::IsCallerWorker() const {
    return impl_->IsCallerWorker();
}

int32_t Worker::GetPollInterval() const {
    return impl_->pollInterval;
}

void Worker::SetPollInterval(int32_t milliseconds) {
    impl_->pollInterval = milliseconds;
}

int Worker::GetPollDescriptor() const {
    return impl_->waitSet.PollDescriptor();
}

const std::map<int, int32_t>& Worker::GetReadyFileDescriptors() const {
    return impl_->waitSet.Ready();
}

const std::string& Worker::GetName() const {
    return impl_->name;
}

std::string Worker::GetStatus() const {
    return impl_->DescribeStatus();
}

void Worker::GetStatistics(std::list<std::string>& lines) {
    impl_->GetStatistics(lines);
}

void Worker::ClearStatistics() {
    impl_->ClearStatistics();
}

void Worker::GetAllWorkerSummary(std::list<std::string>& lines) {
    Impl::GetAllSummary(lines);
}

void Worker::GetAllWorkerStatistics(std::list<std::string>& lines) {
    Impl::GetMatchingStatistics("*", lines);
}

void Worker::GetMatchingWorkerStatistics(const std::string& pattern, std::list<std::string>& lines) {
    Impl::GetMatchingStatistics(pattern, lines);
}

void Worker::ClearAllWorkerStatistics() {
    Impl::ClearAllStatistics();
}

void Worker::AddWaitableFileDescriptor(int fd, int32_t flags, const std::string& description) {
    impl_->waitSet.Add(fd, flags, description);
}

void Worker::RemoveWaitableFileDescriptor(int fd) {
    impl_->waitSet.Remove(fd);
}

bool Worker::Initialize() {
    return true;
}

bool Worker::PreWait() {
    return true;
}

bool Worker::Work() {
    return true;
}

void Worker::Finalize() {}

void Worker::GetExtraStatistics(std::list<std::string>&) {}

void Worker::ClearExtraStatistics() {}

}  // namespace quarn
