#include "apps/userdb/text.h"

#include <sstream>

namespace userdb {

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
    for (std::string line; std::getline(lines, line); all += line + '\n') {
        const size_t gap = line.rfind("  "); // in front of the last column
        const size_t column = gap == std::string::npos ? 0 : gap + 2;
        const std::string indent(columns > column + 20 ? column : 6, ' ');
        size_t end = 0;
        while (line.size() > columns && (end = line.rfind(' ', columns)) != std::string::npos &&
               end > indent.size()) {
            all += line.substr(0, end) + '\n';
            line = indent + line.substr(end + 1);
        }
    }
    return all;
}

} // namespace userdb
