#pragma once

/// A board in the memory of one process, behind the seams DeviceIO and GPIOChips: daemons run on it where
/// there is no hardware, and tests make it fail.
///
///     quarn::sim::SimulatedBoard board;
///     board.AddI2CRegisters("i2c-1", 0x21, 64);
///     quarn::I2CAccess i2c(board);
///     i2c.Configure("i2c", {"i2c-1", "0x21", "expander"});
///     board.Fail(quarn::sim::Call::WRITE, EIO);
///     try {
///         i2c.WriteRegister("expander", 3, 0xFF);
///     } catch (const quarn::MonitorException& e) {  // I2C: error writing to i2c-1 (for expander): ...
///         fprintf(stderr, "%s\n", e.Description().c_str());
///     }
///
/// It is as strict as hardware and kernel: what they would refuse fails, with their errno. Paths that it was
/// not given do not exist. A board can also be described in a text file, one device a line;
/// docs/simulated-board.md has that format, and says what is simulated and what is not.
///
/// All calls may come from any thread; one mutex serves them all. The functions that build the board and look
/// at it throw MonitorException, "SIM: ...", for a device that cannot be or that the board does not have, and
/// then have changed nothing.

#include <quarn/Attributes.h>
#include <quarn/DeviceIO.h>
#include <quarn/GPIOChips.h>

#include <stddef.h>
#include <stdint.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace quarn::sim {

/// The kinds of calls that can be made to fail: those of DeviceIO, then those of GPIOChips and what it hands
/// out.
enum class Call {
    OPEN,
    CLOSE,
    READ,
    WRITE,
    SEEK,
    TRUNCATE,
    SYNC,
    IOCTL,
    SIZE,
    MAP,
    UNMAP,
    LIST_CHIPS,
    OPEN_CHIP,
    GET_LINES,
    REQUEST_LINES,
    GET_VALUES,
    SET_VALUES,
    SET_INPUT,
    SET_OUTPUT
};

/// What is left of bytes that were written but not synced when the power went.
enum class Unsynced {
    LOST,      ///< nothing: they were in a cache
    KEPT,      ///< everything up to the cut: there is no cache
    SCATTERED  ///< of each run of 16 bytes, at random, all or nothing
};

class QUARN_API SimulatedBoard final : public DeviceIO, public GPIOChips {
public:
    SimulatedBoard();
    ~SimulatedBoard() override;
    SimulatedBoard(const SimulatedBoard&) = delete;
    SimulatedBoard& operator=(const SimulatedBoard&) = delete;

    /// Adds the devices that a text file describes. A line with any defect is printed with mask ERR as
    /// "PATH:LINE: REASON", and reading goes on. Throws MonitorException "Could not open %s for reading".
    void Load(const std::string& path);
    /// Adds those of the built-in description, sim/default.sim, to a board that has nothing yet.
    void AddDefaultDevices();

    // I2C: buses are named as their nodes, "i2c-1" being /dev/i2c-1, and appear with their first device.

    /// A device with so many registers of 8 bits, up to 256, zeros at first: the first byte of a write is the
    /// register that the following bytes, and reads, go to; it counts up with each and wraps at the end. A
    /// register that is not there is refused, EIO.
    void AddI2CRegisters(const std::string& bus, uint8_t address, size_t count);
    /// What can be done with the registers first to last: "rw" (as at first), "r" (a write is refused as a
    /// device refuses a byte, EIO), "w" (reads as zero) or "-" (EIO either way).
    void SetI2CRights(const std::string& bus, uint8_t address, uint8_t first, uint8_t last,
                      const std::string& rights);
    /// An EEPROM of whole pages, filled with 0xFF, addressed by one byte up to 256 bytes and by two above, up
    /// to 65536: a write wraps inside its page; a read goes on from the address and wraps at the end. It is
    /// ready again at once.
    void AddI2CEEPROM(const std::string& bus, uint8_t address, size_t size, size_t pageSize);
    /// The bytes of either kind of device, looked at and changed from the device's side.
    uint8_t I2CByte(const std::string& bus, uint8_t address, size_t index) const;
    void SetI2CByte(const std::string& bus, uint8_t address, size_t index, uint8_t value);

    // SPI: nodes are named as their files, "spidev0.0" being /dev/spidev0.0.

    /// What is sent comes back at once; while nothing is sent (3-wire), zeros.
    void AddSPILoopback(const std::string& node);
    /// A shift register of so many bytes, up to 65536, zeros at first: what is sent comes back so many bytes
    /// later. Its contents stay between messages.
    void AddSPIShiftRegister(const std::string& node, size_t bytes);

    // GPIO: chips are found by label and named gpiochip0, gpiochip1, ... in the order in which they were added.

    /// A chip of 1 to 1024 lines, which nobody holds or drives.
    void AddGPIOChip(const std::string& label, uint32_t lines);
    /// Drives a line from outside; it stays so. Two drivers of unlike level give what the outside drives, and
    /// low among equals.
    void DriveLine(const std::string& label, uint32_t offset, bool level);
    /// Wires two lines to each other: what one drives as output, the other reads.
    void WireLines(const std::string& label, uint32_t offset, const std::string& otherLabel,
                   uint32_t otherOffset);
    /// The level on a line: that of whoever drives it, else low.
    bool LineLevel(const std::string& label, uint32_t offset) const;
    /// The consumer that holds the line, as the kernel keeps it (31 characters, "?" for none), or an empty
    /// text.
    std::string LineConsumer(const std::string& label, uint32_t offset) const;
    /// Whether the line is driven as an output.
    bool LineIsOutput(const std::string& label, uint32_t offset) const;
    /// Lets another program, so to say, hold a line: requests get EBUSY.
    void HoldLine(const std::string& label, uint32_t offset, const std::string& consumer);

    // Physical memory, behind /dev/mem, in whole pages, zeros at first; anything else there is EPERM to map.
    // Read32() and Write32() of a word that is not mapped, or not for that, end the process, as on a board.

    void AddMemory(uint64_t address, size_t size);
    /// A word, looked at and changed from the hardware's side; a count, too.
    uint32_t Word(uint64_t address) const;
    void SetWord(uint64_t address, uint32_t value);
    /// Makes a word of memory one that counts, from 0, so many times a second; writes do not change it. Only
    /// Read32() shows the count: whoever looks through a pointer sees memory.
    void AddCounter(uint64_t address, uint32_t hertz);
    /// Makes 0x100 bytes of memory a block of chained timers, fed with 26 MHz, as the hardware microsecond
    /// clock sets it up: it counts microseconds once it was set up and started, at the clock's own register.
    void AddTimer(uint64_t address);
    /// What counters and timers go by instead of the system's monotonic clock: the nanoseconds at each access
    /// to one, never going back. It is called under the board's mutex and must not use the board.
    void SetClock(std::function<uint64_t()> nanoseconds);
    /// The accesses by Read32() and Write32() since the last call, in order: "r 0x1004" and "w 0x1004 0x20".
    /// None are kept until the first call.
    std::vector<std::string> TakeAccesses();

    // Storage. With a backing file, which is created when it is missing, contents outlive the process. These
    // throw also when that file cannot be opened, read or written, and when it has another size.

    /// An erased NOR flash partition, /dev/mtdN, N counting from 0, listed in /proc/mtd: writes only clear
    /// bits, erasing sets them, block by block. Size and erase size in bytes.
    void AddMTD(const std::string& name, size_t size, size_t eraseSize, const std::string& backing = "");
    /// An EEPROM of fixed size, up to 16777216 bytes, under a path of its own, filled with 0xFF. Below /sys/ one
    /// call moves at most 4096 bytes, as there in the kernel.
    void AddEEPROMFile(const std::string& path, size_t size, const std::string& backing = "");

    /// A file under a path of its own that programs can create, extend and truncate; not there at first.
    void AddFile(const std::string& path);
    /// The bytes of one of these, and of /proc/mtd, looked at and changed from outside, the number of them too,
    /// which counts as synced. A file is there once it was set.
    std::vector<uint8_t> Contents(const std::string& path) const;
    void SetContents(const std::string& path, std::vector<uint8_t> contents);

    /// Lets `other`, which must outlive the board, have the paths that the board does not have, e.g.
    /// DeviceIO::System() for a daemon that keeps settings in ordinary files. Paths below /dev/, /proc/ and
    /// /sys/ are never passed on. What is open there counts as held, and faults meet it, too.
    void PassOn(DeviceIO& other);

    // Faults. They meet the calls of the seams on whatever device.

    /// Makes `times` calls of the kind fail with `error`, after letting `skip` of them pass, instead of what
    /// was asked for that kind before. A failed call has no effect, but a closed descriptor is gone.
    void Fail(Call call, int error, uint64_t times = 1, uint64_t skip = 0);
    /// Makes the next `times` reads or writes that reach a device move at most so many bytes.
    void Shorten(Call call, size_t most, uint64_t times = 1);
    /// Ends both of these.
    void ClearFaults();
    /// Takes a device away: a path, or the label of a GPIO chip. What is open on it fails with ENODEV from
    /// then on, for good, and opening it with ENOENT until it is put back. Mappings stay.
    void Remove(const std::string& device);
    void PutBack(const std::string& device);
    /// Cuts the power right after so many more bytes were written to storage or erased: the rest of that call,
    /// and every one after it, fails with EIO.
    void CutPowerAfter(uint64_t bytes);
    bool HasPower() const;
    /// Puts the power back. What was not synced before is dealt with as told, the scatter by the seed; flash has
    /// no cache. No descriptor is left.
    void RestorePower(Unsynced unsynced, uint32_t seed = 0);
    /// How many calls of the kind were made, failed ones included, and how many descriptors, chips, requested
    /// lines and mappings are held now.
    uint64_t Count(Call call) const;
    size_t Held() const;

    // The seams.

    int32_t Open(const std::string& path, int32_t flags, uint32_t mode = 0) override;
    int32_t Close(int32_t fd) override;
    ssize_t Read(int32_t fd, void* data, size_t length) override;
    ssize_t Write(int32_t fd, const void* data, size_t length) override;
    int64_t Seek(int32_t fd, int64_t offset, int32_t whence) override;
    int32_t Truncate(int32_t fd, int64_t length) override;
    int32_t Sync(int32_t fd) override;
    int32_t IOCtl(int32_t fd, unsigned long request, void* argument) override;
    int64_t FileSize(const std::string& path) override;
    void* Map(size_t length, int32_t protection, int32_t flags, int32_t fd, int64_t offset) override;
    int32_t Unmap(void* address, size_t length) override;
    uint32_t Read32(const volatile uint32_t* word) override;
    void Write32(volatile uint32_t* word, uint32_t value) override;

    int32_t List(std::vector<ChipName>& chips) override;
    std::unique_ptr<GPIOChip> OpenChip(const std::string& path) override;

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace quarn::sim
