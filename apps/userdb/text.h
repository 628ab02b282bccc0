#pragma once

#include <charconv>
#include <concepts>
#include <cstddef>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace userdb {

/// The texts, one after the other, with the separator between them.
std::string joined(const std::vector<std::string>& texts, const char* separator);

/// A text that is safe to print, and the columns of a terminal that it takes.
struct table_cell {
    std::string text;
    size_t width = 0;
};

/// The text as it is safe to print. U+FFFD takes the place of control characters, of marks that
/// turn the direction of writing, and of what is no character.
table_cell printable(std::string_view text);
/// The same for the first character of a text, which is taken off.
table_cell take_character(std::string_view& text);

/// The text with its long lines broken at blanks, so that none is longer than so many columns. A
/// line goes on below the last column of what it lists.
std::string wrapped(const std::string& text, size_t columns);

/// The whole number that a text is in decimal. None if it is no such number, or one that `Number`
/// cannot hold.
template <std::integral Number>
std::optional<Number> whole_number(const std::string& text) {
    Number number = 0;
    const char* end = text.data() + text.size();
    const auto [stop, failure] = std::from_chars(text.data(), end, number);
    return failure == std::errc() && stop == end ? std::optional(number) : std::nullopt;
}

/// What to say of a text that is no such number.
template <std::integral Number>
std::string must_be_whole_number(Number least = std::numeric_limits<Number>::min()) {
    return "must be a whole number from " + std::to_string(least) + " to " +
           std::to_string(std::numeric_limits<Number>::max());
}

} // namespace userdb
