#include "base/base.shared/utils/regex_container.h"

#include "base/base.shared/utils/regex_tree.h"

#include <utility>

namespace base {

namespace {

constexpr double max_cost = 380; // measured by benchmarks/worst_keyword.cpp

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

RegexContainer::RegexContainer() : m_reg() {}

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
    const std::string_view read = std::string_view(pattern).substr(0, pattern.find('\0')); // as C
    if (std::optional<RegexTree> tree = parse_regex(read)) {
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
    return is_ready() && m_phrase->is_in(text) && (m_phrase->is_exact() || matches(text));
}

bool RegexContainer::was_built_for(const std::shared_ptr<const std::string>& key_word) {
    if (m_built_for != key_word) {
        m_built_for = !m_pattern.empty() && m_key_word == *key_word ? key_word : nullptr;
    }
    return m_built_for != nullptr;
}

} // namespace base
