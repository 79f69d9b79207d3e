#include <quarn/Debug.h>
#include <quarn/IncomingMessage.h>
#include <quarn/OutgoingMessage.h>
#include <quarn/PersistentStorage.h>
#include <quarn/VariableIndex.h>

#include "storage/PersistentDevice.h"
#include "storage/StorageBlock.h"

#include <list>
#include <set>
#include <vector>

namespace quarn {

class PersistentStorage::Impl {
public:
    Impl(const std::string& storageName, uint64_t size, uint32_t version, DeviceIO& deviceIO)
        : name(storageName), blockSize(size), dataVersion(version), io(deviceIO) {}

    uint64_t Add(PersistentDevice::Type type, const std::string& nameOrPath);
    PersistentDevice* ScanDevices();

    const std::string name;
    const uint64_t blockSize;
    const uint32_t dataVersion;
    DeviceIO& io;
    std::vector<std::unique_ptr<PersistentDevice>> devices;
    uint64_t stamp = 0;  // of the latest save; 0 before the first scan
};

uint64_t PersistentStorage::Impl::Add(PersistentDevice::Type type, const std::string& nameOrPath) {
    devices.push_back(std::make_unique<PersistentDevice>(type, nameOrPath, blockSize, io));
    return devices.back()->GetBlockCount();
}

/// Returns the device with the newest valid block, null for none, and sets the stamp to that block's.
PersistentDevice* PersistentStorage::Impl::ScanDevices() {
    stamp = 0;
    PersistentDevice* newest = nullptr;
    for (const auto& device : devices) {
        device->ScanBlocks();
        const uint64_t found = device->NewestStamp(nullptr, nullptr);
        if (found > stamp) {
            stamp = found;
            newest = device.get();
        }
    }
    if (DefaultDebug()) {
        if (newest)
            DefaultDebug()->Printf(DEBUG_ERR, __FILE__, __LINE__, "%s: Newest saved data has stamp 0x%lx",
                                   name.c_str(), stamp);
        else
            DefaultDebug()->Printf(DEBUG_ERR, __FILE__, __LINE__, "%s: Found no valid persistent data",
                                   name.c_str());
    }
    return newest;
}

PersistentStorage::PersistentStorage(const std::string& name, uint64_t blockSize, uint32_t dataVersion,
                                     DeviceIO& io)
    : impl_(std::make_unique<Impl>(name, blockSize, dataVersion, io)) {}

PersistentStorage::~PersistentStorage() = default;

uint64_t PersistentStorage::AddMTD(const std::string& mtdName) {
    return impl_->Add(PersistentDevice::Type::MTD, mtdName);
}

uint64_t PersistentStorage::AddEEPROM(const std::string& path) {
    return impl_->Add(PersistentDevice::Type::EEPROM, path);
}

uint64_t PersistentStorage::AddFile(const std::string& path) {
    return impl_->Add(PersistentDevice::Type::File, path);
}

bool PersistentStorage::Load(VariableIndex& index, uint32_t categories) {
    PersistentDevice* newest = impl_->ScanDevices();
    if (!newest)
        return false;
    std::list<IncomingMessage> messages;
    uint32_t dataVersion = 0;
    // The result is deliberately not looked at: whatever could be read goes to the index.
    newest->NewestStamp(&messages, &dataVersion);
    std::list<IncomingMessage*> pointers;
    for (IncomingMessage& message : messages)
        pointers.push_back(&message);
    index.Load(pointers, dataVersion, categories);
    return true;
}

void PersistentStorage::Save(const VariableIndex& index, uint32_t categories) {
    if (impl_->stamp == 0)
        impl_->ScanDevices();
    std::set<uint32_t> left = index.GetNonpersistentTags();
    BlockBuilder builder;
    for (const OutgoingMessage& message : index.CreateOutgoingMessages(categories))
        // Each marked tag deliberately leaves out only the first message that carries it.
        if (left.erase(message.GetTag()) == 0)
            builder.Append(message.Sync(), message.Bytes());
    const std::vector<uint8_t>& block = builder.Finish(impl_->dataVersion, ++impl_->stamp);
    for (const auto& device : impl_->devices)
        device->WriteBlock(impl_->stamp, block);
}

uint64_t PersistentStorage::Wipe() {
    uint64_t cleared = 0;
    for (const auto& device : impl_->devices)
        cleared += device->Wipe();
    return cleared;
}

void PersistentStorage::Reset() {
    impl_->devices.clear();
    impl_->stamp = 0;
}

}  // namespace quarn
