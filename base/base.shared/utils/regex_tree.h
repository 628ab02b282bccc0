#pragma once

#include <bitset>
#include <cstddef>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace base {

/// The small letter for an ASCII capital, any other byte as it is.
constexpr char to_small(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

/// The capital for a small ASCII letter, any other byte as it is.
constexpr char to_capital(char c) {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

/// A POSIX extended regular expression that is matched byte by byte and without regard to the case
/// of ASCII letters. A sequence without parts matches the empty text.
struct RegexTree {
    enum class Kind {
        literal,      ///< `text`, its letters small
        set,          ///< one byte of `set`, which has both cases of a letter or none
        anchor,       ///< `^`, `$`, or a word operator: a backslash and one of b B < >
        sequence,     ///< the parts, one behind the other
        alternatives, ///< one of the parts, of which none is empty
        repetition,   ///< the one part, `least` to `most` times
    };
    static constexpr size_t unbounded = std::numeric_limits<size_t>::max();

    /// Whether it matches the empty text alone, wherever that is.
    [[nodiscard]] bool is_empty() const { return text.empty() && set.none() && parts.empty(); }

    Kind kind = Kind::sequence;
    std::string text = {};
    std::bitset<256> set = {}; // NUL, which no text contains, is in all that exclude others
    size_t least = 1;
    size_t most = 1;
    std::vector<RegexTree> parts = {};
};

/// Reads a pattern as the GNU C library does. Nothing for what is no valid expression, and for what
/// `RegexContainer` refuses whatever it costs. A backslash before a character that it gives no
/// meaning does nothing. The tree is a sequence, of which no part is one.
[[nodiscard]] std::optional<RegexTree> parse_regex(std::string_view pattern);

/// Whether the engine is the GNU C library's, which knows word operators. POSIX does not.
extern const bool engine_is_gnu;

/// Takes away what may be missing at both ends of a match. A search for the rest gives the same
/// answer: for `ab+` as for `.*ab+c*`.
void trim_for_search(RegexTree& tree);

/// What an engine has to do for an expression.
struct RegexCost {
    double total;        ///< by the rule at `RegexContainer`; infinite for more than 8 anchors
    double loose_places; ///< sets, and characters in alternatives and repetitions
};
[[nodiscard]] RegexCost cost_of(const RegexTree& tree);

/// Whether every match begins where the text does, by a `^` there.
[[nodiscard]] bool starts_at_start(const RegexTree& tree);

[[nodiscard]] bool has_anchor(const RegexTree& tree);

/// The expression in the words that all engines read alike if they compile it with REG_EXTENDED and
/// REG_ICASE in the "C" locale, but for the two anchors, in the given words. That of a sequence may
/// stand beside others.
[[nodiscard]] std::string written_for_engine(const RegexTree& tree, const char* text_start,
                                             const char* text_end);

} // namespace base
