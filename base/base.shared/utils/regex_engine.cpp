// How `RegexContainer` uses the C library's engine, and what engines need beyond POSIX.
#include "base/base.shared/utils/regex_container.h"
#include "base/base.shared/utils/regex_tree.h"

#include <algorithm>
#include <clocale>
#include <new>
#include <utility>

namespace base {

namespace {

/// The result of a call that is to go byte by byte, whatever the locale of the process.
template <typename Call>
int in_plain_locale(Call call) {
    static const locale_t plain = newlocale(LC_ALL_MASK, "C", nullptr);
    const locale_t before = uselocale(plain);
    const int result = call();
    uselocale(before);
    return result;
}

bool finds(const regex_t& reg, const char* text, int flags = 0) {
    return in_plain_locale([&] { return regexec(&reg, text, 0, nullptr, flags); }) == 0;
}

} // namespace

#ifdef RE_SYNTAX_POSIX_EXTENDED // the GNU C library, whose engine needs help

const bool engine_is_gnu = true;

namespace {

/// The engine caches a state for almost every byte that a wide expression reads, and frees none
/// before regfree. So we compile it anew after this many bytes, and match longer texts in pieces
/// that overlap by half.
constexpr size_t max_wide_bytes = 8192;
constexpr double max_narrow_places = 10;

/// Whether the expression is one character or set after the other, without choices.
bool is_line(const RegexTree& tree) {
    return tree.kind != RegexTree::Kind::alternatives && tree.least == tree.most &&
           std::all_of(tree.parts.begin(), tree.parts.end(), is_line);
}

} // namespace

/// The engine tries a match from each place of a text, which takes time by the square of the text.
/// Behind "\\`.*" it reads the text once, but is in a state for each set of places in which the
/// matches begun so far are. A line has so few places that it is better tried from each byte.
void RegexContainer::compile(const RegexTree& tree) {
    // Taken as `$` and `^`, these would match next to a newline too.
    m_expression = written_for_engine(tree, "\\`", "\\'");
    m_is_wide = !is_line(tree) && cost_of(tree).loose_places > max_narrow_places;
    if (starts_at_start(tree)) { // it is tried at one place anyway
        m_expression = m_is_wide ? "\\`^" + m_expression + "(.|$)" : m_expression;
    } else if (m_is_wide && has_anchor(tree)) {
        // An anchor must see the byte beside it: a match keeps off the edges that a piece has in a
        // text.
        m_expression = "\\`(^|.).*" + m_expression + "(.|$)";
    } else if (!is_line(tree)) {
        m_expression = "\\`.*" + m_expression;
    }
    compile_expression();
}

bool RegexContainer::matches(const char* text) {
    if (!m_is_wide) {
        return finds(m_reg, text);
    }
    for (std::string_view rest = text;; rest.remove_prefix(max_wide_bytes / 2)) {
        const std::string piece(rest.substr(0, max_wide_bytes));
        const bool is_last = piece.size() == rest.size();
        if (m_matched_bytes + piece.size() > max_wide_bytes) {
            compile_expression();
        }
        m_matched_bytes += piece.size();
        const int at_start = rest.data() == text ? 0 : REG_NOTBOL;
        if (finds(m_reg, piece.c_str(), at_start | (is_last ? 0 : REG_NOTEOL))) {
            return true;
        }
        if (is_last) {
            return false;
        }
    }
}

#else

const bool engine_is_gnu = false;

void RegexContainer::compile(const RegexTree& tree) {
    m_expression = written_for_engine(tree, "^", "$");
    compile_expression();
}

bool RegexContainer::matches(const char* text) {
    return finds(m_reg, text);
}

#endif

void RegexContainer::compile_expression() {
    release();
    m_matched_bytes = 0;
    const int code = in_plain_locale([this] {
        return regcomp(&m_reg, m_expression.c_str(), REG_EXTENDED | REG_ICASE | REG_NOSUB);
    });
    if (code == REG_ESPACE && engine_is_gnu) { // others say so of what is too large as well
        clear();                               // or it would count as built
        throw std::bad_alloc();
    }
    m_reg_is_ready = code == 0;
}

void RegexContainer::release() noexcept {
    if (std::exchange(m_reg_is_ready, false)) {
        regfree(&m_reg);
    }
}

} // namespace base
