#pragma once

/// A number and a name for the same thing: what variables and sentences have in common.
///
///     const quarn::VariableDetails& gain = dictionary.Find("rf.gain");  // throws when there is none
///     puts((gain.GetKey() + " is " + quarn::TagDetails::TagAsString(gain.GetTag())).c_str());

#include <quarn/Attributes.h>

#include <stdint.h>

#include <string>

namespace quarn {

class QUARN_API TagDetails {
public:
    TagDetails(uint32_t tag, const std::string& key);

    uint32_t GetTag() const { return tag_; }
    const std::string& GetKey() const { return key_; }

    /// The tag as "0x%08X", as every message that names a tag writes it.
    static std::string TagAsString(uint32_t tag);

private:
    uint32_t tag_;
    std::string key_;
};

}  // namespace quarn
