#include "base/base.shared/utils/phrase.h"

#include "base/base.shared/utils/regex_tree.h"

#include <algorithm>
#include <optional>

namespace base {

namespace {

constexpr size_t npos = std::string_view::npos;

/// How often a byte occurs in names and in compact JSON, roughly: 0 for the rarest.
size_t frequency(char c) {
    constexpr std::string_view by_frequency = "zxqj9876543kvbp210wgyfmcudlhrsnioate :\",";
    return by_frequency.find(c) + 1; // npos + 1 is 0
}

/// Which byte an endless run excludes, NUL for none; nothing for what is no such run. A letter is
/// two bytes.
std::optional<char> excluded_by_run(const RegexTree& tree) {
    if (tree.most != RegexTree::unbounded || tree.parts[0].kind != RegexTree::Kind::set) {
        return {};
    }
    const std::bitset<256>& set = tree.parts[0].set;
    if (set.count() + 1 < set.size()) {
        return {};
    }
    size_t excluded = 0;
    while (excluded < set.size() && set[excluded]) {
        ++excluded;
    }
    return static_cast<char>(excluded % set.size());
}

} // namespace

/// Where the piece of a part stands in a text, from left to right. Goes from one of the piece's
/// rarest bytes to the next, and from there byte by byte as Knuth, Morris and Pratt do, as long as
/// the bytes in front may begin the piece. Neither goes back: so all takes time by the length of
/// the text alone. Defined in the class and so inline, which saves 6 % of the instructions of a
/// search for a rare keyword (scripts/count-instructions).
class Phrase::Occurrences {
public:
    Occurrences(const Part& part, std::string_view text) : m_part(&part), m_text(text) {}

    /// The first one at or behind a place, npos if there is none. Each call names a place at or
    /// behind that of the call before.
    size_t next(size_t from) {
        const std::string& piece = m_part->piece;
        if (from > m_text.size()) {
            return npos;
        }
        if (from > m_read) {
            m_read = from;
            m_matched = 0;
        }
        while (m_matched < piece.size() || m_read - m_matched < from) {
            if (m_matched == 0) {
                m_read = next_candidate();
            }
            if (m_read == m_text.size()) {
                return npos;
            }
            const char c = to_small(m_text[m_read++]);
            while (m_matched > 0 && piece[m_matched] != c) { // behind the piece stands NUL
                m_matched = m_part->borders[m_matched - 1];
            }
            m_matched += piece[m_matched] == c ? 1 : 0;
        }
        return m_read - m_matched;
    }
    /// The first end of one that is at or behind a place.
    size_t next_end(size_t place) {
        const size_t size = m_part->piece.size();
        const size_t begin = next(place - std::min(size, place));
        return begin == npos ? npos : begin + size;
    }

private:
    /// Where the next rarest byte tells that the piece may begin; the end of the text if nowhere.
    size_t next_candidate() {
        const char small = m_part->piece[m_part->rarest];
        const char capital = to_capital(small);
        const size_t from = m_read + m_part->rarest;
        if (from == 0 || m_small < from) { // or it would be sought again for each capital
            m_small = m_text.find(small, from);
        }
        const std::string_view before_small = m_text.substr(0, m_small);
        const size_t found =
            capital == small ? m_small : std::min(m_small, before_small.find(capital, from));
        return found == npos ? m_text.size() : found - m_part->rarest;
    }

    const Part* m_part;
    std::string_view m_text;
    size_t m_read = 0;    // bytes of the text that were read or skipped
    size_t m_matched = 0; // bytes of the piece that stand in front of there
    size_t m_small = 0;   // where the rarest byte is next, as a small letter
};

Phrase::Phrase(const RegexTree& tree) {
    if (tree.kind != RegexTree::Kind::sequence) {
        add(tree);
    } else {
        for (const RegexTree& part : tree.parts) {
            add(part);
        }
    }
    if (m_parts.size() > 1 && m_parts.back().piece.empty() && m_parts.back().least == 0) {
        m_parts.pop_back();
    }
    for (Part& part : m_parts) {
        part.index();
    }
}

void Phrase::Part::index() {
    const auto is_rarer = [](char a, char b) { return frequency(a) < frequency(b); };
    const auto found = std::min_element(piece.begin(), piece.end(), is_rarer);
    rarest = static_cast<size_t>(found - piece.begin());
    borders.assign(piece.size(), 0);
    for (size_t i = 1, border = 0; i < piece.size(); ++i) {
        while (border > 0 && piece[border] != piece[i]) {
            border = borders[border - 1];
        }
        border += piece[border] == piece[i] ? 1 : 0;
        borders[i] = static_cast<uint32_t>(border);
    }
}

void Phrase::add(const RegexTree& tree) {
    Part& last = m_parts.back();
    const std::optional<char> excluded = excluded_by_run(tree);
    if (tree.kind == RegexTree::Kind::literal) {
        last.piece += tree.text;
    } else if (last.piece.empty() && last.excluded == excluded) {
        last.least += tree.least;
    } else if (excluded && !last.piece.empty() && (last.excluded == '\0' || excluded == '\0')) {
        m_parts.push_back({.excluded = *excluded, .least = tree.least});
    } else { // any run, which is more than the expression allows
        m_is_exact = false;
        m_parts.resize(m_parts.size() - (last.piece.empty() ? 1 : 0));
        m_parts.emplace_back();
    }
    if (tree.kind == RegexTree::Kind::alternatives) {
        add_choice(tree.parts);
    }
}

/// Adds none if one of the branches may be anything.
void Phrase::add_choice(const std::vector<RegexTree>& branches) {
    std::vector<Phrase> phrases; // one by one: a range leaks in one C++ library if one throws
    phrases.reserve(branches.size());
    for (const RegexTree& branch : branches) {
        phrases.emplace_back(branch);
    }
    const auto is_anything = [](const Phrase& phrase) {
        return phrase.m_parts.size() == 1 && phrase.m_parts[0].piece.empty() &&
               phrase.m_choices.empty();
    };
    if (std::none_of(phrases.begin(), phrases.end(), is_anything)) {
        m_choices.push_back(std::move(phrases));
    }
}

bool Phrase::is_in(std::string_view text) const noexcept {
    const auto is_here = [text](const Phrase& phrase) { return phrase.is_in(text); };
    const auto has_one = [&](const auto& choice) {
        return std::any_of(choice.begin(), choice.end(), is_here);
    };
    return contains_pieces(text) && std::all_of(m_choices.begin(), m_choices.end(), has_one);
}

bool Phrase::contains_pieces(std::string_view text) const noexcept {
    // Many texts contain the name of a JSON member, few the keyword, which is the last piece.
    const bool has_last = Occurrences(m_parts.back(), text).next(m_parts.back().least) != npos;
    if (!has_last || m_parts.size() == 1) {
        return has_last;
    }
    size_t run_begin = 0;
    Occurrences before(m_parts.front(), text); // of the piece in front of the run
    for (const Part& part : m_parts) {
        Occurrences pieces(part, text);
        size_t found = pieces.next(run_begin + part.least);
        while (found != npos && part.excluded != '\0') {
            const std::string_view run = text.substr(run_begin, found - run_begin);
            const size_t barrier = run.rfind(part.excluded);
            if (barrier == npos) {
                break;
            }
            // No run that reaches a piece begins before that byte: the piece before ends behind it.
            run_begin = before.next_end(run_begin + barrier + 1);
            found = run_begin == npos ? npos : pieces.next(run_begin + part.least);
        }
        if (found == npos) {
            return false;
        }
        run_begin = found + part.piece.size();
        before = pieces;
    }
    return true;
}

} // namespace base
