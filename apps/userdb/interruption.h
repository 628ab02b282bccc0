#pragma once

struct sqlite3;

namespace userdb {

/// From the first call on, SIGINT, SIGTERM and SIGHUP no longer end the process. They are noted
/// instead, and end the statement that runs on the connection, if one is given. So what is done is
/// told, even if a signal comes behind it. A signal that was ignored before stays ignored.
void note_signals(sqlite3* connection = nullptr);

/// Throws `interrupted` if a signal was noted.
void check_signals();

/// Waits until the file has bytes to read, ends or fails. Throws `interrupted` if a signal was
/// noted before or while it waited.
void wait_for_input(int file);

} // namespace userdb
