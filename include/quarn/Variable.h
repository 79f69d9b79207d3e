#pragma once

/// A value together with the details of the variable it belongs to, as taken from a message.
///
///     try {
///         quarn::Variable variable = message.ToVariable(dictionary);
///         printf("%s = %s\n", variable.GetDetails().GetKey().c_str(),
///                variable.GetValue().ToString().c_str());
///     } catch (const quarn::MonitorException& e) {  // unknown tag, or a payload of another type
///         fprintf(stderr, "%s\n", e.Description().c_str());
///     }

#include <quarn/Attributes.h>
#include <quarn/VariantValue.h>

namespace quarn {

class VariableDetails;

class QUARN_API Variable {
public:
    /// A variable with an untyped value. The details must outlive it.
    explicit Variable(const VariableDetails& details) : details_(&details) {}

    const VariableDetails& GetDetails() const { return *details_; }
    const VariantValue& GetValue() const { return value_; }
    VariantValue& GetValue() { return value_; }

private:
    const VariableDetails* details_;
    VariantValue value_;
};

}  // namespace quarn
