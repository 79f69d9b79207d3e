#include <quarn/Debug.h>
#include <quarn/SLIPEncoder.h>

#include "messages/SLIPScan.h"

namespace quarn {

class SLIPEncoder::Impl {
public:
    Impl(const std::string& name, size_t maxBacklog)
        : name_(name), limit_(maxBacklog != 0 ? maxBacklog : kDefaultSLIPBacklog) {}

    size_t Put(const std::vector<uint8_t>& message) {
        Append(message);
        const size_t size = backlog_.size();
        if (size <= limit_)
            return size;
        ReportOverflow(size);
        backlog_ = {};  // its memory too: one message may have been of any length
        return 0;
    }

    void Read(std::vector<uint8_t>& out) {
        out.swap(backlog_);
        backlog_.clear();
    }

private:
    void Append(const std::vector<uint8_t>& message) {
        const uint8_t* from = message.data();
        const uint8_t* const end = from + message.size();
        for (;;) {
            const uint8_t* const special = FindSLIPSpecial(from, end);
            backlog_.insert(backlog_.end(), from, special);
            if (special == end)
                break;
            backlog_.push_back(SLIPConstants::ESC);
            backlog_.push_back(*special == SLIPConstants::END ? SLIPConstants::ESC_END
                                                              : SLIPConstants::ESC_ESC);
            from = special + 1;
        }
        backlog_.push_back(SLIPConstants::END);
    }

    void ReportOverflow(size_t size) const {
        // The blank in the last word tells this message from the decoder's; that is deliberate.
        if (DefaultDebug())
            DefaultDebug()->Printf(DEBUG_ERR, __FILE__, __LINE__,
                                   "SLIP Backlog for \"%s\" reached %zu bytes; clearing (traffic l st).",
                                   name_.c_str(), size);
    }

    const std::string name_;
    const size_t limit_;
    std::vector<uint8_t> backlog_;
};

SLIPEncoder::SLIPEncoder(const std::string& name, size_t maxBacklog)
    : impl_(std::make_unique<Impl>(name, maxBacklog)) {}
SLIPEncoder::~SLIPEncoder() = default;

size_t SLIPEncoder::Put(const std::vector<uint8_t>& message) {
    return impl_->Put(message);
}
void SLIPEncoder::Read(std::vector<uint8_t>& out) {
    impl_->Read(out);
}

}  // namespace quarn
