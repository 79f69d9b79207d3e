#pragma once

#include <chrono>
#include <thread>

namespace quarn::test {

/// Looks at the condition until it holds; gives up, returning false, after a time that only a fault takes.
template <class Condition>
bool Eventually(Condition&& holds) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!holds()) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

}  // namespace quarn::test
