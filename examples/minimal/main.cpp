#include <quarn/quarn.h>

#include <signal.h>

class Heartbeat final : public quarn::Worker {
public:
    Heartbeat() : Worker(nullptr, "heartbeat") { SetPollInterval(1000); }
    bool Work() override {
        quarn::DefaultDebug()->Printf(quarn::DEBUG_INFO, __FILE__, __LINE__, "beat %u", ++beats_);
        return true;  // false would end the worker
    }

private:
    uint32_t beats_ = 0;
};

int main() {
    sigset_t end;
    sigemptyset(&end), sigaddset(&end, SIGINT), sigaddset(&end, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &end, nullptr);  // before there are threads
    setlinebuf(stdout);
    quarn::Debug debug({.consoleMask = quarn::DEBUG_ERR | quarn::DEBUG_INFO}, nullptr);
    debug.SetAsDefault();
    Heartbeat heartbeat;
    heartbeat.Start();
    int signal = 0;
    sigwait(&end, &signal);
    heartbeat.Stop();
}
