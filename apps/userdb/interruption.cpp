#include "apps/userdb/interruption.h"

#include "apps/userdb/failures.h"

#include <array>
#include <atomic>
#include <csignal>
#include <poll.h>
#include <sqlite3.h>

namespace userdb {

namespace {

constexpr std::array signals{SIGINT, SIGTERM, SIGHUP};

// The signal handler uses these. There only lock-free atomics are safe.
std::atomic<int> noted = 0;
std::atomic<sqlite3*> connection_in_use = nullptr;
static_assert(decltype(noted)::is_always_lock_free);
static_assert(decltype(connection_in_use)::is_always_lock_free);

void note(int signal) {
    noted = signal;
    if (sqlite3* const connection = connection_in_use; connection != nullptr) {
        sqlite3_interrupt(connection); // only sets a flag
    }
}

} // namespace

interruption::interruption(sqlite3* connection) {
    connection_in_use = connection;
    struct sigaction action {};
    action.sa_handler = note;
    action.sa_flags = SA_RESTART; // or an answer that waits for its reader would be lost
    for (const int signal : signals) {
        struct sigaction before {};
        sigaction(signal, nullptr, &before);
        if (before.sa_handler != SIG_IGN) { // as under nohup
            sigaction(signal, &action, nullptr);
        }
    }
}

interruption::~interruption() {
    connection_in_use = nullptr;
}

void interruption::check() {
    if (noted != 0) {
        throw interrupted(noted);
    }
}

void interruption::wait_for_input(int file) {
    constexpr int milliseconds = 100; // a signal between the check and the wait is seen after these
    struct pollfd input {
        file, POLLIN, 0
    };
    do {
        check();
    } while (poll(&input, 1, milliseconds) == 0);
    check();
}

} // namespace userdb
