#include "unit/FileInbox.h"

#include <quarn/BulkTransferGrammar.h>
#include <quarn/Debug.h>
#include <quarn/MonitorException.h>
#include <quarn/Text.h>

#include <errno.h>
#include <stdio.h>
#include <string.h>

#include <filesystem>

namespace unit {

using quarn::MonitorException;

namespace {

constexpr size_t kMostTransfers = 4;
constexpr char kPartExtension[] = ".part";
constexpr size_t kTokenDigits = 8;

void CheckName(const std::string& name) {
    const bool stays = !name.empty() && name.find('/') == std::string::npos &&
                       name.find("..") == std::string::npos && name.find('\0') == std::string::npos &&
                       name[0] != '.';
    if (!stays)
        throw MonitorException("\"%s\" is not a name for a received file", quarn::Prettify(name).c_str());
}

/// ".NAME.TOKEN.part"
bool IsPart(const std::string& name) {
    const size_t extension = name.rfind(kPartExtension);
    return name[0] == '.' && extension != std::string::npos &&
           extension + strlen(kPartExtension) == name.size() && extension > kTokenDigits + 1 &&
           name[extension - kTokenDigits - 1] == '.' &&
           name.find_first_not_of("0123456789ABCDEF", extension - kTokenDigits) == extension;
}

}  // namespace

void FileInbox::RemoveLeftovers() const {
    std::error_code none;  // a folder that cannot be read is told of when a file comes
    for (const auto& entry : std::filesystem::directory_iterator(folder_, none)) {
        if (!IsPart(entry.path().filename().string()) || !std::filesystem::remove(entry.path(), none))
            continue;
        if (quarn::DefaultDebug())
            quarn::DefaultDebug()->Printf(quarn::DEBUG_INFO, __FILE__, __LINE__,
                                          "Removed the leftover \"%s\"",
                                          quarn::Prettify(entry.path().string()).c_str());
    }
}

FileInbox::Offer FileInbox::Expect(const std::string& peer, const std::string& name) {
    if (folder_.empty())
        throw MonitorException("this unit receives no files");
    CheckName(name);
    if (transfers_.size() >= kMostTransfers)
        throw MonitorException("%zu files are on their way already", transfers_.size());
    const uint32_t token = quarn::GenerateBulkTransferToken();
    const std::string partPath = folder_ + "/." + name + quarn::Format(".%08X%s", token, kPartExtension);
    auto receiver =
        std::make_unique<quarn::BulkTransferReceiver>(nullptr, partPath, token, address_, 0, allowed_);
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
