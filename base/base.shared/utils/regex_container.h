#pragma once

#include "base/base.shared/utils/phrase.h"

#include <cstddef>
#include <regex.h>
#include <string>
#include <string_view>

namespace base {

enum class Answer { no, yes, unknown };

/// A POSIX extended regular expression and the keyword that it was made for.
///
/// Matches ignore the case of ASCII letters; a newline is a character like any other. Texts are
/// matched byte by byte, whatever the locale of the process. One container serves one thread at a
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
    /// Takes `pattern` in place of the expression before. An invalid or refused pattern leaves the
    /// container not ready; nothing else tells of it. Throws std::bad_alloc for want of memory, and
    /// leaves the container as `clear` does then.
    void build_reg(std::string key_word, std::string pattern);
    /// Whether the expression matches anywhere in the text; false if the container is not ready,
    /// and if the engine finds no memory to match with: engines do not tell the two apart. Throws
    /// std::bad_alloc like `build_reg`.
    [[nodiscard]] bool exec(const char* text);
    /// Whether the last build was made for exactly this keyword, whatever became of it.
    [[nodiscard]] bool was_built_for(std::string_view key_word) const;
    /// What `exec` would answer for a text, NUL bytes in it included, as far as that can be told
    /// without the engine, which is far cheaper.
    [[nodiscard]] Answer known_answer(std::string_view text) const;

private:
    [[nodiscard]] bool is_ready() const;
    [[nodiscard]] bool matches_in_pieces(std::string_view text);
    void compile();
    void release();

    regex_t m_reg;
    bool m_reg_is_ready = false;
    std::string m_pattern; // not empty after a build, whatever became of it
    std::string m_key_word;
    Phrase m_phrase;
    bool m_is_phrase = false;   // the phrase says it all, and nothing is compiled
    std::string m_expression;   // what m_reg is compiled from
    bool m_is_wide = false;     // texts bring m_reg into many states
    size_t m_matched_bytes = 0; // since m_reg was compiled
};

} // namespace base
