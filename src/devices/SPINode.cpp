#include "devices/SPINode.h"

#include <quarn/MonitorException.h>
#include <quarn/Parse.h>
#include <quarn/Text.h>

#include "foundation/DeviceFile.h"
#include "foundation/ErrnoText.h"

#include <errno.h>
#include <fcntl.h>
#include <linux/spi/spidev.h>
#include <sys/ioctl.h>

namespace quarn {

namespace {

constexpr uint8_t kLastMode = 4;
constexpr uint32_t kDefaultTransferSize = 4096;

uint32_t ReadTransferSize(DeviceIO& io) {
    const DeviceFile file(io, io.Open("/sys/module/spidev/parameters/bufsiz", O_RDONLY));
    char text[16];
    const ssize_t length = file.Get() < 0 ? -1 : io.Read(file.Get(), text, sizeof text);
    try {
        return ParseU32(Trim(std::string(text, length < 0 ? 0 : size_t(length))), 1, UINT32_MAX);
    } catch (const MonitorException&) {
        return kDefaultTransferSize;
    }
}

spi_ioc_transfer Transfer(const uint8_t* sent, uint8_t* received, size_t size) {
    spi_ioc_transfer transfer{};  // a speed, word size and delay of 0 are the node's own
    transfer.tx_buf = reinterpret_cast<uintptr_t>(sent);
    transfer.rx_buf = reinterpret_cast<uintptr_t>(received);
    transfer.len = uint32_t(size);
    return transfer;
}

}  // namespace

SPINode::SPINode(DeviceIO& io, const std::string& name) : io_(io), node_(io, "SPI", "SPI node", name) {
    if (io_.IOCtl(node_.Get(), SPI_IOC_RD_MODE32, &mode_) < 0)
        throw MonitorException("SPI get mode failed on %s: %s", name.c_str(), ErrnoText(errno).c_str());
    transferSize_ = ReadTransferSize(io);
}

void SPINode::SetMode(uint8_t mode) {
    if (mode > kLastMode)
        throw MonitorException("Invalid SPI mode");
    if (io_.IOCtl(node_.Get(), SPI_IOC_WR_MODE, &mode) < 0)
        throw MonitorException("SPI set mode failed on %s: %s", Name().c_str(), ErrnoText(errno).c_str());
    mode_ = mode;
}

std::vector<uint8_t> SPINode::Transact(const std::vector<uint8_t>& bytes) {
    if (bytes.empty())
        throw MonitorException("SPI transaction length cannot be zero");
    CheckSize(bytes.size());
    std::vector<uint8_t> received(bytes.size());
    spi_ioc_transfer transfer = Transfer(bytes.data(), received.data(), bytes.size());
    Run(SPI_IOC_MESSAGE(1), &transfer);
    return received;
}

std::vector<uint8_t> SPINode::Transact3Wire(const std::vector<uint8_t>& bytes, size_t count) {
    if (bytes.empty() && count == 0)
        throw MonitorException("SPI transaction length cannot be zero");
    CheckSize(bytes.size());
    CheckSize(count);
    std::vector<uint8_t> received(count);
    spi_ioc_transfer transfers[2];
    size_t used = 0;
    if (!bytes.empty())
        transfers[used++] = Transfer(bytes.data(), nullptr, bytes.size());
    if (count != 0)
        transfers[used++] = Transfer(nullptr, received.data(), count);
    Run(used == 1 ? SPI_IOC_MESSAGE(1) : SPI_IOC_MESSAGE(2), transfers);
    return received;
}

/// Refuses what the kernel would refuse before memory is taken for it.
void SPINode::CheckSize(size_t size) const {
    if (size > transferSize_)
        ThrowTransactionFailure(EMSGSIZE);
}

void SPINode::Run(unsigned long request, spi_ioc_transfer* transfers) {
    if (io_.IOCtl(node_.Get(), request, transfers) < 0)
        ThrowTransactionFailure(errno);
}

void SPINode::ThrowTransactionFailure(int32_t error) const {
    throw MonitorException("SPI transaction failed on %s: %s", Name().c_str(), ErrnoText(error).c_str());
}

}  // namespace quarn
