#pragma once

#include <quarn/quarn.h>

#include "support/DebugCapture.h"
#include "support/Eventually.h"
#include "support/ThrownMessage.h"

#include <gmock/gmock.h>

#include <atomic>
#include <functional>
#include <thread>

namespace quarn::test {

/// A worker that does what a test tells it to, and counts.
class ScriptedWorker final : public Worker {
public:
    using Override = std::function<bool()>;

    explicit ScriptedWorker(const std::string& name, Debuggable* parent = nullptr) : Worker(parent, name) {}

    static bool Yes() { return true; }
    Override initialize = Yes, preWait = Yes, work = Yes, finalize = Yes;
    std::atomic<uint64_t> works{0};
    std::atomic<int> finalizes{0}, extras{0};

    /// Starts it and waits until it has worked once.
    void StartWorking() {
        Start();
        Wake();
        ASSERT_TRUE(Eventually([this] { return works == 1; }));
    }
    /// Waits until it has ended by itself, after which it may be destroyed.
    void AwaitEnd() const {
        ASSERT_TRUE(Eventually([this] { return finalizes == 1; }));
    }

private:
    bool Initialize() override { return initialize(); }
    bool PreWait() override { return preWait(); }
    bool Work() override {
        ++works;
        return work();
    }
    void Finalize() override {
        const std::shared_ptr<void> counted(nullptr, [this](void*) { ++finalizes; });
        finalize();
    }
    void GetExtraStatistics(std::list<std::string>& lines) override {
        ++extras;
        lines.push_back("extra");
    }
    void ClearExtraStatistics() override { extras = 0; }
};

/// Keeps a worker's Work() from returning, until released.
struct Obstacle {
    bool Block() {
        reached.Raise();
        return released.WaitFor(20000);
    }
    PermanentCondition reached, released;
};

}  // namespace quarn::test
