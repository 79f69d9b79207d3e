// A one-way stream of 64-byte messages over loopback TCP, from one thread to another on the same core, with
// one message or many to a send. quarn: two MessageTerminals, each with an epoll loop; messages carry a CRC16
// and are encoded one by one, checked and decoded. The others write and check a length and a sequence number.

#include <quarn/IncomingMessage.h>
#include <quarn/MessageTerminal.h>
#include <quarn/OutgoingMessage.h>
#include <quarn/TCPConnection.h>
#include <quarn/VariableDetails.h>
#include <quarn/VariableDictionary.h>
#include <quarn/VariantReference.h>

#include "LoopbackPair.h"
#include "PinnedMain.h"

#include <benchmark/benchmark.h>
#if QUARN_BENCH_PEERS
#include <uv.h>

#include <asio.hpp>
#endif

#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <sys/epoll.h>

#include <array>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

namespace {

using quarn::bench::Require;

constexpr size_t MESSAGE_BYTES = 64;
constexpr size_t LARGEST_BATCH = 1024;

class Epoll {
public:
    Epoll(int fd, uint32_t events) : epoll_(epoll_create1(0)) {
        Require(fcntl(fd, F_SETFL, O_NONBLOCK) == 0);
        epoll_event event = {events, {.fd = fd}};
        Require(epoll_ctl(epoll_, EPOLL_CTL_ADD, fd, &event) == 0);
    }
    ~Epoll() { close(epoll_); }
    Epoll(const Epoll&) = delete;
    Epoll& operator=(const Epoll&) = delete;

    void Wait() {
        epoll_event event;
        Require(epoll_wait(epoll_, &event, 1, -1) == 1);
    }

private:
    const int epoll_;
};

// Frames for those without a format of their own: the length of the rest, a sequence number, 56 bytes.
struct FrameWriter {
    uint32_t sequence = 0;
    std::array<uint8_t, 2 * LARGEST_BATCH * MESSAGE_BYTES> buffer;

    size_t Fill(size_t frames, size_t start = 0) {
        uint8_t* frame = buffer.data() + start;
        for (size_t i = 0; i < frames; ++i, frame += MESSAGE_BYTES) {
            const uint32_t head[2] = {MESSAGE_BYTES - 4, sequence++};
            memcpy(frame, head, sizeof head);
            memset(frame + sizeof head, uint8_t(head[1]), MESSAGE_BYTES - sizeof head);
        }
        return frames * MESSAGE_BYTES;
    }
};

struct FrameReader {
    uint32_t sequence = 0;
    size_t have = 0;
    std::array<uint8_t, 65536> buffer;

    uint8_t* Tail() { return buffer.data() + have; }
    size_t Room() const { return buffer.size() - have; }

    void Got(size_t bytes) {
        have += bytes;
        const uint8_t* frame = buffer.data();
        for (; have >= MESSAGE_BYTES; frame += MESSAGE_BYTES, have -= MESSAGE_BYTES) {
            uint32_t head[2];
            memcpy(head, frame, sizeof head);
            Require(head[0] == MESSAGE_BYTES - 4 && head[1] == sequence++);
        }
        memmove(buffer.data(), frame, have);
    }
};

template <bool duplex>
struct Raw {
    static void Send(int fd, size_t batch, size_t total) {
        const auto frames = std::make_unique<FrameWriter>();
        Epoll epoll(fd, EPOLLOUT);
        while (frames->sequence < total) {
            const size_t length = frames->Fill(batch);
            if (duplex) {
                uint8_t idle[4096];
                Require(read(fd, idle, sizeof idle) < 0 && errno == EAGAIN);
            }
            for (size_t done = 0; done < length;) {
                const ssize_t sent = write(fd, frames->buffer.data() + done, length - done);
                if (sent >= 0)
                    done += size_t(sent);
                else if (Require(errno == EAGAIN), true)
                    epoll.Wait();
            }
        }
        close(fd);
    }

    static void Receive(int fd, size_t total) {
        const auto frames = std::make_unique<FrameReader>();
        Epoll epoll(fd, EPOLLIN);
        while (frames->sequence < total) {
            epoll.Wait();
            const ssize_t received = read(fd, frames->Tail(), frames->Room());
            Require(received > 0);
            frames->Got(size_t(received));
        }
        close(fd);
    }
};

// The tag says where a message stands in the sequence.
template <bool (quarn::MessageTerminal::*send)()>
struct Quarn {
    static void Send(int fd, size_t batch, size_t total) {
        const quarn::VariableDictionary dictionary("bench");
        std::vector<quarn::VariableDetails> details;
        for (uint32_t tag = 0; tag < LARGEST_BATCH; ++tag)
            details.emplace_back(tag, "blob", dictionary, quarn::VariantType::UINT8_VECTOR);
        std::vector<uint8_t> blob(MESSAGE_BYTES - 6);
        const quarn::VariantReference value(&blob);
        quarn::TCPConnection connection("sender", 1, fd);
        quarn::MessageTerminal terminal(connection);
        Epoll epoll(fd, EPOLLIN | EPOLLOUT);
        for (size_t sequence = 0; sequence < total;) {
            for (const size_t end = sequence + batch; sequence < end; ++sequence) {
                memset(blob.data(), uint8_t(sequence), blob.size());
                terminal.Put(quarn::OutgoingMessage(details[sequence % LARGEST_BATCH], value));
            }
            while (Require((terminal.*send)()), terminal.WorkPending())
                epoll.Wait();
        }
    }

    static void Receive(int fd, size_t total) {
        quarn::TCPConnection connection("receiver", 2, fd);
        quarn::MessageTerminal terminal(connection);
        quarn::IncomingMessage message;
        Epoll epoll(fd, EPOLLIN);
        for (size_t sequence = 0; sequence < total;) {
            epoll.Wait();
            Require(terminal.Work());
            for (; terminal.Get(message); ++sequence)
                Require(message.GetTotalBytes() == MESSAGE_BYTES &&
                        message.GetTag() == sequence % LARGEST_BATCH);
        }
    }
};

#if QUARN_BENCH_PEERS
struct LibUV {
    // A write takes one turn of the loop to complete, so several are kept under way.
    struct Sender;
    struct Write {
        uv_write_t request;
        Sender* sender;
        size_t start;
    };
    struct Sender {
        FrameWriter frames;
        size_t batch, total;
        uv_tcp_t socket;
        std::vector<Write> writes;

        void Start(Write& write) {
            if (frames.sequence >= total)
                return;
            char* const data = reinterpret_cast<char*>(frames.buffer.data() + write.start);
            const uv_buf_t buffer = uv_buf_init(data, unsigned(frames.Fill(batch, write.start)));
            write.request.data = &write;
            uv_write(&write.request, reinterpret_cast<uv_stream_t*>(&socket), &buffer, 1,
                     [](uv_write_t* request, int error) {
                         Require(error == 0);
                         Write* const done = static_cast<Write*>(request->data);
                         done->sender->Start(*done);
                     });
        }
    };

    static void Send(int fd, size_t batch, size_t total) {
        uv_loop_t loop;
        uv_loop_init(&loop);
        const auto sender = std::make_unique<Sender>();
        sender->batch = batch;
        sender->total = total;
        uv_tcp_init(&loop, &sender->socket);
        uv_tcp_open(&sender->socket, fd);
        sender->writes.resize(batch == 1 ? 64 : 2);
        for (size_t i = 0; i < sender->writes.size(); ++i) {
            sender->writes[i].sender = sender.get();
            sender->writes[i].start = i * batch * MESSAGE_BYTES;
        }
        for (Write& write : sender->writes)
            sender->Start(write);
        uv_run(&loop, UV_RUN_DEFAULT);
        uv_close(reinterpret_cast<uv_handle_t*>(&sender->socket), nullptr);
        uv_run(&loop, UV_RUN_DEFAULT);
        uv_loop_close(&loop);
    }

    struct Receiver {
        FrameReader frames;
        size_t total;
        uv_tcp_t socket;
    };

    static void Receive(int fd, size_t total) {
        uv_loop_t loop;
        uv_loop_init(&loop);
        const auto receiver = std::make_unique<Receiver>();
        receiver->total = total;
        uv_tcp_init(&loop, &receiver->socket);
        uv_tcp_open(&receiver->socket, fd);
        receiver->socket.data = receiver.get();
        uv_read_start(
            reinterpret_cast<uv_stream_t*>(&receiver->socket),
            [](uv_handle_t* handle, size_t, uv_buf_t* buffer) {
                FrameReader& frames = static_cast<Receiver*>(handle->data)->frames;
                *buffer = uv_buf_init(reinterpret_cast<char*>(frames.Tail()), unsigned(frames.Room()));
            },
            [](uv_stream_t* stream, ssize_t received, const uv_buf_t*) {
                Require(received >= 0);
                Receiver* const self = static_cast<Receiver*>(stream->data);
                self->frames.Got(size_t(received));
                if (self->frames.sequence >= self->total)
                    uv_close(reinterpret_cast<uv_handle_t*>(stream), nullptr);
            });
        uv_run(&loop, UV_RUN_DEFAULT);
        uv_loop_close(&loop);
    }
};

struct Asio {
    using Socket = asio::ip::tcp::socket;

    static void Send(int fd, size_t batch, size_t total) {
        const auto frames = std::make_unique<FrameWriter>();
        asio::io_context context{1};
        Socket socket(context, asio::ip::tcp::v4(), fd);
        std::function<void()> next = [&] {
            if (frames->sequence < total)
                asio::async_write(socket, asio::buffer(frames->buffer.data(), frames->Fill(batch)),
                                  [&](asio::error_code error, size_t) {
                                      Require(!error);
                                      next();
                                  });
        };
        next();
        context.run();
    }

    static void Receive(int fd, size_t total) {
        const auto frames = std::make_unique<FrameReader>();
        asio::io_context context{1};
        Socket socket(context, asio::ip::tcp::v4(), fd);
        std::function<void()> next = [&] {
            if (frames->sequence < total)
                socket.async_read_some(asio::buffer(frames->Tail(), frames->Room()),
                                       [&](asio::error_code error, size_t received) {
                                           Require(!error);
                                           frames->Got(received);
                                           next();
                                       });
        };
        next();
        context.run();
    }
};
#endif

// Send() and Receive() close their descriptors.
template <class Who>
void Stream(benchmark::State& state) {
    const size_t batch = size_t(state.range(0));
    const size_t total = batch == 1 ? size_t{100} * 1024 : size_t{1000} * 1024;
    for (auto _ : state) {
        const auto ends = quarn::bench::LoopbackPair();
        std::thread sender([&] { Who::Send(ends.first, batch, total); });
        Who::Receive(ends.second, total);
        sender.join();
    }
    state.SetItemsProcessed(int64_t(state.iterations() * total));
}

// On a machine that others use as well the CPU time, of both threads, is the figure to compare.
void Batches(benchmark::internal::Benchmark* benchmark) {
    benchmark->ArgName("per_send")->Arg(1)->Arg(64)->Arg(LARGEST_BATCH);
    benchmark->UseRealTime()->MeasureProcessCPUTime()->Unit(benchmark::kMillisecond);
}

BENCHMARK(Stream<Raw<false>>)->Name("tcp/stream64/raw")->Apply(Batches);
BENCHMARK(Stream<Raw<true>>)->Name("tcp/stream64/raw_duplex")->Apply(Batches);
BENCHMARK(Stream<Quarn<&quarn::MessageTerminal::Work>>)->Name("tcp/stream64/quarn")->Apply(Batches);
BENCHMARK(Stream<Quarn<&quarn::MessageTerminal::Flush>>)->Name("tcp/stream64/quarn_flush")->Apply(Batches);
#if QUARN_BENCH_PEERS
BENCHMARK(Stream<LibUV>)->Name("tcp/stream64/libuv")->Apply(Batches);
BENCHMARK(Stream<Asio>)->Name("tcp/stream64/asio")->Apply(Batches);
#endif

}  // namespace

QUARN_PINNED_BENCHMARK_MAIN()
