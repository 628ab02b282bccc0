#include "apps/userdb/terminal.h"

#include "apps/userdb/text.h"

#include <cstdlib>
#include <iostream>
#include <string_view>
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

void report(const std::string& what) {
    std::cerr << "userdb: " << printable(what).text << '\n';
}

void progress::update(const char* doing, size_t number, const std::string& behind) {
    const auto now = std::chrono::steady_clock::now();
    if (now - m_last > std::chrono::milliseconds(100) && obeys_escapes(STDERR_FILENO)) {
        std::cerr << '\r' << doing << ' ' << number << behind << "\033[K" << std::flush;
        m_last = now;
    }
}

progress::~progress() {
    std::cerr << (obeys_escapes(STDERR_FILENO) ? "\r\033[K" : "") << std::flush;
}

} // namespace userdb
