#pragma once

#include <quarn/MonitorException.h>

#include <string>
#include <utility>

namespace quarn::test {

/// The whole message of the MonitorException that the call throws, or a text that no message equals.
template <class Call>
std::string ThrownMessage(Call&& call) {
    try {
        std::forward<Call>(call)();
    } catch (const MonitorException& e) {
        return e.Description();
    }
    return "(nothing thrown)";
}

}  // namespace quarn::test
