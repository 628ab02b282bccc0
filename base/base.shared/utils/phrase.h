#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace base {

struct RegexTree;

/// Pieces of plain text that follow each other in a text, and what may stand between them: what an
/// expression asks for at least, and often all of it.
class Phrase {
public:
    /// What every match of the expression contains.
    explicit Phrase(const RegexTree& tree);

    /// Whether every text that contains the phrase is a match.
    [[nodiscard]] bool is_exact() const { return m_is_exact; }
    /// Whether the text contains the phrase, ASCII letters in either case. Takes time by the length
    /// of the text, whatever the phrase.
    [[nodiscard]] bool is_in(std::string_view text) const noexcept;

private:
    class Occurrences;

    /// A run of bytes, and the piece behind it.
    struct Part {
        char excluded = '\0'; // which byte the run must not contain; no text contains NUL
        size_t least = 0;     // how long the run is at least
        std::string piece = {};
        size_t rarest = 0; // the place in the piece at which a search looks first
        // For each beginning of the piece the length of the longest shorter one that it ends with.
        std::vector<uint32_t> borders = {};

        /// Fills in what follows from the piece.
        void index();
    };

    void add(const RegexTree& tree);
    void add_choice(const std::vector<RegexTree>& branches);
    [[nodiscard]] bool contains_pieces(std::string_view text) const noexcept;

    // The first run excludes nothing, and of two adjacent runs at most one excludes a byte: so the
    // piece between them may be sought anywhere.
    std::vector<Part> m_parts{Part{}};
    // Of each, a text with a match contains one. They are asked if the pieces are there.
    std::vector<std::vector<Phrase>> m_choices;
    bool m_is_exact = true;
};

} // namespace base
