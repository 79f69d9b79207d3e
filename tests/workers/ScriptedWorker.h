#pragma once

#include <quarn/PermanentCondition.h>
#include <quarn/Worker.h>

#include <atomic>
#include <functional>
#include <string>

namespace quarn::test {

/// A worker that does what a test tells it to, and counts.
class ScriptedWorker final : public Worker {
public:
    explicit ScriptedWorker(const std::string& name, Debuggable* parent = nullptr) : Worker(parent, name) {}

    std::function<bool()> initialize = [] { return true; };
    std::function<bool()> preWait = [] { return true; };
    std::function<bool()> work = [] { return true; };
    std::function<bool()> finalize = [] { return true; };

    std::atomic<uint64_t> works{0};
    std::atomic<int> finalizes{0};
    std::atomic<int> extras{0};

private:
    bool Initialize() override { return initialize(); }
    bool PreWait() override { return preWait(); }
    bool Work() override {
        ++works;
        return work();
    }
    void Finalize() override {
        ++finalizes;
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
    PermanentCondition reached;
    PermanentCondition released;
};

}  // namespace quarn::test
