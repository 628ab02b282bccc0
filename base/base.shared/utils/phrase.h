#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace base {

struct RegexTree;

/// Pieces of plain text that follow each other in a text, and what may stand between them: what an
/// expression asks for at least, and often all of it.
class Phrase {
public:
    /// Of nothing: every text holds it.
    Phrase() = default;
    /// What every match of the expression holds.
    explicit Phrase(const RegexTree& tree);

    /// Whether every text that holds the phrase is a match.
    [[nodiscard]] bool is_exact() const { return m_is_exact; }
    /// Whether the text holds the phrase, ASCII letters in either case. Takes time by the length of
    /// the text; times that of a piece, at worst, if both repeat themselves.
    [[nodiscard]] bool is_in(std::string_view text) const;

private:
    /// A run of bytes, and the piece behind it.
    struct Part {
        char excluded = '\0'; // which byte the run must not hold; no text holds NUL
        size_t least = 0;     // how long the run is at least
        std::string piece = {};
        size_t rarest = 0; // the place in the piece at which a search looks first
    };

    void add(const RegexTree& tree);
    void add_run(char excluded, size_t least);
    /// Any run: more than the expression allows.
    void add_gap();
    static size_t find(const Part& part, std::string_view text, size_t from);

    // The first run excludes nothing, nor does one of two neighbours: the piece between them may
    // be sought anywhere.
    std::vector<Part> m_parts{Part{}};
    bool m_is_exact = true;
};

} // namespace base
