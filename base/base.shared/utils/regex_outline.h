#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace base {

/// What a POSIX extended regular expression tells of its matches before it is compiled.
struct RegexOutline {
    /// Whether the cost of compiling and matching is bounded, by the rule at `RegexContainer`. If
    /// not, or if the pattern is no valid expression, the rest may be incomplete.
    bool is_bounded = false;
    /// Whether texts can bring the compiled expression into so many states that they must be
    /// forgotten from time to time.
    bool is_wide = false;
    /// Pieces in lower case that every match holds one after the other, ASCII letters in either
    /// case.
    std::vector<std::string> literals;
    /// Where closing parentheses stand that no opening one belongs to. They are plain characters.
    std::vector<size_t> stray_parentheses;
    /// Where `^` stands with no character or set before it, so that a match must begin there.
    std::vector<size_t> start_anchors;
};

RegexOutline outline_of(std::string_view pattern);

} // namespace base
