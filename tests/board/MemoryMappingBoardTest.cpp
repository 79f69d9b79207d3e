#include "board/BoardDevices.h"

namespace quarn::test {

TEST(MemoryMappingBoardTest, ClearsAndCopiesDeviceMemoryAtAnyAddress) {
    constexpr uint64_t page = 0x1F003000;  // of two that the kernel does not use
    for (const uint64_t word : {page, page + 4092, page + 4096})
        Physical(word) = 0xFFFFFFFF;
    MemoryMapping mapping(page + 3, 13);
    auto* const bytes = static_cast<volatile uint8_t*>(mapping.VolatilePtr());
    quarn_memcpy(bytes, "0123456789abc", 13);
    EXPECT_EQ(Physical(page), 0x30FFFFFFu);
    EXPECT_EQ(Physical(page + 12), 0x63626139u);
    quarn_memclr(bytes + 2, 9);
    char copied[14] = {};
    quarn_memcpy(copied, bytes, 13);
    EXPECT_EQ(std::string(copied, 13), std::string("01\0\0\0\0\0\0\0\0\0bc", 13));
    mapping.Zero();
    EXPECT_EQ(Physical(page + 4092), 0u);
    EXPECT_EQ(Physical(page + 4096), 0xFFFFFFFFu);
    EXPECT_EQ(ThrownMessage([] { MemoryMapping(0x10000004, 4); }),
              "mmap failed on physical range [0x10000000..0x10000fff): Operation not permitted");
}

}  // namespace quarn::test
