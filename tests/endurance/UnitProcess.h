#pragma once

#include <quarn/LocalTime.h>
#include <quarn/MonitorException.h>
#include <quarn/Text.h>

#include "common/Endpoint.h"
#include "support/TempDirectory.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace endurance {

/// What a process holds, as /proc tells it.
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

/// A quarn-unit of its own process, from construction to destruction.
class UnitProcess {
public:
    /// Starts it and waits until it is ready. Throws MonitorException when it does not become so.
    UnitProcess(const std::string& program, std::vector<std::string> options) {
        options.insert(options.begin(), program);
        std::vector<char*> arguments;
        for (std::string& option : options)
            arguments.push_back(option.data());
        arguments.push_back(nullptr);
        folder_.Write("output", "");
        const std::string outputPath = folder_.File("output");
        pid_ = fork();
        if (pid_ == 0) {
            const int output = open(outputPath.c_str(), O_WRONLY | O_APPEND);
            dup2(output, STDOUT_FILENO);
            dup2(output, STDERR_FILENO);
            execv(program.c_str(), arguments.data());
            _exit(127);
        }
        const uint64_t start = quarn::Tick();
        while (folder_.Read("output").find(" is ready\n") == std::string::npos) {
            if (!IsAlive() || quarn::MillisecondsSince(start) > kPatienceMs)
                throw quarn::MonitorException("%s did not start: %s", program.c_str(),
                                              folder_.Read("output").c_str());
            usleep(10000);
        }
    }
    ~UnitProcess() { End(); }
    UnitProcess(const UnitProcess&) = delete;
    UnitProcess& operator=(const UnitProcess&) = delete;

    /// Where it does what it says that it does: "listens", "has its console", "serves its GPIO signals" ...
    unit::Endpoint Where(const std::string& what) const {
        const std::string phrase = " " + what + " on ";
        const std::string output = folder_.Read("output");
        const size_t begin = output.find(phrase) + phrase.size();
        return unit::ParsePeer(output.substr(begin, output.find('\n', begin) - begin));
    }

    bool IsAlive() const {
        siginfo_t info{};
        return waitid(P_PID, id_t(pid_), &info, WEXITED | WNOHANG | WNOWAIT) == 0 && info.si_pid == 0;
    }
    Footprint Measure() const {
        const std::string process = "/proc/" + std::to_string(pid_);
        std::ifstream status(process + "/status");
        Footprint footprint;
        for (std::string word; status >> word;) {
            if (word == "VmRSS:")
                status >> footprint.residentKiB;
            else if (word == "VmHWM:")
                status >> footprint.peakKiB;
            else if (word == "Threads:")
                status >> footprint.threads;
        }
        std::error_code gone;
        const std::filesystem::directory_iterator open(process + "/fd", gone);
        footprint.descriptors = size_t(std::distance(begin(open), end(open)));
        return footprint;
    }

    /// Ends it by a signal and returns its exit status, or -1 when the signal killed it.
    int End() {
        if (pid_ < 0)
            return -1;
        kill(pid_, SIGTERM);
        int status = 0;
        for (const uint64_t start = quarn::Tick(); waitpid(pid_, &status, WNOHANG) == 0; usleep(10000))
            if (quarn::MillisecondsSince(start) > kPatienceMs)
                kill(pid_, SIGKILL);
        pid_ = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

private:
    static constexpr uint32_t kPatienceMs = 30000;

    const quarn::test::TempDirectory folder_;
    pid_t pid_ = -1;
};

}  // namespace endurance
