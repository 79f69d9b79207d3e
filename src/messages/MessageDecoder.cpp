#include "messages/MessageDecoder.h"

#include <quarn/IncomingMessage.h>
#include <quarn/Text.h>

namespace quarn {

std::string DescribeDecodeFailure(DecodeStatus status, uint8_t firstByte) {
    switch (status) {
        case DecodeStatus::INVALID_SYNC:
            return Format("Invalid sync byte 0x%02X", firstByte);
        case DecodeStatus::HEADER_MISMATCH:
            return "Header CRC mismatch";
        case DecodeStatus::TOO_SHORT_FOR_GLOBAL:
            return "Message too short for global CRC";
        case DecodeStatus::GLOBAL_MISMATCH:
            return "Global CRC mismatch";
        case DecodeStatus::TOO_SHORT_FOR_LEGACY:
            return "Message too short for legacy CRC";
        case DecodeStatus::LEGACY_MISMATCH:
            return "Legacy CRC mismatch";
        case DecodeStatus::COMPLETE:
        case DecodeStatus::INCOMPLETE:
            break;
    }
    return "";
}

void CheckedMessage::Store(IncomingMessage& message, const uint8_t* data, const DecodedMessage& found) {
    message.bytes_.assign(data, data + found.totalSize);
    message.headerSize_ = found.headerSize;
    message.payloadSize_ = found.payloadSize;
    message.tag_ = found.tag;
    message.stream_ = found.stream;
}

void CheckedMessage::Clear(IncomingMessage& message) {
    message.Clear();
}

}  // namespace quarn
