#include <quarn/BufferChain.h>

#include <algorithm>

namespace quarn {

void BufferChain::Write(const std::vector<uint8_t>& bytes) {
    if (bytes.empty())
        return;
    buffers_.push_back(bytes);
    available_ += bytes.size();
}

void BufferChain::Read(std::vector<uint8_t>& out, size_t maximum) {
    size_t wanted = maximum == 0 ? available_ : std::min(maximum, available_);
    out.clear();
    out.reserve(wanted);
    available_ -= wanted;
    while (wanted != 0) {
        const std::vector<uint8_t>& front = buffers_.front();
        const size_t taken = std::min(wanted, front.size() - frontRead_);
        const auto begin = front.begin() + static_cast<ptrdiff_t>(frontRead_);
        out.insert(out.end(), begin, begin + static_cast<ptrdiff_t>(taken));
        wanted -= taken;
        frontRead_ += taken;
        if (frontRead_ == front.size()) {
            buffers_.pop_front();
            frontRead_ = 0;
        }
    }
}

}  // namespace quarn
