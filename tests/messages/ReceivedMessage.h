#pragma once

#include <quarn/quarn.h>

#include <gtest/gtest.h>

namespace quarn::test {

inline IncomingMessage Received(const std::vector<uint8_t>& bytes) {
    IncomingMessage message;
    EXPECT_EQ(message.Populate(bytes.data(), bytes.size()), bytes.size());
    return message;
}

/// A message with this tag and the value's bytes.
inline IncomingMessage Received(uint32_t tag, const VariantValue& value) {
    VariableDictionary any("any");
    const OutgoingMessage sent(VariableDetails(tag, "key", any, value.Type()), value);
    return Received({sent.Sync(), sent.Sync() + sent.Bytes()});
}

}  // namespace quarn::test
