#pragma once

#include <quarn/PersistentStorage.h>
#include <quarn/VariableDictionary.h>
#include <quarn/VariableIndex.h>

#include <stdint.h>

#include <string>

namespace quarn::test {

/// Two variables that belong together: a number, and a text whose letters follow from it, and its length too,
/// now and then.
class Settings {
public:
    explicit Settings(uint32_t generation = 0) {
        dictionary_.Add(1, "generation", VariantType::UINT32);
        dictionary_.Add(0x10001, "text", VariantType::STRING);
        index.Add(1, &generation_, 1);
        index.Add(0x10001, &text_, 2);
        Set(generation);
    }

    void Set(uint32_t generation) {
        generation_ = generation;
        text_ = TextOf(generation);
    }
    uint32_t Generation() const { return generation_; }
    bool IsWhole() const { return text_ == TextOf(generation_); }

private:
    static std::string TextOf(uint32_t generation) {
        return std::string(size_t{generation / 12 % 3 * 29 + 12}, char('a' + generation % 26));
    }

    VariableDictionary dictionary_{"settings"};
    uint32_t generation_ = 0;
    std::string text_;

public:
    VariableIndex index{"settings", dictionary_};
};

constexpr uint32_t kNothing = 0;

/// What a storage finds when it is loaded: the generation, kNothing, or 0xFFFFFFFF for a mix.
inline uint32_t Loaded(PersistentStorage& storage) {
    Settings settings(kNothing);
    if (!storage.Load(settings.index, 0))
        return kNothing;
    return settings.IsWhole() ? settings.Generation() : 0xFFFFFFFF;
}

}  // namespace quarn::test
