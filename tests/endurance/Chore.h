#pragma once

#include <quarn/MonitorException.h>

#include <stdio.h>
#include <unistd.h>

#include <atomic>
#include <functional>
#include <string>
#include <thread>

namespace endurance {

inline std::atomic<bool> hasFailed{false};

inline void Fail(const std::string& reason) {
    printf("FAILED: %s\n", reason.c_str());
    hasFailed = true;
}

/// What a main() that does the work returns. Exceptions are failures.
inline int StatusOf(const std::function<void()>& work) {
    setvbuf(stdout, nullptr, _IOLBF, 0);
    try {
        work();
    } catch (const quarn::MonitorException& e) {
        Fail(e.Description());
    }
    return hasFailed;
}

/// Does something over and over, on a thread of its own, until it is ended or fails by a MonitorException.
class Chore {
public:
    Chore(const std::string& name, uint32_t pauseMs, const std::function<void()>& work)
        : thread_([this, name, pauseMs, work] { Run(name, pauseMs, work); }) {}
    ~Chore() { End(); }
    Chore(const Chore&) = delete;
    Chore& operator=(const Chore&) = delete;

    void End() {
        isEnding_ = true;
        if (thread_.joinable())
            thread_.join();
    }

private:
    void Run(const std::string& name, uint32_t pauseMs, const std::function<void()>& work) {
        uint64_t rounds = 0;
        try {
            for (; !isEnding_; ++rounds) {
                work();
                usleep(pauseMs * 1000);
            }
            printf("%s: %lu rounds\n", name.c_str(), rounds);
        } catch (const quarn::MonitorException& e) {
            Fail(name + ": " + e.Description());
        }
        if (rounds == 0)
            Fail(name + " did nothing");
    }

    std::atomic<bool> isEnding_{false};
    std::thread thread_;
};

}  // namespace endurance
