#pragma once

#include <quarn/AllowedPeers.h>
#include <quarn/BulkTransferReceiver.h>
#include <quarn/IPAddress.h>

#include <stdint.h>

#include <list>
#include <memory>
#include <string>

namespace unit {

/// The folder that peers may send files into. A file arrives under another name and gets its own when it is
/// complete, so that one of that name that was there before stays until then.
class FileInbox {
public:
    struct Offer {
        uint32_t token;
        uint16_t port;
    };
    struct Arrival {
        std::string peer;
        std::string name;
        bool complete;
    };

    /// Without a folder every file is refused. What an earlier unit that was killed left of files under way is
    /// removed.
    FileInbox(const std::string& folder, const quarn::IPAddress& address, const quarn::AllowedPeers& allowed)
        : folder_(folder), address_(address), allowed_(allowed) {
        RemoveLeftovers();
    }

    /// Waits for the file of this name, whose sender is to use the token and port. Throws MonitorException
    /// with the reason when the name is not one of a file in the folder, or there is no room for another
    /// transfer.
    Offer Expect(const std::string& peer, const std::string& name);
    bool IsBusy() const { return !transfers_.empty(); }
    /// The transfers that have ended since the last call.
    std::list<Arrival> TakeArrivals();

private:
    struct Transfer {
        std::string peer;
        std::string name;
        std::string partPath;
        std::unique_ptr<quarn::BulkTransferReceiver> receiver;
    };

    void RemoveLeftovers() const;
    bool Conclude(Transfer& transfer) const;

    const std::string folder_;
    const quarn::IPAddress address_;
    const quarn::AllowedPeers allowed_;
    std::list<Transfer> transfers_;
};

}  // namespace unit
