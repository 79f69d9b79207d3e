#pragma once

#include <quarn/OutgoingMessage.h>

#include "common/ReceiverVariables.h"

#include <list>

namespace unit {

/// The unit's variables: the live ones, and the values that the peers were told last.
class UnitVariables {
public:
    UnitVariables();

    ReceiverState& State() { return state_; }
    quarn::VariableIndex& Index() { return index_; }
    const quarn::VariableIndex& Index() const { return index_; }
    const quarn::VariableDictionary& Dictionary() const { return dictionary_; }

    /// Whether the variable differs from what the peers know; from then on they count as told. Unknown tags
    /// never do.
    bool TakeChange(uint32_t tag);
    /// The tags of all variables that differ; from then on the peers count as told.
    std::list<uint32_t> TakeChanges();
    /// The message that tells a peer a variable's value.
    quarn::OutgoingMessage Message(uint32_t tag) const;

private:
    quarn::VariableDictionary dictionary_;
    ReceiverState state_;
    ReceiverState told_;
    quarn::VariableIndex index_;
    quarn::VariableIndex toldIndex_;
};

}  // namespace unit
