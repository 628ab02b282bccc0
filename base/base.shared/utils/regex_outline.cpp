#include "base/base.shared/utils/regex_outline.h"

#include <algorithm>
#include <charconv>
#include <set>
#include <utility>

namespace base {

namespace {

// Found by measuring what the C library takes at worst for what these let through.
constexpr size_t max_bytes = 70'000;
constexpr size_t max_depth = 20;
constexpr size_t max_empty_depth = 1;
constexpr size_t max_ways = 500;
constexpr size_t max_anchors = 8;
constexpr size_t max_operators = 1'000;
constexpr size_t max_cost = 1'000;
constexpr size_t max_narrow_places = 10;

/// The size of an expression's automaton.
struct Shape {
    size_t plain = 0;      // characters outside of all alternatives and repetitions
    size_t characters = 0; // other ones
    size_t sets = 0;
    size_t operators = 0;
    size_t branches = 0;    // steps from one character or set to a next one, but for the first such
    size_t first = 0;       // characters and sets that a match can begin with
    size_t last = 0;        // characters and sets that a match can end with
    size_t depth = 0;       // of groups and repetitions inside each other
    size_t ways = 1;        // to match nothing
    size_t anchors = 0;     // and other places of nothing
    size_t empty_depth = 0; // of repetitions of what may be empty inside each other

    [[nodiscard]] bool may_be_empty() const { return ways > 0; }
};

/// An anchor, and what stands between two bars or parentheses without anything between.
constexpr Shape nothing{.operators = 1, .anchors = 1};

Shape sequence(const Shape& a, const Shape& b) {
    const size_t steps = a.last * b.first;
    return {.plain = a.plain + b.plain,
            .characters = a.characters + b.characters,
            .sets = a.sets + b.sets,
            .operators = a.operators + b.operators,
            .branches = a.branches + b.branches + steps - (steps > 0 ? 1 : 0),
            .first = a.first + (a.may_be_empty() ? b.first : 0),
            .last = b.last + (b.may_be_empty() ? a.last : 0),
            .depth = std::max(a.depth, b.depth),
            .ways = std::min(a.ways * b.ways, max_ways + 1),
            .anchors = a.anchors + b.anchors,
            .empty_depth = std::max(a.empty_depth, b.empty_depth)};
}

/// In an alternative or a repetition, where no character is plain.
Shape operand(Shape a) {
    a.characters += std::exchange(a.plain, 0);
    return a;
}

Shape alternatives(const Shape& one, const Shape& other) {
    const Shape a = operand(one);
    const Shape b = operand(other);
    return {.characters = a.characters + b.characters,
            .sets = a.sets + b.sets,
            .operators = a.operators + b.operators + 1,
            .branches = a.branches + b.branches,
            .first = a.first + b.first,
            .last = a.last + b.last,
            .depth = std::max(a.depth, b.depth),
            .ways = a.ways + b.ways,
            .anchors = a.anchors + b.anchors,
            .empty_depth = std::max(a.empty_depth, b.empty_depth)};
}

Shape optional(Shape a) {
    ++a.ways;
    return a;
}

/// One or more times.
Shape loop(Shape a) {
    a.branches += a.last * a.first;
    return a;
}

/// Reads a pattern from left to right as the C library does.
class Reader {
public:
    explicit Reader(std::string_view pattern) : m_pattern(pattern) {}

    RegexOutline outline() {
        try {
            require(m_pattern.size() <= max_bytes);
            const Shape whole = bounded(read_alternatives());
            m_outline.is_wide = whole.characters + whole.sets > max_narrow_places;
            m_outline.is_bounded = true;
        } catch (const refusal&) {
            m_outline.is_bounded = false;
        }
        std::erase(m_outline.literals, "");
        return std::move(m_outline);
    }

private:
    /// The pattern is no valid expression, or its cost is not bounded.
    struct refusal {};

    /// The literals as they were at some place of the pattern.
    struct Mark {
        size_t pieces;
        size_t last_size;
    };

    static void require(bool holds) {
        if (!holds) {
            throw refusal();
        }
    }

    const Shape& bounded(const Shape& shape) {
        // For each state the C library works out where each different character or set leads.
        const size_t cost = shape.sets * m_different.size() +
                            (shape.characters + shape.operators) / 4 + shape.branches / 16;
        require(cost * (shape.anchors > 0 ? 2 : 1) <= max_cost &&
                shape.operators <= max_operators && shape.anchors <= max_anchors &&
                shape.ways <= max_ways && shape.depth <= max_depth &&
                shape.empty_depth <= max_empty_depth);
        return shape;
    }

    /// NUL at the end.
    [[nodiscard]] char next() const { return m_at < m_pattern.size() ? m_pattern[m_at] : '\0'; }
    [[nodiscard]] bool next_is_one_of(std::string_view characters) const {
        return characters.find(next()) != std::string_view::npos;
    }
    bool skip(char c) {
        const bool found = next() == c;
        m_at += found ? 1 : 0;
        return found;
    }

    /// Up to the end, or to the closing parenthesis of a group.
    Shape read_alternatives() {
        const Mark before = mark();
        Shape all = read_sequence();
        while (skip('|')) {
            all = bounded(alternatives(all, read_sequence()));
            forget_since(before); // a match may hold any one of them
        }
        return all;
    }

    Shape read_sequence() {
        const bool is_first = m_is_first;
        const size_t start = m_at;
        Shape all;
        while (m_at < m_pattern.size() && next() != '|' && (m_depth == 0 || next() != ')')) {
            m_is_first = is_first && all.last == 0;
            const Mark before = mark();
            const Shape atom = read_atom();
            all = bounded(sequence(all, read_repetitions(atom, before)));
        }
        if (m_at == start) {
            all = nothing;
        }
        m_is_first = is_first;
        return all;
    }

    /// A character, a set of characters, an anchor or a group.
    Shape read_atom() {
        const char c = m_pattern[m_at++];
        switch (c) {
        case '(':
            return read_group();
        case '[':
            return read_set();
        case '.':
            return set(m_at - 1);
        case '^':
            if (m_is_first) {
                m_outline.start_anchors.push_back(m_at - 1);
            }
            return anchor();
        case '$':
            return anchor();
        case '\\':
            return read_escape();
        case ')':
            m_outline.stray_parentheses.push_back(m_at - 1);
            return character(c);
        default:
            require(std::string_view("*+?{").find(c) == std::string_view::npos);
            return character(c);
        }
    }

    Shape character(char c) {
        std::string& literal = m_outline.literals.back();
        if (literal.empty()) {
            m_different.insert(m_pattern.substr(m_at - 1, 1));
        }
        literal += c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
        return {.plain = 1, .first = 1, .last = 1, .ways = 0};
    }

    /// One that begins at a place of the pattern and has been read.
    Shape set(size_t begin) {
        end_piece();
        m_different.insert(m_pattern.substr(begin, m_at - begin));
        return {.sets = 1, .first = 1, .last = 1, .ways = 0};
    }

    Shape anchor() {
        end_piece();
        return nothing;
    }

    Shape read_escape() {
        require(m_at < m_pattern.size());
        const char c = m_pattern[m_at++];
        switch (c) {
        case 'w':
        case 'W':
        case 's':
        case 'S':
            return set(m_at - 2);
        case 'b':
        case 'B':
        case '<':
        case '>':
        case '`':
        case '\'':
            return anchor();
        default:
            require(c < '1' || c > '9'); // a back-reference takes time without bound
            return character(c);
        }
    }

    Shape read_group() {
        end_piece();
        require(++m_depth <= max_depth);
        Shape inside = read_alternatives();
        --m_depth;
        require(skip(')'));
        end_piece();
        ++inside.operators;
        ++inside.depth;
        return inside;
    }

    Shape read_set() {
        const size_t begin = m_at - 1;
        skip('^');
        skip(']'); // in the first place it stands for itself
        while (!skip(']')) {
            require(m_at < m_pattern.size());
            const std::string_view opening = m_pattern.substr(m_at, 2);
            if (opening == "[." || opening == "[:" || opening == "[=") {
                m_at = m_pattern.find(std::string{opening[1], ']'}, m_at + 2);
                require(m_at != std::string_view::npos);
                ++m_at;
            }
            ++m_at;
        }
        return set(begin);
    }

    Shape read_repetitions(Shape shape, const Mark& before) {
        while (next_is_one_of("*+?{")) {
            require(shape.anchors == 0); // the C library may take minutes to compile that
            bool may_be_missing = true;
            shape = operand(shape);
            ++shape.operators;
            ++shape.depth;
            shape.empty_depth += shape.may_be_empty() ? 1 : 0;
            if (skip('*')) {
                shape = optional(loop(shape));
            } else if (skip('?')) {
                shape = optional(shape);
            } else if (skip('+')) {
                may_be_missing = false;
                shape = sequence(shape, optional(loop(shape)));
            } else {
                may_be_missing = !read_interval(shape);
            }
            if (may_be_missing) {
                forget_since(before);
            }
            end_piece();
            shape = bounded(shape);
        }
        return shape;
    }

    /// Writes it out as the C library does: x{2,4} as xx((x)?x)?. False if it may match nothing.
    bool read_interval(Shape& shape) {
        skip('{');
        const size_t least = next() == ',' ? 0 : read_number();
        const bool has_comma = skip(',');
        const bool is_open = has_comma && next() == '}';
        const size_t most = has_comma && !is_open ? read_number() : least;
        require(skip('}') && least <= most);
        Shape all;
        for (size_t i = 0; i < least; ++i) {
            all = bounded(sequence(all, shape));
        }
        if (is_open) {
            all = sequence(all, optional(loop(shape)));
        } else if (most > least) {
            Shape rest = optional(shape);
            for (size_t i = least + 1; i < most; ++i) {
                rest = bounded(optional(sequence(rest, shape)));
            }
            all = sequence(all, rest);
        } else if (most == 0) {
            all = nothing;
        }
        shape = all;
        return least > 0;
    }

    size_t read_number() {
        size_t number = 0;
        const char* end = m_pattern.data() + m_pattern.size();
        const auto [stop, failure] = std::from_chars(m_pattern.data() + m_at, end, number);
        require(failure == std::errc());
        m_at = static_cast<size_t>(stop - m_pattern.data());
        return number;
    }

    [[nodiscard]] Mark mark() const {
        return {m_outline.literals.size(), m_outline.literals.back().size()};
    }
    void forget_since(const Mark& before) {
        m_outline.literals.resize(before.pieces);
        m_outline.literals.back().resize(before.last_size);
        end_piece();
    }
    void end_piece() {
        if (!m_outline.literals.back().empty()) {
            m_outline.literals.emplace_back();
        }
    }

    std::string_view m_pattern;
    size_t m_at = 0;
    size_t m_depth = 0;
    bool m_is_first = true;                             // no character or set can come before
    std::set<std::string_view> m_different;             // sets, and characters that begin a literal
    RegexOutline m_outline{false, false, {""}, {}, {}}; // the last literal may still grow
};

} // namespace

RegexOutline outline_of(std::string_view pattern) {
    return Reader(pattern).outline();
}

} // namespace base
