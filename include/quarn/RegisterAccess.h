#pragma once

/// Bit fields of memory-mapped 32-bit registers by name: for programs, and on the console as "reg".
///
///     quarn::RegisterAccess registers;
///     accessors.Add(registers);
///     accessors.Configure("/etc/unit.conf");
///     try {
///         registers.Set("rf.gain", 12);
///         printf("%u\n", registers.Get("rf.locked"));
///     } catch (const quarn::MonitorException& e) {
///         fprintf(stderr, "%s\n", e.Description().c_str());  // REG: value 0xC will not fit in 3-bit field
///     }
///
/// Fields come from the lines of the configuration section "reg", one a line: the register's physical address,
/// the highest and the lowest bit, what the processor may do with it, and the names.
///
///     [reg]
///     0xA0000010 6:4 rw rf.gain gain
///     0xA0000014 31  r  rf.locked
///     0xA0000018 -   -  rf.spare
///
/// Names and their aliases share one name space. A field without bits is listed, but never mapped, read or
/// set; a line without names is checked and mapped, and its field out of reach.
///
/// There is no lock. Reading is one 32-bit access; setting is one read and one write of the whole word, so
/// whoever sets fields of one register from several threads or processes takes a lock around it.

#include <quarn/Accessor.h>
#include <quarn/Attributes.h>
#include <quarn/DeviceIO.h>

#include <stdint.h>

#include <list>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace quarn {

class QUARN_API RegisterAccess final : public Accessor {
public:
    /// The DeviceIO must outlive this object.
    explicit RegisterAccess(DeviceIO& io = DeviceIO::System());
    /// Unmaps the registers; a failure is printed with mask ERR: "REG: munmap failed: %s".
    ~RegisterAccess() override;

    /// The field's value, its lowest bit being bit 0. Throws "REG: unknown register \"%s\"", "REG: field
    /// \"%s\" is not readable".
    uint32_t Get(const std::string& name) const;
    /// Sets the field's bits, and writes back the others as they were read. Throws "REG: unknown register
    /// \"%s\"", "REG: field \"%s\" is not writable" and, with nothing read or written, "REG: value 0x%X will
    /// not fit in %u-bit field". Bits of the value that would land above bit 31 are deliberately not noticed.
    void Set(const std::string& name, uint32_t value);
    /// The physical address of the register that holds the field. Throws "REG: unknown register \"%s\"".
    uint64_t Address(const std::string& name) const;

    std::set<std::string> GetConsoleCommands(bool withDescriptions) const override;
    std::set<std::string> GetConfigurationSections() const override;
    /// Adds a field. Every failure is a MonitorException whose message begins with "REG: ", and adds nothing;
    /// only a page that was mapped for the field stays mapped.
    void Configure(const std::string& section, const std::vector<std::string>& words) override;
    /// The command without words tells what it takes. Throws what Get() and Set() do, "REG: too many words in
    /// command" and "REG: bad value".
    std::list<std::string> Execute(const std::string& command,
                                   const std::vector<std::string>& words) override;

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace quarn
