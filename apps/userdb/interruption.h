#pragma once

#include <array>
#include <csignal>

struct sqlite3;

namespace userdb {

/// While it lives, SIGINT, SIGTERM and SIGHUP do not end the process. They are noted instead, and
/// they end the statement that runs on a connection. A signal that was ignored before stays
/// ignored. There is one such object at a time.
class interruption {
public:
    /// The connection, if any, must outlive this.
    explicit interruption(sqlite3* connection = nullptr);
    ~interruption();
    interruption(const interruption&) = delete;
    interruption& operator=(const interruption&) = delete;

    /// Throws `interrupted` if a signal has come.
    static void check();
    /// Waits until the file has bytes to read, ends or fails. Throws `interrupted` if a signal came
    /// before or while it waited.
    static void wait_for_input(int file);

private:
    std::array<struct sigaction, 3> m_before;
};

} // namespace userdb
