#pragma once

/// A ring of text records in memory, for code that must neither allocate nor take a lock while it logs.
///
///     static quarn::SimpleLog trace;
///     trace.Start();  // one thread at a time writes
///     trace.Print("free %p, %lu bytes", block, size);
///     if (!trace.Finish())
///         ++lost;  // the ring was full: the whole record is dropped
///     ...
///     std::string text;  // any thread, whenever it suits
///     uint32_t number;
///     while (trace.Get(text, number))
///         printf("%u: %s\n", number, text.c_str());
///
/// Records are numbered from 0; a dropped record uses up its number, so that a gap shows the loss.

#include <quarn/Attributes.h>

#include <stdarg.h>
#include <stdint.h>

#include <array>
#include <atomic>
#include <mutex>
#include <string>

namespace quarn {

class QUARN_API SimpleLog {
public:
    /// Flags of PrintNumeric(), to be added up.
    enum Flags : uint32_t {
        ZERO_PADDED = 1,  ///< pads with zeros behind the sign instead of spaces before it
        UNSIGNED = 2,     ///< the value's 64 bits are an unsigned number
        HEXADECIMAL = 4,  ///< base 16, upper-case digits
    };

    SimpleLog() = default;
    SimpleLog(const SimpleLog&) = delete;
    SimpleLog& operator=(const SimpleLog&) = delete;

    /// Begins a record, dropping one that was begun and not finished.
    void Start();
    /// Appends a character to the record. Returns false when the ring, of 16384 bytes, is full; the record
    /// is lost then, and when no record was begun. The character 0 ends a record and is left out.
    bool Out(char c);
    /// Appends text, of which Out() tells whether it fitted: "%d", "%u", "%X", "%p", "%c", "%s" and "%%",
    /// with an "l" modifier, a "0" flag and a decimal width (blanks go in front), and what else SimplePrint
    /// knows.
    void Print(const char* format, ...) QUARN_PRINTF(2, 3);
    /// Print() for a va_list, which the call uses up.
    void VarPrint(const char* format, va_list arguments) QUARN_VPRINTF(2);
    /// Appends a number, in base 10 unless flags say otherwise, with a "-" when it is negative, padded to
    /// the width.
    void PrintNumeric(int64_t value, uint32_t width, uint32_t flags);
    /// Ends the record and hands it to the readers. Returns false when it did not fit; then it is dropped
    /// whole. Also false when no record was begun since the last one.
    bool Finish();

    /// Takes the oldest record. Returns false, and changes neither argument, when there is none. Any thread
    /// may call it, also while another one writes.
    bool Get(std::string& text, uint32_t& number);

private:
    static constexpr uint32_t SIZE = 16384;

    bool Put(char c);

    std::array<char, SIZE> ring_;
    std::atomic<uint32_t> read_{0};       // moved by readers, under the mutex
    std::atomic<uint32_t> committed_{0};  // moved by the writer
    uint32_t write_ = 0;                  // the writer's own, like the rest
    uint32_t counter_ = 0;
    bool fits_ = false;  // a record was begun and has had room so far
    std::mutex readers_;
};

}  // namespace quarn
