#pragma once

/// Sends one file to a BulkTransferReceiver, on a thread of its own.
///
///     quarn::BulkTransferSender sender(nullptr, "/data/image.bin", token, receiver, port, 65536);
///     while (sender.GetStatus(nullptr) < quarn::BULK_TRANSFER_FAILED)
///         usleep(100000);
///     if (sender.GetStatus(nullptr) == quarn::BULK_TRANSFER_FAILED)
///         fprintf(stderr, "the image was not sent\n");  // why has been printed with mask ERR
///
/// One chunk is under way at a time, so that the chunk size decides the throughput: one chunk a round trip. A
/// transfer that makes no progress for two seconds fails; nothing is tried again.
///
/// At debug level 1 the progress is printed, at level 2 every message.

#include <quarn/Attributes.h>
#include <quarn/BulkTransferStatus.h>
#include <quarn/Debuggable.h>
#include <quarn/IPAddress.h>

#include <stdint.h>

#include <list>
#include <memory>
#include <string>

namespace quarn {

class QUARN_API BulkTransferSender : public Debuggable {
public:
    /// Begins the transfer of the file to the receiver's address and port. `chunkSize` is in bytes, 1 to
    /// 1048529, so that a message of one chunk fits the backlogs. A file of 4 GiB or more, or one that
    /// changes its size, fails. A null parent gives the transfer a debug level of its own. Throws
    /// MonitorException as Worker::Start() does; every other failure is printed with mask ERR and shows in
    /// GetStatus(). The parent must outlive this object.
    BulkTransferSender(Debuggable* parent, const std::string& path, uint32_t token, const IPAddress& receiver,
                       uint16_t port, uint32_t chunkSize);
    /// Ends the transfer. When its thread does not stop within a second, that is printed with mask ERR, and
    /// the thread is left to itself.
    ~BulkTransferSender() override;

    // Any thread may call the functions below.

    /// The BulkTransferStatus. `progress`, when not null, is set to 0: only the receiver keeps a percentage.
    uint32_t GetStatus(uint8_t* progress) const;
    /// What the receiver has acknowledged and what there is to send, in bytes; both 0 before the file was
    /// opened.
    uint32_t GetAcknowledgedBytes() const;
    uint32_t GetTotalBytes() const;
    /// Appends Worker::GetStatistics(); throws as that does.
    void ReportStatistics(std::list<std::string>& lines);

private:
    class Impl;
    explicit BulkTransferSender(std::unique_ptr<Impl> impl);
    std::unique_ptr<Impl> impl_;
};

}  // namespace quarn
