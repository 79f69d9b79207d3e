#include "devices/DeviceBench.h"

#include "support/DebugCapture.h"

#include <gtest/gtest.h>

#include <errno.h>

#include <algorithm>
#include <functional>

namespace quarn::test {

namespace {

constexpr const char* kCalls[] = {"OPEN",       "CLOSE",      "READ",      "WRITE",     "SEEK",
                                  "TRUNCATE",   "SYNC",       "IOCTL",     "SIZE",      "MAP",
                                  "UNMAP",      "LIST_CHIPS", "OPEN_CHIP", "GET_LINES", "REQUEST_LINES",
                                  "GET_VALUES", "SET_VALUES", "SET_INPUT", "SET_OUTPUT"};

const std::map<std::string, int> kErrors = {{"EACCES", EACCES}, {"EAGAIN", EAGAIN}, {"EBUSY", EBUSY},
                                            {"EINVAL", EINVAL}, {"EIO", EIO},       {"ENOMEM", ENOMEM},
                                            {"ENOTTY", ENOTTY}, {"ENXIO", ENXIO},   {"EPERM", EPERM}};

sim::Call CallNamed(const std::string& name) {
    return sim::Call(std::find(std::begin(kCalls), std::end(kCalls), name) - kCalls);
}

uint64_t Number(const std::string& word) {
    return std::stoull(word, nullptr, 0);
}

}  // namespace

DeviceBench::DeviceBench() {
    board_.SetClock([this] { return nanoseconds_ += pace_; });
    board_.TakeAccesses();
    dictionary_.Add(1, "rf.a.gain", VariantType::INT16);
    dictionary_.Add(2, "rf.b.gain", VariantType::INT16);
    dictionary_.Add(3, "rf.names", VariantType::STRING_LIST);
    dictionary_.Add(4, "sys.uptime", VariantType::UINT64);
    dictionary_.Add(5, "sys.unused", VariantType::UINT8);
    index_.Add(1, &gains_[0], 0x10);
    index_.Add(2, &gains_[1], 0x10);
    index_.Add(3, &names_, 0);
    index_.Add(4, VariantType::UINT64, nullptr, nullptr, 0);
}

DeviceBench::Response DeviceBench::Say(const std::string& line) {
    DebugCapture debug;
    Response response;
    try {
        const Words words = Tokenize(line);
        if (!UseBoard(words, line, response) && !UseAccessors(words, response)) {
            response = accessors_.value().Execute(line);
            EXPECT_EQ(response.back(), "\x04") << line;
            response.pop_back();
        }
    } catch (const MonitorException& e) {
        response = {e.Description()};
    }
    for (const std::string& printed : debug.Lines())
        response.push_back("printed: " + printed);
    return response;
}

bool DeviceBench::UseBoard(const Words& words, const std::string& line, Response& response) {
    const std::string& command = words.at(0);
    if (command == "board") {
        folder_.Write("board",
                      "[" + words.at(1) + "]\n" + line.substr(line.find(words[1]) + words[1].size()));
        board_.Load(folder_.File("board"));
    } else if (command == "text") {
        const std::string text = words.at(2) + "\n";
        board_.SetContents(words[1], {text.begin(), text.end()});
    } else if (command == "fail") {
        board_.Fail(CallNamed(words.at(1)), kErrors.at(words.at(2)), words.size() > 3 ? Number(words[3]) : 1);
    } else if (command == "shorten") {
        board_.Shorten(CallNamed(words.at(1)), Number(words.at(2)));
    } else if (command == "held") {
        response = {std::to_string(board_.Held())};
    } else if (command == "count") {
        response = {CountCalls()};
    } else if (command == "accesses") {
        for (const std::string& access : board_.TakeAccesses())
            if (words.size() == 1 || access.starts_with(words[1]))
                response.push_back(access);
    } else if (command == "lines") {
        for (size_t i = 2; i < words.size(); ++i)
            response.push_back(ShowLine(words[1], uint32_t(Number(words[i]))));
    } else if (command == "pace") {
        pace_ = 1000 * Number(words.at(1));
    } else {
        return false;
    }
    return true;
}

bool DeviceBench::UseAccessors(const Words& words, Response& response) {
    const std::string& command = words[0];
    const auto number = [&](size_t i) { return uint32_t(Number(words.at(i))); };
    if (command == "start") {
        Start(words);
    } else if (command == "add") {
        Add(words);
    } else if (command == "free") {
        response = {NamedLock(words.at(1)).TryLock() ? "yes" : "no"};
    } else if (command == "registers") {
        response = {FormatHexByteVector(
            Made<I2CAccess>("i2c").ReadRegisters(words.at(1), uint8_t(number(2)), number(3)))};
    } else if (command == "wire") {
        const std::vector<uint8_t> sent = ParseByteVector(words.begin() + 3, words.end());
        response = {
            FormatHexByteVector(Made<SPIAccess>("spi").Transact3Wire(words[1], sent, Number(words[2])))};
    } else if (command == "mode") {
        auto& spi = Made<SPIAccess>("spi");
        if (words.size() > 2)
            spi.SetSpiMode(words[1], uint8_t(number(2)));
        response = {std::to_string(spi.GetSpiMode(words.at(1)))};
    } else if (command == "get") {
        const auto& registers = Made<RegisterAccess>("reg");
        const uint32_t value = registers.Get(words.at(1));
        response = {Format("0x%X at 0x%lX", value, registers.Address(words[1]))};
    } else if (command == "set") {
        response = {Format("0x%08X (before)",
                           Made<SettableMicrosecondClock>(words.at(1)).SetMicrosecondClock(number(2)))};
    } else if (command == "sub") {
        const std::string parsed = "dev";
        const SubcommandParserHelper parser(parsed, {words.begin() + 3, words.end()});
        const bool is =
            words.at(2) == "-" ? parser.Sub("read", number(1)) : parser.Sub("read", number(1), number(2));
        response = {is ? "yes" : "no"};
    } else {
        return false;
    }
    return true;
}

void DeviceBench::Start(const Words& words) {
    const std::map<std::string, std::function<std::unique_ptr<Accessor>()>> makers = {
        {"i2c", [this] { return std::make_unique<I2CAccess>(board_); }},
        {"spi", [this] { return std::make_unique<SPIAccess>(board_); }},
        {"reg", [this] { return std::make_unique<RegisterAccess>(board_); }},
        {"gpio", [this] { return std::make_unique<GPIODirectAccess>("pins", "gpio", board_); }},
        {"far", [] { return std::make_unique<GPIOIndirectAccess>(IPAddress("127.0.0.1"), 1, "far"); }},
        {"sch", [this] { return std::make_unique<MicrosecondClockHardware>(0xFF110000, board_); }},
        {"uclk", [this] { return std::make_unique<FpgaMicrosecondClock>(0xA0000040, board_); }},
        {"mon", [] { return std::make_unique<WorkerAccess>(); }},
        {"var", [this] { return std::make_unique<VariableAccess>(index_); }},
    };
    made_.clear();
    accessors_.emplace();
    for (auto name = words.begin() + 1; name != words.end(); ++name)
        accessors_->Add(*(made_[*name] = makers.at(*name)()));
}

void DeviceBench::Add(const Words& words) {
    for (const auto& [name, accessor] : made_)
        if (accessor->GetConfigurationSections() == std::set{words.at(1)})
            return accessor->Configure(words[1], {words.begin() + 2, words.end()});
    FAIL() << "No accessor has " << words[1];
}

/// Those that were made since the last time.
std::string DeviceBench::CountCalls() {
    std::string counted;
    for (const char* const name : kCalls) {
        const uint64_t count = board_.Count(CallNamed(name));
        const uint64_t last = std::exchange(counts_[name], count);
        if (count != last)
            Append(counted, Format("%s %lu", name, count - last), ", ");
    }
    return counted;
}

std::string DeviceBench::ShowLine(const std::string& chip, uint32_t offset) const {
    const char* const direction = board_.LineIsOutput(chip, offset) ? ">" : "<";
    return board_.LineConsumer(chip, offset) + direction + (board_.LineLevel(chip, offset) ? "1" : "0");
}

}  // namespace quarn::test
