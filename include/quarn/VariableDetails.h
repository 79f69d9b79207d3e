#pragma once

/// What a dictionary knows of one variable: tag, key and type.
///
///     try {
///         const quarn::VariableDetails& gain = dictionary.Find("rf.gain");
///         printf("%s\n", quarn::Variant::TypeName(gain.GetType()).c_str());
///     } catch (const quarn::MonitorException& e) {  // not in the dictionary
///         fprintf(stderr, "%s\n", e.Description().c_str());
///     }

#include <quarn/Attributes.h>
#include <quarn/TagDetails.h>
#include <quarn/Variant.h>

#include <stdint.h>

#include <string>

namespace quarn {

class VariableDictionary;

class QUARN_API VariableDetails : public TagDetails {
public:
    /// The dictionary must outlive this object; VariableDictionary::Add() makes and owns the usual ones.
    VariableDetails(uint32_t tag, const std::string& key, const VariableDictionary& dictionary,
                    VariantType type);

    const VariableDictionary& GetDictionary() const { return dictionary_; }
    VariantType GetType() const { return type_; }

private:
    const VariableDictionary& dictionary_;
    VariantType type_;
};

}  // namespace quarn
