#include <quarn/Accessors.h>
#include <quarn/ConsoleServer.h>
#include <quarn/Debug.h>
#include <quarn/LineTerminal.h>
#include <quarn/Parse.h>
#include <quarn/Text.h>

#include "connections/Backlog.h"
#include "services/ClientServer.h"
#include "services/StopService.h"

#include <algorithm>

namespace quarn {

namespace {

constexpr char kEndOfResponse = '\x04';
constexpr ClientServer::Names kNames = {"console", "ConsoleServer", "console ($peer$)", "Lines executed"};

// Lines come in through a terminal, one at a time; the response goes out through a backlog that takes it
// whole, whatever its size, so that a client that stops writing still gets all.
class ConsoleClient final : public ServedClient {
public:
    ConsoleClient(const ClientServer& server, Accessors& accessors, TCPConnection* connection)
        : ServedClient(connection), server_(server), accessors_(accessors) {}

    bool IsSending() override { return !output_.Empty(); }
    bool Send() override {
        output_.SendTo(Connection());
        return Connection().IsAlive();
    }
    bool Read() override { return terminal_.Work(); }
    bool Next() override { return terminal_.Get(line_); }

    bool Execute() override {
        if (server_.GetDebugLevel() >= 2)
            server_.Print(DEBUG_ALWAYS, __LINE__,
                          Format("%s: \"%s\"", Connection().GetName().c_str(), Prettify(line_).c_str()));
        Respond(accessors_.Execute(line_));
        return true;
    }

    void Refuse() override {
        Respond({"too many console clients", {kEndOfResponse}});
        Send();
    }

private:
    void Respond(const std::list<std::string>& lines) {
        std::string text;
        for (const std::string& line : lines) {
            text += line;
            text += '\n';
        }
        // Only the last line may end the response, whatever the lines before it quote.
        if (text.size() > 2)
            std::replace(text.begin(), text.end() - 2, kEndOfResponse, '?');
        output_.Append(text.data(), text.size());
    }

    const ClientServer& server_;
    Accessors& accessors_;
    LineTerminal terminal_{Connection()};
    std::string line_;
    Backlog output_;
};

}  // namespace

class ConsoleServer::Impl final : public ClientServer {
public:
    Impl(Debuggable* parent, const IPAddress& address, uint16_t port, Accessors& accessors,
         const AllowedPeers& allowed)
        : ClientServer(parent, kNames, address, port, allowed), accessors_(accessors) {}

private:
    std::unique_ptr<ServedClient> MakeClient(TCPConnection* connection) override {
        return std::make_unique<ConsoleClient>(*this, accessors_, connection);
    }

    Accessors& accessors_;
};

ConsoleServer::ConsoleServer(Debuggable* parent, const std::string& address, uint16_t port,
                             Accessors& accessors, const AllowedPeers& allowed)
    : ConsoleServer(
          std::make_unique<Impl>(parent, ParseIPListenerAddress(address), port, accessors, allowed)) {
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
