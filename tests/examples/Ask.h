#pragma once

#include <quarn/quarn.h>

#include "ctl/UnitClient.h"

namespace unit {

inline void Set(UnitClient& client, const std::string& key, const std::string& text) {
    const quarn::VariableDetails& variable = client.Dictionary().Find(key);
    client.Set(variable, quarn::VariantValue(variable.GetType(), text));
}

/// What the unit says that the variable is. Throws MonitorException when it says nothing for 30 seconds.
inline std::string Ask(UnitClient& client, const std::string& key) {
    client.Say(QUERY, {quarn::VariantValue(key)});
    std::string text = "(no answer)";
    for (uint32_t tag = 0; tag != DONE;) {
        const auto sentence = client.Receive(30000);
        tag = sentence ? sentence->GetDetails().GetTag() : 0;
        if (tag == VALUE)
            text = sentence->Word(2).As<std::string>();
    }
    return text;
}

}  // namespace unit
