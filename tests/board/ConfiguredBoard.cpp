#include "board/ConfiguredBoard.h"

#include <quarn/Accessor.h>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <fstream>
#include <list>
#include <stdexcept>

namespace quarn::test {

namespace {

std::string ModulePath(const std::string& parameter) {
    const size_t slash = parameter.find('/');
    return "/sys/module/" + parameter.substr(0, slash) + "/parameters" + parameter.substr(slash);
}

/// The word at a physical address for as long as this lives.
class PhysicalWord {
public:
    explicit PhysicalWord(uint64_t address) {
        const int fd = open("/dev/mem", O_RDWR | O_CLOEXEC);
        page_ = mmap(nullptr, kPage, PROT_READ | PROT_WRITE, MAP_SHARED, fd, off_t(address & ~(kPage - 1)));
        close(fd);
        if (page_ == MAP_FAILED)
            throw std::runtime_error("/dev/mem cannot be mapped");
        word_ = static_cast<volatile uint32_t*>(page_) + address % kPage / sizeof *word_;
    }
    ~PhysicalWord() { munmap(page_, kPage); }
    PhysicalWord(const PhysicalWord&) = delete;
    PhysicalWord& operator=(const PhysicalWord&) = delete;

    volatile uint32_t& operator*() { return *word_; }

private:
    static constexpr uint64_t kPage = 4096;
    void* page_;
    volatile uint32_t* word_;
};

}  // namespace

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

std::vector<std::string> ConfiguredBoard::Run(const std::string& line) {
    std::list<std::string> response = accessors_.Execute(line);
    response.pop_back();
    return {response.begin(), response.end()};
}

void SetModule(const std::string& parameter, int64_t value) {
    std::ofstream file(ModulePath(parameter));
    if (!(file << value << std::flush))
        throw std::runtime_error(parameter + " cannot be set");
}

uint32_t ReadModule(const std::string& parameter) {
    std::ifstream file(ModulePath(parameter));
    uint32_t value;
    if (!(file >> value))
        throw std::runtime_error(parameter + " cannot be read");
    return value;
}

uint32_t ReadPhysical(uint64_t address) {
    return *PhysicalWord(address);
}

void WritePhysical(uint64_t address, uint32_t value) {
    *PhysicalWord(address) = value;
}

}  // namespace quarn::test
