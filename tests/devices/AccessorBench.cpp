#include "devices/AccessorBench.h"

#include "support/DebugCapture.h"

#include <functional>

namespace quarn::test {

AccessorBench::AccessorBench(DeviceIO& io, GPIOChips& chips) : io_(io), chips_(chips) {
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

void AccessorBench::Replay(const std::string& name, const std::string& transcript) {
    for (const auto& [where, line, response] : ReadExchanges(name, transcript))
        EXPECT_EQ(Say(line), response) << where << ": " << line;
}

AccessorBench::Response AccessorBench::Say(const std::string& line) {
    DebugCapture debug;
    Response response;
    try {
        const Words words = Tokenize(line);
        if (!Run(words, line, response) && !UseAccessors(words, line, response)) {
            response = accessors_.value().Execute(line);
            EXPECT_EQ(response.back(), "\x04");
            response.pop_back();
        }
    } catch (const MonitorException& e) {
        response = {e.Description()};
    } catch (const std::exception& e) {  // a word is missing, or nothing has that name
        response = {e.what()};
    }
    for (std::string printed : debug.Lines()) {
        StringReplace(printed, folder_.Path() + "/", "");
        response.push_back("printed: " + printed);
    }
    return response;
}

bool AccessorBench::UseAccessors(const Words& words, const std::string& line, Response& response) {
    const std::string& command = words[0];
    const auto number = [&](size_t i) { return uint32_t(Number(words.at(i))); };
    if (command == "start") {
        Start(words);
    } else if (command == "add") {
        accessors_.value().Configure(SectionFile(words, line));
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

void AccessorBench::Start(const Words& words) {
    const std::map<std::string, std::function<std::unique_ptr<Accessor>()>> makers = {
        {"i2c", [this] { return std::make_unique<I2CAccess>(io_); }},
        {"spi", [this] { return std::make_unique<SPIAccess>(io_); }},
        {"reg", [this] { return std::make_unique<RegisterAccess>(io_); }},
        {"gpio", [this] { return std::make_unique<GPIODirectAccess>("pins", "gpio", chips_); }},
        {"far", [] { return std::make_unique<GPIOIndirectAccess>(IPAddress("127.0.0.1"), 1, "far"); }},
        {"sch", [this] { return std::make_unique<MicrosecondClockHardware>(0xFF110000, io_); }},
        {"uclk", [this] { return std::make_unique<FpgaMicrosecondClock>(0xA0000040, io_); }},
        {"mon", [] { return std::make_unique<WorkerAccess>(); }},
        {"var", [this] { return std::make_unique<VariableAccess>(index_); }},
    };
    made_.clear();
    accessors_.emplace();
    for (auto name = words.begin() + 1; name != words.end(); ++name)
        accessors_->Add(*(made_[*name] = makers.at(*name)()));
}

std::string AccessorBench::SectionFile(const Words& words, const std::string& line) const {
    folder_.Write(words[0], "[" + words.at(1) + "]\n" + line.substr(line.find(words[1]) + words[1].size()));
    return folder_.File(words[0]);
}

}  // namespace quarn::test
