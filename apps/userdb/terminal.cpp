#include "apps/userdb/terminal.h"

#include "apps/userdb/table.h"

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
    std::cerr << "userdb: " << printable_text(what) << '\n';
}

progress::~progress() {
    if (m_is_visible) {
        std::cerr << "\r\033[K" << std::flush;
    }
}

void progress::update(size_t count, double share) {
    const auto now = clock::now();
    if (now - m_last < std::chrono::milliseconds(100) || !obeys_escapes(STDERR_FILENO)) {
        return;
    }
    std::cerr << '\r' << m_doing << ' ' << count;
    if (share > 0) {
        std::cerr << ", " << static_cast<int>(100 * share) << " %";
    }
    std::cerr << "\033[K" << std::flush;
    m_last = now;
    m_is_visible = true;
}

} // namespace userdb
