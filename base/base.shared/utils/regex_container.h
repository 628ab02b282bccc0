#pragma once

#include "base/base.shared/utils/phrase.h"

#include <cstddef>
#include <memory>
#include <optional>
#include <regex.h>
#include <string>
#include <string_view>

namespace base {

struct RegexTree;

/// A text as it stands in an expression that is to match it literally: a backslash before each
/// character that has a meaning there.
[[nodiscard]] std::string escape_regex(std::string_view text);

/// A POSIX extended regular expression and the keyword that it was made for.
///
/// Matches ignore the case of letters in every script; a newline is a character like any other. If
/// the pattern has a letter beyond ASCII that has another case, or if diacritics are ignored, the
/// pattern and each text are folded first (see `fold`). Texts are matched byte by byte, whatever
/// the locale of the process: `.` and a set match one byte of a folded text. Bytes that are no
/// UTF-8 match themselves. One container serves one thread at a time.
///
/// Plain text with runs between (`.*`, `[^"]*`) is looked for directly, however long. All else is
/// for the C library's engine, whose cost is bounded: what could take over 0.1 s, 64 MB or 128 KB
/// of stack to compile, or 50 ms to match with 1 KB of text, is refused as an invalid pattern is.
/// The rule is the same for all engines; TRE takes longer where an interval repeats a group that
/// may be empty. What may be missing at both ends of a match is left out first, and intervals are
/// written out, `(ab)+` as `ab(ab)*`. Then
///
///     plain    = 0.75 * places + sets * different
///     anchored = anchors * (plain + optional * optional / 20)
///     plain + anchored <= 380
///
/// where `places` are the characters and sets, `different` is the number of different sets, word
/// operators, and characters that begin a text in alternatives or repetitions, `optional` are the
/// places that repetitions may leave out, and `anchors` are the `^`, `$` and word operators; a `^`
/// at the start does not count, nor does a `$` at the end of what begins so.
/// - `.*a.{100}b.*` has 0.75 * 102 + 100 * 1 = 176.5.
/// - `.*(a.{200}b)+c.*` has 0.75 * 405 + 400 * 3, and is refused.
/// - `\b[a-z]{1,20}` has 0.75 * 20 + 20 * 2 = 55, and 55 + 19 * 19 / 20 = 73 more for its anchor.
/// - `\b[a-z]{1,80}` has 220, and 220 + 79 * 79 / 20 more, and is refused.
///
/// Refused as well are groups nested more than 20 deep, more than 3 intervals on one operand, more
/// than 8 anchors and more than 10,000 parts; back-references, collating elements and equivalence
/// classes; anchors in repetitions, and beside alternatives of which several may be empty; an
/// endless repetition of a group that may be empty, such as `(a*b?)*`; intervals beyond 255; and
/// word operators, a backslash and b, B, < or >, but with the GNU C library.
class RegexContainer {
public:
    /// Not ready, with an empty pattern and keyword.
    explicit RegexContainer(bool ignores_diacritics = false);
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
    /// and if the engine finds no memory to match with: engines do not tell the two apart. With the
    /// GNU C library an expression with more than ten sets, or characters in alternatives and
    /// repetitions, is compiled anew every 4 KB of text; if it has a `*`, `+` or `{n,}`, it may
    /// miss a match of 4,096 bytes or more in a text longer than 8,192 bytes: for example one of
    /// `bob.*(phone|mobile)`.
    /// Throws std::bad_alloc for want of memory; the container is ready then, or as `clear` leaves
    /// it.
    [[nodiscard]] bool exec(const char* text);
    /// Whether the last build was made for exactly this keyword, whatever became of it. The cost
    /// does not depend on the keyword if the answer for the same object was yes before.
    [[nodiscard]] bool was_built_for(const std::shared_ptr<const std::string>& key_word);

private:
    [[nodiscard]] bool is_ready() const;
    /// Compiles an expression in place of the one before; m_reg is ready then, unless the engine
    /// refuses it.
    void compile(const RegexTree& tree);
    void compile_expression();
    /// Whether m_reg, which must be ready, matches anywhere in the text.
    [[nodiscard]] bool matches(const char* text);
    /// Frees m_reg, if it is ready.
    void release() noexcept;

    regex_t m_reg;
    bool m_reg_is_ready = false;
    std::string m_pattern; // not empty after a build, whatever became of it
    std::string m_key_word;
    bool m_ignores_diacritics;
    bool m_folds = false;           // texts, because the pattern was folded
    std::string m_folded;           // the last one of them
    std::optional<Phrase> m_phrase; // what every match contains; if exact, nothing is compiled
    std::string m_expression;       // what m_reg is compiled from
    bool m_is_wide = false;         // m_reg takes ever more memory as it matches
    size_t m_matched_bytes = 0;     // since m_reg was compiled
    std::shared_ptr<const std::string> m_built_for; // the keyword that was asked for last, if yes
};

} // namespace base
