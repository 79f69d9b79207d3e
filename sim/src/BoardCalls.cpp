// The seams: what programs on the board call.

#include "BoardImpl.h"

#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>

namespace quarn::sim {

void* SimulatedBoard::Impl::Map(size_t length, int32_t protection, int32_t flags, int32_t fd,
                                int64_t offset) {
    const auto refuse = [](int error) {
        errno = error;
        return MAP_FAILED;
    };
    const std::lock_guard lock(mutex);
    if (faults.Strike(Call::MAP))
        return MAP_FAILED;
    if (offset % sysconf(_SC_PAGESIZE) != 0)
        return refuse(EINVAL);
    DeviceIO* owner = &DeviceIO::System();
    void* base;
    if (flags & MAP_ANONYMOUS) {
        base = owner->Map(length, protection, flags, fd, offset);
    } else {
        const std::shared_ptr<OpenFile> file = nodes.Get(fd);
        if (!file)
            return MAP_FAILED;
        if (length == 0)
            return refuse(EINVAL);
        owner = file->Owner();
        base = file->Map(length, protection, flags, offset);
    }
    if (base != MAP_FAILED && owner)
        foreign[reinterpret_cast<uintptr_t>(base)] = {owner, length};
    return base;
}

int32_t SimulatedBoard::Impl::Unmap(void* address, size_t length) {
    const std::lock_guard lock(mutex);
    if (faults.Strike(Call::UNMAP))
        return -1;
    if (memory->IsMapping(address, length))
        return memory->Unmap(address);
    const auto found = foreign.find(reinterpret_cast<uintptr_t>(address));
    if (found == foreign.end() || found->second.length != length)
        return Refuse(EINVAL);
    const int32_t result = found->second.owner->Unmap(address, length);
    if (result == 0)
        foreign.erase(found);
    return result;
}

DeviceIO& SimulatedBoard::Impl::Owner(const volatile uint32_t* word) const {
    const auto wanted = reinterpret_cast<uintptr_t>(word);
    const auto next = foreign.upper_bound(wanted);
    if (next == foreign.begin() || wanted - std::prev(next)->first >= std::prev(next)->second.length) {
        fprintf(stderr, "SIM: access to a word at 0x%lX, where nothing is mapped\n", wanted);
        abort();
    }
    return *std::prev(next)->second.owner;
}

int32_t SimulatedBoard::Open(const std::string& path, int32_t flags, uint32_t mode) {
    const std::lock_guard lock(impl_->mutex);
    return impl_->faults.Strike(Call::OPEN) ? -1 : impl_->nodes.Open(path, flags, mode);
}

int32_t SimulatedBoard::Close(int32_t fd) {
    std::unique_lock lock(impl_->mutex);
    const std::shared_ptr<OpenFile> file = impl_->nodes.Find(fd);
    if (file)
        impl_->nodes.Drop(fd);  // gone also when this fails
    if (impl_->faults.Strike(Call::CLOSE))
        return -1;
    if (!file)
        return Refuse(EBADF);
    lock.unlock();
    return file->Close();
}

ssize_t SimulatedBoard::Read(int32_t fd, void* data, size_t length) {
    return impl_->OnFile(Call::READ, fd, O_WRONLY, EBADF, [&](OpenFile& file, size_t most) {
        return file.Read(data, std::min(length, most));
    });
}

ssize_t SimulatedBoard::Write(int32_t fd, const void* data, size_t length) {
    return impl_->OnFile(Call::WRITE, fd, O_RDONLY, EBADF, [&](OpenFile& file, size_t most) {
        return file.Write(data, std::min(length, most));
    });
}

int64_t SimulatedBoard::Seek(int32_t fd, int64_t offset, int32_t whence) {
    return impl_->OnFile(Call::SEEK, fd, Nodes::kNone, 0,
                         [&](OpenFile& file, size_t) { return file.Seek(offset, whence); });
}

int32_t SimulatedBoard::Truncate(int32_t fd, int64_t length) {
    return impl_->OnFile(Call::TRUNCATE, fd, O_RDONLY, EINVAL,
                         [&](OpenFile& file, size_t) { return file.Truncate(length); });
}

int32_t SimulatedBoard::Sync(int32_t fd) {
    return impl_->OnFile(Call::SYNC, fd, Nodes::kNone, 0, [](OpenFile& file, size_t) { return file.Sync(); });
}

int32_t SimulatedBoard::IOCtl(int32_t fd, unsigned long request, void* argument) {
    return impl_->OnFile(Call::IOCTL, fd, Nodes::kNone, 0,
                         [&](OpenFile& file, size_t) { return file.IOCtl(request, argument); });
}

int64_t SimulatedBoard::FileSize(const std::string& path) {
    const std::lock_guard lock(impl_->mutex);
    return impl_->faults.Strike(Call::SIZE) ? -1 : impl_->nodes.FileSize(path);
}

void* SimulatedBoard::Map(size_t length, int32_t protection, int32_t flags, int32_t fd, int64_t offset) {
    return impl_->Map(length, protection, flags, fd, offset);
}

int32_t SimulatedBoard::Unmap(void* address, size_t length) {
    return impl_->Unmap(address, length);
}

uint32_t SimulatedBoard::Read32(const volatile uint32_t* word) {
    const std::lock_guard lock(impl_->mutex);
    return impl_->memory->IsMapped(word) ? impl_->memory->Read(word) : impl_->Owner(word).Read32(word);
}

void SimulatedBoard::Write32(volatile uint32_t* word, uint32_t value) {
    const std::lock_guard lock(impl_->mutex);
    if (impl_->memory->IsMapped(word))
        impl_->memory->Write(word, value);
    else
        impl_->Owner(word).Write32(word, value);
}

int32_t SimulatedBoard::List(std::vector<ChipName>& chips) {
    return impl_->gpio.List(chips);
}

std::unique_ptr<GPIOChip> SimulatedBoard::OpenChip(const std::string& path) {
    return impl_->gpio.OpenChip(path);
}

}  // namespace quarn::sim
