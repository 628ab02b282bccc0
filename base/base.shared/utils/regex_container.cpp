#include "base/base.shared/utils/regex_container.h"

#include "base/base.shared/utils/folding.h"
#include "base/base.shared/utils/regex_tree.h"

#include <utility>

namespace base {

namespace {

constexpr double max_cost = 380; // measured by benchmarks/worst_keyword.cpp

/// A pattern without the backslashes in front of what is beyond ASCII: there they do nothing, but
/// they would mean something in front of the letter that this may become.
std::string without_idle_backslashes(std::string_view pattern) {
    std::string kept;
    for (size_t i = 0; i < pattern.size(); ++i) {
        const bool is_escape = pattern[i] == '\\' && i + 1 < pattern.size();
        if (is_escape && static_cast<unsigned char>(pattern[i + 1]) < 0x80) {
            kept += pattern[i++];
        } else if (is_escape) {
            ++i;
        }
        kept += pattern[i];
    }
    return kept;
}

} // namespace

std::string escape_regex(std::string_view text) {
    std::string escaped;
    for (const char c : text) {
        if (std::string_view(".[()*+?{|^$\\").find(c) != std::string_view::npos) {
            escaped += '\\';
        }
        escaped += c;
    }
    return escaped;
}

RegexContainer::RegexContainer(bool ignores_diacritics)
    : m_reg(), m_ignores_diacritics(ignores_diacritics) {}

RegexContainer::~RegexContainer() {
    release();
}

bool RegexContainer::is_ready() const {
    return m_reg_is_ready || (m_phrase.has_value() && m_phrase->is_exact());
}

bool RegexContainer::check_key_word(std::string key_word) {
    return is_ready() && m_key_word == key_word;
}

void RegexContainer::clear() {
    release();
    m_phrase.reset();
    m_built_for.reset();
    m_pattern.clear();
    m_key_word.clear();
}

void RegexContainer::build_reg(std::string key_word, std::string pattern) {
    clear();
    std::string read = pattern.substr(0, pattern.find('\0')); // as C does
    m_folds = m_ignores_diacritics || has_other_case(read);
    if (m_ignores_diacritics) {
        read = without_idle_backslashes(read);
    }
    if (m_folds) {
        read = fold(read, m_ignores_diacritics);
    }
    const bool is_nothing_left = // of a keyword of marks
        m_ignores_diacritics && !key_word.empty() && fold(key_word, true).empty();
    std::optional<RegexTree> tree = parse_regex(read);
    if (tree.has_value() && !is_nothing_left) {
        trim_for_search(*tree);
        Phrase phrase(*tree);
        if (!phrase.is_exact() && cost_of(*tree).total <= max_cost) {
            compile(*tree);
        }
        m_phrase = std::move(phrase); // now nothing can throw any more
    }
    m_key_word = std::move(key_word);
    m_pattern = std::move(pattern);
}

bool RegexContainer::exec(const char* text) {
    if (!is_ready()) {
        return false;
    }
    if (m_folds) {
        fold_into(m_folded, text, m_ignores_diacritics);
        text = m_folded.c_str();
    }
    return m_phrase->is_in(text) && (m_phrase->is_exact() || matches(text));
}

bool RegexContainer::was_built_for(const std::shared_ptr<const std::string>& key_word) {
    if (m_built_for != key_word) {
        m_built_for = !m_pattern.empty() && m_key_word == *key_word ? key_word : nullptr;
    }
    return m_built_for != nullptr;
}

} // namespace base
