#pragma once

#include <quarn/quarn.h>

#include "support/DebugCapture.h"
#include "support/Eventually.h"
#include "support/ThrownMessage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <unistd.h>

#include <fstream>
#include <map>

namespace quarn::test {

using testing::ElementsAre;

/// Sets what a module of the board's kernel is to do next, as in "i2cmem/fail_count". -1 is no number to it
/// that would hit anything.
inline void SetModule(const std::string& parameter, int64_t value) {
    const size_t slash = parameter.find('/');
    std::ofstream file("/sys/module/" + parameter.substr(0, slash) + "/parameters" + parameter.substr(slash));
    EXPECT_TRUE(file << value << std::flush) << parameter;
}

/// A 32-bit word of physical memory, beside the classes under test.
inline volatile uint32_t& Physical(uint64_t address) {
    static std::map<uint64_t, char*> pages;  // mapped until the program ends
    constexpr uint64_t kPage = 4096;
    char*& page = pages[address / kPage];
    if (page == nullptr) {
        const int fd = open("/dev/mem", O_RDWR | O_CLOEXEC);
        page = static_cast<char*>(
            mmap(nullptr, kPage, PROT_READ | PROT_WRITE, MAP_SHARED, fd, off_t(address / kPage * kPage)));
        close(fd);
    }
    return *reinterpret_cast<volatile uint32_t*>(page + address % kPage);
}

}  // namespace quarn::test
