#include <quarn/MonitorException.h>
#include <quarn/Parse.h>

#include "values/ParseNumbers.h"

#include <algorithm>
#include <limits>

namespace quarn {
namespace {

template <class Number>
bool ParseRange(const std::string& text, Number* first, Number* last, char rangeChar) {
    const size_t separator = text.find(rangeChar);
    // A second one is no sign of the second number.
    if (separator != text.rfind(rangeChar))
        return false;
    uint64_t a, b;
    if (!ConvertUnsigned(text.substr(0, separator), &a))
        return false;
    if (separator == std::string::npos)
        b = a;
    else if (!ConvertUnsigned(text.substr(separator + 1), &b))
        return false;
    constexpr uint64_t kMax = std::numeric_limits<Number>::max();
    if (a > kMax || b > kMax)
        return false;
    *first = static_cast<Number>(a);
    *last = static_cast<Number>(b);
    return true;
}

}  // namespace

bool ParseByteRange(const std::string& text, uint8_t* first, uint8_t* last, char rangeChar) {
    return ParseRange(text, first, last, rangeChar);
}

bool ParseU32Range(const std::string& text, uint32_t* first, uint32_t* last, char rangeChar) {
    return ParseRange(text, first, last, rangeChar);
}

std::vector<uint32_t> ParseU32RangeList(const std::string& text, uint32_t maxValue, uint32_t maxCount,
                                        char rangeChar) {
    std::vector<uint32_t> values;
    for (const std::string& item : TokenizeDelimited(text, ',')) {
        uint32_t first, last;
        if (!ParseU32Range(item, &first, &last, rangeChar))
            throw MonitorException("Range list is malformed");
        const bool isDescending = first > last;
        // In 64 bits, so that neither the count nor the walk wraps at the largest value.
        const int64_t low = std::min(first, last), high = std::max(first, last);
        if (maxValue != 0 && high > maxValue)
            throw MonitorException("Range list contains a value larger than %u", maxValue);
        if (values.size() + static_cast<uint64_t>(high - low + 1) > maxCount) {
            // The missing space is deliberate.
            if (isDescending)
                throw MonitorException("Range list would expand to more than %uvalues", maxCount);
            throw MonitorException("Range list would expand to more than %u values", maxCount);
        }
        for (int64_t i = 0; i <= high - low; ++i)
            values.push_back(static_cast<uint32_t>(isDescending ? high - i : low + i));
    }
    return values;
}

}  // namespace quarn
