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

} // namespace userdb
