// A file moved in acknowledged chunks over loopback, from one file to another on the same file system, both
// ends on one core: by BulkTransferSender and BulkTransferReceiver, and by plain blocking sockets in the same
// lock-step with the same CRC32 computed at both ends.

#include <quarn/BulkTransferReceiver.h>
#include <quarn/BulkTransferSender.h>
#include <quarn/CRC32.h>

#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sched.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace quarn;

void Check(bool ok, const char* what) {
    if (!ok) {
        perror(what);
        exit(1);
    }
}

struct Files {
    explicit Files(size_t fileSize) : size(fileSize) {
        const char* folder = getenv("TMPDIR");
        from = std::string(folder ? folder : "/tmp") + "/quarn-bench-from";
        to = std::string(folder ? folder : "/tmp") + "/quarn-bench-to";
        const int fd = open(from.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
        std::vector<uint8_t> block(1 << 20);
        for (size_t i = 0; i < block.size(); ++i)
            block[i] = static_cast<uint8_t>(i * 2654435761U >> 13);
        for (size_t written = 0; written < size; written += block.size())
            Check(write(fd, block.data(), block.size()) == static_cast<ssize_t>(block.size()), "write");
        close(fd);
    }
    ~Files() {
        unlink(from.c_str());
        unlink(to.c_str());
    }
    size_t size;
    std::string from;
    std::string to;
};

void ReadFull(int fd, void* data, size_t length) {
    for (size_t have = 0; have < length;) {
        const ssize_t n = read(fd, static_cast<uint8_t*>(data) + have, length - have);
        Check(n > 0, "read");
        have += static_cast<size_t>(n);
    }
}

void WriteFull(int fd, const void* data, size_t length) {
    for (size_t done = 0; done < length;) {
        const ssize_t n = write(fd, static_cast<const uint8_t*>(data) + done, length - done);
        Check(n > 0, "write");
        done += static_cast<size_t>(n);
    }
}

void RawSend(const Files& files, uint16_t port, size_t chunk) {
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = port;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    Check(connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0, "connect");
    const int on = 1;
    setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    const int file = open(files.from.c_str(), O_RDONLY | O_CLOEXEC);
    std::vector<uint8_t> frame(4 + chunk + 4);
    for (size_t sent = 0; sent < files.size; sent += chunk) {
        const uint32_t length = static_cast<uint32_t>(chunk);
        memcpy(frame.data(), &length, 4);
        ReadFull(file, frame.data() + 4, chunk);
        const uint32_t crc = CRC32::Compute(0, frame.data(), 4 + chunk);
        memcpy(frame.data() + 4 + chunk, &crc, 4);
        WriteFull(fd, frame.data(), frame.size());
        uint32_t acknowledged;
        ReadFull(fd, &acknowledged, 4);
    }
    close(file);
    close(fd);
}

void RawTransfer(const Files& files, size_t chunk) {
    const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    Check(bind(listener, reinterpret_cast<sockaddr*>(&address), length) == 0 && listen(listener, 1) == 0,
          "listen");
    getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length);
    std::thread sender([&] { RawSend(files, address.sin_port, chunk); });
    const int fd = accept(listener, nullptr, nullptr);
    const int on = 1;
    setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    const int file = open(files.to.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    std::vector<uint8_t> frame(4 + chunk + 4);
    uint32_t received = 0;
    while (received < files.size) {
        ReadFull(fd, frame.data(), 4);
        ReadFull(fd, frame.data() + 4, chunk + 4);
        uint32_t crc;
        memcpy(&crc, frame.data() + 4 + chunk, 4);
        Check(crc == CRC32::Compute(0, frame.data(), 4 + chunk), "CRC");
        WriteFull(file, frame.data() + 4, chunk);
        received += static_cast<uint32_t>(chunk);
        WriteFull(fd, &received, 4);
    }
    sender.join();
    close(file);
    close(fd);
    close(listener);
}

void QuarnTransfer(const Files& files, size_t chunk) {
    const IPAddress loopback(std::string("127.0.0.1"));
    BulkTransferReceiver receiver(nullptr, files.to, 1, loopback, 0);
    BulkTransferSender sender(nullptr, files.from, 1, loopback, receiver.GetPort(),
                              static_cast<uint32_t>(chunk));
    while (sender.GetStatus(nullptr) < BULK_TRANSFER_FAILED ||
           receiver.GetStatus(nullptr) < BULK_TRANSFER_FAILED)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    Check(receiver.GetStatus(nullptr) == BULK_TRANSFER_SUCCEEDED, "transfer");
}

void Measure(benchmark::State& state, void (*transfer)(const Files&, size_t), size_t chunk) {
    const Files files(chunk <= 1024 ? 8 << 20 : 128 << 20);
    transfer(files, chunk);  // so that the pages are there
    for (auto _ : state)
        transfer(files, chunk);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * files.size));
}

}  // namespace

int main(int argc, char** argv) {
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(0, &one);
    sched_setaffinity(0, sizeof one, &one);
    for (const size_t chunk : {1024, 65536, 524288}) {
        const std::string what = "bulk/" + std::to_string(chunk / 1024) + " KiB chunks/";
        benchmark::RegisterBenchmark((what + "raw").c_str(), Measure, RawTransfer, chunk)
            ->MeasureProcessCPUTime();
        benchmark::RegisterBenchmark((what + "quarn").c_str(), Measure, QuarnTransfer, chunk)
            ->MeasureProcessCPUTime();
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
}
