#include "base/base.shared/utils/phrase.h"

#include "base/base.shared/utils/regex_tree.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
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

/// The first place that holds a byte; `end` if there is none.
const char* seek(char byte, const char* begin, const char* end) {
    const void* found = std::memchr(begin, byte, static_cast<size_t>(end - begin));
    return found != nullptr ? static_cast<const char*>(found) : end;
}

/// The first place that holds a letter in either case, or another byte; `end` if there is none.
/// Goes by short stretches: a case that is nowhere near is not sought up to the end each time.
const char* seek_either_case(char small, const char* begin, const char* end) {
    constexpr std::ptrdiff_t stretch = 512;
    const char capital = to_capital(small);
    while (begin != end) {
        const char* stop = begin + std::min(stretch, end - begin);
        const char* found = seek(small, begin, stop);
        found = capital == small ? found : seek(capital, begin, found);
        if (found != stop) {
            return found;
        }
        begin = stop;
    }
    return end;
}

} // namespace

/// Where the piece of a part stands in a text, from left to right. However often it is asked, it
/// takes time by the length of the text alone.
class Phrase::Occurrences {
public:
    Occurrences(const Part& part, std::string_view text, size_t begin)
        : m_part(&part), m_text(text), m_begin(begin) {}

    /// The first one at or behind a place, npos if there is none. Each call names a place at or
    /// behind that of the call before, the first one at or behind `begin`.
    size_t next(size_t from) {
        const size_t size = m_part->piece.size();
        if (from > m_text.size() || size > m_text.size() - from) {
            return npos;
        }
        if (size == 0) {
            return from;
        }
        if (m_found < from || m_found == npos) {
            m_found = m_borders.empty() ? seek(from) : seek_by_borders(from);
        }
        return m_found;
    }
    /// The first end of one that is at or behind a place.
    size_t next_end(size_t place) {
        const size_t size = m_part->piece.size();
        const size_t begin = next(place - std::min(size, place));
        return begin == npos ? npos : begin + size;
    }

private:
    size_t seek(size_t from);
    size_t seek_by_borders(size_t from);
    void find_borders();

    const Part* m_part;
    std::string_view m_text;
    size_t m_found = npos;
    size_t m_begin;
    size_t m_compared = 0; // bytes
    std::vector<uint32_t>
        m_borders;        // by Knuth, Morris and Pratt; empty as long as that is not used
    size_t m_read = 0;    // bytes of the text that were read with them
    size_t m_matched = 0; // bytes of the piece that stand in front of there
};

/// Goes from one of the piece's rarest bytes to the next.
size_t Phrase::Occurrences::seek(size_t from) {
    const std::string& piece = m_part->piece;
    const auto is_same = [](char a, char b) { return a == to_small(b); };
    const char* at = m_text.data() + from + m_part->rarest;
    const char* const end = m_text.data() + m_text.size() - (piece.size() - m_part->rarest - 1);
    for (;; ++at) {
        at = seek_either_case(piece[m_part->rarest], at, end);
        if (at == end) {
            return npos;
        }
        const char* begin = at - m_part->rarest;
        const auto place = static_cast<size_t>(begin - m_text.data());
        const auto difference = std::mismatch(piece.begin(), piece.end(), begin, is_same).first;
        m_compared += static_cast<size_t>(difference - piece.begin());
        if (difference == piece.end()) {
            return place;
        }
        if (m_compared > 2 * (place - m_begin) + piece.size() + 256) {
            find_borders();
            return seek_by_borders(place);
        }
    }
}

/// Reads the text byte by byte, each once. What was skipped counts as matched: a piece that would
/// reach into it begins in front of `from`.
size_t Phrase::Occurrences::seek_by_borders(size_t from) {
    const std::string& piece = m_part->piece;
    m_read = std::max(m_read, from);
    while (m_read < m_text.size()) {
        const char c = to_small(m_text[m_read++]);
        while (m_matched > 0 && piece[m_matched] != c) { // behind the piece stands NUL
            m_matched = m_borders[m_matched - 1];
        }
        m_matched += piece[m_matched] == c ? 1 : 0;
        if (m_matched == piece.size() && m_read - m_matched >= from) {
            return m_read - m_matched;
        }
    }
    return npos;
}

/// For each beginning of the piece the length of the longest shorter one that it ends with.
void Phrase::Occurrences::find_borders() {
    const std::string& piece = m_part->piece;
    m_borders.assign(piece.size(), 0);
    for (size_t i = 1, border = 0; i < piece.size(); ++i) {
        while (border > 0 && piece[border] != piece[i]) {
            border = m_borders[border - 1];
        }
        border += piece[border] == piece[i] ? 1 : 0;
        m_borders[i] = static_cast<uint32_t>(border);
    }
}

Phrase::Phrase(const RegexTree& tree) {
    add(tree);
    if (m_parts.size() > 1 && m_parts.back().piece.empty() && m_parts.back().least == 0) {
        m_parts.pop_back();
    }
    for (Part& part : m_parts) {
        const auto rarest =
            std::min_element(part.piece.begin(), part.piece.end(),
                             [](char a, char b) { return frequency(a) < frequency(b); });
        part.rarest = static_cast<size_t>(rarest - part.piece.begin());
    }
}

void Phrase::add(const RegexTree& tree) {
    if (tree.kind == RegexTree::Kind::literal) {
        m_parts.back().piece += tree.text;
    } else if (tree.kind == RegexTree::Kind::sequence) {
        for (const RegexTree& part : tree.parts) {
            add(part);
        }
    } else if (const std::optional<char> excluded = excluded_by_run(tree)) {
        add_run(*excluded, tree.least);
    } else {
        add_gap();
    }
}

void Phrase::add_run(char excluded, size_t least) {
    Part& last = m_parts.back();
    if (last.piece.empty() && last.excluded == excluded) {
        last.least += least;
    } else if (last.piece.empty() || (last.excluded != '\0' && excluded != '\0')) {
        add_gap();
    } else {
        m_parts.push_back({.excluded = excluded, .least = least});
    }
}

void Phrase::add_gap() {
    m_is_exact = false;
    if (m_parts.back().piece.empty()) {
        m_parts.pop_back();
    }
    m_parts.emplace_back();
}

bool Phrase::is_in(std::string_view text) const {
    // Many texts contain the name of a JSON member, few the keyword, which is the last piece.
    const bool has_last = Occurrences(m_parts.back(), text, 0).next(m_parts.back().least) != npos;
    if (!has_last || m_parts.size() == 1) {
        return has_last;
    }
    size_t run_begin = 0;
    std::optional<Occurrences> before; // of the piece in front of the run
    for (const Part& part : m_parts) {
        Occurrences pieces(part, text, run_begin);
        size_t found = pieces.next(run_begin + part.least);
        for (size_t barrier = 0; (barrier = last_barrier(part, text, run_begin, found)) != npos;) {
            // No run that reaches a piece begins before that byte: the piece before ends behind it.
            run_begin = before->next_end(barrier + 1);
            found = run_begin == npos ? npos : pieces.next(run_begin + part.least);
        }
        if (found == npos) {
            return false;
        }
        run_begin = found + part.piece.size();
        before = std::move(pieces);
    }
    return true;
}

/// Where a run last contains the byte that it must not contain; npos if nowhere, and if there is no
/// end of the run.
size_t Phrase::last_barrier(const Part& part, std::string_view text, size_t begin, size_t end) {
    if (part.excluded == '\0' || end == npos) {
        return npos;
    }
    const size_t barrier = text.substr(begin, end - begin).rfind(part.excluded);
    return barrier == npos ? npos : begin + barrier;
}

} // namespace base
