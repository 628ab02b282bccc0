#include "base/base.shared/utils/regex_tree.h"

#include "base/base.shared/utils/regex_container.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <set>
#include <utility>

namespace base {

namespace {

using Kind = RegexTree::Kind;
using ByteSet = std::bitset<256>;

constexpr size_t max_depth = 20;
constexpr size_t max_parts = 10'000;
constexpr int max_nested_intervals = 2;
constexpr size_t max_interval = 255; // POSIX asks no more of an engine
constexpr double max_anchors = 8;

/// Whether there is a match without a byte.
bool may_be_empty(const RegexTree& tree) {
    const auto& parts = tree.parts;
    if (tree.kind == Kind::alternatives) {
        return std::any_of(parts.begin(), parts.end(), may_be_empty);
    }
    const bool is_byte = tree.kind == Kind::literal || tree.kind == Kind::set;
    return tree.least == 0 || (!is_byte && std::all_of(parts.begin(), parts.end(), may_be_empty));
}

bool is_anchor(const RegexTree& tree, std::string_view text) {
    return tree.kind == Kind::anchor && tree.text == text;
}

RegexTree joined(Kind kind, std::vector<RegexTree> parts) {
    if (parts.size() == 1) {
        return std::move(parts.front());
    }
    return {.kind = kind, .parts = std::move(parts)};
}

/// A repetition of `x*`, `x+` or `x?` is one of x: `x+?` is `x*`, `x?{2,5}` is `x{0,5}`. One of
/// what else may be empty needs no other way to be empty: `(x?y?){0,5}` is `(x?y?){5}`.
RegexTree repetition(RegexTree part, size_t least, size_t most) {
    if (most == 0 || part.is_empty()) {
        return {};
    }
    const bool is_endless = part.most == RegexTree::unbounded;
    if (part.kind == Kind::repetition && part.least <= 1 && (is_endless || part.most == 1)) {
        part.least *= least;
        part.most = is_endless ? part.most : most;
        return part;
    }
    least = may_be_empty(part) ? most : least;
    if (least == 1 && most == 1) {
        return part;
    }
    RegexTree tree{.kind = Kind::repetition, .least = least, .most = most};
    tree.parts.push_back(std::move(part));
    return tree;
}

void append(std::vector<RegexTree>& sequence, RegexTree part) {
    if (part.kind == Kind::sequence) {
        for (RegexTree& inner : part.parts) {
            append(sequence, std::move(inner));
        }
    } else if (part.kind == Kind::literal && !sequence.empty() &&
               sequence.back().kind == Kind::literal) {
        sequence.back().text += part.text;
    } else {
        sequence.push_back(std::move(part));
    }
}

/// The ASCII characters of each class, as the first and last ones of ranges. Letters of one case
/// stand for both.
constexpr std::array<std::pair<std::string_view, std::string_view>, 12> classes{
    {{"[:alnum:]", "09AZ"},
     {"[:alpha:]", "AZ"},
     {"[:blank:]", "\t\t  "},
     {"[:cntrl:]", "\1\37\177\177"},
     {"[:digit:]", "09"},
     {"[:graph:]", "!~"},
     {"[:lower:]", "AZ"},
     {"[:print:]", " ~"},
     {"[:punct:]", "!/:@[`{~"},
     {"[:space:]", "\t\r  "},
     {"[:upper:]", "AZ"},
     {"[:xdigit:]", "09AF"}}};

/// What stands for others behind a backslash.
constexpr std::array<std::pair<char, std::string_view>, 6> abbreviations{{{'w', "[[:alnum:]_]"},
                                                                          {'W', "[^[:alnum:]_]"},
                                                                          {'s', "[[:space:]]"},
                                                                          {'S', "[^[:space:]]"},
                                                                          {'`', "^"},
                                                                          {'\'', "$"}}};

constexpr size_t index_of(char c) {
    return static_cast<unsigned char>(c);
}

/// The members of ranges, each of which is its first and its last byte.
ByteSet members_of(std::string_view ranges) {
    ByteSet members;
    for (size_t i = 0; i < ranges.size(); i += 2) {
        for (size_t byte = index_of(ranges[i]); byte <= index_of(ranges[i + 1]); ++byte) {
            members.set(byte);
        }
    }
    return members;
}

/// A small letter is a member if its capital is.
RegexTree one_byte(ByteSet members, bool is_negated) {
    for (char c = 'A'; c <= 'Z'; ++c) {
        members.set(index_of(to_small(c)), members[index_of(c)]);
    }
    return {.kind = Kind::set, .set = is_negated ? ~members : members};
}

/// A set in a form on which engines agree: no byte stands in it twice, and those that a place
/// inside of brackets gives a meaning stand where they have none. Letters stand as capitals.
std::string written(const ByteSet& set) {
    if (set.all()) {
        return ".";
    }
    const ByteSet members = (set[0] ? ~set : set) & ~members_of("az");
    const auto if_member = [&members](char c) {
        return std::string(members[index_of(c)] ? 1 : 0, c);
    };
    const std::string bracket = if_member(']');
    const std::string hyphen = if_member('-');
    const ByteSet others = members & ~members_of("--[[]]^^");
    ByteSet goes_on = others & (others >> 1); // with the next byte
    goes_on.reset(0x7f); // a range from ASCII to what is beyond it means something else to musl
    const ByteSet is_inside = goes_on & (goes_on << 1);
    std::string ranges;
    for (size_t byte = 0; byte < members.size(); ++byte) {
        if (others[byte] && !is_inside[byte]) {
            ranges += static_cast<char>(byte);
            ranges += goes_on[byte] ? "-" : "";
        }
    }
    return (set[0] ? "[^" : "[") + (bracket.empty() ? hyphen : bracket) + ranges + if_member('[') +
           if_member('^') + (bracket.empty() ? "" : hyphen) + "]";
}

/// Reads a pattern from left to right.
class Parser {
public:
    /// Thrown for what is not read.
    struct Refusal {};

    explicit Parser(std::string_view pattern) : m_rest(pattern) {}

    RegexTree read_all() {
        RegexTree tree;
        append(tree.parts, read_alternatives());
        // Some engines consider only one empty alternative, even if that asks for an anchor; and
        // the GNU C library copies all behind an anchor for each of several.
        require(!m_has_several_empty || !has_anchor(tree));
        return tree;
    }

private:
    RegexTree read_alternatives() {
        std::vector<RegexTree> branches;
        bool has_empty_one = false;
        do {
            RegexTree branch = read_sequence();
            if (branch.is_empty()) {
                has_empty_one = true;
            } else {
                branches.push_back(std::move(branch));
            }
        } while (skip("|"));
        const auto empty =
            std::count_if(branches.begin(), branches.end(), may_be_empty) + (has_empty_one ? 1 : 0);
        m_has_several_empty |= empty > 1;
        return repetition(joined(Kind::alternatives, std::move(branches)), has_empty_one ? 0 : 1,
                          1);
    }

    static void require(bool holds) {
        if (!holds) {
            throw Refusal();
        }
    }

    [[nodiscard]] bool next_is(std::string_view characters) const {
        return !m_rest.empty() && characters.find(m_rest.front()) != std::string_view::npos;
    }
    char take() {
        require(!m_rest.empty());
        const char c = m_rest.front();
        m_rest.remove_prefix(1);
        return c;
    }
    bool skip(std::string_view text) {
        const bool is_next = m_rest.starts_with(text);
        m_rest.remove_prefix(is_next ? text.size() : 0);
        return is_next;
    }

    RegexTree read_sequence() {
        std::vector<RegexTree> all;
        while (!m_rest.empty() && !next_is(m_depth > 0 ? "|)" : "|")) {
            const size_t before = all.size();
            append(all, read_repetitions(read_atom()));
            m_parts += all.size() - before;
            require(m_parts <= max_parts);
        }
        return joined(Kind::sequence, std::move(all));
    }

    RegexTree read_atom() {
        require(!next_is("*+?{"));
        const char c = take();
        switch (c) {
        case '.':
            return one_byte({}, true);
        case '(':
            return read_group();
        case '[':
            return read_set();
        case '\\':
            return read_escape();
        case '^':
        case '$':
            return {.kind = Kind::anchor, .text = {c}};
        default: // with no group open a closing parenthesis is a character
            return {.kind = Kind::literal, .text = {to_small(c)}};
        }
    }

    RegexTree read_group() {
        require(++m_depth <= max_depth);
        RegexTree inside = read_alternatives();
        --m_depth;
        require(skip(")"));
        return inside;
    }

    RegexTree read_escape() {
        const bool is_word_operator = next_is("bB<>");
        require(!next_is("123456789") && (engine_is_gnu || !is_word_operator));
        const char c = take();
        for (const auto& [abbreviation, meaning] : abbreviations) {
            if (c == abbreviation) {
                return Parser(meaning).read_atom();
            }
        }
        if (is_word_operator) {
            return {.kind = Kind::anchor, .text = {'\\', c}};
        }
        return {.kind = Kind::literal, .text = {to_small(c)}};
    }

    RegexTree read_set() {
        const bool is_negated = skip("^");
        ByteSet members;
        for (bool is_first = true; is_first || !skip("]"); is_first = false) {
            const ByteSet some = members_of(read_ranges(is_first));
            require(some.any());
            members |= some;
        }
        return one_byte(members, is_negated);
    }

    /// Those of a class, or one of one byte or more.
    std::string read_ranges(bool is_first) {
        for (const auto& [name, ranges] : classes) {
            if (skip(name)) {
                return std::string(ranges);
            }
        }
        const char from = take_capital();
        require(is_first || from != '-' || next_is("]"));
        if (m_rest.starts_with("-]") || !skip("-")) {
            return {from, from};
        }
        return {from, take_capital()};
    }

    /// Letters count as capitals, at both ends of ranges too. No end is a name.
    char take_capital() {
        require(!skip("[.") && !skip("[=") && !skip("[:"));
        return to_capital(take());
    }

    RegexTree read_repetitions(RegexTree operand) {
        // None needs an anchor in a loop, and the C library may take minutes to compile it.
        require(!next_is("*+?{") || !has_anchor(operand));
        for (int nested = 0; next_is("*+?{");) {
            const auto [least, most] = read_bounds();
            operand = repetition(std::move(operand), least, most);
            if (operand.kind == Kind::repetition) {
                const RegexTree& part = operand.parts[0];
                nested += part.kind == Kind::repetition ? 1 : 0;
                require(nested <= max_nested_intervals);
                require(operand.most != RegexTree::unbounded || !may_be_empty(part));
            }
        }
        return operand;
    }

    std::pair<size_t, size_t> read_bounds() {
        const char c = take();
        if (c != '{') {
            return {c == '+' ? 1 : 0, c == '?' ? 1 : RegexTree::unbounded};
        }
        const size_t least = next_is(",") ? 0 : read_number();
        size_t most = least;
        if (skip(",")) {
            most = next_is("}") ? RegexTree::unbounded : read_number();
        }
        require(skip("}") && least <= most);
        return {least, most};
    }

    size_t read_number() {
        size_t number = 0;
        const char* end = m_rest.data() + m_rest.size();
        const auto [stop, failure] = std::from_chars(m_rest.data(), end, number);
        require(failure == std::errc() && number <= max_interval);
        m_rest.remove_prefix(static_cast<size_t>(stop - m_rest.data()));
        return number;
    }

    std::string_view m_rest;
    size_t m_depth = 0;
    size_t m_parts = 0;
    bool m_has_several_empty = false; // alternatives
};

/// How often an engine writes out what is in a repetition: `(ab)+` as `ab(ab)*`.
double copies_of(const RegexTree& tree) {
    if (tree.most != RegexTree::unbounded) {
        return static_cast<double>(tree.most);
    }
    const bool is_once_more = tree.least > 0 && tree.parts[0].kind != Kind::set;
    return static_cast<double>(std::max<size_t>(tree.least, 1) + (is_once_more ? 1 : 0));
}

/// In doubles, since intervals inside each other multiply beyond all integers.
struct Size {
    void add(const RegexTree& tree, double copies, bool is_in_operator);

    double places = 0; // characters and sets
    double sets = 0;
    double in_operator = 0; // characters
    double optional = 0;    // characters and sets that a repetition may leave out
    double anchors = 0;
    // Sets and word operators, and the characters that begin a literal in an operator.
    std::set<std::string> different = {};
};

void Size::add(const RegexTree& tree, double copies, bool is_in_operator) {
    if (tree.kind == Kind::anchor) {
        anchors += 1;
        if (tree.text.size() > 1) {
            different.insert(tree.text);
        }
    } else if (tree.kind == Kind::set) {
        places += copies;
        sets += copies;
        different.insert(tree.set.to_string());
    } else if (tree.kind == Kind::literal) {
        const double length = copies * static_cast<double>(tree.text.size());
        places += length;
        if (is_in_operator) {
            in_operator += length;
            different.insert(tree.text.substr(0, 1));
        }
    }
    const double places_before = places;
    const double optional_before = optional;
    for (const RegexTree& part : tree.parts) {
        add(part, copies * copies_of(tree), is_in_operator || tree.kind != Kind::sequence);
    }
    const double left_out = 1 - static_cast<double>(tree.least) / copies_of(tree);
    optional = std::max(optional, optional_before + (places - places_before) * left_out);
}

std::string interval(const RegexTree& tree) {
    const std::string least = std::to_string(tree.least);
    const std::string most = tree.most == RegexTree::unbounded ? "" : std::to_string(tree.most);
    return "{" + least + "," + most + "}";
}

} // namespace

std::optional<RegexTree> parse_regex(std::string_view pattern) {
    try {
        return Parser(pattern).read_all();
    } catch (const Parser::Refusal&) {
        return {};
    }
}

void trim_for_search(RegexTree& tree) {
    const auto is_needed = [](const RegexTree& part) {
        return part.kind != Kind::repetition || part.least > 0;
    };
    auto& parts = tree.parts;
    parts.erase(parts.begin(), std::find_if(parts.begin(), parts.end(), is_needed));
    parts.erase(std::find_if(parts.rbegin(), parts.rend(), is_needed).base(), parts.end());
}

bool starts_at_start(const RegexTree& tree) {
    return !tree.parts.empty() && is_anchor(tree.parts.front(), "^");
}

bool has_anchor(const RegexTree& tree) {
    return tree.kind == Kind::anchor ||
           std::any_of(tree.parts.begin(), tree.parts.end(), has_anchor);
}

RegexCost cost_of(const RegexTree& tree) {
    Size size;
    size.add(tree, 1, false);
    // One place to begin at costs nothing, nor does an end that is met from there.
    const double begins = starts_at_start(tree) ? 1 : 0;
    const double free = begins > 0 && is_anchor(tree.parts.back(), "$") ? 2 : begins;
    const auto different = static_cast<double>(size.different.size());
    const double plain = 0.75 * size.places + size.sets * different;
    const double anchored = (size.anchors - free) * (plain + size.optional * size.optional / 20);
    return {.total = size.anchors > max_anchors ? std::numeric_limits<double>::infinity()
                                                : plain + anchored,
            .loose_places = size.sets + size.in_operator};
}

std::string written_for_engine(const RegexTree& tree, const char* text_start,
                               const char* text_end) {
    if (tree.kind == Kind::literal) {
        return escape_regex(tree.text);
    }
    if (tree.kind == Kind::set) {
        return written(tree.set);
    }
    if (tree.text == "^" || tree.text == "$") {
        return tree.text == "^" ? text_start : text_end;
    }
    std::string expression = tree.text;
    for (const RegexTree& part : tree.parts) {
        const bool is_atom = part.kind == Kind::set || part.text.size() == 1;
        const bool is_grouped = part.kind == Kind::alternatives
                                    ? tree.kind != Kind::alternatives
                                    : tree.kind == Kind::repetition && !is_atom;
        const std::string one = written_for_engine(part, text_start, text_end);
        expression += tree.kind == Kind::alternatives && !expression.empty() ? "|" : "";
        expression += is_grouped ? "(" + one + ")" : one;
    }
    return expression + (tree.kind == Kind::repetition ? interval(tree) : "");
}

} // namespace base
