#include <quarn/I2CAccess.h>
#include <quarn/MonitorException.h>
#include <quarn/Parse.h>
#include <quarn/Text.h>

#include "devices/I2CBus.h"

#include <algorithm>
#include <map>
#include <unordered_map>

namespace quarn {

namespace {

constexpr uint32_t kMaxAddress = 127;
constexpr uint32_t kMaxRawBytes = 256;
constexpr size_t kBytesPerLine = 16;
constexpr char kCommand[] = "i2c";
constexpr char kHelpEntry[] = "i2c: I2C device access";

uint8_t ParseDeviceAddress(const std::string& text) {
    try {
        return uint8_t(ParseU32(text, kMaxAddress));
    } catch (const MonitorException&) {
        throw MonitorException("I2C: bad 7-bit device address");
    }
}

uint32_t ParseRawCount(const std::string& text) {
    try {
        return ParseU32(text, kMaxRawBytes);
    } catch (const MonitorException&) {
        throw MonitorException("I2C: bad byte count (limit is %u)", kMaxRawBytes);
    }
}

std::list<std::string> Wrote(const std::vector<uint8_t>& bytes) {
    return {Format("wrote %zu bytes", bytes.size())};
}

std::list<std::string> ExecuteRead(I2CAccess& i2c, const std::string& device,
                                   const std::vector<std::string>& operands) {
    if (operands.size() > 1)
        throw MonitorException("I2C: bad command format");
    const uint32_t count = operands.empty() ? 1 : ParseRawCount(operands[0]);
    // Deliberately read twice, the second time line by line for what is shown.
    i2c.Read(device, count);
    std::list<std::string> lines;
    for (size_t done = 0; done < count; done += kBytesPerLine)
        lines.push_back(FormatHexByteVector(i2c.Read(device, std::min(kBytesPerLine, count - done))));
    return lines;
}

std::list<std::string> ExecuteWrite(I2CAccess& i2c, const std::string& device,
                                    const std::vector<std::string>& operands) {
    const std::vector<uint8_t> bytes = ParseByteVector(operands.begin(), operands.end());
    if (bytes.empty())
        throw MonitorException("I2C: no data specified");
    i2c.Write(device, bytes);
    return Wrote(bytes);
}

std::list<std::string> ExecuteReadRegisters(I2CAccess& i2c, const std::string& device,
                                            const std::string& range) {
    uint8_t first, last;
    if (!ParseByteRange(range, &first, &last, '-'))
        throw MonitorException("I2C: bad register address for read");
    if (first > last)
        throw MonitorException("I2C: first register address must be smaller than second");
    std::list<std::string> lines;
    for (uint32_t reg = first; reg <= last; ++reg)
        lines.push_back(Format("%02X: %02X", reg, i2c.ReadRegister(device, uint8_t(reg))));
    return lines;
}

std::list<std::string> ExecuteWriteRegisters(I2CAccess& i2c, const std::string& device,
                                             const std::string& reg,
                                             const std::vector<std::string>& operands) {
    uint8_t first, last;
    if (!ParseByteRange(reg, &first, &last, '-'))
        throw MonitorException("I2C: bad register address for write");
    if (first != last)
        throw MonitorException("I2C: cannot write to register range");
    const std::vector<uint8_t> bytes = ParseByteVector(operands.begin(), operands.end());
    if (bytes.size() == 1)
        i2c.WriteRegister(device, first, bytes[0]);
    else
        i2c.WriteRegisters(device, first, bytes);
    return Wrote(bytes);
}

std::list<std::string> Usage(const std::string& command) {
    const char* const word = command.c_str();
    return {kHelpEntry,
            "",
            Format("%s list                      list all devices", word),
            Format("%s list <pattern>            list specified devices(s)", word),
            Format("%s <name> r                  read one raw byte from a device", word),
            Format("%s <name> r <count>          read <count> raw byte(s) from a device", word),
            Format("%s <name> w <byte> ...       write one or more raw byte(s) to a device", word),
            Format("%s <name> <addr>             read a register on a device", word),
            Format("%s <name> <range>            read a range of registers on a device", word),
            Format("%s <name> <addr> <byte> ...  write to register(s) on a specified device", word),
            "",
            "  <pattern>   is a device name with optional * wildcard(s)",
            "  <name>      is a device name",
            "  <addr>      is a register address (decimal, or 0x for hex)",
            "  <range>     is a register range separated by a dash (ex: 0x30-0x3F)",
            "  <byte> ...  is one or more space-separated bytes (decimal, or 0x for hex)"};
}

}  // namespace

class I2CAccess::Impl {
public:
    struct Device {
        I2CBus& bus;
        I2CBus::Device place;
    };

    explicit Impl(DeviceIO& io) : io_(io) {}

    void Add(const std::string& bus, uint8_t address, const std::string& name) {
        if (byName_.count(name) != 0)
            throw MonitorException("I2C: Attempt to add duplicate device \"%s\"", name.c_str());
        I2CBus& opened = buses_.try_emplace(bus, io_, bus).first->second;
        devices_.push_back({opened, {address, name}});
        byName_.emplace(name, devices_.size() - 1);
    }

    const Device& Find(const std::string& name) const {
        const auto found = byName_.find(name);
        if (found == byName_.end())
            throw MonitorException("I2C: unknown device \"%s\"", name.c_str());
        return devices_[found->second];
    }

    std::list<std::string> List() const {
        if (devices_.empty())
            return {"I2C: no matching devices"};
        std::list<std::list<std::string>> rows = {{"name", "bus", "addr"}};
        for (const Device& device : devices_)
            rows.push_back({device.place.name, device.bus.Name(), Format("0x%02X", device.place.address)});
        return FormatColumnarList(rows);
    }

private:
    DeviceIO& io_;
    std::map<std::string, I2CBus> buses_;
    std::vector<Device> devices_;                     // as they were configured
    std::unordered_map<std::string, size_t> byName_;  // indices of devices
};

I2CAccess::I2CAccess(DeviceIO& io) : impl_(std::make_unique<Impl>(io)) {}

I2CAccess::~I2CAccess() = default;

std::vector<uint8_t> I2CAccess::Read(const std::string& device, size_t count) {
    const Impl::Device& found = impl_->Find(device);
    std::vector<uint8_t> bytes(count);
    found.bus.Read(found.place, bytes.data(), count);
    return bytes;
}

void I2CAccess::Write(const std::string& device, const std::vector<uint8_t>& bytes) {
    const Impl::Device& found = impl_->Find(device);
    found.bus.Write(found.place, bytes.data(), bytes.size());
}

uint8_t I2CAccess::ReadRegister(const std::string& device, uint8_t reg) {
    const Impl::Device& found = impl_->Find(device);
    return found.bus.ReadRegister(found.place, reg);
}

std::vector<uint8_t> I2CAccess::ReadRegisters(const std::string& device, uint8_t first, size_t count) {
    const Impl::Device& found = impl_->Find(device);
    std::vector<uint8_t> bytes(count);
    found.bus.ReadRegisters(found.place, first, bytes.data(), count);
    return bytes;
}

void I2CAccess::WriteRegister(const std::string& device, uint8_t reg, uint8_t value) {
    const Impl::Device& found = impl_->Find(device);
    const uint8_t bytes[] = {reg, value};
    found.bus.Write(found.place, bytes, sizeof bytes);
}

void I2CAccess::WriteRegisters(const std::string& device, uint8_t first, const std::vector<uint8_t>& bytes) {
    std::vector<uint8_t> behindAddress;
    behindAddress.reserve(1 + bytes.size());
    behindAddress.push_back(first);
    behindAddress.insert(behindAddress.end(), bytes.begin(), bytes.end());
    Write(device, behindAddress);
}

std::set<std::string> I2CAccess::GetConsoleCommands(bool withDescriptions) const {
    return {withDescriptions ? kHelpEntry : kCommand};
}

std::set<std::string> I2CAccess::GetConfigurationSections() const {
    return {"i2c"};
}

void I2CAccess::Configure(const std::string&, const std::vector<std::string>& words) {
    if (words.size() != 3)
        throw MonitorException("I2C: wrong number of fields");
    impl_->Add(words[0], ParseDeviceAddress(words[1]), words[2]);
}

std::list<std::string> I2CAccess::Execute(const std::string& command, const std::vector<std::string>& words) {
    if (words.empty())
        return Usage(command);
    if (words[0] == "list")
        // Deliberately all of them, whatever the pattern.
        return impl_->List();
    if (words.size() == 1)
        throw MonitorException("I2C: too few words in command");
    const std::vector<std::string> operands(words.begin() + 2, words.end());
    if (words[1] == "r")
        return ExecuteRead(*this, words[0], operands);
    if (words[1] == "w")
        return ExecuteWrite(*this, words[0], operands);
    if (operands.empty())
        return ExecuteReadRegisters(*this, words[0], words[1]);
    return ExecuteWriteRegisters(*this, words[0], words[1], operands);
}

}  // namespace quarn
