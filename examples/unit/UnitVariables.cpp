#include "unit/UnitVariables.h"

namespace unit {

UnitVariables::UnitVariables()
    : dictionary_("receiver"), index_("unit", dictionary_), toldIndex_("told", dictionary_) {
    DeclareVariables(dictionary_);
    BindVariables(index_, state_, false);
    BindVariables(toldIndex_, told_, true);
}

bool UnitVariables::TakeChange(uint32_t tag) {
    if (!index_.GetReference(tag) || index_.IsEqual(tag, toldIndex_))
        return false;
    toldIndex_.Assign(tag, index_);
    return true;
}

std::list<uint32_t> UnitVariables::TakeChanges() {
    std::list<uint32_t> tags;
    for (const quarn::OutgoingMessage& message : index_.CreateOutgoingMessages(toldIndex_, 0))
        if (TakeChange(message.GetTag()))
            tags.push_back(message.GetTag());
    return tags;
}

quarn::OutgoingMessage UnitVariables::Message(uint32_t tag) const {
    return quarn::OutgoingMessage(dictionary_.Find(tag), *index_.GetReference(tag));
}

}  // namespace unit
