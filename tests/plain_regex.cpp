#include "tests/plain_regex.h"

#include <algorithm>
#include <regex.h>
#include <string_view>

std::optional<bool> plainly_matches(const std::string& pattern, const std::string& text) {
    regex_t plain;
    if (regcomp(&plain, pattern.c_str(), REG_EXTENDED | REG_ICASE) != 0) {
        return {};
    }
    const int code = regexec(&plain, text.c_str(), 0, nullptr, 0);
    regfree(&plain);
    return code == 0;
}

bool is_misread_plainly(const std::string& pattern, const std::string& text) {
#ifndef RE_SYNTAX_POSIX_EXTENDED // not the GNU C library, but musl
    const bool has_letters_in_range = pattern.find("_-~") != std::string::npos; // which it forgets
    const bool has_gnu_anchor = pattern.find_first_of("`'") != std::string::npos;
    if (has_letters_in_range || has_gnu_anchor || !plainly_matches(pattern, text)) {
        return true;
    }
#endif
    static constexpr std::string_view letters = "acdefghijklmnopqrtuvxyz"; // all but b, s and w
    for (size_t at = 0; (at = pattern.find('\\', at)) != std::string::npos; at += 2) {
        if (letters.find(pattern.c_str()[at + 1]) != std::string_view::npos) {
            return true;
        }
    }
    const auto is_operator = [](char c) { return c == '*' || c == '+' || c == '?' || c == '{'; };
    if (std::count_if(pattern.begin(), pattern.end(), is_operator) > 10) {
        return true;
    }
    return text.find('\n') != std::string::npos && pattern.find_first_of("^$") != std::string::npos;
}
