#include "base/base.shared/utils/regex_engine.h"

#include "base/base.shared/utils/regex_tree.h"

#include <clocale>
#include <new>
#include <utility>

namespace base {

namespace {

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

bool finds(const regex_t& reg, const char* text, int flags = 0) {
    const PlainLocale plain;
    return regexec(&reg, text, 0, nullptr, flags) == 0;
}

} // namespace

void RegexEngine::release() noexcept {
    if (std::exchange(m_is_ready, false)) {
        regfree(&m_reg);
    }
}

#ifdef RE_SYNTAX_POSIX_EXTENDED // the GNU C library, whose engine needs help

namespace {

constexpr bool space_is_memory = true; // REG_ESPACE says nothing else

/// The engine caches a state for almost every byte that a wide expression reads, and frees none
/// before regfree. So we compile it anew after this many bytes, and match longer texts in pieces
/// that overlap by half.
constexpr size_t max_wide_bytes = 8192;
constexpr double max_narrow_places = 10;

} // namespace

const bool RegexEngine::has_word_operators = true;

/// The engine tries a match from each place of a text, which takes time by the square of the text.
/// Behind "\\`.*" it reads the text once, but is in a state for each set of places in which the
/// matches begun so far are. A line has so few places that it is better tried from each byte.
void RegexEngine::compile(const RegexTree& tree) {
    // Taken as `$` and `^`, these would match next to a newline too.
    m_expression = written_for_engine(tree, "\\`", "\\'");
    m_is_wide = !is_line(tree) && cost_of(tree).loose_places > max_narrow_places;
    if (starts_at_start(tree)) { // it is tried at one place anyway
        m_expression = m_is_wide ? "\\`^" + m_expression + "(.|$)" : m_expression;
    } else if (m_is_wide && has_anchor(tree)) {
        // An anchor must see the byte beside it: a match keeps off the edges that a piece has in a
        // text.
        m_expression = "\\`(^|.).*(" + m_expression + ")(.|$)";
    } else if (!is_line(tree)) {
        m_expression = "\\`.*(" + m_expression + ")";
    }
    compile_expression();
}

bool RegexEngine::matches(const char* text) {
    return m_is_wide ? matches_in_pieces(text) : finds(m_reg, text);
}

bool RegexEngine::matches_in_pieces(std::string_view text) {
    int at_start = 0;
    for (;; text.remove_prefix(max_wide_bytes / 2)) {
        const std::string piece(text.substr(0, max_wide_bytes));
        const bool is_last = piece.size() == text.size();
        if (m_matched_bytes + piece.size() > max_wide_bytes) {
            compile_expression();
        }
        m_matched_bytes += piece.size();
        if (finds(m_reg, piece.c_str(), at_start | (is_last ? 0 : REG_NOTEOL))) {
            return true;
        }
        if (is_last) {
            return false;
        }
        at_start = REG_NOTBOL;
    }
}

#else

namespace {

constexpr bool space_is_memory = false; // some engines also say REG_ESPACE of what is too large

} // namespace

const bool RegexEngine::has_word_operators = false;

void RegexEngine::compile(const RegexTree& tree) {
    m_expression = written_for_engine(tree, "^", "$");
    compile_expression();
}

bool RegexEngine::matches(const char* text) {
    return finds(m_reg, text);
}

#endif

void RegexEngine::compile_expression() {
    release();
    m_matched_bytes = 0;
    const PlainLocale plain;
    const int code = regcomp(&m_reg, m_expression.c_str(), REG_EXTENDED | REG_ICASE | REG_NOSUB);
    if (code == REG_ESPACE && space_is_memory) {
        throw std::bad_alloc();
    }
    m_is_ready = code == 0;
}

} // namespace base
