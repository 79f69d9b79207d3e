#include "unit/FileInbox.h"

#include <quarn/BulkTransferGrammar.h>
#include <quarn/Debug.h>
#include <quarn/MonitorException.h>
#include <quarn/Text.h>

#include <errno.h>
#include <stdio.h>
#include <string.h>

namespace unit {

using quarn::MonitorException;

namespace {

constexpr size_t MOST_TRANSFERS = 4;

void CheckName(const std::string& name) {
    const bool stays = !name.empty() && name.find('/') == std::string::npos &&
                       name.find("..") == std::string::npos && name.find('\0') == std::string::npos &&
                       name[0] != '.';
    if (!stays)
        throw MonitorException("\"%s\" is not a name for a received file", quarn::Prettify(name).c_str());
}

}  // namespace

FileInbox::Offer FileInbox::Expect(const std::string& peer, const std::string& name) {
    if (folder_.empty())
        throw MonitorException("this unit receives no files");
    CheckName(name);
    if (transfers_.size() >= MOST_TRANSFERS)
        throw MonitorException("%zu files are on their way already", transfers_.size());
    const uint32_t token = quarn::GenerateBulkTransferToken();
    const std::string partPath = folder_ + "/." + name + quarn::Format(".%08X.part", token);
    auto receiver = std::make_unique<quarn::BulkTransferReceiver>(nullptr, partPath, token, address_, 0);
    const uint16_t port = receiver->GetPort();
    if (port == 0)
        throw MonitorException("\"%s\" cannot be received now", name.c_str());
    transfers_.push_back({peer, name, partPath, std::move(receiver)});
    return {token, port};
}

std::list<FileInbox::Arrival> FileInbox::TakeArrivals() {
    std::list<Arrival> arrivals;
    for (auto transfer = transfers_.begin(); transfer != transfers_.end();) {
        if (transfer->receiver->GetStatus(nullptr) < quarn::BULK_TRANSFER_FAILED) {
            ++transfer;
            continue;
        }
        arrivals.push_back({transfer->peer, transfer->name, Conclude(*transfer)});
        transfer = transfers_.erase(transfer);
    }
    return arrivals;
}

bool FileInbox::Conclude(Transfer& transfer) const {
    const bool succeeded = transfer.receiver->GetStatus(nullptr) == quarn::BULK_TRANSFER_SUCCEEDED;
    transfer.receiver.reset();  // sends the last acknowledgement, or removes the part
    if (!succeeded)
        return false;
    const std::string path = folder_ + "/" + transfer.name;
    if (rename(transfer.partPath.c_str(), path.c_str()) == 0)
        return true;
    if (quarn::DefaultDebug())
        quarn::DefaultDebug()->Printf(quarn::DEBUG_ERR, __FILE__, __LINE__, "Could not name \"%s\": %s",
                                      path.c_str(), strerror(errno));
    remove(transfer.partPath.c_str());
    return false;
}

}  // namespace unit
