#include "services/ClientServer.h"

#include <quarn/Debug.h>
#include <quarn/LocalTime.h>
#include <quarn/MonitorException.h>
#include <quarn/SocketUtilities.h>
#include <quarn/Text.h>

#include <iterator>

namespace quarn {

namespace {

constexpr size_t kClientLimit = 16;
constexpr int kMostAccepted = 16;  // in one pass: however many come, those who are there have their turn
constexpr int32_t kAcceptPauseMs = 1000;
constexpr uint32_t kLockLimitMs = 1000;
constexpr uint32_t kSilenceLimitS = 120;

}  // namespace

ClientServer::ClientServer(Debuggable* parent, const Names& names, const IPAddress& address, uint16_t port,
                           const AllowedPeers& allowed)
    : Debuggable(parent),
      Worker(this, names.worker),
      names_(names),
      address_(address),
      listener_(address, port) {
    listener_.SetAllowedPeers(allowed);
}

bool ClientServer::Initialize() {
    WatchListener();
    return true;
}

bool ClientServer::PreWait() {
    SetPollInterval(hasMore_ ? 0 : isListening_ ? -1 : kAcceptPauseMs);
    return true;
}

bool ClientServer::Work() {
    hasMore_ = false;
    for (auto client = clients_.begin(); client != clients_.end() && !isLeaving_;)
        client = TryServe(**client) ? std::next(client) : Drop(client);
    if (isListening_)
        AcceptClients();
    else if (MillisecondsSince(pauseStart_) >= kAcceptPauseMs)
        WatchListener();
    return true;
}

void ClientServer::Finalize() {
    while (!clients_.empty())
        Drop(clients_.begin());
    if (isListening_)
        RemoveWaitableFileDescriptor(listener_.Socket());
    isListening_ = false;
}

void ClientServer::GetExtraStatistics(std::list<std::string>& lines) {
    lines.splice(lines.end(), FormatColumnarList({{"Clients", Format("%lu", clientCount_.load())},
                                                  {"Clients turned away", Format("%lu", turnedAway_.load())},
                                                  {names_.requests, Format("%lu", executed_.load())}}));
}

void ClientServer::ClearExtraStatistics() {
    turnedAway_ = 0;
    executed_ = 0;
}

void ClientServer::WatchListener() {
    AddWaitableFileDescriptor(listener_.Socket(), WAIT_READ, "listener");
    isListening_ = true;
}

void ClientServer::AcceptClients() {
    try {
        for (int accepted = 0; accepted < kMostAccepted; ++accepted) {
            TCPConnection* const connection = listener_.Accept(names_.client);
            if (connection == nullptr)
                break;
            Admit(MakeClient(connection));
        }
    } catch (const MonitorException& e) {
        // As when descriptors run out. The listener stays ready, and must not keep the worker busy.
        Print(DEBUG_ERR, __LINE__, e.Description());
        RemoveWaitableFileDescriptor(listener_.Socket());
        isListening_ = false;
        pauseStart_ = Tick();
    }
}

void ClientServer::Admit(std::unique_ptr<ServedClient> client) {
    if (clients_.size() >= kClientLimit) {
        TurnAway(*client);
        return;
    }
    ServedClient& admitted = *clients_.emplace_back(std::move(client));
    ++clientCount_;
    SocketUtilities::SetSilenceLimit(admitted.Connection().Socket(), kSilenceLimitS);
    PrintProgress("Accepted", admitted);
    Watch(admitted, WAIT_READ);
}

void ClientServer::TurnAway(ServedClient& client) {
    client.Refuse();
    ++turnedAway_;
    Print(DEBUG_WARN, __LINE__,
          Format("Turned away %s: %zu clients are enough", client.Connection().GetName().c_str(),
                 kClientLimit));
}

bool ClientServer::TryServe(ServedClient& client) {
    try {
        return Serve(client);
    } catch (const MonitorException& e) {
        Print(DEBUG_ERR, __LINE__, e.Description());
        return false;
    }
}

bool ClientServer::Serve(ServedClient& client) {
    if (!client.Send())
        return false;
    if (!client.IsSending()) {
        bool hasRequest = client.Next();
        if (!hasRequest && GetReadyFileDescriptors().contains(client.Connection().Socket())) {
            if (!client.Read())
                return false;
            hasRequest = client.Next();
        }
        if (hasRequest) {
            if (!Execute(client) || !client.Send())
                return false;
            hasMore_ = true;
        }
    }
    Watch(client, client.IsSending() ? WAIT_WRITE : WAIT_READ);
    return true;
}

bool ClientServer::Execute(ServedClient& client) {
    // What is asked for takes the locks that it needs, even that of the registry of workers, which comes
    // before any worker's. Other threads read what this one alone changes, and not now.
    Unlock();
    const bool isKept = client.Execute();
    while (!TryLock(kLockLimitMs))
        continue;  // somebody looks at the figures for long
    ++executed_;
    return isKept;
}

void ClientServer::Watch(ServedClient& client, int32_t flags) {
    const int fd = client.Connection().Socket();
    if (client.watched == flags)
        return;
    Unwatch(client);
    AddWaitableFileDescriptor(fd, flags, client.Connection().GetName());
    client.watched = flags;
}

void ClientServer::Unwatch(ServedClient& client) {
    if (client.watched != 0)
        RemoveWaitableFileDescriptor(client.Connection().Socket());
    client.watched = 0;
}

ClientServer::Clients::iterator ClientServer::Drop(Clients::iterator client) {
    PrintProgress("Dropped", **client);
    Unwatch(**client);
    --clientCount_;
    return clients_.erase(client);
}

void ClientServer::PrintProgress(const char* what, ServedClient& client) const {
    if (GetDebugLevel() >= 1)
        Print(DEBUG_ALWAYS, __LINE__, Format("%s %s", what, client.Connection().GetName().c_str()));
}

void ClientServer::Print(uint32_t mask, int line, const std::string& event) const {
    if (DefaultDebug())
        DefaultDebug()->Printf(mask, __FILE__, line, "%s: %s", names_.title, event.c_str());
}

}  // namespace quarn
