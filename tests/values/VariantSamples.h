#pragma once

#include <quarn/VariantValue.h>

namespace quarn::test {

using Bytes = std::vector<uint8_t>;
using Texts = std::vector<std::string>;

/// A value of every type in the order of the codes, with the texts and bytes that it has.
inline const struct Sample {
    VariantValue value;
    const char* name;
    std::string text, alternate;
    Bytes blob;
} kSamples[] = {
    {uint8_t{200}, "UINT8", "200", "0xC8", {0xC8}},
    {Bytes{0, 255}, "UINT8_VECTOR", "0 255", "0x00 0xFF", {0x00, 0xFF}},
    {int16_t{-2}, "INT16", "-2", "0xFFFE", {0xFF, 0xFE}},
    {uint16_t{0x1234}, "UINT16", "4660", "0x1234", {0x12, 0x34}},
    {int32_t{-2}, "INT32", "-2", "0xFFFFFFFE", {0xFF, 0xFF, 0xFF, 0xFE}},
    {uint32_t{0x89ABCDEF}, "UINT32", "2309737967", "0x89ABCDEF", {0x89, 0xAB, 0xCD, 0xEF}},
    {std::vector<uint32_t>{258}, "UINT32_VECTOR", "258", "0x00000102", {0, 0, 1, 2}},
    {1.0f, "FLOAT", "1.000000", "1.000000", {0x3F, 0x80, 0, 0}},
    {"a b", "STRING", "a b", "a b", {'a', ' ', 'b'}},
    {IPAddress("10.1.2.254"), "IP_ADDRESS", "10.1.2.254", "10.1.2.254", {10, 1, 2, 254}},
    {std::vector{IPAddress("1.2.3.4")}, "IP_ADDRESS_LIST", "1.2.3.4", "1.2.3.4", {1, 2, 3, 4}},
    {true, "BOOLEAN", "1", "true", {1}},
    {Texts{"a", "bc"}, "STRING_LIST", "a bc", "a bc", {0, 0, 0, 1, 'a', 0, 0, 0, 2, 'b', 'c'}},
    {std::vector<int32_t>{-2}, "INT32_VECTOR", "-2", "0xFFFFFFFE", {0xFF, 0xFF, 0xFF, 0xFE}},
    {std::vector<float>{-2.5f}, "FLOAT_VECTOR", "-2.500000", "-2.500000", {0xC0, 0x20, 0, 0}},
    {INT64_MIN, "INT64", "-9223372036854775808", "0x8000000000000000", {0x80, 0, 0, 0, 0, 0, 0, 0}},
    {uint64_t{258}, "UINT64", "258", "0x0000000000000102", {0, 0, 0, 0, 0, 0, 1, 2}},
    {std::vector<uint64_t>{258}, "UINT64_VECTOR", "258", "0x0000000000000102", {0, 0, 0, 0, 0, 0, 1, 2}},
};

}  // namespace quarn::test
