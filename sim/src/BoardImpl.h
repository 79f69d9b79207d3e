#pragma once

#include <quarn/sim/SimulatedBoard.h>

#include "Faults.h"
#include "GPIOBank.h"
#include "I2CBus.h"
#include "Nodes.h"
#include "PhysicalMemory.h"
#include "Storage.h"

#include <stddef.h>
#include <stdint.h>

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

namespace quarn::sim {

class SimulatedBoard::Impl {
public:
    struct ForeignMapping {
        DeviceIO* owner;
        size_t length;
    };

    Impl();
    ~Impl();

    /// The bus, a new one if need be.
    I2CBus& Bus(const std::string& name);
    I2CDevice& Device(const std::string& bus, uint8_t address) const;
    Medium& Storage(const std::string& path) const;

    /// Makes the call on the file of the descriptor, without the lock if it is not the board's, and tells it
    /// how many bytes it may move at most.
    template <class Make>
    auto OnFile(Call call, int32_t fd, int32_t forbidden, int error, Make&& make)
        -> decltype(make(std::declval<OpenFile&>(), size_t{})) {
        std::unique_lock lock(mutex);
        if (faults.Strike(call))
            return -1;
        const std::shared_ptr<OpenFile> file = nodes.Get(fd, forbidden, error);
        if (!file)
            return -1;
        const size_t most = faults.Limit(call, SIZE_MAX);
        if (file->Owner())
            lock.unlock();
        return make(*file, most);
    }

    void* Map(size_t length, int32_t protection, int32_t flags, int32_t fd, int64_t offset);
    int32_t Unmap(void* address, size_t length);
    /// The owner of the mapping that the word is in; ends the process when there is none.
    DeviceIO& Owner(const volatile uint32_t* word) const;

    mutable std::mutex mutex;
    Faults faults;
    Nodes nodes;
    GPIOBank gpio{mutex, faults};
    PhysicalMemory* memory;                       // a node
    PartitionTable* table;                        // a node
    std::map<uintptr_t, ForeignMapping> foreign;  // not of physical memory
};

}  // namespace quarn::sim
