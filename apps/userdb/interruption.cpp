#include "apps/userdb/interruption.h"

#include "apps/userdb/failures.h"

#include <csignal>
#include <poll.h>
#include <sqlite3.h>

namespace userdb {

namespace {

volatile std::sig_atomic_t noted = 0;

} // namespace

void note_signals(sqlite3* connection) {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        // What such a signal interrupts goes on, so no answer that waits for its reader is lost.
        if (std::signal(signal, [](int signal) { noted = signal; }) == SIG_IGN) {
            std::signal(signal, SIG_IGN); // as under nohup
        }
    }
    if (connection != nullptr) {
        constexpr int steps = 1000; // more than a COMMIT or ROLLBACK takes: those must not be ended
        sqlite3_progress_handler(
            connection, steps, [](void*) -> int { return noted; }, nullptr);
    }
}

void check_signals() {
    if (noted != 0) {
        throw interrupted(noted);
    }
}

void wait_for_input(int file) {
    constexpr int milliseconds = 100; // a signal between the check and the wait is seen after these
    pollfd input{file, POLLIN, 0};
    do {
        check_signals();
    } while (poll(&input, 1, milliseconds) == 0);
}

} // namespace userdb
