#include "memory/Pages.h"

#include <inttypes.h>
#include <stdio.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <vector>

namespace quarn {

namespace {

size_t Touched(uintptr_t start, size_t length) {
    const size_t pageSize = size_t(sysconf(_SC_PAGESIZE));
    std::vector<unsigned char> pages(length / pageSize);
    if (mincore(reinterpret_cast<void*>(start), length, pages.data()) != 0)
        return 0;
    return pageSize *
           size_t(std::count_if(pages.begin(), pages.end(), [](unsigned char page) { return page & 1; }));
}

}  // namespace

Pages Pages::Now() {
    Pages sum;
    FILE* const maps = fopen("/proc/self/maps", "r");
    for (char line[512]; maps && fgets(line, sizeof line, maps);) {
        uintptr_t start, end;
        char access[5];
        unsigned long inode;
        if (sscanf(line, "%" SCNxPTR "-%" SCNxPTR " %4s %*x %*s %lu", &start, &end, access, &inode) != 4 ||
            inode != 0 || access[3] != 'p')
            continue;
        sum.reserved += end - start;
        if (access[1] == 'w')
            sum.touched += Touched(start, end - start);
    }
    if (maps)
        fclose(maps);
    return sum;
}

}  // namespace quarn
