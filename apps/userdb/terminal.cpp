#include "apps/userdb/terminal.h"

#include <algorithm>
#include <cstdlib>
#include <cwchar>
#include <iostream>
#include <sstream>
#include <sys/ioctl.h>
#include <unistd.h>

namespace userdb {

size_t terminal_columns() {
    struct winsize size {};
    return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}

bool obeys_escapes(int file) {
    const char* terminal = std::getenv("TERM");
    return isatty(file) != 0 && (terminal == nullptr || std::string_view(terminal) != "dumb");
}

table_cell take_character(std::string_view& text) {
    constexpr std::wstring_view direction_marks(L"\u061c\u200e\u200f\u202a\u202b\u202c\u202d"
                                                L"\u202e\u2066\u2067\u2068\u2069");
    wchar_t character = 0;
    std::mbstate_t state{};
    const size_t size = std::mbrtowc(&character, text.data(), text.size(), &state);
    const bool is_valid = size != 0 && size <= text.size();
    const std::string_view taken = text.substr(0, is_valid ? size : 1);
    text.remove_prefix(taken.size());
    const bool turns = direction_marks.find(character) != std::wstring_view::npos;
    const int width = is_valid && !turns ? wcwidth(character) : -1;
    return width < 0 ? table_cell{"\uFFFD", 1}
                     : table_cell{std::string(taken), static_cast<size_t>(width)};
}

table_cell printable(std::string_view text) {
    if (std::all_of(text.begin(), text.end(), [](char c) { return ' ' <= c && c <= '~'; })) {
        return {std::string(text), text.size()};
    }
    table_cell cell;
    while (!text.empty()) {
        const table_cell next = take_character(text);
        cell.text += next.text;
        cell.width += next.width;
    }
    return cell;
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
            line.replace(0, end + 1, indent);
        }
    }
    return all;
}

void show_progress(const std::string& text) {
    if (obeys_escapes(STDERR_FILENO)) {
        std::cerr << "\r\033[K" << text;
    }
}

void report(const std::string& what) {
    show_progress("");
    std::cerr << "userdb: " << printable(what).text << '\n';
}

} // namespace userdb
