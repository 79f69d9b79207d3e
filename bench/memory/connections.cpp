#include <quarn/CharacterTerminal.h>
#include <quarn/IncomingMessage.h>
#include <quarn/LineTerminal.h>
#include <quarn/MessageTerminal.h>
#include <quarn/OutgoingMessage.h>
#include <quarn/TCPConnection.h>
#include <quarn/VariableDetails.h>
#include <quarn/VariableDictionary.h>
#include <quarn/VariantReference.h>

#include "LoopbackPair.h"
#include "memory/Heap.h"
#include "memory/Report.h"

#include <fcntl.h>
#include <poll.h>

#include <algorithm>
#include <memory>
#include <vector>

namespace quarn {

namespace {

constexpr size_t kConnections = 16;

// A connection's far end. Forgets what it reads.
class Peer {
public:
    explicit Peer(int fd) : fd_(fd) { Require(fcntl(fd, F_SETFL, O_NONBLOCK) == 0, "fcntl"); }
    ~Peer() { close(fd_); }
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;

    void Send(const char* bytes, size_t length) {
        Require(send(fd_, bytes, length, 0) == ssize_t(length), "the peer cannot send");
    }
    void Read() {
        char bytes[65536];
        while (recv(fd_, bytes, sizeof bytes, 0) > 0) {
        }
    }

private:
    const int fd_;
};

template <class Terminal>
struct Link {
    explicit Link(std::pair<int, int> ends)
        : peer(ends.second), connection("unit-7:5001", 1, ends.first), terminal(connection) {
        Require(fcntl(ends.first, F_SETFL, O_NONBLOCK) == 0, "fcntl");
    }

    void Work() { Require(terminal.Work(), "disconnected"); }
    void Send() {
        while (terminal.WorkPending()) {
            Work();
            peer.Read();
        }
    }

    Peer peer;
    TCPConnection connection;
    Terminal terminal;
};

// The kinds of connection. Fill() brings the backlogs of both directions to their limits; to send first comes last, because
// Work() sends what it can. Overfill() takes each one step further, which empties it. Use() is traffic that leaves behind as
// much memory as any does.

struct Messages : Link<MessageTerminal> {
    using Link::Link;
    static constexpr const char* kName = "`MessageTerminal`; 256 KiB";
    static constexpr size_t kLimit = 262144;
    static constexpr size_t kKept = 65536;

    void Fill() { FillTo(kLimit); }
    void Overfill() {
        Require(terminal.Put(Piece()) == 0, "the backlog was not emptied");
        peer.Send("", 1);
        while (Received() != 0)
            Work();
    }
    void Use() {
        FillTo(kKept);
        IncomingMessage message;
        Require(!terminal.Get(message), "a message among zeros");
        Send();
    }

private:
    static constexpr size_t kPieceBytes = 4096;
    static constexpr size_t kFrameBytes = 7;

    static const OutgoingMessage& Piece() {
        static const VariableDictionary dictionary("memory");
        static const VariableDetails details(1, "blob", dictionary, VariantType::UINT8_VECTOR);
        static std::vector<uint8_t> blob(kPieceBytes - kFrameBytes);
        static const OutgoingMessage piece(details, VariantReference(&blob));
        return piece;
    }
    size_t Received() const {
        size_t bytes = 0;
        terminal.GetBacklogs(&bytes, nullptr);
        return bytes;
    }
    void FillTo(size_t bytes) {
        static constexpr char kZeros[kPieceBytes] = {};
        for (size_t have = kPieceBytes; have <= bytes; have += kPieceBytes) {
            peer.Send(kZeros, kPieceBytes);
            while (Received() < have)
                Work();
        }
        for (size_t have = kPieceBytes; have <= bytes; have += kPieceBytes)
            Require(terminal.Put(Piece()) == have, "the backlog is not what was queued");
    }
};

struct Lines : Link<LineTerminal> {
    using Link::Link;
    static constexpr const char* kName = "`LineTerminal`; 1023 lines of 79 characters";
    static constexpr size_t kLimit = 1023;

    void Fill() {
        for (size_t i = 0; i < kLimit; ++i)
            ReceiveLine();
        for (size_t i = 0; i < kLimit; ++i)
            terminal.Put(Line());
    }
    void Overfill() {
        terminal.Put(Line());
        terminal.Put(Line());
        ReceiveLine();
        std::string line;
        Require(!terminal.Get(line), "the backlog was not emptied");
    }
    void Use() {
        Fill();
        size_t lines = 0;
        for (std::string line; terminal.Get(line);)
            ++lines;
        Require(lines == kLimit, "lines were lost");
        Send();
    }

private:
    static const std::string& Line() {
        static const std::string line(79, 'x');
        return line;
    }
    void ReceiveLine() {
        peer.Send((Line() + "\n").c_str(), Line().size() + 1);
        sent_ += Line().size() + 1;
        for (uint64_t received = 0; received < sent_; terminal.GetCharacterCounts(&received, nullptr))
            Work();
    }

    uint64_t sent_ = 0;
};

struct Characters : Link<CharacterTerminal> {
    using Link::Link;
    static constexpr const char* kName = "`CharacterTerminal`; 16383 characters";
    static constexpr size_t kLimit = 16383;

    void Fill() {
        static const std::vector<char> characters(kLimit, 'x');
        for (size_t have = 0; have < kLimit; have += kPiece) {
            peer.Send(characters.data(), std::min(kPiece, kLimit - have));
            Receive();
        }
        terminal.Put(characters);
    }
    void Overfill() {
        terminal.Put({'x'});
        terminal.Put({'x'});
        peer.Send("x", 1);
        Receive();
        std::vector<char> got;
        Require(!terminal.Get(got), "the backlog was not emptied");
    }
    void Use() {
        Fill();
        std::vector<char> got;
        Require(terminal.Get(got) && got.size() == kLimit, "characters were lost");
        Send();
    }

private:
    static constexpr size_t kPiece = 4096;

    void Receive() {
        pollfd waiting = {terminal.Socket(), POLLIN, 0};
        Require(poll(&waiting, 1, -1) == 1, "poll");
        Work();
    }
};

// What one of many connections takes after the step, the objects themselves included.
template <class Kind>
size_t Each(void (*step)(Kind&)) {
    std::unique_ptr<Kind> made[kConnections];
    const size_t before = heap::InUse();
    for (auto& one : made) {
        one = std::make_unique<Kind>(bench::LoopbackPair());
        step(*one);
    }
    return (heap::InUse() - before) / kConnections;
}

template <class Kind>
size_t MostWhileFilling() {
    const size_t before = heap::InUse();
    Kind one(bench::LoopbackPair());
    heap::ForgetMost();
    one.Fill();
    one.Overfill();
    return heap::Most() - before + sizeof one;
}

template <class Kind>
void Row() {
    MostWhileFilling<Kind>();  // makes what is made once
    const std::string made = BytesText(Each<Kind>([](Kind&) {}));
    const std::string used = BytesText(Each<Kind>([](Kind& one) { one.Use(); }));
    const std::string full = BytesText(Each<Kind>([](Kind& one) { one.Fill(); }));
    printf("| %s | %s | %s | %s | %s |\n", Kind::kName, made.c_str(), used.c_str(), full.c_str(),
           BytesText(MostWhileFilling<Kind>()).c_str());
}

}  // namespace

void ReportConnections() {
    puts(
        "| a `TCPConnection` and its terminal; backlog each way | made | used and emptied | full | most ever "
        "|");
    puts("| --- | --- | --- | --- | --- |");
    Row<Messages>();
    Row<Lines>();
    Row<Characters>();
    puts("");
}

}  // namespace quarn
