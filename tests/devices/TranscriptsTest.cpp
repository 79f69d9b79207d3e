#include "devices/AccessorBench.h"
#include "devices/DeviceTest.h"

#include <errno.h>
#include <unistd.h>

#include <algorithm>

namespace quarn::test {
namespace {

constexpr const char* kCalls[] = {"OPEN",       "CLOSE",      "READ",      "WRITE",     "SEEK",
                                  "TRUNCATE",   "SYNC",       "IOCTL",     "SIZE",      "MAP",
                                  "UNMAP",      "LIST_CHIPS", "OPEN_CHIP", "GET_LINES", "REQUEST_LINES",
                                  "GET_VALUES", "SET_VALUES", "SET_INPUT", "SET_OUTPUT"};

const std::map<std::string, int> kErrors = {{"EACCES", EACCES}, {"EAGAIN", EAGAIN}, {"EBUSY", EBUSY},
                                            {"EINVAL", EINVAL}, {"EIO", EIO},       {"ENOMEM", ENOMEM},
                                            {"ENOTTY", ENOTTY}, {"ENOSPC", ENOSPC}, {"ENXIO", ENXIO},
                                            {"EPERM", EPERM},   {"EROFS", EROFS}};

Call CallNamed(const std::string& name) {
    const auto found = std::find(std::begin(kCalls), std::end(kCalls), name);
    return found == std::end(kCalls) ? throw std::out_of_range(name) : Call(found - kCalls);
}

/// Accessors on a simulated board, with commands for that, too.
class SimulatedBench final : public AccessorBench {
public:
    explicit SimulatedBench(SimulatedBoard& board) : AccessorBench(board, board), board_(board) {
        board_.SetClock([this] { return nanoseconds_ += pace_; });
        board_.TakeAccesses();
    }

private:
    bool Run(const Words& words, const std::string& line, Response& response) override {
        const std::string& command = words.at(0);
        if (command == "board")
            board_.Load(SectionFile(words, line));
        else if (command == "text")
            SetText(words.at(1), words.at(2) + "\n");
        else if (command == "fail")
            board_.Fail(CallNamed(words.at(1)), kErrors.at(words.at(2)),
                        words.size() > 3 ? Number(words[3]) : 1);
        else if (command == "shorten")
            board_.Shorten(CallNamed(words.at(1)), Number(words.at(2)));
        else if (command == "count")
            response = {CountCalls()};
        else if (command == "accesses")
            response = TakeAccesses(Trim(line.substr(command.size())));
        else if (command == "lines")
            response = {ShowLines(words)};
        else if (command == "pace")
            pace_ = 1000 * Number(words.at(1));
        else if (command == "map" && words.at(1)[0] == '/')
            MemoryMapping(words[1], Number(words.at(2)), board_);
        else if (command == "map")
            MemoryMapping(Number(words.at(1)), Number(words.at(2)), board_);
        else
            return false;
        return true;
    }

    void SetText(const std::string& path, const std::string& text) {
        if (files_.insert(path).second)
            board_.AddFile(path);
        board_.SetContents(path, {text.begin(), text.end()});
    }
    std::string CountCalls() {
        std::string counted;
        for (const char* const name : kCalls) {
            const uint64_t count = board_.Count(CallNamed(name));
            const uint64_t last = std::exchange(counts_[name], count);
            if (count != last)
                Append(counted, Format("%s %lu", name, count - last), ", ");
        }
        return counted + Format("; %zu held", board_.Held());
    }
    Response TakeAccesses(const std::string& start) {
        std::string taken;
        for (const std::string& access : board_.TakeAccesses())
            if (access.starts_with(start))
                Append(taken, access, ", ");
        return taken.empty() ? Response() : Response{taken};
    }
    std::string ShowLines(const Words& words) const {
        std::string shown;
        for (size_t i = 2; i < words.size(); ++i) {
            const uint32_t offset = uint32_t(Number(words[i]));
            const char* const direction = board_.LineIsOutput(words[1], offset) ? ">" : "<";
            const char* const level = board_.LineLevel(words[1], offset) ? "1" : "0";
            Append(shown, board_.LineConsumer(words[1], offset) + direction + level, " ");
        }
        return shown;
    }

    SimulatedBoard& board_;
    uint64_t nanoseconds_ = 0, pace_ = 0;
    std::map<std::string, uint64_t> counts_;
    std::set<std::string> files_;
};

TEST(TranscriptsTest, AreWhatUsersAreTold) {
    ASSERT_FALSE(TextFiles().empty());
    // A bus of this process alone, which has its lock on the machine.
    const std::string bus = Format("i2c-%07d", getpid());
    for (auto [name, transcript] : TextFiles()) {
        StringReplace(transcript, "i2c-0000000", bus);
        SimulatedBoard board;
        SimulatedBench(board).Replay(name, transcript);
    }
    unlink(("/var/lock/LCK.." + bus).c_str());
}

}  // namespace
}  // namespace quarn::test
