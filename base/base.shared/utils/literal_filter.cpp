#include "base/base.shared/utils/literal_filter.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <utility>

namespace base {

namespace {

constexpr std::array<unsigned char, 256> lower_case = [] {
    std::array<unsigned char, 256> table{};
    for (size_t byte = 0; byte < table.size(); ++byte) {
        const bool is_upper = byte >= 'A' && byte <= 'Z';
        table[byte] = static_cast<unsigned char>(is_upper ? byte - 'A' + 'a' : byte);
    }
    return table;
}();

unsigned char lower(char c) {
    return lower_case[static_cast<unsigned char>(c)];
}

bool is_ascii(char c) {
    return static_cast<unsigned char>(c) < 0x80;
}

/// Whether characters are bytes and only the ASCII letters have a case, as in the C locale.
bool locale_is_plain() {
    bool plain = MB_CUR_MAX == 1;
    for (int byte = 0x80; byte <= 0xff; ++byte) {
        plain = plain && std::tolower(byte) == byte && std::toupper(byte) == byte;
    }
    return plain;
}

/// Reads a pattern for the literals that every match must hold, in their order.
class Reader {
public:
    explicit Reader(std::string_view pattern) : m_rest(pattern) {}

    /// No literals at all if there is an operator that is not understood.
    std::vector<std::string> literals() {
        if (!read_sequence() || !m_rest.empty()) {
            return {};
        }
        std::erase(m_literals, "");
        return std::move(m_literals);
    }

private:
    /// Up to the end or a closing parenthesis.
    bool read_sequence() {
        while (!m_rest.empty() && m_rest.front() != ')') {
            const size_t literals_before = m_literals.size();
            const size_t size_before = m_literals.back().size();
            if (!read_atom()) {
                return false;
            }
            const std::string_view repetitions =
                m_rest.substr(0, std::min(m_rest.find_first_not_of("*+?"), m_rest.size()));
            if (repetitions.find_first_of("*?") != std::string_view::npos) {
                m_literals.resize(literals_before); // the atom may be missing
                m_literals.back().resize(size_before);
            }
            if (!repetitions.empty()) {
                m_rest.remove_prefix(repetitions.size());
                end_piece();
            }
        }
        return true;
    }

    /// A character, a set of characters, an anchor or a group.
    bool read_atom() {
        const char c = m_rest.front();
        if (c == '[') {
            return read_set();
        }
        m_rest.remove_prefix(1);
        switch (c) {
        case '(':
            return read_group();
        case '.':
        case '^':
        case '$':
            end_piece();
            return true;
        case '\\':
            if (m_rest.empty() ||
                std::string_view(".[]()*+?{}|^$\\").find(m_rest.front()) == npos) {
                return false;
            }
            add(m_rest.front());
            m_rest.remove_prefix(1);
            return true;
        case '|':
        case '{':
        case '*':
        case '+':
        case '?':
            return false;
        default:
            add(c);
            return true;
        }
    }

    bool read_group() {
        end_piece();
        const bool is_read = ++m_depth <= max_depth && read_sequence() && !m_rest.empty();
        --m_depth;
        if (is_read) {
            m_rest.remove_prefix(1); // the closing parenthesis
            end_piece();
        }
        return is_read;
    }

    bool read_set() {
        size_t end = m_rest.starts_with("[^") ? 2 : 1;
        end = m_rest.find(']', end + 1); // a bracket in the first place stands for itself
        if (end == npos || m_rest.substr(1, end - 1).find('[') != npos) {
            return false;
        }
        m_rest.remove_prefix(end + 1);
        end_piece();
        return true;
    }

    void add(char c) { m_literals.back() += static_cast<char>(lower(c)); }

    void end_piece() {
        if (!m_literals.back().empty()) {
            m_literals.emplace_back();
        }
    }

    static constexpr size_t npos = std::string_view::npos;
    static constexpr int max_depth = 100; // of groups, each of which takes stack

    std::string_view m_rest;
    int m_depth = 0;
    std::vector<std::string> m_literals{""}; // the last one may still grow
};

} // namespace

void LiteralFilter::build(std::string_view pattern) {
    m_all_bytes = locale_is_plain();
    m_pieces.clear();
    if (!m_all_bytes && !std::ranges::all_of(pattern, is_ascii)) {
        return; // in some encodings the bytes of a character look like operators
    }
    for (std::string& literal : Reader(pattern).literals()) {
        Piece piece{std::move(literal), {}};
        const auto bound = [](size_t size) {
            return static_cast<unsigned char>(std::min<size_t>(size, 255));
        };
        piece.skip.fill(bound(piece.literal.size()));
        for (size_t i = 0; i + 1 < piece.literal.size(); ++i) {
            piece.skip[static_cast<unsigned char>(piece.literal[i])] =
                bound(piece.literal.size() - 1 - i);
        }
        m_pieces.push_back(std::move(piece));
    }
}

/// By Horspool's method: a mismatch moves on by what the last byte under the literal allows.
size_t LiteralFilter::find_end(const Piece& piece, std::string_view text) {
    const std::string& literal = piece.literal;
    for (size_t end = literal.size(); end <= text.size();) {
        size_t i = literal.size();
        while (i > 0 && lower(text[end - literal.size() + i - 1]) ==
                            static_cast<unsigned char>(literal[i - 1])) {
            --i;
        }
        if (i == 0) {
            return end;
        }
        end += piece.skip[lower(text[end - 1])];
    }
    return std::string_view::npos;
}

bool LiteralFilter::may_match(std::string_view text) const {
    if (!m_all_bytes && !std::ranges::all_of(text, is_ascii)) {
        return true;
    }
    for (const Piece& piece : m_pieces) {
        const size_t end = find_end(piece, text);
        if (end == std::string_view::npos) {
            return false;
        }
        text.remove_prefix(end);
    }
    return true;
}

} // namespace base
