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
    switch (tree.kind) {
    case Kind::sequence:
        return std::all_of(parts.begin(), parts.end(), may_be_empty);
    case Kind::alternatives:
        return std::any_of(parts.begin(), parts.end(), may_be_empty);
    case Kind::repetition:
        return tree.least == 0 || may_be_empty(parts[0]);
    default:
        return tree.kind == Kind::anchor;
    }
}

bool is_anchor(const RegexTree& tree, std::string_view text) {
    return tree.kind == Kind::anchor && tree.text == text;
}

RegexTree one_of(std::vector<RegexTree> branches) {
    if (branches.size() == 1) {
        return std::move(branches.front());
    }
    return {.kind = Kind::alternatives, .parts = std::move(branches)};
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

void append(RegexTree& sequence, RegexTree part) {
    std::vector<RegexTree>& parts = sequence.parts;
    if (part.kind == Kind::sequence) {
        for (RegexTree& inner : part.parts) {
            append(sequence, std::move(inner));
        }
    } else if (part.kind == Kind::literal && !parts.empty() && parts.back().kind == Kind::literal) {
        parts.back().text += part.text;
    } else {
        parts.push_back(std::move(part));
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

void add_range(ByteSet& members, char first, char last) {
    for (auto byte = static_cast<unsigned char>(first); byte <= static_cast<unsigned char>(last);
         ++byte) {
        members.set(byte);
    }
}

/// The members of a class, none for a name that is no class's.
ByteSet class_named(std::string_view name) {
    ByteSet members;
    for (const auto& [known, ranges] : classes) {
        for (size_t i = 0; known == name && i < ranges.size(); i += 2) {
            add_range(members, ranges[i], ranges[i + 1]);
        }
    }
    return members;
}

RegexTree one_byte(ByteSet members, bool is_negated) {
    for (char c = 'A'; c <= 'Z'; ++c) {
        members.set(static_cast<size_t>(to_small(c)), members[static_cast<size_t>(c)]);
    }
    return {.kind = Kind::set, .set = is_negated ? ~members : members};
}

/// A set in a form on which engines agree: no byte stands in it twice, and those that a place
/// inside of brackets gives a meaning stand where they have none. Letters stand as capitals.
std::string written(const ByteSet& set) {
    if (set.all()) {
        return ".";
    }
    ByteSet members = set[0] ? ~set : set;
    for (char c = 'a'; c <= 'z'; ++c) {
        members.reset(static_cast<size_t>(c));
    }
    const auto take = [&members](char c) {
        const bool is_member = members[static_cast<size_t>(c)];
        members.reset(static_cast<size_t>(c));
        return is_member ? std::string(1, c) : "";
    };
    const std::string bracket = take(']');
    const std::string hyphen = take('-');
    const std::string others = take('[') + take('^');
    std::string ranges;
    for (size_t end = 0; end < members.size(); ++end) {
        if (const size_t begin = end; members[begin]) {
            while (end + 1 < members.size() && members[end + 1]) {
                ++end;
            }
            ranges += static_cast<char>(begin);
            ranges += end > begin ? std::string{'-', static_cast<char>(end)} : "";
        }
    }
    return (set[0] ? "[^" : "[") + (bracket.empty() ? hyphen : bracket) + ranges + others +
           (bracket.empty() ? "" : hyphen) + "]";
}

/// Reads a pattern from left to right.
class Parser {
public:
    /// Thrown for what is not read.
    struct Refusal {};

    Parser(std::string_view pattern, bool has_word_operators)
        : m_rest(pattern), m_has_word_operators(has_word_operators) {}

    RegexTree read_all() {
        RegexTree tree = read_alternatives();
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
        } while (skip('|'));
        if (branches.empty()) {
            return {};
        }
        const auto empty =
            std::count_if(branches.begin(), branches.end(), may_be_empty) + (has_empty_one ? 1 : 0);
        m_has_several_empty |= empty > 1;
        return repetition(one_of(std::move(branches)), has_empty_one ? 0 : 1, 1);
    }

    static void require(bool holds) {
        if (!holds) {
            throw Refusal();
        }
    }

    [[nodiscard]] bool next_is(std::string_view characters) const {
        return !m_rest.empty() && characters.find(m_rest.front()) != std::string_view::npos;
    }
    [[nodiscard]] bool next_is_name(std::string_view kinds) const {
        return m_rest.size() > 1 && m_rest[0] == '[' &&
               kinds.find(m_rest[1]) != std::string_view::npos;
    }
    char take() {
        require(!m_rest.empty());
        const char c = m_rest.front();
        m_rest.remove_prefix(1);
        return c;
    }
    size_t take_capital() { return static_cast<unsigned char>(to_capital(take())); }
    bool skip(char c) { return m_rest.starts_with(c) && take() == c; }

    RegexTree read_sequence() {
        RegexTree all;
        while (!m_rest.empty() && !next_is(m_depth > 0 ? "|)" : "|")) {
            const size_t before = all.parts.size();
            append(all, read_repetitions(read_atom()));
            m_parts += all.parts.size() - before;
            require(m_parts <= max_parts);
        }
        if (all.parts.size() == 1) {
            return one_of(std::move(all.parts));
        }
        return all;
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
        require(skip(')'));
        return inside;
    }

    RegexTree read_escape() {
        const char c = take();
        require(c < '1' || c > '9');
        switch (c) {
        case 'w':
        case 'W':
            return one_byte(class_named("[:alnum:]").set('_'), c == 'W');
        case 's':
        case 'S':
            return one_byte(class_named("[:space:]"), c == 'S');
        case '`':
        case '\'':
            return {.kind = Kind::anchor, .text = c == '`' ? "^" : "$"};
        case 'b':
        case 'B':
        case '<':
        case '>':
            require(m_has_word_operators);
            return {.kind = Kind::anchor, .text = {'\\', c}};
        default:
            return {.kind = Kind::literal, .text = {to_small(c)}};
        }
    }

    /// Letters count as capitals, in ranges too.
    RegexTree read_set() {
        const bool is_negated = skip('^');
        ByteSet members;
        for (bool is_first = true; is_first || !skip(']'); is_first = false) {
            require(!next_is_name(".="));
            if (next_is_name(":")) {
                const std::string_view name = m_rest.substr(0, m_rest.find(":]") + 2);
                m_rest.remove_prefix(name.size());
                members |= class_named(name);
                require(class_named(name).any());
                continue;
            }
            const size_t from = take_capital();
            const bool is_range = m_rest.starts_with('-') && !m_rest.starts_with("-]");
            require(is_first || from != '-' || m_rest.starts_with(']'));
            m_rest.remove_prefix(is_range ? 1 : 0);
            require(!is_range || !next_is_name(".=:"));
            const size_t to = is_range ? take_capital() : from;
            require(from <= to);
            for (size_t byte = from; byte <= to; ++byte) {
                members.set(byte, byte < 'a' || byte > 'z'); // small letters count as capitals
            }
        }
        return one_byte(members, is_negated);
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
        if (skip(',')) {
            most = next_is("}") ? RegexTree::unbounded : read_number();
        }
        require(skip('}') && least <= most);
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
    bool m_has_word_operators;
    size_t m_depth = 0;
    size_t m_parts = 0;
    bool m_has_several_empty = false; // alternatives
};

/// In doubles, since intervals inside each other multiply beyond all integers.
struct Size {
    double places = 0; // characters and sets
    double sets = 0;
    double loose = 0;    // sets, and characters in an operator
    double optional = 0; // characters and sets that a repetition may leave out
    double anchors = 0;
};

/// How often an engine writes out what is in a repetition: `(ab)+` as `ab(ab)*`.
double copies_of(const RegexTree& tree) {
    if (tree.most != RegexTree::unbounded) {
        return static_cast<double>(tree.most);
    }
    const bool is_once_more = tree.least > 0 && tree.parts[0].kind != Kind::set;
    return static_cast<double>(std::max<size_t>(tree.least, 1) + (is_once_more ? 1 : 0));
}

/// Collects the different sets and word operators, and the characters that begin a literal in an
/// operator.
Size size_of(const RegexTree& tree, bool is_in_operator, std::set<std::string>& different) {
    const bool is_word_operator = tree.kind == Kind::anchor && tree.text.size() > 1;
    if (tree.kind == Kind::set || is_word_operator) {
        different.insert(tree.text + tree.set.to_string());
    } else if (tree.kind == Kind::literal && is_in_operator) {
        different.insert(tree.text.substr(0, 1));
    }
    const auto length = static_cast<double>(tree.text.size());
    switch (tree.kind) {
    case Kind::literal:
        return {.places = length, .loose = is_in_operator ? length : 0};
    case Kind::set:
        return {.places = 1, .sets = 1, .loose = 1};
    case Kind::anchor:
        return {.anchors = 1};
    default:
        break;
    }
    const double copies = copies_of(tree);
    Size size;
    for (const RegexTree& part : tree.parts) {
        const Size one = size_of(part, is_in_operator || tree.kind != Kind::sequence, different);
        size.places += copies * one.places;
        size.sets += copies * one.sets;
        size.loose += copies * one.loose;
        size.optional += copies * one.optional;
        size.anchors += one.anchors;
    }
    const double left_out = 1 - static_cast<double>(tree.least) / copies;
    size.optional = std::max(size.optional, size.places * left_out);
    return size;
}

std::string interval(size_t least, size_t most) {
    if (least <= 1 && most == RegexTree::unbounded) {
        return least == 0 ? "*" : "+";
    }
    if (least == 0 && most == 1) {
        return "?";
    }
    std::string written = std::string("{").append(std::to_string(least));
    written += most == least ? "" : ",";
    written += most == least || most == RegexTree::unbounded ? "" : std::to_string(most);
    return written + "}";
}

} // namespace

std::optional<RegexTree> parse_regex(std::string_view pattern, bool has_word_operators) {
    try {
        return Parser(pattern, has_word_operators).read_all();
    } catch (const Parser::Refusal&) {
        return {};
    }
}

void trim_for_search(RegexTree& tree) {
    const auto is_needed = [](const RegexTree& part) {
        return part.kind != Kind::repetition || part.least > 0;
    };
    if (!is_needed(tree)) {
        tree = {};
    } else if (tree.kind == Kind::sequence) {
        auto& parts = tree.parts;
        parts.erase(parts.begin(), std::find_if(parts.begin(), parts.end(), is_needed));
        parts.erase(std::find_if(parts.rbegin(), parts.rend(), is_needed).base(), parts.end());
    }
}

bool starts_at_start(const RegexTree& tree) {
    const bool is_sequence = tree.kind == Kind::sequence && !tree.parts.empty();
    return is_sequence ? starts_at_start(tree.parts.front()) : is_anchor(tree, "^");
}

bool ends_at_end(const RegexTree& tree) {
    const bool is_sequence = tree.kind == Kind::sequence && !tree.parts.empty();
    return is_sequence ? ends_at_end(tree.parts.back()) : is_anchor(tree, "$");
}

bool has_anchor(const RegexTree& tree) {
    return tree.kind == Kind::anchor ||
           std::any_of(tree.parts.begin(), tree.parts.end(), has_anchor);
}

RegexCost cost_of(const RegexTree& tree) {
    std::set<std::string> different;
    const Size size = size_of(tree, false, different);
    // One place to begin at costs nothing, nor does an end that is met from there.
    const double free = starts_at_start(tree) ? (ends_at_end(tree) ? 2 : 1) : 0;
    const double plain = 0.75 * size.places + size.sets * static_cast<double>(different.size());
    const double anchored = (size.anchors - free) * (plain + size.optional * size.optional / 20);
    return {.total = size.anchors > max_anchors ? std::numeric_limits<double>::infinity()
                                                : plain + anchored,
            .loose_places = size.loose};
}

bool is_line(const RegexTree& tree) {
    return tree.kind != Kind::alternatives && tree.least == tree.most &&
           std::all_of(tree.parts.begin(), tree.parts.end(), is_line);
}

std::string written_for_engine(const RegexTree& tree, const char* text_start,
                               const char* text_end) {
    if (tree.kind == Kind::literal) {
        return escape_regex(tree.text);
    }
    if (tree.text == "^" || tree.text == "$") {
        return tree.text == "^" ? text_start : text_end;
    }
    if (tree.kind == Kind::set) {
        return written(tree.set);
    }
    std::string expression = tree.text;
    for (const RegexTree& part : tree.parts) {
        const std::string one = written_for_engine(part, text_start, text_end);
        const bool is_atom =
            part.kind == Kind::set || (part.kind == Kind::literal && part.text.size() == 1);
        const bool is_grouped = tree.kind == Kind::repetition ? !is_atom
                                                              : tree.kind == Kind::sequence &&
                                                                    part.kind == Kind::alternatives;
        expression += tree.kind == Kind::alternatives && !expression.empty() ? "|" : "";
        expression.append(is_grouped ? "(" : "").append(one).append(is_grouped ? ")" : "");
    }
    return tree.kind == Kind::repetition ? expression + interval(tree.least, tree.most)
                                         : expression;
}

} // namespace base
