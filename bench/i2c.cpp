// A register of an I2C device read by name, beside the bare system calls of the same transfer. The bus is a pipe, which
// gives back the register address: its calls are those of a bus in number and kind, and a fraction of their time.

#include <quarn/I2CAccess.h>
#include <quarn/Text.h>

#include "ForwardingIO.h"
#include "PinnedMain.h"

#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <stdlib.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace {

constexpr uint32_t kDevices = 50;

void Check(bool isFine, const char* what) {
    if (!isFine) {
        perror(what);
        exit(EXIT_FAILURE);
    }
}

/// Both ends of a pipe in one descriptor.
int OpenPipe() {
    int ends[2];
    Check(pipe2(ends, O_CLOEXEC) == 0, "no pipe");
    const int both = open(quarn::Format("/proc/self/fd/%d", ends[0]).c_str(), O_RDWR | O_CLOEXEC);
    Check(both >= 0, "pipe cannot be opened again");
    close(ends[0]);
    close(ends[1]);
    return both;
}

/// Every path a pipe; selecting a device asks how much is in it. The calls of a transfer are made here as the
/// system's DeviceIO makes them, not passed on to it, so that one layer of virtual calls is measured and not two.
class PipeIO : public quarn::bench::ForwardingIO {
public:
    int32_t Open(const std::string&, int32_t, uint32_t) override { return OpenPipe(); }
    ssize_t Read(int32_t fd, void* data, size_t length) override { return read(fd, data, length); }
    ssize_t Write(int32_t fd, const void* data, size_t length) override { return write(fd, data, length); }
    int32_t IOCtl(int32_t fd, unsigned long, void*) override {
        int waiting;
        return ioctl(fd, FIONREAD, &waiting);
    }
};

std::string BusName() {
    return quarn::Format("quarn-bench-%d", int(getpid()));
}

std::string LockPath() {
    return "/var/lock/LCK.." + BusName();
}

std::string DeviceName(uint32_t number) {
    return quarn::Format("receiver.device%02u", number);
}

void BareCalls(benchmark::State& state) {
    const int bus = OpenPipe();
    const int lock = open(LockPath().c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
    Check(lock >= 0, "no lock file");
    uint8_t reg = 0;
    for (auto _ : state) {
        uint8_t value = 0;
        int waiting;
        const bool isFine = flock(lock, LOCK_EX | LOCK_NB) == 0 && ioctl(bus, FIONREAD, &waiting) == 0 &&
                            write(bus, &reg, 1) == 1 && read(bus, &value, 1) == 1 &&
                            flock(lock, LOCK_UN) == 0;
        Check(isFine && value == reg++, "bare transfer");
    }
    close(lock);
    close(bus);
    unlink(LockPath().c_str());
}

void ReadRegister(benchmark::State& state) {
    PipeIO io;
    quarn::I2CAccess i2c(io);
    for (uint32_t i = 0; i < kDevices; ++i)
        i2c.Configure("i2c", {BusName(), quarn::Format("%u", i), DeviceName(i)});
    const std::string name = DeviceName(kDevices / 2);
    uint8_t reg = 0;
    for (auto _ : state)
        Check(i2c.ReadRegister(name, reg) == reg, "transfer"), ++reg;
    unlink(LockPath().c_str());
}

BENCHMARK(BareCalls)->Name("i2c/register/raw");
BENCHMARK(ReadRegister)->Name("i2c/register/quarn");

}  // namespace

QUARN_PINNED_BENCHMARK_MAIN()
