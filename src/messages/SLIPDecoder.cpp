#include <quarn/Debug.h>
#include <quarn/SLIPDecoder.h>

#include "messages/SLIPScan.h"

namespace quarn {

// The backlog is backlog_ from taken_ on; the bytes before that belonged to frames that were handed out. Of
// the backlog the part up to scanned_ has been decoded into frame_, so that a frame that arrives in many
// pieces is still scanned once.
class SLIPDecoder::Impl {
public:
    Impl(const std::string& name, size_t maxBacklog)
        : name_(name), limit_(maxBacklog != 0 ? maxBacklog : kDefaultSLIPBacklog) {}

    size_t Write(const std::vector<uint8_t>& bytes) {
        const size_t size = Size() + bytes.size();
        if (!MakeRoom(size))
            return 0;
        backlog_.insert(backlog_.end(), bytes.begin(), bytes.end());
        return size;
    }

    size_t WriteFromMemoryMapping(const volatile uint32_t* words, size_t count) {
        const size_t size = Size() + 4 * count;
        if (!MakeRoom(size)) {
            for (size_t i = 0; i < count; ++i)
                static_cast<void>(words[i]);  // the FIFO must be emptied all the same
            return 0;
        }
        size_t to = backlog_.size();
        backlog_.resize(to + 4 * count);
        for (size_t i = 0; i < count; ++i) {
            const uint32_t word = words[i];
            for (const int shift : {24, 16, 8, 0})
                backlog_[to++] = static_cast<uint8_t>(word >> shift);
        }
        return size;
    }

    bool Get(std::vector<uint8_t>& message) {
        if (!CompleteFrame())
            return false;
        taken_ = scanned_;
        message.swap(frame_);
        frame_.clear();
        return true;
    }

private:
    size_t Size() const { return backlog_.size() - taken_; }

    // Prepares the backlog to grow to this size. Returns false, with everything dropped, when that is too
    // much. Bytes that were handed out go when they are at least half of what is kept, so that moving the
    // others costs little per byte.
    bool MakeRoom(size_t size) {
        if (size > limit_) {
            if (DefaultDebug())
                DefaultDebug()->Printf(DEBUG_ERR, __FILE__, __LINE__,
                                       "SLIP Backlog for \"%s\" reached %zu bytes; clearing (traffic lost).",
                                       name_.c_str(), size);
            backlog_.clear();
            frame_.clear();
            taken_ = scanned_ = 0;
            return false;
        }
        if (taken_ >= backlog_.size() - taken_) {
            backlog_.erase(backlog_.begin(), backlog_.begin() + static_cast<ptrdiff_t>(taken_));
            scanned_ -= taken_;
            taken_ = 0;
        }
        return true;
    }

    // Decodes on from scanned_ up to the END of a frame that is not empty. Returns false when the backlog has
    // none; scanned_ then stands at its end, or at an ESC that lacks its second byte.
    bool CompleteFrame() {
        const uint8_t* const begin = backlog_.data();
        const uint8_t* const end = begin + backlog_.size();
        const uint8_t* at = begin + scanned_;
        bool complete = false;
        while (!complete) {
            const uint8_t* const special = FindSLIPSpecial(at, end);
            frame_.insert(frame_.end(), at, special);
            at = special;
            if (at == end || (*at == SLIPConstants::ESC && at + 1 == end))
                break;
            if (*at == SLIPConstants::END) {
                complete = !frame_.empty();
                at += 1;
            } else {
                frame_.push_back(Unescape(at[1]));
                at += 2;
            }
        }
        scanned_ = static_cast<size_t>(at - begin);
        return complete;
    }

    static uint8_t Unescape(uint8_t byte) {
        switch (byte) {
            case SLIPConstants::ESC_END:
                return SLIPConstants::END;
            case SLIPConstants::ESC_ESC:
                return SLIPConstants::ESC;
            default:
                return byte;  // malformed, and deliberately tolerated
        }
    }

    const std::string name_;
    const size_t limit_;
    std::vector<uint8_t> backlog_;
    size_t taken_ = 0;
    size_t scanned_ = 0;
    std::vector<uint8_t> frame_;
};

SLIPDecoder::SLIPDecoder(const std::string& name, size_t maxBacklog)
    : impl_(std::make_unique<Impl>(name, maxBacklog)) {}
SLIPDecoder::~SLIPDecoder() = default;

size_t SLIPDecoder::Write(const std::vector<uint8_t>& bytes) {
    return impl_->Write(bytes);
}
size_t SLIPDecoder::WriteFromMemoryMapping(const volatile uint32_t* words, size_t count) {
    return impl_->WriteFromMemoryMapping(words, count);
}
bool SLIPDecoder::Get(std::vector<uint8_t>& message) {
    return impl_->Get(message);
}

}  // namespace quarn
