#pragma once

/// The shell-like matcher behind every listing and query.
///
///     for (const auto& name : names)
///         if (quarn::Wildcard::Match(name, "rf.*", true))
///             ...

#include <quarn/Attributes.h>

#include <string>

namespace quarn {

class QUARN_API Wildcard {
public:
    /// Whether the text matches the pattern, in which "*" stands for any run of characters and nothing else
    /// is special. The matcher remembers only the latest "*" and never goes back in the text, so that it
    /// rejects some texts that a backtracking matcher would accept ("*aab" does not match "aaab"). A "*" in
    /// the text meets that of the pattern as an equal character, which then stands for no run ("*" does not
    /// match "*a"). Without case sensitivity A-Z compare as a-z. Never throws; reentrant.
    static bool Match(const std::string& text, const std::string& pattern, bool caseSensitive);
};

}  // namespace quarn
