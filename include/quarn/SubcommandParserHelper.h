#pragma once

/// Takes apart a console line of the form command, subcommand, arguments, so that all accessors complain
/// alike.
///
///     const quarn::SubcommandParserHelper parser(command, words);
///     if (parser.NoSub())
///         return {quarn::Format("%s read <device>", parser.Cmd_c()),
///                 quarn::Format("%s write <device> [<byte> ...]", parser.Spc_c())};
///     if (parser.Sub("read", 1))
///         return Read(parser.Arg(0));
///     if (parser.Sub("write", 1, 0))  // one argument or more
///         return Write(parser);
///     parser.Unk();  // "i2c" command has no "raed" subcommand
///
/// The what-phrase that begins most messages is `"i2c read" command`, or `"read" command` when the command
/// word is empty; forming it without any word throws "No subcommand". Every failure is a MonitorException.
/// For one thread.

#include <quarn/Attributes.h>

#include <stddef.h>

#include <string>
#include <vector>

namespace quarn {

class QUARN_API SubcommandParserHelper {
public:
    /// `command` may be empty; it must outlive this object. `words` are those behind it: the subcommand and
    /// its arguments.
    SubcommandParserHelper(const std::string& command, const std::vector<std::string>& words);
    SubcommandParserHelper(std::string&&, const std::vector<std::string>&) = delete;

    /// The command word.
    const char* Cmd_c() const { return command_.c_str(); }
    /// As many spaces as the command word has characters, to indent usage text.
    const char* Spc_c() const;
    /// The what-phrase.
    const char* What_c() const;

    /// Whether there are no words at all.
    bool NoSub() const { return words_.empty(); }
    /// The first word. Throws "No subcommand".
    const std::string& Subcommand() const;
    /// The number of arguments, 0 without any word.
    size_t Args() const { return words_.empty() ? 0 : words_.size() - 1; }
    /// An argument, counted from 0. Throws "%s has no argument with index %zu".
    const std::string& Arg(size_t index) const;
    /// True for the word `a`, false for `b`. Throws "%s expects \"%s\" or \"%s\"" for any other, and what
    /// Arg() throws.
    bool BinaryArg(size_t index, const std::string& a, const std::string& b) const;

    /// Whether this is the subcommand; false also when there is none. Throws "%s requires %s argument%s" when
    /// it is and has not exactly `count` arguments.
    bool Sub(const std::string& name, size_t count) const;
    /// Whether this is the subcommand. A maximum of 0 means no limit, unless the minimum is 0 too: equal
    /// limits are an exact count. Throws "%s requires at least %zu argument%s" or "%s requires %zu %s %zu
    /// arguments" for a count outside the limits, "%s handler has bad argument limits", whatever the
    /// subcommand, for a minimum above the maximum, and "No subcommand": to be called after NoSub().
    bool Sub(const std::string& name, size_t minimum, size_t maximum) const;

    /// The line again, its words separated by single blanks; quotes are not restored.
    std::string Line() const;

    /// Throws "Issue \"%s\" for usage information", or "Issue empty command for usage information".
    [[noreturn]] void Usage() const;
    /// Throws "Improper %s".
    [[noreturn]] void Improper() const;
    /// The end of a handler that found no subcommand of its own. Throws "\"%s\" command has no \"%s\"
    /// subcommand" or, for an empty command word, "Unknown command \"%s\"". Without words it is the handler
    /// that is at fault, and the message says so.
    [[noreturn]] void Unk() const;

private:
    const std::string& command_;
    const std::vector<std::string> words_;
    mutable std::string spaces_;  // these two are filled when first asked for
    mutable std::string what_;
};

}  // namespace quarn
