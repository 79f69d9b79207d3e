#pragma once

#include <quarn/AllowedPeers.h>
#include <quarn/Debuggable.h>
#include <quarn/DeviceIO.h>
#include <quarn/IncomingMessage.h>
#include <quarn/TCPListener.h>
#include <quarn/Worker.h>

#include "common/Endpoint.h"
#include "common/UnitGrammar.h"
#include "unit/ClockServices.h"
#include "unit/FileInbox.h"
#include "unit/Link.h"
#include "unit/Peer.h"
#include "unit/StateKeeper.h"
#include "unit/UnitVariables.h"
#include "unit/Watchdog.h"

#include <functional>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace unit {

struct UnitOptions {
    std::string name = "receiver";
    Endpoint listen;
    std::vector<Endpoint> links;            ///< units to connect to and mirror
    std::list<std::string> mirrorPatterns;  ///< which of their variables to mirror
    StateOptions state;
    ClockOptions clock;
    std::optional<Endpoint> watchdog;  ///< the service to report to
    std::string inbox;                 ///< folder for files from peers; none are taken when empty
    quarn::AllowedPeers allowed;       ///< whom to accept
    size_t maxPeers = 64;              ///< accepted connections at a time; more are turned away
};

/// The unit daemon: one worker that serves every connection.
///
/// A variable message sets the variable; every subscribed peer is told of the change. Where two units mirror
/// each other the one that was connected to has the last word: it tells a change to every subscriber, also to
/// the one that made it, while the other does not send back what it was told.
class Unit final : public quarn::Worker {
public:
    /// Loads the saved variables, starts the services and listens at once, so that what cannot be had is known
    /// before there is a thread: throws MonitorException.
    /// `io` is where the settings' devices are. `ended` is called on the worker's thread when it ends, for
    /// whatever reason. Stop() the worker before it is destroyed.
    Unit(quarn::Debuggable* parent, const UnitOptions& options, quarn::DeviceIO& io,
         std::function<void()> ended);
    uint16_t GetPort() const { return listener_.GetPort(); }
    /// Where the time is told; 0 when it is not.
    uint16_t GetClockPort() const { return clock_.GetServerPort(); }

    /// For use under the unit's lock. Peers are told of a change, and it is saved, within a second.
    quarn::VariableIndex& Variables() { return variables_.Index(); }

    bool Initialize() override;
    bool PreWait() override;
    bool Work() override;
    void Finalize() override;
    void GetExtraStatistics(std::list<std::string>& lines) override;

private:
    using Peers = std::list<std::unique_ptr<Peer>>;

    bool IsReady(int fd);
    void AcceptPeers();
    void SetListening(bool listening);
    void ConnectLinks();
    void AddPeer(std::unique_ptr<Peer> peer);
    Peers::iterator DropPeer(Peers::iterator peer);
    void ServePeers();
    bool Serve(Peer& peer);
    void Greet(Peer& link);
    void Watch(Peer& peer);

    std::string DescribeTag(uint32_t tag) const;
    void Handle(Peer& peer);
    void HandleSentence(Peer& peer, const quarn::Sentence& sentence);
    void HandleVariable(Peer& peer);
    void Subscribe(Peer& peer, const std::list<std::string>& patterns);
    void AnswerQuery(Peer& peer, const std::string& pattern);
    void AnswerStatistics(Peer& peer);
    void AnswerOffer(Peer& peer, const std::string& name);
    void TellArrivals();
    void Refuse(Peer& peer, const std::string& reason);
    void Say(Peer& peer, SentenceTag tag, const std::vector<quarn::VariantValue>& words);

    void Measure();
    void Tell(uint32_t tag, const Peer* except);

    UnitOptions options_;
    std::function<void()> ended_;
    UnitGrammar grammar_;
    UnitVariables variables_;
    StateKeeper state_;
    ClockServices clock_;
    FileInbox inbox_;
    Watchdog watchdog_;
    quarn::TCPListener listener_;
    bool listening_ = false;
    bool hasDropped_ = false;
    std::vector<Link> links_;
    Peers peers_;
    quarn::IncomingMessage received_;
    uint64_t startTick_;
    uint64_t nextSecondTick_;
};

}  // namespace unit
