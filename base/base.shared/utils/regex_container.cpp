#include "base/base.shared/utils/regex_container.h"

#include <new>
#include <utility>

namespace base {

RegexContainer::RegexContainer() : m_reg(), m_matched() {}

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
    const int code = regcomp(&m_reg, m_pattern.c_str(), REG_EXTENDED | REG_ICASE);
    if (code == REG_ESPACE) {
        throw std::bad_alloc();
    }
    m_reg_is_ready = code == 0;
    if (m_reg_is_ready) {
        m_filter.build(m_pattern.c_str());
    }
}

bool RegexContainer::exec(const char* text) {
    return m_reg_is_ready && regexec(&m_reg, text, m_matched.size(), m_matched.data(), 0) == 0;
}

bool RegexContainer::rules_out(std::string_view key_word, std::string_view text) const {
    return m_reg_is_ready && m_key_word == key_word && !m_filter.may_match(text);
}

void RegexContainer::release() {
    if (std::exchange(m_reg_is_ready, false)) {
        regfree(&m_reg);
    }
}

} // namespace base
