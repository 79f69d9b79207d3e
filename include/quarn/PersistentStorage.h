#pragma once

/// Keeps the variables of an index across power cycles, in flash partitions, EEPROMs or files.
///
///     quarn::PersistentStorage storage("settings", 4096, 1);
///     try {
///         storage.AddMTD("persist");
///         storage.AddEEPROM("/sys/bus/i2c/devices/1-0050/eeprom");
///     } catch (const quarn::MonitorException& e) {
///         fprintf(stderr, "%s\n", e.Description().c_str());  // no such device; the others serve
///     }
///     if (!storage.Load(index, 0))
///         puts("first start: the variables keep their defaults");
///     ...
///     storage.Save(index, 0);
///
/// A save writes one self-checking block with a rising stamp over the oldest block of every device; a load
/// takes the valid block with the highest stamp of all devices. On a device of two blocks or more a power cut
/// costs at most the save that it interrupts, whenever it comes. What single blocks can promise, how large
/// blocks must be, and the format are told in docs/storage.md.
///
/// Only the Add functions throw on account of a device. Everything else that goes wrong with one is printed
/// with mask ERR, and the storage goes on with what is left.
///
/// Not locked: for one thread at a time.

#include <quarn/Attributes.h>
#include <quarn/DeviceIO.h>

#include <stdint.h>

#include <memory>
#include <string>

namespace quarn {

class VariableIndex;

class QUARN_API PersistentStorage {
public:
    /// A storage without devices. The name appears in messages. The block size, in bytes, is that of every
    /// device; 0 stands for files that hold one block of any length. The data version is written into each
    /// block and handed to the index on loading. `io` must outlive the storage.
    PersistentStorage(const std::string& name, uint64_t blockSize, uint32_t dataVersion,
                      DeviceIO& io = DeviceIO::System());
    ~PersistentStorage();
    PersistentStorage(const PersistentStorage&) = delete;
    PersistentStorage& operator=(const PersistentStorage&) = delete;

    /// Adds the flash partition of this name. Returns its number of blocks. Throws MonitorException "Could
    /// not find MTD device \"%s\"" or "MTD device \"%s\" (%s) erase block size is not %zu bytes".
    uint64_t AddMTD(const std::string& mtdName);
    /// Adds a device of fixed size that reads and writes like a file. Returns its number of blocks, 0 with a
    /// block size of 0. Throws MonitorException "Could not find EEPROM device \"%s\"".
    uint64_t AddEEPROM(const std::string& path);
    /// Adds a file of one block; returns 1. With a block size of 0 the file is created by the first save;
    /// with any other a file that does not hold a block's header is never written.
    uint64_t AddFile(const std::string& path);

    /// Hands the newest saved variables of all devices to VariableIndex::Load(), with `categories` as its
    /// filter. On equal stamps the device added first is loaded. Returns false, leaving the index alone, when
    /// there are none. When the block found cannot be read a second time the index deliberately gets what
    /// could be read and data version 0, and the result is true. Throws what the index throws.
    bool Load(VariableIndex& index, uint32_t categories);

    /// Saves the variables that pass the filter and are not marked non-persistent to every device. On return
    /// the block is on the medium of each device that could be written. Throws, having written nothing, what
    /// VariableIndex::CreateOutgoingMessages() throws.
    ///
    /// The length of the block is deliberately not compared with the block size: a block that does not fit
    /// runs over the one behind it.
    void Save(const VariableIndex& index, uint32_t categories);

    /// Makes every block of every device invalid. Returns how many blocks were cleared. The next save
    /// continues where the storage was: it neither scans again nor starts with stamp 1.
    uint64_t Wipe();

    /// Forgets all devices, as if newly made.
    void Reset();

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace quarn
