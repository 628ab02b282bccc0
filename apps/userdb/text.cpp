#include "apps/userdb/text.h"

#include <algorithm>
#include <numeric>
#include <sstream>
#include <utility>

namespace userdb {

namespace {

/// Where the last column of a line begins. At least two blanks stand before it.
size_t last_column(const std::string& line) {
    const size_t gap = line.rfind("  ");
    return gap == std::string::npos ? 0 : gap + 2;
}

/// The number of letters to change, add or take away that makes one word the other.
size_t distance(const std::string& from, const std::string& to) {
    std::vector<size_t> row(to.size() + 1); // for the beginning of `from` seen so far
    std::iota(row.begin(), row.end(), 0);
    for (size_t i = 0; i < from.size(); ++i) {
        size_t diagonal = std::exchange(row[0], i + 1);
        for (size_t j = 0; j < to.size(); ++j) {
            const size_t changed = diagonal + (from[i] == to[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({changed, diagonal + 1, row[j] + 1});
        }
    }
    return row.back();
}

} // namespace

std::string joined(const std::vector<std::string>& texts, const char* separator) {
    std::string all;
    for (const std::string& text : texts) {
        all += (all.empty() ? "" : separator) + text;
    }
    return all;
}

std::string wrapped(const std::string& text, size_t columns) {
    std::istringstream lines(text);
    std::string all;
    for (std::string line; std::getline(lines, line);) {
        const bool has_room = columns > last_column(line) + 20;
        const size_t indent = has_room ? last_column(line) : 6;
        while (columns > 0 && line.size() > columns) {
            const size_t blank = line.rfind(' ', columns);
            if (blank < indent || blank == std::string::npos) {
                break;
            }
            all += line.substr(0, blank) + '\n';
            line = std::string(indent, ' ') + line.substr(blank + 1);
        }
        all += line + '\n';
    }
    return all;
}

std::string closest_word(const std::string& misspelt, const std::vector<std::string>& words) {
    const auto closest =
        std::min_element(words.begin(), words.end(), [&](const auto& left, const auto& right) {
            return distance(left, misspelt) < distance(right, misspelt);
        });
    const bool is_like = closest != words.end() && distance(*closest, misspelt) <= 2;
    return is_like ? *closest : "";
}

} // namespace userdb
