#include <quarn/SimpleLog.h>

#include "foundation/SimpleFormat.h"

namespace quarn {

namespace {

constexpr uint32_t kNumberBytes = 4;

}  // namespace

void SimpleLog::Start() {
    write_ = committed_.load(std::memory_order_relaxed);
    fits_ = true;
    for (uint32_t i = 0; i < kNumberBytes; ++i)
        Put(static_cast<char>(counter_ >> (8 * i)));
    ++counter_;
}

// The byte at the write position is always free; only the step to the next one can run into the readers.
bool SimpleLog::Put(char c) {
    if (!fits_)
        return false;
    ring_[write_] = c;
    write_ = (write_ + 1) % SIZE;
    fits_ = write_ != read_.load(std::memory_order_acquire);
    return fits_;
}

bool SimpleLog::Out(char c) {
    return c == '\0' ? fits_ : Put(c);
}

void SimpleLog::Print(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    VarPrint(format, arguments);
    va_end(arguments);
}

void SimpleLog::VarPrint(const char* format, va_list arguments) {
    SimpleFormatter formatter([this](char c) { return Out(c); });
    formatter.Format(format, arguments);
}

void SimpleLog::PrintNumeric(int64_t value, uint32_t width, uint32_t flags) {
    SimpleFormatter formatter([this](char c) { return Out(c); });
    const SimpleField field{width, (flags & ZERO_PADDED) != 0};
    const bool hexadecimal = (flags & HEXADECIMAL) != 0;
    if (flags & UNSIGNED)
        formatter.PutUnsigned(static_cast<uint64_t>(value), hexadecimal, field);
    else
        formatter.PutSigned(value, hexadecimal, field);
}

bool SimpleLog::Finish() {
    if (!Put('\0'))
        return false;
    committed_.store(write_, std::memory_order_release);
    fits_ = false;  // what comes before the next Start() belongs to no record
    return true;
}

bool SimpleLog::Get(std::string& text, uint32_t& number) {
    const std::lock_guard lock(readers_);
    uint32_t at = read_.load(std::memory_order_relaxed);
    if (at == committed_.load(std::memory_order_acquire))
        return false;
    const auto take = [&] {
        const char c = ring_[at];
        at = (at + 1) % SIZE;
        return c;
    };
    uint32_t taken = 0;
    for (uint32_t i = 0; i < kNumberBytes; ++i)
        taken |= uint32_t{static_cast<unsigned char>(take())} << (8 * i);
    std::string record;
    while (const char c = take())
        record += c;
    text = std::move(record);
    number = taken;
    read_.store(at, std::memory_order_release);
    return true;
}

}  // namespace quarn
