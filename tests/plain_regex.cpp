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
    // It refuses some, forgets letters of [^_-~] when it ignores case, and has no GNU anchors.
    if (!plainly_matches(pattern, text) || pattern.find("_-~") != std::string::npos ||
        pattern.find_first_of("`'") != std::string::npos) {
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
