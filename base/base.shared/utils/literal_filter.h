#pragma once

#include <array>
#include <string>
#include <string_view>
#include <vector>

namespace base {

/// Tells quickly that a text cannot match a POSIX extended regular expression, compiled with
/// REG_ICASE: a match holds the expression's literal pieces one after the other, and looking for
/// those is far cheaper than matching. It never rules out a text that matches; where it does not
/// understand an operator or the locale, it rules out nothing.
class LiteralFilter {
public:
    /// Takes the pieces from a pattern that the C library has compiled in the present locale.
    void build(std::string_view pattern);
    /// False only if the text cannot match.
    [[nodiscard]] bool may_match(std::string_view text) const;

private:
    /// A literal in lower case, and how far a search may move on behind each last byte.
    struct Piece {
        std::string literal;
        std::array<unsigned char, 256> skip;
    };

    /// Where the first occurrence of a literal ends, npos if there is none.
    static size_t find_end(const Piece& piece, std::string_view text);

    std::vector<Piece> m_pieces;
    bool m_all_bytes = false; // else only texts of ASCII can be ruled out
};

} // namespace base
