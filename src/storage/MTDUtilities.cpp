#include "storage/MTDUtilities.h"

#include "foundation/DeviceFile.h"

#include <fcntl.h>
#include <inttypes.h>
#include <stdio.h>

#include <algorithm>
#include <string_view>

namespace quarn {

namespace {

constexpr size_t kLongestTable = 1 << 20;

std::string ReadTable(DeviceIO& io) {
    std::string table;
    const DeviceFile file(io, io.Open("/proc/mtd", O_RDONLY));
    if (file.Get() < 0)
        return table;
    char buffer[4096];
    ssize_t arrived;
    while (table.size() < kLongestTable && (arrived = io.Read(file.Get(), buffer, sizeof buffer)) > 0)
        table.append(buffer, size_t(arrived));
    return table;
}

/// What stands between the first and the last double quote: the kernel escapes nothing.
std::string_view NameIn(std::string_view line) {
    const size_t first = line.find('"');
    const size_t last = line.rfind('"');
    return first == last ? std::string_view() : line.substr(first + 1, last - first - 1);
}

}  // namespace

std::string MTDUtilities::MTDNameToCharDevicePath(const std::string& name, uint64_t* size,
                                                  uint64_t* eraseBlockSize, DeviceIO& io) {
    const std::string table = ReadTable(io);
    for (size_t start = 0; start < table.size();) {
        const size_t end = std::min(table.find('\n', start), table.size());
        // mtd1: 00010000 00001000 "persist"
        const std::string line = table.substr(start, end - start);
        start = end + 1;
        uint32_t number;
        uint64_t bytes, eraseBytes;
        if (NameIn(line) != name || sscanf(line.c_str(), "mtd%" SCNu32 ": %" SCNx64 " %" SCNx64 " \"",
                                           &number, &bytes, &eraseBytes) != 3)
            continue;
        *size = bytes;
        *eraseBlockSize = eraseBytes;
        return "/dev/mtd" + std::to_string(number);
    }
    return "";
}

}  // namespace quarn
