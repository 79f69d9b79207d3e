#pragma once

/// Receives one file from a BulkTransferSender, on a thread of its own.
///
///     quarn::BulkTransferReceiver receiver(nullptr, "/data/image.bin", token, quarn::IPAddress(), 0);
///     TellSender(token, receiver.GetPort());
///     while (receiver.GetStatus(&percent) < quarn::BULK_TRANSFER_FAILED)
///         usleep(100000);
///     if (receiver.GetStatus(nullptr) == quarn::BULK_TRANSFER_FAILED)
///         fprintf(stderr, "there is no image\n");  // why has been printed with mask ERR
///
/// The file is created, or emptied, at once, and deleted unless the transfer succeeds; what it held before is
/// lost either way. A transfer that makes no progress for two seconds fails, also when no sender connects.
/// Memory is bounded whatever the sender does. The token identifies a transfer and protects nothing.
///
/// At debug level 1 the progress is printed, at level 2 every message.

#include <quarn/AllowedPeers.h>
#include <quarn/Attributes.h>
#include <quarn/BulkTransferStatus.h>
#include <quarn/Debuggable.h>
#include <quarn/IPAddress.h>

#include <stdint.h>

#include <list>
#include <memory>
#include <string>

namespace quarn {

class QUARN_API BulkTransferReceiver : public Debuggable {
public:
    /// Waits for one sender at the address (0.0.0.0 for every interface) and port (0 for one that the system
    /// chooses); others than those allowed are turned away, which is printed. A null parent gives the transfer
    /// a debug level of its own. Returns when it listens or cannot. Throws MonitorException as Worker::Start()
    /// does; every other failure is printed with mask ERR and shows in GetStatus(). The parent must outlive
    /// this object.
    BulkTransferReceiver(Debuggable* parent, const std::string& path, uint32_t token,
                         const IPAddress& listenAddress, uint16_t port, const AllowedPeers& allowed = {});
    /// Ends the transfer and deletes the file unless it had succeeded. When its thread does not stop within a
    /// second, that is printed with mask ERR, and the thread is left to itself.
    ~BulkTransferReceiver() override;

    // Any thread may call the functions below.

    /// The BulkTransferStatus. `progress`, when not null, is set to the percentage received, computed in 32
    /// bits: it is only right for files of up to 42 MB.
    uint32_t GetStatus(uint8_t* progress) const;
    /// What has been received, in bytes.
    uint32_t GetReceivedBytes() const;
    /// The port that is listened on; 0 when it could not be had.
    uint16_t GetPort() const;
    /// Appends Worker::GetStatistics(); throws as that does.
    void ReportStatistics(std::list<std::string>& lines);

private:
    class Impl;
    explicit BulkTransferReceiver(std::unique_ptr<Impl> impl);
    std::unique_ptr<Impl> impl_;
};

}  // namespace quarn
