#include "apps/userdb/text.h"

#include <sstream>

namespace userdb {

namespace {

/// Where the last column of a line begins. At least two blanks stand before it.
size_t last_column(const std::string& line) {
    const size_t gap = line.rfind("  ");
    return gap == std::string::npos ? 0 : gap + 2;
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

} // namespace userdb
