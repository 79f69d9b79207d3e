#pragma once

#include <quarn/sim/SimulatedBoard.h>

#include "support/TempDirectory.h"
#include "support/Transcript.h"

#include <errno.h>
#include <fcntl.h>
#include <string.h>

#include <memory>

namespace quarn::sim {

using test::Bytes;

/// Plays calls of one board after the other: "== TITLE" begins a new one, "[SECTION] LINE" is loaded and gives
/// what is printed; $ is a folder. A call gives its result, nothing for 0, or the name of its errno.
class BoardPlayer : public test::Transcript {
public:
    BoardPlayer() {
        Add({
            {"add-file", Quietly([&] { board_->AddFile(W(1)); })},
            {"pass-on", Quietly([&] { board_->PassOn(DeviceIO::System()); })},
            {"fail", Quietly([&] { board_->Fail(C(1), int(N(2)), N(3), N(4)); })},
            {"shorten", Quietly([&] { board_->Shorten(C(1), N(2), N(3)); })},
            {"clear-faults", Quietly([&] { board_->ClearFaults(); })},
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
        });
    }

    const test::TempDirectory folder;

protected:
    virtual void Begin() { board_ = std::make_unique<SimulatedBoard>(); }

    /// A number, or a constant by its name.
    uint64_t N(size_t i) const override {
        static const std::map<std::string, uint64_t> constants = Constants();
        const auto found = constants.find(W(i));
        return found == constants.end() ? Transcript::N(i) : found->second;
    }
    Call C(size_t i) const { return Call(N(i)); }

    using Transcript::Shown;
    static std::string Shown(int64_t returned) {
        return returned == -1 ? strerrorname_np(errno) : returned == 0 ? "" : std::to_string(returned);
    }

    std::unique_ptr<SimulatedBoard> board_;

private:
    static std::map<std::string, uint64_t> Constants() {
        std::map<std::string, uint64_t> constants = {
            {"r", O_RDONLY},
            {"w", O_WRONLY},
            {"rw", O_RDWR},
            {"create", O_CREAT},
            {"anew", O_CREAT | O_EXCL},
            {"truncate", O_TRUNC},
            {"end", SEEK_END},
            {"LOST", uint64_t(Unsynced::LOST)},
            {"KEPT", uint64_t(Unsynced::KEPT)},
        };
        uint64_t value = 0;
        for (const char* call :
             {"OPEN", "CLOSE", "READ", "WRITE", "SEEK", "TRUNCATE", "SYNC", "IOCTL", "SIZE"})
            constants[call] = value++;
        for (int error = 1; error < EHWPOISON; ++error)
            if (const char* const name = strerrorname_np(error))
                constants[name] = uint64_t(error);
        return constants;
    }

    std::string Play(const std::string& said) override {
        if (said.starts_with("== ")) {
            Begin();
            return "";
        }
        const std::string line = Replaced(said, "$", folder.Path());
        const size_t bracket = line.find(']') + 1;
        return Replaced(line.starts_with('[') ? Load(line.substr(0, bracket), line.substr(bracket))
                                              : Transcript::Play(line),
                        folder.Path(), "$");
    }

    /// What is printed, without the file's name and the number of the line.
    std::string Load(const std::string& section, const std::string& line) {
        folder.Write("board.sim", "# A board.\n" + section + "\n" + line);
        const std::string path = folder.File("board.sim");
        return Replaced(Printed([&] { board_->Load(path); }), path + ":3: ", "");
    }

    static std::string Replaced(std::string text, const std::string& from, const std::string& to) {
        StringReplace(text, from, to);
        return text;
    }
};

}  // namespace quarn::sim
