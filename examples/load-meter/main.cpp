// A daemon with a worker, a timer and a socket: measures the machine's load once a second, and answers lines over TCP.

#include <quarn/quarn.h>

#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <list>
#include <memory>

namespace {

constexpr uint64_t kSecondUs = 1000000;
constexpr size_t kMaxClients = 16;

struct Client {
    explicit Client(std::unique_ptr<quarn::TCPConnection> accepted)
        : connection(std::move(accepted)), terminal(*connection) {}

    std::unique_ptr<quarn::TCPConnection> connection;
    quarn::LineTerminal terminal;
    int32_t watchedFor = 0;
};

class LoadMeter final : public quarn::Worker {
public:
    /// Port 0 has the system choose. Throws MonitorException when the port cannot be had.
    explicit LoadMeter(uint16_t port)
        : Worker(nullptr, "load-meter"), listener_(quarn::IPAddress("127.0.0.1"), port) {}

    uint16_t GetPort() const { return listener_.GetPort(); }

private:
    bool Initialize() override {
        AddWaitableFileDescriptor(listener_.Socket(), WAIT_READ, "listener");
        return true;
    }

    bool PreWait() override {
        const uint64_t now = quarn::Tick();
        SetPollInterval(nextTick_ <= now ? 0 : static_cast<int32_t>((nextTick_ - now) / 1000 + 1));
        return true;
    }

    bool Work() override {
        if (quarn::Tick() >= nextTick_)
            Measure();
        if (IsReady(listener_.Socket()))
            AcceptClients();
        for (auto client = clients_.begin(); client != clients_.end();)
            client = IsReady(client->terminal.Socket()) && !Serve(*client) ? Drop(client) : std::next(client);
        return true;
    }

    void Finalize() override {
        while (!clients_.empty())
            Drop(clients_.begin());
        RemoveWaitableFileDescriptor(listener_.Socket());
        kill(getpid(), SIGTERM);  // should the worker have ended by itself, the process ends with it
    }

    bool IsReady(int fd) { return GetReadyFileDescriptors().contains(fd); }

    void Measure() {
        nextTick_ += kSecondUs;
        if (getloadavg(&load_, 1) == 1)
            peak_ = std::max(peak_, load_);
        quarn::DefaultDebug()->Printf(quarn::DEBUG_STATUS, __FILE__, __LINE__, "load %.2f", load_);
    }

    void AcceptClients() {
        while (auto connection = std::unique_ptr<quarn::TCPConnection>(listener_.Accept("client $peer$"))) {
            if (clients_.size() == kMaxClients)
                continue;  // one too many is closed
            clients_.emplace_back(std::move(connection));
            Watch(clients_.back());
        }
    }

    /// False once the client is gone.
    bool Serve(Client& client) {
        const bool alive = client.terminal.Work();
        std::string line;
        while (client.terminal.Get(line))
            client.terminal.Put(Answer(line));
        if (alive)
            Watch(client);
        return alive;
    }

    std::string Answer(const std::string& line) {
        if (line == "load")
            return quarn::Format("%.2f", load_);
        if (line == "peak")
            return quarn::Format("%.2f", peak_);
        if (line == "forget") {
            peak_ = load_;
            return "forgotten";
        }
        return "unknown \"" + line + "\": load, peak or forget";
    }

    /// Waits for the client's next line, and while an answer is under way, for room to send it, too.
    void Watch(Client& client) {
        const int32_t wanted = client.terminal.WorkPending() ? WAIT_READ | WAIT_WRITE : WAIT_READ;
        if (client.watchedFor == wanted)
            return;
        if (client.watchedFor != 0)
            RemoveWaitableFileDescriptor(client.terminal.Socket());
        AddWaitableFileDescriptor(client.terminal.Socket(), wanted, client.connection->GetName());
        client.watchedFor = wanted;
    }

    std::list<Client>::iterator Drop(std::list<Client>::iterator client) {
        RemoveWaitableFileDescriptor(client->terminal.Socket());
        return clients_.erase(client);
    }

    quarn::TCPListener listener_;
    std::list<Client> clients_;
    uint64_t nextTick_ = quarn::Tick();
    double load_ = 0;
    double peak_ = 0;
};

}  // namespace

int main(int argc, char** argv) {
    sigset_t end;
    sigemptyset(&end), sigaddset(&end, SIGINT), sigaddset(&end, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &end, nullptr);  // before there are threads
    setlinebuf(stdout);
    quarn::Debug debug({.consoleMask = quarn::DEBUG_ERR | quarn::DEBUG_WARN | quarn::DEBUG_STATUS}, nullptr);
    debug.SetAsDefault();
    try {
        LoadMeter meter(argc > 1 ? quarn::ParseU16(argv[1], 0) : 0);
        printf("serving on 127.0.0.1:%u\n", meter.GetPort());
        meter.Start();
        int signal = 0;
        sigwait(&end, &signal);
        const bool toldToEnd = meter.GetStatus() == "running";
        meter.Stop();
        return toldToEnd ? 0 : 1;
    } catch (const quarn::MonitorException& e) {
        fprintf(stderr, "load-meter: %s\n", e.Description().c_str());
        return 1;
    }
}
