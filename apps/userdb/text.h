#pragma once

#include <charconv>
#include <concepts>
#include <cstddef>
#include <limits>
#include <optional>
#include <string>
#include <vector>

namespace userdb {

/// The texts, one after the other, with the separator between them.
inline std::string joined(const std::vector<std::string>& texts, const char* separator) {
    std::string all;
    for (const std::string& text : texts) {
        all += (all.empty() ? "" : separator) + text;
    }
    return all;
}

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
