#include <quarn/sim/SimulatedBoard.h>

#include "storage/MTDUtilities.h"

#include <gtest/gtest.h>

#include <errno.h>

namespace quarn::test {
namespace {

using sim::Call;
using sim::SimulatedBoard;

TEST(MTDUtilities, ReadsTheKernelsTable) {
    SimulatedBoard io;
    const std::string table =
        "dev:    size   erasesize  name\n"
        "mtd0: 00040000 00001000 \"boot\"\n"
        "mtd1: 00010000 00020000 \"persist\"\n"
        "mtd12: 1c0000000 00010000 \"a \"quoted\" name\"\n"
        "mtd13: 00000800 00000400 \"persist\"";
    io.SetContents("/proc/mtd", {table.begin(), table.end()});
    io.Shorten(Call::READ, 7, UINT64_MAX);
    const std::tuple<const char*, const char*, uint64_t, uint64_t> cases[] = {
        {"boot", "/dev/mtd0", 0x40000, 0x1000},
        {"persist", "/dev/mtd1", 0x10000, 0x20000},
        {"a \"quoted\" name", "/dev/mtd12", 0x1C0000000, 0x10000},
        {"pers", "", 7, 7},
        {"", "", 7, 7},
    };
    for (const auto& [name, path, expectedSize, expectedBlock] : cases) {
        uint64_t size = 7, eraseBlockSize = 7;
        EXPECT_EQ(MTDUtilities::MTDNameToCharDevicePath(name, &size, &eraseBlockSize, io), path);
        EXPECT_EQ(size, expectedSize) << name;
        EXPECT_EQ(eraseBlockSize, expectedBlock) << name;
    }
    EXPECT_EQ(io.Held(), 0u);

    uint64_t unset = 7;
    io.Fail(Call::OPEN, ENOENT);
    EXPECT_EQ(MTDUtilities::MTDNameToCharDevicePath("boot", &unset, &unset, io), "");
}

}  // namespace
}  // namespace quarn::test
