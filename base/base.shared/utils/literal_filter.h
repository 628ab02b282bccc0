#pragma once

#include <array>
#include <string>
#include <string_view>
#include <vector>

namespace base {

/// Tells quickly that a text does not hold some literals one after the other, ASCII letters in
/// either case.
class LiteralFilter {
public:
    /// Takes the literals in lower case.
    void build(const std::vector<std::string>& literals);
    /// False only if the text does not hold them.
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
};

} // namespace base
