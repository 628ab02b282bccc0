#pragma once

#include "base/base.shared/utils/literal_filter.h"

#include <array>
#include <regex.h>
#include <string>
#include <string_view>

namespace base {

/// A compiled POSIX extended regular expression and the keyword that it was made for.
///
/// Matches ignore the case of ASCII letters; a newline is a character like any other. Texts are
/// matched as the C locale of the process reads them: byte by byte in "C", and in a UTF-8 locale
/// by whole characters, the case of other letters ignored too. One container serves one thread at a
/// time.
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
    /// Compiles `pattern` in place of the expression before. An invalid pattern leaves the
    /// container not ready; nothing else tells of it. Throws std::bad_alloc for want of memory.
    void build_reg(std::string key_word, std::string pattern);
    /// Whether the expression matches anywhere in the text; false if the container is not ready,
    /// and if the C library finds no memory to match with: it does not tell the two apart.
    [[nodiscard]] bool exec(const char* text);
    /// True only if the container is ready, was last built for exactly this keyword, and `exec`
    /// would find no match in the text, which has no NUL byte. Far cheaper than `exec`, but not
    /// always sure.
    [[nodiscard]] bool rules_out(std::string_view key_word, std::string_view text) const;

private:
    void release();

    regex_t m_reg;
    bool m_reg_is_ready = false;
    std::string m_pattern;
    std::string m_key_word;
    std::array<regmatch_t, 10> m_matched;
    LiteralFilter m_filter; // of m_reg
};

} // namespace base
