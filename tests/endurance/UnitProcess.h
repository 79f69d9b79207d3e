#pragma once

#include "common/Endpoint.h"
#include "support/TempDirectory.h"

#include <stddef.h>
#include <sys/types.h>

#include <string>
#include <vector>

namespace endurance {

/// What a process holds, as /proc tells it.
struct Footprint {
    size_t residentKiB = 0;
    size_t peakKiB = 0;
    size_t descriptors = 0;
    size_t threads = 0;

    std::string ToString() const;
};

/// A quarn-unit of its own process, from construction to destruction.
class UnitProcess {
public:
    /// Starts it and waits until it is ready. Throws MonitorException when it does not become so.
    UnitProcess(const std::string& program, std::vector<std::string> options);
    ~UnitProcess();
    UnitProcess(const UnitProcess&) = delete;
    UnitProcess& operator=(const UnitProcess&) = delete;

    /// Where it does what the line says: "listens", "has its console", "serves its GPIO signals" ... Throws
    /// MonitorException when it has not said so.
    unit::Endpoint Where(const std::string& what) const;

    bool IsAlive() const;
    Footprint Measure() const;
    /// What it has printed so far.
    std::string Output() const { return folder_.Read("output"); }

    /// Ends it by a signal and returns its exit status, or -1 when the signal killed it.
    int End();

private:
    const quarn::test::TempDirectory folder_;
    pid_t pid_ = -1;
};

}  // namespace endurance
