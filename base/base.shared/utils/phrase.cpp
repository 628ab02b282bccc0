#include "base/base.shared/utils/phrase.h"

#include "base/base.shared/utils/regex_tree.h"

#include <algorithm>
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

/// Which byte an endless run excludes, NUL for none; nothing for what is no such run. A letter
/// would be two bytes.
std::optional<char> excluded_by_run(const RegexTree& tree) {
    if (tree.most != RegexTree::unbounded || tree.parts[0].kind != RegexTree::Kind::set) {
        return {};
    }
    const std::string& set = tree.parts[0].text;
    const bool excludes_one = set.size() == 4 && set[1] == '^' && to_small(set[2]) == set[2];
    return excludes_one ? std::optional(set[2]) : set == "." ? std::optional('\0') : std::nullopt;
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
    // Many texts hold the name of a JSON member, few the keyword, which is the last piece.
    if (find(m_parts.back(), text, m_parts.back().least) == npos) {
        return false;
    }
    if (m_parts.size() == 1) {
        return true;
    }
    size_t run_begin = 0;
    const Part* before = &m_parts.front();
    for (const Part& part : m_parts) {
        size_t found = 0;
        for (;;) {
            if (found < run_begin + part.least || found == 0) {
                found = find(part, text, run_begin + part.least);
            }
            if (found == npos) {
                return false;
            }
            const std::string_view run = text.substr(run_begin, found - run_begin);
            const size_t barrier = part.excluded == '\0' ? npos : run.rfind(part.excluded);
            if (barrier == npos) {
                break;
            }
            // No run that reaches a piece begins before that byte: the piece before ends behind it.
            const size_t end = run_begin + barrier + 1;
            const size_t size = before->piece.size();
            const size_t again = find(*before, text, end - std::min(size, end));
            if (again == npos) {
                return false;
            }
            run_begin = again + size;
        }
        run_begin = found + part.piece.size();
        before = &part;
    }
    return true;
}

/// Where the piece of a part begins at or behind a place; npos if nowhere.
size_t Phrase::find(const Part& part, std::string_view text, size_t from) {
    const std::string& piece = part.piece;
    if (from > text.size() || piece.size() > text.size() - from) {
        return npos;
    }
    if (piece.empty()) {
        return from;
    }
    const auto is_same = [](char a, char b) { return a == to_small(b); };
    // The rarest byte of the piece is in here.
    const char* at = text.data() + from + part.rarest;
    const char* const end = text.data() + text.size() - (piece.size() - part.rarest - 1);
    for (;; ++at) {
        at = seek_either_case(piece[part.rarest], at, end);
        if (at == end) {
            return npos;
        }
        if (std::equal(piece.begin(), piece.end(), at - part.rarest, is_same)) {
            return static_cast<size_t>(at - text.data()) - part.rarest;
        }
    }
}

} // namespace base
