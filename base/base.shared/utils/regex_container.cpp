#include "base/base.shared/utils/regex_container.h"

#include "base/base.shared/utils/regex_outline.h"

#include <clocale>
#include <map>
#include <new>
#include <utility>

namespace base {

namespace {

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

/// The C library keeps a state for nearly each byte that it has matched with a wide expression, for
/// ever. So that is compiled anew after so many bytes, and longer texts are matched in pieces that
/// overlap by half.
constexpr size_t max_wide_bytes = 8192;

/// An expression that matches a text from its start if the pattern matches anywhere in it. Looking
/// for the pattern from each place anew takes time by the square of the text.
std::string search_form(const std::string& pattern, const RegexOutline& outline) {
    std::map<size_t, const char*> changes;
    for (const size_t place : outline.stray_parentheses) {
        changes[place] = "\\)";
    }
    for (const size_t place : outline.start_anchors) {
        // Having read a newline the C library takes `^` for the start of a line. A piece of a long
        // text, though, has its start elsewhere than the text.
        changes[place] = outline.is_wide ? "^" : "\\`";
    }
    std::string form = "\\`.*(";
    size_t copied = 0;
    for (const auto& [place, change] : changes) {
        form.append(pattern, copied, place - copied).append(change);
        copied = place + 1;
    }
    return form.append(pattern, copied).append(")");
}

} // namespace

RegexContainer::RegexContainer() : m_reg() {}

RegexContainer::~RegexContainer() {
    release();
}

bool RegexContainer::check_key_word(std::string key_word) {
    return m_reg_is_ready && m_key_word == key_word;
}

void RegexContainer::clear() {
    release();
    m_pattern.clear();
    m_key_word.clear();
}

void RegexContainer::build_reg(std::string key_word, std::string pattern) {
    release();
    m_key_word = std::move(key_word);
    m_pattern = std::move(pattern);
    const std::string text = m_pattern.substr(0, m_pattern.find('\0')); // what C reads of it
    const RegexOutline outline = outline_of(text);
    if (!outline.is_bounded) {
        m_is_refused = true;
        return;
    }
    m_search = search_form(text, outline);
    m_is_wide = outline.is_wide;
    m_filter.build(outline.literals);
    compile();
}

bool RegexContainer::exec(const char* text) {
    if (!m_reg_is_ready) {
        return false;
    }
    const plain_locale plain;
    if (!m_is_wide) {
        return regexec(&m_reg, text, 0, nullptr, 0) == 0;
    }
    int at_start = 0;
    for (std::string_view rest = text;; rest.remove_prefix(max_wide_bytes / 2)) {
        const std::string piece(rest.substr(0, max_wide_bytes));
        const bool is_last = piece.size() == rest.size();
        if (m_matched_bytes + piece.size() > max_wide_bytes) {
            compile();
        }
        m_matched_bytes += piece.size();
        const int at_end = is_last ? 0 : REG_NOTEOL;
        if (regexec(&m_reg, piece.c_str(), 0, nullptr, at_start | at_end) == 0) {
            return true;
        }
        if (is_last) {
            return false;
        }
        at_start = REG_NOTBOL;
    }
}

bool RegexContainer::rules_out(std::string_view key_word, std::string_view text) const {
    return m_key_word == key_word &&
           (m_is_refused || (m_reg_is_ready && !m_filter.may_match(text)));
}

void RegexContainer::compile() {
    release();
    m_matched_bytes = 0;
    const plain_locale plain;
    const int code = regcomp(&m_reg, m_search.c_str(), REG_EXTENDED | REG_ICASE | REG_NOSUB);
    if (code == REG_ESPACE) {
        throw std::bad_alloc();
    }
    m_reg_is_ready = code == 0;
    m_is_refused = code != 0;
}

void RegexContainer::release() {
    m_is_refused = false;
    if (std::exchange(m_reg_is_ready, false)) {
        regfree(&m_reg);
    }
}

} // namespace base
