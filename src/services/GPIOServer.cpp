#include <quarn/Debug.h>
#include <quarn/GPIOAccess.h>
#include <quarn/GPIOServer.h>
#include <quarn/GPIOServerGrammar.h>
#include <quarn/IncomingMessage.h>
#include <quarn/MessageTerminal.h>
#include <quarn/MonitorException.h>
#include <quarn/OutgoingMessage.h>
#include <quarn/Parse.h>
#include <quarn/Sentence.h>
#include <quarn/SentenceDetails.h>
#include <quarn/Text.h>

#include "services/ClientServer.h"
#include "services/StopService.h"

#include <exception>

namespace quarn {

namespace {

constexpr size_t kReplyLimit = 262144;  // a client's terminal takes no more
constexpr size_t kReasonLimit = 4096;   // characters of an exception, which may quote a long name
constexpr ClientServer::Names kNames = {"gpio-server", "GPIOServer", "gpio ($peer$)", "Requests executed"};

bool IsRequest(const Sentence& sentence) {
    const uint32_t tag = sentence.GetDetails().GetTag();
    return tag == GPIOServerGrammar::GET || tag == GPIOServerGrammar::SET ||
           tag == GPIOServerGrammar::COMMAND;
}

/// The command word is the client's own: usage texts quote it.
std::vector<std::string> ExecuteLine(GPIOAccess& gpio, const std::vector<std::string>& text) {
    std::string line;
    for (const std::string& part : text)
        line += part + ' ';
    std::vector<std::string> words = Tokenize(line);
    if (words.empty())
        throw MonitorException("GPIO: no command");
    const std::string command = std::move(words[0]);
    words.erase(words.begin());
    const std::list<std::string> response = gpio.Execute(command, words);
    return {response.begin(), response.end()};
}

class GPIOClient final : public ServedClient {
public:
    GPIOClient(const ClientServer& server, const GPIOServerGrammar& grammar, GPIOAccess& gpio,
               TCPConnection* connection)
        : ServedClient(connection), server_(server), grammar_(grammar), gpio_(gpio) {}

    bool IsSending() override { return terminal_.WorkPending(); }
    bool Send() override { return terminal_.Flush(); }
    bool Read() override { return terminal_.Work(); }
    bool Next() override { return terminal_.Get(message_); }

    bool Execute() override {
        const std::unique_ptr<Sentence> request = TakeRequest();
        if (request)
            terminal_.Put(Reply(*request));
        return request != nullptr;
    }

private:
    /// Null, which is printed, for a message that is no request.
    std::unique_ptr<Sentence> TakeRequest() {
        std::string defect = "not a request";
        try {
            std::unique_ptr<Sentence> sentence(grammar_.CreateSentence(&message_));
            if (sentence && IsRequest(*sentence))
                return sentence;
        } catch (const MonitorException& e) {
            defect = e.Description();
        }
        server_.Print(DEBUG_WARN, __LINE__,
                      Format("%s sent tag %s: %s", Connection().GetName().c_str(),
                             TagDetails::TagAsString(message_.GetTag()).c_str(), defect.c_str()));
        return nullptr;
    }

    OutgoingMessage Reply(const Sentence& request) {
        if (server_.GetDebugLevel() >= 2)
            server_.Print(
                DEBUG_ALWAYS, __LINE__,
                Format("%s: %s %s", Connection().GetName().c_str(), request.GetDetails().GetKey().c_str(),
                       Prettify(request.ToString()).c_str()));
        try {
            const OutgoingMessage reply = Perform(request);
            if (reply.Bytes() <= kReplyLimit)
                return reply;
            throw MonitorException("GPIO: response of %zu bytes is too long", reply.Bytes());
        } catch (const MonitorException& e) {
            return Exception(request, e.Description());
        } catch (const std::exception& e) {
            return Exception(request, e.what());
        }
    }

    OutgoingMessage Perform(const Sentence& request) {
        const VariantValue& actionID = request.Word(0);
        if (request.GetDetails().GetTag() == GPIOServerGrammar::COMMAND)
            return {*grammar_.Find(GPIOServerGrammar::TEXT, true),
                    {actionID, ExecuteLine(gpio_, request.Word(1))}};
        if (request.GetDetails().GetTag() == GPIOServerGrammar::GET)
            return {*grammar_.Find(GPIOServerGrammar::ACK, true), {actionID, gpio_.Get(request.Word(1))}};
        // The value set is not read back: that would turn a bidirectional signal to input.
        gpio_.Set(request.Word(1), request.Word(2));
        return {*grammar_.Find(GPIOServerGrammar::ACK, true), {actionID, request.Word(2)}};
    }

    OutgoingMessage Exception(const Sentence& request, const std::string& reason) const {
        return {*grammar_.Find(GPIOServerGrammar::EXCEPTION, true),
                {request.Word(0), Truncate(reason, kReasonLimit)}};
    }

    const ClientServer& server_;
    const GPIOServerGrammar& grammar_;
    GPIOAccess& gpio_;
    MessageTerminal terminal_{Connection()};
    IncomingMessage message_;
};

}  // namespace

class GPIOServer::Impl final : public ClientServer {
public:
    Impl(Debuggable* parent, const IPAddress& address, uint16_t port, GPIOAccess& gpio,
         const AllowedPeers& allowed)
        : ClientServer(parent, kNames, address, port, allowed), gpio_(gpio) {}

private:
    std::unique_ptr<ServedClient> MakeClient(TCPConnection* connection) override {
        return std::make_unique<GPIOClient>(*this, grammar_, gpio_, connection);
    }

    const GPIOServerGrammar grammar_;
    GPIOAccess& gpio_;
};

GPIOServer::GPIOServer(Debuggable* parent, const std::string& address, uint16_t port, GPIOAccess& gpio,
                       const AllowedPeers& allowed)
    : GPIOServer(std::make_unique<Impl>(parent, ParseIPListenerAddress(address), port, gpio, allowed)) {
    impl_->Start();
}
GPIOServer::GPIOServer(std::unique_ptr<Impl> impl) : Debuggable(impl.get()), impl_(std::move(impl)) {}

GPIOServer::~GPIOServer() {
    impl_->Leave();
    StopService(impl_, "GPIOServer");
}

IPAddress GPIOServer::GetIPAddress() const {
    return impl_->Address();
}
uint16_t GPIOServer::GetPort() const {
    return impl_->Port();
}
void GPIOServer::ReportStatistics(std::list<std::string>& lines) {
    impl_->GetStatistics(lines);
}

}  // namespace quarn
