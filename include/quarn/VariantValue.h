#pragma once

/// One value together with its type.
///
///     quarn::VariantValue gain(int16_t{-12});
///     quarn::VariantValue word(quarn::VariantType::UINT8);  // 0
///     try {
///         word.FromString("255");
///         word.FromString("256");
///     } catch (const quarn::MonitorException& e) {
///         puts(e.Description().c_str());  // Value "256" is not in the range 0..255; word is still 255
///     }
///     std::vector<quarn::VariantValue> words = {"rf.gain", gain, uint32_t{7}};

#include <quarn/Attributes.h>
#include <quarn/Variant.h>

#include <stddef.h>
#include <stdint.h>

#include <string>
#include <vector>

namespace quarn {

class QUARN_API VariantValue final : public Variant {
public:
    /// Untyped.
    VariantValue() : Variant(VariantType::NONE, storage_, true) {}
    /// Of that type, zero or empty. An unknown type code is taken and fails in every use.
    explicit VariantValue(VariantType type);
    /// The type, then FromString().
    VariantValue(VariantType type, const std::string& text);

    VariantValue(uint8_t value);
    VariantValue(std::vector<uint8_t> value);
    VariantValue(int16_t value);
    VariantValue(uint16_t value);
    VariantValue(int32_t value);
    VariantValue(uint32_t value);
    VariantValue(std::vector<uint32_t> value);
    VariantValue(float value);
    VariantValue(std::string value);
    VariantValue(IPAddress value);
    VariantValue(std::vector<IPAddress> value);
    VariantValue(bool value);
    VariantValue(std::vector<std::string> value);
    VariantValue(std::vector<int32_t> value);
    VariantValue(std::vector<float> value);
    VariantValue(int64_t value);
    VariantValue(uint64_t value);
    VariantValue(std::vector<uint64_t> value);
    /// A STRING; null is not allowed, and other pointers do not become a BOOLEAN.
    VariantValue(const char* text) : VariantValue(std::string(text)) {}
    template <class T>
    VariantValue(const T* pointer) = delete;

    VariantValue(const VariantValue& other);
    /// A value that was moved from keeps its type and has some value of it.
    VariantValue(VariantValue&& other) noexcept;
    VariantValue& operator=(const VariantValue& other);
    VariantValue& operator=(VariantValue&& other) noexcept;
    ~VariantValue() {
        if (OwnsMemory(type_))
            Destroy();
    }

    using Variant::Set;
    void Set(uint8_t value) override;
    void Set(const std::vector<uint8_t>& value) override;
    void Set(int16_t value) override;
    void Set(uint16_t value) override;
    void Set(int32_t value) override;
    void Set(uint32_t value) override;
    void Set(const std::vector<uint32_t>& value) override;
    void Set(float value) override;
    void Set(const std::string& value) override;
    void Set(const IPAddress& value) override;
    void Set(const std::vector<IPAddress>& value) override;
    void Set(bool value) override;
    void Set(const std::vector<std::string>& value) override;
    void Set(const std::vector<int32_t>& value) override;
    void Set(const std::vector<float>& value) override;
    void Set(int64_t value) override;
    void Set(uint64_t value) override;
    void Set(const std::vector<uint64_t>& value) override;
    /// Take the value over without copying it.
    void Set(std::vector<uint8_t>&& value);
    void Set(std::vector<uint32_t>&& value);
    void Set(std::string&& value);
    void Set(std::vector<IPAddress>&& value);
    void Set(std::vector<std::string>&& value);
    void Set(std::vector<int32_t>&& value);
    void Set(std::vector<float>&& value);
    void Set(std::vector<uint64_t>&& value);

    operator uint8_t() const override;
    operator std::vector<uint8_t>() const override;
    operator int16_t() const override;
    operator uint16_t() const override;
    operator int32_t() const override;
    operator uint32_t() const override;
    operator std::vector<uint32_t>() const override;
    operator float() const override;
    operator std::string() const override;
    operator IPAddress() const override;
    operator std::vector<IPAddress>() const override;
    operator bool() const override;
    operator std::vector<std::string>() const override;
    operator std::vector<int32_t>() const override;
    operator std::vector<float>() const override;
    operator int64_t() const override;
    operator uint64_t() const override;
    operator std::vector<uint64_t>() const override;

private:
    static constexpr bool OwnsMemory(VariantType type) {
        constexpr uint32_t kOwners =
            1u << int(VariantType::UINT8_VECTOR) | 1u << int(VariantType::UINT32_VECTOR) |
            1u << int(VariantType::STRING) | 1u << int(VariantType::IP_ADDRESS_LIST) |
            1u << int(VariantType::STRING_LIST) | 1u << int(VariantType::INT32_VECTOR) |
            1u << int(VariantType::FLOAT_VECTOR) | 1u << int(VariantType::UINT64_VECTOR);
        return uint32_t(type) < 32 && (kOwners >> uint32_t(type) & 1) != 0;
    }

    void Destroy() noexcept;
    template <class T>
    T& Slot() const {
        return *static_cast<T*>(location_);
    }
    // Become this value, whatever the type was.
    template <class T>
    void Store(const T& value);
    template <class T>
    void Replace(T&& value) noexcept;
    template <class T>
    const T& Get() const;

    alignas(8) unsigned char storage_[32];
};

}  // namespace quarn
