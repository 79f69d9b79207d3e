#include <quarn/Accessors.h>
#include <quarn/ConsoleServer.h>
#include <quarn/Debug.h>
#include <quarn/LineTerminal.h>
#include <quarn/LocalTime.h>
#include <quarn/MonitorException.h>
#include <quarn/Parse.h>
#include <quarn/TCPConnection.h>
#include <quarn/TCPListener.h>
#include <quarn/Text.h>
#include <quarn/Worker.h>

#include "connections/Backlog.h"
#include "services/StopService.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <algorithm>
#include <atomic>

namespace quarn {

namespace {

constexpr size_t CLIENT_LIMIT = 16;
constexpr int32_t ACCEPT_PAUSE_MS = 1000;
constexpr uint32_t LOCK_LIMIT_MS = 1000;
constexpr char END_OF_RESPONSE = '\x04';

// Has the system find out within two minutes that a silent peer has vanished, so that its place becomes free.
void KeepAlive(int fd) {
    const int on = 1, idleSeconds = 60, intervalSeconds = 10, probes = 6;
    setsockopt(fd, SOL_SOCKET, SO_KEEPALIVE, &on, sizeof on);
    setsockopt(fd, IPPROTO_TCP, TCP_KEEPIDLE, &idleSeconds, sizeof idleSeconds);
    setsockopt(fd, IPPROTO_TCP, TCP_KEEPINTVL, &intervalSeconds, sizeof intervalSeconds);
    setsockopt(fd, IPPROTO_TCP, TCP_KEEPCNT, &probes, sizeof probes);
}

// One client: lines come in through a terminal, one at a time; the response goes out through a backlog that
// takes it whole, whatever its size. While some of it waits nothing more is read from the client, so that a
// client that does not read holds up itself and nobody else, and one that stops writing still gets all.
class Client {
public:
    explicit Client(TCPConnection* connection) : connection_(connection) {}

    TCPConnection& Connection() { return *connection_; }
    bool IsSending() const { return !output_.Empty(); }

    // Sends what the connection takes. Returns false once it is disconnected.
    bool Send() {
        output_.SendTo(*connection_);
        return connection_->IsAlive();
    }

    void Respond(const std::list<std::string>& lines) {
        std::string text;
        for (const std::string& line : lines) {
            text += line;
            text += '\n';
        }
        // Only the last line may end the response, whatever the lines before it quote.
        if (text.size() > 2)
            std::replace(text.begin(), text.end() - 2, END_OF_RESPONSE, '?');
        output_.Append(text.data(), text.size());
    }

    // Takes the next line, reading once if there is none yet and the connection is ready. Returns false once
    // that is disconnected.
    bool Receive(bool isReady, std::string& line, bool& hasLine) {
        hasLine = terminal_.Get(line);
        if (hasLine || !isReady)
            return true;
        const bool isAlive = terminal_.Work();
        hasLine = terminal_.Get(line);
        return isAlive;
    }

    int32_t watched = 0;  // the flags that the worker watches the connection for

private:
    std::unique_ptr<TCPConnection> connection_;
    LineTerminal terminal_{*connection_};
    Backlog output_;
};

}  // namespace

class ConsoleServer::Impl final : public Debuggable, public Worker {
public:
    Impl(Debuggable* parent, const IPAddress& address, uint16_t port, Accessors& accessors)
        : Debuggable(parent),
          Worker(this, "console"),
          address_(address),
          accessors_(accessors),
          listener_(address, port) {}

    IPAddress Address() const { return address_; }
    uint16_t Port() const { return listener_.GetPort(); }
    // Has the pass that is under way end with the line being executed.
    void Leave() { isLeaving_ = true; }

private:
    using Clients = std::list<Client>;

    bool Initialize() override {
        WatchListener();
        return true;
    }

    bool PreWait() override {
        SetPollInterval(hasMore_ ? 0 : isListening_ ? -1 : ACCEPT_PAUSE_MS);
        return true;
    }

    // Each client gets one line a pass.
    bool Work() override {
        hasMore_ = false;
        for (auto client = clients_.begin(); client != clients_.end() && !isLeaving_;)
            client = TryServe(*client) ? std::next(client) : Drop(client);
        if (isListening_)
            AcceptClients();
        else if (MillisecondsSince(pauseStart_) >= ACCEPT_PAUSE_MS)
            WatchListener();
        return true;
    }

    void Finalize() override {
        while (!clients_.empty())
            Drop(clients_.begin());
        if (isListening_)
            RemoveWaitableFileDescriptor(listener_.Socket());
        isListening_ = false;
    }

    void GetExtraStatistics(std::list<std::string>& lines) override {
        lines.splice(lines.end(),
                     FormatColumnarList({{"Clients", Format("%lu", clientCount_.load())},
                                         {"Clients turned away", Format("%lu", turnedAway_.load())},
                                         {"Lines executed", Format("%lu", linesExecuted_.load())}}));
    }

    void ClearExtraStatistics() override {
        turnedAway_ = 0;
        linesExecuted_ = 0;
    }

    void WatchListener() {
        AddWaitableFileDescriptor(listener_.Socket(), WAIT_READ, "listener");
        isListening_ = true;
    }

    void AcceptClients() {
        try {
            while (TCPConnection* connection = listener_.Accept("console ($peer$)"))
                Admit(connection);
        } catch (const MonitorException& e) {
            // As when descriptors run out. The listener stays ready, and must not keep the worker busy.
            Print(DEBUG_ERR, __LINE__, e.Description());
            RemoveWaitableFileDescriptor(listener_.Socket());
            isListening_ = false;
            pauseStart_ = Tick();
        }
    }

    void Admit(TCPConnection* connection) {
        if (clients_.size() >= CLIENT_LIMIT) {
            TurnAway(connection);
            return;
        }
        Client& client = clients_.emplace_back(connection);
        ++clientCount_;
        KeepAlive(client.Connection().Socket());
        PrintProgress("Accepted", client);
        Watch(client, WAIT_READ);
    }

    void TurnAway(TCPConnection* connection) {
        Client client(connection);
        client.Respond({"too many console clients", {END_OF_RESPONSE}});
        client.Send();
        ++turnedAway_;
        PrintProgress("Turned away", client);
    }

    bool TryServe(Client& client) {
        try {
            return Serve(client);
        } catch (const MonitorException& e) {
            Print(DEBUG_ERR, __LINE__, e.Description());
            return false;
        }
    }

    bool Serve(Client& client) {
        if (!client.Send())
            return false;
        if (!client.IsSending()) {
            std::string line;
            bool hasLine = false;
            const bool isReady = GetReadyFileDescriptors().contains(client.Connection().Socket());
            if (!client.Receive(isReady, line, hasLine))
                return false;
            if (hasLine) {
                Execute(client, line);
                if (!client.Send())
                    return false;
                hasMore_ = true;
            }
        }
        Watch(client, client.IsSending() ? WAIT_WRITE : WAIT_READ);
        return true;
    }

    void Execute(Client& client, const std::string& line) {
        if (GetDebugLevel() >= 2)
            Print(DEBUG_ALWAYS, __LINE__,
                  Format("%s: \"%s\"", client.Connection().GetName().c_str(), Prettify(line).c_str()));
        // The accessors take the locks that they need, even that of the registry of workers, which comes
        // before any worker's. Other threads read what this one alone changes, and not now.
        Unlock();
        const std::list<std::string> response = accessors_.Execute(line);
        while (!TryLock(LOCK_LIMIT_MS))
            continue;  // somebody looks at the figures for long
        client.Respond(response);
        ++linesExecuted_;
    }

    void Watch(Client& client, int32_t flags) {
        const int fd = client.Connection().Socket();
        if (client.watched == flags)
            return;
        Unwatch(client);
        AddWaitableFileDescriptor(fd, flags, client.Connection().GetName());
        client.watched = flags;
    }

    void Unwatch(Client& client) {
        if (client.watched != 0)
            RemoveWaitableFileDescriptor(client.Connection().Socket());
        client.watched = 0;
    }

    Clients::iterator Drop(Clients::iterator client) {
        PrintProgress("Dropped", *client);
        Unwatch(*client);
        --clientCount_;
        return clients_.erase(client);
    }

    void PrintProgress(const char* what, Client& client) const {
        if (GetDebugLevel() >= 1)
            Print(DEBUG_ALWAYS, __LINE__, Format("%s %s", what, client.Connection().GetName().c_str()));
    }

    static void Print(uint32_t mask, int line, const std::string& event) {
        if (DefaultDebug())
            DefaultDebug()->Printf(mask, __FILE__, line, "ConsoleServer: %s", event.c_str());
    }

    const IPAddress address_;
    Accessors& accessors_;
    TCPListener listener_;
    Clients clients_;
    std::atomic<bool> isLeaving_{false};
    bool hasMore_ = false;      // whether a client may have a further line at hand
    bool isListening_ = false;  // false during the pause that follows a failure to accept
    uint64_t pauseStart_ = 0;
    // Read even while the worker finishes, when its lock is refused.
    std::atomic<uint64_t> clientCount_{0};
    std::atomic<uint64_t> turnedAway_{0};
    std::atomic<uint64_t> linesExecuted_{0};
};

ConsoleServer::ConsoleServer(Debuggable* parent, const std::string& address, uint16_t port,
                             Accessors& accessors)
    : ConsoleServer(std::make_unique<Impl>(parent, ParseIPListenerAddress(address), port, accessors)) {
    impl_->Start();
}
ConsoleServer::ConsoleServer(std::unique_ptr<Impl> impl) : Debuggable(impl.get()), impl_(std::move(impl)) {}

ConsoleServer::~ConsoleServer() {
    impl_->Leave();
    StopService(impl_, "ConsoleServer");
}

IPAddress ConsoleServer::GetIPAddress() const {
    return impl_->Address();
}
uint16_t ConsoleServer::GetPort() const {
    return impl_->Port();
}
void ConsoleServer::ReportStatistics(std::list<std::string>& lines) {
    impl_->GetStatistics(lines);
}

}  // namespace quarn
