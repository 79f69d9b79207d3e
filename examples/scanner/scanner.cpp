// A daemon with variables that peers read and set, and a sentence of its own that has it scan a band.

#include <quarn/quarn.h>

#include "scanner/Protocol.h"

#include <signal.h>
#include <stdio.h>
#include <unistd.h>

#include <list>
#include <memory>

namespace {

using quarn::VariantValue;

/// In place of a tuner.
struct Carrier {
    uint32_t kHz;
    float dBm;
};
constexpr Carrier kOnTheAir[] = {{470125, -71.5F}, {474500, -93.0F}, {486250, -58.0F}, {512000, -104.5F}};

constexpr size_t kMaxPeers = 16;

struct Peer {
    explicit Peer(std::unique_ptr<quarn::TCPConnection> accepted)
        : connection(std::move(accepted)), terminal(*connection) {}

    std::unique_ptr<quarn::TCPConnection> connection;
    quarn::MessageTerminal terminal;
    int32_t watchedFor = 0;
};

class Scanner final : public quarn::Worker {
public:
    explicit Scanner(uint16_t port)
        : Worker(nullptr, "scanner"), listener_(quarn::IPAddress("127.0.0.1"), port) {
        index_.Add(scanner::RF_THRESHOLD_DBM, &thresholdDBm_, 0);
        index_.Add(scanner::RF_LABEL, &label_, 0);
        index_.Add(
            scanner::RF_SCANS, quarn::VariantType::UINT32, [this] { return VariantValue(scans_); }, nullptr,
            0);  // peers cannot set it
    }

    uint16_t GetPort() const { return listener_.GetPort(); }

private:
    bool Initialize() override {
        AddWaitableFileDescriptor(listener_.Socket(), WAIT_READ, "listener");
        return true;
    }

    bool Work() override {
        if (IsReady(listener_.Socket()))
            AcceptPeers();
        for (auto peer = peers_.begin(); peer != peers_.end();)
            peer = IsReady(peer->terminal.Socket()) && !Serve(*peer) ? Drop(peer) : std::next(peer);
        for (Peer& peer : peers_)
            SendAndWatch(peer);
        return true;
    }

    void Finalize() override {
        while (!peers_.empty())
            Drop(peers_.begin());
        RemoveWaitableFileDescriptor(listener_.Socket());
        kill(getpid(), SIGTERM);
    }

    bool IsReady(int fd) { return GetReadyFileDescriptors().contains(fd); }

    void AcceptPeers() {
        while (auto connection = std::unique_ptr<quarn::TCPConnection>(listener_.Accept("peer $peer$"))) {
            if (peers_.size() == kMaxPeers)
                continue;  // one too many is closed
            peers_.emplace_back(std::move(connection));
            for (const quarn::OutgoingMessage& variable : index_.CreateOutgoingMessages(0))
                peers_.back().terminal.Put(variable);
        }
    }

    /// False once the peer is gone.
    bool Serve(Peer& peer) {
        const bool alive = peer.terminal.Work();
        quarn::IncomingMessage message;
        while (peer.terminal.Get(message))
            Handle(peer, message);
        return alive;
    }

    void Handle(Peer& peer, quarn::IncomingMessage& message) {
        try {
            const std::unique_ptr<quarn::Sentence> sentence(grammar_.CreateSentence(&message));
            if (sentence && sentence->GetDetails().GetTag() == scanner::SCAN)
                Scan(peer, sentence->Word(0), sentence->Word(1));
            else if (message.Apply(index_))
                TellAll(message.GetTag());
            else
                throw quarn::MonitorException("not for a scanner");
        } catch (const quarn::MonitorException& e) {  // what does not fit, a variable to read only
            Say(peer, scanner::REFUSED, {VariantValue(e.Description())});
        }
    }

    void Scan(Peer& peer, uint32_t fromKHz, uint32_t toKHz) {
        if (fromKHz > toKHz)
            throw quarn::MonitorException("Cannot scan from %u down to %u kHz", fromKHz, toKHz);
        uint32_t found = 0;
        for (const Carrier& carrier : kOnTheAir)
            if (carrier.kHz >= fromKHz && carrier.kHz <= toKHz && carrier.dBm >= thresholdDBm_) {
                Say(peer, scanner::CARRIER, {VariantValue(carrier.kHz), VariantValue(carrier.dBm)});
                ++found;
            }
        ++scans_;
        TellAll(scanner::RF_SCANS);
        Say(peer, scanner::DONE, {VariantValue(found)});
    }

    void Say(Peer& peer, uint32_t tag, const std::vector<VariantValue>& words) {
        peer.terminal.Put(quarn::OutgoingMessage(*grammar_.Find(tag, true), words));
    }

    void TellAll(uint32_t tag) {
        const quarn::OutgoingMessage message(dictionary_.Find(tag), *index_.GetReference(tag));
        for (Peer& peer : peers_)
            peer.terminal.Put(message);
    }

    void SendAndWatch(Peer& peer) {
        peer.terminal.Flush();
        const int32_t wanted = peer.terminal.WorkPending() ? WAIT_READ | WAIT_WRITE : WAIT_READ;
        if (peer.watchedFor == wanted)
            return;
        if (peer.watchedFor != 0)
            RemoveWaitableFileDescriptor(peer.terminal.Socket());
        AddWaitableFileDescriptor(peer.terminal.Socket(), wanted, peer.connection->GetName());
        peer.watchedFor = wanted;
    }

    std::list<Peer>::iterator Drop(std::list<Peer>::iterator peer) {
        if (peer->watchedFor != 0)
            RemoveWaitableFileDescriptor(peer->terminal.Socket());
        return peers_.erase(peer);
    }

    float thresholdDBm_ = -100;
    std::string label_ = "scanner";
    uint32_t scans_ = 0;
    scanner::Variables dictionary_;
    scanner::Grammar grammar_;
    quarn::VariableIndex index_{"scanner", dictionary_};
    quarn::TCPListener listener_;
    std::list<Peer> peers_;
};

}  // namespace

int main(int argc, char** argv) {
    sigset_t end;
    sigemptyset(&end), sigaddset(&end, SIGINT), sigaddset(&end, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &end, nullptr);  // before there are threads
    setlinebuf(stdout);
    quarn::Debug debug(quarn::DebugOptions(), nullptr);
    debug.SetAsDefault();
    try {
        Scanner scanner(argc > 1 ? quarn::ParseU16(argv[1], 0) : 0);
        printf("serving on 127.0.0.1:%u\n", scanner.GetPort());
        scanner.Start();
        int signal = 0;
        sigwait(&end, &signal);
        const bool toldToEnd = scanner.GetStatus() == "running";
        scanner.Stop();
        return toldToEnd ? 0 : 1;
    } catch (const quarn::MonitorException& e) {
        fprintf(stderr, "scanner: %s\n", e.Description().c_str());
        return 1;
    }
}
