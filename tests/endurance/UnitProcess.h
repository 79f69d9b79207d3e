#pragma once

#include <quarn/quarn.h>

#include "common/Endpoint.h"
#include "endurance/Chore.h"
#include "support/Eventually.h"
#include "support/TempDirectory.h"

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <map>

namespace endurance {

/// What a process holds, as /proc tells it: nothing of one that is gone.
struct Footprint {
    size_t residentKiB = 0;
    size_t peakKiB = 0;
    size_t descriptors = 0;
    size_t threads = 0;

    std::string ToString() const {
        return quarn::Format("%zu KiB resident (peak %zu), %zu descriptors, %zu threads", residentKiB,
                             peakKiB, descriptors, threads);
    }
};

/// A quarn-unit of its own process, from construction to destruction. It is a failure when it does not end cleanly then.
class UnitProcess {
public:
    /// Starts it and waits until it is ready. Throws MonitorException when it does not become so.
    explicit UnitProcess(const std::string& command) {
        folder_.Write("output", "");
        const std::string line = "exec " + command + " >>" + folder_.File("output") + " 2>&1";
        pid_ = fork();
        if (pid_ == 0)
            _exit(execl("/bin/sh", "sh", "-c", line.c_str(), nullptr));
        const auto isReady = [&] { return folder_.Read("output").find(" is ready\n") != std::string::npos; };
        quarn::test::Eventually([&] { return isReady() || Measure().residentKiB == 0; });
        if (!isReady())
            throw quarn::MonitorException("%s did not start: %s", command.c_str(),
                                          folder_.Read("output").c_str());
    }
    ~UnitProcess() {
        int status = -1;
        kill(pid_, SIGTERM);
        if (!quarn::test::Eventually([&] { return waitpid(pid_, &status, WNOHANG) != 0; }))
            kill(pid_, SIGKILL);
        if (status != 0)
            Fail("a unit did not end cleanly");
    }

    /// Where it does what it says that it does: "listens", "has its console", "serves its GPIO signals" ...
    unit::Endpoint Where(const std::string& what) const {
        const std::string phrase = " " + what + " on ";
        const std::string output = folder_.Read("output");
        const size_t begin = output.find(phrase) + phrase.size();
        return unit::ParsePeer(output.substr(begin, output.find('\n', begin) - begin));
    }

    Footprint Measure() const {
        const std::string process = "/proc/" + std::to_string(pid_);
        std::ifstream status(process + "/status");
        std::map<std::string, size_t> figures;
        for (std::string name, value; status >> name && std::getline(status, value);)
            figures[name] = strtoul(value.c_str(), nullptr, 10);
        std::error_code gone;
        const std::filesystem::directory_iterator open(process + "/fd", gone);
        return {figures["VmRSS:"], figures["VmHWM:"], size_t(std::distance(begin(open), end(open))),
                figures["Threads:"]};
    }

private:
    const quarn::test::TempDirectory folder_;
    pid_t pid_ = -1;
};

}  // namespace endurance
