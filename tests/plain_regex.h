#pragma once

#include <optional>
#include <string>

/// Whether the C library's own engine finds the pattern in the text, ignoring case; nothing if it
/// is no valid expression. The witness for what the search finds, on whatever engine that runs.
std::optional<bool> plainly_matches(const std::string& pattern, const std::string& text);

/// Whether that engine is no witness: it takes an anchor at a newline for one at the text's end or
/// start, finds no escaped small letter when it ignores case, and takes time and memory without end
/// for repetitions of repetitions.
bool is_misread_plainly(const std::string& pattern, const std::string& text);
