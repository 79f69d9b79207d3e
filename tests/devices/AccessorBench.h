#pragma once

#include <quarn/quarn.h>

#include "support/TextFiles.h"

#include <memory>
#include <optional>

namespace quarn::test {

/// A console in front of accessors, with commands of its own for what no console does; see transcripts.md.
class AccessorBench {
public:
    using Response = std::list<std::string>;
    using Words = std::vector<std::string>;

    AccessorBench(DeviceIO& io, GPIOChips& chips);
    virtual ~AccessorBench() = default;

    void Replay(const std::string& name, const std::string& transcript);

protected:
    static uint64_t Number(const std::string& word) { return std::stoull(word, nullptr, 0); }

    /// Carries out a further command, or returns false.
    virtual bool Run(const Words& words, const std::string& line, Response& response) = 0;

    /// The path of a file of one section with one line, as a command has them.
    std::string SectionFile(const Words& words, const std::string& line) const;

private:
    Response Say(const std::string& line);
    bool UseAccessors(const Words& words, const std::string& line, Response& response);
    void Start(const Words& words);
    template <class Kind>
    Kind& Made(const std::string& command) {
        return dynamic_cast<Kind&>(*made_.at(command));
    }

    const TempDirectory folder_;
    DeviceIO& io_;
    GPIOChips& chips_;
    VariableDictionary dictionary_{"board"};
    VariableIndex index_{"board", dictionary_};
    int16_t gains_[2] = {5, 6};
    std::vector<std::string> names_;
    std::map<std::string, std::unique_ptr<Accessor>> made_;
    std::optional<Accessors> accessors_;
};

}  // namespace quarn::test
