#pragma once

/// Takes the bytes that arrive on a TCPConnection; the terminals are such receivers.
///
///     class Counter : public quarn::TCPConnectionReceiver {
///     public:
///         void Receive(const void*, size_t length) override { bytes += length; }
///         size_t bytes = 0;
///     };
///     Counter counter;
///     if (!connection.Work(&counter))
///         ...  // disconnected for good: discard the connection

#include <quarn/Attributes.h>

#include <stddef.h>

namespace quarn {

class QUARN_API TCPConnectionReceiver {
public:
    /// Called from TCPConnection::Work() with 1 to 4096 bytes, valid during the call only.
    virtual void Receive(const void* data, size_t length) = 0;

protected:
    ~TCPConnectionReceiver() = default;
};

}  // namespace quarn
