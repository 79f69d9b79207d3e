#pragma once

#include <quarn/quarn.h>

namespace quarn::test {

/// Two variables that belong together: a number, and a text whose letters follow from it, and its length too,
/// now and then.
struct Settings {
    explicit Settings(uint32_t first = 0) {
        dictionary.Add(1, "generation", VariantType::UINT32);
        dictionary.Add(0x10003, "text", VariantType::STRING);
        index.Add(1, &generation, 1);
        index.Add(0x10003, &text, 2);
        Set(first);
    }

    void Set(uint32_t next) {
        generation = next;
        text = TextOf(next);
    }
    static std::string TextOf(uint32_t generation) {
        return std::string(size_t{generation / 12 % 3 * 29 + 12}, char('a' + generation % 26));
    }

    uint32_t generation;
    std::string text;
    VariableDictionary dictionary{"settings"};
    VariableIndex index{"settings", dictionary};
};

constexpr uint32_t kNothing = 0;

/// What a storage finds when it is loaded: the generation, kNothing, or 0xFFFFFFFF for a mix.
inline uint32_t Loaded(PersistentStorage& storage) {
    Settings settings(kNothing);
    if (!storage.Load(settings.index, 0))
        return kNothing;
    return settings.text == Settings::TextOf(settings.generation) ? settings.generation : 0xFFFFFFFF;
}

}  // namespace quarn::test
