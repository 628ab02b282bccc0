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
    /// The empty phrase, which every text contains.
    Phrase() = default;
    /// What every match of the expression contains.
    explicit Phrase(const RegexTree& tree);

    /// Whether every text that contains the phrase is a match.
    [[nodiscard]] bool is_exact() const { return m_is_exact; }
    /// Whether the text contains the phrase, ASCII letters in either case. Takes time by the length
    /// of the text, whatever the phrase. Throws std::bad_alloc, if at all, for a text and a piece
    /// that both repeat themselves: then it takes four times the memory of the piece.
    [[nodiscard]] bool is_in(std::string_view text) const;

private:
    class Occurrences;

    /// A run of bytes, and the piece behind it.
    struct Part {
        char excluded = '\0'; // which byte the run must not contain; no text contains NUL
        size_t least = 0;     // how long the run is at least
        std::string piece = {};
        size_t rarest = 0; // the place in the piece at which a search looks first
    };

    void add(const RegexTree& tree);
    void add_run(char excluded, size_t least);
    /// Any run: more than the expression allows.
    void add_gap();
    static size_t last_barrier(const Part& part, std::string_view text, size_t begin, size_t end);

    // The first run excludes nothing, and of two adjacent runs at most one excludes a byte: so the
    // piece between them may be sought anywhere.
    std::vector<Part> m_parts{Part{}};
    bool m_is_exact = true;
};

} // namespace base
