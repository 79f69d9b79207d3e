#include <quarn/Debuggable.h>

namespace quarn {

Debuggable::Debuggable(Debuggable* parent)
    : level_(parent ? parent->level_ : new std::atomic<uint32_t>(0)), ownsLevel_(!parent) {}

Debuggable::~Debuggable() {
    if (ownsLevel_)
        delete level_;
}

}  // namespace quarn
