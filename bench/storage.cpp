// Saving a hundred variables so that they are on the medium, beside a plain write and two databases, and
// loading the newest of many saved blocks, beside reading them. Works in a folder of its own in the current
// one: run it on the file system that matters, since a temporary one may be in memory.

#include <quarn/DeviceIO.h>
#include <quarn/PersistentStorage.h>
#include <quarn/VariableDictionary.h>
#include <quarn/VariableIndex.h>

#include "PinnedMain.h"

#include <fcntl.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#if QUARN_BENCH_PEERS
#include <lmdb.h>
#include <sqlite3.h>
#endif

namespace quarn::bench {
namespace {

constexpr uint32_t kVariables = 100;
constexpr size_t kValueBytes = 34;
constexpr size_t kSavedBytes = 24 + kVariables * (kValueBytes + 6) + 8;  // of the block that holds them all
constexpr size_t kBlock = 4096;
constexpr size_t kBlocks = 64;

class Folder {
public:
    Folder() {
        if (!mkdtemp(path_.data()))
            throw std::runtime_error("cannot make a folder here");
    }
    ~Folder() { std::filesystem::remove_all(path_); }
    std::string operator/(const char* name) const { return path_ + "/" + name; }

private:
    std::string path_ = std::filesystem::current_path().string() + "/bench-storage-XXXXXX";
};

const Folder& Here() {
    static const Folder folder;
    return folder;
}

/// A hundred keys, and values that all change from one save to the next.
struct Values {
    Values() : keys(kVariables), values(kVariables, std::string(kValueBytes, 'v')) {
        for (uint32_t i = 0; i < kVariables; ++i)
            keys[i] = "var.name." + std::to_string(100 + i);
    }
    void Change() {
        ++generation;
        for (std::string& value : values)
            memcpy(value.data(), &generation, sizeof generation);
    }

    uint32_t generation = 0;
    std::vector<std::string> keys, values;
};

struct Variables : Values {
    Variables() {
        for (uint32_t i = 0; i < kVariables; ++i) {
            dictionary.Add(i + 1, keys[i], VariantType::STRING);
            index.Add(i + 1, &values[i], 0);
        }
    }

    VariableDictionary dictionary{"bench"};
    VariableIndex index{"bench", dictionary};
};

void SaveQuarn(benchmark::State& state) {
    Variables variables;
    const std::string path = Here() / "quarn";
    PersistentStorage storage("bench", 0, 1);
    storage.AddFile(path);
    storage.Save(variables.index, 0);
    if (std::filesystem::file_size(path) != kSavedBytes)
        return state.SkipWithError("the block has another length than the plain write");
    for (auto _ : state) {
        variables.Change();
        storage.Save(variables.index, 0);
    }
}
BENCHMARK(SaveQuarn)->Name("storage/save/quarn")->UseRealTime();

void SaveRaw(benchmark::State& state) {
    std::vector<uint8_t> block(kSavedBytes, 0x55);
    const int fd = open((Here() / "raw").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    const auto save = [&] {
        ++block[0];
        return lseek(fd, 0, SEEK_SET) == 0 &&
               write(fd, block.data(), block.size()) == ssize_t(block.size()) && fdatasync(fd) == 0;
    };
    if (!save())
        state.SkipWithError("cannot write");
    for (auto _ : state)
        benchmark::DoNotOptimize(save());
    close(fd);
}
BENCHMARK(SaveRaw)->Name("storage/save/raw")->UseRealTime();

/// A file of 64 blocks, filled by 64 saves. The newest is the last.
const std::string& ManyBlocks() {
    static const std::string path = [] {
        const std::string file = Here() / "blocks";
        const std::vector<uint8_t> zeros(kBlock * kBlocks);
        const int fd = open(file.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
        if (write(fd, zeros.data(), zeros.size()) != ssize_t(zeros.size()))
            throw std::runtime_error("cannot write");
        close(fd);
        Variables variables;
        PersistentStorage storage("bench", kBlock, 1);
        storage.AddEEPROM(file);
        for (size_t i = 0; i < kBlocks; ++i) {
            variables.Change();
            storage.Save(variables.index, 0);
        }
        return file;
    }();
    return path;
}

void LoadQuarn(benchmark::State& state) {
    Variables variables;
    PersistentStorage storage("bench", kBlock, 1);
    storage.AddEEPROM(ManyBlocks());
    for (auto _ : state)
        if (!storage.Load(variables.index, 0))
            return state.SkipWithError("nothing to load");
    if (memcmp(variables.values[kVariables - 1].data(), "@\0\0\0", 4) != 0)
        state.SkipWithError("this is not the newest");
}
BENCHMARK(LoadQuarn)->Name("storage/load/quarn");

/// Reading the file in pieces of `piece` bytes, one every `step`.
void LoadRaw(benchmark::State& state, size_t piece, size_t step) {
    const std::string& path = ManyBlocks();
    std::vector<uint8_t> contents(piece);
    for (auto _ : state) {
        const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
        for (size_t offset = 0; offset < kBlock * kBlocks; offset += step)
            if ((step != piece && lseek(fd, long(offset), SEEK_SET) < 0) ||
                read(fd, contents.data(), piece) != ssize_t(piece))
                return state.SkipWithError("cannot read");
        close(fd);
        benchmark::DoNotOptimize(contents.data());
    }
}
BENCHMARK_CAPTURE(LoadRaw, whole, kBlock* kBlocks, kBlock* kBlocks)->Name("storage/load/raw");
BENCHMARK_CAPTURE(LoadRaw, blocks, kBlock, kBlock)->Name("storage/load/raw by block");
BENCHMARK_CAPTURE(LoadRaw, headers, 24, kBlock)->Name("storage/load/raw headers only");

#if QUARN_BENCH_PEERS

class Sqlite {
public:
    Sqlite() {
        const std::string path = Here() / "sqlite";
        for (const char* suffix : {"", "-wal", "-shm"})
            unlink((path + suffix).c_str());
        sqlite3_open(path.c_str(), &database_);
        Run("PRAGMA journal_mode=WAL; PRAGMA synchronous=FULL; CREATE TABLE kv(k TEXT PRIMARY KEY, v BLOB)");
        sqlite3_prepare_v2(database_,
                           "INSERT INTO kv(k,v) VALUES(?,?) ON CONFLICT(k) DO UPDATE SET v=excluded.v", -1,
                           &upsert_, nullptr);
    }
    ~Sqlite() {
        sqlite3_finalize(upsert_);
        sqlite3_close(database_);
    }
    Sqlite(const Sqlite&) = delete;
    Sqlite& operator=(const Sqlite&) = delete;

    void Save(const Values& values) {
        Run("BEGIN IMMEDIATE");
        for (uint32_t i = 0; i < kVariables; ++i) {
            sqlite3_bind_text(upsert_, 1, values.keys[i].data(), int(values.keys[i].size()), nullptr);
            sqlite3_bind_blob(upsert_, 2, values.values[i].data(), int(kValueBytes), nullptr);
            if (sqlite3_step(upsert_) != SQLITE_DONE)
                throw std::runtime_error(sqlite3_errmsg(database_));
            sqlite3_reset(upsert_);
        }
        Run("COMMIT");
    }

private:
    void Run(const char* sql) {
        if (sqlite3_exec(database_, sql, nullptr, nullptr, nullptr) != SQLITE_OK)
            throw std::runtime_error(sqlite3_errmsg(database_));
    }

    sqlite3* database_ = nullptr;
    sqlite3_stmt* upsert_ = nullptr;
};

class Lmdb {
public:
    Lmdb() {
        const std::string path = Here() / "lmdb";
        for (const char* suffix : {"", "-lock"})
            unlink((path + suffix).c_str());
        Check(mdb_env_create(&environment_));
        Check(mdb_env_set_mapsize(environment_, 16 << 20));
        Check(mdb_env_open(environment_, path.c_str(), MDB_NOSUBDIR, 0600));
        MDB_txn* transaction;
        Check(mdb_txn_begin(environment_, nullptr, 0, &transaction));
        Check(mdb_dbi_open(transaction, nullptr, 0, &database_));
        Check(mdb_txn_commit(transaction));
    }
    ~Lmdb() { mdb_env_close(environment_); }
    Lmdb(const Lmdb&) = delete;
    Lmdb& operator=(const Lmdb&) = delete;

    void Save(Values& values) {
        MDB_txn* transaction;
        Check(mdb_txn_begin(environment_, nullptr, 0, &transaction));
        for (uint32_t i = 0; i < kVariables; ++i) {
            MDB_val key{values.keys[i].size(), values.keys[i].data()};
            MDB_val value{kValueBytes, values.values[i].data()};
            Check(mdb_put(transaction, database_, &key, &value, 0));
        }
        Check(mdb_txn_commit(transaction));
    }

private:
    static void Check(int result) {
        if (result != 0)
            throw std::runtime_error(mdb_strerror(result));
    }

    MDB_env* environment_ = nullptr;
    MDB_dbi database_ = 0;
};

template <class Database>
void SavePeer(benchmark::State& state) {
    Database database;
    Values values;
    database.Save(values);
    for (auto _ : state) {
        values.Change();
        database.Save(values);
    }
}
BENCHMARK(SavePeer<Sqlite>)->Name("storage/save/sqlite")->UseRealTime();
BENCHMARK(SavePeer<Lmdb>)->Name("storage/save/lmdb")->UseRealTime();

#endif

}  // namespace
}  // namespace quarn::bench

QUARN_PINNED_BENCHMARK_MAIN()
