#include <quarn/MonitorException.h>

#include "BoardImpl.h"
#include "Counters.h"
#include "SPIDevice.h"

namespace quarn::sim {

namespace {

constexpr char kMemory[] = "/dev/mem";
constexpr char kPartitionTable[] = "/proc/mtd";
constexpr char kSysFolder[] = "/sys/";
constexpr size_t kSysMostAtOnce = 4096;  // the kernel moves files there page by page
constexpr size_t kNoMost = SIZE_MAX;
constexpr size_t kLongestShiftRegister = 65536;

std::string NodePath(const std::string& name) {
    if (name.empty() || name.find('/') != std::string::npos)
        throw MonitorException("SIM: \"%s\" is no name of a node", name.c_str());
    return "/dev/" + name;
}

void CheckAddress(uint8_t address) {
    if (address > 0x7F)
        throw MonitorException("SIM: 0x%02X is no 7-bit address", address);
}

template <class Device>
Device& Expect(I2CDevice& device, uint8_t address, const std::string& bus) {
    if (auto* const expected = dynamic_cast<Device*>(&device))
        return *expected;
    throw MonitorException("SIM: the device 0x%02X on %s has no registers", address, bus.c_str());
}

void CheckByte(const I2CDevice& device, size_t index) {
    if (index >= device.Size())
        throw MonitorException("SIM: the device has no byte %zu", index);
}

}  // namespace

SimulatedBoard::Impl::Impl() {
    auto physical = std::make_unique<PhysicalMemory>();
    memory = physical.get();
    nodes.Add(kMemory, std::move(physical));
    auto listed = std::make_unique<PartitionTable>(faults);
    table = listed.get();
    nodes.Add(kPartitionTable, std::move(listed));
}

SimulatedBoard::Impl::~Impl() {
    for (const auto& [address, mapping] : foreign)
        mapping.owner->Unmap(reinterpret_cast<void*>(address), mapping.length);
}

I2CBus& SimulatedBoard::Impl::Bus(const std::string& name) {
    const std::string path = NodePath(name);
    if (!nodes.Find(path))
        nodes.Add(path, std::make_unique<I2CBus>(name));
    if (auto* const bus = dynamic_cast<I2CBus*>(nodes.Find(path)))
        return *bus;
    throw MonitorException("SIM: %s is no I2C bus", path.c_str());
}

I2CDevice& SimulatedBoard::Impl::Device(const std::string& bus, uint8_t address) const {
    const auto* const found = dynamic_cast<I2CBus*>(nodes.Find(NodePath(bus)));
    if (!found)
        throw MonitorException("SIM: no I2C bus %s", bus.c_str());
    return found->Get(address);
}

Medium& SimulatedBoard::Impl::Storage(const std::string& path) const {
    Node* const node = nodes.Find(path);
    Medium* const medium = node ? node->Storage() : nullptr;
    if (!medium)
        throw MonitorException("SIM: no storage %s", path.c_str());
    return *medium;
}

SimulatedBoard::SimulatedBoard() : impl_(std::make_unique<Impl>()) {}

SimulatedBoard::~SimulatedBoard() = default;

void SimulatedBoard::AddI2CRegisters(const std::string& bus, uint8_t address, size_t count) {
    const std::lock_guard lock(impl_->mutex);
    CheckAddress(address);
    auto device = std::make_unique<I2CRegisters>(count);
    impl_->Bus(bus).Add(address, std::move(device));
}

void SimulatedBoard::SetI2CRights(const std::string& bus, uint8_t address, uint8_t first, uint8_t last,
                                  const std::string& rights) {
    const std::lock_guard lock(impl_->mutex);
    Expect<I2CRegisters>(impl_->Device(bus, address), address, bus).SetRights(first, last, rights);
}

void SimulatedBoard::AddI2CEEPROM(const std::string& bus, uint8_t address, size_t size, size_t pageSize) {
    const std::lock_guard lock(impl_->mutex);
    CheckAddress(address);
    auto device = std::make_unique<I2CEEPROM>(size, pageSize);
    impl_->Bus(bus).Add(address, std::move(device));
}

uint8_t SimulatedBoard::I2CByte(const std::string& bus, uint8_t address, size_t index) const {
    const std::lock_guard lock(impl_->mutex);
    const I2CDevice& device = impl_->Device(bus, address);
    CheckByte(device, index);
    return device.Byte(index);
}

void SimulatedBoard::SetI2CByte(const std::string& bus, uint8_t address, size_t index, uint8_t value) {
    const std::lock_guard lock(impl_->mutex);
    I2CDevice& device = impl_->Device(bus, address);
    CheckByte(device, index);
    device.SetByte(index, value);
}

void SimulatedBoard::AddSPILoopback(const std::string& node) {
    const std::lock_guard lock(impl_->mutex);
    impl_->nodes.Add(NodePath(node), std::make_unique<SPIDevice>(0));
}

void SimulatedBoard::AddSPIShiftRegister(const std::string& node, size_t bytes) {
    if (bytes == 0 || bytes > kLongestShiftRegister)
        throw MonitorException("SIM: a shift register has 1 to %zu bytes", kLongestShiftRegister);
    const std::lock_guard lock(impl_->mutex);
    impl_->nodes.Add(NodePath(node), std::make_unique<SPIDevice>(bytes));
}

void SimulatedBoard::AddGPIOChip(const std::string& label, uint32_t lines) {
    impl_->gpio.AddChip(label, lines);
}

void SimulatedBoard::DriveLine(const std::string& label, uint32_t offset, bool level) {
    impl_->gpio.Drive(label, offset, level);
}

void SimulatedBoard::WireLines(const std::string& label, uint32_t offset, const std::string& otherLabel,
                               uint32_t otherOffset) {
    impl_->gpio.Wire(label, offset, otherLabel, otherOffset);
}

bool SimulatedBoard::LineLevel(const std::string& label, uint32_t offset) const {
    return impl_->gpio.Level(label, offset);
}

std::string SimulatedBoard::LineConsumer(const std::string& label, uint32_t offset) const {
    return impl_->gpio.Consumer(label, offset);
}

bool SimulatedBoard::LineIsOutput(const std::string& label, uint32_t offset) const {
    return impl_->gpio.IsOutput(label, offset);
}

void SimulatedBoard::HoldLine(const std::string& label, uint32_t offset, const std::string& consumer) {
    impl_->gpio.Hold(label, offset, consumer);
}

void SimulatedBoard::AddMemory(uint64_t address, size_t size) {
    const std::lock_guard lock(impl_->mutex);
    impl_->memory->Add(address, size);
}

uint32_t SimulatedBoard::Word(uint64_t address) const {
    const std::lock_guard lock(impl_->mutex);
    return impl_->memory->Word(address);
}

void SimulatedBoard::SetWord(uint64_t address, uint32_t value) {
    const std::lock_guard lock(impl_->mutex);
    impl_->memory->SetWord(address, value);
}

void SimulatedBoard::AddCounter(uint64_t address, uint32_t hertz) {
    const std::lock_guard lock(impl_->mutex);
    impl_->memory->AddBlock(address, sizeof(uint32_t), std::make_unique<FreeCounter>(hertz));
}

void SimulatedBoard::AddTimer(uint64_t address) {
    const std::lock_guard lock(impl_->mutex);
    impl_->memory->AddBlock(address, TimerBlock::kSize, std::make_unique<TimerBlock>());
}

void SimulatedBoard::SetClock(std::function<uint64_t()> nanoseconds) {
    const std::lock_guard lock(impl_->mutex);
    impl_->memory->SetClock(std::move(nanoseconds));
}

std::vector<std::string> SimulatedBoard::TakeAccesses() {
    const std::lock_guard lock(impl_->mutex);
    return impl_->memory->TakeAccesses();
}

void SimulatedBoard::AddMTD(const std::string& name, size_t size, size_t eraseSize,
                            const std::string& backing) {
    const std::lock_guard lock(impl_->mutex);
    auto partition = std::make_unique<MTDPartition>(impl_->faults, name, size, eraseSize, backing);
    const MTDPartition& added = *partition;
    impl_->nodes.Add("/dev/mtd" + std::to_string(impl_->table->Partitions()), std::move(partition));
    impl_->table->Add(added);
}

void SimulatedBoard::AddEEPROMFile(const std::string& path, size_t size, const std::string& backing) {
    const std::lock_guard lock(impl_->mutex);
    const size_t most = path.starts_with(kSysFolder) ? kSysMostAtOnce : kNoMost;
    impl_->nodes.Add(path, std::make_unique<EEPROMFile>(impl_->faults, size, most, backing));
}

void SimulatedBoard::AddFile(const std::string& path) {
    const std::lock_guard lock(impl_->mutex);
    impl_->nodes.Add(path, std::make_unique<OrdinaryFile>(impl_->faults));
}

std::vector<uint8_t> SimulatedBoard::Contents(const std::string& path) const {
    const std::lock_guard lock(impl_->mutex);
    return impl_->Storage(path).Bytes();
}

void SimulatedBoard::SetContents(const std::string& path, std::vector<uint8_t> contents) {
    const std::lock_guard lock(impl_->mutex);
    impl_->Storage(path).SetBytes(std::move(contents));
}

void SimulatedBoard::PassOn(DeviceIO& other) {
    const std::lock_guard lock(impl_->mutex);
    impl_->nodes.PassOn(other);
}

void SimulatedBoard::Fail(Call call, int error, uint64_t times, uint64_t skip) {
    const std::lock_guard lock(impl_->mutex);
    impl_->faults.Fail(call, error, times, skip);
}

void SimulatedBoard::Shorten(Call call, size_t most, uint64_t times) {
    const std::lock_guard lock(impl_->mutex);
    impl_->faults.Shorten(call, most, times);
}

void SimulatedBoard::ClearFaults() {
    const std::lock_guard lock(impl_->mutex);
    impl_->faults.Clear();
}

void SimulatedBoard::Remove(const std::string& device) {
    if (impl_->gpio.Remove(device))
        return;
    const std::lock_guard lock(impl_->mutex);
    if (!impl_->nodes.Remove(device))
        throw MonitorException("SIM: no device %s", device.c_str());
}

void SimulatedBoard::PutBack(const std::string& device) {
    if (impl_->gpio.PutBack(device))
        return;
    const std::lock_guard lock(impl_->mutex);
    if (!impl_->nodes.PutBack(device))
        throw MonitorException("SIM: no device %s", device.c_str());
}

void SimulatedBoard::CutPowerAfter(uint64_t bytes) {
    const std::lock_guard lock(impl_->mutex);
    impl_->faults.CutPowerAfter(bytes);
}

bool SimulatedBoard::HasPower() const {
    const std::lock_guard lock(impl_->mutex);
    return impl_->faults.HasPower();
}

void SimulatedBoard::RestorePower(Unsynced unsynced, uint32_t seed) {
    const std::lock_guard lock(impl_->mutex);
    std::mt19937 coin(seed);
    for (Medium* const medium : impl_->nodes.Media())
        medium->LosePower(unsynced, coin);
    impl_->nodes.DropAll();
    impl_->faults.RestorePower();
}

uint64_t SimulatedBoard::Count(Call call) const {
    const std::lock_guard lock(impl_->mutex);
    return impl_->faults.Count(call);
}

size_t SimulatedBoard::Held() const {
    const size_t lines = impl_->gpio.Held();
    const std::lock_guard lock(impl_->mutex);
    return lines + impl_->nodes.Descriptors() + impl_->memory->Mappings() + impl_->foreign.size();
}

}  // namespace quarn::sim
