#include "base/base.shared/utils/regex_container.h"

#include "base/base.shared/utils/regex_tree.h"

#include <optional>
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

RegexContainer::~RegexContainer() = default;

bool RegexContainer::check_key_word(std::string key_word) {
    return (m_is_phrase || m_reg_is_ready) && m_key_word == key_word;
}

void RegexContainer::clear() {
    m_engine.release();
    m_is_phrase = false;
    m_built_for.reset();
    m_pattern.clear();
    m_key_word.clear();
}

void RegexContainer::build_reg(std::string key_word, std::string pattern) {
    clear();
    const std::string_view read = std::string_view(pattern).substr(0, pattern.find('\0')); // as C
    std::optional<RegexTree> tree = parse_regex(read, RegexEngine::has_word_operators);
    if (tree.has_value()) {
        trim_for_search(*tree);
        m_phrase = Phrase(*tree);
        if (!m_phrase.is_exact() && cost_of(*tree).total <= max_cost) {
            m_engine.compile(*tree);
        }
        m_is_phrase = m_phrase.is_exact(); // now nothing can throw any more
    }
    m_key_word = std::move(key_word);
    m_pattern = std::move(pattern);
}

bool RegexContainer::exec(const char* text) {
    if (!m_is_phrase && !m_reg_is_ready) {
        return false;
    }
    try {
        return m_phrase.is_in(text) && (m_is_phrase || m_engine.matches(text));
    } catch (...) {
        clear(); // or it would count as built
        throw;
    }
}

bool RegexContainer::was_built_for(const std::shared_ptr<const std::string>& key_word) {
    if (m_built_for == key_word) {
        return true;
    }
    const bool is_same = !m_pattern.empty() && m_key_word == *key_word;
    m_built_for = is_same ? key_word : nullptr;
    return is_same;
}

} // namespace base
