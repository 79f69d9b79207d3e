#pragma once

/// Stands for a variable of the program, so that it can be read and written by name or from a message.
///
///     uint16_t port = 0;
///     quarn::VariantReference reference(&port);
///     quarn::VariantReference uptime(quarn::VariantType::UINT64, [] { return ReadUptime(); }, nullptr);
///     try {
///         reference.FromString("5000");  // port is now 5000
///         uptime.Set(uint64_t{0});
///     } catch (const quarn::MonitorException& e) {
///         puts(e.Description().c_str());  // Attempted to set unsettable variant reference
///     }
///
/// The program variable, and what the functions use, must outlive the reference.

#include <quarn/Attributes.h>
#include <quarn/Variant.h>
#include <quarn/VariantValue.h>

#include <stdint.h>

#include <functional>
#include <string>
#include <vector>

namespace quarn {

class QUARN_API VariantReference : public Variant {
public:
    using Getter = std::function<VariantValue()>;
    using Setter = std::function<void(const VariantValue&)>;

    /// Refers to a program variable, which fixes the type.
    explicit VariantReference(uint8_t* variable);
    explicit VariantReference(std::vector<uint8_t>* variable);
    explicit VariantReference(int16_t* variable);
    explicit VariantReference(uint16_t* variable);
    explicit VariantReference(int32_t* variable);
    explicit VariantReference(uint32_t* variable);
    explicit VariantReference(std::vector<uint32_t>* variable);
    explicit VariantReference(float* variable);
    explicit VariantReference(std::string* variable);
    explicit VariantReference(IPAddress* variable);
    explicit VariantReference(std::vector<IPAddress>* variable);
    explicit VariantReference(bool* variable);
    explicit VariantReference(std::vector<std::string>* variable);
    explicit VariantReference(std::vector<int32_t>* variable);
    explicit VariantReference(std::vector<float>* variable);
    explicit VariantReference(int64_t* variable);
    explicit VariantReference(uint64_t* variable);
    explicit VariantReference(std::vector<uint64_t>* variable);

    /// Reads through the getter, which returns a value of that type, and writes through the setter. Either
    /// may be empty. The setter gets whatever value is set, of any type; reading its argument as the right
    /// type refuses the others. What the functions throw passes through.
    VariantReference(VariantType type, Getter getter, Setter setter);

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

    virtual ~VariantReference();

private:
    [[noreturn]] static void NoGet();
    [[noreturn]] static void NoSet();
    template <class T>
    T Get() const;
    template <class T>
    void Store(const T& value);

    Getter getter_;
    Setter setter_;
};

}  // namespace quarn
