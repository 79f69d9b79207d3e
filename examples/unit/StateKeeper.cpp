#include "unit/StateKeeper.h"

#include <quarn/Debug.h>
#include <quarn/LocalTime.h>
#include <quarn/MonitorException.h>
#include <quarn/OutgoingMessage.h>

#include <errno.h>
#include <string.h>
#include <unistd.h>

#include <filesystem>

namespace unit {

namespace {

// What a storage block needs beside the messages: header, trailer and padding.
constexpr size_t kBlockOverhead = 24 + 8 + 3;

bool TakePrefix(std::string& text, const std::string& prefix) {
    if (!text.starts_with(prefix))
        return false;
    text.erase(0, prefix.size());
    return true;
}

/// A file that does not exist yet is made by the first save; a folder is not.
void CheckFolderOf(const std::string& file) {
    const std::filesystem::path folder = std::filesystem::path(file).parent_path();
    std::error_code none;
    int error = 0;
    if (std::filesystem::is_directory(file, none))
        error = EISDIR;
    else if (access((folder.empty() ? "." : folder / ".").c_str(), X_OK) != 0)
        error = errno;
    if (error != 0)
        throw quarn::MonitorException("Cannot keep settings in \"%s\": %s", file.c_str(), strerror(error));
}

}  // namespace

StateKeeper::StateKeeper(const StateOptions& options, quarn::VariableIndex& index, quarn::DeviceIO& io)
    : options_(options),
      index_(index),
      storage_("state", options.blockSize, options.dataVersion, io),
      isKept_(!options.devices.empty()) {
    for (const std::string& device : options.devices)
        Add(device);
    if (!isKept_)
        return;
    WarnIfTooLarge();
    const bool loaded = storage_.Load(index, 0);
    if (quarn::DefaultDebug())
        quarn::DefaultDebug()->Printf(
            quarn::DEBUG_INFO, __FILE__, __LINE__, "%s",
            loaded ? "Loaded the saved variables" : "No saved variables; starting with defaults");
}

void StateKeeper::Add(const std::string& device) {
    std::string name = device;
    if (TakePrefix(name, "mtd:"))
        storage_.AddMTD(name);
    else if (TakePrefix(name, "eeprom:"))
        AddEEPROM(name);
    else
        AddFile(name);
}

void StateKeeper::AddEEPROM(const std::string& path) {
    if (options_.blockSize == 0)
        throw quarn::MonitorException("Cannot keep settings in \"eeprom:%s\" without --state-block-size",
                                      path.c_str());
    storage_.AddEEPROM(path);
}

void StateKeeper::AddFile(const std::string& path) {
    if (options_.blockSize == 0)
        CheckFolderOf(path);  // with blocks it may be a device of the board, which has no folder here
    storage_.AddFile(path);
}

void StateKeeper::WarnIfTooLarge() const {
    size_t size = kBlockOverhead;
    const std::set<uint32_t> skipped = index_.GetNonpersistentTags();
    for (const quarn::OutgoingMessage& message : index_.CreateOutgoingMessages(0))
        if (skipped.count(message.GetTag()) == 0)
            size += message.Bytes();
    if (options_.blockSize != 0 && size > options_.blockSize && quarn::DefaultDebug())
        quarn::DefaultDebug()->Printf(
            quarn::DEBUG_WARN, __FILE__, __LINE__,
            "The variables need %zu bytes, more than a block of %lu: saves would run into the "
            "next block. Choose a larger block size.",
            size, options_.blockSize);
}

uint64_t StateKeeper::Deadline() const {
    if (!changed_)
        return UINT64_MAX;
    return lastSaveTick_ == 0 ? 0 : lastSaveTick_ + options_.intervalMs * 1000;
}

void StateKeeper::SaveIfDue() {
    if (quarn::Tick() >= Deadline())
        SaveNow();
}

void StateKeeper::SaveNow() {
    if (!changed_)
        return;
    changed_ = false;
    storage_.Save(index_, 0);
    lastSaveTick_ = quarn::Tick();
}

}  // namespace unit
