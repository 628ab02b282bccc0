#include "base/base.shared/utils/regex_container.h"

#include "base/base.shared/utils/regex_tree.h"

#include <clocale>
#include <limits>
#include <new>
#include <optional>
#include <utility>

namespace base {

namespace {

constexpr double max_cost = 600; // measured by benchmarks/worst_keyword.cpp

/// Makes this thread match byte by byte while it lives, whatever the locale of the process.
class PlainLocale {
public:
    PlainLocale() : m_before(uselocale(c_locale())) {}
    ~PlainLocale() { uselocale(m_before); }
    PlainLocale(const PlainLocale&) = delete;
    PlainLocale& operator=(const PlainLocale&) = delete;

private:
    static locale_t c_locale() {
        static const locale_t plain = newlocale(LC_ALL_MASK, "C", nullptr);
        return plain;
    }

    locale_t m_before;
};

int compile(regex_t& reg, const char* expression) {
    const PlainLocale plain;
    return regcomp(&reg, expression, REG_EXTENDED | REG_ICASE | REG_NOSUB);
}

bool matches(const regex_t& reg, const char* text, int flags = 0) {
    const PlainLocale plain;
    return regexec(&reg, text, 0, nullptr, flags) == 0;
}

#ifdef RE_SYNTAX_POSIX_EXTENDED // the GNU C library, whose engine needs help

constexpr bool has_word_operators = true;
constexpr bool space_is_memory = true; // REG_ESPACE says nothing else

/// The engine caches a state for almost every byte that a wide expression reads, and frees none
/// before regfree. So we compile it anew after this many bytes, and match longer texts in pieces
/// that overlap by half.
constexpr size_t max_wide_bytes = 8192;
constexpr double max_narrow_places = 10;

/// The engine tries a match from each place of a text, which takes time by the square of the text.
/// Behind "\\`.*" it reads the text once, but is in a state for each set of places in which the
/// matches begun so far are. A line has so few places that it is better tried from each byte.
std::string form_for_engine(const RegexTree& tree, bool is_wide) {
    // Taken as `$` and `^`, these would match next to a newline too.
    std::string expression = written_for_engine(tree, "\\`", "\\'");
    if (is_line(tree)) {
        return expression;
    }
    // An anchor must see the byte beside it: a match keeps off the edges that a piece has in a
    // text.
    const bool has_edges = is_wide && has_anchor(tree);
    return has_edges ? "\\`(^|.).*(" + expression + ")(.|$)" : "\\`.*(" + expression + ")";
}

#else

constexpr bool has_word_operators = false; // POSIX does not know them
constexpr bool space_is_memory = false;    // some engines also say REG_ESPACE of what is too large
constexpr size_t max_wide_bytes = std::numeric_limits<size_t>::max();
constexpr double max_narrow_places = max_cost * 2; // never reached

std::string form_for_engine(const RegexTree& tree, bool /*is_wide*/) {
    return written_for_engine(tree, "^", "$");
}

#endif

} // namespace

RegexContainer::RegexContainer() : m_reg() {}

RegexContainer::~RegexContainer() {
    release();
}

bool RegexContainer::check_key_word(std::string key_word) {
    return is_ready() && m_key_word == key_word;
}

void RegexContainer::clear() {
    release();
    m_is_phrase = false;
    m_pattern.clear();
    m_key_word.clear();
}

void RegexContainer::build_reg(std::string key_word, std::string pattern) {
    clear();
    const std::string_view read = std::string_view(pattern).substr(0, pattern.find('\0')); // as C
    std::optional<RegexTree> tree = parse_regex(read, has_word_operators);
    if (tree.has_value()) {
        trim_for_search(*tree);
        m_phrase = Phrase(*tree);
        const RegexCost cost = cost_of(*tree);
        if (!m_phrase.is_exact() && cost.total <= max_cost) {
            m_is_wide = cost.loose_places > max_narrow_places && !is_line(*tree);
            m_expression = form_for_engine(*tree, m_is_wide);
            compile();
        }
        m_is_phrase = m_phrase.is_exact(); // now nothing can throw any more
    }
    m_key_word = std::move(key_word);
    m_pattern = std::move(pattern);
}

bool RegexContainer::exec(const char* text) {
    if (!is_ready()) {
        return false;
    }
    if (m_is_phrase) {
        return m_phrase.is_in(text);
    }
    return m_is_wide ? matches_in_pieces(text) : matches(m_reg, text);
}

Answer RegexContainer::known_answer(std::string_view text) const {
    if (!is_ready() || !m_phrase.is_in(text)) {
        return Answer::no;
    }
    return m_is_phrase ? Answer::yes : Answer::unknown;
}

bool RegexContainer::is_ready() const {
    return m_is_phrase || m_reg_is_ready;
}

bool RegexContainer::matches_in_pieces(std::string_view text) {
    int at_start = 0;
    for (;; text.remove_prefix(max_wide_bytes / 2)) {
        const std::string piece(text.substr(0, max_wide_bytes));
        const bool is_last = piece.size() == text.size();
        if (m_matched_bytes + piece.size() > max_wide_bytes) {
            compile();
        }
        m_matched_bytes += piece.size();
        if (matches(m_reg, piece.c_str(), at_start | (is_last ? 0 : REG_NOTEOL))) {
            return true;
        }
        if (is_last || (m_stop && m_stop())) {
            return false;
        }
        at_start = REG_NOTBOL;
    }
}

void RegexContainer::compile() {
    release();
    m_matched_bytes = 0;
    const int code = base::compile(m_reg, m_expression.c_str());
    if (code == REG_ESPACE && space_is_memory) {
        clear();
        throw std::bad_alloc();
    }
    m_reg_is_ready = code == 0;
}

void RegexContainer::release() {
    if (std::exchange(m_reg_is_ready, false)) {
        regfree(&m_reg);
    }
}

} // namespace base
