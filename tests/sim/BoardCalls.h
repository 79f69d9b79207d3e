#pragma once

#include <gtest/gtest.h>

#include <errno.h>
#include <stdint.h>

#include <functional>
#include <initializer_list>

namespace quarn::sim {

/// What a call gives: its result, or its errno as a negative number.
template <class Call>
int64_t Result(Call&& call) {
    errno = 0;
    const int64_t result = int64_t(call());
    return result == -1 ? -errno : result;
}

struct ExpectedCall {
    const char* what;
    std::function<int64_t()> call;
    int64_t result;
};

/// Makes the calls in order.
inline void ExpectResults(std::initializer_list<ExpectedCall> calls) {
    for (const ExpectedCall& expected : calls)
        EXPECT_EQ(Result(expected.call), expected.result) << expected.what;
}

}  // namespace quarn::sim
