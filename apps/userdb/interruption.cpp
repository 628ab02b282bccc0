#include "apps/userdb/interruption.h"

namespace userdb {

namespace {

constexpr std::array signals{SIGINT, SIGTERM, SIGHUP};

volatile std::sig_atomic_t noted = 0;

void note(int signal) {
    noted = signal;
}

} // namespace

interruption::interruption() : m_before() {
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
}

void interruption::check() {
    if (noted != 0) {
        throw interrupted(noted);
    }
}

} // namespace userdb
