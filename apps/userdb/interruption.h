#pragma once

#include <array>
#include <csignal>
#include <exception>

struct sqlite3;

namespace userdb {

/// Work was stopped by a signal.
class interrupted : public std::exception {
public:
    explicit interrupted(int signal) : m_signal(signal) {}
    [[nodiscard]] const char* what() const noexcept override { return "interrupted"; }
    [[nodiscard]] int signal() const { return m_signal; }

private:
    int m_signal;
};

/// While it lives SIGINT, SIGTERM and SIGHUP are noted instead of ending the process, and end the
/// statement that runs on a connection; those that are ignored stay so. One at a time.
class interruption {
public:
    /// The connection, if any, must outlive this.
    explicit interruption(sqlite3* connection = nullptr);
    ~interruption();
    interruption(const interruption&) = delete;
    interruption& operator=(const interruption&) = delete;

    /// Throws `interrupted` if a signal has come.
    static void check();
    /// Returns once there is something to read, the end or an error. Throws `interrupted` if a
    /// signal came before or while waiting.
    static void wait_for_input(int file);

private:
    std::array<struct sigaction, 3> m_before;
};

} // namespace userdb
