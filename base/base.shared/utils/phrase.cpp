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
    constexpr std::string_view by_frequency = "zxqjkvbpgwyfmcudlhrsnioate :\",";
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

/// The first place from one to before another that holds a byte; `end` if there is none.
const char* seek(char byte, const char* begin, const char* end) {
    const void* found = std::memchr(begin, byte, static_cast<size_t>(end - begin));
    return found != nullptr ? static_cast<const char*>(found) : end;
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
    if (m_parts.size() > 1 && find(m_parts.back(), text, 0) == npos) {
        return false;
    }
    size_t run_begin = 0;
    const Part* before = &m_parts.front();
    for (const Part& part : m_parts) {
        for (;;) {
            const size_t found = find(part, text, run_begin + part.least);
            if (found == npos) {
                return false;
            }
            const size_t barrier =
                part.excluded == '\0' ? npos : text.substr(0, found).find(part.excluded, run_begin);
            if (barrier == npos) {
                run_begin = found + part.piece.size();
                break;
            }
            // No run from here reaches the piece: the piece before must end behind the barrier.
            const size_t size = before->piece.size();
            const size_t again = find(*before, text, barrier + 1 - std::min(size, barrier + 1));
            if (again == npos) {
                return false;
            }
            run_begin = again + size;
        }
        before = &part;
    }
    return true;
}

/// Where the piece of a part begins at or behind a place; npos if nowhere.
size_t Phrase::find(const Part& part, std::string_view text, size_t from) {
    const std::string& piece = part.piece;
    if (piece.empty()) {
        return from <= text.size() ? from : npos;
    }
    if (from + piece.size() > text.size()) {
        return npos;
    }
    const char small = piece[part.rarest];
    const char capital = to_capital(small);
    const auto is_same = [](char a, char b) { return a == to_small(b); };
    // Here the rarest byte must be.
    const char* at = text.data() + from + part.rarest;
    const char* const end = text.data() + text.size() - (piece.size() - part.rarest - 1);
    const char* next_small = seek(small, at, end);
    const char* next_capital = capital == small ? end : seek(capital, at, end);
    for (;;) {
        at = std::min(next_small, next_capital);
        if (at == end) {
            return npos;
        }
        if (std::equal(piece.begin(), piece.end(), at - part.rarest, is_same)) {
            return static_cast<size_t>(at - text.data()) - part.rarest;
        }
        if (at == next_small) {
            next_small = seek(small, at + 1, end);
        } else {
            next_capital = seek(capital, at + 1, end);
        }
    }
}

} // namespace base
