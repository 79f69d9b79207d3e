#include "endurance/UnitProcess.h"

#include <quarn/LocalTime.h>
#include <quarn/MonitorException.h>
#include <quarn/Text.h>

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

namespace endurance {

using quarn::MonitorException;

namespace {

constexpr uint32_t kStartMs = 30000;

size_t StatusField(const std::string& status, const std::string& field) {
    const size_t at = status.find("\n" + field + ":");
    return at == std::string::npos ? 0 : std::stoul(status.substr(at + field.size() + 2));
}

}  // namespace

std::string Footprint::ToString() const {
    return quarn::Format("%zu KiB resident (peak %zu), %zu descriptors, %zu threads", residentKiB, peakKiB,
                         descriptors, threads);
}

UnitProcess::UnitProcess(const std::string& program, std::vector<std::string> options) {
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
    while (Output().find(" is ready\n") == std::string::npos) {
        if (!IsAlive() || quarn::MillisecondsSince(start) > kStartMs)
            throw MonitorException("%s did not start: %s", program.c_str(), Output().c_str());
        usleep(10000);
    }
}

UnitProcess::~UnitProcess() {
    if (pid_ >= 0)
        End();
}

unit::Endpoint UnitProcess::Where(const std::string& what) const {
    const std::string output = Output();
    const std::string phrase = " " + what + " on ";
    const size_t at = output.find(phrase);
    if (at == std::string::npos)
        throw MonitorException("The unit %s nowhere", what.c_str());
    const size_t begin = at + phrase.size();
    return unit::ParsePeer(output.substr(begin, output.find('\n', begin) - begin));
}

bool UnitProcess::IsAlive() const {
    siginfo_t info{};
    return waitid(P_PID, id_t(pid_), &info, WEXITED | WNOHANG | WNOWAIT) == 0 && info.si_pid == 0;
}

Footprint UnitProcess::Measure() const {
    const std::string process = "/proc/" + std::to_string(pid_);
    std::ifstream file(process + "/status");
    const std::string status{std::istreambuf_iterator<char>(file), {}};
    Footprint footprint;
    footprint.residentKiB = StatusField(status, "VmRSS");
    footprint.peakKiB = StatusField(status, "VmHWM");
    footprint.threads = StatusField(status, "Threads");
    std::error_code gone;
    for (const auto& entry : std::filesystem::directory_iterator(process + "/fd", gone))
        footprint.descriptors += !entry.path().empty();
    return footprint;
}

int UnitProcess::End() {
    kill(pid_, SIGTERM);
    int status = 0;
    const uint64_t start = quarn::Tick();
    while (waitpid(pid_, &status, WNOHANG) == 0) {
        if (quarn::MillisecondsSince(start) > kStartMs)
            kill(pid_, SIGKILL);
        usleep(10000);
    }
    pid_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace endurance
