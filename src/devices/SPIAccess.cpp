#include <quarn/MonitorException.h>
#include <quarn/Parse.h>
#include <quarn/SPIAccess.h>
#include <quarn/Text.h>

#include "devices/SPINode.h"

#include <map>
#include <optional>
#include <unordered_map>

namespace quarn {

namespace {

constexpr char kCommand[] = "spi";
constexpr char kHelpEntry[] = "spi: SPI device access";

/// What a console line asks for.
struct Transaction {
    std::vector<uint8_t> bytes;
    std::optional<uint32_t> readCount;  // a 3-wire transaction's
};

Transaction ParseTransaction(const std::vector<std::string>& words, uint32_t maxReadCount) {
    Transaction transaction;
    for (auto word = words.begin() + 1; word != words.end(); ++word) {
        if (transaction.readCount)
            throw MonitorException("SPI: no words may follow the read count");
        if (*word != "r")
            transaction.bytes.push_back(uint8_t(ParseU16(*word, 255)));
        else if (++word == words.end())
            throw MonitorException("SPI: missing read count after \"r\"");
        else
            transaction.readCount = ParseU32(*word, 1, maxReadCount);
    }
    return transaction;
}

std::list<std::string> Usage(const std::string& command) {
    const char* const word = command.c_str();
    return {kHelpEntry,
            "",
            Format("%s list                               list all devices", word),
            Format("%s <name> <byte> ... [r <count>]      issue transaction to a specified device", word),
            "",
            "  <name>      is a device name",
            "  <byte> ...  is one or more bytes (decimal, or 0x for hex) separated by spaces",
            "  r <count>   specifies number of bytes to read (for 3-wire transactions)"};
}

}  // namespace

class SPIAccess::Impl {
public:
    explicit Impl(DeviceIO& io) : io_(io) {}

    void Add(const std::string& node, const std::string& name) {
        if (byName_.count(name) != 0)
            throw MonitorException("SPI: Attempt to add duplicate device \"%s\"", name.c_str());
        if (nodes_.count(node) != 0)
            // Deliberately with one quote.
            throw MonitorException("SPI: Attempt to add duplicate node %s\"", node.c_str());
        SPINode& opened = nodes_.try_emplace(node, io_, node).first->second;
        devices_.push_back({name, opened});
        byName_.emplace(name, &opened);
    }

    SPINode& Find(const std::string& name) const {
        const auto found = byName_.find(name);
        if (found == byName_.end())
            throw MonitorException("SPI: unknown device \"%s\"", name.c_str());
        return *found->second;
    }

    std::list<std::string> List() const {
        if (devices_.empty())
            return {"SPI: no devices"};
        std::list<std::list<std::string>> rows = {{"name", "node"}};
        for (const Device& device : devices_)
            rows.push_back({device.name, device.node.Name()});
        return FormatColumnarList(rows);
    }

private:
    struct Device {
        std::string name;
        const SPINode& node;
    };

    DeviceIO& io_;
    std::map<std::string, SPINode> nodes_;
    std::vector<Device> devices_;  // as they were configured
    std::unordered_map<std::string, SPINode*> byName_;
};

SPIAccess::SPIAccess(DeviceIO& io) : impl_(std::make_unique<Impl>(io)) {}

SPIAccess::~SPIAccess() = default;

std::vector<uint8_t> SPIAccess::Transact(const std::string& device, const std::vector<uint8_t>& bytes) {
    return impl_->Find(device).Transact(bytes);
}

std::vector<uint8_t> SPIAccess::Transact3Wire(const std::string& device, const std::vector<uint8_t>& bytes,
                                              size_t count) {
    return impl_->Find(device).Transact3Wire(bytes, count);
}

void SPIAccess::SetSpiMode(const std::string& device, uint8_t mode) {
    impl_->Find(device).SetMode(mode);
}

uint32_t SPIAccess::GetSpiMode(const std::string& device) const {
    return impl_->Find(device).Mode();
}

std::set<std::string> SPIAccess::GetConsoleCommands(bool withDescriptions) const {
    return {withDescriptions ? kHelpEntry : kCommand};
}

std::set<std::string> SPIAccess::GetConfigurationSections() const {
    return {"spi"};
}

void SPIAccess::Configure(const std::string&, const std::vector<std::string>& words) {
    if (words.size() != 2)
        throw MonitorException("SPI: wrong number of fields");
    impl_->Add(words[0], words[1]);
}

std::list<std::string> SPIAccess::Execute(const std::string& command, const std::vector<std::string>& words) {
    if (words.empty())
        return Usage(command);
    if (words[0] == "list")
        return impl_->List();
    SPINode& node = impl_->Find(words[0]);
    const Transaction transaction = ParseTransaction(words, node.TransferSize());
    return {FormatHexByteVector(transaction.readCount
                                    ? node.Transact3Wire(transaction.bytes, *transaction.readCount)
                                    : node.Transact(transaction.bytes))};
}

}  // namespace quarn
