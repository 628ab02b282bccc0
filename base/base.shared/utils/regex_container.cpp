#include "base/base.shared/utils/regex_container.h"

#include "base/base.shared/utils/regex_tree.h"

#include <clocale>
#include <limits>
#include <new>
#include <optional>
#include <utility>

namespace base {

namespace {

constexpr double max_cost = 600;

/// Makes this thread match byte by byte while it lives, whatever the locale of the process.
class plain_locale {
public:
    plain_locale() : m_before(uselocale(c_locale())) {}
    ~plain_locale() { uselocale(m_before); }
    plain_locale(const plain_locale&) = delete;
    plain_locale& operator=(const plain_locale&) = delete;

private:
    static locale_t c_locale() {
        static const locale_t plain = newlocale(LC_ALL_MASK, "C", nullptr);
        return plain;
    }

    locale_t m_before;
};

int compile(regex_t& reg, const char* expression) {
    const plain_locale plain;
    return regcomp(&reg, expression, REG_EXTENDED | REG_ICASE | REG_NOSUB);
}

bool matches(const regex_t& reg, const char* text, int flags = 0) {
    const plain_locale plain;
    return regexec(&reg, text, 0, nullptr, flags) == 0;
}

#ifdef RE_SYNTAX_POSIX_EXTENDED // the GNU C library, whose engine needs help

constexpr bool has_word_operators = true;
constexpr bool says_why = true; // REG_ESPACE is want of memory and nothing else

/// The engine looks for a match from each place of a text anew, in time of the square of the text.
/// Told to match from the start alone it passes once, but caches a state for each set of places in
/// which the matches begun so far can be: of a wide expression one for almost every byte, and frees
/// none before regfree. So a wide one is compiled anew after this many bytes.
constexpr size_t max_wide_bytes = 8192;
constexpr double max_narrow_cost = 30;

/// A wide expression asks for a byte on both sides, or the text's end: at the edge of a piece that
/// byte shows what stands there. A line can only be in one place; it needs nothing of all this.
std::string form_for_engine(const RegexTree& tree, bool is_wide) {
    // By itself it takes `$` before a newline for the end of the text.
    const std::string expression = written_for_engine(tree, "\\`", "\\'");
    return is_line(tree)                 ? expression
           : is_wide && has_anchor(tree) ? "\\`(^|.).*(" + expression + ")(.|$)"
                                         : "\\`.*(" + expression + ")";
}

#else

constexpr bool has_word_operators = false; // or with a meaning of their own
constexpr bool says_why = false; // some engines say REG_ESPACE of what is too large for them
constexpr size_t max_wide_bytes = std::numeric_limits<size_t>::max();
constexpr double max_narrow_cost = max_cost;

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
        m_is_phrase = m_phrase.is_exact();
        const double cost = cost_of(*tree);
        if (!m_is_phrase && cost <= max_cost) {
            m_is_wide = cost > max_narrow_cost && !is_line(*tree);
            m_expression = form_for_engine(*tree, m_is_wide);
            compile();
        }
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

bool RegexContainer::was_built_for(std::string_view key_word) const {
    return !m_pattern.empty() && m_key_word == key_word;
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
        if (is_last) {
            return false;
        }
        at_start = REG_NOTBOL;
    }
}

void RegexContainer::compile() {
    release();
    m_matched_bytes = 0;
    const int code = base::compile(m_reg, m_expression.c_str());
    if (code == REG_ESPACE && says_why) {
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
