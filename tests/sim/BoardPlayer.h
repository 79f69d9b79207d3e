#pragma once

#include <quarn/quarn.h>
#include <quarn/sim/SimulatedBoard.h>

#include "support/DebugCapture.h"
#include "support/Transcript.h"

#include <errno.h>
#include <fcntl.h>
#include <string.h>

#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace quarn::sim {

using Bytes = std::vector<uint8_t>;

/// What a call has given: its result, nothing for 0, the name of its errno for -1.
inline std::string Shown(int64_t returned) {
    return returned == -1 ? strerrorname_np(errno) : returned == 0 ? "" : std::to_string(returned);
}

/// Few bytes as they are, "3 bytes" where there are many.
inline std::string Shown(const Bytes& bytes) {
    return bytes.size() > 16 ? std::to_string(bytes.size()) + " bytes"
                             : FormatHexByteVectorUnprefixedSeparated(bytes, " ");
}

/// A call that gives nothing.
template <class Call>
std::function<std::string()> Quietly(Call&& call) {
    return [call] {
        call();
        return std::string();
    };
}

/// Does what a transcript says to one board after the other: "== TITLE" begins a new one, "[SECTION] LINE" is loaded,
/// with $ for a folder, and gives what is printed; other words are calls of the board.
class BoardPlayer {
public:
    virtual ~BoardPlayer() = default;

    void Replay(const std::string& name) {
        test::ReplayTranscript(std::string(QUARN_SIM_TRANSCRIPTS "/") + name,
                               [this](const std::string& line) { return Play(line); });
    }

    const test::TempDirectory folder;

protected:
    virtual void Begin() { board_ = std::make_unique<SimulatedBoard>(); }

    const std::string& W(size_t i) const { return words_.at(i); }
    /// A number, or a constant by its name.
    uint64_t N(size_t i) const {
        const auto found = kNumbers.find(W(i));
        return found == kNumbers.end() ? ParseU64(W(i), 0) : found->second;
    }
    Call C(size_t i) const { return Call(N(i)); }
    size_t Words() const { return words_.size(); }
    std::vector<std::string> From(size_t first) const { return {words_.begin() + long(first), words_.end()}; }

    std::unique_ptr<SimulatedBoard> board_;
    std::map<std::string, std::function<std::string()>> verbs_ = {
        {"fail", Quietly([&] { board_->Fail(C(1), int(N(2)), N(3), N(4)); })},
        {"shorten", Quietly([&] { board_->Shorten(C(1), N(2), N(3)); })},
        {"clear-faults", Quietly([&] { board_->ClearFaults(); })},
        {"add-file", Quietly([&] { board_->AddFile(W(1)); })},
        {"remove", Quietly([&] { board_->Remove(W(1)); })},
        {"put-back", Quietly([&] { board_->PutBack(W(1)); })},
        {"cut-power-after", Quietly([&] { board_->CutPowerAfter(N(1)); })},
        {"restore-power", Quietly([&] { board_->RestorePower(Unsynced(N(1))); })},
        {"count", [&] { return Shown(int64_t(board_->Count(C(1)))); }},
        {"held", [&] { return Shown(int64_t(board_->Held())); }},
        {"byte", [&] { return Shown(Bytes{board_->I2CByte(W(1), uint8_t(N(2)), N(3))}); }},
        {"set-byte", Quietly([&] { board_->SetI2CByte(W(1), uint8_t(N(2)), N(3), uint8_t(N(4))); })},
        {"level", [&] { return Shown(board_->LineLevel(W(1), uint32_t(N(2)))); }},
        {"consumer", [&] { return board_->LineConsumer(W(1), uint32_t(N(2))); }},
        {"word", [&] { return Format("0x%X", board_->Word(N(1))); }},
        {"contents", [&] { return Shown(board_->Contents(W(1))); }},
    };

private:
    static inline const std::map<std::string, uint64_t> kNumbers = {
        {"READ", uint64_t(Call::READ)},
        {"WRITE", uint64_t(Call::WRITE)},
        {"SIZE", uint64_t(Call::SIZE)},
        {"CLOSE", uint64_t(Call::CLOSE)},
        {"LOST", uint64_t(Unsynced::LOST)},
        {"KEPT", uint64_t(Unsynced::KEPT)},
        {"EIO", EIO},
        {"EAGAIN", EAGAIN},
        {"EACCES", EACCES},
        {"r", O_RDONLY},
        {"w", O_WRONLY},
        {"rw", O_RDWR},
        {"create", O_CREAT},
        {"anew", O_CREAT | O_EXCL},
        {"truncate", O_TRUNC},
        {"end", SEEK_END},
    };

    std::string Play(const std::string& line) {
        std::istringstream stream(line);
        words_ = {std::istream_iterator<std::string>(stream), {}};
        if (W(0) == "==") {
            Begin();
            return "";
        }
        if (W(0).starts_with('['))
            return Load(line.substr(0, line.find(']') + 1), line.substr(line.find(']') + 1));
        const auto found = verbs_.find(W(0));
        return found == verbs_.end() ? "no call of that name" : found->second();
    }

    /// What is printed, without the file's name and the number of the line.
    std::string Load(const std::string& section, std::string line) {
        if (const size_t dollar = line.find('$'); dollar != std::string::npos)
            line.replace(dollar, 1, folder.Path());
        folder.Write("board.sim", "# A board.\n" + section + "\n" + line);
        const std::string path = folder.File("board.sim"), prefix = path + ":3: ";
        test::DebugCapture capture;
        board_->Load(path);
        std::string printed;
        for (const std::string& text : capture.Lines())
            printed += text.starts_with(prefix) ? text.substr(prefix.size()) : text;
        const size_t named = printed.find(folder.Path());
        return named == std::string::npos ? printed : printed.replace(named, folder.Path().size(), "$");
    }

    std::vector<std::string> words_;
};

}  // namespace quarn::sim
