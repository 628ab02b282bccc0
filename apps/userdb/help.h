#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace userdb {

/// The text with its long lines broken at blanks, continued below the last column of what they
/// list. Not changed for 0 columns.
std::string wrapped(const std::string& text, size_t columns);

/// The word that is most like a misspelt one; empty if none is like it.
std::string likeliest(const std::string& misspelt, const std::vector<std::string>& words);

} // namespace userdb
