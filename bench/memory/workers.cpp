#include <quarn/Worker.h>

#include "memory/Heap.h"
#include "memory/Pages.h"
#include "memory/Report.h"

#include <malloc.h>
#include <sys/eventfd.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <memory>
#include <span>
#include <vector>

namespace quarn {

namespace {

constexpr size_t kWorkers = 8;
constexpr size_t kDescriptors = 16;

class Idle final : public Worker {
public:
    Idle() : Worker(nullptr, "worker") {}
    ~Idle() { Stop(); }

    void RunOnce() {
        Start();
        Wake();
        ran_.wait(false);
    }
    void Watch(std::span<const int> fds) {
        Require(Lock(), "the worker's lock was refused");
        for (const int fd : fds)
            AddWaitableFileDescriptor(fd, WAIT_READ, "peer");
        watched_ = fds;
        Unlock();
    }

private:
    bool Work() override {
        ran_ = true;
        ran_.notify_all();
        return true;
    }
    void Finalize() override {
        for (const int fd : watched_)
            RemoveWaitableFileDescriptor(fd);
    }

    std::atomic<bool> ran_ = false;
    std::span<const int> watched_;
};

struct Sample {
    size_t heap = heap::InUse();
    Pages pages = Pages::Now();
};

void Row(const char* what, const Sample& before, const Sample& after, size_t count) {
    printf("| %s | %s | %s | %s |\n", what, BytesText((after.heap - before.heap) / count).c_str(),
           BytesText((after.pages.touched - before.pages.touched) / count).c_str(),
           BytesText((after.pages.reserved - before.pages.reserved) / count).c_str());
}

// kWorkers, and the samples before and after they were made and after all have run.
struct Started {
    Started() {
        workers.reserve(kWorkers);
        before = Sample();
        while (workers.size() < kWorkers)
            workers.push_back(std::make_unique<Idle>());
        made = Sample();
        for (const auto& worker : workers)
            worker->RunOnce();
        running = Sample();
    }

    std::vector<std::unique_ptr<Idle>> workers;
    Sample before, made, running;
};

void ReportUsual() {
    Idle first;
    first.RunOnce();  // makes what is made once
    std::vector<int> fds(kWorkers * kDescriptors);
    for (int& fd : fds)
        fd = eventfd(0, EFD_CLOEXEC);
    const Started started;
    for (size_t i = 0; i < kWorkers; ++i)
        started.workers[i]->Watch(std::span(fds).subspan(i * kDescriptors, kDescriptors));
    const Sample watching;
    Row("not started", started.before, started.made, kWorkers);
    Row("running", started.before, started.running, kWorkers);
    Row("each descriptor that it watches", started.running, watching, kWorkers * kDescriptors);
}

void ReportOneArena() {
    mallopt(M_ARENA_MAX, 1);
    Idle first;
    first.RunOnce();
    const Started started;
    Row("running, with `MALLOC_ARENA_MAX=1`", started.before, started.running, kWorkers);
}

// In a process of its own, because malloc's arenas are never given back.
void Separately(void (*report)()) {
    fflush(stdout);
    const pid_t child = fork();
    if (child == 0) {
        report();
        exit(EXIT_SUCCESS);
    }
    int status = -1;
    Require(waitpid(child, &status, 0) == child && status == 0, "the workers could not be measured");
}

}  // namespace

void ReportWorkers() {
    puts("| a worker | heap | touched | reserved |\n| --- | --- | --- | --- |");
    Separately(ReportUsual);
    Separately(ReportOneArena);
    puts("");
}

}  // namespace quarn
