#include <quarn/Accessor.h>
#include <quarn/Accessors.h>
#include <quarn/Debug.h>
#include <quarn/MonitorException.h>
#include <quarn/Parse.h>
#include <quarn/Text.h>

#include "foundation/ErrnoText.h"

#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>
#include <exception>
#include <map>
#include <set>
#include <vector>

namespace quarn {

namespace {

constexpr char kEndOfResponse[] = "\x04";

// Reads a file line by line without ever holding more than one line of it.
class LineReader {
public:
    explicit LineReader(const std::string& path) : fd_(open(path.c_str(), O_RDONLY | O_CLOEXEC)) {
        if (fd_ < 0)
            throw MonitorException("Could not open %s for reading", path.c_str());
    }
    // The file is deliberately left open: a configuration is read once, at start-up.
    ~LineReader() = default;
    LineReader(const LineReader&) = delete;
    LineReader& operator=(const LineReader&) = delete;

    // Sets `line` to the next line without its newline, cut off behind kLineLimit characters. Returns false
    // at the end of the file, and where reading fails: what has come of a line by then is none.
    bool Next(std::string& line) {
        line.clear();
        ++number_;
        isCut_ = false;
        bool any = false;
        while (start_ != end_ || Fill()) {
            any = true;
            const char* const from = buffer_ + start_;
            const void* const newline = memchr(from, '\n', end_ - start_);
            const size_t length =
                newline ? static_cast<size_t>(static_cast<const char*>(newline) - from) : end_ - start_;
            Append(line, from, length);
            start_ += length;
            if (newline) {
                ++start_;
                return true;
            }
        }
        return any && error_ == 0;
    }

    uint32_t Number() const { return number_; }
    bool IsCut() const { return isCut_; }
    // The reason why the file ended early, 0 for none.
    int Error() const { return error_; }

private:
    static constexpr size_t kLineLimit = 1048576;

    bool Fill() {
        ssize_t length;
        do {
            length = read(fd_, buffer_, sizeof buffer_);
        } while (length < 0 && errno == EINTR);
        error_ = length < 0 ? errno : 0;
        start_ = 0;
        end_ = length < 0 ? 0 : static_cast<size_t>(length);
        return end_ != 0;
    }

    void Append(std::string& line, const char* from, size_t length) {
        const size_t room = kLineLimit - line.size();
        isCut_ = isCut_ || length > room;
        line.append(from, std::min(length, room));
    }

    const int fd_;
    char buffer_[16384];
    size_t start_ = 0;
    size_t end_ = 0;
    uint32_t number_ = 0;
    bool isCut_ = false;
    int error_ = 0;
};

}  // namespace

class Accessors::Impl {
public:
    void Add(Accessor& accessor) {
        for (const std::string& name : accessor.GetConsoleCommands(false))
            if (!commands_.emplace(name, &accessor).second)
                throw MonitorException("Multiple accessors claim console command \"%s\"", name.c_str());
        for (const std::string& name : accessor.GetConfigurationSections())
            if (!sections_.emplace(name, &accessor).second)
                throw MonitorException("Multiple accessors claim configuration section \"%s\"", name.c_str());
    }

    void Configure(const std::string& path) {
        LineReader reader(path);
        Section section;
        for (std::string line; reader.Next(line);) {
            try {
                if (reader.IsCut())
                    throw MonitorException("Line is too long");
                ConfigureLine(section, path, reader.Number(), Tokenize(line));
            } catch (const MonitorException& e) {
                PrintLine(path, reader.Number(), e.Description());
            }
        }
        if (reader.Error() != 0)
            PrintLine(path, reader.Number(), "Could not read on: " + ErrnoText(reader.Error()));
    }

    std::list<std::string> Execute(const std::string& line) {
        std::list<std::string> lines;
        try {
            lines = Dispatch(Tokenize(line));
        } catch (const MonitorException& e) {
            lines = {e.Description()};
        } catch (const std::exception& e) {
            lines = {"std::exception:", e.what()};
        }
        lines.push_back(kEndOfResponse);
        return lines;
    }

private:
    struct Section {
        std::string name;              // empty before the first selector
        Accessor* accessor = nullptr;  // null when nobody claims the section
    };

    void ConfigureLine(Section& section, const std::string& path, uint32_t number,
                       const std::vector<std::string>& words) const {
        if (words.empty() || words[0].starts_with('#'))
            return;
        if (words[0].starts_with('[')) {
            SelectSection(section, path, number, words[0]);
            return;
        }
        if (section.name.empty())
            throw MonitorException("Configuration line outside section");
        if (section.accessor)
            section.accessor->Configure(section.name, words);
    }

    void SelectSection(Section& section, const std::string& path, uint32_t number,
                       const std::string& selector) const {
        const size_t end = selector.find(']');
        if (end == std::string::npos)
            throw MonitorException("Malformed section selector");
        section.name = selector.substr(1, end - 1);
        const auto found = sections_.find(section.name);
        section.accessor = found == sections_.end() ? nullptr : found->second;
        // The selector is deliberately shown as it stands in the file.
        if (!section.accessor && DefaultDebug())
            DefaultDebug()->Printf(DEBUG_WARN, __FILE__, __LINE__,
                                   "%s:%u: Configuration section \"%s\" not used", path.c_str(), number,
                                   selector.c_str());
    }

    static void PrintLine(const std::string& path, uint32_t number, const std::string& reason) {
        if (DefaultDebug())
            DefaultDebug()->Printf(DEBUG_ERR, __FILE__, __LINE__, "%s:%u: %s", path.c_str(), number,
                                   reason.c_str());
    }

    std::list<std::string> Dispatch(std::vector<std::string> words) const {
        if (words.empty() || words[0].starts_with('#'))
            return {};
        const std::string command = std::move(words[0]);
        words.erase(words.begin());
        // Before the accessors' commands, so that none can take these over.
        if (command == "?" || command == "help")
            return Help();
        const auto found = commands_.find(command);
        if (found == commands_.end())
            return {"unrecognized command (\"help\" for help)"};
        return found->second->Execute(command, words);
    }

    std::list<std::string> Help() const {
        std::set<std::string> entries;  // sorted as they were given, blanks in front included
        for (const auto& command : commands_)
            entries.merge(command.second->GetConsoleCommands(true));
        std::list<std::list<std::string>> rows;
        for (const std::string& entry : entries) {
            const size_t colon = std::min(entry.find(':'), entry.size());
            const size_t text = std::min(colon + 1, entry.size());
            rows.push_back({Trim(entry.substr(0, colon)), Trim(entry.substr(text))});
        }
        return FormatColumnarList(rows);
    }

    std::map<std::string, Accessor*> commands_;
    std::map<std::string, Accessor*> sections_;
};

Accessors::Accessors() : impl_(std::make_unique<Impl>()) {}
Accessors::~Accessors() = default;

void Accessors::Add(Accessor& accessor) {
    impl_->Add(accessor);
}
void Accessors::Configure(const std::string& path) {
    impl_->Configure(path);
}
std::list<std::string> Accessors::Execute(const std::string& line) {
    return impl_->Execute(line);
}

}  // namespace quarn
