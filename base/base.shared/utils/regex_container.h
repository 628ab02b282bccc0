#pragma once

#include "base/base.shared/utils/literal_filter.h"

#include <regex.h>
#include <string>
#include <string_view>

namespace base {

/// A compiled POSIX extended regular expression and the keyword that it was made for.
///
/// Matches ignore the case of ASCII letters; a newline is a character like any other. Texts are
/// matched byte by byte, whatever the locale of the process. One container serves one thread at a
/// time.
///
/// Cost is bounded: what could take the C library over 0.1 s or 64 MB to compile, or 50 ms to match
/// with 1 KB of text, is refused as an invalid pattern is. The rule, intervals written out:
/// - the sets, times the different sets and literals, come to 1,000 points at most, half of that if
///   there are anchors; of the characters and operators in alternatives and repetitions four count
///   one point, of the branches sixteen;
/// - no back-references, no anchors in repetitions, at most 8 anchors and empty alternatives, 20
///   groups and repetitions inside each other, one of what may be empty, and 70,000 bytes.
/// Text without operators is never refused up to that length.
class RegexContainer {
public:
    /// Not ready, with an empty pattern and keyword.
    RegexContainer();
    ~RegexContainer();
    RegexContainer(const RegexContainer&) = delete;
    RegexContainer& operator=(const RegexContainer&) = delete;

    /// Whether the container is ready and was last built for exactly this keyword.
    [[nodiscard]] bool check_key_word(std::string key_word);
    /// Makes the container not ready, with an empty pattern and keyword.
    void clear();
    /// Compiles `pattern` in place of the expression before. An invalid or refused pattern leaves
    /// the container not ready; nothing else tells of it. Throws std::bad_alloc for want of memory.
    void build_reg(std::string key_word, std::string pattern);
    /// Whether the expression matches anywhere in the text; false if the container is not ready,
    /// and if the C library finds no memory to match with: it does not tell the two apart. A text
    /// of more than 8 KB is matched in pieces if the expression has more than some ten sets or
    /// alternatives: it may then miss a match longer than 4 KB, takes a piece's ends for those of a
    /// word, and is compiled again every 4 KB. Throws std::bad_alloc like `build_reg`.
    [[nodiscard]] bool exec(const char* text);
    /// True only if the container was last built for exactly this keyword and `exec` would find no
    /// match in the text, which has no NUL byte. Far cheaper than `exec`, but not always sure; also
    /// tells that a refused pattern need not be built again.
    [[nodiscard]] bool rules_out(std::string_view key_word, std::string_view text) const;

private:
    void compile();
    void release();

    regex_t m_reg;
    bool m_reg_is_ready = false;
    std::string m_pattern;
    std::string m_key_word;
    bool m_is_refused = false; // the last pattern, by the syntax or the bound
    std::string m_search;      // what m_reg is compiled from
    bool m_is_wide = false;
    size_t m_matched_bytes = 0; // since m_reg was compiled, if it is wide
    LiteralFilter m_filter;     // of m_reg
};

} // namespace base
