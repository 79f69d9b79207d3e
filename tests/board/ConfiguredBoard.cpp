#include "board/ConfiguredBoard.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <fstream>
#include <list>
#include <map>

namespace quarn::test {

ConfiguredBoard::ConfiguredBoard(std::initializer_list<Accessor*> accessors,
                                 const std::string& configuration) {
    for (Accessor* accessor : accessors)
        accessors_.Add(*accessor);
    const TempDirectory folder;
    folder.Write("board.conf", configuration);
    DebugCapture debug(DEBUG_ERR | DEBUG_WARN);
    accessors_.Configure(folder.File("board.conf"));
    for (const std::string& line : debug.Lines())
        complaints_.push_back(line.starts_with(folder.Path()) ? line.substr(folder.Path().size() + 1) : line);
}

Lines ConfiguredBoard::Run(const std::string& line) {
    std::list<std::string> response = accessors_.Execute(line);
    response.pop_back();
    return {response.begin(), response.end()};
}

void SetModule(const std::string& parameter, int64_t value) {
    const size_t slash = parameter.find('/');
    std::ofstream file("/sys/module/" + parameter.substr(0, slash) + "/parameters" + parameter.substr(slash));
    EXPECT_TRUE(file << value << std::flush) << parameter;
}

volatile uint32_t& Physical(uint64_t address) {
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
