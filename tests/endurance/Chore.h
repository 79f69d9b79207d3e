#pragma once

#include <quarn/MonitorException.h>

#include <unistd.h>

#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <utility>

namespace endurance {

/// Does something over and over, on a thread of its own, until it fails or is ended.
class Chore {
public:
    /// `work` fails by throwing MonitorException.
    Chore(std::string name, uint32_t pauseMs, std::function<void()> work)
        : name_(std::move(name)), thread_([this, pauseMs, work] { Run(pauseMs, work); }) {}
    ~Chore() { End(); }
    Chore(const Chore&) = delete;
    Chore& operator=(const Chore&) = delete;

    /// The reason for which it failed, or an empty text.
    std::string End() {
        isEnding_ = true;
        if (thread_.joinable())
            thread_.join();
        return failure_;
    }
    bool HasFailed() const { return hasFailed_; }
    uint64_t Rounds() const { return rounds_; }
    const std::string& Name() const { return name_; }

private:
    void Run(uint32_t pauseMs, const std::function<void()>& work) {
        try {
            for (; !isEnding_; ++rounds_) {
                work();
                usleep(pauseMs * 1000);
            }
        } catch (const quarn::MonitorException& e) {
            failure_ = name_ + ": " + e.Description();
            hasFailed_ = true;
        }
    }

    const std::string name_;
    std::string failure_;
    std::atomic<bool> hasFailed_{false};
    std::atomic<bool> isEnding_{false};
    std::atomic<uint64_t> rounds_{0};
    std::thread thread_;
};

}  // namespace endurance
