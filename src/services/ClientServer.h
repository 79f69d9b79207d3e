#pragma once

#include <quarn/AllowedPeers.h>
#include <quarn/Debuggable.h>
#include <quarn/IPAddress.h>
#include <quarn/TCPConnection.h>
#include <quarn/TCPListener.h>
#include <quarn/Worker.h>

#include <stdint.h>

#include <atomic>
#include <list>
#include <memory>
#include <string>

namespace quarn {

/// One client of a ClientServer. Only the server's thread uses it.
class ServedClient {
public:
    explicit ServedClient(TCPConnection* connection) : connection_(connection) {}
    virtual ~ServedClient() = default;

    TCPConnection& Connection() { return *connection_; }

    /// Whether some of a response waits to be sent.
    virtual bool IsSending() = 0;
    /// Sends what the connection takes. Returns false once it is disconnected.
    virtual bool Send() = 0;
    /// Reads once. Returns false once the connection is disconnected.
    virtual bool Read() = 0;
    /// Takes the next of the requests that have been read. Returns false when there is none.
    virtual bool Next() = 0;
    /// Executes the request taken and has its response wait. Returns false for a client to be dropped.
    virtual bool Execute() = 0;
    /// Sends what a client beyond the limit is told.
    virtual void Refuse() {}

    int32_t watched = 0;  // the flags that the worker watches the connection for

private:
    std::unique_ptr<TCPConnection> connection_;
};

/// The worker of a server that takes requests from at most 16 clients over TCP and executes them one at a
/// time, each client having one in turn. While some of a response waits to be sent nothing more is read from
/// that client, so that one that does not read holds up itself and nobody else.
class ClientServer : public Debuggable, public Worker {
public:
    struct Names {
        const char* worker;
        const char* title;     // begins what is printed
        const char* client;    // with "$peer$"
        const char* requests;  // "... executed", in the statistics
    };

    /// Listens. Throws what TCPListener() throws.
    ClientServer(Debuggable* parent, const Names& names, const IPAddress& address, uint16_t port,
                 const AllowedPeers& allowed);

    IPAddress Address() const { return address_; }
    uint16_t Port() const { return listener_.GetPort(); }
    /// Has the pass that is under way end with the request being executed.
    void Leave() { isLeaving_ = true; }

    /// Prints behind the title. Any thread may call it.
    void Print(uint32_t mask, int line, const std::string& event) const;

protected:
    virtual std::unique_ptr<ServedClient> MakeClient(TCPConnection* connection) = 0;

private:
    using Clients = std::list<std::unique_ptr<ServedClient>>;

    bool Initialize() override;
    bool PreWait() override;
    bool Work() override;
    void Finalize() override;
    void GetExtraStatistics(std::list<std::string>& lines) override;
    void ClearExtraStatistics() override;

    void WatchListener();
    void AcceptClients();
    void Admit(std::unique_ptr<ServedClient> client);
    void TurnAway(ServedClient& client);
    bool TryServe(ServedClient& client);
    bool Serve(ServedClient& client);
    bool Execute(ServedClient& client);
    void Watch(ServedClient& client, int32_t flags);
    void Unwatch(ServedClient& client);
    Clients::iterator Drop(Clients::iterator client);
    void PrintProgress(const char* what, ServedClient& client) const;

    const Names names_;
    const IPAddress address_;
    TCPListener listener_;
    Clients clients_;
    std::atomic<bool> isLeaving_{false};
    bool hasMore_ = false;      // whether a client may have a further request at hand
    bool isListening_ = false;  // false during the pause that follows a failure to accept
    uint64_t pauseStart_ = 0;
    // Read even while the worker finishes, when its lock is refused.
    std::atomic<uint64_t> clientCount_{0};
    std::atomic<uint64_t> turnedAway_{0};
    std::atomic<uint64_t> executed_{0};
};

}  // namespace quarn
