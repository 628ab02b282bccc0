#include "apps/userdb/interruption.h"

#include <sqlite3.h>
#include <sys/select.h>

namespace userdb {

namespace {

constexpr std::array signals{SIGINT, SIGTERM, SIGHUP};

volatile std::sig_atomic_t noted = 0;
sqlite3* volatile running = nullptr;

void note(int signal) {
    noted = signal;
    if (running != nullptr) {
        sqlite3_interrupt(running); // only sets a flag
    }
}

} // namespace

interruption::interruption(sqlite3* connection) : m_before() {
    running = connection;
    struct sigaction action {};
    action.sa_handler = note;
    for (size_t i = 0; i < signals.size(); ++i) {
        sigaction(signals[i], nullptr, &m_before[i]);
        if (m_before[i].sa_handler != SIG_IGN) { // as under nohup
            sigaction(signals[i], &action, nullptr);
        }
    }
}

interruption::~interruption() {
    for (size_t i = 0; i < signals.size(); ++i) {
        sigaction(signals[i], &m_before[i], nullptr);
    }
    running = nullptr;
}

void interruption::check() {
    if (noted != 0) {
        throw interrupted(noted);
    }
}

void interruption::wait_for_input(int file) {
    // Blocked but for the wait itself, no signal can come unseen between a look and the wait.
    sigset_t ours;
    sigset_t before;
    sigemptyset(&ours);
    for (const int signal : signals) {
        sigaddset(&ours, signal);
    }
    pthread_sigmask(SIG_BLOCK, &ours, &before);
    if (noted == 0) {
        fd_set files;
        FD_ZERO(&files);
        FD_SET(file, &files);
        pselect(file + 1, &files, nullptr, nullptr, nullptr, &before);
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    check();
}

} // namespace userdb
