#pragma once

struct sqlite3;

namespace userdb {

/// From the first such object on, SIGINT, SIGTERM and SIGHUP no longer end the process. They are
/// noted instead, and while such an object lives they end the statement that runs on its
/// connection. So what is done is told, even if a signal comes behind it. A signal that was ignored
/// before stays ignored. There is one such object at a time.
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
};

} // namespace userdb
