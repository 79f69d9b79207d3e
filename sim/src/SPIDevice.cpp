#include "SPIDevice.h"

#include <linux/spi/spidev.h>
#include <string.h>
#include <sys/ioctl.h>

namespace quarn::sim {

namespace {

constexpr size_t kBufferSize = 4096;  // spidev's own default, for each direction
constexpr uint8_t kBitsPerWord = 8;
constexpr uint32_t kModes =
    SPI_CPHA | SPI_CPOL | SPI_CS_HIGH | SPI_LSB_FIRST | SPI_3WIRE | SPI_LOOP;  // of the controller

template <class Value>
int32_t Give(void* argument, Value value) {
    memcpy(argument, &value, sizeof value);
    return 0;
}

template <class Value>
Value Take(const void* argument) {
    Value value;
    memcpy(&value, argument, sizeof value);
    return value;
}

/// A transfer's own settings count for what the controller can do.
bool IsPossible(const spi_ioc_transfer& transfer, uint32_t mode) {
    const bool isHalfDuplex = (mode & SPI_3WIRE) != 0;
    return (transfer.bits_per_word == 0 || transfer.bits_per_word == kBitsPerWord) &&
           transfer.tx_nbits <= 1 && transfer.rx_nbits <= 1 &&
           !(isHalfDuplex && transfer.tx_buf && transfer.rx_buf);
}

class SPIDeviceFile final : public OpenFile {
public:
    explicit SPIDeviceFile(SPIDevice& device) : device_(device) {}

    ssize_t Read(void* data, size_t length) override {
        return length > kBufferSize ? Refuse(EMSGSIZE)
                                    : Exchange(nullptr, static_cast<uint8_t*>(data), length);
    }
    ssize_t Write(const void* data, size_t length) override {
        return length > kBufferSize ? Refuse(EMSGSIZE)
                                    : Exchange(static_cast<const uint8_t*>(data), nullptr, length);
    }

    int32_t IOCtl(unsigned long request, void* argument) override {
        if (_IOC_TYPE(request) != SPI_IOC_MAGIC)
            return Refuse(ENOTTY);
        if (!argument)
            return Refuse(EFAULT);
        switch (request) {
            case SPI_IOC_RD_MODE:
                return Give(argument, uint8_t(device_.mode));
            case SPI_IOC_RD_MODE32:
                return Give(argument, device_.mode);
            case SPI_IOC_RD_LSB_FIRST:
                return Give(argument, uint8_t((device_.mode & SPI_LSB_FIRST) != 0));
            case SPI_IOC_RD_BITS_PER_WORD:
                return Give(argument, kBitsPerWord);
            case SPI_IOC_RD_MAX_SPEED_HZ:
                return Give(argument, device_.speed);
            case SPI_IOC_WR_MODE:
                return SetMode(Take<uint8_t>(argument));
            case SPI_IOC_WR_MODE32:
                return SetMode(Take<uint32_t>(argument));
            case SPI_IOC_WR_LSB_FIRST:
                return SetMode(Take<uint8_t>(argument) ? device_.mode | SPI_LSB_FIRST
                                                       : device_.mode & ~uint32_t{SPI_LSB_FIRST});
            case SPI_IOC_WR_BITS_PER_WORD:
                return Take<uint8_t>(argument) % kBitsPerWord == 0 && Take<uint8_t>(argument) <= kBitsPerWord
                           ? 0
                           : Refuse(EINVAL);
            case SPI_IOC_WR_MAX_SPEED_HZ:
                return SetSpeed(Take<uint32_t>(argument));
            default:
                return Message(request, static_cast<const spi_ioc_transfer*>(argument));
        }
    }

private:
    ssize_t Exchange(const uint8_t* sent, uint8_t* received, size_t length) {
        device_.Exchange(sent, received, length);
        return ssize_t(length);
    }

    int32_t SetMode(uint32_t mode) {
        if (mode & ~kModes)
            return Refuse(EINVAL);
        device_.mode = mode;
        return 0;
    }

    int32_t SetSpeed(uint32_t hertz) {
        if (hertz == 0)
            return Refuse(EINVAL);
        device_.speed = hertz;
        return 0;
    }

    /// Nothing is moved unless the whole message can be.
    int32_t Message(unsigned long request, const spi_ioc_transfer* transfers) {
        if (_IOC_NR(request) != _IOC_NR(SPI_IOC_MESSAGE(1)) || _IOC_DIR(request) != _IOC_WRITE)
            return Refuse(ENOTTY);
        if (_IOC_SIZE(request) % sizeof *transfers != 0)
            return Refuse(EINVAL);
        const size_t count = _IOC_SIZE(request) / sizeof *transfers;

        uint64_t sent = 0, received = 0, total = 0;
        for (size_t i = 0; i < count; ++i) {
            const spi_ioc_transfer& transfer = transfers[i];
            total += transfer.len;
            sent += transfer.tx_buf ? transfer.len : 0;
            received += transfer.rx_buf ? transfer.len : 0;
            if (sent > kBufferSize || received > kBufferSize || total > INT32_MAX)
                return Refuse(EMSGSIZE);
            if (!IsPossible(transfer, device_.mode))
                return Refuse(EINVAL);
        }
        for (size_t i = 0; i < count; ++i)
            device_.Exchange(reinterpret_cast<const uint8_t*>(transfers[i].tx_buf),
                             reinterpret_cast<uint8_t*>(transfers[i].rx_buf), transfers[i].len);
        return int32_t(total);
    }

    SPIDevice& device_;
};

}  // namespace

void SPIDevice::Exchange(const uint8_t* sent, uint8_t* received, size_t length) {
    for (size_t i = 0; i < length; ++i) {
        uint8_t out = sent ? sent[i] : 0;
        if (!register_.empty()) {
            std::swap(out, register_[next_]);
            next_ = (next_ + 1) % register_.size();
        }
        if (received)
            received[i] = out;
    }
}

std::unique_ptr<OpenFile> SPIDevice::Open(int32_t) {
    return std::make_unique<SPIDeviceFile>(*this);
}

}  // namespace quarn::sim
