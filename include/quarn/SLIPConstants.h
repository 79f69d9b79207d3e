#pragma once

/// The byte values of SLIP framing, as RFC 1055 names them.
///
///     if (byte == quarn::SLIPConstants::END)
///         CompleteFrame();

#include <quarn/Attributes.h>

#include <stdint.h>

namespace quarn {

struct QUARN_API SLIPConstants {
    static constexpr uint8_t END = 0xC0;      ///< ends a frame
    static constexpr uint8_t ESC = 0xDB;      ///< announces one of the two below
    static constexpr uint8_t ESC_END = 0xDC;  ///< behind ESC: the byte 0xC0
    static constexpr uint8_t ESC_ESC = 0xDD;  ///< behind ESC: the byte 0xDB
};

}  // namespace quarn
