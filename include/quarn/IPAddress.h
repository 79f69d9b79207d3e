#pragma once

/// An IPv4 address, a small value.
///
///     try {
///         quarn::IPAddress mask("255.255.255.0");
///         printf("/%u\n", mask.UpperBitsSet());  // /24
///         quarn::IPAddress peer("10.0.0.300");
///     } catch (const quarn::MonitorException& e) {
///         puts(e.Description().c_str());  // 10.0.0.300 is not a valid IP address
///     }

#include <quarn/Attributes.h>

#include <netinet/in.h>
#include <stdint.h>

#include <string>

namespace quarn {

class QUARN_API IPAddress {
public:
    /// 0.0.0.0
    constexpr IPAddress() = default;
    constexpr explicit IPAddress(const in_addr& address) : address_(address.s_addr) {}
    /// `networkOrder` is the address as in_addr holds it, not as a host counts.
    constexpr explicit IPAddress(uint32_t networkOrder) : address_(networkOrder) {}
    /// From a dotted quad of four decimal numbers without blanks or superfluous zeros. Throws
    /// MonitorException "%s is not a valid IP address" for anything else.
    explicit IPAddress(const std::string& text);

    constexpr bool operator==(const IPAddress& other) const = default;
    /// An order for containers: that of the numbers in network byte order, not of the dotted quads.
    constexpr bool operator<(const IPAddress& other) const { return address_ < other.address_; }

    constexpr bool IsZero() const { return address_ == 0; }
    constexpr in_addr ToInAddr() const { return in_addr{address_}; }

    /// The contiguous one bits from the top, 0 to 32: the prefix length of an address that is a netmask.
    uint32_t UpperBitsSet() const;

    /// The dotted quad. Throws MonitorException "inet_ntop failed: %s" with the system's reason.
    std::string ToString() const;

private:
    uint32_t address_ = 0;
};

}  // namespace quarn
