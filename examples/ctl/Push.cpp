#include "ctl/Push.h"

#include <quarn/BulkTransferSender.h>
#include <quarn/LocalTime.h>
#include <quarn/MonitorException.h>
#include <quarn/Sentence.h>
#include <quarn/SentenceDetails.h>
#include <quarn/Text.h>

#include <errno.h>
#include <poll.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include <filesystem>

namespace unit {

using quarn::MonitorException;
using quarn::VariantValue;

namespace {

constexpr uint32_t kChunkSize = 262144;
constexpr int kAnswerMs = 5000;
constexpr size_t kBarWidth = 30;

std::string BaseName(const std::string& path) {
    return path.substr(path.rfind('/') + 1);
}

/// The next sentence of the kind; what else comes is passed over.
std::unique_ptr<quarn::Sentence> Await(UnitClient& client, SentenceTag kind) {
    for (;;) {
        std::unique_ptr<quarn::Sentence> sentence = client.Receive(kAnswerMs);
        if (sentence && sentence->GetDetails().GetTag() == kind)
            return sentence;
    }
}

/// Shows the progress of a transfer, as often as whoever watches wants to see it.
class ProgressDisplay {
public:
    ProgressDisplay() : isTerminal_(isatty(STDOUT_FILENO) != 0), start_(quarn::Tick()) {}

    int IntervalMs() const { return isTerminal_ ? 50 : 1000; }

    void Show(uint32_t done, uint32_t total) const {
        const double seconds = static_cast<double>(quarn::Tick() - start_) / 1e6;
        const double fraction = total == 0 ? 1.0 : static_cast<double>(done) / total;
        const double rate = seconds > 0 ? done / seconds : 0;
        const double left = rate > 0 ? (total - done) / rate : 0;
        const std::string figures =
            quarn::Format("%3.0f %%  %7.1f MB/s  %3.0f s left", fraction * 100, rate / 1e6, left);
        if (!isTerminal_) {
            printf("%s\n", figures.c_str());
        } else {
            const auto filled = static_cast<size_t>(fraction * kBarWidth);
            printf("\r[%s%s] %s ", quarn::Chars('#', filled).c_str(),
                   quarn::Spaces(kBarWidth - filled).c_str(), figures.c_str());
        }
        fflush(stdout);
    }

    void Finish(uint32_t total) const {
        Show(total, total);
        if (isTerminal_)
            putchar('\n');
    }

private:
    const bool isTerminal_;
    const uint64_t start_;
};

void Transfer(const quarn::BulkTransferSender& sender, const std::string& path) {
    const ProgressDisplay display;
    uint64_t shown = quarn::Tick();
    while (sender.GetStatus(nullptr) < quarn::BULK_TRANSFER_FAILED) {
        poll(nullptr, 0, 2);
        if (quarn::MillisecondsSince(shown) < static_cast<uint64_t>(display.IntervalMs()))
            continue;
        display.Show(sender.GetAcknowledgedBytes(), sender.GetTotalBytes());
        shown = quarn::Tick();
    }
    if (sender.GetStatus(nullptr) == quarn::BULK_TRANSFER_FAILED)
        throw MonitorException("%s was not sent", path.c_str());
    display.Finish(sender.GetTotalBytes());
}

void CheckReadable(const std::string& path) {
    int error = access(path.c_str(), R_OK) == 0 ? 0 : errno;
    std::error_code none;
    if (std::filesystem::is_directory(path, none))
        error = EISDIR;
    if (error != 0)
        throw MonitorException("Cannot read %s: %s", path.c_str(), strerror(error));
}

}  // namespace

void Push(UnitClient& client, const Endpoint& unit, const std::string& path) {
    CheckReadable(path);
    const std::string name = BaseName(path);
    client.Say(OFFER, {VariantValue(name)});
    const auto accepted = Await(client, ACCEPTED);
    {
        const quarn::BulkTransferSender sender(nullptr, path, accepted->Word(0).As<uint32_t>(), unit.address,
                                               accepted->Word(1).As<uint16_t>(), kChunkSize);
        Transfer(sender, path);
    }
    if (!Await(client, ARRIVED)->Word(1).As<bool>())
        throw MonitorException("%s did not arrive complete", path.c_str());
    printf("%s has arrived\n", name.c_str());
}

}  // namespace unit
