// Two loops in two threads wake each other in turn, all on one core: a round trip is a wake-up there and one
// back. Judge by the CPU time of the process: on one core nothing else passes, except for what other programs
// do there meanwhile. Beside it what a worker's lock costs when nobody else wants it.

#include <quarn/Worker.h>

#include "PinnedMain.h"

#include <benchmark/benchmark.h>

#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <unistd.h>
#if QUARN_BENCH_PEERS
#include <event2/event.h>
#include <event2/thread.h>
#include <uv.h>
#endif

#include <atomic>
#include <functional>
#include <mutex>
#include <semaphore>
#include <string>
#include <thread>

namespace {

// The job, the same for all: the first loop counts the round trips and says when enough were made, the second
// one only answers.
template <class Loop>
class PingPong {
public:
    PingPong() {
        first_.Run([this] {
            if (--left_ == 0)
                done_.release();
            else
                second_.Wake();
        });
        second_.Run([this] { first_.Wake(); });
    }
    ~PingPong() {
        first_.End();
        second_.End();
    }

    void MakeTrips(int64_t trips) {
        left_ = trips;
        second_.Wake();
        done_.acquire();
    }

private:
    std::atomic<int64_t> left_{0};
    std::binary_semaphore done_{0};
    Loop first_;
    Loop second_;
};

class Quarn final : public quarn::Worker {
public:
    Quarn() : Worker(nullptr, "bench") {}
    void Run(std::function<void()> onWake) {
        onWake_ = std::move(onWake);
        Start();
    }
    void End() { Stop(); }

private:
    bool Work() override {
        onWake_();
        return true;
    }
    std::function<void()> onWake_;
};

class Raw {
public:
    Raw() {
        epoll_event event{};
        event.events = EPOLLIN;
        event.data.fd = event_;
        epoll_ctl(poll_, EPOLL_CTL_ADD, event_, &event);
    }
    ~Raw() {
        close(poll_);
        close(event_);
    }
    void Run(std::function<void()> onWake) {
        thread_ = std::thread([this, onWake = std::move(onWake)] {
            epoll_event found[2];
            uint64_t unit = 0;
            while (epoll_wait(poll_, found, 2, -1) > 0 && read(event_, &unit, sizeof(unit)) > 0 && !end_)
                onWake();
        });
    }
    void Wake() {
        const uint64_t one = 1;
        benchmark::DoNotOptimize(write(event_, &one, sizeof(one)));
    }
    void End() {
        end_ = true;
        Wake();
        thread_.join();
    }

private:
    const int poll_ = epoll_create1(EPOLL_CLOEXEC);
    const int event_ = eventfd(0, EFD_SEMAPHORE | EFD_NONBLOCK | EFD_CLOEXEC);
    std::atomic<bool> end_{false};
    std::thread thread_;
};

#if QUARN_BENCH_PEERS

class Libuv {
public:
    Libuv() {
        uv_loop_init(&loop_);
        async_.data = this;
        uv_async_init(&loop_, &async_, [](uv_async_t* handle) {
            auto* self = static_cast<Libuv*>(handle->data);
            if (self->end_)
                uv_close(reinterpret_cast<uv_handle_t*>(handle), nullptr);
            else
                self->onWake_();
        });
    }
    ~Libuv() { uv_loop_close(&loop_); }
    void Run(std::function<void()> onWake) {
        onWake_ = std::move(onWake);
        thread_ = std::thread([this] { uv_run(&loop_, UV_RUN_DEFAULT); });
    }
    void Wake() { uv_async_send(&async_); }
    void End() {
        end_ = true;
        Wake();
        thread_.join();
    }

private:
    uv_loop_t loop_{};
    uv_async_t async_{};
    std::function<void()> onWake_;
    std::atomic<bool> end_{false};
    std::thread thread_;
};

class Libevent {
public:
    Libevent() {
        evthread_use_pthreads();
        base_ = event_base_new();
        event_ = event_new(
            base_, -1, EV_PERSIST,
            [](evutil_socket_t, short, void* data) {
                auto* self = static_cast<Libevent*>(data);
                if (self->end_)
                    event_base_loopbreak(self->base_);
                else
                    self->onWake_();
            },
            this);
        event_add(event_, nullptr);
    }
    ~Libevent() {
        event_free(event_);
        event_base_free(base_);
    }
    void Run(std::function<void()> onWake) {
        onWake_ = std::move(onWake);
        thread_ = std::thread([this] { event_base_loop(base_, EVLOOP_NO_EXIT_ON_EMPTY); });
    }
    void Wake() { event_active(event_, EV_READ, 0); }
    void End() {
        end_ = true;
        Wake();
        thread_.join();
    }

private:
    event_base* base_ = nullptr;
    event* event_ = nullptr;
    std::function<void()> onWake_;
    std::atomic<bool> end_{false};
    std::thread thread_;
};

#endif

template <class Loop>
void RoundTrips(benchmark::State& state) {
    constexpr int64_t BATCH = 1000;  // so that the measuring thread's own wake-ups do not count
    PingPong<Loop> pingPong;
    pingPong.MakeTrips(BATCH);
    while (state.KeepRunningBatch(BATCH))
        pingPong.MakeTrips(BATCH);
    state.SetItemsProcessed(state.iterations());
}

template <class Lockable>
void Locking(benchmark::State& state, Lockable& lockable, void (*lock)(Lockable&),
             void (*unlock)(Lockable&)) {
    for (auto _ : state) {
        lock(lockable);
        benchmark::ClobberMemory();
        unlock(lockable);
    }
}

void LockQuarn(benchmark::State& state) {
    Quarn worker;
    Locking<Quarn>(
        state, worker, [](Quarn& w) { w.Lock(); }, [](Quarn& w) { w.Unlock(); });
}

void LockMutex(benchmark::State& state) {
    std::timed_mutex mutex;
    Locking<std::timed_mutex>(
        state, mutex,
        [](std::timed_mutex& m) { benchmark::DoNotOptimize(m.try_lock_for(std::chrono::seconds(1))); },
        [](std::timed_mutex& m) { m.unlock(); });
}

void Register(const std::string& who, void (*run)(benchmark::State&)) {
    benchmark::RegisterBenchmark(("wake/ping-pong/" + who).c_str(), run)->MeasureProcessCPUTime();
}

const bool registered = [] {
    Register("quarn", RoundTrips<Quarn>);
    Register("raw", RoundTrips<Raw>);
#if QUARN_BENCH_PEERS
    Register("libuv", RoundTrips<Libuv>);
    Register("libevent", RoundTrips<Libevent>);
#endif
    benchmark::RegisterBenchmark("wake/lock/quarn", LockQuarn);
    benchmark::RegisterBenchmark("wake/lock/timed_mutex", LockMutex);
    return true;
}();

}  // namespace

QUARN_PINNED_BENCHMARK_MAIN()
